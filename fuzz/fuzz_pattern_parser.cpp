// Fuzz target: the pattern parser and the automaton. The first byte chooses
// the mode (its low bits; values 4 and above are bad modes) and whether the
// next 23 bytes are a metacharacter table; the rest, up to a NUL, is the
// pattern, and a few texts come from the pattern itself. Every valid
// pattern is also built, stored and run: nlsSimulFA of the stored block must
// answer as nlsMatchPattern does. Patterns of literals and the two
// any-wildcards are matched by nlsMatchPattern without an automaton, so
// this also checks that shortcut against the automaton.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "orvane/frame.h"
#include "orvane/pattern.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) {
    return 0;
  }
  const int mode = (data[0] & 0x07) == 7 ? -1 : (data[0] & 0x07);
  const bool withTable = (data[0] & 0x80) != 0;
  size_t at = 1;
  char table[NLS_PM_TABLE_SIZE] = {};
  const char *t = nullptr;
  if (withTable) {
    if (size < at + NLS_PM_TABLE_SIZE - 1) {
      return 0;
    }
    memcpy(table, data + at, NLS_PM_TABLE_SIZE - 1);
    t = table;
    at += NLS_PM_TABLE_SIZE - 1;
  }
  std::string pattern(reinterpret_cast<const char *>(data + at), size - at);
  pattern = pattern.c_str();  // up to the first NUL

  uint16_t error = 0;
  uint16_t position = 0;
  nlsValidPattern(pattern.c_str(), t, &error, &position);

  std::string longText;
  for (int i = 0; i < 8; ++i) {
    longText += pattern;
  }
  const std::string texts[] = {"",
                               pattern,
                               pattern.substr(0, pattern.size() / 2),
                               pattern.substr(pattern.size() / 2),
                               "a",
                               "  x1 ",
                               pattern + pattern,
                               longText};
  int32_t length = 0;
  unsigned char *block =
      nlsBuildFA(static_cast<int16_t>(mode), pattern.c_str(), &error, &position, t, &length);
  for (const std::string &text : texts) {
    int direct =
        nlsMatchPattern(static_cast<int16_t>(mode), pattern.c_str(), text.c_str(), &error, &position, t);
    if (block != nullptr && !pattern.empty()) {
      int stored = nlsSimulFA(block, t, text.c_str());
      if (stored != direct) {
        abort();
      }
    }
  }
  if (block != nullptr) {
    orvMemoryFreeFunc(block);
  }
  return 0;
}
