// Text layout and string utilities: padding, zero fill, justification,
// trimming, reversal, spreading, packing, centring; search by character
// index; the phonetic key, the scrambling and the checksum. In single-byte
// locales, in a Shift-JIS locale (double-byte space 0x81 0x40; comma 0x81
// 0x43, full stop 0x81 0x44, colon 0x81 0x46, semicolon 0x81 0x47,
// ideographic comma 0x81 0x41 and full stop 0x81 0x42) and in a Shift-JIS
// locale whose row has no attributes.
#include <string.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_nls_helpers.h"

namespace {

#define HIRA_A "\x82\xA0"
#define TRAIL_A "\x82\x61"
#define DB_SPACE "\x81\x40"
#define DB_COMMA "\x81\x43"
#define DB_STOP "\x81\x44"
#define DB_COLON "\x81\x46"
#define DB_SEMI "\x81\x47"
#define DB_ICOMMA "\x81\x41"
#define DB_ISTOP "\x81\x42"

class NlsText : public nlstest::LocaleTest {};

class TextShiftJis : public NlsText {
 protected:
  void SetUp() override {
    NlsText::SetUp();
    initIn("jpn");
    ASSERT_EQ(13, nlsGetCharSet());
  }
};

class TextSingleByte : public NlsText {
 protected:
  void SetUp() override {
    NlsText::SetUp();
    initIn("enu");
  }
};

// A Shift-JIS row without attributes (language "jpx"), ahead of the shipped
// table's rows so that its character-set definitions are there too.
class TextNoAttributes : public NlsText {
 protected:
  void SetUp() override {
    NlsText::SetUp();
    std::ifstream in(nlstest::shippedTable(), std::ios::binary);
    std::stringstream body;
    body << in.rdbuf();
    table_ = std::make_unique<nlstest::TableFile>("ja_JP:s-jis:winnt:jpx:129,159,2;224,252,2\n" + body.str());
    nlstest::LanguageSetting setting("jpx");
    ASSERT_EQ(0, nlstest::initWith(table_->path()).status);
    ASSERT_EQ(13, nlsGetCharSet());
    ASSERT_EQ(2, nlsStrmblen(0x81));
  }
  std::unique_ptr<nlstest::TableFile> table_;
};

// The in-place functions run on a heap block of exactly the string's size,
// so that the address sanitizer sees any byte touched past it.
std::string run(char *(*f)(char *), const std::string &in) {
  std::unique_ptr<char[]> buf(new char[in.size() + 1]);
  memcpy(buf.get(), in.c_str(), in.size() + 1);
  f(buf.get());
  return buf.get();
}

// Pads in a block of exactly size bytes (or the string's size when that is
// larger).
std::string pad(const std::string &in, int size) {
  const size_t bytes = std::max<size_t>(in.size() + 1, size > 0 ? static_cast<size_t>(size) : 0);
  std::unique_ptr<char[]> buf(new char[bytes]);
  memset(buf.get(), 'z', bytes);
  memcpy(buf.get(), in.c_str(), in.size() + 1);
  nlsPad(buf.get(), size);
  return buf.get();
}

std::string trim(const std::string &in, int *pos = nullptr) {
  std::unique_ptr<char[]> buf(new char[in.size() + 1]);
  memcpy(buf.get(), in.c_str(), in.size() + 1);
  int p = nlsTrim(buf.get());
  if (pos != nullptr) {
    *pos = p;
  }
  return buf.get();
}

std::string spread(const std::string &in) {
  // Exactly twice the byte length (at least one byte), as documented.
  const size_t size = std::max<size_t>(2 * in.size(), 1);
  std::unique_ptr<char[]> buf(new char[size]);
  memcpy(buf.get(), in.c_str(), in.size() + (in.size() < size ? 1 : 0));
  if (in.size() >= size) {
    return "?";
  }
  nlsSpread(buf.get());
  return buf.get();
}

// Centres in a block of exactly width + 1 bytes (or the string's size when
// that is larger).
std::string centre(const std::string &in, int width) {
  const size_t size = std::max<size_t>(in.size(), width > 0 ? static_cast<size_t>(width) : 0) + 1;
  std::unique_ptr<char[]> buf(new char[size]);
  memset(buf.get(), 0, size);
  memcpy(buf.get(), in.c_str(), in.size() + 1);
  nlsCentre(buf.get(), width);
  return buf.get();
}

std::string soundex(const char *word, int keyLength) {
  std::unique_ptr<char[]> key(new char[keyLength > 0 ? keyLength : 0]);
  nlsSoundex(word, key.get(), keyLength);
  return std::string(key.get(), static_cast<size_t>(keyLength > 0 ? keyLength : 0));
}

}  // namespace

