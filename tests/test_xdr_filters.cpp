// XDR filters on memory streams: the wire form of each filter, the
// direction dispatch, compound filters with their allocations and FREE
// passes, and round trips of random values through every filter.
#include <math.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>

#include <random>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/nls.h"
#include "orvane/xdr.h"
#include "test_xdr_support.h"

using xdrtest::bytes;

namespace {

class XdrFilters : public xdrtest::XdrFixture {
 protected:
  void SetUp() override {
    xdrtest::XdrFixture::SetUp();
    memset(buffer_, 0, sizeof buffer_);
    cxdrmem_create(&x_, CXDR_ENCODE, buffer_, sizeof buffer_);
  }
  void TearDown() override {
    cxdrmem_destroy(&x_);
    xdrtest::XdrFixture::TearDown();
  }
  // Switches the stream to reading what was written.
  void rewindTo(uint32_t direction) {
    x_.limit = x_.position;
    x_.position = 0;
    x_.direction = direction;
  }
  std::vector<uint8_t> written() { return bytes(buffer_, x_.position); }

  uint8_t buffer_[4096];
  CXDR x_;
};

struct Point {
  int32_t x;
  int16_t y;
  uint8_t tag;
};

int pointFilter(CXDR *s, void *p) {
  auto *pt = static_cast<Point *>(p);
  return cxdr_Int32(s, &pt->x) && cxdr_Int16(s, &pt->y) && cxdr_UInt8(s, &pt->tag);
}

int stringFilter(CXDR *s, void *p) { return cxdr_string(s, static_cast<char **>(p), 100); }

int uint32Filter(CXDR *s, void *p) { return cxdr_UInt32(s, static_cast<uint32_t *>(p)); }

int voidArm(CXDR *, void *) { return cxdr_void(); }

int freeCalls = 0;
int countingFilter(CXDR *s, void *p) {
  if (s->direction == CXDR_FREE) {
    ++freeCalls;
  }
  return cxdr_UInt32(s, static_cast<uint32_t *>(p));
}

}  // namespace

TEST_F(XdrFilters, UInt8ThenUInt32IsEightBytes) {
  uint8_t b = 0xAB;
  uint32_t w = 0x01020304;
  ASSERT_EQ(1, cxdr_UInt8(&x_, &b));
  ASSERT_EQ(1, cxdr_UInt32(&x_, &w));
  const uint8_t expected[8] = {0xAB, 0, 0, 0, 1, 2, 3, 4};
  EXPECT_EQ(bytes(expected, 8), written());
}

TEST_F(XdrFilters, OrvBoolTravelsAsItsLowByte) {
  OrvBool v = 0x00000101;
  ASSERT_EQ(1, cxdr_OrvBool(&x_, &v));
  const uint8_t expected[1] = {0x01};
  EXPECT_EQ(bytes(expected, 1), written());
  rewindTo(CXDR_DECODE);
  OrvBool back = static_cast<OrvBool>(0xFFFFFFFF);
  ASSERT_EQ(1, cxdr_OrvBool(&x_, &back));
  EXPECT_EQ(1, back);
  x_.direction = CXDR_FREE;
  EXPECT_EQ(1, cxdr_OrvBool(&x_, &back));
}

TEST_F(XdrFilters, OrvBoolDecodesAByteZeroExtended) {
  buffer_[0] = 0xFE;
  x_.direction = CXDR_DECODE;
  OrvBool v = -1;
  ASSERT_EQ(1, cxdr_OrvBool(&x_, &v));
  EXPECT_EQ(0xFE, v);
}

TEST_F(XdrFilters, Float64OfOneLowWordFirst) {
  double d = 1.0;
  ASSERT_EQ(1, cxdr_Float64(&x_, &d));
  const uint8_t expected[8] = {0, 0, 0, 0, 0x3F, 0xF0, 0, 0};
  EXPECT_EQ(bytes(expected, 8), written());
}

