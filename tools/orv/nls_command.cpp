// orv nls: the language-support subcommands.
//
//   orv nls check FILE                   load an NLS table and report
//   orv nls convert --from SET --to SET  convert standard input
//   orv nls format KIND ...              try a picture or portable float text
#include <ctype.h>
#include <stdio.h>
#include <string.h>

#include <fstream>
#include <string>
#include <vector>

#include "nls_commands.h"
#include "orv_commands.h"
#include "orvane/nls.h"

namespace orv {

namespace {

int usage() {
  fputs(
      "usage: orv nls check FILE\n"
      "       orv nls convert --from SET --to SET [FILE]\n"
      "       orv nls format number|picture|float ... (orv nls format --help)\n"
      "\n"
      "  check    load the NLS table FILE as process start-up would, report the first\n"
      "           error and its line, and make each character-set definition it holds\n"
      "  convert  convert FILE (or standard input) from one character set to another;\n"
      "           SET is utf-8 (for a terminal), ascii, unicode (UTF-16), or the name of a\n"
      "           character-set definition of the table that ORVNLSTAB names\n"
      "  format   format a number through a picture, or a double as portable float text\n",
      stderr);
  return 2;
}

}  // namespace

const char *nlsStatusText(int status) {
  switch (status) {
    case NLS_OK:
      return "ok";
    case NLS_ERR_NOT_CONFIGURED:
      return "ORVNLSTAB is not set";
    case NLS_ERR_NOT_FOUND:
      return "the table file does not open";
    case NLS_ERR_NO_MEMORY:
      return "out of memory";
    case NLS_ERR_NO_RUNTIME_LOCALE:
      return "the runtime library has no collate or ctype locale";
    case NLS_ERR_CHARMAP_SIZE:
      return "a CHARMAP block without exactly 256 values";
    case NLS_ERR_EXTCHARMAP:
      return "an EXTCHARMAP count that does not match its pairs";
    case NLS_ERR_SYNTAX:
      return "a syntax error (or no \"enu\" winnt row)";
    case NLS_ERR_END_OF_FILE:
      return "the end of the file inside a block";
    case NLS_ERR_UNKNOWN_CHARSET:
      return "an unknown character-set name";
    case NLS_ERR_LINE_TOO_LONG:
      return "a line longer than its buffer (or a last line without a newline)";
    case NLS_ERR_CHARSET_OBJECT:
      return "the character set of the locale has no usable definition";
    case NLS_ERR_MESSAGE_SET:
      return "the services message set could not be made (counts as success)";
    default:
      return "unknown status";
  }
}

std::vector<std::string> definitionNames(const std::string &path) {
  std::vector<std::string> names;
  std::ifstream in(path, std::ios::binary);
  std::string line;
  while (std::getline(in, line)) {
    size_t b = line.find_first_not_of(" \t");
    if (b == std::string::npos || line.size() - b < 9) {
      continue;
    }
    std::string keyword = line.substr(b, 9);
    for (char &c : keyword) {
      c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    }
    if (keyword != "MBCHARMAP") {
      continue;
    }
    size_t n = line.find_first_not_of(" \t\r", b + 9);
    if (n == std::string::npos) {
      continue;
    }
    size_t e = line.find_first_of(" \t\r", n);
    names.push_back(line.substr(n, e == std::string::npos ? std::string::npos : e - n));
  }
  return names;
}

int runNls(int argc, char **argv) {
  if (argc < 1) {
    return usage();
  }
  if (strcmp(argv[0], "check") == 0) {
    return runNlsCheck(argc - 1, argv + 1);
  }
  if (strcmp(argv[0], "convert") == 0) {
    return runNlsConvert(argc - 1, argv + 1);
  }
  if (strcmp(argv[0], "format") == 0) {
    return runNlsFormat(argc - 1, argv + 1);
  }
  return usage();
}

}  // namespace orv