// --- Pad and zero fill ------------------------------------------------------------------------

TEST(NlsLayout, PadAppendsSpaces) {
  EXPECT_EQ("ab   ", pad("ab", 6));
  EXPECT_EQ("abcde", pad("abcde", 6));  // already size - 1 long
  EXPECT_EQ("abcdef", pad("abcdef", 6));
  EXPECT_EQ("ab", pad("ab", 0));
  EXPECT_EQ("", pad("", 1));
  EXPECT_EQ(" ", pad("", 2));
}

TEST(NlsLayout, PadBufferSizes) {
  // The buffer is exactly size bytes: sizes 0, 1, exact fit and one less.
  for (int size : {0, 1, 4, 5}) {
    std::unique_ptr<char[]> buf(new char[size > 0 ? size : 1]);
    strcpy(buf.get(), "");
    if (size >= 4) {
      strcpy(buf.get(), "abc");
    }
    nlsPad(buf.get(), size);
    EXPECT_EQ(static_cast<size_t>(size > 4 ? 4 : (size == 4 ? 3 : 0)), strlen(buf.get())) << size;
  }
}

TEST(NlsLayout, ZerofillReplacesLeadingSpaces) {
  char s[] = "   12 3";
  EXPECT_EQ(3, nlsZerofill(s));
  EXPECT_STREQ("00012 3", s);
  char t[] = "12";
  EXPECT_EQ(0, nlsZerofill(t));
  char e[] = "";
  EXPECT_EQ(0, nlsZerofill(e));
  char all[] = "  ";
  EXPECT_EQ(2, nlsZerofill(all));
  EXPECT_STREQ("00", all);
}

TEST_F(TextShiftJis, ZerofillStopsAtTheDoubleByteSpace) {
  char s[] = " " DB_SPACE "1";
  EXPECT_EQ(1, nlsZerofill(s));
  EXPECT_STREQ("0" DB_SPACE "1", s);
}

// --- Justification -------------------------------------------------------------------------------

TEST(NlsLayout, LeftJustify) {
  EXPECT_EQ("ab c   ", run(nlsLeftJustify, "   ab c"));
  EXPECT_EQ("abc", run(nlsLeftJustify, "abc"));
  EXPECT_EQ("   ", run(nlsLeftJustify, "   "));
  EXPECT_EQ("", run(nlsLeftJustify, ""));
}

TEST(NlsLayout, RightJustify) {
  EXPECT_EQ("   ab c", run(nlsRightJustify, "ab c   "));
  EXPECT_EQ("  ab", run(nlsRightJustify, "ab  "));
  EXPECT_EQ("abc", run(nlsRightJustify, "abc"));
  EXPECT_EQ("  ", run(nlsRightJustify, "  "));
  EXPECT_EQ("", run(nlsRightJustify, ""));
}

TEST_F(TextShiftJis, LeftJustifyOverDoubleByteSpaces) {
  EXPECT_EQ(HIRA_A "x     ", run(nlsLeftJustify, DB_SPACE " " DB_SPACE HIRA_A "x"));
}

TEST_F(TextShiftJis, RightJustifyKeepsCharactersWhole) {
  EXPECT_EQ("  " HIRA_A, run(nlsRightJustify, HIRA_A "  "));
  // The trailing double-byte space is not a single-byte space: it stays.
  EXPECT_EQ(" " HIRA_A DB_SPACE, run(nlsRightJustify, HIRA_A DB_SPACE " "));
}

// --- Trim -----------------------------------------------------------------------------------------

