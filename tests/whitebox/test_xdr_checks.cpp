// XDR white-box tests: the module's assertions through the internal hook
// (each at its line, and what the filter does after the hook returns),
// allocation failures, and the translation of strings between the
// writer's and the reader's character sets.
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

void *failingAlloc(size_t) { return nullptr; }

int uint32Filter(CXDR *s, void *p) { return cxdr_UInt32(s, static_cast<uint32_t *>(p)); }

class XdrChecks : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_END));
    reported.clear();
    cxdr::setAssertHook(recordAssertion);
    memset(buffer_, 0, sizeof buffer_);
    cxdrmem_create(&x_, CXDR_ENCODE, buffer_, sizeof buffer_);
    savedCharSet_ = nls::state().charSet;
  }
  void TearDown() override {
    nls::state().charSet = savedCharSet_;
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
  // Writes a 32-bit word and rewinds for decoding.
  void wireWord(uint32_t w) {
    x_.direction = CXDR_ENCODE;
    cxdrmem_open(&x_);
    cxdr_UInt32(&x_, &w);
    rewindTo(CXDR_DECODE);
  }
  std::vector<std::pair<std::string, int>> only(int line) { return {{"CXDR", line}}; }

  uint8_t buffer_[1024];
  CXDR x_;
  int32_t savedCharSet_ = 0;
};

}  // namespace

TEST_F(XdrChecks, ArrayCountAboveTheMaximum) {
  uint32_t values[3] = {1, 2, 3};
  void *p = values;
  uint32_t n = 3;
  EXPECT_EQ(1, cxdr_array(&x_, &p, &n, 2, 4, uint32Filter)) << "goes on after the assertion";
  EXPECT_EQ(only(946), reported);
  EXPECT_EQ(16u, x_.position);
  reported.clear();
  rewindTo(CXDR_DECODE);
  void *back = nullptr;
  uint32_t count = 0;
  EXPECT_EQ(1, cxdr_array(&x_, &back, &count, 2, 4, uint32Filter)) << "allocated for the count read";
  EXPECT_EQ(only(963), reported);
  EXPECT_EQ(3u, count);
  x_.direction = CXDR_FREE;
  cxdr_array(&x_, &back, &count, 2, 4, uint32Filter);
}

TEST_F(XdrChecks, ArrayAboveTheMaximumIntoTheCallersArrayIsRefused) {
  wireWord(1000);
  uint32_t storage[2] = {7, 7};
  void *p = storage;
  uint32_t count = 2;
  EXPECT_EQ(0, cxdr_array(&x_, &p, &count, 2, 4, uint32Filter));
  EXPECT_EQ(only(963), reported);
  EXPECT_EQ(2u, count) << "the count stays as it was, so a FREE pass stays inside";
  EXPECT_EQ(7u, storage[1]);
}

TEST_F(XdrChecks, ArrayAllocationFailure) {
  wireWord(3);
  cxdr::setAllocHook(failingAlloc);
  void *p = nullptr;
  uint32_t count = 0;
  EXPECT_EQ(0, cxdr_array(&x_, &p, &count, 10, 4, uint32Filter));
  EXPECT_EQ(only(967), reported);
  EXPECT_EQ(nullptr, p);
}

TEST_F(XdrChecks, ArraySizeThatCannotBeRepresentedIsAnAllocationFailure) {
  size_t size = 0;
  EXPECT_TRUE(cxdr::multiplySize(0xFFFFFFFFu, 1, &size));
  EXPECT_TRUE(cxdr::addSize(0xFFFFFFFEu, 1, &size));
  EXPECT_EQ(0xFFFFFFFFu, size);
  if (sizeof(size_t) == 4) {
    EXPECT_FALSE(cxdr::multiplySize(0x10000u, 0x10000u, &size));
    EXPECT_FALSE(cxdr::addSize(0xFFFFFFFFu, 1, &size));
  } else {
    EXPECT_TRUE(cxdr::multiplySize(0xFFFFFFFFu, 0xFFFFFFFFu, &size));
    EXPECT_EQ(0xFFFFFFFE00000001ull, static_cast<unsigned long long>(size));
  }
}

