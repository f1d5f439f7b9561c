// The object-stream classes vtmXdr and vtmXdrStreamable: wire layout of
// every overload, growth, failures thrown as vtmXdr*, array restore,
// shared buffers and the entry and exit trace lines.
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/frame.h"
#include "orvane/trace.h"
#include "orvane/vtmxdr.h"
#include "support/test_support.h"

namespace {

// Records the lines written through it; a flag makes it throw instead.
struct Recorder {
  static std::vector<std::string> &lines() {
    static std::vector<std::string> l;
    return l;
  }
  static std::vector<uint32_t> &categories() {
    static std::vector<uint32_t> c;
    return c;
  }
  static bool &failing() {
    static bool f = false;
    return f;
  }
  static uint32_t writer(uint32_t category, char *text, uint32_t length) {
    if (category == 0 && text == nullptr && length == 0) {
      return ORV_TRACE_MAGIC;
    }
    if (failing()) {
      throw 42;
    }
    lines().push_back(std::string(text, length));
    categories().push_back(category);
    return 0;
  }
  static void clear() {
    lines().clear();
    categories().clear();
    failing() = false;
  }
};

std::string hex(const void *p) {
  char buf[32];
  snprintf(buf, sizeof buf, "0x%" PRIxPTR, reinterpret_cast<uintptr_t>(p));
  return buf;
}

class VtmXdr : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_END));
    Recorder::clear();
  }
  void TearDown() override {
    if (trace_ != nullptr) {
      traceObjDelete(trace_);
    }
    Recorder::clear();
    servicesProcessTerminate(0);
  }
  TraceObj *makeTrace(uint32_t mask) {
    trace_ = traceObjCreate(0, mask, 0, Recorder::writer);
    return trace_;
  }
  static std::vector<unsigned char> wire(vtmXdr &x) {
    unsigned long len = 0;
    unsigned char *b = x.getBuffer(len);
    return std::vector<unsigned char>(b, b + len);
  }
  // Runs f and returns the status thrown, or -1 when nothing was thrown.
  template <typename F>
  static int thrown(vtmXdr &x, F f) {
    try {
      f();
    } catch (vtmXdr *p) {
      EXPECT_EQ(&x, p);
      return static_cast<int>(p->getStatus());
    }
    return -1;
  }
  TraceObj *trace_ = nullptr;
};

using Bytes = std::vector<unsigned char>;

TEST_F(VtmXdr, UInt32IsLeastSignificantByteFirst) {
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  unsigned long v = 0x01020304ul;
  x.xdr(v);
  EXPECT_EQ((Bytes{0x04, 0x03, 0x02, 0x01}), wire(x));
  EXPECT_EQ(vtmXdr::ok, x.getStatus());
  EXPECT_EQ(4ul, x.getBufferPosition());
}

TEST_F(VtmXdr, LayoutOfEveryType) {
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  unsigned char u8 = 0xAB;
  signed char i8 = -2;
  unsigned short u16 = 0x1234;
  short i16 = -2;
  long i32 = -2;
  long long i64 = 0x0102030405060708ll;
  int flag = 77;
  float f = 1.0f;  // 0x3F800000
  double d = 1.0;  // 0x3FF0000000000000
  x.xdr(u8);
  x.xdr(i8);
  x.xdr(u16);
  x.xdr(i16);
  x.xdr(i32);
  x.xdr(i64);
  x.xdr(flag);
  x.xdr(f);
  x.xdr(d);
  Bytes expected{0xAB, 0xFE, 0x34, 0x12, 0xFE, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF,
                 // 64-bit: low word, then high word, each least-significant first
                 0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01,
                 // boolean
                 0x01,
                 // float bits
                 0x00, 0x00, 0x80, 0x3F,
                 // double: high word first, then low word
                 0x00, 0x00, 0xF0, 0x3F, 0x00, 0x00, 0x00, 0x00};
  EXPECT_EQ(expected, wire(x));
}

TEST_F(VtmXdr, BooleanEncodesZeroAndDecodesTheByteRead) {
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  int no = 0;
  x.xdr(no);
  EXPECT_EQ((Bytes{0x00}), wire(x));
  unsigned char data[] = {7};
  vtmXdr y;
  y.setBuffer(vtmXdr::decode, data, 1);
  int got = 0;
  y.xdr(got);
  EXPECT_EQ(7, got);
}

