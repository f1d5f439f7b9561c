// Pattern matching: the language and its parser errors, the modes, the
// automaton's answers, the serialised block and its validation, and the
// translation of LIKE patterns.
#include <ctype.h>
#include <locale.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/frame.h"
#include "orvane/nls.h"
#include "orvane/pattern.h"
#include "support/test_support.h"
#include "test_nls_helpers.h"

namespace {

struct Parsed {
  int ok;
  int error;  // as a signed value
  int position;
};

Parsed valid(const char *pattern, const char *table = nullptr) {
  uint16_t error = 0x1234;
  uint16_t position = 0x1234;
  int ok = nlsValidPattern(pattern, table, &error, &position);
  return {ok, static_cast<int16_t>(error), position};
}

bool matches(const char *pattern, const char *text, int mode = 0, const char *table = nullptr) {
  uint16_t error = 0;
  uint16_t position = 0;
  int r = nlsMatchPattern(static_cast<int16_t>(mode), pattern, text, &error, &position, table);
  EXPECT_EQ(0, error) << pattern;
  return r == 1;
}

std::vector<unsigned char> buildBlock(const char *pattern, int mode = 0, const char *table = nullptr) {
  uint16_t error = 0;
  uint16_t position = 0;
  int32_t length = -1;
  unsigned char *block = nlsBuildFA(static_cast<int16_t>(mode), pattern, &error, &position, table, &length);
  EXPECT_NE(nullptr, block) << pattern;
  EXPECT_EQ(0, error);
  std::vector<unsigned char> out;
  if (block != nullptr) {
    out.assign(block, block + length);
    orvMemoryFreeFunc(block);
  }
  return out;
}

bool simul(const std::vector<unsigned char> &block, const char *text, const char *table = nullptr) {
  return nlsSimulFA(block.data(), table, text) == 1;
}

// Every answer through both entry points.
void expectMatch(const char *pattern, const char *text, bool expected, int mode = 0) {
  EXPECT_EQ(expected, matches(pattern, text, mode)) << "pattern '" << pattern << "' text '" << text << "'";
  EXPECT_EQ(expected, simul(buildBlock(pattern, mode), text))
      << "stored pattern '" << pattern << "' text '" << text << "'";
}

void expectError(const char *pattern, int error, int position) {
  Parsed p = valid(pattern);
  EXPECT_EQ(0, p.ok) << pattern;
  EXPECT_EQ(error, p.error) << pattern;
  EXPECT_EQ(position, p.position) << pattern;
}

// --- Parser errors -----------------------------------------------------------

TEST(PatternParser, MissingAlternativeAfterAlternation) { expectError("a|", -4, 2); }
TEST(PatternParser, MissingGroupClose) { expectError("(ab", -6, 3); }
TEST(PatternParser, TextLeftAfterExpression) { expectError("a)", -3, 1); }
TEST(PatternParser, TabIsAControlCharacter) {
  expectError("a\tb", -9, 1);
  expectError("\t", -9, 0);
}
TEST(PatternParser, EscapedLetterIsRefused) {
  expectError("!a", -8, 1);
  expectError("x!9", -8, 2);
  expectError("!", -8, 1);
}
TEST(PatternParser, EscapedOperatorIsLiteral) {
  EXPECT_EQ(1, valid("!*").ok);
  expectMatch("!*", "*", true);
  expectMatch("!*", "", false);
  expectMatch("!*", "a", false);
  expectMatch("a!|b", "a|b", true);
  expectMatch("!!", "!", true);
}
TEST(PatternParser, EmptyPattern) {
  expectError("", -1, 0);
  expectError(nullptr, -1, 0);
  uint16_t error = 0;
  uint16_t position = 7;
  EXPECT_EQ(0, nlsMatchPattern(0, "", "", &error, &position, nullptr));
  EXPECT_EQ(65535, error);
  EXPECT_EQ(0, position);
}
TEST(PatternParser, NoValidExpression) {
  expectError("*a", -2, 0);
  expectError(")", -2, 0);
  expectError("a**", -2, 2);
}
TEST(PatternParser, BadComplementOperand) {
  expectError("\\*", -5, 1);
  expectError("\\(a)", -5, 1);
  expectError("\\", -5, 1);
}
TEST(PatternParser, BadGroupContents) {
  expectError("()", -7, 1);
  expectError("a(*)", -7, 2);
}
TEST(PatternParser, EscapeOfInternalToken) {
  expectError("!\n", -10, 1);
  expectError("a!\b", -10, 2);
}
TEST(PatternParser, OnlyTheFirstErrorIsKept) {
  // The tab inside the group fails first; the group and the top level fail
  // after it.
  expectError("(a\t)", -9, 2);
  expectError("a|(b|)", -4, 5);
}
TEST(PatternParser, BadMode) {
  uint16_t error = 0;
  uint16_t position = 9;
  EXPECT_EQ(0, nlsMatchPattern(4, "a", "a", &error, &position, nullptr));
  EXPECT_EQ(65525, error);
  EXPECT_EQ(0, position);
  EXPECT_EQ(0, nlsMatchPattern(-1, "a", "a", &error, &position, nullptr));
  EXPECT_EQ(65525, error);
  int32_t length = 5;
  EXPECT_EQ(nullptr, nlsBuildFA(7, "a", &error, &position, nullptr, &length));
  EXPECT_EQ(65525, error);
  EXPECT_EQ(0, length);
}
TEST(PatternParser, PositionCountsTheModePrefix) {
  uint16_t error = 0;
  uint16_t position = 0;
  // Mode 2 works on " *(a|)" + end marker: the missing alternative is at 5.
  EXPECT_EQ(0, nlsMatchPattern(2, "a|", "a", &error, &position, nullptr));
  EXPECT_EQ(65532, error);
  EXPECT_EQ(5, position);
}
TEST(PatternParser, NullErrorArgumentsAreAllowed) {
  EXPECT_EQ(0, nlsValidPattern("a|", nullptr, nullptr, nullptr));
  EXPECT_EQ(1, nlsMatchPattern(0, "a", "a", nullptr, nullptr, nullptr));
}
TEST(PatternParser, ValidPatterns) {
  for (const char *p : {"a", "a*b", "(a|b)>c<", "\\a", "@.txt", "#>-#>", "!0", "[]:=;_&", "a|b|c", "((a))"}) {
    Parsed r = valid(p);
    EXPECT_EQ(1, r.ok) << p;
    EXPECT_EQ(0, r.error) << p;
  }
}
TEST(PatternParser, ReservedWildcardsParseButNeverMatch) {
  for (const char *p : {"[", "]", ":", "=", ";", "_", "&"}) {
    EXPECT_EQ(1, valid(p).ok) << p;
    expectMatch(p, p, false);
  }
}

// --- Matching ----------------------------------------------------------------

TEST(PatternMatch, RepetitionThenLiteral) {
  expectMatch("a*b", "b", true);
  expectMatch("a*b", "aaab", true);
  expectMatch("a*b", "aab c", false);
}
TEST(PatternMatch, OneOrMoreAndZeroOrOne) {
  expectMatch("a>", "", false);
  expectMatch("a>", "aaa", true);
  expectMatch("a<", "", true);
  expectMatch("a<", "a", true);
  expectMatch("a<", "aa", false);
}
TEST(PatternMatch, Complement) {
  expectMatch("\\a", "b", true);
  expectMatch("\\a", "a", false);
  expectMatch("\\a", "", false);
  expectMatch("\\?", "a", false);
  expectMatch("\\?", "", false);
  expectMatch("\\?", "?", false);
}
TEST(PatternMatch, AnyStringAndAnyChar) {
  expectMatch("a@", "a", true);
  expectMatch("a@", "ab", true);
  expectMatch("a@", "a long tail", true);
  expectMatch("a@", "ba", false);
  expectMatch("?", "x", true);
  expectMatch("?", "", false);
  expectMatch("?", "xy", false);
}
TEST(PatternMatch, EndMarkerEndsTheText) {
  expectMatch("ab", "ab\rcd", true);
  expectMatch("abcd", "ab\rcd", false);
}
TEST(PatternMatch, ModeThreeAllowsBlanksOnBothSides) {
  expectMatch("abc", "  abc ", true, 3);
  expectMatch("abc", "ab c", false, 3);
  expectMatch("abc", "abc", true, 3);
}
TEST(PatternMatch, ModesOneAndTwo) {
  expectMatch("abc", "abc  ", true, 1);
  expectMatch("abc", " abc", false, 1);
  expectMatch("abc", " abc", true, 2);
  expectMatch("abc", "abc ", false, 2);
  expectMatch("abc", " abc", false, 0);
}
TEST(PatternMatch, LettersAndDigits) {
  expectMatch("^>", "Hello", true);
  expectMatch("^>", "Hell0", false);
  expectMatch("#>-#>", "12-345", true);
  expectMatch("#>-#>", "12-", false);
  expectMatch("\\#", "x", true);
  expectMatch("\\#", "5", false);
}
TEST(PatternMatch, EscapedZeroIsTheEmptyString) {
  expectMatch("!0", "", true);
  expectMatch("!0", "0", false);
  expectMatch("a!0b", "ab", true);
  expectMatch("0", "0", true);
  // The complement of the empty string's transition: any one character.
  expectMatch("\\!0", "x", true);
  expectMatch("\\!0", "", false);
}
TEST(PatternMatch, Alternation) {
  expectMatch("cat|dog", "dog", true);
  expectMatch("cat|dog", "cat", true);
  expectMatch("cat|dog", "cow", false);
  expectMatch("(a|b)>c", "abbac", true);
}
TEST(PatternMatch, CustomTable) {
  // Swap the roles of "*" and "@": "*" is the any-string wildcard.
  char table[NLS_PM_TABLE_SIZE];
  memcpy(table, NLS_PATTERN_DEFAULT_TABLE, NLS_PM_TABLE_SIZE);
  table[NLS_PM_REPEAT] = '@';
  table[NLS_PM_ANY_STRING] = '*';
  EXPECT_TRUE(matches("*.txt", "notes.txt", 0, table));
  EXPECT_FALSE(matches("*.txt", "notes.doc", 0, table));
  EXPECT_TRUE(matches("a@", "aaa", 0, table));
  // The same text with the default table: "*" repeats, "@" is any string.
  EXPECT_TRUE(matches("a*", "aaa"));
  // The stored automaton runs with the table handed to nlsSimulFA.
  std::vector<unsigned char> block = buildBlock("*.txt", 0, table);
  EXPECT_TRUE(simul(block, "x.txt", table));
}
TEST(PatternMatch, TableWithOneCharacterInTwoRoles) {
  // "t" is both a reserved wildcard (position 13) and the internal
  // concatenation token (position 21): as an atom it is the wildcard.
  char table[NLS_PM_TABLE_SIZE];
  memcpy(table, NLS_PATTERN_DEFAULT_TABLE, NLS_PM_TABLE_SIZE);
  table[13] = 't';
  table[NLS_PM_CONCAT] = 't';
  EXPECT_EQ(0, nlsMatchPattern(0, "t", "t", nullptr, nullptr, table));
  EXPECT_EQ(1, nlsMatchPattern(0, "at<", "a", nullptr, nullptr, table));
  int32_t length = 0;
  unsigned char *block = nlsBuildFA(0, "at<b", nullptr, nullptr, table, &length);
  ASSERT_NE(nullptr, block);
  EXPECT_EQ(1, nlsSimulFA(block, table, "ab"));
  orvMemoryFreeFunc(block);
}
TEST(PatternMatch, NullTextIsEmpty) {
  EXPECT_EQ(1, nlsMatchPattern(0, "a*", nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(0, nlsMatchPattern(0, "a", nullptr, nullptr, nullptr, nullptr));
}
TEST(PatternMatch, HighBytesAreLiterals) {
  expectMatch("\xE9t\xE9", "\xE9t\xE9", true);
  expectMatch("?t?", "\xE9t\xE9", true);
}
TEST(PatternMatch, SuccessReportsNoError) {
  uint16_t error = 99;
  uint16_t position = 99;
  EXPECT_EQ(1, nlsMatchPattern(0, "ab", "ab", &error, &position, nullptr));
  EXPECT_EQ(0, error);
  EXPECT_EQ(2, position);
  // The same pattern again (answered from the thread's cache) reports alike.
  error = 99;
  position = 99;
  EXPECT_EQ(0, nlsMatchPattern(0, "ab", "abc", &error, &position, nullptr));
  EXPECT_EQ(0, error);
  EXPECT_EQ(2, position);
}

// --- Long and deep patterns --------------------------------------------------

TEST(PatternLimits, DeepNesting) {
  const int depth = 10000;
  std::string p(depth, '(');
  p += "a";
  p += std::string(depth, ')');
  EXPECT_EQ(1, valid(p.c_str()).ok);
  expectMatch(p.c_str(), "a", true);
  expectMatch(p.c_str(), "b", false);
  std::string unclosed(depth, '(');
  unclosed += "a";
  Parsed r = valid(unclosed.c_str());
  EXPECT_EQ(-6, r.error);
  EXPECT_EQ(depth + 1, r.position);
}
TEST(PatternLimits, VeryLongPatternMatchesButDoesNotSerialise) {
  std::string p;
  std::string text;
  for (int i = 0; i < 20000; ++i) {
    p += static_cast<char>('a' + i % 26);
    text += static_cast<char>('a' + i % 26);
  }
  EXPECT_TRUE(matches(p.c_str(), text.c_str()));
  text.back() = '#';
  EXPECT_FALSE(matches(p.c_str(), text.c_str()));
  uint16_t error = 0;
  uint16_t position = 9;
  int32_t length = 9;
  EXPECT_EQ(nullptr, nlsBuildFA(0, p.c_str(), &error, &position, nullptr, &length));
  EXPECT_EQ(static_cast<uint16_t>(NLS_PM_ERR_TOO_LARGE), error);
  EXPECT_EQ(0, length);
}
TEST(PatternLimits, LargestStoredAutomaton) {
  // 8,192 literals: 16,384 states, the last transition index 32,767.
  std::string p(8192, 'x');
  std::vector<unsigned char> block = buildBlock(p.c_str());
  ASSERT_FALSE(block.empty());
  EXPECT_EQ(0x3F, block[6]);
  EXPECT_EQ(0xFF, block[7]);
  EXPECT_EQ(0x7F, block[10]);
  EXPECT_EQ(0xFF, block[11]);
  EXPECT_TRUE(simul(block, p.c_str()));
  EXPECT_FALSE(simul(block, "x"));
  std::string one_more(8193, 'x');
  uint16_t error = 0;
  int32_t length = 0;
  EXPECT_EQ(nullptr, nlsBuildFA(0, one_more.c_str(), &error, nullptr, nullptr, &length));
  EXPECT_EQ(static_cast<uint16_t>(NLS_PM_ERR_TOO_LARGE), error);
}
TEST(PatternLimits, PathologicalPatternIsLinear) {
  std::string p;
  for (int i = 0; i < 30; ++i) {
    p += "a<";
  }
  p += std::string(30, 'a');
  std::string text(30, 'a');
  EXPECT_TRUE(matches(p.c_str(), text.c_str()));
  EXPECT_TRUE(matches(p.c_str(), std::string(60, 'a').c_str()));
  EXPECT_FALSE(matches(p.c_str(), std::string(61, 'a').c_str()));
  EXPECT_FALSE(matches(p.c_str(), std::string(29, 'a').c_str()));
}

// --- The serialised automaton ------------------------------------------------

TEST(PatternBlock, LayoutOfOneLiteral) {
  std::vector<unsigned char> block = buildBlock("a");
  const unsigned char expected[] = {0,    1,           // stack capacity: ("a" + end marker + 1) / 2
                                    0,    2,           // states created
                                    0,    0,           // initial state
                                    0,    1,           // highest state index
                                    0,    0,           // highest state word
                                    0,    3,           // highest transition index
                                    0,    0,           // highest transition word
                                    1,    0,           // transition counts
                                    0x40, 0x00,        // accepting: state 1
                                    0,    0,    0, 2,  // first transitions
                                    0,    1,    0, 0, 0, 0, 0, 0,  // targets
                                    0,    0,                       // mark bits
                                    0,    0,                       // negation bits
                                    'a',  0,    0, 0};             // labels
  ASSERT_EQ(sizeof expected, block.size());
  EXPECT_EQ(0, memcmp(expected, block.data(), sizeof expected));
}
TEST(PatternBlock, MarkBitsComeBeforeNegationBits) {
  std::vector<unsigned char> block = buildBlock("\\?");
  // Two tokens, four states (the complement is counted, creates none).
  ASSERT_EQ(56u, block.size());
  EXPECT_EQ(2, block[3]);      // states created
  EXPECT_EQ(3, block[7]);      // highest state index
  EXPECT_EQ(0x80, block[44]);  // mark bit of transition 0 (the wildcard)
  EXPECT_EQ(0x80, block[46]);  // negation bit of transition 0
  EXPECT_EQ('?', block[48]);
}
TEST(PatternBlock, AnyStringTakesFourStates) {
  std::vector<unsigned char> block = buildBlock("@");
  EXPECT_EQ(4, block[3]);
  EXPECT_EQ(2, block[5]);  // the repetition's start is the initial state
}
TEST(PatternBlock, EmptyPatternGivesTwentySixZeroBytes) {
  uint16_t error = 77;
  uint16_t position = 77;
  int32_t length = 0;
  unsigned char *block = nlsBuildFA(0, "", &error, &position, nullptr, &length);
  ASSERT_NE(nullptr, block);
  EXPECT_EQ(0, error);
  ASSERT_EQ(26, length);
  for (int i = 0; i < 26; ++i) {
    EXPECT_EQ(0, block[i]);
  }
  EXPECT_EQ(0, nlsSimulFA(block, nullptr, ""));
  orvMemoryFreeFunc(block);
}
TEST(PatternBlock, BadPatternBuildsNothing) {
  uint16_t error = 0;
  uint16_t position = 0;
  int32_t length = 3;
  EXPECT_EQ(nullptr, nlsBuildFA(0, "(ab", &error, &position, nullptr, &length));
  EXPECT_EQ(static_cast<uint16_t>(-6), error);
  EXPECT_EQ(3, position);
  EXPECT_EQ(0, length);
}

void put16(std::vector<unsigned char> &b, size_t at, int v) {
  b[at] = static_cast<unsigned char>((v >> 8) & 0xFF);
  b[at + 1] = static_cast<unsigned char>(v & 0xFF);
}

TEST(PatternBlock, ForgedBlocksGiveZero) {
  std::vector<unsigned char> good = buildBlock("ab");
  ASSERT_TRUE(simul(good, "ab"));
  // Header fields: S - 1 at 6, T - 1 at 10.
  {
    std::vector<unsigned char> b = good;
    put16(b, 10, 6);  // T != 2S
    EXPECT_FALSE(simul(b, "ab"));
  }
  {
    std::vector<unsigned char> b = good;
    put16(b, 4, 4);  // initial state = S
    EXPECT_FALSE(simul(b, "ab"));
  }
  {
    std::vector<unsigned char> b = good;
    put16(b, 8, 1);  // wrong state word count
    EXPECT_FALSE(simul(b, "ab"));
  }
  {
    std::vector<unsigned char> b = good;
    put16(b, 2, 5);  // states created differs
    EXPECT_FALSE(simul(b, "ab"));
  }
  {
    std::vector<unsigned char> b = good;
    put16(b, 0, 0x8000);  // negative count
    EXPECT_FALSE(simul(b, "ab"));
  }
  {
    std::vector<unsigned char> b = good;
    b[14] = 3;  // three transitions on state 0
    EXPECT_FALSE(simul(b, "ab"));
  }
  const size_t s = 4;
  const size_t firsts = 14 + s + 2;
  const size_t targets = firsts + 2 * s;
  {
    std::vector<unsigned char> b = good;
    put16(b, firsts + 2, 7);  // state 1's transitions run past the last slot
    EXPECT_FALSE(simul(b, "ab"));
  }
  {
    std::vector<unsigned char> b = good;
    put16(b, firsts, -1);
    EXPECT_FALSE(simul(b, "ab"));
  }
  {
    std::vector<unsigned char> b = good;
    put16(b, targets, 4);  // a target past the last state
    EXPECT_FALSE(simul(b, "ab"));
  }
  EXPECT_EQ(0, nlsSimulFA(nullptr, nullptr, "ab"));
  // The good block still runs after the forged ones.
  EXPECT_TRUE(simul(good, "ab"));
  EXPECT_FALSE(simul(good, "abc"));
}

// --- LIKE patterns -----------------------------------------------------------

std::string like(const char *text, char escape = 0, const char *table = nullptr, int32_t *result = nullptr) {
  char out[256];
  memset(out, 'Z', sizeof out);
  int32_t n = nlsCvtLikePattern(text, out, sizeof out, table, escape);
  if (result != nullptr) {
    *result = n;
  }
  return out;
}

TEST(PatternLike, PercentAndEscapedMetacharacters) {
  int32_t n = 0;
  EXPECT_EQ("50!!@", like("50!%", 0, nullptr, &n));
  EXPECT_EQ(5, n);
}
TEST(PatternLike, UnderscoreAndMetacharacters) {
  EXPECT_EQ("a?b", like("a_b"));
  EXPECT_EQ("!*!(x!)!?", like("*(x)?"));
  EXPECT_EQ("0", like("0"));
}
TEST(PatternLike, EscapeCharacter) {
  int32_t n = 0;
  EXPECT_EQ("100%", like("100\\%", '\\', nullptr, &n));
  EXPECT_EQ(4, n);
  EXPECT_EQ("a!_b", like("a\\_b", '\\'));
  EXPECT_EQ("a!\\", like("a\\\\", '\\'));
  like("a\\b", '\\', nullptr, &n);
  EXPECT_EQ(65535, n & 0xFFFF);
  like("a\\", '\\', nullptr, &n);
  EXPECT_EQ(65535, n & 0xFFFF);
}
TEST(PatternLike, EmptyInput) {
  int32_t n = 9;
  EXPECT_EQ("", like("", 0, nullptr, &n));
  EXPECT_EQ(0, n);
}
TEST(PatternLike, OutputSizeIsHonoured) {
  char out[4];
  memset(out, 'Z', sizeof out);
  EXPECT_EQ(65535, nlsCvtLikePattern("****", out, sizeof out, nullptr, 0));
  EXPECT_EQ('\0', out[0]);
  char exact[5];
  EXPECT_EQ(4, nlsCvtLikePattern("!!", exact, sizeof exact, nullptr, 0));
  EXPECT_STREQ("!!!!", exact);
  EXPECT_EQ(65535, nlsCvtLikePattern("a", out, 0, nullptr, 0));
}
TEST(PatternLike, ConvertedPatternMatches) {
  char out[64];
  nlsCvtLikePattern("report_%.t!t", out, sizeof out, nullptr, 0);
  EXPECT_TRUE(matches(out, "report1 final.t!t"));
  EXPECT_FALSE(matches(out, "report.t!t"));
}

}  // namespace

// --- Double-byte text --------------------------------------------------------

namespace {

// Shift-JIS characters whose trail bytes are "_" (0x5F) and "@" (0x40).
#define SJIS_TRAIL_UNDERSCORE "\x82\x5F"
#define SJIS_TRAIL_AT "\x82\x40"

class PatternShiftJis : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::useScratchProfileDir();
    nlstest::LanguageSetting setting("jpn");
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
    ASSERT_EQ(13, nlsGetCharSet());
  }
  void TearDown() override { nlsTerminate(); }
};

TEST_F(PatternShiftJis, LikeKeepsDoubleByteCharactersWhole) {
  char out[64];
  int32_t n = nlsCvtLikePattern(SJIS_TRAIL_UNDERSCORE "%" SJIS_TRAIL_AT "_", out, sizeof out, nullptr, 0);
  EXPECT_STREQ(SJIS_TRAIL_UNDERSCORE "@" SJIS_TRAIL_AT "?", out);
  EXPECT_EQ(4, n);  // characters: two double-byte ones and two wildcards
  // A double-byte character is not taken for the escape character either.
  n = nlsCvtLikePattern(SJIS_TRAIL_UNDERSCORE "x", out, sizeof out, nullptr, '\x82');
  EXPECT_STREQ(SJIS_TRAIL_UNDERSCORE "x", out);
  EXPECT_EQ(2, n);
}

TEST_F(PatternShiftJis, MatchingIsByteByByte) {
  // The trail byte 0x40 of the pattern is the any-string wildcard: the
  // parser does not protect it, so the pattern matches every text that
  // begins with the lead byte.
  EXPECT_EQ(1, nlsMatchPattern(0, SJIS_TRAIL_AT, SJIS_TRAIL_AT, nullptr, nullptr, nullptr));
  EXPECT_EQ(1, nlsMatchPattern(0, SJIS_TRAIL_AT, "\x82zz", nullptr, nullptr, nullptr));
  // "?" matches one byte, not one character.
  EXPECT_EQ(0, nlsMatchPattern(0, "?", "\x93\xFA", nullptr, nullptr, nullptr));
  EXPECT_EQ(1, nlsMatchPattern(0, "??", "\x93\xFA", nullptr, nullptr, nullptr));
  // Escaping the trail byte by hand protects it.
  EXPECT_EQ(1, nlsMatchPattern(0, "\x82!\x40", SJIS_TRAIL_AT, nullptr, nullptr, nullptr));
  EXPECT_EQ(0, nlsMatchPattern(0, "\x82!\x40", "\x82zz", nullptr, nullptr, nullptr));
}

}  // namespace