TEST_F(XdrChecks, UInt8sChecks) {
  uint8_t data[4] = {1, 2, 3, 4};
  uint8_t *p = data;
  uint32_t n = 4;
  EXPECT_EQ(1, cxdr_UInt8s(&x_, &p, &n, 3));
  EXPECT_EQ(only(1184), reported);
  reported.clear();
  rewindTo(CXDR_DECODE);
  uint8_t *back = nullptr;
  uint32_t count = 0;
  EXPECT_EQ(1, cxdr_UInt8s(&x_, &back, &count, 3));
  EXPECT_EQ(only(1195), reported);
  free(back);
  reported.clear();
  uint8_t storage[3];
  uint8_t *s = storage;
  x_.position = 0;
  EXPECT_EQ(0, cxdr_UInt8s(&x_, &s, &count, 3)) << "refused: the caller's buffer is too small";
  EXPECT_EQ(only(1195), reported);
  reported.clear();
  x_.position = 0;
  cxdr::setAllocHook(failingAlloc);
  back = nullptr;
  EXPECT_EQ(0, cxdr_UInt8s(&x_, &back, &count, 10));
  EXPECT_EQ(only(1199), reported);
}

TEST_F(XdrChecks, CharsChecks) {
  char data[4] = {'a', 'b', 'c', 'd'};
  char *p = data;
  uint32_t n = 4;
  EXPECT_EQ(1, cxdr_CHARs(&x_, &p, &n, 3));
  EXPECT_EQ(only(1297), reported);
  reported.clear();
  rewindTo(CXDR_DECODE);
  char *back = nullptr;
  uint32_t count = 0;
  EXPECT_EQ(1, cxdr_CHARs(&x_, &back, &count, 3));
  EXPECT_EQ(only(1309), reported);
  EXPECT_STREQ("abcd", back);
  free(back);
  reported.clear();
  x_.position = 0;
  cxdr::setAllocHook(failingAlloc);
  back = nullptr;
  EXPECT_EQ(0, cxdr_CHARs(&x_, &back, &count, 10));
  EXPECT_EQ(only(1319), reported);
}

TEST_F(XdrChecks, StringChecks) {
  char *text = const_cast<char *>("abcdef");
  EXPECT_EQ(1, cxdr_string(&x_, &text, 5));
  EXPECT_EQ(only(1800), reported);
  reported.clear();
  rewindTo(CXDR_DECODE);
  char *back = nullptr;
  EXPECT_EQ(1, cxdr_string(&x_, &back, 5));
  EXPECT_EQ(only(1822), reported);
  EXPECT_STREQ("abcdef", back);
  free(back);
  reported.clear();
  char storage[6];
  char *s = storage;
  x_.position = 0;
  EXPECT_EQ(0, cxdr_string(&x_, &s, 5)) << "refused: the caller's storage is too small";
  reported.clear();
  x_.position = 0;
  cxdr::setAllocHook(failingAlloc);
  back = nullptr;
  EXPECT_EQ(0, cxdr_string(&x_, &back, 50));
  EXPECT_EQ(only(1832), reported);
}

TEST_F(XdrChecks, CWrapstringAllocationFailure) {
  char *text = const_cast<char *>("abc");
  cxdr_c_wrapstring(&x_, &text);
  rewindTo(CXDR_DECODE);
  cxdr::setAllocHook(failingAlloc);
  char *back = nullptr;
  EXPECT_EQ(0, cxdr_c_wrapstring(&x_, &back));
  EXPECT_EQ(only(1897), reported);
}

TEST_F(XdrChecks, PointerAndReferenceAllocationFailures) {
  wireWord(1);
  cxdr::setAllocHook(failingAlloc);
  void *p = nullptr;
  EXPECT_EQ(0, cxdr_pointer(&x_, &p, 4, uint32Filter));
  EXPECT_EQ(only(1677), reported);
  reported.clear();
  x_.position = 0;
  EXPECT_EQ(0, cxdr_reference(&x_, &p, 4, uint32Filter));
  EXPECT_EQ(only(1723), reported);
}

TEST_F(XdrChecks, StringLongerThanTheHeaderCanCarryIsRefused) {
  std::string big(0x01000000u, 'x');
  char *text = const_cast<char *>(big.c_str());
  EXPECT_EQ(0, cxdr_wrapstring(&x_, &text));
  EXPECT_TRUE(reported.empty());
  EXPECT_EQ(0u, x_.position) << "nothing written";
}

