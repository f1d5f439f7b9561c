// String objects: making them in each character set, their native form,
// searching, cutting, joining, tokens, units, hashes and numbers.
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/charsets.h"
#include "orvane/frame.h"
#include "orvane/nls.h"
#include "orvane/strings.h"
#include "support/test_support.h"
#include "test_nls_helpers.h"

namespace {

// A string from single-byte text, destroyed with the holder.
class Str {
 public:
  explicit Str(const char *text) : s_(orvStringCreate(ORV_CHARSET_ASCII, text)) {}
  explicit Str(orvString *s) : s_(s) {}
  ~Str() { orvStringDestroy(s_); }
  Str(const Str &) = delete;
  Str &operator=(const Str &) = delete;
  orvString *get() const { return s_; }
  operator orvString *() const { return s_; }

 private:
  orvString *s_;
};

// The native text of a string, freed.
std::string native(const orvString *s) {
  char *n = orvStringNative(s);
  if (n == nullptr) {
    return "<null>";
  }
  std::string out = n;
  orvMemoryFreeFunc(n);
  return out;
}

std::vector<uint16_t> units(const orvString *s) {
  std::vector<uint16_t> u;
  for (uint32_t i = 1; i <= orvStringLength(s); ++i) {
    u.push_back(orvStringGetCharacter(s, i));
  }
  return u;
}

}  // namespace

// --- Making strings -------------------------------------------------------------------------

TEST(Strings, CreateFromSingleByteText) {
  Str s("a, b");
  ASSERT_NE(nullptr, s.get());
  EXPECT_EQ(4u, orvStringLength(s));
  EXPECT_EQ('a', orvStringGetCharacter(s, 1));
  EXPECT_EQ(0, orvStringGetCharacter(s, 5));  // the 0 unit after the text
  EXPECT_EQ("a, b", native(s));
  Str high("\xE9\xFF");
  EXPECT_EQ((std::vector<uint16_t>{0xE9, 0xFF}), units(high));
  EXPECT_EQ(nullptr, orvStringCreate(ORV_CHARSET_ASCII, nullptr));
}

TEST(Strings, CreateFromUtf16) {
  const uint16_t text[] = {0x65E5, 0xD83D, 0xDE00, 'x', 0};
  Str s(orvStringCreate(ORV_CHARSET_UNICODE, text));
  ASSERT_NE(nullptr, s.get());
  EXPECT_EQ(4u, orvStringLength(s));  // a character outside the basic plane counts as two
  char *n = orvStringNative(s);
  ASSERT_NE(nullptr, n);
  EXPECT_EQ(0, memcmp(n, text, sizeof text));
  orvMemoryFreeFunc(n);
}

TEST(Strings, EmptyStrings) {
  Str s("");
  ASSERT_NE(nullptr, s.get());
  EXPECT_EQ(0u, orvStringLength(s));
  EXPECT_EQ("", native(s));
  EXPECT_EQ(0u, orvStringHash(s, 31, 1000));
}

TEST(Strings, AssignReplacesUnitsAndCharSet) {
  Str s("first");
  const uint16_t text[] = {'n', 'e', 'w', 0};
  EXPECT_EQ(1, orvStringAssign(s, ORV_CHARSET_UNICODE, text));
  EXPECT_EQ(3u, orvStringLength(s));
  EXPECT_EQ('w', orvStringGetCharacter(s, 3));
  orvStringConvert(s, ORV_CHARSET_ASCII);
  EXPECT_EQ("new", native(s));
  EXPECT_EQ(0, orvStringAssign(s, ORV_CHARSET_ASCII, nullptr));
  EXPECT_EQ(0u, orvStringLength(s));  // a failed conversion leaves the string empty
  EXPECT_EQ("", native(s));
  EXPECT_EQ(1, orvStringAssign(s, ORV_CHARSET_ASCII, "again"));
  EXPECT_EQ("again", native(s));
}

