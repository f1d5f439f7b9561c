// orv match: prints the lines that a pattern matches whole.
//
//   orv match [--mode N] [--like [--escape C]] [--table FILE] PATTERN [FILE...]
//   orv match [options] --build OUT PATTERN
//   orv match [--table FILE] --automaton FILE [FILE...]
//
// Exit status as grep's: 0 some line matched, 1 none did, 2 an error.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "common/nls/nlspm_internal.h"
#include "orv_commands.h"
#include "orvane/frame.h"
#include "orvane/nls.h"
#include "orvane/pattern.h"

namespace orv {

namespace {

int usage() {
  fputs(
      "usage: orv match [--mode N] [--like [--escape C]] [--table FILE] PATTERN [FILE...]\n"
      "       orv match [--mode N] [--like [--escape C]] [--table FILE] --build OUT PATTERN\n"
      "       orv match [--table FILE] --automaton FILE [FILE...]\n"
      "\n"
      "  prints the lines of the files (or of standard input) that the pattern\n"
      "  matches whole; exit status 0 when a line matched, 1 when none did, 2 on\n"
      "  an error\n"
      "  --mode N        0 exact, 1 trailing blanks, 2 leading blanks, 3 both\n"
      "  --like          PATTERN is an SQL LIKE pattern (_ and %)\n"
      "  --escape C      the LIKE escape character\n"
      "  --table FILE    a metacharacter table: the first 23 bytes of FILE\n"
      "  --build OUT     write the pattern's serialised automaton to OUT\n"
      "  --automaton F   match with the automaton stored in F\n",
      stderr);
  return 2;
}

const char *errorText(int error) {
  switch (error) {
    case NLS_PM_ERR_EMPTY:
      return "empty pattern";
    case NLS_PM_ERR_NO_EXPRESSION:
      return "no valid expression";
    case NLS_PM_ERR_TRAILING:
      return "text left after the expression";
    case NLS_PM_ERR_ALTERNATIVE:
      return "missing alternative";
    case NLS_PM_ERR_COMPLEMENT:
      return "bad operand of the complement";
    case NLS_PM_ERR_GROUP_CLOSE:
      return "missing group close";
    case NLS_PM_ERR_GROUP:
      return "bad group contents";
    case NLS_PM_ERR_ESCAPE:
      return "bad escape";
    case NLS_PM_ERR_CONTROL:
      return "control character in the pattern";
    case NLS_PM_ERR_INTERNAL:
      return "escape of an internal token";
    case NLS_PM_ERR_MODE:
      return "bad mode";
    case NLS_PM_ERR_TOO_LARGE:
      return "pattern too large for a stored automaton";
    default:
      return "unknown error";
  }
}

bool readFile(const char *path, std::string &out) {
  FILE *f = fopen(path, "rb");
  if (f == nullptr) {
    return false;
  }
  char chunk[65536];
  size_t n;
  out.clear();
  while ((n = fread(chunk, 1, sizeof chunk, f)) > 0) {
    out.append(chunk, n);
  }
  bool ok = ferror(f) == 0;
  fclose(f);
  return ok;
}

// The working pattern as the parser saw it (the mode's wrapping, control
// characters shown as "."), and a caret under the position.
void showError(int mode, const std::string &pattern, const char *table, int error, int position) {
  const char *t = table != nullptr ? table : NLS_PATTERN_DEFAULT_TABLE;
  std::string working;
  if (mode == 2 || mode == 3) {
    working += ' ';
    working += t[NLS_PM_REPEAT];
  }
  if (mode >= 1 && mode <= 3) {
    working += t[NLS_PM_GROUP_OPEN];
  }
  working += pattern;
  if (mode >= 1 && mode <= 3) {
    working += t[NLS_PM_GROUP_CLOSE];
  }
  if (mode == 1 || mode == 3) {
    working += ' ';
    working += t[NLS_PM_REPEAT];
  }
  for (char &c : working) {
    if (static_cast<unsigned char>(c) < 32 || c == 127) {
      c = '.';
    }
  }
  fprintf(stderr, "orv match: %s (error %d at position %d)\n", errorText(error), error, position);
  fprintf(stderr, "  %s\n  %s^\n", working.c_str(), std::string(static_cast<size_t>(position), ' ').c_str());
}

struct Options {
  int mode = 0;
  bool like = false;
  char escape = 0;
  const char *tableFile = nullptr;
  const char *buildOut = nullptr;
  const char *automatonFile = nullptr;
  const char *pattern = nullptr;
  std::vector<const char *> files;
};

bool parseOptions(int argc, char **argv, Options &o) {
  bool endOfOptions = false;
  for (int i = 0; i < argc; ++i) {
    std::string a = argv[i];
    bool hasValue = i + 1 < argc;
    if (!endOfOptions && a == "--") {
      endOfOptions = true;
    } else if (!endOfOptions && a == "--mode" && hasValue) {
      char *end = nullptr;
      long m = strtol(argv[++i], &end, 10);
      if (end == nullptr || *end != '\0' || m < -32768 || m > 32767) {
        return false;
      }
      o.mode = static_cast<int>(m);
    } else if (!endOfOptions && a == "--like") {
      o.like = true;
    } else if (!endOfOptions && a == "--escape" && hasValue) {
      const char *e = argv[++i];
      if (strlen(e) != 1) {
        return false;
      }
      o.escape = e[0];
    } else if (!endOfOptions && a == "--table" && hasValue) {
      o.tableFile = argv[++i];
    } else if (!endOfOptions && a == "--build" && hasValue) {
      o.buildOut = argv[++i];
    } else if (!endOfOptions && a == "--automaton" && hasValue) {
      o.automatonFile = argv[++i];
    } else if (!endOfOptions && a.size() > 1 && a[0] == '-') {
      return false;
    } else if (o.pattern == nullptr && o.automatonFile == nullptr) {
      o.pattern = argv[i];
    } else {
      o.files.push_back(argv[i]);
    }
  }
  if (o.automatonFile != nullptr) {
    // With a stored automaton there is no pattern: every argument is a file.
    if (o.pattern != nullptr) {
      o.files.insert(o.files.begin(), o.pattern);
      o.pattern = nullptr;
    }
    return o.buildOut == nullptr && !o.like;
  }
  return o.pattern != nullptr && (o.buildOut == nullptr || o.files.empty());
}

// Matches the lines of one input; prints the matching ones (with the file
// name in front when there are several files).
class LineMatcher {
 public:
  LineMatcher(const Options &o, const char *table, const std::string &pattern, const unsigned char *block)
      : o_(o), table_(table), pattern_(pattern), block_(block) {}