TEST_F(VtmXdr, LongKeepsFourBytesAndSignExtends) {
  unsigned char data[] = {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  vtmXdr x;
  x.setBuffer(vtmXdr::decode, data, sizeof data);
  long s = 0;
  unsigned long u = 0;
  x.xdr(s);
  x.xdr(u);
  EXPECT_EQ(-2l, s);
  EXPECT_EQ(0xFFFFFFFFul, u);
  EXPECT_EQ(8ul, x.getBufferPosition());
}

TEST_F(VtmXdr, ThreeHundredBytesEndAtThreeHundred) {
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  for (int i = 0; i < 300; ++i) {
    unsigned char b = static_cast<unsigned char>(i);
    x.xdr(b);
  }
  Bytes w = wire(x);
  ASSERT_EQ(300u, w.size());
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(static_cast<unsigned char>(i), w[i]);
  }
}

TEST_F(VtmXdr, UInt16WithOneByteLeftIsReadPastTheEnd) {
  unsigned char data[] = {1, 2, 3};
  vtmXdr x;
  x.setBuffer(vtmXdr::decode, data, sizeof data);
  unsigned short v = 0;
  x.xdr(v);
  EXPECT_EQ(0x0201, v);
  EXPECT_EQ(vtmXdr::endOfData, thrown(x, [&] { x.xdr(v); }));
  EXPECT_EQ(2ul, x.getBufferPosition());
  // The object stays usable.
  unsigned char b = 0;
  x.xdr(b);
  EXPECT_EQ(3, b);
  EXPECT_EQ(vtmXdr::ok, x.getStatus());
}

TEST_F(VtmXdr, EveryDecoderStopsAtTheEnd) {
  unsigned char data[] = {1, 2, 3};
  vtmXdr x;
  x.setBuffer(vtmXdr::decode, data, sizeof data);
  long l = 0;
  unsigned long ul = 0;
  long long ll = 0;
  float f = 0;
  double d = 0;
  char *s = nullptr;
  EXPECT_EQ(7, thrown(x, [&] { x.xdr(l); }));
  EXPECT_EQ(7, thrown(x, [&] { x.xdr(ul); }));
  EXPECT_EQ(7, thrown(x, [&] { x.xdr(ll); }));
  EXPECT_EQ(7, thrown(x, [&] { x.xdr(f); }));
  EXPECT_EQ(7, thrown(x, [&] { x.xdr(d); }));
  EXPECT_EQ(7, thrown(x, [&] { x.xdr(s); }));
  EXPECT_EQ(nullptr, s);
  x.setBufferPosition(3);
  unsigned char b = 0;
  int flag = 0;
  signed char sc = 0;
  EXPECT_EQ(7, thrown(x, [&] { x.xdr(b); }));
  EXPECT_EQ(7, thrown(x, [&] { x.xdr(flag); }));
  EXPECT_EQ(7, thrown(x, [&] { x.xdr(sc); }));
}

TEST_F(VtmXdr, ArrayWhoseSecondElementFailsRestoresThePosition) {
  unsigned char data[] = {9, 1, 2, 3};
  vtmXdr x;
  x.setBuffer(vtmXdr::decode, data, sizeof data);
  unsigned char first = 0;
  x.xdr(first);
  unsigned short values[3] = {0, 0, 0};
  EXPECT_EQ(vtmXdr::endOfData, thrown(x, [&] { x.xdr(values, 3); }));
  EXPECT_EQ(1ul, x.getBufferPosition());
  EXPECT_EQ(2ul, x.getMember());
  EXPECT_EQ(0x0201, values[0]);
}

TEST_F(VtmXdr, EncodingArrayFailureRestoresTheEnd) {
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  unsigned char b = 1;
  x.xdr(b);
  char good[] = "ok";
  char *strings[3] = {good, nullptr, good};
  EXPECT_EQ(vtmXdr::badArgument, thrown(x, [&] { x.xdr(strings, 3); }));
  EXPECT_EQ(2ul, x.getMember());
  EXPECT_EQ(1ul, x.getBufferPosition());
  unsigned long len = 0;
  x.getBuffer(len);
  EXPECT_EQ(1ul, len);
}

