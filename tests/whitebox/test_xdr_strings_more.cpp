// XDR strings, white box: what cxdr_string, cxdr_wrapstring and cxdr_CHARs
// return when the stream's operations fail part-way through a string (a
// memory stream too small for it, a truncated wire, an operation replaced
// by one that fails on its N-th call), when an allocation fails at each of
// the places a decoded string allocates, and when no character-set object
// is current for a Unicode stream.
#include <stdlib.h>
#include <string.h>

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/nls/nls_state.h"
#include "common/xdr/cxdr_internal.h"
#include "orvane/frame.h"
#include "orvane/nls.h"
#include "orvane/xdr.h"

namespace {

std::vector<std::pair<std::string, int>> reported;

void recordAssertion(const char *source, int line) { reported.emplace_back(source, line); }

// Allocations through the stream's allocator: the failAt-th one fails, the
// others are served (zeroed, as the stream's own allocator does).
int allocCalls = 0;
int failAt = 0;
void *countingAlloc(size_t size) {
  ++allocCalls;
  if (allocCalls == failAt) {
    return nullptr;
  }
  return calloc(1, size);
}

// A putUInt16 and a getUInt16 that fail on their failAt-th call and
// otherwise do what the memory stream does.
int unitCalls = 0;
int failingPutUInt16(CXDR *s, const uint16_t *v) {
  return ++unitCalls == failAt ? 0 : cxdrmem_putUInt16(s, v);
}

class XdrStringsMore : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_END));
    reported.clear();
    allocCalls = 0;
    unitCalls = 0;
    failAt = 0;
    cxdr::setAssertHook(recordAssertion);
    memset(buffer_, 0, sizeof buffer_);
    cxdrmem_create(&x_, CXDR_ENCODE, buffer_, sizeof buffer_);
    savedCharSet_ = nls::state().charSet;
    savedObject_ = nls::state().charSetObject;
  }
  void TearDown() override {
    nls::state().charSet = savedCharSet_;
    nls::setCharSetObject(savedObject_);
    cxdr::setAssertHook(nullptr);
    cxdr::setAllocHook(nullptr);
    cxdrmem_destroy(&x_);
    servicesProcessTerminate(0);
  }
  void rewindTo(uint32_t direction) {
    x_.limit = x_.position;
    x_.position = 0;
    x_.direction = direction;
  }
  // Writes text with wrapstring and rewinds for decoding.
  void wire(const char *text) {
    char *p = const_cast<char *>(text);
    ASSERT_EQ(1, cxdr_wrapstring(&x_, &p));
    rewindTo(CXDR_DECODE);
  }
  std::vector<std::pair<std::string, int>> only(int line) { return {{"CXDR", line}}; }

  uint8_t buffer_[1024];
  CXDR x_;
  int32_t savedCharSet_ = 0;
  intptr_t savedObject_ = 0;
};

}  // namespace

TEST_F(XdrStringsMore, HeaderThatDoesNotFitFailsTheWrite) {
  uint8_t small[3];
  CXDR s;
  cxdrmem_create(&s, CXDR_ENCODE, small, sizeof small);
  char *text = const_cast<char *>("abc");
  EXPECT_EQ(0, cxdr_wrapstring(&s, &text));
  char *empty = const_cast<char *>("");
  EXPECT_EQ(0, cxdr_wrapstring(&s, &empty));
  s.unicode = 1;
  EXPECT_EQ(0, cxdr_wrapstring(&s, &text)) << "the Unicode header does not fit either";
  EXPECT_EQ(0, cxdr_wrapstring(&s, &empty));
  EXPECT_TRUE(reported.empty());
  cxdrmem_destroy(&s);
}

TEST_F(XdrStringsMore, TranslatedTextThatDoesNotFitFailsInItsSecondChunk) {
  // Set 3 travels as tag 4 through the map, 32 bytes at a time; the
  // buffer holds the header and the first chunk only.
  nls::state().charSet = 3;
  uint8_t small[4 + 40];
  CXDR s;
  cxdrmem_create(&s, CXDR_ENCODE, small, sizeof small);
  std::string text(70, 'q');
  char *p = const_cast<char *>(text.c_str());
  EXPECT_EQ(0, cxdr_wrapstring(&s, &p));
  EXPECT_EQ(4u, small[0]);
  EXPECT_EQ(70u, small[3]);
  EXPECT_EQ('q', small[4]);
  cxdrmem_destroy(&s);
}

TEST_F(XdrStringsMore, TruncatedHeaderFailsTheRead) {
  const uint8_t header[4] = {4, 0, 0, 3};
  memcpy(buffer_, header, sizeof header);
  x_.direction = CXDR_DECODE;
  x_.limit = 2;
  char *back = nullptr;
  EXPECT_EQ(0, cxdr_wrapstring(&x_, &back));
  EXPECT_EQ(nullptr, back) << "nothing allocated before the header is read";
}

