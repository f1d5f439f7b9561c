// The multi-byte string primitives, in a Shift-JIS locale (where a lead byte
// 0x81-0x9F or 0xE0-0xFC starts a two-byte character) and in single-byte
// locales.
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "orvane/frame.h"
#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_nls_helpers.h"

namespace {

// Two-byte characters of Shift-JIS: hiragana a, the kanji for sun, and one
// whose trail byte is the ASCII letter a.
#define HIRA_A "\x82\xA0"
#define KANJI_SUN "\x93\xFA"
#define TRAIL_A "\x82\x61"

class NlsStrings : public nlstest::LocaleTest {};

class ShiftJis : public NlsStrings {
 protected:
  void SetUp() override {
    NlsStrings::SetUp();
    initIn("jpn");
    ASSERT_EQ(13, nlsGetCharSet());
  }
};

class SingleByte : public NlsStrings {
 protected:
  void SetUp() override {
    NlsStrings::SetUp();
    initIn("enu");
  }
};

std::string bytes(const char *s, size_t n) { return std::string(s, n); }

}  // namespace

// --- Sizes and lengths -----------------------------------------------------------------

TEST_F(ShiftJis, LengthsCountCharactersAndBytes) {
  EXPECT_EQ(2, nlsStrlen("A" HIRA_A));
  EXPECT_EQ(3, nlsStrBlen("A" HIRA_A));
  EXPECT_EQ(4, nlsStrsize("A" HIRA_A));
  EXPECT_EQ(0, nlsStrlen(""));
  // A lead byte before the terminator is a character of its own.
  EXPECT_EQ(2, nlsStrlen("A\x82"));
}

TEST_F(SingleByte, LengthsAreBytes) { EXPECT_EQ(3, nlsStrlen("A" HIRA_A)); }

TEST(NlsSizes, SizeArithmetic) {
  EXPECT_EQ(21, nlsStrmaxsiz(10));
  EXPECT_EQ(9, nlsStrmaxlen(10));
  EXPECT_EQ(4, nlsStrminlen(10));
  EXPECT_EQ(4, nlsStrminlen(9));
  EXPECT_EQ(2, nlsCharmaxsiz());
}

// --- Copies ------------------------------------------------------------------------------

TEST_F(ShiftJis, NcpyNeverCopiesHalfACharacter) {
  char out[8];
  memset(out, 'x', sizeof out);
  nlsStrncpy(out, HIRA_A, 2);
  EXPECT_STREQ("", out);
  nlsStrncpy(out, HIRA_A, 3);
  EXPECT_STREQ(HIRA_A, out);
  nlsStrncpy(out, "A" HIRA_A "B", 3);
  EXPECT_STREQ("A", out);
  nlsStrncpy(out, "A" HIRA_A "B", 5);
  EXPECT_STREQ("A" HIRA_A "B", out);
  nlsStrncpy(out, "abc", 1);
  EXPECT_STREQ("", out);
  memset(out, 'x', sizeof out);
  nlsStrncpy(out, "abc", 0);
  EXPECT_EQ('x', out[0]);  // no room at all: nothing written
}

TEST_F(SingleByte, CopyCatDupEmpty) {
  char out[16] = "ab";
  EXPECT_EQ(out, nlsStrcat(out, "cd"));
  EXPECT_STREQ("abcd", out);
  EXPECT_EQ(out, nlsStrcpy(out, "xy"));
  EXPECT_STREQ("xy", out);
  char *copy = nlsStrdup("dup");
  ASSERT_NE(nullptr, copy);
  EXPECT_STREQ("dup", copy);
  orvMemoryFreeFunc(copy);
  EXPECT_EQ(nullptr, nlsStrdup(nullptr));
  EXPECT_EQ(0, nlsStrIsEmpty(out));
  nlsStrEmpty(out);
  EXPECT_EQ(1, nlsStrIsEmpty(out));
  nlsStrEmpty(nullptr);
  EXPECT_EQ(0, nlsStrIsEmpty(nullptr));
}