TEST(Strings, SameComparesUnitsNotCharSets) {
  Str a("text");
  const uint16_t text[] = {'t', 'e', 'x', 't', 0};
  Str b(orvStringCreate(ORV_CHARSET_UNICODE, text));
  Str c("texts");
  EXPECT_EQ(1, orvStringSame(a, b));
  EXPECT_EQ(0, orvStringSame(a, c));
  EXPECT_EQ(0, orvStringSame(a, nullptr));
}

TEST(Strings, ConvertChangesOnlyTheCharSet) {
  Str s("ab");
  EXPECT_EQ(1, orvStringConvert(s, ORV_CHARSET_UNICODE));
  char *n = orvStringNative(s);
  ASSERT_NE(nullptr, n);
  EXPECT_EQ(0, memcmp(n, "a\0b\0\0\0", 6));
  orvMemoryFreeFunc(n);
  EXPECT_EQ(2u, orvStringLength(s));
}

// --- Searching ------------------------------------------------------------------------------

TEST(Strings, FindAndExtract) {
  Str text("a, b");
  Str comma(",");
  EXPECT_EQ(2u, orvStringFind(1, comma, text));
  Str b(orvStringExtract(text, 4, 4));
  ASSERT_NE(nullptr, b.get());
  EXPECT_EQ("b", native(b));
  EXPECT_EQ(0u, orvStringFind(3, comma, text));
  EXPECT_EQ(2u, orvStringFind(0, comma, text));
  Str longer("a, b, c");
  EXPECT_EQ(0u, orvStringFind(1, longer, text));  // longer than the text
  Str ab("b");
  EXPECT_EQ(4u, orvStringFind(4, ab, text));
  EXPECT_EQ(0u, orvStringFind(5, ab, text));  // past the last possible beginning
  Str empty("");
  EXPECT_EQ(0u, orvStringFind(1, empty, text));
}

TEST(Strings, FindLastEndsAtOrBeforeEnd) {
  Str text("abcabc");
  Str bc("bc");
  EXPECT_EQ(5u, orvStringFindLast(6, bc, text));  // an occurrence at the very end
  EXPECT_EQ(2u, orvStringFindLast(5, bc, text));
  EXPECT_EQ(2u, orvStringFindLast(3, bc, text));
  EXPECT_EQ(0u, orvStringFindLast(2, bc, text));
  EXPECT_EQ(0u, orvStringFindLast(7, bc, text));  // end beyond the text
  EXPECT_EQ(0u, orvStringFindLast(0, bc, text));
}

TEST(Strings, ExtractRejectsBadRanges) {
  Str text("abc");
  EXPECT_EQ(nullptr, orvStringExtract(text, 0, 1));
  EXPECT_EQ(nullptr, orvStringExtract(text, 2, 1));
  EXPECT_EQ(nullptr, orvStringExtract(text, 1, 4));
  Str all(orvStringExtract(text, 1, 3));
  EXPECT_EQ("abc", native(all));
}

TEST(Strings, ExtractKeepsTheCharSet) {
  const uint16_t text[] = {'x', 0x3042, 'y', 0};
  Str s(orvStringCreate(ORV_CHARSET_UNICODE, text));
  Str part(orvStringExtract(s, 2, 2));
  char *n = orvStringNative(part);
  ASSERT_NE(nullptr, n);
  EXPECT_EQ(0x42, static_cast<unsigned char>(n[0]));
  EXPECT_EQ(0x30, static_cast<unsigned char>(n[1]));
  orvMemoryFreeFunc(n);
}

// --- Changing strings ------------------------------------------------------------------------

TEST(Strings, RemoveWorksInPlace) {
  Str s("abcdef");
  EXPECT_EQ(1, orvStringRemove(s, 2, 3));
  EXPECT_EQ("adef", native(s));
  EXPECT_EQ(0, orvStringRemove(s, 0, 1));
  EXPECT_EQ(0, orvStringRemove(s, 3, 2));
  EXPECT_EQ(0, orvStringRemove(s, 1, 5));
  EXPECT_EQ("adef", native(s));
  EXPECT_EQ(1, orvStringRemove(s, 1, orvStringLength(s)));
  EXPECT_EQ(0u, orvStringLength(s));
  EXPECT_EQ("", native(s));
}

