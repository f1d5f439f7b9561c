// Object streams: records of mixed fields encoded and decoded through
// vtmXdr, against a hand-written little-endian packer of the same fields
// (shifts into a std::vector that grows as needed, and back). Ours and the
// peer's passes are interleaved; the counters are the median seconds of
// each. Reported only, no limit.
#include <benchmark/benchmark.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <chrono>
#include <vector>

#include "orvane/frame.h"
#include "orvane/vtmxdr.h"
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

}  // namespace

int main(int argc, char **argv) {
  if (servicesProcessInitialize(ORV_ITEM_END) != 0) {
    return 1;
  }
  int rc = benchratio::runAndReport(
      argc, argv,
      {{"BM_VtmXdrRecords/iterations:15@ours_encode", "BM_VtmXdrRecords/iterations:15@peer_encode", 0},
       {"BM_VtmXdrRecords/iterations:15@ours_decode", "BM_VtmXdrRecords/iterations:15@peer_decode", 0}});
  servicesProcessTerminate(0);
  return rc;
}