TEST_F(ShiftJis, NcatAppendsWholeCharactersWithinCharactersAndBytes) {
  char out[16] = "ab";
  nlsStrncat(out, HIRA_A KANJI_SUN "c", 3);  // three characters would be five bytes
  EXPECT_STREQ("ab" HIRA_A, out);
  nlsStrncat(out, "xyz", 2);
  EXPECT_STREQ("ab" HIRA_A "xy", out);
  nlsStrncat(out, "q", 0);
  EXPECT_STREQ("ab" HIRA_A "xy", out);
}

TEST_F(ShiftJis, NcatNAppendsAListWhileRoomRemains) {
  char out[10] = "a";
  const char *list[] = {"bc", HIRA_A, "defgh", "ij", nullptr};
  nlsStrncatN(out, list, sizeof out);
  // Room 9: "bc" (room 7), HIRA_A (room 5), "defgh" cut to "defg" (room 0).
  EXPECT_STREQ("abc" HIRA_A "defg", out);
  char three[3] = "";
  const char *dbcs[] = {"x", HIRA_A, nullptr};
  nlsStrncatN(three, dbcs, sizeof three);
  EXPECT_STREQ("x", three);  // the two-byte character and a NUL do not fit in two bytes
  char four[4] = "";
  nlsStrncatN(four, dbcs, sizeof four);
  EXPECT_STREQ("x" HIRA_A, four);
}

TEST_F(ShiftJis, LoadTakesAtMostNCharacters) {
  char out[8];
  nlsStrLoad(out, sizeof out, HIRA_A "bcdef", 3);
  EXPECT_STREQ(HIRA_A "b", out);  // three characters, at most three bytes
  nlsStrLoad(out, 3, "abcdef", 5);
  EXPECT_STREQ("ab", out);
}

TEST_F(SingleByte, StoreFillsAFixedWidthField) {
  char field[6];
  memcpy(field, "#####", 6);
  nlsStrStore(field, 4, "abcd");
  EXPECT_EQ(bytes(field, 5), bytes("abc##", 5));  // no NUL: the fourth byte keeps its value
  memcpy(field, "#####", 6);
  nlsStrStore(field, 4, "abc");
  EXPECT_EQ(bytes(field, 5), bytes("abc##", 5));
  memcpy(field, "#####", 6);
  nlsStrStore(field, 4, "ab");
  EXPECT_EQ(bytes(field, 4), bytes("ab\0#", 4));
}

TEST_F(ShiftJis, StoreKeepsTwoByteCharactersWhole) {
  char field[6];
  memcpy(field, "#####", 6);
  nlsStrStore(field, 4, "a" HIRA_A KANJI_SUN);
  EXPECT_EQ(bytes(field, 5), bytes("a" HIRA_A "##", 5));  // the next character does not fit: full
}

TEST_F(ShiftJis, TruncateCutsAfterNCharacters) {
  char s[] = "a" HIRA_A "b" KANJI_SUN;
  EXPECT_EQ(s, nlsStrTruncate(s, 2));
  EXPECT_STREQ("a" HIRA_A, s);
  EXPECT_EQ(s, nlsStrTruncate(s, 10));
  EXPECT_STREQ("a" HIRA_A, s);
  EXPECT_EQ(nullptr, nlsStrTruncate(nullptr, 1));
  EXPECT_STREQ("", nlsStrTruncate(s, 0));
}

TEST_F(ShiftJis, SubstrCountsBytesAndCanCutACharacter) {
  char out[8];
  nlsSubstr(out, sizeof out, "a" HIRA_A "b", 1, 1);
  EXPECT_STREQ("\x82", out);  // half of the character
  nlsSubstr(out, sizeof out, "abcdef", 2, 10);
  EXPECT_STREQ("cdef", out);
  nlsSubstr(out, 3, "abcdef", 0, 10);
  EXPECT_STREQ("ab", out);
  nlsSubstr(out, sizeof out, "abc", 5, 2);  // past the end: empty
  EXPECT_STREQ("", out);
}