TEST(NlsLayout, TrimCutsAfterTheLastNonBlank) {
  int pos = 0;
  EXPECT_EQ("  ab c", trim("  ab c  ", &pos));
  EXPECT_EQ(6, pos);
  EXPECT_EQ("", trim("   ", &pos));
  EXPECT_EQ(0, pos);
  EXPECT_EQ("", trim("", &pos));
  EXPECT_EQ(0, pos);
  EXPECT_EQ(-1, nlsTrim(nullptr));
}

TEST_F(TextShiftJis, TrimDropsDoubleByteSpaces) {
  int pos = 0;
  EXPECT_EQ(HIRA_A, trim(HIRA_A DB_SPACE " " DB_SPACE, &pos));
  EXPECT_EQ(2, pos);
  // 0x81 0x40 inside another character pair is not a space: "\x82\x81"
  // then "\x40" - the pair is on a boundary only when it starts one.
  EXPECT_EQ(
      "\x82\x81"
      "\x40",
      trim("\x82\x81"
           "\x40",
           &pos));
}

TEST_F(TextShiftJis, TrimKeepsALeadByteBeforeTheNul) {
  int pos = 0;
  EXPECT_EQ("a \x81", trim("a \x81", &pos));
  EXPECT_EQ(3, pos);
}

// --- Reverse and spread ------------------------------------------------------------------------------

TEST(NlsLayout, ReverseByteByByte) {
  EXPECT_EQ("cba", run(nlsReverse, "abc"));
  EXPECT_EQ("", run(nlsReverse, ""));
  EXPECT_EQ("a", run(nlsReverse, "a"));
}

TEST_F(TextShiftJis, ReverseSplitsMultiByteCharacters) {
  EXPECT_EQ(
      "\xA0\x82"
      "a",
      run(nlsReverse, "a" HIRA_A));
}

TEST(NlsLayout, Spread) {
  EXPECT_EQ("a b c", spread("abc"));
  EXPECT_EQ("a", spread("a"));
  EXPECT_EQ("", spread(""));
  EXPECT_EQ("a b", spread("ab"));
}

TEST_F(TextShiftJis, SpreadKeepsCharactersWhole) {
  EXPECT_EQ(HIRA_A " a " TRAIL_A, spread(HIRA_A "a" TRAIL_A));
  EXPECT_EQ(HIRA_A, spread(HIRA_A));
  // A lead byte before the NUL is a character of its own.
  EXPECT_EQ("a \x82", spread("a\x82"));
}

// --- Pack ---------------------------------------------------------------------------------------------

TEST(NlsLayout, Pack) {
  EXPECT_EQ("a b c", run(nlsPack, "  a   b c"));
  EXPECT_EQ("a, b. c: d; e", run(nlsPack, "a  , b  . c : d   ; e"));
  EXPECT_EQ("a", run(nlsPack, " ;, ; a"));
  EXPECT_EQ(". a", run(nlsPack, " . a"));  // a leading full stop stays
  EXPECT_EQ("a ", run(nlsPack, "a   "));   // a run at the end stays as one blank
  EXPECT_EQ("a,", run(nlsPack, "a ,"));
  EXPECT_EQ("", run(nlsPack, "   "));
  EXPECT_EQ("", run(nlsPack, ""));
  EXPECT_EQ("a\tb", run(nlsPack, "a\tb"));  // only spaces are blanks
}

TEST_F(TextShiftJis, PackDoubleByteForms) {
  // Leading double-byte blanks, commas and semicolons go.
  EXPECT_EQ("a", run(nlsPack, DB_SPACE DB_COMMA " " DB_SEMI DB_ICOMMA "a"));
  // A run of blanks keeps its first blank as written.
  EXPECT_EQ("a" DB_SPACE "b", run(nlsPack, "a" DB_SPACE "  " DB_SPACE "b"));
  EXPECT_EQ("a b", run(nlsPack, "a " DB_SPACE "b"));
  // A run before a double-byte mark is dropped.
  EXPECT_EQ("a" DB_COMMA "b" DB_STOP "c" DB_COLON "d" DB_SEMI "e" DB_ICOMMA "f" DB_ISTOP,
            run(nlsPack,
                "a " DB_COMMA "b" DB_SPACE DB_STOP "c  " DB_COLON "d " DB_SEMI "e " DB_ICOMMA "f " DB_ISTOP));
  // Other double-byte characters are text, even with a trail byte that
  // reads as a space (none in Shift-JIS) or a mark: 0x82 0x43 is not one.
  EXPECT_EQ("a \x82\x43", run(nlsPack, "a  \x82\x43"));
}