TEST_F(XdrFilters, Float64StopsAfterAFailedFirstWord) {
  uint8_t small[4];
  CXDR s;
  cxdrmem_create(&s, CXDR_ENCODE, small, 4);
  s.position = 1;  // aligns to 4: no room for the first word
  double d = 2.0;
  EXPECT_EQ(0, cxdr_Float64(&s, &d));
  s.direction = CXDR_DECODE;
  s.position = 0;
  d = 5.0;
  EXPECT_EQ(0, cxdr_Float64(&s, &d)) << "the second word is missing";
  EXPECT_EQ(5.0, d) << "nothing stored";
}

TEST_F(XdrFilters, Float32IsItsBits) {
  float f = 1.0f;
  ASSERT_EQ(1, cxdr_Float32(&x_, &f));
  const uint8_t expected[4] = {0x3F, 0x80, 0, 0};
  EXPECT_EQ(bytes(expected, 4), written());
}

TEST_F(XdrFilters, Int16IsAlignedBigEndian) {
  uint8_t b = 1;
  int16_t h = -2;
  ASSERT_EQ(1, cxdr_Int8(&x_, reinterpret_cast<int8_t *>(&b)));
  ASSERT_EQ(1, cxdr_Int16(&x_, &h));
  const uint8_t expected[4] = {1, 0, 0xFF, 0xFE};
  EXPECT_EQ(bytes(expected, 4), written());
}

TEST_F(XdrFilters, StringHeaderTagAndLength) {
  ASSERT_EQ(4, nlsGetCharSet()) << "the test table's locale is single-byte Latin-1";
  char *text = const_cast<char *>("abc");
  ASSERT_EQ(1, cxdr_string(&x_, &text, 100));
  const uint8_t expected[7] = {4, 0, 0, 3, 'a', 'b', 'c'};
  EXPECT_EQ(bytes(expected, 7), written());
  rewindTo(CXDR_DECODE);
  char *back = nullptr;
  ASSERT_EQ(1, cxdr_string(&x_, &back, 100));
  EXPECT_STREQ("abc", back);
  x_.direction = CXDR_FREE;
  EXPECT_EQ(1, cxdr_string(&x_, &back, 100));
  EXPECT_EQ(nullptr, back);
  EXPECT_EQ(1, cxdr_string(&x_, &back, 100));
}

TEST_F(XdrFilters, EmptyAndNullStringsWriteOnlyTheHeader) {
  char *empty = const_cast<char *>("");
  char *none = nullptr;
  ASSERT_EQ(1, cxdr_string(&x_, &empty, 10));
  ASSERT_EQ(1, cxdr_string(&x_, &none, 10));
  const uint8_t expected[8] = {4, 0, 0, 0, 4, 0, 0, 0};
  EXPECT_EQ(bytes(expected, 8), written());
  rewindTo(CXDR_DECODE);
  char *back = nullptr;
  ASSERT_EQ(1, cxdr_wrapstring(&x_, &back));
  EXPECT_STREQ("", back);
  free(back);
}

TEST_F(XdrFilters, StringIntoTheCallersStorage) {
  char *text = const_cast<char *>("hello");
  ASSERT_EQ(1, cxdr_wrapstring(&x_, &text));
  rewindTo(CXDR_DECODE);
  char storage[16];
  memset(storage, 'Z', sizeof storage);
  char *p = storage;
  ASSERT_EQ(1, cxdr_string(&x_, &p, 15));
  EXPECT_EQ(storage, p);
  EXPECT_STREQ("hello", storage);
}

TEST_F(XdrFilters, UnicodeStreamCarriesUtf16WithTheByteLength) {
  x_.unicode = 1;
  char *text = const_cast<char *>("ab\xE9");  // e acute in Latin-1
  ASSERT_EQ(1, cxdr_string(&x_, &text, 100));
  const uint8_t expected[10] = {22, 0, 0, 6, 0, 'a', 0, 'b', 0, 0xE9};
  EXPECT_EQ(bytes(expected, 10), written());
  uint32_t word = 7;
  ASSERT_EQ(1, cxdr_UInt32(&x_, &word));
  rewindTo(CXDR_DECODE);
  char *back = nullptr;
  ASSERT_EQ(1, cxdr_string(&x_, &back, 100));
  EXPECT_STREQ("ab\xE9", back);
  word = 0;
  ASSERT_EQ(1, cxdr_UInt32(&x_, &word));
  EXPECT_EQ(7u, word) << "the next field is read from its own place";
  free(back);
  // Into the caller's storage, and an empty string.
  x_.direction = CXDR_ENCODE;
  x_.position = 0;
  x_.limit = x_.size;
  char *empty = const_cast<char *>("");
  ASSERT_EQ(1, cxdr_string(&x_, &text, 100));
  ASSERT_EQ(1, cxdr_string(&x_, &empty, 100));
  rewindTo(CXDR_DECODE);
  char storage[8];
  char *p = storage;
  ASSERT_EQ(1, cxdr_string(&x_, &p, 7));
  EXPECT_STREQ("ab\xE9", storage);
  back = nullptr;
  ASSERT_EQ(1, cxdr_string(&x_, &back, 7));
  EXPECT_STREQ("", back);
  free(back);
}