TEST_F(VtmXdr, NullArrayWithElementsIsABadArgument) {
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  EXPECT_EQ(2, thrown(x, [&] { x.xdr(static_cast<long *>(nullptr), 2); }));
  x.xdr(static_cast<long *>(nullptr), 0);
  EXPECT_EQ(vtmXdr::ok, x.getStatus());
}

TEST_F(VtmXdr, SetBufferPositionUpToTheEnd) {
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  unsigned long v = 5;
  x.xdr(v);
  x.setBufferPosition(4);
  EXPECT_EQ(4ul, x.getBufferPosition());
  EXPECT_EQ(vtmXdr::badArgument, thrown(x, [&] { x.setBufferPosition(5); }));
  EXPECT_EQ(4ul, x.getBufferPosition());
  x.setBufferPosition(0);
  unsigned short w = 0xBEEF;
  x.xdr(w);
  // Rewriting inside the data keeps the end.
  EXPECT_EQ((Bytes{0xEF, 0xBE, 0, 0}), wire(x));
}

TEST_F(VtmXdr, NoBuffer) {
  vtmXdr x;
  EXPECT_EQ(vtmXdr::encode, x.getDirection());
  EXPECT_EQ(vtmXdr::noBuffer, thrown(x, [&] { x.setBufferPosition(0); }));
  EXPECT_EQ(vtmXdr::badArgument, thrown(x, [&] { x.setBufferPosition(1); }));
  unsigned char b = 1;
  EXPECT_EQ(vtmXdr::noBuffer, thrown(x, [&] { x.xdr(b); }));
  unsigned long len = 99;
  EXPECT_EQ(nullptr, x.getBuffer(len));
  EXPECT_EQ(0ul, len);
  // A null lent buffer is accepted, but reading from it is refused.
  x.setBuffer(vtmXdr::decode, nullptr, 10);
  EXPECT_EQ(vtmXdr::noBuffer, thrown(x, [&] { x.xdr(b); }));
}

TEST_F(VtmXdr, StringLayoutAndDecoding) {
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  char text[] = "abc";
  char *p = text;
  x.xdr(p);
  EXPECT_EQ((Bytes{3, 0, 0, 0, 'a', 0, 'b', 0, 'c', 0}), wire(x));
  char empty[] = "";
  p = empty;
  x.xdr(p);

  Bytes w = wire(x);
  vtmXdr y;
  y.setBuffer(vtmXdr::decode, w.data(), w.size());
  char *got = nullptr;
  y.xdr(got);
  ASSERT_NE(nullptr, got);
  EXPECT_STREQ("abc", got);
  orvMemoryFreeFunc(got);
  char storage[8];
  memset(storage, 'x', sizeof storage);
  char *into = storage;
  y.xdr(into);
  EXPECT_EQ(storage, into);
  EXPECT_STREQ("", storage);
}

TEST_F(VtmXdr, NullStringToEncodeIsABadArgument) {
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  char *p = nullptr;
  EXPECT_EQ(vtmXdr::badArgument, thrown(x, [&] { x.xdr(p); }));
  EXPECT_EQ(0ul, x.getBufferPosition());
}

TEST_F(VtmXdr, StringCountsThatCannotBeAllocatedOrRead) {
  // 2 x count + 2 does not fit 32 bits: an allocation failure.
  unsigned char huge[] = {0x00, 0x00, 0x00, 0x80, 'a', 0};
  vtmXdr x;
  x.setBuffer(vtmXdr::decode, huge, sizeof huge);
  char *p = nullptr;
  EXPECT_EQ(vtmXdr::noMemory, thrown(x, [&] { x.xdr(p); }));
  unsigned char largest[] = {0xFF, 0xFF, 0xFF, 0xFF, 'a', 0};
  x.setBuffer(vtmXdr::decode, largest, sizeof largest);
  EXPECT_EQ(vtmXdr::noMemory, thrown(x, [&] { x.xdr(p); }));
  // A count larger than the data left.
  unsigned char shortData[] = {0x05, 0x00, 0x00, 0x00, 'a', 0};
  x.setBuffer(vtmXdr::decode, shortData, sizeof shortData);
  EXPECT_EQ(vtmXdr::endOfData, thrown(x, [&] { x.xdr(p); }));
  EXPECT_EQ(nullptr, p);
}