TEST_F(TextNoAttributes, NoDoubleByteSpaceWithoutAttributes) {
  // The attributes are all 0: nothing is a double-byte blank or mark, and
  // no NUL is ever taken for one.
  EXPECT_EQ(DB_SPACE " a", run(nlsPack, DB_SPACE " a"));
  EXPECT_EQ(DB_SPACE "a" DB_SPACE, trim(DB_SPACE "a" DB_SPACE "  "));
  EXPECT_EQ(DB_SPACE "a", run(nlsLeftJustify, DB_SPACE "a"));
  EXPECT_EQ("a \x81", run(nlsPack, "a \x81"));
  EXPECT_EQ("a \x81", trim("a \x81"));
  EXPECT_EQ(DB_SPACE, centre(DB_SPACE, 0));
}

// --- Centre ---------------------------------------------------------------------------------------------

TEST(NlsLayout, CentreSplitsAnOddBlankToTheRight) {
  EXPECT_EQ("  ab  ", centre("ab", 6));
  EXPECT_EQ("  ab   ", centre("ab", 7));
  EXPECT_EQ(" abc  ", centre("   abc", 6));
  EXPECT_EQ("  ab  ", centre("ab    ", 0));  // width 0: the field s has
  EXPECT_EQ("abcd", centre("abcd", 3));      // too long: not cut
  EXPECT_EQ("abc", centre(" abc ", 3));
  EXPECT_EQ("   ", centre("", 3));
  EXPECT_EQ("", centre("", 0));
}

TEST_F(TextShiftJis, CentreCountsDoubleByteSpacesAsBlanks) {
  EXPECT_EQ("  " HIRA_A "   ", centre(DB_SPACE HIRA_A " ", 7));
}

// --- Index ---------------------------------------------------------------------------------------------

TEST(NlsIndexTest, Index) {
  EXPECT_EQ(2, nlsIndex("xxab", "ab"));
  EXPECT_EQ(-1, nlsIndex("xxab", "abc"));
  EXPECT_EQ(-1, nlsIndex("ab", "abc"));
  EXPECT_EQ(0, nlsIndex("ab", ""));
  EXPECT_EQ(0, nlsIndex("", ""));
  EXPECT_EQ(-1, nlsIndex("", "a"));
  EXPECT_EQ(-1, nlsIndex(nullptr, "a"));
}

TEST_F(TextShiftJis, IndexCountsCharacters) {
  EXPECT_EQ(1, nlsIndex(HIRA_A "ab", "ab"));
  // "a" inside TRAIL_A is not on a boundary.
  EXPECT_EQ(-1, nlsIndex(TRAIL_A, "a"));
  EXPECT_EQ(2, nlsIndex(TRAIL_A "ba", "a"));
  // A lead byte before the NUL.
  EXPECT_EQ(1, nlsIndex("a\x82", "\x82"));
}

TEST(NlsIndexTest, IndexN) {
  EXPECT_EQ(0, nlsIndexN("abcabca", "a", 1));
  EXPECT_EQ(3, nlsIndexN("abcabca", "a", 2));
  EXPECT_EQ(6, nlsIndexN("abcabca", "a", 3));
  EXPECT_EQ(-1, nlsIndexN("abcabca", "a", 4));
  EXPECT_EQ(-1, nlsIndexN("abcabca", "a", 0));
  EXPECT_EQ(1, nlsIndexN("aaa", "aa", 2));  // overlapping
}

TEST(NlsIndexTest, IndexO) {
  EXPECT_EQ(3, nlsIndexO("abcabc", "a", 1));
  EXPECT_EQ(0, nlsIndexO("abcabc", "a", 0));
  EXPECT_EQ(-1, nlsIndexO("abcabc", "a", 4));
  EXPECT_EQ(-1, nlsIndexO("abc", "a", -1));
  EXPECT_EQ(-1, nlsIndexO("abc", "a", 10));
}

TEST_F(TextShiftJis, IndexOCountsFromTheStart) { EXPECT_EQ(3, nlsIndexO(HIRA_A "a" HIRA_A "a", "a", 2)); }