TEST_F(XdrFilters, CWrapstringIsALengthWordAndBytes) {
  char *text = const_cast<char *>("xyz\xFF");
  ASSERT_EQ(1, cxdr_c_wrapstring(&x_, &text));
  const uint8_t expected[8] = {0, 0, 0, 4, 'x', 'y', 'z', 0xFF};
  EXPECT_EQ(bytes(expected, 8), written());
  char *none = nullptr;
  ASSERT_EQ(1, cxdr_c_wrapstring(&x_, &none));
  rewindTo(CXDR_DECODE);
  char *back = nullptr;
  ASSERT_EQ(1, cxdr_c_wrapstring(&x_, &back));
  EXPECT_STREQ("xyz\xFF", back);
  char *empty = nullptr;
  ASSERT_EQ(1, cxdr_c_wrapstring(&x_, &empty));
  EXPECT_STREQ("", empty);
  x_.direction = CXDR_FREE;
  EXPECT_EQ(1, cxdr_c_wrapstring(&x_, &back));
  EXPECT_EQ(1, cxdr_c_wrapstring(&x_, &empty));
  EXPECT_EQ(nullptr, back);
  EXPECT_EQ(nullptr, empty);
}

TEST_F(XdrFilters, OpaqueAndCharVectorHaveNoLength) {
  uint8_t raw[3] = {7, 8, 9};
  char chars[2] = {'q', 'r'};
  ASSERT_EQ(1, cxdr_opaque(&x_, raw, 3));
  ASSERT_EQ(1, cxdr_CHARvector(&x_, chars, 2));
  ASSERT_EQ(1, cxdr_opaque(&x_, nullptr, 0));
  const uint8_t expected[5] = {7, 8, 9, 'q', 'r'};
  EXPECT_EQ(bytes(expected, 5), written());
  rewindTo(CXDR_DECODE);
  uint8_t rawBack[3] = {};
  char charsBack[2] = {};
  ASSERT_EQ(1, cxdr_opaque(&x_, rawBack, 3));
  ASSERT_EQ(1, cxdr_CHARvector(&x_, charsBack, 2));
  EXPECT_EQ(0, memcmp(raw, rawBack, 3));
  EXPECT_EQ(0, memcmp(chars, charsBack, 2));
  ASSERT_EQ(1, cxdr_opaque(&x_, rawBack, 0));
  x_.direction = CXDR_FREE;
  EXPECT_EQ(1, cxdr_opaque(&x_, rawBack, 3));
  EXPECT_EQ(1, cxdr_CHARvector(&x_, charsBack, 2));
}

TEST_F(XdrFilters, UInt8sCountThenBytes) {
  uint8_t data[3] = {0xA, 0xB, 0xC};
  uint8_t *p = data;
  uint32_t n = 3;
  ASSERT_EQ(1, cxdr_UInt8s(&x_, &p, &n, 10));
  uint8_t b = 0x77;
  ASSERT_EQ(1, cxdr_UInt8(&x_, &b));
  const uint8_t expected[8] = {0, 0, 0, 3, 0xA, 0xB, 0xC, 0x77};
  EXPECT_EQ(bytes(expected, 8), written()) << "no padding after the bytes";
  rewindTo(CXDR_DECODE);
  uint8_t *back = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(1, cxdr_UInt8s(&x_, &back, &count, 10));
  EXPECT_EQ(3u, count);
  EXPECT_EQ(0, memcmp(back, data, 3));
  x_.direction = CXDR_FREE;
  EXPECT_EQ(1, cxdr_UInt8s(&x_, &back, &count, 10));
  EXPECT_EQ(nullptr, back);
}