TEST_F(ShiftJis, CSubstrCountsCharactersAndCannotCutOne) {
  char out[8];
  nlsCSubstr(out, sizeof out, "a" HIRA_A "b" KANJI_SUN, 1, 2);
  EXPECT_STREQ(HIRA_A "b", out);
  nlsCSubstr(out, 3, "a" HIRA_A "b", 0, 3);
  EXPECT_STREQ("a", out);  // the two-byte character would not leave room for the NUL
  nlsCSubstr(out, sizeof out, "abc", 7, 2);
  EXPECT_STREQ("", out);
  char appended[8] = "x";
  nlsCSubstrAppend(appended, sizeof appended, "a" HIRA_A "b" KANJI_SUN, 1, 3);
  EXPECT_STREQ("x" HIRA_A "b" KANJI_SUN, appended);
  char small[5] = "xy";
  nlsCSubstrAppend(small, sizeof small, HIRA_A KANJI_SUN, 0, 2);
  EXPECT_STREQ("xy" HIRA_A, small);
}

TEST_F(SingleByte, FillWritesWholeCopies) {
  char out[10];
  memset(out, '#', sizeof out);
  EXPECT_EQ(3, nlsStrfill(out, sizeof out, "abc", 5));
  EXPECT_STREQ("abcabcabc", out);
  EXPECT_EQ(2, nlsStrfill(out, sizeof out, "abc", 2));
  EXPECT_STREQ("abcabc", out);
  EXPECT_EQ(0, nlsStrfill(out, 3, "abc", 5));  // not even one fits
  EXPECT_EQ(1, nlsStrfill(out, 4, "abc", 5));
  EXPECT_EQ(0, nlsStrfill(out, sizeof out, "ab", 0));
}

// --- Case -----------------------------------------------------------------------------------

TEST_F(ShiftJis, CaseChangesSkipTwoByteCharacters) {
  char s[] = "ab" TRAIL_A "Cd\xE9";
  EXPECT_EQ(s, nlsStrupr(s));
  EXPECT_STREQ("AB" TRAIL_A "CD\xE9", s);
  EXPECT_EQ(s, nlsStrlwr(s));
  EXPECT_STREQ("ab" TRAIL_A "cd\xE9", s);
}

// --- Comparisons ----------------------------------------------------------------------------

TEST_F(SingleByte, StrcmpIsBytewiseUnsigned) {
  EXPECT_EQ(0, nlsStrcmp("abc", "abc"));
  EXPECT_EQ(-1, nlsStrcmp("abc", "abd"));
  EXPECT_EQ(1, nlsStrcmp("\xE9", "z"));
  EXPECT_EQ(1, nlsStrcmp("abc", "ab"));
}

TEST_F(SingleByte, NcmpStopsAtTheLimitAndReturnsByteValues) {
  EXPECT_EQ(0, nlsStrncmp("abc", "abd", 2));
  EXPECT_EQ(99, nlsStrncmp("abc", "ab", 5));
  EXPECT_EQ(-99, nlsStrncmp("ab", "abc", 5));
  EXPECT_LT(nlsStrncmp("abc", "abd", 3), 0);
  EXPECT_EQ('c' - 'd', nlsStrncmp("abc", "abd", 3));
  EXPECT_EQ(0, nlsStrncmp("abc", "xyz", 0));
  EXPECT_EQ(0, nlsStrncmp("", "", 4));
  EXPECT_GT(nlsStrncmp("\xE9", "e", 1), 0);
}

TEST_F(ShiftJis, NcmpNeverComparesHalfACharacter) {
  EXPECT_EQ(0, nlsStrncmp("a" HIRA_A, "a" KANJI_SUN, 2));  // the character would end beyond 2
  EXPECT_NE(0, nlsStrncmp("a" HIRA_A, "a" KANJI_SUN, 3));
  EXPECT_EQ(0, nlsStrncmp(HIRA_A "x", HIRA_A "y", 2));
  EXPECT_LT(nlsStrncmp(HIRA_A, KANJI_SUN, 2), 0);
}

TEST_F(ShiftJis, NcmpWithOffsetsInCharacters) {
  EXPECT_EQ(0, nlsStrncmpO(HIRA_A "abc", 1, "zab", 1, 2));
  EXPECT_NE(0, nlsStrncmpO(HIRA_A "abc", 1, "zab", 1, 3));
}