TEST(Strings, UpShiftChangesOnlyAToZ) {
  const uint16_t text[] = {'a', 'z', 'A', 0xE9, 0xDF, '1', '{', '`', 0};
  Str s(orvStringCreate(ORV_CHARSET_UNICODE, text));
  Str up(orvStringUpShift(s));
  ASSERT_NE(nullptr, up.get());
  EXPECT_EQ((std::vector<uint16_t>{'A', 'Z', 'A', 0xE9, 0xDF, '1', '{', '`'}), units(up));
  EXPECT_EQ('a', orvStringGetCharacter(s, 1));  // the source stays
}

TEST(Strings, JoinConcatenatesUpToTheNull) {
  Str a("ab");
  Str b("");
  Str c("cd");
  Str joined(orvStringJoin(a.get(), b.get(), c.get(), static_cast<orvString *>(nullptr)));
  ASSERT_NE(nullptr, joined.get());
  EXPECT_EQ("abcd", native(joined));
  Str copy(orvStringJoin(a.get(), static_cast<orvString *>(nullptr)));
  EXPECT_EQ("ab", native(copy));
  EXPECT_EQ(1, orvStringSame(copy, a));
  EXPECT_EQ(nullptr, orvStringJoin(nullptr));
}

TEST(Strings, JoinTakesTheFirstCharSetAndAtMost99Strings) {
  Str x("x");
  orvStringConvert(x, ORV_CHARSET_UNICODE);
  Str y("y");
  Str joined(orvStringJoin(x.get(), y.get(), static_cast<orvString *>(nullptr)));
  char *n = orvStringNative(joined);
  ASSERT_NE(nullptr, n);
  EXPECT_EQ(0, memcmp(n, "x\0y\0\0\0", 6));
  orvMemoryFreeFunc(n);
  // 120 further strings: only the first 98 are taken after the first.
  const orvString *o = y.get();
#define TEN o, o, o, o, o, o, o, o, o, o
  Str many(orvStringJoin(x.get(), TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN,
                         static_cast<orvString *>(nullptr)));
#undef TEN
  EXPECT_EQ(99u, orvStringLength(many));
}

TEST(Strings, SetCharacter) {
  Str s("abc");
  EXPECT_EQ(1, orvStringSetCharacter(s, 2, 0x263A));
  EXPECT_EQ(0x263A, orvStringGetCharacter(s, 2));
  EXPECT_EQ(0, orvStringSetCharacter(s, 4, 'x'));
  EXPECT_EQ(0, orvStringSetCharacter(s, 0, 'x'));
  EXPECT_EQ(0, orvStringGetCharacter(s, 0));
  EXPECT_EQ(0, orvStringGetCharacter(s, 99));
}

// --- Tokens ---------------------------------------------------------------------------------

TEST(Strings, TokensOfTheSevenUnitText) {
  Str text("  ab,cd");
  Str delimiters(" ,");
  uint32_t position = 1;
  Str first(orvStringToken(text, delimiters, &position));
  ASSERT_NE(nullptr, first.get());
  EXPECT_EQ("ab", native(first));
  EXPECT_EQ(6u, position);
  Str second(orvStringToken(text, delimiters, &position));
  ASSERT_NE(nullptr, second.get());
  EXPECT_EQ("cd", native(second));
  EXPECT_EQ(9u, position);
  EXPECT_EQ(nullptr, orvStringToken(text, delimiters, &position));
}

