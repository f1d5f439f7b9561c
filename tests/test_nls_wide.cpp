// Wide characters: the packed form (one 16-bit unit per character of the
// current character set) with its buffer limits, and the runtime form read
// from and written to files of the file layer through the C library's
// current LC_CTYPE.
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_files_support.h"
#include "test_nls_helpers.h"

using filestest::FilesTest;

namespace {

#define HIRA_A "\x82\xA0"

class NlsWide : public nlstest::LocaleTest {};

class WideShiftJis : public NlsWide {
 protected:
  void SetUp() override {
    NlsWide::SetUp();
    initIn("jpn");
    ASSERT_EQ(13, nlsGetCharSet());
  }
};

class WideBig5 : public NlsWide {
 protected:
  void SetUp() override {
    NlsWide::SetUp();
    initIn("cht");
    ASSERT_EQ(16, nlsGetCharSet());
  }
};

class WideSingleByte : public NlsWide {
 protected:
  void SetUp() override {
    NlsWide::SetUp();
    initIn("enu");
  }
};

// The bytes of a packed string (without the zero unit).
std::vector<uint8_t> unitBytes(const nlsPackedChar *u, size_t units) {
  const auto *b = reinterpret_cast<const uint8_t *>(u);
  return std::vector<uint8_t>(b, b + 2 * units);
}

// A packed string given as bytes, followed by a zero unit.
std::vector<nlsPackedChar> packed(const std::vector<uint8_t> &bytes) {
  std::vector<nlsPackedChar> u(bytes.size() / 2 + 1, 0);
  memcpy(u.data(), bytes.data(), bytes.size());
  return u;
}

}  // namespace

// --- Packing --------------------------------------------------------------------------------------------

TEST_F(WideShiftJis, HalfWidthKatakanaIsSingleByte) {
  nlsPackedChar out[8];
  EXPECT_EQ(0, nlsNLSToWCS(out, sizeof out, "\xB1\x82\xA0"));
  EXPECT_EQ((std::vector<uint8_t>{0xB1, 0, 0x82, 0xA0, 0, 0}), unitBytes(out, 3));
  // The unit's value: first byte in the low half.
  const char *p = "\xB1\x82\xA0";
  EXPECT_EQ(0x00B1, nlsSGetwc(&p));
  EXPECT_EQ(0xA082, nlsSGetwc(&p));
  EXPECT_EQ(0, nlsSGetwc(&p));
  EXPECT_EQ(0, *p);
}

TEST_F(WideBig5, EveryHighByteStartsTwoBytes) {
  nlsPackedChar out[8];
  EXPECT_EQ(0, nlsNLSToWCS(out, sizeof out,
                           "\xB1\x82\xA0"
                           "a"));
  EXPECT_EQ((std::vector<uint8_t>{0xB1, 0x82, 0xA0, 'a', 0, 0}), unitBytes(out, 3));
}

TEST_F(WideSingleByte, EveryByteIsACharacter) {
  nlsPackedChar out[8];
  EXPECT_EQ(0, nlsNLSToWCS(out, sizeof out,
                           "\xE9"
                           "a"));
  EXPECT_EQ((std::vector<uint8_t>{0xE9, 0, 'a', 0, 0, 0}), unitBytes(out, 3));
}

TEST_F(WideShiftJis, LeadByteBeforeTheNulPacksAlone) {
  nlsPackedChar out[8];
  EXPECT_EQ(0, nlsNLSToWCS(out, sizeof out, "a\x82"));
  EXPECT_EQ((std::vector<uint8_t>{'a', 0, 0x82, 0, 0, 0}), unitBytes(out, 3));
  const char *p = "\x82";
  EXPECT_EQ(0x82, nlsSGetwc(&p));
  EXPECT_EQ(0, *p);
}

TEST_F(WideShiftJis, NLSToWCSBufferSizes) {
  // Units are written while they start four bytes before the end: a
  // 6-byte dst holds one unit and the zero unit (and an odd byte).
  for (int bytes : {0, 1, 2, 3, 4, 5, 6, 7, 8}) {
    std::unique_ptr<uint8_t[]> raw(new uint8_t[bytes > 0 ? bytes : 0]);
    auto *dst = reinterpret_cast<nlsPackedChar *>(raw.get());
    EXPECT_EQ(0, nlsNLSToWCS(bytes > 0 ? dst : nullptr, bytes, "a" HIRA_A "b"));
    const int units = bytes >= 4 ? (bytes - 2) / 2 : 0;
    const uint8_t expect[] = {'a', 0, 0x82, 0xA0, 'b', 0};
    for (int i = 0; i < bytes; ++i) {
      EXPECT_EQ(i < 2 * units && i < 6 ? expect[i] : 0, raw[i]) << bytes << " " << i;
    }
  }
}