TEST_F(SingleByte, CaseInsensitiveComparisons) {
  EXPECT_EQ(1, nlsStrnicmp("abc", "AB", 5));
  EXPECT_EQ(-1, nlsStrnicmp("ab", "ABC", 5));
  EXPECT_EQ(0, nlsStrnicmp("abc", "ABD", 2));
  EXPECT_EQ(0, nlsStrnicmp("HeLLo", "hello", 10));
  EXPECT_EQ('c' - 'd', nlsStrnicmp("abc", "ABD", 3));
  EXPECT_EQ(0, nlsStricmp("MiXeD", "mixed"));
  EXPECT_EQ(1, nlsStricmp("abcd", "ABC"));
  EXPECT_EQ(-1, nlsStricmp("abc", "ABCD"));
  EXPECT_LT(nlsStricmp("a", "B"), 0);
  // Only characters below 0x80 change case.
  EXPECT_NE(0, nlsStricmp("\xE9", "\xC9"));
}

TEST_F(ShiftJis, CaseInsensitiveComparisonsLeaveTwoByteCharactersAlone) {
  EXPECT_EQ(0, nlsStricmp("x" TRAIL_A, "X" TRAIL_A));
  EXPECT_NE(0, nlsStricmp(TRAIL_A, "\x82\x41"));  // the trail byte is not a letter
}

TEST_F(SingleByte, QuickComparisonsAreBytewiseInEnglish) {
  EXPECT_EQ(0, nlsStrqcmpN("abcX", "abcY", 3));
  EXPECT_LT(nlsStrqcmpN("abc", "abd", 3), 0);
  EXPECT_EQ(0, nlsStrqicmpN("ABCx", "abcy", 3));
  EXPECT_GT(nlsStrqicmpN("abd", "ABC", 3), 0);
  EXPECT_EQ(0, nlsStrqcmpN("a", "b", 0));
}

TEST_F(NlsStrings, QuickComparisonsCollateOtherwise) {
  initIn("deu");
  // German without a table: the runtime's comparison of the first n bytes.
  EXPECT_EQ(0, nlsStrqcmpN("abcX", "abcY", 3));
  EXPECT_LT(nlsStrqcmpN("abc", "abd", 3), 0);
  // With the dictionary order, case and accents do not count.
  ASSERT_EQ(1, nlsSetCollSeq("latin1-dictionary"));
  EXPECT_EQ(0, nlsStrqcmpN("\xC4pfelX", "apfelY", 5));
  EXPECT_LT(nlsStrqcmpN("apple", "Banana", 5), 0);
  // The arguments are not written to: literals are fine.
  std::string longer(1000, 'a');
  EXPECT_EQ(0, nlsStrqcmpN((longer + "x").c_str(), (longer + "y").c_str(), 1000));
  EXPECT_EQ(0, nlsStrqicmpN("ABCx", "abcy", 3));
  nlsSetCollSeq(nullptr);
}

TEST_F(NlsStrings, EnglishWithATableCollatesToo) {
  initIn("enu");
  ASSERT_EQ(1, nlsSetCollSeq("latin1-dictionary"));
  EXPECT_EQ(0, nlsStrqcmpN("Apple", "apple", 5));
  nlsSetCollSeq(nullptr);
  EXPECT_LT(nlsStrqcmpN("Apple", "apple", 5), 0);
}

// --- Searching ------------------------------------------------------------------------------

