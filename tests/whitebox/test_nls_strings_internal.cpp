// The four internal routines of the string primitives, in a Shift-JIS
// locale.
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "../test_nls_helpers.h"
#include "common/nls/nls_strings.h"
#include "orvane/nls.h"
#include "support/test_support.h"

#define HIRA_A "\x82\xA0"

namespace {

class StringRoutines : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::useScratchProfileDir();
    nlstest::LanguageSetting japanese("jpn");
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
    ASSERT_EQ(13, nlsGetCharSet());
  }
  void TearDown() override { nlsTerminate(); }
};

std::string field(const char *p, size_t n) { return std::string(p, n); }

}  // namespace

TEST_F(StringRoutines, CopyCharsStopsAtCharactersBytesOrTheEnd) {
  char out[8];
  memset(out, '#', sizeof out);
  nls::copyChars(out, 8, "abcdef", 3, 1);
  EXPECT_STREQ("abc", out);
  nls::copyChars(out, 3, "abcdef", 10, 1);
  EXPECT_STREQ("ab", out);
  nls::copyChars(out, 4, "a" HIRA_A HIRA_A, 10, 1);
  EXPECT_STREQ("a" HIRA_A, out);
  nls::copyChars(out, 8, "a" HIRA_A, 10, 1);
  EXPECT_STREQ("a" HIRA_A, out);
  nls::copyChars(out, 8, "abc", 0, 1);
  EXPECT_STREQ("", out);
  nls::copyChars(out, 8, nullptr, 3, 1);
  EXPECT_STREQ("", out);
}

TEST_F(StringRoutines, CopyCharsLeavesAFullFieldUnterminated) {
  char out[8];
  memset(out, '#', sizeof out);
  nls::copyChars(out, 4, "abcd", 3, 0);
  EXPECT_EQ("abc#", field(out, 4));
  memset(out, '#', sizeof out);
  nls::copyChars(out, 4, "ab", 3, 0);
  EXPECT_EQ(field("ab\0#", 4), field(out, 4));
  memset(out, '#', sizeof out);
  nls::copyChars(out, 4, "ab" HIRA_A, 3, 0);
  EXPECT_EQ(field("ab" HIRA_A, 4), field(out, 4));
  // The next character would not fit: the field counts as full.
  memset(out, '#', sizeof out);
  nls::copyChars(out, 4, "a" HIRA_A HIRA_A, 3, 0);
  EXPECT_EQ(field("a" HIRA_A "#", 4), field(out, 4));
  // One byte is left, but no character fits in it: no NUL either.
  memset(out, '#', sizeof out);
  nls::copyChars(out, 5, "ab" HIRA_A HIRA_A, 4, 0);
  EXPECT_EQ(field("ab" HIRA_A "#", 5), field(out, 5));
}

TEST_F(StringRoutines, CopyCharsWithNoRoomWritesNothing) {
  char out[4] = {'#', '#', '#', '#'};
  nls::copyChars(out, 0, "abc", 3, 1);
  nls::copyChars(out, -5, "abc", 3, 0);
  EXPECT_EQ("####", field(out, 4));
  nls::copyChars(out, 1, "abc", 3, 1);
  EXPECT_EQ(field("\0###", 4), field(out, 4));
}

TEST_F(StringRoutines, CharAtStepsByCharacters) {
  const char *s = "a" HIRA_A "b";
  EXPECT_EQ(s, nls::charAt(s, 0));
  EXPECT_EQ(s + 1, nls::charAt(s, 1));
  EXPECT_EQ(s + 3, nls::charAt(s, 2));
  EXPECT_EQ(s + 4, nls::charAt(s, 3));
  EXPECT_EQ(s + 4, nls::charAt(s, 99));
  EXPECT_EQ(s, nls::charAt(s, -1));
}

TEST_F(StringRoutines, FindUnescapedSkipsTheCharacterAfterAnEscape) {
  const char *s = "a\\,b,c";
  EXPECT_EQ(s + 4, nls::findUnescaped(s, ",", "\\"));
  EXPECT_EQ(s + 2, nls::findUnescaped(s, ",", nullptr));
  EXPECT_EQ(s + 2, nls::findUnescaped(s, ",", ""));
  const char *t = "x\\\\,y";  // an escaped escape
  EXPECT_EQ(t + 3, nls::findUnescaped(t, ",", "\\"));
  // A multi-character escape hides the character right after it.
  const char *u = "ab NULL\\c\\d";
  EXPECT_EQ(u + 9, nls::findUnescaped(u, "\\", "NULL"));
}

TEST_F(StringRoutines, FindUnescapedStopsWhereTheSeparatorCannotFit) {
  EXPECT_EQ(nullptr, nls::findUnescaped("abc", "cd", nullptr));
  EXPECT_EQ(nullptr, nls::findUnescaped("a", "abc", nullptr));
  const char *s = "abcd";
  EXPECT_EQ(s + 2, nls::findUnescaped(s, "cd", nullptr));
  EXPECT_EQ(s, nls::findUnescaped(s, "", nullptr));  // an empty separator matches at the start
  EXPECT_EQ(nullptr, nls::findUnescaped("", "x", nullptr));
}

TEST_F(StringRoutines, FindUnescapedMatchesOnlyOnCharacterBoundaries) {
  const char *s =
      "\x95\x5C"
      "a\\";
  EXPECT_EQ(s + 3, nls::findUnescaped(s, "\\", nullptr));
}

TEST_F(StringRoutines, FindCharMatchesWholeCharacters) {
  const char *set = "ab" HIRA_A "\x82\x61";
  EXPECT_EQ(set + 2, nls::findChar(set, HIRA_A));
  EXPECT_EQ(set + 1, nls::findChar(set, "b"));
  EXPECT_EQ(set + 4, nls::findChar(set, "\x82\x61"));
  EXPECT_EQ(nullptr, nls::findChar("\x82\x61", "a"));  // a trail byte is no character
  EXPECT_EQ(nullptr, nls::findChar(set, "z"));
  EXPECT_EQ(nullptr, nls::findChar("", "a"));
}
