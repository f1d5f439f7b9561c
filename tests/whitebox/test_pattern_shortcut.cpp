// The shortcut matcher of literal, any-character and any-string patterns:
// which patterns take it, and, for many generated patterns, texts and
// tables, that its answers are those of the automaton (the lazily built
// deterministic run and the plain set simulation), of nlsMatchPattern and
// of nlsSimulFA over the stored block.
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/nls/nlspm_internal.h"
#include "orvane/frame.h"
#include "orvane/pattern.h"

namespace {

using namespace nls::pm;

struct Compiled {
  bool ok = false;
  bool shortcut = false;
  Shortcut fast;
  std::unique_ptr<Matcher> automaton;
};

// Parses a pattern with a table (24 bytes) and makes both matchers.
Compiled compile(int mode, const std::string &pattern, const unsigned char *table) {
  Compiled c;
  std::string working = wrapPattern(mode, pattern.c_str(), table);
  Postfix postfix;
  if (!parse(working, table, postfix).ok) {
    return c;
  }
  c.ok = true;
  c.shortcut = c.fast.make(postfix, table);
  Automaton fa;
  build(postfix, table, working.size(), fa);
  c.automaton = std::make_unique<Matcher>(std::move(fa), table);
  return c;
}

bool takesShortcut(const std::string &pattern, int mode = 0, const unsigned char *table = kDefaultTable) {
  Compiled c = compile(mode, pattern, table);
  EXPECT_TRUE(c.ok) << pattern;
  return c.shortcut;
}

TEST(PatternShortcut, ShapesThatTakeIt) {
  EXPECT_TRUE(takesShortcut("error"));
  EXPECT_TRUE(takesShortcut("@.txt"));
  EXPECT_TRUE(takesShortcut("?a@"));
  EXPECT_TRUE(takesShortcut("@error@"));
  EXPECT_TRUE(takesShortcut("a(bc)(d@)e"));  // groups without operators
  EXPECT_TRUE(takesShortcut("!*!?!@!!"));    // escaped metacharacters are literals
  EXPECT_TRUE(takesShortcut("@@a@@"));
  EXPECT_TRUE(takesShortcut("\xE9?\x82@"));
  EXPECT_TRUE(takesShortcut("@" + std::string(16, 'a') + "@"));
}

TEST(PatternShortcut, ShapesThatKeepTheAutomaton) {
  EXPECT_FALSE(takesShortcut("a*"));
  EXPECT_FALSE(takesShortcut("a|b"));
  EXPECT_FALSE(takesShortcut("#>-#>"));
  EXPECT_FALSE(takesShortcut("^"));
  EXPECT_FALSE(takesShortcut("\\a"));
  EXPECT_FALSE(takesShortcut("a!0b"));  // the escaped empty string
  EXPECT_FALSE(takesShortcut("a["));    // a reserved wildcard matches nothing
  EXPECT_FALSE(takesShortcut("a<"));
  for (int mode = 1; mode <= 3; ++mode) {
    EXPECT_FALSE(takesShortcut("abc", mode)) << mode;  // the blanks of the modes
  }
  // A piece between two any-string wildcards longer than 16 elements.
  EXPECT_FALSE(takesShortcut("@" + std::string(17, 'a') + "@"));
  EXPECT_TRUE(takesShortcut(std::string(17, 'a') + "@" + std::string(40, 'b')));
  // A table whose empty-transition label is the any-character wildcard:
  // the automaton then also follows that wildcard without a byte.
  unsigned char table[kTableSize];
  memcpy(table, kDefaultTable, kTableSize);
  table[kEpsilon] = '?';
  EXPECT_FALSE(takesShortcut("a?b", 0, table));
  EXPECT_FALSE(takesShortcut("a@b", 0, table));
}

// Tables for the differential runs: the default, one with other wildcard
// characters, one whose end marker is a printable character, and one whose
// any-character wildcard is also the empty-transition label.
std::vector<std::vector<unsigned char>> tables() {
  std::vector<std::vector<unsigned char>> out;
  out.emplace_back(kDefaultTable, kDefaultTable + kTableSize);
  std::vector<unsigned char> t(kDefaultTable, kDefaultTable + kTableSize);
  t[kAnyChar] = '_';
  t[17] = '?';  // the reserved wildcard of position 17 takes '?'
  t[kAnyString] = '%';
  t[11 + 1] = '@';  // '@' becomes a reserved wildcard
  out.push_back(t);
  t.assign(kDefaultTable, kDefaultTable + kTableSize);
  t[kEnd] = 'x';
  out.push_back(t);
  t.assign(kDefaultTable, kDefaultTable + kTableSize);
  t[kEpsilon] = '?';
  out.push_back(t);
  return out;
}

std::string randomPattern(std::mt19937 &rng, const std::vector<unsigned char> &table) {
  const std::string anyChar(1, static_cast<char>(table[kAnyChar]));
  const std::string anyString(1, static_cast<char>(table[kAnyString]));
  const std::vector<std::string> pieces = {
      "a",     "b",     "c",       "ab",      "x",       "\xE9", "\x82",
      anyChar, anyChar, anyString, anyString, anyString, "(ab)", "(a" + anyString + ")",
      "!*",    "!!",    "!0",      "a*",      "#",       "a|b",  "\r"};
  std::uniform_int_distribution<size_t> pick(0, pieces.size() - 1);
  std::uniform_int_distribution<int> len(1, 8);
  std::string p;
  int n = len(rng);
  for (int i = 0; i < n; ++i) {
    p += pieces[pick(rng)];
  }
  return p;
}

std::string randomText(std::mt19937 &rng) {
  static const char chars[] = "aaabbbcx?*!\xE9\x82\r";
  std::uniform_int_distribution<int> len(0, 12);
  std::uniform_int_distribution<int> pick(0, sizeof chars - 2);
  std::string s;
  int n = len(rng);
  // Now and then a long text, with the end marker or the pieces far in.
  if (rng() % 8 == 0) {
    n += 30 + static_cast<int>(rng() % 40);
  }
  for (int i = 0; i < n; ++i) {
    s += chars[pick(rng)];
  }
  return s;
}

TEST(PatternShortcut, AgreesWithTheAutomatonOnGeneratedPatterns) {
  std::mt19937 rng(20261124);
  int shortcuts = 0;
  int matched = 0;
  int compared = 0;
  for (const std::vector<unsigned char> &table : tables()) {
    const char *tab = reinterpret_cast<const char *>(table.data());
    for (int i = 0; i < 1500; ++i) {
      std::string pattern = randomPattern(rng, table);
      int mode = static_cast<int>(rng() % 5 == 0 ? rng() % 4 : 0);
      Compiled c = compile(mode, pattern, table.data());
      if (!c.ok) {
        continue;
      }
      shortcuts += c.shortcut ? 1 : 0;
      int32_t length = 0;
      unsigned char *block =
          nlsBuildFA(static_cast<int16_t>(mode), pattern.c_str(), nullptr, nullptr, tab, &length);
      ASSERT_NE(nullptr, block) << pattern;
      for (int j = 0; j < 10; ++j) {
        std::string text = randomText(rng);
        const int expected = c.automaton->runSets(text.c_str());
        ASSERT_EQ(expected, c.automaton->run(text.c_str())) << pattern << " / " << text;
        if (c.shortcut) {
          ASSERT_EQ(expected, c.fast.run(text.c_str()))
              << "mode " << mode << " '" << pattern << "' / '" << text << "' table " << tab[kAnyChar];
        }
        ASSERT_EQ(expected, nlsMatchPattern(static_cast<int16_t>(mode), pattern.c_str(), text.c_str(),
                                            nullptr, nullptr, tab))
            << pattern << " / " << text;
        if (table == std::vector<unsigned char>(kDefaultTable, kDefaultTable + kTableSize)) {
          // The short path of a cached pattern with the default table.
          ASSERT_EQ(expected, nlsMatchPattern(static_cast<int16_t>(mode), pattern.c_str(), text.c_str(),
                                              nullptr, nullptr, nullptr))
              << pattern << " / " << text;
        }
        ASSERT_EQ(expected, nlsSimulFA(block, tab, text.c_str())) << pattern << " / " << text;
        ++compared;
        matched += expected;
      }
      orvMemoryFreeFunc(block);
    }
  }
  // The generator reaches the shortcut and both answers often enough.
  EXPECT_GT(shortcuts, 1000);
  EXPECT_GT(matched, 2000);
  EXPECT_GT(compared - matched, 5000);
}

TEST(PatternShortcut, PiecesBetweenWildcards) {
  const unsigned char *t = kDefaultTable;
  struct Case {
    const char *pattern;
    const char *text;
    int expected;
  };
  const Case cases[] = {
      {"@ab@", "xxabyy", 1},
      {"@ab@", "xxayby", 0},
      {"@a?c@", "abbcabc", 1},
      {"@a?c@", "ac", 0},
      {"@??@", "a", 0},
      {"@??@", "ab", 1},
      {"a@b@c", "abc", 1},
      {"a@b@c", "ac", 0},
      {"a@bc@bc", "abcbc", 1},
      {"a@bc@bc", "abc", 0},
      {"@aab", "aaab", 1},
      {"?a@", "\x82\x61zz", 1},
      {"?a@", "a", 0},
      {"@.txt", "report.txt", 1},
      {"@.txt", "report.txt\rmore", 1},
      {"@.txt", ".tx", 0},
      {"error", "error\r", 1},
      {"error", "erro", 0},
      {"error", "errors", 0},
      {"@", "", 1},
      {"?", "", 0},
  };
  for (const Case &k : cases) {
    Compiled c = compile(0, k.pattern, t);
    ASSERT_TRUE(c.shortcut) << k.pattern;
    EXPECT_EQ(k.expected, c.fast.run(k.text)) << k.pattern << " / " << k.text;
    EXPECT_EQ(k.expected, c.automaton->runSets(k.text)) << k.pattern << " / " << k.text;
  }
  // A long text, ended early by the end marker in some runs.
  std::string text(5000, 'a');
  text += "needle";
  text += std::string(3000, 'b');
  Compiled c = compile(0, "@need?e@bb", t);
  EXPECT_EQ(1, c.fast.run(text.c_str()));
  EXPECT_EQ(1, c.automaton->runSets(text.c_str()));
  text[5007] = '\r';  // the text ends after "needle" and one 'b'
  EXPECT_EQ(0, c.fast.run(text.c_str()));
  text[5007] = 'b';
  text[5008] = '\r';  // after "needle" and two
  EXPECT_EQ(1, c.fast.run(text.c_str()));
  text[5002] = '\r';  // before the piece
  EXPECT_EQ(0, c.fast.run(text.c_str()));
  EXPECT_EQ(0, c.automaton->runSets(text.c_str()));
}

}  // namespace
