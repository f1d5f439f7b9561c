// orv catalog: compile a catalog source, dump a catalog back to source text,
// get one message as an application gets it, check a catalog file.
//
//   orv catalog compile SOURCE -o FILE
//   orv catalog dump FILE
//   orv catalog get FILE ID [--parts N] [--param TEXT]...
//   orv catalog check FILE
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "common/catalog/cm_compile.h"
#include "orv_commands.h"
#include "orvane/catalog.h"
#include "orvane/nls.h"

namespace orv {

namespace {

int usage() {
  fputs(
      "usage: orv catalog compile SOURCE -o FILE\n"
      "       orv catalog dump FILE\n"
      "       orv catalog get FILE ID [--parts N] [--param TEXT]...\n"
      "       orv catalog check FILE\n",
      stderr);
  return 2;
}

bool readAll(const std::string &path, std::string *out) {
  FILE *f = fopen(path.c_str(), "rb");
  if (f == nullptr) {
    return false;
  }
  out->clear();
  char buffer[65536];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, f)) > 0) {
    out->append(buffer, n);
  }
  const bool ok = ferror(f) == 0;
  fclose(f);
  return ok;
}

bool parseNumber(const char *text, uint32_t *out) {
  char *end = nullptr;
  const unsigned long long v = strtoull(text, &end, 0);
  if (end == text || *end != '\0' || v > 0xFFFFFFFFull || text[0] == '-') {
    return false;
  }
  *out = static_cast<uint32_t>(v);
  return true;
}

int compile(int argc, char **argv) {
  std::string source, output;
  for (int i = 0; i < argc; ++i) {
    if (strcmp(argv[i], "-o") == 0 && i + 1 < argc) {
      output = argv[++i];
    } else if (source.empty()) {
      source = argv[i];
    } else {
      return usage();
    }
  }
  if (source.empty() || output.empty()) {
    return usage();
  }
  std::string text;
  if (!readAll(source, &text)) {
    fprintf(stderr, "orv catalog compile: cannot read %s\n", source.c_str());
    return 1;
  }
  std::string bytes, error;
  if (!catalog::compileSource(text, source, &bytes, &error)) {
    fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  FILE *f = fopen(output.c_str(), "wb");
  if (f == nullptr || fwrite(bytes.data(), 1, bytes.size(), f) != bytes.size() || fclose(f) != 0) {
    fprintf(stderr, "orv catalog compile: cannot write %s\n", output.c_str());
    return 1;
  }
  return 0;
}

int readChecked(const char *command, const std::string &path, catalog::Source *source, std::string *bytes) {
  if (!readAll(path, bytes)) {
    printf("%s: error 3: the file cannot be read\n", path.c_str());
    return 1;
  }
  std::string problem;
  const int rc = catalog::readCatalog(*bytes, source, &problem);
  if (rc != 0) {
    printf("%s: error %d: %s\n", path.c_str(), rc, problem.c_str());
    return 1;
  }
  (void)command;
  return 0;
}

uint32_t be32(const std::string &b, size_t at) {
  return (static_cast<uint32_t>(static_cast<unsigned char>(b[at])) << 24) |
         (static_cast<uint32_t>(static_cast<unsigned char>(b[at + 1])) << 16) |
         (static_cast<uint32_t>(static_cast<unsigned char>(b[at + 2])) << 8) |
         static_cast<unsigned char>(b[at + 3]);
}

int dump(int argc, char **argv) {
  if (argc != 1) {
    return usage();
  }
  catalog::Source source;
  std::string bytes;
  if (readChecked("dump", argv[0], &source, &bytes) != 0) {
    return 1;
  }
  fputs(catalog::dumpSource(source, be32(bytes, 0), be32(bytes, 4)).c_str(), stdout);
  return 0;
}

int check(int argc, char **argv) {
  if (argc != 1) {
    return usage();
  }
  catalog::Source source;
  std::string bytes;
  if (readChecked("check", argv[0], &source, &bytes) != 0) {
    return 1;
  }
  printf("%s: ok, %zu messages, title %s\n", argv[0], source.messages.size(),
         catalog::quote(source.title).c_str());
  return 0;
}

int get(int argc, char **argv) {
  if (argc < 2) {
    return usage();
  }
  const std::string path = argv[0];
  uint32_t id = 0;
  uint32_t parts = CM_PARTS_ALL;
  if (!parseNumber(argv[1], &id)) {
    fprintf(stderr, "orv catalog get: bad message id '%s'\n", argv[1]);
    return 2;
  }
  std::vector<const char *> params;
  for (int i = 2; i < argc; ++i) {
    if (strcmp(argv[i], "--parts") == 0 && i + 1 < argc) {
      if (!parseNumber(argv[++i], &parts) || parts > 15) {
        fprintf(stderr, "orv catalog get: --parts takes 0 to 15\n");
        return 2;
      }
    } else if (strcmp(argv[i], "--param") == 0 && i + 1 < argc) {
      params.push_back(argv[++i]);
    } else {
      return usage();
    }
  }
  // The language support gives the current character set; without a table
  // the texts come out in the built-in single-byte set.
  const int nls = nlsInit();
  cmCatalog *cat = nullptr;
  const int rc = cmOpenCatalog(&cat, path.c_str());
  if (rc != 0) {
    printf("%s: error %d\n", path.c_str(), rc);
    if (nls == 0 || nls == 12 || nls == 13) {
      nlsTerminate();
    }
    return 1;
  }
  cmMsgSet *set = nullptr;
  int result = 1;
  if (cmCreateMsgSet(&set, 2) == 0) {
    for (const char *p : params) {
      cmAddStringParm(set, p);
    }
    cmAddMsgLast(set, id);
    char *text = nullptr;
    if (cmGetMessage(set, parts, &text, nullptr, nullptr) == 0) {
      printf("%s\n", text);
      free(text);
      result = 0;
    }
    cmDestroyMsgSet(set);
  }
  cmCloseCatalog(cat);
  if (nls == 0 || nls == 12 || nls == 13) {
    nlsTerminate();
  }
  return result;
}

}  // namespace

int runCatalog(int argc, char **argv) {
  if (argc < 1) {
    return usage();
  }
  const std::string sub = argv[0];
  if (sub == "compile") {
    return compile(argc - 1, argv + 1);
  }
  if (sub == "dump") {
    return dump(argc - 1, argv + 1);
  }
  if (sub == "get") {
    return get(argc - 1, argv + 1);
  }
  if (sub == "check") {
    return check(argc - 1, argv + 1);
  }
  return usage();
}

}  // namespace orv