TEST_F(WideShiftJis, NLSToNWCSPacksAndAdvances) {
  nlsPackedChar out[3];
  const char *src = "a" HIRA_A "bc";
  EXPECT_EQ(2, nlsNLSToNWCS(out, 3, &src));
  EXPECT_EQ((std::vector<uint8_t>{'a', 0, 0x82, 0xA0, 0, 0}), unitBytes(out, 3));
  EXPECT_STREQ("bc", src);
  EXPECT_EQ(2, nlsNLSToNWCS(out, 3, &src));
  EXPECT_STREQ("", src);
  EXPECT_EQ(0, nlsNLSToNWCS(out, 3, &src));
}

TEST_F(WideShiftJis, NLSToNWCSBufferSizes) {
  // units 0, 1, exact fit (3 characters + zero unit = 4) and one less.
  for (int units : {0, 1, 3, 4}) {
    std::unique_ptr<nlsPackedChar[]> dst(new nlsPackedChar[units > 0 ? units : 0]);
    const char *src = "a" HIRA_A "b";
    const int n = nlsNLSToNWCS(units > 0 ? dst.get() : nullptr, units, &src);
    const int expect = units > 0 ? units - 1 : 0;
    EXPECT_EQ(expect, n) << units;
    if (units > 0) {
      EXPECT_EQ(0, dst[units - 1]) << units;
    }
  }
}

// --- Unpacking ------------------------------------------------------------------------------------------

TEST(NlsWideUnpack, UnitsToBytes) {
  std::vector<nlsPackedChar> src = packed({0x41, 0, 0x82, 0xA0, 0, 0});
  char out[8];
  memset(out, 'x', sizeof out);
  EXPECT_EQ(0, nlsWCSToNLS(out, sizeof out, src.data()));
  EXPECT_EQ(std::string("\x41\x82\xA0", 4), std::string(out, 4));
  EXPECT_EQ(3, nlsWCSToMBS(out, sizeof out, src.data()));
  EXPECT_STREQ("\x41\x82\xA0", out);
}

TEST(NlsWideUnpack, NullDstOnlyCounts) {
  std::vector<nlsPackedChar> src = packed({0x41, 0, 0x82, 0xA0, 0x42, 0});
  EXPECT_EQ(4, nlsWCSToMBS(nullptr, 0, src.data()));
  EXPECT_EQ(4, nlsWCSToMBS(nullptr, 2, src.data()));
}

TEST(NlsWideUnpack, ZeroBytesSkippedTwoZerosEnd) {
  // The bytes are read in a row: a zero byte is skipped, two zero bytes in
  // a row end the string, even across two units.
  char out[8];
  std::vector<nlsPackedChar> src = packed({0, 0x42, 0x43, 0});
  EXPECT_EQ(2, nlsWCSToMBS(out, sizeof out, src.data()));
  EXPECT_STREQ("BC", out);
  src = packed({0x41, 0, 0, 0x42});
  EXPECT_EQ(1, nlsWCSToMBS(out, sizeof out, src.data()));
  EXPECT_STREQ("A", out);
}

namespace {

// Unpacking into blocks of sizes 0, 1, the exact fit and one less; the
// unpacking does not depend on the locale, which the callers vary.
void checkUnpackSizes() {
  std::vector<nlsPackedChar> src = packed({0x41, 0, 0x82, 0xA0, 0, 0});
  // Sizes 0, 1, exact fit (4) and one less.
  for (int size : {0, 1, 3, 4}) {
    std::unique_ptr<char[]> dst(new char[size > 0 ? size : 0]);
    EXPECT_EQ(0, nlsWCSToNLS(size > 0 ? dst.get() : nullptr, size, src.data()));
    if (size > 0) {
      EXPECT_EQ(std::string("\x41\x82\xA0").substr(0, static_cast<size_t>(size - 1)), std::string(dst.get()));
    }
    std::unique_ptr<char[]> dst2(new char[size > 0 ? size : 0]);
    const int n = nlsWCSToMBS(size > 0 ? dst2.get() : nullptr, size, src.data());
    EXPECT_EQ(size > 0 ? size - 1 : 3, n) << size;
  }
}

}  // namespace

TEST(NlsWideUnpack, WCSToNLSBufferSizes) { checkUnpackSizes(); }

TEST_F(WideShiftJis, WCSToNLSBufferSizes) { checkUnpackSizes(); }