TEST_F(ShiftJis, PbrkCountsCharacters) {
  EXPECT_EQ(2, nlsStrpbrkO("a" HIRA_A "b" KANJI_SUN, 0, "b"));
  EXPECT_EQ(3, nlsStrpbrkO("a" HIRA_A "b" KANJI_SUN, 0, KANJI_SUN));
  EXPECT_EQ(1, nlsStrpbrkO("a" HIRA_A "b", 0, "xy" HIRA_A));
  EXPECT_EQ(-1, nlsStrpbrkO("a" HIRA_A "b", 2, HIRA_A));
  // The trail byte of a character is not the letter a.
  EXPECT_EQ(-1, nlsStrpbrkO(TRAIL_A, 0, "a"));
  EXPECT_EQ(-1, nlsStrpbrkO("abc", -1, "a"));
  EXPECT_EQ(-1, nlsStrpbrkO("", 0, "a"));
  EXPECT_EQ(-1, nlsStrpbrkO("abc", 0, ""));
  EXPECT_EQ(-1, nlsStrpbrkO(nullptr, 0, "a"));
  EXPECT_EQ(-1, nlsStrpbrkO("abc", 0, nullptr));
  EXPECT_EQ(-1, nlsStrpbrkO("abc", 9, "c"));
}

// --- Splitting ------------------------------------------------------------------------------

namespace {

struct Split {
  std::string head;
  std::string tail;
  int result;
};

Split splitN(const char *src, const char *sep, const char *escape, int n, int headSize = 32,
             int tailSize = 32) {
  char head[32];
  char tail[32];
  memset(head, '#', sizeof head);
  memset(tail, '#', sizeof tail);
  int r = nlsStrsplitN(head, headSize, tail, tailSize, src, sep, escape, n);
  return {head, tail, r};
}

Split splitL(const char *src, const char *sep, const char *escape) {
  char head[32];
  char tail[32];
  int r = nlsStrsplitL(head, sizeof head, tail, sizeof tail, src, sep, escape);
  return {head, tail, r};
}

}  // namespace

TEST_F(SingleByte, SplitAtTheFirstUnescapedSeparator) {
  char head[16];
  char tail[16];
  EXPECT_EQ(1, nlsStrsplit(head, sizeof head, tail, sizeof tail, "a,b,c", ",", "\\"));
  EXPECT_STREQ("a", head);
  EXPECT_STREQ("b,c", tail);
  EXPECT_EQ(4, nlsStrsplit(head, sizeof head, tail, sizeof tail, "a\\,b,c", ",", "\\"));
  EXPECT_STREQ("a\\,b", head);  // the escape stays in the head
  EXPECT_STREQ("c", tail);
}

TEST_F(SingleByte, SplitAtTheNthSeparator) {
  Split s = splitN("a,b,c", ",", "\\", 2);
  EXPECT_EQ("a,b", s.head);
  EXPECT_EQ("c", s.tail);
  EXPECT_EQ(3, s.result);
  s = splitN("a,b,c", ",", "\\", 5);
  EXPECT_EQ("a,b,c", s.head);
  EXPECT_EQ("", s.tail);
  EXPECT_EQ(5, s.result);
  s = splitN("a,b,c", ",", "\\", 0);
  EXPECT_EQ("a,b,c", s.head);
  EXPECT_EQ("", s.tail);
  s = splitN("a::b::c", "::", nullptr, 2);
  EXPECT_EQ("a::b", s.head);
  EXPECT_EQ("c", s.tail);
  s = splitN("a\\\\,b", ",", "\\", 1);  // an escaped escape does not hide the separator
  EXPECT_EQ("a\\\\", s.head);
  EXPECT_EQ("b", s.tail);
}

TEST_F(SingleByte, SplitLimitsHeadAndTail) {
  Split s = splitN("abcdef,ghijkl", ",", nullptr, 1, 4, 3);
  EXPECT_EQ("abc", s.head);
  EXPECT_EQ("gh", s.tail);
  EXPECT_EQ(3, s.result);
  char head[8];
  EXPECT_EQ(1, nlsStrsplitN(head, sizeof head, nullptr, 0, "a,b", ",", nullptr, 1));  // no tail wanted
  EXPECT_STREQ("a", head);
  EXPECT_EQ(-1, nlsStrsplitN(nullptr, 0, head, sizeof head, "a,b", ",", nullptr, 1));
}