TEST_F(VtmXdr, RoundTripOfEveryOverload) {
  std::mt19937_64 rng(20261123);
  for (int round = 0; round < 50; ++round) {
    unsigned char u8 = static_cast<unsigned char>(rng());
    signed char i8 = static_cast<signed char>(rng());
    unsigned short u16 = static_cast<unsigned short>(rng());
    short i16 = static_cast<short>(rng());
    unsigned long u32 = static_cast<unsigned long>(static_cast<uint32_t>(rng()));
    long i32 = static_cast<long>(static_cast<int32_t>(rng()));
    long long i64 = static_cast<long long>(rng());
    int flag = static_cast<int>(rng() & 1);
    uint32_t fbits = static_cast<uint32_t>(rng()) & 0xBFFFFFFFu;  // finite
    float f;
    memcpy(&f, &fbits, sizeof f);
    double d = std::uniform_real_distribution<double>(-1e300, 1e300)(rng);
    std::string s;
    for (int n = static_cast<int>(rng() % 40); n > 0; --n) {
      s.push_back(static_cast<char>(' ' + rng() % 95));
    }
    std::vector<char> sbuf(s.begin(), s.end());
    sbuf.push_back('\0');
    char *sp = sbuf.data();

    vtmXdr x;
    x.setBuffer(vtmXdr::encode, nullptr, 0);
    x.xdr(u8);
    x.xdr(i8);
    x.xdr(u16);
    x.xdr(i16);
    x.xdr(u32);
    x.xdr(i32);
    x.xdr(i64);
    x.xdr(flag);
    x.xdr(f);
    x.xdr(d);
    x.xdr(sp);
    Bytes w = wire(x);
    EXPECT_EQ(1u + 1 + 2 + 2 + 4 + 4 + 8 + 1 + 4 + 8 + 4 + 2 * s.size(), w.size());

    vtmXdr y;
    y.setBuffer(vtmXdr::decode, w.data(), w.size());
    unsigned char u8b = 0;
    signed char i8b = 0;
    unsigned short u16b = 0;
    short i16b = 0;
    unsigned long u32b = 0;
    long i32b = 0;
    long long i64b = 0;
    int flagb = 0;
    float fb = 0;
    double db = 0;
    char *sb = nullptr;
    y.xdr(u8b);
    y.xdr(i8b);
    y.xdr(u16b);
    y.xdr(i16b);
    y.xdr(u32b);
    y.xdr(i32b);
    y.xdr(i64b);
    y.xdr(flagb);
    y.xdr(fb);
    y.xdr(db);
    y.xdr(sb);
    EXPECT_EQ(u8, u8b);
    EXPECT_EQ(i8, i8b);
    EXPECT_EQ(u16, u16b);
    EXPECT_EQ(i16, i16b);
    EXPECT_EQ(u32, u32b);
    EXPECT_EQ(i32, i32b);
    EXPECT_EQ(i64, i64b);
    EXPECT_EQ(flag, flagb);
    EXPECT_EQ(0, memcmp(&f, &fb, sizeof f));
    EXPECT_EQ(d, db);
    ASSERT_NE(nullptr, sb);
    EXPECT_EQ(s, std::string(sb));
    orvMemoryFreeFunc(sb);
    EXPECT_EQ(w.size(), y.getBufferPosition());
  }
}

template <typename T>
std::vector<T> randomValues(std::mt19937_64 &rng, size_t n) {
  std::vector<T> v(n);
  for (auto &e : v) {
    if constexpr (std::is_same_v<T, float>) {
      e = std::uniform_real_distribution<float>(-1e30f, 1e30f)(rng);
    } else if constexpr (std::is_same_v<T, double>) {
      e = std::uniform_real_distribution<double>(-1e300, 1e300)(rng);
    } else if constexpr (std::is_same_v<T, int>) {
      e = static_cast<int>(rng() & 1);
    } else if constexpr (std::is_same_v<T, long>) {
      e = static_cast<long>(static_cast<int32_t>(rng()));
    } else if constexpr (std::is_same_v<T, unsigned long>) {
      e = static_cast<unsigned long>(static_cast<uint32_t>(rng()));
    } else {
      e = static_cast<T>(rng());
    }
  }
  return v;
}