TEST(NlsIndexTest, RIndex) {
  EXPECT_EQ(0, nlsRIndex("abca", "a", 2));
  EXPECT_EQ(3, nlsRIndex("abca", "a", 3));
  EXPECT_EQ(3, nlsRIndex("abca", "a", 100));
  EXPECT_EQ(-1, nlsRIndex("abca", "a", -1));
  EXPECT_EQ(-1, nlsRIndex("bca", "a", 1));
  EXPECT_EQ(0, nlsRIndex("abca", "a", 0));
}

// --- Soundex ----------------------------------------------------------------------------------------------

TEST(NlsSoundexTest, Examples) {
  EXPECT_EQ("R163", soundex("Robert", 4));
  EXPECT_EQ("L000", soundex("Lee", 4));
  EXPECT_EQ("A000", soundex("AAAA", 4));
  EXPECT_EQ("A000", soundex("aaaa", 4));
  EXPECT_EQ("P123", soundex("Pfister", 4));
  EXPECT_EQ("R163", soundex("rupert", 4));
  // A vowel does not separate two equal codes: Tymczak keys as T520.
  EXPECT_EQ("T520", soundex("Tymczak", 4));
  // Equal codes separated by a vowel count once.
  EXPECT_EQ("B200", soundex("Bacas", 4));
}

TEST(NlsSoundexTest, KeyLengths) {
  EXPECT_EQ("R", soundex("Robert", 1));
  EXPECT_EQ("R16", soundex("Robert", 3));
  EXPECT_EQ("R16300", soundex("Robert", 6));
  EXPECT_EQ("", soundex("Robert", 0));
  EXPECT_EQ("", soundex("Robert", -3));
}

TEST(NlsSoundexTest, EmptyWord) {
  EXPECT_EQ("0000", soundex("", 4));
  EXPECT_EQ("000", soundex(nullptr, 3));
  EXPECT_EQ("1000", soundex("1", 4));
}

TEST_F(TextShiftJis, SoundexMultiByte) {
  // A two-byte first character is stored whole; two-byte characters later
  // code as 0 (their trail bytes are never letters).
  EXPECT_EQ(HIRA_A "10", soundex(HIRA_A "b" TRAIL_A, 4));
  EXPECT_EQ("00", soundex(HIRA_A "b", 1) + "0");
  EXPECT_EQ("B000", soundex("B" TRAIL_A, 4));
  // A lead byte as the last byte.
  EXPECT_EQ(
      "\x82"
      "000",
      soundex("\x82", 4));
}

// --- Encrypt ----------------------------------------------------------------------------------------------

TEST(NlsEncryptTest, OneByteKeyXorsEveryByte) {
  char data[] = "Hello";
  EXPECT_EQ(0, nlsEncrypt(data, "\x01"));
  EXPECT_STREQ("Idmmn", data);
  EXPECT_EQ(0, nlsEncrypt(data, "\x01"));
  EXPECT_STREQ("Hello", data);
}

TEST(NlsEncryptTest, KeyPositionAndWrap) {
  char data[] = "abcdefg";
  EXPECT_EQ(1, nlsEncrypt(data, "xyz"));  // 7 bytes over a 3-byte key
  EXPECT_EQ('a' ^ 'x', data[0]);
  EXPECT_EQ('d' ^ 'x', data[3]);
  EXPECT_EQ('g' ^ 'x', data[6]);
  EXPECT_EQ(1, nlsEncryptN(data, 7, "xyz", 3));
  EXPECT_STREQ("abcdefg", data);
}

TEST(NlsEncryptTest, EmptyKeyLeavesDataAlone) {
  char data[] = "abc";
  EXPECT_EQ(0, nlsEncrypt(data, ""));
  EXPECT_STREQ("abc", data);
  EXPECT_EQ(0, nlsEncryptN(data, 3, "", 0));
  EXPECT_STREQ("abc", data);
  EXPECT_EQ(0, nlsEncrypt(data, nullptr));
  EXPECT_STREQ("abc", data);
  // An empty key in a one-byte buffer with keyLength 1: position 0 only.
  std::unique_ptr<char[]> key(new char[1]);
  key[0] = '\0';
  EXPECT_EQ(0, nlsEncryptN(data, 3, key.get(), 1));
  EXPECT_STREQ("abc", data);
}