TEST_F(XdrFilters, CharsTravelsLikeAString) {
  char data[4] = {'w', 'x', 'y', 'z'};
  char *p = data;
  uint32_t n = 4;
  ASSERT_EQ(1, cxdr_CHARs(&x_, &p, &n, 10));
  const uint8_t expected[8] = {4, 0, 0, 4, 'w', 'x', 'y', 'z'};
  EXPECT_EQ(bytes(expected, 8), written());
  rewindTo(CXDR_DECODE);
  char *back = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(1, cxdr_CHARs(&x_, &back, &count, 10));
  EXPECT_EQ(4u, count);
  EXPECT_STREQ("wxyz", back);
  x_.direction = CXDR_FREE;
  EXPECT_EQ(1, cxdr_CHARs(&x_, &back, &count, 10));
  EXPECT_EQ(nullptr, back);
}

TEST_F(XdrFilters, ArrayCountThenElements) {
  Point pts[2] = {{1, 2, 3}, {-1, -2, 0xFE}};
  void *p = pts;
  uint32_t n = 2;
  ASSERT_EQ(1, cxdr_array(&x_, &p, &n, 5, sizeof(Point), pointFilter));
  const uint8_t expected[20] = {0, 0, 0, 2, 0, 0, 0, 1, 0, 2, 3, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 0xFE};
  EXPECT_EQ(bytes(expected, 19), written());
  rewindTo(CXDR_DECODE);
  void *back = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(1, cxdr_array(&x_, &back, &count, 5, sizeof(Point), pointFilter));
  ASSERT_EQ(2u, count);
  auto *b = static_cast<Point *>(back);
  EXPECT_EQ(1, b[0].x);
  EXPECT_EQ(2, b[0].y);
  EXPECT_EQ(3, b[0].tag);
  EXPECT_EQ(-1, b[1].x);
  EXPECT_EQ(-2, b[1].y);
  EXPECT_EQ(0xFE, b[1].tag);
  x_.direction = CXDR_FREE;
  EXPECT_EQ(1, cxdr_array(&x_, &back, &count, 5, sizeof(Point), pointFilter));
  EXPECT_EQ(nullptr, back);
  EXPECT_EQ(1, cxdr_array(&x_, &back, &count, 5, sizeof(Point), pointFilter)) << "null array";
}

TEST_F(XdrFilters, ArrayFreeVisitsEveryElement) {
  uint32_t *values = static_cast<uint32_t *>(calloc(3, sizeof(uint32_t)));
  void *p = values;
  uint32_t n = 3;
  x_.direction = CXDR_FREE;
  freeCalls = 0;
  EXPECT_EQ(1, cxdr_array(&x_, &p, &n, 3, sizeof(uint32_t), countingFilter));
  EXPECT_EQ(3, freeCalls);
  EXPECT_EQ(nullptr, p);
}

TEST_F(XdrFilters, ArrayOfStringsRoundTripAndFree) {
  const char *texts[3] = {"one", "", "three"};
  char *arr[3] = {const_cast<char *>(texts[0]), const_cast<char *>(texts[1]), const_cast<char *>(texts[2])};
  void *p = arr;
  uint32_t n = 3;
  ASSERT_EQ(1, cxdr_array(&x_, &p, &n, 3, sizeof(char *), stringFilter));
  rewindTo(CXDR_DECODE);
  void *back = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(1, cxdr_array(&x_, &back, &count, 3, sizeof(char *), stringFilter));
  auto **b = static_cast<char **>(back);
  EXPECT_STREQ("one", b[0]);
  EXPECT_STREQ("", b[1]);
  EXPECT_STREQ("three", b[2]);
  x_.direction = CXDR_FREE;
  EXPECT_EQ(1, cxdr_array(&x_, &back, &count, 3, sizeof(char *), stringFilter));
}

