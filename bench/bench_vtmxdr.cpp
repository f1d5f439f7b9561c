// Object streams: records of mixed fields encoded and decoded through
// vtmXdr, against a hand-written little-endian packer of the same fields
// (shifts into a std::vector that grows as needed, and back). Ours and the
// peer's passes are interleaved; the counters are the median seconds of
// each. Reported only, no limit.
#include <benchmark/benchmark.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <chrono>
#include <vector>

#include "orvane/frame.h"
#include "orvane/vtmxdr.h"
#include "orvane/xdr.h"
#include "ratio.h"

namespace {

struct Rec {
  unsigned long id;
  long delta;
  long long stamp;
  double value;
  unsigned short flags;
  int on;
};

constexpr size_t kRecords = 100000;

std::vector<Rec> &records() {
  static std::vector<Rec> r = [] {
    std::vector<Rec> v(kRecords);
    uint64_t seed = 12345;
    for (Rec &e : v) {
      seed = seed * 6364136223846793005ull + 1442695040888963407ull;
      e.id = static_cast<uint32_t>(seed >> 32);
      e.delta = static_cast<int32_t>(seed);
      e.stamp = static_cast<long long>(seed);
      e.value = static_cast<double>(seed >> 11) / 7.0;
      e.flags = static_cast<unsigned short>(seed >> 20);
      e.on = static_cast<int>(seed & 1);
    }
    return v;
  }();
  return r;
}

std::vector<unsigned char> &ourWire() {
  static std::vector<unsigned char> w;
  return w;
}

void ourRecord(vtmXdr &x, Rec &r) {
  x.xdr(r.id);
  x.xdr(r.delta);
  x.xdr(r.stamp);
  x.xdr(r.value);
  x.xdr(r.flags);
  x.xdr(r.on);
}

double ourEncode() {
  auto start = std::chrono::steady_clock::now();
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  for (Rec &r : records()) {
    ourRecord(x, r);
  }
  unsigned long len = 0;
  unsigned char *b = x.getBuffer(len);
  double t = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  ourWire().assign(b, b + len);
  return t;
}

double ourDecode() {
  std::vector<Rec> out(kRecords);
  auto start = std::chrono::steady_clock::now();
  vtmXdr x;
  x.setBuffer(vtmXdr::decode, ourWire().data(), ourWire().size());
  for (Rec &r : out) {
    ourRecord(x, r);
  }
  double t = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (out.back().id != records().back().id) {
    abort();
  }
  return t;
}

void put(std::vector<unsigned char> &w, uint64_t v, unsigned n) {
  for (unsigned i = 0; i < n; ++i) {
    w.push_back(static_cast<unsigned char>(v >> (8 * i)));
  }
}

uint64_t get(const unsigned char *&p, unsigned n) {
  uint64_t v = 0;
  for (unsigned i = 0; i < n; ++i) {
    v |= static_cast<uint64_t>(p[i]) << (8 * i);
  }
  p += n;
  return v;
}

std::vector<unsigned char> &peerWire() {
  static std::vector<unsigned char> w;
  return w;
}

double peerEncode() {
  auto start = std::chrono::steady_clock::now();
  std::vector<unsigned char> w;
  for (const Rec &r : records()) {
    uint64_t bits;
    memcpy(&bits, &r.value, sizeof bits);
    put(w, static_cast<uint32_t>(r.id), 4);
    put(w, static_cast<uint32_t>(r.delta), 4);
    put(w, static_cast<uint64_t>(r.stamp), 8);
    put(w, bits >> 32, 4);
    put(w, bits & 0xFFFFFFFFu, 4);
    put(w, r.flags, 2);
    put(w, r.on != 0 ? 1 : 0, 1);
  }
  double t = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  peerWire().swap(w);
  return t;
}

double peerDecode() {
  std::vector<Rec> out(kRecords);
  auto start = std::chrono::steady_clock::now();
  const unsigned char *p = peerWire().data();
  const unsigned char *end = p + peerWire().size();
  for (Rec &r : out) {
    if (end - p < 27) {
      abort();
    }
    r.id = static_cast<unsigned long>(get(p, 4));
    r.delta = static_cast<int32_t>(get(p, 4));
    r.stamp = static_cast<long long>(get(p, 8));
    uint64_t bits = get(p, 4) << 32;
    bits |= get(p, 4);
    memcpy(&r.value, &bits, sizeof bits);
    r.flags = static_cast<unsigned short>(get(p, 2));
    r.on = static_cast<int>(get(p, 1));
  }
  double t = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (out.back().id != records().back().id) {
    abort();
  }
  return t;
}

void BM_VtmXdrRecords(benchmark::State &state) {
  std::vector<double> oe, od, pe, pd;
  for (auto _ : state) {
    oe.push_back(ourEncode());
    pe.push_back(peerEncode());
    od.push_back(ourDecode());
    pd.push_back(peerDecode());
  }
  state.counters["ours_encode"] = benchratio::median(oe);
  state.counters["peer_encode"] = benchratio::median(pe);
  state.counters["ours_decode"] = benchratio::median(od);
  state.counters["peer_decode"] = benchratio::median(pd);
}
BENCHMARK(BM_VtmXdrRecords)->Iterations(15)->Unit(benchmark::kMillisecond);

// The mixed records of bench_xdr (an 8-, a 16- and a 32-bit integer, a
// double, a 20-byte string, ten 32-bit integers, an optional 32-bit value
// present in every other record) through vtmXdr, against the same records
// through the library's XDR memory stream. The object stream has no counted
// arrays or optional objects: the ten integers travel as a fixed array and
// the optional value as a boolean and, when present, the value.
struct Mixed {
  signed char i8;
  short i16;
  long i32;
  double d;
  char text[24];
  char *textPtr;
  long values[10];
  int present;
  long optional;
};

struct MixedXdr {
  int8_t i8;
  int16_t i16;
  int32_t i32;
  double d;
  char text[24];
  char *textPtr;
  int32_t values[10];
  int32_t *valuesPtr;
  uint32_t valueCount;
  int32_t optionalValue;
  int32_t *optional;
};

std::vector<Mixed> &mixed() {
  static std::vector<Mixed> m = [] {
    std::vector<Mixed> v(kRecords);
    for (size_t i = 0; i < kRecords; ++i) {
      Mixed &x = v[i];
      x.i8 = static_cast<signed char>(i);
      x.i16 = static_cast<short>(i * 3);
      x.i32 = static_cast<long>(i * 7919);
      x.d = static_cast<double>(i) * 0.5;
      snprintf(x.text, sizeof x.text, "record-%013zu", i);
      x.textPtr = x.text;
      for (int k = 0; k < 10; ++k) {
        x.values[k] = static_cast<long>(i) + k;
      }
      x.present = static_cast<int>(i & 1);
      x.optional = static_cast<long>(i);
    }
    return v;
  }();
  return m;
}

std::vector<MixedXdr> &mixedXdr() {
  static std::vector<MixedXdr> m = [] {
    std::vector<MixedXdr> v(kRecords);
    for (size_t i = 0; i < kRecords; ++i) {
      const Mixed &s = mixed()[i];
      MixedXdr &x = v[i];
      x.i8 = s.i8;
      x.i16 = s.i16;
      x.i32 = static_cast<int32_t>(s.i32);
      x.d = s.d;
      memcpy(x.text, s.text, sizeof x.text);
      x.textPtr = x.text;
      for (int k = 0; k < 10; ++k) {
        x.values[k] = static_cast<int32_t>(s.values[k]);
      }
      x.valuesPtr = x.values;
      x.valueCount = 10;
      x.optionalValue = static_cast<int32_t>(s.optional);
      x.optional = s.present != 0 ? &x.optionalValue : nullptr;
    }
    return v;
  }();
  return m;
}

void mixedRecord(vtmXdr &x, Mixed &r) {
  x.xdr(r.i8);
  x.xdr(r.i16);
  x.xdr(r.i32);
  x.xdr(r.d);
  x.xdr(r.textPtr);
  x.xdr(r.values, 10);
  x.xdr(r.present);
  if (r.present != 0) {
    x.xdr(r.optional);
  }
}

const cxdrproc_t xdrInt32 = reinterpret_cast<cxdrproc_t>(cxdr_Int32);

int mixedXdrRecord(CXDR *s, MixedXdr *r) {
  return cxdr_Int8(s, &r->i8) && cxdr_Int16(s, &r->i16) && cxdr_Int32(s, &r->i32) && cxdr_Float64(s, &r->d) &&
         cxdr_string(s, &r->textPtr, 20) &&
         cxdr_array(s, reinterpret_cast<void **>(&r->valuesPtr), &r->valueCount, 10, sizeof(int32_t),
                    xdrInt32) &&
         cxdr_pointer(s, reinterpret_cast<void **>(&r->optional), sizeof(int32_t), xdrInt32);
}

std::vector<unsigned char> &mixedWire() {
  static std::vector<unsigned char> w;
  return w;
}

double mixedEncode() {
  auto start = std::chrono::steady_clock::now();
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  for (Mixed &r : mixed()) {
    mixedRecord(x, r);
  }
  unsigned long len = 0;
  unsigned char *b = x.getBuffer(len);
  double t = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  mixedWire().assign(b, b + len);
  return t;
}

double mixedDecode() {
  std::vector<Mixed> out(kRecords);
  for (Mixed &r : out) {
    r.textPtr = r.text;  // decoded into the record's own storage
  }
  auto start = std::chrono::steady_clock::now();
  vtmXdr x;
  x.setBuffer(vtmXdr::decode, mixedWire().data(), mixedWire().size());
  for (Mixed &r : out) {
    mixedRecord(x, r);
  }
  double t = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (out.back().i32 != mixed().back().i32 || strcmp(out.back().text, mixed().back().text) != 0) {
    abort();
  }
  return t;
}

constexpr uint32_t kMixedBuffer = 16u << 20;

std::vector<uint8_t> &xdrBuffer() {
  static std::vector<uint8_t> b(kMixedBuffer);
  return b;
}

double mixedXdrEncode() {
  auto start = std::chrono::steady_clock::now();
  CXDR s;
  cxdrmem_create(&s, CXDR_ENCODE, xdrBuffer().data(), kMixedBuffer);
  for (MixedXdr &r : mixedXdr()) {
    if (!mixedXdrRecord(&s, &r)) {
      abort();
    }
  }
  cxdrmem_destroy(&s);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double mixedXdrDecode() {
  std::vector<MixedXdr> out(kRecords);
  for (MixedXdr &r : out) {
    memset(&r, 0, sizeof r);
    r.textPtr = r.text;
    r.valuesPtr = r.values;
    r.optional = &r.optionalValue;
  }
  auto start = std::chrono::steady_clock::now();
  CXDR s;
  cxdrmem_create(&s, CXDR_DECODE, xdrBuffer().data(), kMixedBuffer);
  for (MixedXdr &r : out) {
    if (!mixedXdrRecord(&s, &r)) {
      abort();
    }
  }
  cxdrmem_destroy(&s);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void BM_VtmXdrMixedRecords(benchmark::State &state) {
  std::vector<double> oe, od, pe, pd;
  for (auto _ : state) {
    oe.push_back(mixedEncode());
    pe.push_back(mixedXdrEncode());
    od.push_back(mixedDecode());
    pd.push_back(mixedXdrDecode());
  }
  state.counters["ours_encode"] = benchratio::median(oe);
  state.counters["peer_encode"] = benchratio::median(pe);
  state.counters["ours_decode"] = benchratio::median(od);
  state.counters["peer_decode"] = benchratio::median(pd);
}
BENCHMARK(BM_VtmXdrMixedRecords)->Iterations(15)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv) {
  if (servicesProcessInitialize(ORV_ITEM_END) != 0) {
    return 1;
  }
  int rc = benchratio::runAndReport(
      argc, argv,
      {{"BM_VtmXdrRecords/iterations:15@ours_encode", "BM_VtmXdrRecords/iterations:15@peer_encode", 0},
       {"BM_VtmXdrRecords/iterations:15@ours_decode", "BM_VtmXdrRecords/iterations:15@peer_decode", 0},
       {"BM_VtmXdrMixedRecords/iterations:15@ours_encode", "BM_VtmXdrMixedRecords/iterations:15@peer_encode",
        0},
       {"BM_VtmXdrMixedRecords/iterations:15@ours_decode", "BM_VtmXdrMixedRecords/iterations:15@peer_decode",
        0}});
  servicesProcessTerminate(0);
  return rc;
}