TEST(NlsWideUnpack, WCSToNNLSKeepsUnitsWhole) {
  std::vector<nlsPackedChar> src = packed({0x41, 0, 0x82, 0xA0, 0x42, 0, 0, 0});
  const nlsPackedChar *p = src.data();
  char out[8];
  EXPECT_EQ(4, nlsWCSToNNLS(out, sizeof out, &p));
  EXPECT_STREQ("\x41\x82\xA0\x42", out);
  EXPECT_EQ(src.data() + 3, p);  // at the zero unit
  // Sizes 0, 1, exact fit of all bytes without the NUL (4) and with it (5),
  // and one less (3).
  struct Case {
    int size;
    int written;
    int stop;
    bool nul;
  };
  for (Case c : {Case{0, 0, 0, false}, Case{1, 1, 1, false}, Case{2, 1, 1, true}, Case{3, 3, 2, false},
                 Case{4, 4, 3, false}, Case{5, 4, 3, true}}) {
    std::unique_ptr<char[]> dst(new char[c.size > 0 ? c.size : 0]);
    p = src.data();
    EXPECT_EQ(c.written, nlsWCSToNNLS(c.size > 0 ? dst.get() : nullptr, c.size, &p)) << c.size;
    EXPECT_EQ(src.data() + c.stop, p) << c.size;
    if (c.nul) {
      EXPECT_EQ(0, dst[c.written]) << c.size;
    }
  }
}

TEST_F(WideShiftJis, RoundTrip) {
  const char *text = "a" HIRA_A
                     "\xB1"
                     "z";
  nlsPackedChar units[16];
  nlsNLSToWCS(units, sizeof units, text);
  char out[16];
  EXPECT_EQ(5, nlsWCSToMBS(out, sizeof out, units));
  EXPECT_STREQ(text, out);
}

TEST_F(WideShiftJis, StrmblenOfTheLeadByte) {
  EXPECT_EQ(2, nlsStrmblen(0x82));
  EXPECT_EQ(1, nlsStrmblen('a'));
}

// --- Runtime wide characters over the file layer ------------------------------------------------

namespace {

// Switches LC_CTYPE for the life of the object and restores it.
class CtypeLocale {
 public:
  CtypeLocale() {
    const char *now = setlocale(LC_CTYPE, nullptr);
    old_ = now != nullptr ? now : "C";
  }
  ~CtypeLocale() { setlocale(LC_CTYPE, old_.c_str()); }
  CtypeLocale(const CtypeLocale &) = delete;
  CtypeLocale &operator=(const CtypeLocale &) = delete;
  // A UTF-8 locale, when the C library has one.
  bool utf8() {
    for (const char *name : {"C.UTF-8", "C.utf8", "en_US.UTF-8", ".UTF-8", ".65001"}) {
      if (setlocale(LC_CTYPE, name) != nullptr) {
        // The runtime must really take the bytes as UTF-8.
        wchar_t w = 0;
        mbstate_t st{};
        if (mbrtowc(&w, "\xE2\x82\xAC", 3, &st) == 3 && w == 0x20AC) {
          return true;
        }
      }
    }
    setlocale(LC_CTYPE, "C");
    return false;
  }
  // A Shift-JIS locale (code page 932 on Windows), when the C library has
  // one.
  bool shiftJis() {
    for (const char *name : {"ja_JP.SJIS", "ja_JP.sjis", "Japanese_Japan.932", ".932"}) {
      if (setlocale(LC_CTYPE, name) != nullptr) {
        wchar_t w = 0;
        mbstate_t st{};
        if (mbrtowc(&w, "\x82\xA0", 2, &st) == 2 && w == 0x3042) {
          return true;
        }
      }
    }
    setlocale(LC_CTYPE, "C");
    return false;
  }
  void c() { setlocale(LC_CTYPE, "C"); }

 private:
  std::string old_;
};

}  // namespace