TEST_F(XdrStringsMore, TruncatedTextFailsTheRead) {
  wire("abcdef");
  x_.limit = 6;  // the header and two of the six bytes
  char *back = nullptr;
  EXPECT_EQ(0, cxdr_wrapstring(&x_, &back));
  x_.direction = CXDR_FREE;
  EXPECT_EQ(1, cxdr_wrapstring(&x_, &back));
  EXPECT_EQ(nullptr, back);
}

TEST_F(XdrStringsMore, StringTooLongForTheHeaderAndTheMaximum) {
  std::string big(0x01000000u, 'x');
  char *text = const_cast<char *>(big.c_str());
  EXPECT_EQ(0, cxdr_string(&x_, &text, 10));
  EXPECT_EQ(only(1800), reported);
  EXPECT_EQ(0u, x_.position) << "nothing written";
}

TEST_F(XdrStringsMore, CharsCountTooLongForTheHeader) {
  std::string big(0x01000000u, 'x');
  char *p = const_cast<char *>(big.data());
  uint32_t count = 0x01000000u;
  EXPECT_EQ(0, cxdr_CHARs(&x_, &p, &count, 0xFFFFFFFFu));
  EXPECT_TRUE(reported.empty());
  EXPECT_EQ(0u, x_.position);
  // On a Unicode stream the header carries two bytes a character: half as
  // many characters are already too many.
  x_.unicode = 1;
  count = 0x00800000u;
  EXPECT_EQ(0, cxdr_CHARs(&x_, &p, &count, 0xFFFFFFFFu));
  EXPECT_EQ(0u, x_.position);
}

TEST_F(XdrStringsMore, CharsCountWithoutCharactersIsRefused) {
  char *none = nullptr;
  uint32_t count = 5;
  EXPECT_EQ(0, cxdr_CHARs(&x_, &none, &count, 10));
  EXPECT_TRUE(reported.empty());
  EXPECT_EQ(0, cxdr_CHARs(&x_, &none, &count, 3)) << "and above the maximum, reported too";
  EXPECT_EQ(only(1297), reported);
  EXPECT_EQ(0u, x_.position);
  count = 0;
  EXPECT_EQ(1, cxdr_CHARs(&x_, &none, &count, 3)) << "no characters, no count: an empty header";
  EXPECT_EQ(4u, x_.position);
}

TEST_F(XdrStringsMore, UnicodeUnitWriteFailingMidString) {
  x_.unicode = 1;
  x_.putUInt16 = failingPutUInt16;
  failAt = 3;
  char *text = const_cast<char *>("abcdef");
  EXPECT_EQ(0, cxdr_wrapstring(&x_, &text));
  EXPECT_EQ(3, unitCalls) << "stops at the failing unit";
  EXPECT_EQ(4u + 2u * 2u, x_.position) << "the header and the two units before it";
}

TEST_F(XdrStringsMore, UnicodeAllocationFailure) {
  x_.unicode = 1;
  wire("abc");
  cxdr::setAllocHook(countingAlloc);
  failAt = 1;
  char *back = nullptr;
  EXPECT_EQ(0, cxdr_wrapstring(&x_, &back));
  EXPECT_EQ(only(1832), reported);
  EXPECT_EQ(nullptr, back);
  reported.clear();
  x_.position = 0;
  char *chars = nullptr;
  uint32_t count = 0;
  allocCalls = 0;
  EXPECT_EQ(0, cxdr_CHARs(&x_, &chars, &count, 100));
  EXPECT_EQ(only(1319), reported);
}

TEST_F(XdrStringsMore, UnicodeTextCutShortFailsTheRead) {
  x_.unicode = 1;
  wire("abcd");
  x_.limit = 4 + 2 + 2 + 1;  // two whole units and half of the third
  char *back = nullptr;
  EXPECT_EQ(0, cxdr_wrapstring(&x_, &back));
  EXPECT_EQ(nullptr, back);
}

TEST_F(XdrStringsMore, UnicodeStreamWithoutACurrentCharacterSetFails) {
  x_.unicode = 1;
  wire("abc");
  nls::setCharSetObject(0);
  char *back = nullptr;
  EXPECT_EQ(0, cxdr_wrapstring(&x_, &back)) << "no set to convert the units to";
  EXPECT_EQ(nullptr, back);
  x_.direction = CXDR_ENCODE;
  cxdrmem_open(&x_);
  x_.limit = sizeof buffer_;
  char *text = const_cast<char *>("abc");
  EXPECT_EQ(0, cxdr_wrapstring(&x_, &text)) << "no set to convert the text from";
  EXPECT_EQ(0u, x_.position);
  char *empty = const_cast<char *>("");
  EXPECT_EQ(1, cxdr_wrapstring(&x_, &empty)) << "an empty text needs no conversion";
}

