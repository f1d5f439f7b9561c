// orv: command-line access to the library.
//
//   orv info     initialise the services and report what each layer found
//   orv nls      check an NLS table; convert text between character sets
//   orv match    print the lines that a pattern matches whole
//   orv tempfiles  list the temporary-file registry, or run one clean-up pass
//   orv catalog  compile, dump or check a message catalog; get one message
//   orv help     list the subcommands
#include <stdio.h>
#include <string.h>

#include <string>

#include "orv_commands.h"

namespace {

struct Command {
  const char *name;
  const char *summary;
  int (*run)(int argc, char **argv);
};

const Command kCommands[] = {
    {"info", "initialise the services and report what each layer found", orv::runInfo},
    {"nls", "check an NLS table; convert text between character sets", orv::runNls},
    {"match", "print the lines that a pattern matches whole", orv::runMatch},
    {"tempfiles", "list the temporary-file registry, or run one clean-up pass", orv::runTempfiles},
    {"catalog", "compile, dump, check a message catalog; get one message", orv::runCatalog},
};

int usage(FILE *out) {
  fputs("usage: orv <command> [arguments]\n\ncommands:\n", out);
  for (const Command &c : kCommands) {
    fprintf(out, "  %-10s %s\n", c.name, c.summary);
  }
  fprintf(out, "  %-10s %s\n", "help", "show this list");
  return out == stdout ? 0 : 2;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    return usage(stderr);
  }
  std::string name = argv[1];
  if (name == "help" || name == "--help" || name == "-h") {
    return usage(stdout);
  }
  for (const Command &c : kCommands) {
    if (name == c.name) {
      return c.run(argc - 2, argv + 2);
    }
  }
  fprintf(stderr, "orv: unknown command '%s'\n", name.c_str());
  return usage(stderr);
}