  bool matches(const std::string &line) const {
    if (block_ != nullptr) {
      return nlsSimulFA(block_, table_, line.c_str()) == 1;
    }
    return nlsMatchPattern(static_cast<int16_t>(o_.mode), pattern_.c_str(), line.c_str(), nullptr, nullptr,
                           table_) == 1;
  }

  // Returns the number of matching lines.
  long run(const std::string &text, const char *name) const {
    long found = 0;
    for (size_t at = 0; at < text.size();) {
      size_t end = text.find('\n', at);
      size_t next = end == std::string::npos ? text.size() : end + 1;
      std::string line = text.substr(at, (end == std::string::npos ? text.size() : end) - at);
      if (!line.empty() && line.back() == '\r') {
        line.pop_back();
      }
      // A NUL inside a line would end the text early: such a line is
      // matched up to the NUL, as the library sees it.
      if (matches(line)) {
        ++found;
        if (name != nullptr) {
          printf("%s:", name);
        }
        fwrite(line.data(), 1, line.size(), stdout);
        fputc('\n', stdout);
      }
      at = next;
    }
    return found;
  }

 private:
  const Options &o_;
  const char *table_;
  const std::string &pattern_;
  const unsigned char *block_;
};

}  // namespace

int runMatch(int argc, char **argv) {
  Options o;
  if (!parseOptions(argc, argv, o)) {
    return usage();
  }
  std::string tableBytes;
  const char *table = nullptr;
  if (o.tableFile != nullptr) {
    if (!readFile(o.tableFile, tableBytes)) {
      fprintf(stderr, "orv match: %s does not open\n", o.tableFile);
      return 2;
    }
    if (tableBytes.size() < NLS_PM_TABLE_SIZE - 1) {
      fprintf(stderr, "orv match: %s holds %lu bytes; a table needs 23\n", o.tableFile,
              static_cast<unsigned long>(tableBytes.size()));
      return 2;
    }
    tableBytes.resize(NLS_PM_TABLE_SIZE - 1);
    tableBytes.push_back('\0');
    table = tableBytes.c_str();
  }
  // The locale (lead bytes, classes) of the NLS table when one is set up;
  // without one the patterns still match, byte by byte.
  const int nlsStatus = nlsInit();
  const bool nlsUp =
      nlsStatus == NLS_OK || nlsStatus == NLS_ERR_CHARSET_OBJECT || nlsStatus == NLS_ERR_MESSAGE_SET;

  std::string pattern;
  std::string stored;
  int rc = 2;
  do {
    if (o.automatonFile != nullptr) {
      if (!readFile(o.automatonFile, stored)) {
        fprintf(stderr, "orv match: %s does not open\n", o.automatonFile);
        break;
      }
      // The block must hold exactly the bytes its header describes, and
      // its arrays must stay inside themselves.
      const auto *bytes = reinterpret_cast<const unsigned char *>(stored.data());
      nls::pm::Automaton check;
      if (stored.size() < nls::pm::kHeaderSize || nls::pm::serialisedSize(bytes) != stored.size() ||
          !nls::pm::deserialise(bytes, check)) {
        fprintf(stderr, "orv match: %s is not a stored automaton\n", o.automatonFile);
        break;
      }
    } else {
      pattern = o.pattern;
      if (o.like) {
        std::vector<char> out(pattern.size() * 2 + 1);
        int32_t n =
            nlsCvtLikePattern(pattern.c_str(), out.data(), static_cast<int32_t>(out.size()), table, o.escape);
        if ((n & 0xFFFF) == 0xFFFF) {
          fprintf(stderr, "orv match: bad escape in the LIKE pattern\n");
          break;
        }
        pattern = out.data();
      }
      uint16_t error = 0;
      uint16_t position = 0;
      if (o.buildOut != nullptr) {
        int32_t length = 0;
        unsigned char *block =
            nlsBuildFA(static_cast<int16_t>(o.mode), pattern.c_str(), &error, &position, table, &length);
        if (block == nullptr) {
          showError(o.mode, pattern, table, static_cast<int16_t>(error), position);
          break;
        }
        FILE *f = fopen(o.buildOut, "wb");
        bool ok =
            f != nullptr && fwrite(block, 1, static_cast<size_t>(length), f) == static_cast<size_t>(length);
        if (f != nullptr && fclose(f) != 0) {
          ok = false;
        }
        orvMemoryFreeFunc(block);
        if (!ok) {
          fprintf(stderr, "orv match: %s could not be written\n", o.buildOut);
          break;
        }
        printf("%s: %d bytes\n", o.buildOut, length);
        rc = 0;
        break;
      }
      if (nlsMatchPattern(static_cast<int16_t>(o.mode), pattern.c_str(), "", &error, &position, table) == 0 &&
          error != 0) {
        showError(o.mode, pattern, table, static_cast<int16_t>(error), position);
        break;
      }
    }
    const unsigned char *block =
        o.automatonFile != nullptr ? reinterpret_cast<const unsigned char *>(stored.data()) : nullptr;
    LineMatcher matcher(o, table, pattern, block);
    long found = 0;
    bool failed = false;
    if (o.files.empty()) {
      std::string text;
      char chunk[65536];
      size_t n;
      while ((n = fread(chunk, 1, sizeof chunk, stdin)) > 0) {
        text.append(chunk, n);
      }
      found += matcher.run(text, nullptr);
    } else {
      for (const char *file : o.files) {
        std::string text;
        if (!readFile(file, text)) {
          fprintf(stderr, "orv match: %s does not open\n", file);
          failed = true;
          continue;
        }
        found += matcher.run(text, o.files.size() > 1 ? file : nullptr);
      }
    }
    rc = failed ? 2 : (found > 0 ? 0 : 1);
  } while (false);
  fflush(stdout);
  if (nlsUp) {
    nlsTerminate();
  }
  return rc;
}

}  // namespace orv
