// Pattern matching, patterns of plain literals: with mode 0 and the default
// table, a pattern whose every byte stands for itself is answered by
// comparing it with the text. Its answers, error and position must be those
// of the automaton (nlsSimulFA of nlsBuildFA), for every printable and high
// byte, for texts that end early, late, at the end marker or differ
// anywhere, and for patterns that turn out not to be plain after the text
// has already differed.
#include <string.h>

#include <string>
#include <vector>

#ifndef _WIN32
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <gtest/gtest.h>

#include "orvane/frame.h"
#include "orvane/pattern.h"

namespace {

// The default table's operators and wildcards, and the end marker (CR).
const char kMeta[] = "!|*()><\\?^#@[]:=;_&";

bool isPlain(unsigned char c) { return c >= 32 && c != 127 && strchr(kMeta, c) == nullptr; }

// nlsSimulFA of the stored automaton of pattern (mode 0, default table).
int throughAutomaton(const std::string &pattern, const std::string &text) {
  uint16_t error = 0;
  uint16_t position = 0;
  int32_t length = 0;
  unsigned char *block = nlsBuildFA(0, pattern.c_str(), &error, &position, nullptr, &length);
  EXPECT_NE(nullptr, block) << pattern;
  if (block == nullptr) {
    return -1;
  }
  const int result = nlsSimulFA(block, nullptr, text.c_str());
  orvMemoryFreeFunc(block);
  return result;
}

// Texts around pattern: itself, every prefix, one byte more, the end marker
// and a line feed after it, and each byte changed.
std::vector<std::string> textsAround(const std::string &pattern) {
  std::vector<std::string> texts = {
      pattern, pattern + "x", pattern + "\r", pattern + "\rtail", pattern + "\n", ""};
  for (size_t i = 0; i < pattern.size(); ++i) {
    texts.push_back(pattern.substr(0, i));
    std::string changed = pattern;
    changed[i] = static_cast<char>(changed[i] ^ 0x20);
    texts.push_back(changed);
  }
  return texts;
}

void expectAsTheAutomaton(const std::string &pattern) {
  for (const std::string &text : textsAround(pattern)) {
    uint16_t error = 0xAAAA;
    uint16_t position = 0xAAAA;
    const int direct = nlsMatchPattern(0, pattern.c_str(), text.c_str(), &error, &position, nullptr);
    EXPECT_EQ(throughAutomaton(pattern, text), direct) << "pattern '" << pattern << "' text '" << text << "'";
    EXPECT_EQ(0, error);
    uint16_t validError = 0;
    uint16_t validPosition = 0;
    ASSERT_EQ(1, nlsValidPattern(pattern.c_str(), nullptr, &validError, &validPosition));
    EXPECT_EQ(validPosition, position) << pattern;
  }
}

}  // namespace

TEST(PatternLiterals, EveryPlainByteAnswersAsTheAutomaton) {
  for (int c = 1; c < 256; ++c) {
    if (!isPlain(static_cast<unsigned char>(c))) {
      continue;
    }
    const std::string one(1, static_cast<char>(c));
    expectAsTheAutomaton(one);
    expectAsTheAutomaton("a" + one + "b");
  }
}

TEST(PatternLiterals, WordsAnswerAsTheAutomaton) {
  for (const char *pattern : {"error", "0", "a0b", "hello world", "\xE3\x81\x82\xE3\x81\x84", "  ", "x",
                              "a-b.c,d/e~f`g'h\"i$j%k+l{m}n"}) {
    expectAsTheAutomaton(pattern);
  }
}