TEST_F(XdrStringsMore, UnicodeCharsCountIsTheNativeLength) {
  x_.unicode = 1;
  char data[3] = {'x', 'y', 'z'};
  char *p = data;
  uint32_t n = 3;
  ASSERT_EQ(1, cxdr_CHARs(&x_, &p, &n, 10));
  EXPECT_EQ(4u + 6u, x_.position);
  rewindTo(CXDR_DECODE);
  char *back = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(1, cxdr_CHARs(&x_, &back, &count, 10));
  EXPECT_EQ(3u, count) << "the characters stored, not the bytes on the wire";
  EXPECT_STREQ("xyz", back);
  free(back);
}

TEST_F(XdrStringsMore, SameMultiByteSetAllocationFailure) {
  nls::state().charSet = 13;
  wire("\x82\xA0z");
  cxdr::setAllocHook(countingAlloc);
  failAt = 1;
  char *back = nullptr;
  EXPECT_EQ(0, cxdr_wrapstring(&x_, &back));
  EXPECT_EQ(only(776), reported);
  EXPECT_EQ(nullptr, back);
}

TEST_F(XdrStringsMore, SameMultiByteSetTruncatedText) {
  nls::state().charSet = 13;
  wire("\x82\xA0z");
  x_.limit = 5;
  char *back = nullptr;
  EXPECT_EQ(0, cxdr_wrapstring(&x_, &back));
  x_.direction = CXDR_FREE;
  cxdr_wrapstring(&x_, &back);
}

TEST_F(XdrStringsMore, TranslationBetweenMultiByteSetsAllocationFailures) {
  // Three allocations: the raw bytes, the translation, the text returned.
  const int lines[3] = {1832, 816, 816};
  for (int n = 1; n <= 3; ++n) {
    SCOPED_TRACE(n);
    nls::state().charSet = 13;
    x_.direction = CXDR_ENCODE;
    cxdrmem_open(&x_);
    x_.limit = sizeof buffer_;
    wire("plain text");
    nls::state().charSet = 14;
    reported.clear();
    cxdr::setAllocHook(countingAlloc);
    allocCalls = 0;
    failAt = n;
    char *back = nullptr;
    EXPECT_EQ(0, cxdr_wrapstring(&x_, &back));
    EXPECT_EQ(nullptr, back);
    EXPECT_EQ(only(lines[n - 1]), reported);
    EXPECT_EQ(n, allocCalls);
    cxdr::setAllocHook(nullptr);
  }
}

TEST_F(XdrStringsMore, TranslationBetweenMultiByteSetsTruncatedText) {
  nls::state().charSet = 13;
  wire("plain text");
  nls::state().charSet = 14;
  x_.limit = 8;
  char *back = nullptr;
  EXPECT_EQ(0, cxdr_wrapstring(&x_, &back));
  EXPECT_EQ(nullptr, back);
}

TEST_F(XdrStringsMore, TranslationAboveTheMaximumIntoNewStorageIsReportedAndKept) {
  nls::state().charSet = 13;
  wire("plain text");
  nls::state().charSet = 14;
  char expected[64] = {};
  ASSERT_EQ(1, nlsStrTranslate(expected, sizeof expected, 14, "plain text", 10, 13));
  char *back = nullptr;
  EXPECT_EQ(1, cxdr_string(&x_, &back, 4));
  const std::vector<std::pair<std::string, int>> both = {{"CXDR", 1822}, {"CXDR", 812}};
  EXPECT_EQ(both, reported);
  EXPECT_STREQ(expected, back);
  free(back);
}

TEST_F(XdrStringsMore, TranslatedCharsCountIsTheTranslatedLength) {
  nls::state().charSet = 13;
  char data[5] = {'h', 'e', 'l', 'l', 'o'};
  char *p = data;
  uint32_t n = 5;
  ASSERT_EQ(1, cxdr_CHARs(&x_, &p, &n, 10));
  rewindTo(CXDR_DECODE);
  nls::state().charSet = 14;
  char *back = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(1, cxdr_CHARs(&x_, &back, &count, 10));
  char expected[32] = {};
  ASSERT_EQ(1, nlsStrTranslate(expected, sizeof expected, 14, "hello", 5, 13));
  EXPECT_STREQ(expected, back);
  EXPECT_EQ(strlen(expected), count);
  free(back);
}