TEST(NlsEncryptTest, KeyLengthLimitsAndNulWraps) {
  char data[8] = {};
  EXPECT_EQ(0, nlsEncryptN(data, 8, "abcdef", 2));  // period 2
  EXPECT_EQ(std::string("abababab", 8), std::string(data, 8));
  memset(data, 0, sizeof data);
  EXPECT_EQ(0, nlsEncryptN(data, 8, "ab", 5));  // the NUL at 2 wraps first
  EXPECT_EQ(std::string("abababab", 8), std::string(data, 8));
  memset(data, 0, sizeof data);
  // A key whose first byte is NUL, with an explicit length: position 0
  // XORs with 0 and the next bytes are used.
  EXPECT_EQ(0, nlsEncryptN(data, 6, "\0bc", 3));
  EXPECT_EQ(std::string("\0bc\0bc", 6), std::string(data, 6));
  // Binary data with NUL bytes is processed over its length.
  char bin[4] = {0, 'a', 0, 'b'};
  nlsEncryptN(bin, 4, "k", 0);
  EXPECT_EQ(std::string("k\x0ak\x09", 4), std::string(bin, 4));
}

TEST(NlsEncryptTest, LongDataMatchesTheByteLoop) {
  const char *key = "some longer key!";
  std::vector<char> data(100000);
  for (size_t i = 0; i < data.size(); ++i) {
    data[i] = static_cast<char>(i * 7 + 3);
  }
  std::vector<char> expect = data;
  size_t pos = 0;
  for (char &c : expect) {
    c = static_cast<char>(c ^ key[pos]);
    ++pos;
    if (pos >= 16 || key[pos] == '\0') {
      pos = 0;
    }
  }
  EXPECT_EQ(static_cast<int>(pos), nlsEncryptN(data.data(), static_cast<int>(data.size()), key, 0));
  EXPECT_EQ(expect, data);
}

// --- Checksum ---------------------------------------------------------------------------------------------

namespace {

uint16_t referenceChecksum(const char *data, size_t n) {
  uint32_t state = 6343;
  uint32_t acc = 0;
  for (size_t i = 0; i < n; ++i) {
    state = (state * 31447u) % 65536u;
    if (state == 0) {
      state = 1;
    }
    acc ^= static_cast<uint32_t>(static_cast<int32_t>(state) * static_cast<signed char>(data[i]));
  }
  return static_cast<uint16_t>(acc & 0xFFFF);
}

}  // namespace

TEST(NlsChksumTest, EmptyIsZero) {
  EXPECT_EQ(0, nlsChksum("", 0));
  EXPECT_EQ(0, nlsChksum("", -1));
}

TEST(NlsChksumTest, KnownValues) {
  // One byte "A": state 6343 * 31447 mod 65536 = 42273; 42273 * 65 =
  // 2747745 = 0x29ED61, low half 0xED61.
  EXPECT_EQ(0xED61, nlsChksum("A", 0));
  EXPECT_EQ(referenceChecksum("Hello, world", 12), nlsChksum("Hello, world", 0));
  // The byte is taken as signed: 0xFF is -1.
  const char ff[] = "\xFF";
  EXPECT_EQ(static_cast<uint16_t>(-42273), nlsChksum(ff, 1));
}

TEST(NlsChksumTest, LengthOrNul) {
  const char data[] = {'a', 'b', 0, 'c', 'd'};
  EXPECT_EQ(referenceChecksum(data, 2), nlsChksum(data, 0));
  EXPECT_EQ(referenceChecksum(data, 5), nlsChksum(data, 5));
}

TEST(NlsChksumTest, LongDataMatchesTheReference) {
  // Longer than the period of the state sequence, with every byte value.
  std::vector<char> data(200001);
  uint32_t x = 12345;
  for (char &c : data) {
    x = x * 1103515245u + 12345u;
    c = static_cast<char>(x >> 16);
  }
  for (size_t n : {size_t{1}, size_t{15}, size_t{16383}, size_t{16384}, size_t{16385}, data.size()}) {
    EXPECT_EQ(referenceChecksum(data.data(), n), nlsChksum(data.data(), static_cast<int>(n))) << n;
  }
}