// --- The locale's classes ----------------------------------------------------

namespace {

// Letters come from the C runtime's classification in force at each run:
// a change of LC_CTYPE between two runs of one pattern changes the answer
// as the runtime's own answer changes.
int runtimeLetter(int c) { return (isupper(c) || islower(c) || isalpha(c)) ? 1 : 0; }

TEST(PatternLocale, ClassesFollowTheRuntimeLocale) {
  std::string old = setlocale(LC_CTYPE, nullptr);
  EXPECT_EQ(runtimeLetter(0xE9), nlsMatchPattern(0, "^", "\xE9", nullptr, nullptr, nullptr));
  EXPECT_EQ(1 - runtimeLetter(0xE9), nlsValidPattern("!\xE9", nullptr, nullptr, nullptr));
  const char *names[] = {"C", "French_France.1252", "fr_FR.ISO-8859-1", "de_DE.ISO-8859-1",
                         "en_US.ISO-8859-1"};
  for (const char *n : names) {
    if (setlocale(LC_CTYPE, n) == nullptr) {
      continue;
    }
    EXPECT_EQ(runtimeLetter(0xE9), nlsMatchPattern(0, "^", "\xE9", nullptr, nullptr, nullptr)) << n;
    EXPECT_EQ(1 - runtimeLetter(0xE9), nlsValidPattern("!\xE9", nullptr, nullptr, nullptr)) << n;
    EXPECT_EQ(1 - runtimeLetter(0xE9), nlsMatchPattern(0, "!\xE9", "\xE9", nullptr, nullptr, nullptr)) << n;
  }
  setlocale(LC_CTYPE, old.c_str());
  EXPECT_EQ(runtimeLetter(0xE9), nlsMatchPattern(0, "^", "\xE9", nullptr, nullptr, nullptr));
}

}  // namespace