TEST_F(ShiftJis, SplitNeverCutsACharacterOrMatchesInsideOne) {
  // The trail byte 0x5C of this character is a backslash in ASCII.
  const char src[] =
      "\x95\x5C"
      "a\\b";
  Split s = splitN(src, "\\", nullptr, 1);
  EXPECT_EQ(
      "\x95\x5C"
      "a",
      s.head);
  EXPECT_EQ("b", s.tail);
  s = splitN(HIRA_A KANJI_SUN ",x", ",", nullptr, 1, 4);
  EXPECT_EQ(HIRA_A, s.head);  // the second character does not fit in three bytes
  EXPECT_EQ(1, s.result);
}

TEST_F(SingleByte, SplitAtTheLastSeparator) {
  Split s = splitL("a,b,c", ",", "\\");
  EXPECT_EQ("a,b", s.head);
  EXPECT_EQ("c", s.tail);
  EXPECT_EQ(3, s.result);
  s = splitL("a,b\\,c", ",", "\\");
  EXPECT_EQ("a", s.head);
  EXPECT_EQ("b\\,c", s.tail);
  s = splitL("abc", ",", nullptr);
  EXPECT_EQ("abc", s.head);
  EXPECT_EQ("", s.tail);
  // A longer separator leaves its remaining characters at the front of the
  // tail, and the head ends one byte earlier for each.
  s = splitL("abc::de", "::", nullptr);
  EXPECT_EQ(":de", s.tail);
  EXPECT_EQ("ab", s.head);
}

TEST_F(SingleByte, BasepathCutsAtTheLastSeparator) {
  char dir[32];
  EXPECT_EQ(6, nlsBasepath("c:\\dir\\file", dir));
  EXPECT_STREQ("c:\\dir", dir);
  EXPECT_EQ(-1, nlsBasepath("file", dir));
  EXPECT_EQ(0, nlsBasepath("\\file", dir));
  EXPECT_STREQ("", dir);
  // The text NULL directly before a separator hides it.
  EXPECT_EQ(2, nlsBasepath("c:\\NULL\\file", dir));
  EXPECT_STREQ("c:", dir);
#if !defined(_WIN32)
  EXPECT_EQ(8, nlsBasepath("/usr/lib/file", dir));
  EXPECT_STREQ("/usr/lib", dir);
#endif
}

// --- Escapes --------------------------------------------------------------------------------

TEST_F(SingleByte, AddEscapeCountsWhatDidNotFit) {
  char out[8];
  EXPECT_EQ(1, nlsStrAddEscape(out, 4, "a%b", "%", "\\"));
  EXPECT_STREQ("a\\%", out);
  EXPECT_EQ(3, nlsStrAddEscape(out, 3, "a%b", "%", "\\"));
  EXPECT_STREQ("a", out);
  EXPECT_EQ(0, nlsStrAddEscape(out, sizeof out, "a%b", "%", "\\"));
  EXPECT_STREQ("a\\%b", out);
  EXPECT_EQ(0, nlsStrAddEscape(out, sizeof out, "a%b", "%", ""));
  EXPECT_STREQ("a%b", out);
  EXPECT_EQ(4, nlsStrAddEscape(out, 1, "a%b", "%", "\\"));
  EXPECT_STREQ("", out);
  // Once one item does not fit nothing more is copied, not even one that
  // would fit.
  EXPECT_EQ(3, nlsStrAddEscape(out, 3, "%bcd", "%", "\\"));
  EXPECT_STREQ("\\%", out);
  EXPECT_EQ(6, nlsStrAddEscape(out, 3, "%bcd", "%", "<<"));  // the escaped % counts 3
  EXPECT_STREQ("", out);
  EXPECT_EQ(3, nlsStrAddEscape(out, 3, "ab%c", "%", "\\"));
  EXPECT_STREQ("ab", out);
}

TEST_F(ShiftJis, AddEscapeKeepsCharactersWhole) {
  char out[8];
  EXPECT_EQ(0, nlsStrAddEscape(out, sizeof out, HIRA_A "%", HIRA_A "%", "\\"));
  EXPECT_STREQ("\\" HIRA_A "\\%", out);
  EXPECT_EQ(2, nlsStrAddEscape(out, 3, "a" HIRA_A "b", "", "\\"));
  EXPECT_STREQ("a", out);
}