template <typename T>
void arrayRoundTrip(std::mt19937_64 &rng, size_t width) {
  const size_t n = 1 + rng() % 200;
  std::vector<T> in = randomValues<T>(rng, n);
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  x.xdr(in.data(), static_cast<unsigned long>(n));
  unsigned long len = 0;
  unsigned char *b = x.getBuffer(len);
  ASSERT_EQ(n * width, len);
  std::vector<unsigned char> w(b, b + len);
  std::vector<T> out(n);
  vtmXdr y;
  y.setBuffer(vtmXdr::decode, w.data(), w.size());
  y.xdr(out.data(), static_cast<unsigned long>(n));
  EXPECT_EQ(in, out);
  EXPECT_EQ(len, y.getBufferPosition());
}

TEST_F(VtmXdr, RoundTripOfEveryArrayOverload) {
  std::mt19937_64 rng(7);
  for (int round = 0; round < 10; ++round) {
    arrayRoundTrip<unsigned char>(rng, 1);
    arrayRoundTrip<signed char>(rng, 1);
    arrayRoundTrip<unsigned short>(rng, 2);
    arrayRoundTrip<short>(rng, 2);
    arrayRoundTrip<unsigned long>(rng, 4);
    arrayRoundTrip<long>(rng, 4);
    arrayRoundTrip<long long>(rng, 8);
    arrayRoundTrip<int>(rng, 1);
    arrayRoundTrip<float>(rng, 4);
    arrayRoundTrip<double>(rng, 8);
  }
  // Strings.
  std::vector<std::string> texts{"one", "", "three three", "x"};
  std::vector<std::vector<char>> storage;
  std::vector<char *> in;
  for (auto &t : texts) {
    storage.emplace_back(t.begin(), t.end());
    storage.back().push_back('\0');
  }
  for (auto &s : storage) {
    in.push_back(s.data());
  }
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  x.xdr(in.data(), static_cast<unsigned long>(in.size()));
  Bytes w = wire(x);
  std::vector<char *> out(in.size(), nullptr);
  vtmXdr y;
  y.setBuffer(vtmXdr::decode, w.data(), w.size());
  y.xdr(out.data(), static_cast<unsigned long>(out.size()));
  for (size_t i = 0; i < texts.size(); ++i) {
    ASSERT_NE(nullptr, out[i]);
    EXPECT_EQ(texts[i], out[i]);
    orvMemoryFreeFunc(out[i]);
  }
}

TEST_F(VtmXdr, OtherDirectionsGetAnOwnBufferAndRead) {
  // Any direction but 1 gets a fresh 256-byte buffer with no data, and
  // every direction but 0 reads: nothing is there to read.
  vtmXdr x;
  x.setBuffer(static_cast<vtmXdr::direction>(2), nullptr, 0);
  EXPECT_EQ(2, static_cast<int>(x.getDirection()));
  unsigned long len = 99;
  EXPECT_NE(nullptr, x.getBuffer(len));
  EXPECT_EQ(0ul, len);
  long long v = 5;
  EXPECT_EQ(vtmXdr::endOfData, thrown(x, [&] { x.xdr(v); }));
  EXPECT_EQ(5, v);
  double d = 1.5;
  EXPECT_EQ(vtmXdr::endOfData, thrown(x, [&] { x.xdr(d); }));
  EXPECT_EQ(1.5, d);
  unsigned long u = 3;
  EXPECT_EQ(vtmXdr::endOfData, thrown(x, [&] { x.xdr(u); }));
  EXPECT_EQ(3ul, u);
}

