// orvHash and orvHashI against std::hash<std::string_view> over short keys.
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

}  // namespace

int main(int argc, char **argv) {
  return benchratio::runAndReport(argc, argv,
                                  {{"BM_orvHash", "BM_stdHash", 0}, {"BM_orvHashI", "BM_stdHash", 0}});
}