TEST_F(FilesTest, GetwcInTheCLocaleReadsOneBytePerCharacter) {
  CtypeLocale loc;
  loc.c();
  orvFile *f = create("ascii", "Az\n", ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ('A', nlsLGetwc(f));
  EXPECT_EQ('z', nlsGetwc(f));
  EXPECT_EQ('\n', nlsLGetwc(f));
  EXPECT_EQ(-1, nlsLGetwc(f));  // end of file
  EXPECT_EQ(-1, nlsGetwc(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, GetwcOffersGrowingSequencesFromAFreshState) {
  CtypeLocale loc;
  if (!loc.utf8()) {
    GTEST_SKIP() << "no UTF-8 locale in this C library";
  }
  // Leave the hidden state of mbtowc in the middle of a sequence: the
  // reads below must not be taken as its continuation.
  wchar_t w = 0;
  (void)mbtowc(&w, "\xE2\x82", 2);
  orvFile *f = create("utf8", "a\xE2\x82\xAC\xC3\xA9z", ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ('a', nlsLGetwc(f));
  EXPECT_EQ(0x20AC, nlsLGetwc(f));
  EXPECT_EQ(0xE9, nlsGetwc(f));
  EXPECT_EQ('z', nlsGetwc(f));
  EXPECT_EQ(-1, nlsGetwc(f));
  orvFileClose(f, 0);
  (void)mbtowc(nullptr, nullptr, 0);
}

TEST_F(FilesTest, GetwcReadsShiftJisCharacters) {
  CtypeLocale loc;
  if (!loc.shiftJis()) {
    GTEST_SKIP() << "no Shift-JIS locale in this C library";
  }
  wchar_t w = 0;
  (void)mbtowc(&w, "\x82", 1);  // an incomplete offer left in mbtowc's state
  orvFile *f = create("sjis",
                      "a\x82\xA0\x93\xFA"
                      "z\x82",
                      ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ('a', nlsLGetwc(f));
  EXPECT_EQ(0x3042, nlsLGetwc(f));
  EXPECT_EQ(0x65E5, nlsGetwc(f));
  EXPECT_EQ('z', nlsGetwc(f));
  EXPECT_EQ(-1, nlsGetwc(f));  // a lead byte cut by the end of the file
  orvFileClose(f, 0);
  (void)mbtowc(nullptr, nullptr, 0);
  f = create("sjis-out", "", ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_CREATE);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(0x3042, nlsLPutwc(0x3042, f));
  EXPECT_EQ(0x65E5, nlsPutwc(0x65E5, f));
  orvFileClose(f, 0);
  EXPECT_EQ("\x82\xA0\x93\xFA", contents("sjis-out"));
}

TEST_F(FilesTest, GetwcGivesUpAfterElevenBytes) {
  // 0xFF is no character and starts none in UTF-8 and in Shift-JIS.
  CtypeLocale loc;
  const bool utf8 = loc.utf8();
  if (!utf8 && !loc.shiftJis()) {
    GTEST_SKIP() << "no UTF-8 or Shift-JIS locale in this C library";
  }
  orvFile *f = create("bad", std::string(12, '\xFF') + "b", ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(-1, nlsLGetwc(f));
  EXPECT_EQ(11, orvFileTell(f));
  EXPECT_EQ(-1, nlsGetwc(f));  // the twelfth 0xFF, then "b": never one character
  orvFileClose(f, 0);
  // A sequence cut by the end of the file.
  f = create("cut", utf8 ? "\xE2\x82" : "\x82", ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(-1, nlsLGetwc(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, PutwcWritesTheBytesOfTheLocale) {
  CtypeLocale loc;
  loc.c();
  orvFile *f = create("out", "", ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_CREATE);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ('A', nlsLPutwc('A', f));
  EXPECT_EQ('b', nlsPutwc('b', f));
  // A character the C locale has no bytes for is an error, never a count.
  EXPECT_EQ(-1, nlsLPutwc(0x20AC, f));
  EXPECT_EQ(-1, nlsPutwc(0x20AC, f));
  EXPECT_EQ(-1, nlsLPutwc(-5, f));
  EXPECT_EQ(-1, nlsPutwc(0x7FFFFFFF, f));
  EXPECT_EQ(-1, nlsLPutwc('A', nullptr));
  orvFileClose(f, 0);
  EXPECT_EQ("Ab", contents("out"));
  if (loc.utf8()) {
    f = create("out8", "", ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_CREATE);
    ASSERT_NE(nullptr, f);
    EXPECT_EQ(0x20AC, nlsLPutwc(0x20AC, f));
    EXPECT_EQ(0xE9, nlsPutwc(0xE9, f));
    orvFileClose(f, 0);
    EXPECT_EQ("\xE2\x82\xAC\xC3\xA9", contents("out8"));
  }
}

TEST_F(WideSingleByte, PackingBufferSizes) {
  // "\xE9" and "a": two units and the zero unit, 6 bytes exactly.
  for (int bytes : {0, 1, 5, 6}) {
    std::unique_ptr<uint8_t[]> raw(new uint8_t[bytes > 0 ? bytes : 0]);
    nlsNLSToWCS(bytes > 0 ? reinterpret_cast<nlsPackedChar *>(raw.get()) : nullptr, bytes,
                "\xE9"
                "a");
    if (bytes == 6) {
      EXPECT_EQ((std::vector<uint8_t>{0xE9, 0, 'a', 0, 0, 0}),
                std::vector<uint8_t>(raw.get(), raw.get() + 6));
    }
    if (bytes == 5) {
      EXPECT_EQ((std::vector<uint8_t>{0xE9, 0, 0, 0, 0}), std::vector<uint8_t>(raw.get(), raw.get() + 5));
    }
  }
  for (int units : {0, 1, 2, 3}) {
    std::unique_ptr<nlsPackedChar[]> dst(new nlsPackedChar[units > 0 ? units : 0]);
    const char *src =
        "\xE9"
        "a";
    EXPECT_EQ(units > 0 ? units - 1 : 0, nlsNLSToNWCS(units > 0 ? dst.get() : nullptr, units, &src)) << units;
  }
}