TEST_F(VtmXdr, AssignmentSharesTheBufferAndFreesItOnce) {
  vtmXdr a;
  a.setBuffer(vtmXdr::encode, nullptr, 0);
  unsigned long v = 0x11223344;
  a.xdr(v);
  {
    vtmXdr b;
    b.setBuffer(vtmXdr::encode, nullptr, 0);
    b = a;
    unsigned long lenA = 0;
    unsigned long lenB = 0;
    EXPECT_EQ(a.getBuffer(lenA), b.getBuffer(lenB));
    EXPECT_EQ(lenA, lenB);
    // b grows past the shared 256 bytes: it moves to a copy of its own.
    for (int i = 0; i < 300; ++i) {
      unsigned char byte = 0xEE;
      b.xdr(byte);
    }
    EXPECT_NE(a.getBuffer(lenA), b.getBuffer(lenB));
    EXPECT_EQ(304ul, lenB);
  }
  EXPECT_EQ((Bytes{0x44, 0x33, 0x22, 0x11}), wire(a));
  vtmXdr c;
  c = a;
  c = c;
  a.setBuffer(vtmXdr::decode, nullptr, 0);
  EXPECT_EQ((Bytes{0x44, 0x33, 0x22, 0x11}), wire(c));
}

TEST_F(VtmXdr, TraceLines) {
  TraceObj *t = makeTrace(VTM_XDR_TRACE_ENTRY | VTM_XDR_TRACE_EXIT);
  ASSERT_NE(nullptr, t);
  std::string self;
  {
    vtmXdr x(t);
    self = hex(&x);
    x.setBuffer(vtmXdr::encode, nullptr, 0);
    double d = 2.5;
    x.xdr(d);
    Recorder::clear();
    EXPECT_EQ(8ul, x.getBufferPosition());
    ASSERT_EQ(2u, Recorder::lines().size());
    EXPECT_EQ("0x40000000 0x0 vtmXdr::getBufferPosition " + self, Recorder::lines()[0]);
    EXPECT_EQ("0x80000000 0x0 vtmXdr::getBufferPosition " + self + " (0x8)", Recorder::lines()[1]);
    EXPECT_EQ(VTM_XDR_TRACE_ENTRY, Recorder::categories()[0]);
    EXPECT_EQ(VTM_XDR_TRACE_EXIT, Recorder::categories()[1]);
    Recorder::clear();
    x.setBufferPosition(0);
    x.xdr(d);
    ASSERT_EQ(4u, Recorder::lines().size());
    EXPECT_EQ("0x40000000 0x0 vtmXdr::xdr_Float64 " + self + " 2.5", Recorder::lines()[2]);
    EXPECT_EQ("0x80000000 0x0 vtmXdr::xdr_Float64 " + self + " 2.5 (void)", Recorder::lines()[3]);
    Recorder::clear();
    char text[] = "hi";
    char *p = text;
    x.xdr(p);
    ASSERT_EQ(2u, Recorder::lines().size());
    EXPECT_EQ("0x40000000 0x0 vtmXdr::xdr_NLSStr " + self + " \"hi\"", Recorder::lines()[0]);
    EXPECT_EQ("0x80000000 0x0 vtmXdr::xdr_NLSStr " + self + " \"hi\" (void)", Recorder::lines()[1]);
    Recorder::clear();
    unsigned short arr[2] = {1, 2};
    x.xdr(arr, 2);
    ASSERT_EQ(6u, Recorder::lines().size());
    EXPECT_NE(std::string::npos, Recorder::lines()[0].find("vtmXdr::xdr_array"));
    EXPECT_NE(std::string::npos, Recorder::lines()[1].find("vtmXdr::xdr_UInt16"));
    Recorder::clear();
  }
  // The destructor writes its entry line, then its exit line.
  ASSERT_EQ(2u, Recorder::lines().size());
  EXPECT_EQ("0x40000000 0x0 vtmXdr::~vtmXdr " + self, Recorder::lines()[0]);
  EXPECT_EQ("0x80000000 0x0 vtmXdr::~vtmXdr " + self + " (void)", Recorder::lines()[1]);
}