TEST_F(TextSingleByte, BytesOfADoubleByteSpaceAreTwoCharacters) {
  EXPECT_EQ("a" DB_SPACE, trim("a" DB_SPACE "  "));
  EXPECT_EQ(2, nlsIndex("\x82\xA0"
                        "a",
                        "a"));
  EXPECT_EQ("\x82 \xA0", spread("\x82\xA0"));
}

TEST_F(NlsText, KoreanRowHasOnlyTheIdeographicMarks) {
  initIn("kor");
  ASSERT_EQ(15, nlsGetCharSet());
  // Double-byte space 0xA1 0xA1, ideographic comma 0xA1 0xA2, full stop
  // 0xA1 0xA3; the attributes of the other marks are 0.
  EXPECT_EQ(
      "a\xA1\xA1"
      "b",
      run(nlsPack,
          "\xA1\xA1"
          ", a\xA1\xA1\xA1\xA1 b"));
  EXPECT_EQ(
      "a\xA1\xA2"
      "b\xA1\xA3",
      run(nlsPack,
          "a \xA1\xA2"
          "b\xA1\xA1\xA1\xA3"));
  EXPECT_EQ("a \xA1\xA4", run(nlsPack, "a \xA1\xA4"));
}

TEST_F(NlsText, Big5MarksFollowTheAttributeOrder) {
  initIn("cht");
  ASSERT_EQ(16, nlsGetCharSet());
  // Space 0xA1 0x40; comma 0x41, full stop 0x44, colon 0x47, semicolon 0x46,
  // ideographic comma 0x42 and full stop 0x43.
  EXPECT_EQ(
      "a\xA1\x41"
      "b\xA1\x44"
      "c\xA1\x47"
      "d\xA1\x46"
      "e\xA1\x42"
      "f\xA1\x43",
      run(nlsPack,
          "\xA1\x40\xA1\x41\xA1\x46"
          "a \xA1\x41"
          "b \xA1\x44"
          "c\xA1\x40\xA1\x47"
          "d \xA1\x46"
          "e \xA1\x42"
          "f \xA1\x43"));
}

TEST_F(TextShiftJis, LeadByteBeforeTheNulIsACharacterOfItsOwn) {
  // 0x81 is the lead byte of the double-byte space and marks: alone before
  // the NUL it is neither, and nothing reads past the NUL for its trail.
  EXPECT_EQ("a \x81", run(nlsPack, "a  \x81"));
  EXPECT_EQ("\x81 ", run(nlsLeftJustify, " \x81"));
  // Before another byte a lead byte takes it as its trail, whatever it is:
  // "\x81 " is one two-byte character, with no trailing space.
  EXPECT_EQ("\x81 ", run(nlsRightJustify, "\x81 "));
  EXPECT_EQ(" \x81 ", centre("\x81", 3));
  EXPECT_EQ(1, nlsIndex(" \x81", "\x81"));
  EXPECT_EQ(1, nlsRIndex(" \x81", "\x81", 5));
  EXPECT_EQ(
      "\x81"
      "000",
      soundex("\x81", 4));
  char data[] = "\x81";
  EXPECT_EQ(0, nlsEncrypt(data, "\x01"));
  EXPECT_EQ('\x80', data[0]);
}

TEST_F(TextShiftJis, PadAndSoundexBufferSizes) {
  // Keys of sizes 1, the exact fit of a two-byte first character (2) and
  // one less; pad to sizes 0, 1, the exact fit and one less.
  EXPECT_EQ("0", soundex(HIRA_A "b", 1));
  EXPECT_EQ(HIRA_A, soundex(HIRA_A "b", 2));
  EXPECT_EQ(HIRA_A "1", soundex(HIRA_A "b", 3));
  for (int size : {0, 1, 3, 4}) {
    std::unique_ptr<char[]> buf(new char[size > 3 ? size : 3]);
    memcpy(buf.get(), HIRA_A, 3);
    nlsPad(buf.get(), size);
    EXPECT_EQ(size == 4 ? std::string(HIRA_A " ") : std::string(HIRA_A), std::string(buf.get())) << size;
  }
}