TEST_F(XdrChecks, SingleByteSetsTravelAsTagFourAndTranslate) {
  const unsigned char *toFour = nlsGetCharMap(3, 4);
  const unsigned char *fromFour = nlsGetCharMap(4, 3);
  ASSERT_NE(nullptr, toFour);
  ASSERT_NE(nullptr, fromFour);
  nls::state().charSet = 3;
  std::string text;
  for (int c = 1; c < 256; ++c) {
    text += static_cast<char>(c);
  }
  char *p = const_cast<char *>(text.c_str());
  ASSERT_EQ(1, cxdr_wrapstring(&x_, &p));
  EXPECT_EQ(4, buffer_[0]) << "single-byte sets are written as tag 4";
  EXPECT_EQ(0, buffer_[1]);
  EXPECT_EQ(0, buffer_[2]);
  EXPECT_EQ(255, buffer_[3]);
  for (int c = 1; c < 256; ++c) {
    ASSERT_EQ(toFour[c], buffer_[3 + c]) << c;
  }
  // Read back in set 3: each byte through the map from 4 to 3.
  rewindTo(CXDR_DECODE);
  char *back = nullptr;
  ASSERT_EQ(1, cxdr_wrapstring(&x_, &back));
  for (int c = 1; c < 256; ++c) {
    ASSERT_EQ(fromFour[toFour[c]], static_cast<unsigned char>(back[c - 1])) << c;
  }
  free(back);
}

TEST_F(XdrChecks, TagZeroIsReadAsFour) {
  const uint8_t wire[8] = {0, 0, 0, 3, 'a', 'b', 'c', 0};
  memcpy(buffer_, wire, sizeof wire);
  x_.direction = CXDR_DECODE;
  char *back = nullptr;
  ASSERT_EQ(1, cxdr_wrapstring(&x_, &back));
  EXPECT_STREQ("abc", back);
  free(back);
}

TEST_F(XdrChecks, BinarySetsAreNeverTranslated) {
  nls::state().charSet = 2;
  char *text = const_cast<char *>("\x80\xFF");
  ASSERT_EQ(1, cxdr_wrapstring(&x_, &text));
  EXPECT_EQ(4, buffer_[0]);
  EXPECT_EQ(0x80, buffer_[4]);
  EXPECT_EQ(0xFF, buffer_[5]);
  // A tag 2 read by a single-byte reader: as it is.
  const uint8_t wire[6] = {2, 0, 0, 2, 0x81, 0xFE};
  memcpy(buffer_, wire, sizeof wire);
  nls::state().charSet = 3;
  x_.direction = CXDR_DECODE;
  x_.position = 0;
  char *back = nullptr;
  ASSERT_EQ(1, cxdr_wrapstring(&x_, &back));
  EXPECT_EQ(std::string("\x81\xFE"), back);
  free(back);
}

TEST_F(XdrChecks, MultiByteSetsTravelUnchangedUnderTheirOwnTag) {
  nls::state().charSet = 13;
  char *text = const_cast<char *>("\x82\xA0z");
  ASSERT_EQ(1, cxdr_wrapstring(&x_, &text));
  const uint8_t expected[7] = {13, 0, 0, 3, 0x82, 0xA0, 'z'};
  EXPECT_EQ(0, memcmp(expected, buffer_, 7));
  rewindTo(CXDR_DECODE);
  char *back = nullptr;
  ASSERT_EQ(1, cxdr_wrapstring(&x_, &back)) << "the same set reads the bytes as they are";
  EXPECT_STREQ("\x82\xA0z", back);
  free(back);
}

TEST_F(XdrChecks, MultiByteSetsTranslateBetweenEachOther) {
  nls::state().charSet = 13;
  // A plain ASCII text survives translation between the two sets whatever
  // their tables hold for double-byte characters.
  char *text = const_cast<char *>("plain text");
  ASSERT_EQ(1, cxdr_wrapstring(&x_, &text));
  rewindTo(CXDR_DECODE);
  nls::state().charSet = 14;
  char expected[64] = {};
  ASSERT_EQ(1, nlsStrTranslate(expected, sizeof expected, 14, "plain text", 10, 13));
  char *back = nullptr;
  ASSERT_EQ(1, cxdr_wrapstring(&x_, &back));
  EXPECT_STREQ(expected, back);
  free(back);
  // Into the caller's storage, and with a limit too small for the result.
  x_.position = 0;
  char storage[16];
  char *s = storage;
  ASSERT_EQ(1, cxdr_string(&x_, &s, 15));
  EXPECT_STREQ(expected, storage);
  x_.position = 0;
  s = storage;
  EXPECT_EQ(0, cxdr_string(&x_, &s, 4));
  EXPECT_FALSE(reported.empty());
}

TEST_F(XdrChecks, OtherCombinationsFail) {
  const uint8_t wire[6] = {13, 0, 0, 2, 'a', 'b'};
  memcpy(buffer_, wire, sizeof wire);
  nls::state().charSet = 4;
  x_.direction = CXDR_DECODE;
  char *back = nullptr;
  EXPECT_EQ(0, cxdr_wrapstring(&x_, &back)) << "a multi-byte tag read by a single-byte reader";
  x_.direction = CXDR_FREE;
  cxdr_wrapstring(&x_, &back);
}