TEST(Strings, TokenEdgeCases) {
  Str text("ab,, ");
  Str delimiters(" ,");
  uint32_t position = 0;
  EXPECT_EQ(nullptr, orvStringToken(text, delimiters, &position));
  position = 3;
  EXPECT_EQ(nullptr, orvStringToken(text, delimiters, &position));  // only delimiters remain
  EXPECT_EQ(3u, position);
  Str none("");
  position = 2;
  Str rest(orvStringToken(text, none, &position));  // no delimiters: the rest of the string
  ASSERT_NE(nullptr, rest.get());
  EXPECT_EQ("b,, ", native(rest));
  EXPECT_EQ(7u, position);
  position = 1;
  Str whole(orvStringToken(text, nullptr, &position));
  EXPECT_EQ("ab,, ", native(whole));
}

// --- Hashes and numbers ------------------------------------------------------------------------

TEST(Strings, HashWrapsAndReduces) {
  Str s("ab");
  EXPECT_EQ((97u * 31u + 98u) % 1000u, orvStringHash(s, 31, 1000));
  EXPECT_EQ(((97u % 7u) * 31u + 98u) % 7u, orvStringHash(s, 31, 7));
  // The product wraps in 32 bits.
  Str big("\xFF\xFF\xFF");
  uint32_t expected = 0;
  for (int i = 0; i < 3; ++i) {
    expected = (expected * 0x10001u + 0xFF) % 0xFFFFFFFBu;
  }
  EXPECT_EQ(expected, orvStringHash(big, 0x10001u, 0xFFFFFFFBu));
  EXPECT_EQ(97u * 31u + 98u, orvStringHash(s, 31, 0));  // no modulus: nothing reduced
}

TEST(Strings, NumbersFromAndTo) {
  Str i(orvStringFromInteger(-42, ORV_CHARSET_ASCII));
  EXPECT_EQ("-42", native(i));
  EXPECT_EQ(-42, orvStringToInteger(i));
  Str h(orvStringFromHex(0xBEEFu, ORV_CHARSET_ASCII));
  EXPECT_EQ("BEEF", native(h));
  Str f(orvStringFromFloat(2.5, ORV_CHARSET_ASCII));
  EXPECT_EQ("2.5", native(f));
  EXPECT_DOUBLE_EQ(2.5, orvStringToFloat(f));
  Str u(orvStringFromInteger(7, ORV_CHARSET_UNICODE));
  char *n = orvStringNative(u);
  ASSERT_NE(nullptr, n);
  EXPECT_EQ(0, memcmp(n, "7\0\0\0", 4));
  orvMemoryFreeFunc(n);
  Str junk("12abc");
  EXPECT_EQ(12, orvStringToInteger(junk));
  Str none("x");
  EXPECT_EQ(0, orvStringToInteger(none));
  EXPECT_EQ(0.0, orvStringToFloat(none));
  std::string longNumber(200, ' ');
  longNumber += "123";
  Str padded(longNumber.c_str());
  EXPECT_EQ(123, orvStringToInteger(padded));
}

// --- Strings in a character set of the table --------------------------------------------------

TEST(Strings, NativeFormInADoubleByteSet) {
  testsupport::useScratchProfileDir();
  ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
  int error = 0;
  orvCharSet sjis = orvCharacterSetCreate("s-jis", &error);
  ASSERT_NE(0, sjis);
  {
    Str s(orvStringCreate(sjis, "A\x93\xFA\x96\x7B"));
    ASSERT_NE(nullptr, s.get());
    EXPECT_EQ((std::vector<uint16_t>{'A', 0x65E5, 0x672C}), units(s));
    EXPECT_EQ("A\x93\xFA\x96\x7B", native(s));
    orvStringConvert(s, ORV_CHARSET_ASCII);
    EXPECT_EQ("A\xE5\x2C", native(s));  // low bytes only
    orvStringConvert(s, sjis);
    EXPECT_EQ(1, orvStringSetCharacter(s, 1, 0xD800));  // a lone surrogate has no code
    EXPECT_EQ("<null>", native(s));
    EXPECT_EQ(nullptr, orvStringCreate(sjis, "\x80"));  // no character at 0x80
  }
  orvCharacterSetDestroy(sjis);
  nlsTerminate();
}