TEST_F(XdrFilters, VectorIsTheElementsOnly) {
  uint32_t v[3] = {1, 2, 3};
  ASSERT_EQ(1, cxdr_vector(&x_, v, 3, sizeof(uint32_t), uint32Filter));
  EXPECT_EQ(12u, x_.position);
  ASSERT_EQ(1, cxdr_vector(&x_, v, 0, sizeof(uint32_t), uint32Filter));
  EXPECT_EQ(12u, x_.position);
  rewindTo(CXDR_DECODE);
  uint32_t back[3] = {};
  ASSERT_EQ(1, cxdr_vector(&x_, back, 3, sizeof(uint32_t), uint32Filter));
  EXPECT_EQ(0, memcmp(v, back, sizeof v));
  x_.direction = CXDR_FREE;
  freeCalls = 0;
  EXPECT_EQ(1, cxdr_vector(&x_, back, 3, sizeof(uint32_t), countingFilter));
  EXPECT_EQ(0, freeCalls) << "FREE does not call the element filter";
  x_.direction = CXDR_NOP;
  EXPECT_EQ(0, cxdr_vector(&x_, back, 3, sizeof(uint32_t), uint32Filter));
}

TEST_F(XdrFilters, NullPointerWritesTheWordZero) {
  Point *none = nullptr;
  ASSERT_EQ(1, cxdr_pointer(&x_, reinterpret_cast<void **>(&none), sizeof(Point), pointFilter));
  const uint8_t expected[4] = {0, 0, 0, 0};
  EXPECT_EQ(bytes(expected, 4), written());
}

TEST_F(XdrFilters, PointerPresentThenAbsentKeepsTheOldPointer) {
  Point pt = {5, 6, 7};
  Point *p = &pt;
  Point *none = nullptr;
  ASSERT_EQ(1, cxdr_pointer(&x_, reinterpret_cast<void **>(&p), sizeof(Point), pointFilter));
  ASSERT_EQ(1, cxdr_pointer(&x_, reinterpret_cast<void **>(&none), sizeof(Point), pointFilter));
  rewindTo(CXDR_DECODE);
  Point *back = nullptr;
  ASSERT_EQ(1, cxdr_pointer(&x_, reinterpret_cast<void **>(&back), sizeof(Point), pointFilter));
  ASSERT_NE(nullptr, back);
  EXPECT_EQ(5, back->x);
  EXPECT_EQ(6, back->y);
  EXPECT_EQ(7, back->tag);
  Point *kept = back;
  ASSERT_EQ(1, cxdr_pointer(&x_, reinterpret_cast<void **>(&back), sizeof(Point), pointFilter));
  EXPECT_EQ(kept, back) << "an absent object leaves the pointer as it was";
  x_.direction = CXDR_FREE;
  EXPECT_EQ(1, cxdr_pointer(&x_, reinterpret_cast<void **>(&back), sizeof(Point), pointFilter));
  EXPECT_EQ(nullptr, back);
  EXPECT_EQ(1, cxdr_pointer(&x_, reinterpret_cast<void **>(&back), sizeof(Point), pointFilter));
}

TEST_F(XdrFilters, ReferenceIsTheObjectAlone) {
  Point pt = {9, 8, 7};
  Point *p = &pt;
  ASSERT_EQ(1, cxdr_reference(&x_, reinterpret_cast<void **>(&p), sizeof(Point), pointFilter));
  EXPECT_EQ(7u, x_.position);
  Point *none = nullptr;
  EXPECT_EQ(0, cxdr_reference(&x_, reinterpret_cast<void **>(&none), sizeof(Point), pointFilter));
  rewindTo(CXDR_DECODE);
  Point *back = nullptr;
  ASSERT_EQ(1, cxdr_reference(&x_, reinterpret_cast<void **>(&back), sizeof(Point), pointFilter));
  EXPECT_EQ(9, back->x);
  x_.direction = CXDR_FREE;
  EXPECT_EQ(1, cxdr_reference(&x_, reinterpret_cast<void **>(&back), sizeof(Point), pointFilter));
  EXPECT_EQ(nullptr, back);
}