TEST_F(SingleByte, RemoveEscapeCountsWhatWasDropped) {
  char out[16];
  EXPECT_EQ(0, nlsStrRemoveEscape(out, sizeof out, "a\\%b\\\\c", "\\"));
  EXPECT_STREQ("a%b\\c", out);
  EXPECT_EQ(2, nlsStrRemoveEscape(out, 4, "ab\\cde", "\\"));
  EXPECT_STREQ("abc", out);
  EXPECT_EQ(0, nlsStrRemoveEscape(out, sizeof out, "trailing\\", "\\"));
  EXPECT_STREQ("trailing", out);
  EXPECT_EQ(0, nlsStrRemoveEscape(out, sizeof out, "none", nullptr));
  EXPECT_STREQ("none", out);
  EXPECT_EQ(0, nlsStrRemoveEscape(out, sizeof out, "a<<b", "<<"));
  EXPECT_STREQ("ab", out);
  memset(out, '#', sizeof out);
  EXPECT_EQ(3, nlsStrRemoveEscape(out, 0, "abc", "\\"));
  EXPECT_EQ('#', out[0]);
  EXPECT_EQ(3, nlsStrRemoveEscape(out, 1, "abc", "\\"));
  EXPECT_STREQ("", out);
}

TEST_F(SingleByte, AddEscapeWithNoRoomCountsEverythingAndWritesNothing) {
  char out[4] = {'#', '#', '#', '#'};
  EXPECT_EQ(4, nlsStrAddEscape(out, 0, "a%b", "%", "\\"));
  EXPECT_EQ('#', out[0]);
  EXPECT_EQ(4, nlsStrAddEscape(out, -1, "a%b", "%", "\\"));
  EXPECT_EQ('#', out[0]);
  EXPECT_EQ(0, nlsStrAddEscape(out, 0, "", "%", "\\"));
  EXPECT_EQ('#', out[0]);
}

TEST_F(ShiftJis, RemoveEscapeKeepsTheRoomLeftAfterACharacterThatDidNotFit) {
  char out[8];
  memset(out, '#', sizeof out);
  // Room for 3 bytes: "ab" fits, the two-byte character does not and counts
  // 1, the escaped "c" still fits in the byte that is left.
  EXPECT_EQ(1, nlsStrRemoveEscape(out, 4, "ab" HIRA_A "\\c", "\\"));
  EXPECT_STREQ("abc", out);
  // Within one segment nothing after the character that did not fit is
  // copied, even a character that would fit.
  EXPECT_EQ(2, nlsStrRemoveEscape(out, 4, "ab" HIRA_A "d", "\\"));
  EXPECT_STREQ("ab", out);
}

TEST_F(ShiftJis, RemoveEscapeFindsEscapesOnlyOnCharacterBoundaries) {
  char out[16];
  // 0x95 0x5C is one character; its trail byte is no escape.
  EXPECT_EQ(0, nlsStrRemoveEscape(out, sizeof out,
                                  "\x95\x5C"
                                  "a\\b",
                                  "\\"));
  EXPECT_STREQ(
      "\x95\x5C"
      "ab",
      out);
  EXPECT_EQ(1, nlsStrRemoveEscape(out, 3, "a\\" HIRA_A, "\\"));
  EXPECT_STREQ("a", out);
}

// --- Large data -----------------------------------------------------------------------------

TEST_F(ShiftJis, LongStrings) {
  std::string text;
  for (int i = 0; i < 100000; ++i) {
    text += i % 3 == 0 ? "a" : HIRA_A;
  }
  EXPECT_EQ(100000, nlsStrlen(text.c_str()));
  std::string copy(text.size() + 1, '\0');
  nlsStrncpy(&copy[0], text.c_str(), static_cast<int>(copy.size()));
  EXPECT_EQ(text, std::string(copy.c_str()));
  EXPECT_EQ(0, nlsStrncmp(text.c_str(), copy.c_str(), static_cast<int>(text.size())));
  nlsStrncpy(&copy[0], text.c_str(), 5);  // a, HIRA_A, then HIRA_A does not fit
  EXPECT_STREQ("a" HIRA_A, copy.c_str());
}
