// orvHash and orvHashI against std::hash<std::string_view> over short keys.
#if defined(_WIN32)
#include <windows.h>
#else
#include <time.h>
#endif

#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

#include "orvane/frame.h"
#include "ratio.h"

namespace {

// Identifier-like keys of 4 to 24 bytes, the kind a symbol table hashes.
const std::vector<std::string> &keys() {
  static const std::vector<std::string> k = [] {
    std::vector<std::string> v;
    const char *stems[] = {"orvMutexLock", "TEMPFILEDIRS", "ORVNLSTAB",       "id",
                           "key_",         "Services",     "applicationName", "x",
                           "Temporary",    "sLanguage",    "winnt",           "configuration"};
    for (int i = 0; i < 256; ++i) {
      std::string s = stems[i % 12];
      s += std::to_string(i * 7919 % 1000);
      v.push_back(s);
    }
    return v;
  }();
  return k;
}

void BM_orvHash(benchmark::State &state) {
  const auto &k = keys();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(orvHash(k[i++ & 255].c_str()));
  }
}
BENCHMARK(BM_orvHash);

void BM_orvHashI(benchmark::State &state) {
  const auto &k = keys();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(orvHashI(k[i++ & 255].c_str()));
  }
}
BENCHMARK(BM_orvHashI);

void BM_stdHash(benchmark::State &state) {
  const auto &k = keys();
  std::hash<std::string_view> h;
  size_t i = 0;
  for (auto _ : state) {
    // The peer gets the same input: a NUL-terminated text whose length it
    // must find.
    benchmark::DoNotOptimize(h(std::string_view(k[i++ & 255].c_str())));
  }
}
BENCHMARK(BM_stdHash);

// orvHashI and std::hash interleaved: each iteration times a block of each
// over the 256 keys, alternating which goes first, on the thread's processor
// time, and the median blocks are compared (counters orvHashI_ns and
// stdHash_ns, per key). A busy machine then moves both sides alike.
using benchratio::threadSeconds;

constexpr int kRounds = 2048;  // of the 256 keys per block

double orvHashIBlock() {
  const auto &k = keys();
  double start = threadSeconds();
  for (int r = 0; r < kRounds; ++r) {
    for (const std::string &key : k) {
      benchmark::DoNotOptimize(orvHashI(key.c_str()));
    }
  }
  return threadSeconds() - start;
}

double stdHashBlock() {
  const auto &k = keys();
  std::hash<std::string_view> h;
  double start = threadSeconds();
  for (int r = 0; r < kRounds; ++r) {
    for (const std::string &key : k) {
      benchmark::DoNotOptimize(h(std::string_view(key.c_str())));
    }
  }
  return threadSeconds() - start;
}

void BM_hashIInterleaved(benchmark::State &state) {
  std::vector<double> ours;
  std::vector<double> peer;
  bool oursFirst = true;
  for (auto _ : state) {
    double o = oursFirst ? orvHashIBlock() : 0;
    double p = stdHashBlock();
    if (!oursFirst) {
      o = orvHashIBlock();
    }
    oursFirst = !oursFirst;
    ours.push_back(o);
    peer.push_back(p);
    state.SetIterationTime(o + p);
  }
  const double perBlock = 1e9 / (kRounds * 256.0);
  state.counters["orvHashI_ns"] = benchratio::median(ours) * perBlock;
  state.counters["stdHash_ns"] = benchratio::median(peer) * perBlock;
}
BENCHMARK(BM_hashIInterleaved)->UseManualTime()->Iterations(40);

}  // namespace

int main(int argc, char **argv) {
  return benchratio::runAndReport(argc, argv,
                                  {{"BM_orvHash", "BM_stdHash", 0},
                                   {"BM_orvHashI", "BM_stdHash", 0},
                                   {"BM_hashIInterleaved/iterations:40/manual_time@orvHashI_ns",
                                    "BM_hashIInterleaved/iterations:40/manual_time@stdHash_ns", 1.2}});
}