TEST_F(XdrFilters, UnionChoosesItsArm) {
  static const cxdr_discrim choices[] = {{1, uint32Filter}, {2, voidArm}, {0, nullptr}};
  int32_t d = 1;
  uint32_t value = 0xCAFEBABE;
  ASSERT_EQ(1, cxdr_union(&x_, &d, &value, choices, nullptr));
  d = 2;
  ASSERT_EQ(1, cxdr_union(&x_, &d, &value, choices, nullptr));
  d = 9;
  ASSERT_EQ(1, cxdr_union(&x_, &d, &value, choices, uint32Filter)) << "the default arm";
  const uint8_t expected[20] = {0, 0, 0, 1, 0xCA, 0xFE, 0xBA, 0xBE, 0,    0,
                                0, 2, 0, 0, 0,    9,    0xCA, 0xFE, 0xBA, 0xBE};
  EXPECT_EQ(bytes(expected, 20), written());
  rewindTo(CXDR_DECODE);
  uint32_t back = 0;
  ASSERT_EQ(1, cxdr_union(&x_, &d, &back, choices, nullptr));
  EXPECT_EQ(1, d);
  EXPECT_EQ(0xCAFEBABEu, back);
  x_.direction = CXDR_FREE;
  EXPECT_EQ(1, cxdr_union(&x_, &d, &back, choices, nullptr));
}

TEST_F(XdrFilters, UnionWithoutAMatchFailsAfterTheDiscriminant) {
  static const cxdr_discrim choices[] = {{1, uint32Filter}, {0, nullptr}};
  int32_t d = 3;
  uint32_t value = 0;
  EXPECT_EQ(0, cxdr_union(&x_, &d, &value, choices, nullptr));
  const uint8_t expected[4] = {0, 0, 0, 3};
  EXPECT_EQ(bytes(expected, 4), written());
  EXPECT_EQ(0, cxdr_union(&x_, &d, &value, nullptr, nullptr)) << "a null table is empty";
  EXPECT_EQ(8u, x_.position);
}

TEST_F(XdrFilters, NopAndUnknownDirectionsFail) {
  for (uint32_t direction : {CXDR_NOP, 4u, 0xFFFFFFFFu}) {
    x_.direction = direction;
    uint8_t b = 0;
    uint16_t h = 0;
    uint32_t w = 0;
    int32_t i = 0;
    float f = 0;
    double d = 0;
    OrvBool ob = 0;
    char *s = nullptr;
    uint8_t *bytesP = nullptr;
    char *charsP = nullptr;
    void *arr = nullptr;
    uint32_t n = 0;
    EXPECT_EQ(0, cxdr_UInt8(&x_, &b));
    EXPECT_EQ(0, cxdr_BYTE(&x_, &b));
    EXPECT_EQ(0, cxdr_CHAR(&x_, reinterpret_cast<char *>(&b)));
    EXPECT_EQ(0, cxdr_OrvBool8(&x_, &b));
    EXPECT_EQ(0, cxdr_OrvBool(&x_, &ob));
    EXPECT_EQ(0, cxdr_UInt16(&x_, &h));
    EXPECT_EQ(0, cxdr_UInt32(&x_, &w));
    EXPECT_EQ(0, cxdr_Int32(&x_, &i));
    EXPECT_EQ(0, cxdr_Int(&x_, &i));
    EXPECT_EQ(0, cxdr_enum(&x_, &i));
    EXPECT_EQ(0, cxdr_Float32(&x_, &f));
    EXPECT_EQ(0, cxdr_Float64(&x_, &d));
    EXPECT_EQ(0, cxdr_opaque(&x_, &b, 1));
    EXPECT_EQ(0, cxdr_CHARvector(&x_, reinterpret_cast<char *>(&b), 1));
    EXPECT_EQ(0, cxdr_UInt8s(&x_, &bytesP, &n, 5));
    EXPECT_EQ(0, cxdr_CHARs(&x_, &charsP, &n, 5));
    EXPECT_EQ(0, cxdr_string(&x_, &s, 5));
    EXPECT_EQ(0, cxdr_wrapstring(&x_, &s));
    EXPECT_EQ(0, cxdr_c_wrapstring(&x_, &s));
    EXPECT_EQ(0, cxdr_array(&x_, &arr, &n, 5, 4, uint32Filter));
    EXPECT_EQ(0, cxdr_vector(&x_, &w, 1, 4, uint32Filter));
    EXPECT_EQ(0, cxdr_pointer(&x_, &arr, 4, uint32Filter));
    EXPECT_EQ(0, cxdr_reference(&x_, &arr, 4, uint32Filter));
    EXPECT_EQ(0, cxdr_union(&x_, &i, &w, nullptr, uint32Filter));
    EXPECT_EQ(1, cxdr_void());
    EXPECT_EQ(0u, x_.position);
  }
}