TEST_F(VtmXdr, EntryAndExitSwitchesAreSeparate) {
  TraceObj *t = makeTrace(VTM_XDR_TRACE_EXIT);
  {
    vtmXdr x(t);
    x.setBuffer(vtmXdr::encode, nullptr, 0);
    Recorder::clear();
    x.getStatus();
    ASSERT_EQ(1u, Recorder::lines().size());
    EXPECT_EQ(0u, Recorder::lines()[0].find("0x80000000 "));
    traceObjSetMask(t, VTM_XDR_TRACE_ENTRY);
    Recorder::clear();
    x.getMember();
    ASSERT_EQ(1u, Recorder::lines().size());
    EXPECT_EQ(0u, Recorder::lines()[0].find("0x40000000 "));
    traceObjSetMask(t, ORV_TRACE_THREADS);
    Recorder::clear();
    x.getMember();
    EXPECT_TRUE(Recorder::lines().empty());
    traceObjSetMask(t, VTM_XDR_TRACE_EXIT);
    Recorder::clear();
  }
  // Exit tracing alone: the exit line is written with the kept buffer.
  ASSERT_EQ(1u, Recorder::lines().size());
  EXPECT_NE(std::string::npos, Recorder::lines()[0].find("vtmXdr::~vtmXdr"));
}

TEST_F(VtmXdr, LongStringsAreCutToTheTraceBuffer) {
  TraceObj *t = makeTrace(VTM_XDR_TRACE_EXIT);
  vtmXdr x(t);
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  std::string big(1000, 'q');
  std::vector<char> buf(big.begin(), big.end());
  buf.push_back('\0');
  char *p = buf.data();
  Recorder::clear();
  x.xdr(p);
  ASSERT_EQ(1u, Recorder::lines().size());
  EXPECT_EQ(VTM_XDR_TRACE_BUFFER - 1, Recorder::lines()[0].size());
  EXPECT_EQ(4ul + 2000ul, x.getBufferPosition());
}

TEST_F(VtmXdr, FailingTraceWriterDropsTheTraceObject) {
  TraceObj *t = makeTrace(VTM_XDR_TRACE_ENTRY | VTM_XDR_TRACE_EXIT);
  vtmXdr x(t);
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  Recorder::failing() = true;
  unsigned long v = 1;
  EXPECT_EQ(vtmXdr::traceFailed, thrown(x, [&] { x.xdr(v); }));
  Recorder::failing() = false;
  Recorder::clear();
  x.xdr(v);
  EXPECT_TRUE(Recorder::lines().empty());
  EXPECT_EQ((Bytes{1, 0, 0, 0}), wire(x));
  // A trace object can be set again.
  x.setTrace(t);
  EXPECT_EQ(1u, Recorder::lines().size());  // the exit line of setTrace
  Recorder::clear();
  x.getStatus();
  EXPECT_EQ(2u, Recorder::lines().size());
}

TEST_F(VtmXdr, HeldBackTraceObjectWritesNothing) {
  TraceObj *t = makeTrace(VTM_XDR_TRACE_ENTRY | VTM_XDR_TRACE_EXIT);
  traceObjSetState(t, 1);
  vtmXdr x(t);
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  x.getStatus();
  EXPECT_TRUE(Recorder::lines().empty());
}

class Point : public vtmXdrStreamable {
 public:
  long x = 0;
  long y = 0;
  void stream(vtmXdr &s) override {
    s.xdr(x);
    s.xdr(y);
  }
};

TEST_F(VtmXdr, StreamableObjects) {
  vtmXdrStreamable base;
  EXPECT_EQ(vtmXdr::ok, base.getStatus());
  EXPECT_EQ(0ul, base.getMember());
  EXPECT_EQ(nullptr, base.getStream());
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  base.stream(x);
  EXPECT_EQ(0ul, x.getBufferPosition());

  Point p;
  p.x = -7;
  p.y = 123456;
  vtmXdrStreamable &asBase = p;
  asBase.stream(x);
  Bytes w = wire(x);
  Point q;
  vtmXdr y;
  y.setBuffer(vtmXdr::decode, w.data(), w.size());
  q.stream(y);
  EXPECT_EQ(-7, q.x);
  EXPECT_EQ(123456, q.y);
  Point r(q);
  r = q;
  EXPECT_EQ(vtmXdr::ok, r.getStatus());
}

}  // namespace