TEST(PatternLiterals, MatchesWholeTextOnly) {
  EXPECT_EQ(1, nlsMatchPattern(0, "error", "error", nullptr, nullptr, nullptr));
  EXPECT_EQ(1, nlsMatchPattern(0, "error", "error\rmore", nullptr, nullptr, nullptr));
  EXPECT_EQ(0, nlsMatchPattern(0, "error", "errors", nullptr, nullptr, nullptr));
  EXPECT_EQ(0, nlsMatchPattern(0, "error", "erro", nullptr, nullptr, nullptr));
  EXPECT_EQ(0, nlsMatchPattern(0, "error", "error\n", nullptr, nullptr, nullptr));
  EXPECT_EQ(0, nlsMatchPattern(0, "error", nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(1, nlsMatchPattern(0, "error", "error", nullptr, nullptr, nullptr));
}

// The text differs before the pattern shows an operator: the answer is the
// automaton's, not "no match".
TEST(PatternLiterals, OperatorAfterADifferenceStillCounts) {
  EXPECT_EQ(1, nlsMatchPattern(0, "err@", "errors", nullptr, nullptr, nullptr));
  EXPECT_EQ(1, nlsMatchPattern(0, "ab|xy", "xy", nullptr, nullptr, nullptr));
  EXPECT_EQ(1, nlsMatchPattern(0, "a?c", "abc", nullptr, nullptr, nullptr));
  EXPECT_EQ(0, nlsMatchPattern(0, "abc\\", "abd", nullptr, nullptr, nullptr));
}

// A control byte anywhere in the pattern is the parser's error, even where
// the text differed first.
TEST(PatternLiterals, ControlByteIsAnErrorWhereverTheTextDiffers) {
  uint16_t error = 0;
  uint16_t position = 0;
  EXPECT_EQ(0, nlsMatchPattern(0, "ab\tc", "xx", &error, &position, nullptr));
  EXPECT_EQ(static_cast<uint16_t>(-9), error);
  EXPECT_EQ(2, position);
  EXPECT_EQ(0, nlsMatchPattern(0, "ab\x7F", "ab\x7F", &error, &position, nullptr));
  EXPECT_EQ(static_cast<uint16_t>(-9), error);
}

TEST(PatternLiterals, OtherModesAndTablesWrapOrChangeThePattern) {
  EXPECT_EQ(1, nlsMatchPattern(1, "error", "error  ", nullptr, nullptr, nullptr));
  EXPECT_EQ(0, nlsMatchPattern(0, "error", "error  ", nullptr, nullptr, nullptr));
  // A table in which 'e' is the any-string wildcard.
  char table[NLS_PM_TABLE_SIZE];
  memcpy(table, "!|*()><\\?^#e[]:=;_&0\r\n\b", NLS_PM_TABLE_SIZE);
  EXPECT_EQ(1, nlsMatchPattern(0, "error", "rror", nullptr, nullptr, table));
  EXPECT_EQ(0, nlsMatchPattern(0, "error", "rror", nullptr, nullptr, nullptr));
}

TEST(PatternLiterals, LongLiteralReportsAClampedPosition) {
  const std::string pattern(100000, 'z');
  uint16_t error = 1;
  uint16_t position = 0;
  EXPECT_EQ(1, nlsMatchPattern(0, pattern.c_str(), pattern.c_str(), &error, &position, nullptr));
  EXPECT_EQ(0, error);
  EXPECT_EQ(0xFFFF, position);
  const std::string shorter(99999, 'z');
  EXPECT_EQ(0, nlsMatchPattern(0, pattern.c_str(), shorter.c_str(), nullptr, nullptr, nullptr));
}

TEST(PatternLiterals, EmptyPatternIsStillAnError) {
  uint16_t error = 0;
  uint16_t position = 7;
  EXPECT_EQ(0, nlsMatchPattern(0, "", "", &error, &position, nullptr));
  EXPECT_EQ(static_cast<uint16_t>(-1), error);
  EXPECT_EQ(0, position);
}

// The thread remembers its last short pattern by content, not by address:
// a caller that rewrites one buffer gets the answers of the new pattern.
TEST(PatternLiterals, RewrittenPatternBufferIsANewPattern) {
  char pattern[32];
  strcpy(pattern, "error");
  EXPECT_EQ(1, nlsMatchPattern(0, pattern, "error", nullptr, nullptr, nullptr));
  EXPECT_EQ(0, nlsMatchPattern(0, pattern, "errors", nullptr, nullptr, nullptr));
  strcpy(pattern, "err@");
  EXPECT_EQ(1, nlsMatchPattern(0, pattern, "errors", nullptr, nullptr, nullptr));
  strcpy(pattern, "err");
  EXPECT_EQ(0, nlsMatchPattern(0, pattern, "errors", nullptr, nullptr, nullptr));
  EXPECT_EQ(1, nlsMatchPattern(0, pattern, "err", nullptr, nullptr, nullptr));
  strcpy(pattern, "errors");
  EXPECT_EQ(1, nlsMatchPattern(0, pattern, "errors", nullptr, nullptr, nullptr));
  strcpy(pattern, "errorsX");
  EXPECT_EQ(0, nlsMatchPattern(0, pattern, "errors", nullptr, nullptr, nullptr));
  strcpy(pattern, "err@");
  EXPECT_EQ(1, nlsMatchPattern(0, pattern, "errors", nullptr, nullptr, nullptr));
  strcpy(pattern, "err");
  EXPECT_EQ(0, nlsMatchPattern(0, pattern, "errors", nullptr, nullptr, nullptr));
}

// Plain patterns, cached automata, other modes and caller's tables in turn:
// each call answers for its own pattern, mode and table.
TEST(PatternLiterals, AlternatingKindsOfPatterns) {
  uint16_t error = 0;
  uint16_t position = 0;
  char table[NLS_PM_TABLE_SIZE];
  memcpy(table, "!|*()><\\?^#e[]:=;_&0\r\n\b", NLS_PM_TABLE_SIZE);
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(1, nlsMatchPattern(0, "?a@", "xab", &error, &position, nullptr));
    EXPECT_EQ(3, position);
    EXPECT_EQ(1, nlsMatchPattern(0, "xab", "xab", &error, &position, nullptr));
    EXPECT_EQ(3, position);
    EXPECT_EQ(0, nlsMatchPattern(0, "?a@", "xyz", nullptr, nullptr, nullptr));
    // The same text as a pattern with a caller's table ('e' the any-string
    // wildcard), and in mode 1, rebuild the thread's cached automaton.
    EXPECT_EQ(1, nlsMatchPattern(0, "?a@", "xa@", nullptr, nullptr, table));
    EXPECT_EQ(0, nlsMatchPattern(0, "?a@", "xab", nullptr, nullptr, table));
    EXPECT_EQ(1, nlsMatchPattern(0, "?a@", "xab", nullptr, nullptr, nullptr));
    EXPECT_EQ(1, nlsMatchPattern(1, "?a@", "xab   ", nullptr, nullptr, nullptr));
    EXPECT_EQ(0, nlsMatchPattern(0, "?ab", "xab\n", nullptr, nullptr, nullptr));
    EXPECT_EQ(1, nlsMatchPattern(0, "error", "error", nullptr, nullptr, nullptr));
    EXPECT_EQ(1, nlsMatchPattern(1, "error", "error ", nullptr, nullptr, nullptr));
    EXPECT_EQ(0, nlsMatchPattern(0, "error", "error ", nullptr, nullptr, nullptr));
    EXPECT_EQ(1, nlsMatchPattern(0, "e", "anything", nullptr, nullptr, table));
    EXPECT_EQ(0, nlsMatchPattern(0, "e", "anything", nullptr, nullptr, nullptr));
  }
}

#ifndef _WIN32
// Patterns and texts that end right before an unmapped page: nothing is
// read past their NUL that could fault.
TEST(PatternLiterals, PatternAndTextAtTheEndOfAPage) {
  const long page = sysconf(_SC_PAGESIZE);
  auto *area = static_cast<char *>(mmap(nullptr, static_cast<size_t>(page) * 2, PROT_READ | PROT_WRITE,
                                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(MAP_FAILED, area);
  ASSERT_EQ(0, mprotect(area + page, static_cast<size_t>(page), PROT_NONE));
  char *pattern = area + page - 6;  // "error" and its NUL end the page
  strcpy(pattern, "error");
  char *text = area + page / 2 - 6;
  strcpy(text, "error");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(1, nlsMatchPattern(0, pattern, text, nullptr, nullptr, nullptr));
    EXPECT_EQ(1, nlsMatchPattern(0, text, pattern, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, nlsMatchPattern(0, pattern, "errors", nullptr, nullptr, nullptr));
  }
  // Every length and every place near the end of the page.
  for (size_t length = 1; length < 20; ++length) {
    for (size_t back = length + 1; back < length + 20; ++back) {
      char *p = area + page - back;
      memset(p, 'q', length);
      p[length] = '\0';
      const std::string same(p);
      EXPECT_EQ(1, nlsMatchPattern(0, p, p, nullptr, nullptr, nullptr));
      EXPECT_EQ(1, nlsMatchPattern(0, same.c_str(), p, nullptr, nullptr, nullptr));
      EXPECT_EQ(1, nlsMatchPattern(0, p, same.c_str(), nullptr, nullptr, nullptr));
      EXPECT_EQ(0, nlsMatchPattern(0, p, (same + "q").c_str(), nullptr, nullptr, nullptr));
      EXPECT_EQ(0, nlsMatchPattern(0, (same + "q").c_str(), p, nullptr, nullptr, nullptr));
    }
  }
  munmap(area, static_cast<size_t>(page) * 2);
}
#endif