TEST_F(XdrFilters, ByteOrderFunctions) {
  EXPECT_EQ(0x04030201u, h2nl(0x01020304u));
  EXPECT_EQ(0x04030201u, n2hl(0x01020304u));
  EXPECT_EQ(0x0201, h2ns(0x0102));
  EXPECT_EQ(0x0201, n2hs(0x0102));
  uint32_t w = h2nl(0xA1B2C3D4u);
  uint8_t b[4];
  memcpy(b, &w, 4);
  EXPECT_EQ(0xA1, b[0]);
  EXPECT_EQ(0xD4, b[3]);
}

TEST_F(XdrFilters, RandomRoundTripOfEveryFilter) {
  std::mt19937 gen(20261123);
  struct Record {
    uint8_t u8;
    int8_t i8;
    uint8_t byte;
    char ch;
    OrvBool8 b8;
    OrvBool b;
    uint16_t u16;
    int16_t i16;
    uint32_t u32;
    int32_t i32;
    int32_t i;
    int32_t e;
    float f32;
    double f64;
    uint8_t opaque[5];
    char vec[3];
    uint8_t *bytes;
    uint32_t bytesCount;
    char *chars;
    uint32_t charsCount;
    char *str;
    char *wrap;
    char *cwrap;
  };
  auto filter = [](CXDR *s, Record *r) -> int {
    return cxdr_UInt8(s, &r->u8) && cxdr_Int8(s, &r->i8) && cxdr_BYTE(s, &r->byte) && cxdr_CHAR(s, &r->ch) &&
           cxdr_OrvBool8(s, &r->b8) && cxdr_OrvBool(s, &r->b) && cxdr_UInt16(s, &r->u16) &&
           cxdr_Int16(s, &r->i16) && cxdr_UInt32(s, &r->u32) && cxdr_Int32(s, &r->i32) &&
           cxdr_Int(s, &r->i) && cxdr_enum(s, &r->e) && cxdr_Float32(s, &r->f32) &&
           cxdr_Float64(s, &r->f64) && cxdr_opaque(s, r->opaque, 5) && cxdr_CHARvector(s, r->vec, 3) &&
           cxdr_UInt8s(s, &r->bytes, &r->bytesCount, 64) && cxdr_CHARs(s, &r->chars, &r->charsCount, 64) &&
           cxdr_string(s, &r->str, 64) && cxdr_wrapstring(s, &r->wrap) && cxdr_c_wrapstring(s, &r->cwrap);
  };
  auto randomText = [&gen](size_t n) {
    std::string t;
    for (size_t k = 0; k < n; ++k) {
      t += static_cast<char>(1 + gen() % 255);
    }
    return t;
  };
  for (int round = 0; round < 200; ++round) {
    Record in{};
    in.u8 = static_cast<uint8_t>(gen());
    in.i8 = static_cast<int8_t>(gen());
    in.byte = static_cast<uint8_t>(gen());
    in.ch = static_cast<char>(gen());
    in.b8 = static_cast<uint8_t>(gen());
    in.b = static_cast<OrvBool>(gen() & 0xFF);
    in.u16 = static_cast<uint16_t>(gen());
    in.i16 = static_cast<int16_t>(gen());
    in.u32 = gen();
    in.i32 = static_cast<int32_t>(gen());
    in.i = static_cast<int32_t>(gen());
    in.e = static_cast<int32_t>(gen());
    uint32_t fbits = gen();
    memcpy(&in.f32, &fbits, 4);
    uint64_t dbits = (static_cast<uint64_t>(gen()) << 32) | gen();
    memcpy(&in.f64, &dbits, 8);
    for (auto &o : in.opaque) {
      o = static_cast<uint8_t>(gen());
    }
    for (auto &c : in.vec) {
      c = static_cast<char>(gen());
    }
    std::vector<uint8_t> raw(gen() % 40);
    for (auto &o : raw) {
      o = static_cast<uint8_t>(gen());
    }
    in.bytes = raw.data();
    in.bytesCount = static_cast<uint32_t>(raw.size());
    std::string chars = randomText(gen() % 30);
    in.chars = chars.empty() ? nullptr : const_cast<char *>(chars.c_str());
    in.charsCount = static_cast<uint32_t>(chars.size());
    std::string str = randomText(gen() % 60);
    std::string wrap = randomText(gen() % 200);
    std::string cwrap = randomText(gen() % 200);
    in.str = const_cast<char *>(str.c_str());
    in.wrap = const_cast<char *>(wrap.c_str());
    in.cwrap = const_cast<char *>(cwrap.c_str());

    x_.direction = CXDR_ENCODE;
    cxdrmem_open(&x_);
    ASSERT_EQ(1, filter(&x_, &in));
    rewindTo(CXDR_DECODE);
    Record out{};
    ASSERT_EQ(1, filter(&x_, &out)) << round;
    EXPECT_EQ(x_.limit, x_.position);
    EXPECT_EQ(in.u8, out.u8);
    EXPECT_EQ(in.i8, out.i8);
    EXPECT_EQ(in.byte, out.byte);
    EXPECT_EQ(in.ch, out.ch);
    EXPECT_EQ(in.b8, out.b8);
    EXPECT_EQ(in.b, out.b);
    EXPECT_EQ(in.u16, out.u16);
    EXPECT_EQ(in.i16, out.i16);
    EXPECT_EQ(in.u32, out.u32);
    EXPECT_EQ(in.i32, out.i32);
    EXPECT_EQ(in.i, out.i);
    EXPECT_EQ(in.e, out.e);
    EXPECT_EQ(0, memcmp(&in.f32, &out.f32, 4));
    EXPECT_EQ(0, memcmp(&in.f64, &out.f64, 8));
    EXPECT_EQ(0, memcmp(in.opaque, out.opaque, 5));
    EXPECT_EQ(0, memcmp(in.vec, out.vec, 3));
    ASSERT_EQ(in.bytesCount, out.bytesCount);
    if (!raw.empty()) {
      EXPECT_EQ(0, memcmp(raw.data(), out.bytes, raw.size()));
    }
    ASSERT_EQ(in.charsCount, out.charsCount);
    EXPECT_EQ(chars, std::string(out.chars, out.charsCount));
    EXPECT_EQ(str, out.str);
    EXPECT_EQ(wrap, out.wrap);
    EXPECT_EQ(cwrap, out.cwrap);
    x_.direction = CXDR_FREE;
    ASSERT_EQ(1, filter(&x_, &out));
    EXPECT_EQ(nullptr, out.bytes);
    EXPECT_EQ(nullptr, out.chars);
    EXPECT_EQ(nullptr, out.str);
    EXPECT_EQ(nullptr, out.wrap);
    EXPECT_EQ(nullptr, out.cwrap);
  }
}

namespace {
bool xdrAssertionDeath(int status) {
#if defined(_WIN32)
  (void)status;
  return true;  // FatalExit ends the process; its code is the system's
#else
  return ::testing::KilledBySignal(SIGABRT)(status);
#endif
}
}  // namespace

// Encodes an array whose count is above its maximum.
void encodeTooManyElements() {
  uint8_t buffer[64];
  CXDR x;
  cxdrmem_create(&x, CXDR_ENCODE, buffer, sizeof buffer);
  uint32_t values[3] = {1, 2, 3};
  void *p = values;
  uint32_t n = 3;
  cxdr_array(&x, &p, &n, 2, 4, uint32Filter);
}

TEST(XdrAssertionDeathTest, CountAboveTheMaximumIsAFatalAssertion) {
  EXPECT_EXIT(encodeTooManyElements(), xdrAssertionDeath,
              ::testing::HasSubstr("Assertion Failure at line <946> of file <CXDR>."));
}
