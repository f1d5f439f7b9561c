// Dates and text utilities:
// - nlsFormatDateTime with "YYYY-MM-DD HH:MN:SS.MS" against strftime of
//   "%Y-%m-%d %H:%M:%S" plus the milliseconds by snprintf, for the same
//   dates (each side gets its input ready-made: packed integers for ours, a
//   struct tm for the peer). Blocks of ours and of the peer alternate, and
//   the medians of the blocks are compared (ratio at most 1.0);
// - nlsChksum and nlsEncryptN over 64 MiB against a budget of 2 GB/s, both
//   checked bit for bit against a plain byte loop before they are timed;
// - nlsSoundex over 100,000 surnames, reported in names per second.
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "orvane/nls.h"
#include "ratio.h"

namespace {

// --- Dates ---------------------------------------------------------------------------------

constexpr int kDates = 4096;

struct DateSample {
  int32_t date;
  int32_t time;
  struct tm tm;
  int millisecond;
};

std::vector<DateSample> samples;

void makeDates() {
  uint32_t x = 99;
  for (int i = 0; i < kDates; ++i) {
    x = x * 1103515245u + 12345u;
    DateSample s{};
    const int year = 1970 + static_cast<int>((x >> 8) % 130);
    const int month = 1 + static_cast<int>((x >> 4) % 12);
    const int day = 1 + static_cast<int>((x >> 12) % 28);
    x = x * 1103515245u + 12345u;
    const int hour = static_cast<int>((x >> 8) % 24);
    const int minute = static_cast<int>((x >> 14) % 60);
    const int second = static_cast<int>((x >> 20) % 60);
    const int ms = static_cast<int>((x >> 4) % 1000);
    s.date = year * 10000 + month * 100 + day;
    s.time = hour * 10000000 + minute * 100000 + second * 1000 + ms;
    s.tm.tm_year = year - 1900;
    s.tm.tm_mon = month - 1;
    s.tm.tm_mday = day;
    s.tm.tm_hour = hour;
    s.tm.tm_min = minute;
    s.tm.tm_sec = second;
    s.millisecond = ms;
    samples.push_back(s);
  }
}

char dateOut[64];

double oursBlock() {
  auto start = std::chrono::steady_clock::now();
  for (const DateSample &s : samples) {
    nlsFormatDateTime(dateOut, sizeof dateOut, s.date, s.time, 1, 0, "YYYY-MM-DD HH:MN:SS.MS", nullptr);
    benchmark::DoNotOptimize(dateOut);
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double peerBlock() {
  auto start = std::chrono::steady_clock::now();
  for (const DateSample &s : samples) {
    const size_t n = strftime(dateOut, sizeof dateOut, "%Y-%m-%d %H:%M:%S", &s.tm);
    snprintf(dateOut + n, sizeof dateOut - n, ".%03d", s.millisecond);
    benchmark::DoNotOptimize(dateOut);
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void BM_formatDateTime(benchmark::State &state) {
  std::vector<double> ours;
  std::vector<double> peer;
  bool oursFirst = true;
  for (auto _ : state) {
    double o = oursFirst ? oursBlock() : 0;
    const double p = peerBlock();
    if (!oursFirst) {
      o = oursBlock();
    }
    oursFirst = !oursFirst;
    ours.push_back(o);
    peer.push_back(p);
    state.SetIterationTime(o + p);
  }
  state.counters["nlsFormatDateTime_ns"] = benchratio::median(ours) * 1e9 / kDates;
  state.counters["strftime_snprintf_ns"] = benchratio::median(peer) * 1e9 / kDates;
}
BENCHMARK(BM_formatDateTime)->UseManualTime()->Iterations(200);

// --- Checksum and scrambling ------------------------------------------------------------------

constexpr size_t kBulkBytes = 64u << 20;
std::vector<char> bulk;

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

void BM_nlsChksum(benchmark::State &state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(nlsChksum(bulk.data(), static_cast<int>(bulk.size())));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bulk.size()));
}
BENCHMARK(BM_nlsChksum)->Unit(benchmark::kMillisecond)->MinTime(1.0);

const char kKey[] = "a key of 24 bytes, fixed";

void BM_nlsEncryptN(benchmark::State &state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(nlsEncryptN(bulk.data(), static_cast<int>(bulk.size()), kKey, 0));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bulk.size()));
}
BENCHMARK(BM_nlsEncryptN)->Unit(benchmark::kMillisecond)->MinTime(1.0);

// The budget: the time 64 MiB take at 2 GB/s.
void BM_budget2GBps(benchmark::State &state) {
  const double seconds = static_cast<double>(kBulkBytes) / 2e9;
  for (auto _ : state) {
    state.SetIterationTime(seconds);
  }
}
BENCHMARK(BM_budget2GBps)->UseManualTime()->Unit(benchmark::kMillisecond);

// --- Phonetic keys --------------------------------------------------------------------------

constexpr size_t kSurnames = 100000;
std::vector<std::string> surnames;

void makeSurnames() {
  const char *starts[] = {"Ab",   "Bar", "Car", "Dun", "Ell", "Fitz", "Gar", "Hal",
                          "Ing",  "Jo",  "Kel", "Lam", "Mac", "Nor",  "O",   "Pe",
                          "Quin", "Ro",  "Sch", "Tay", "Ul",  "Van",  "Wil", "Yor"};
  const char *middles[] = {"", "a", "e", "i", "o", "u", "er", "an", "in", "ol", "ow", "ck", "tt", "ss", "rr"};
  const char *ends[] = {"",     "s",    "son", "man", "er",  "ley", "ton",
                        "ford", "well", "ez",  "ini", "ski", "berg"};
  uint32_t x = 5;
  for (size_t i = 0; i < kSurnames; ++i) {
    x = x * 1103515245u + 12345u;
    std::string name = starts[(x >> 8) % (sizeof starts / sizeof *starts)];
    name += middles[(x >> 14) % (sizeof middles / sizeof *middles)];
    name += ends[(x >> 20) % (sizeof ends / sizeof *ends)];
    surnames.push_back(name);
  }
}

void BM_nlsSoundex(benchmark::State &state) {
  char key[4];
  for (auto _ : state) {
    for (const std::string &name : surnames) {
      nlsSoundex(name.c_str(), key, sizeof key);
      benchmark::DoNotOptimize(key);
    }
  }
  state.counters["names_per_s"] =
      benchmark::Counter(static_cast<double>(state.iterations() * kSurnames), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_nlsSoundex)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv) {
  makeDates();
  makeSurnames();
  // The same text from both sides before anything is timed.
  char peer[64];
  for (const DateSample &s : samples) {
    nlsFormatDateTime(dateOut, sizeof dateOut, s.date, s.time, 1, 0, "YYYY-MM-DD HH:MN:SS.MS", nullptr);
    const size_t n = strftime(peer, sizeof peer, "%Y-%m-%d %H:%M:%S", &s.tm);
    snprintf(peer + n, sizeof peer - n, ".%03d", s.millisecond);
    if (strcmp(dateOut, peer) != 0) {
      fprintf(stderr, "dates differ: %s against %s\n", dateOut, peer);
      return 1;
    }
  }
  bulk.resize(kBulkBytes);
  uint32_t x = 1;
  for (char &c : bulk) {
    x = x * 1103515245u + 12345u;
    c = static_cast<char>(x >> 16);
  }
  const uint16_t expect = referenceChecksum(bulk.data(), bulk.size());
  const uint16_t got = nlsChksum(bulk.data(), static_cast<int>(bulk.size()));
  if (got != expect) {
    fprintf(stderr, "nlsChksum is not bit-exact: %04x against %04x\n", got, expect);
    return 1;
  }
  std::vector<char> scrambled = bulk;
  nlsEncryptN(scrambled.data(), static_cast<int>(scrambled.size()), kKey, 0);
  const size_t keyLength = strlen(kKey);
  for (size_t i = 0; i < bulk.size(); ++i) {
    if (static_cast<char>(bulk[i] ^ kKey[i % keyLength]) != scrambled[i]) {
      fprintf(stderr, "nlsEncryptN is not bit-exact at byte %zu\n", i);
      return 1;
    }
  }
  printf("dates: %d; checksum of 64 MiB %04x (bit-exact); scrambling bit-exact; %zu surnames\n", kDates, got,
         surnames.size());
  return benchratio::runAndReport(argc, argv,
                                  {{"BM_formatDateTime/iterations:200/manual_time@nlsFormatDateTime_ns",
                                    "BM_formatDateTime/iterations:200/manual_time@strftime_snprintf_ns", 1.0},
                                   {"BM_nlsChksum/min_time:1.000", "BM_budget2GBps/manual_time", 1.0},
                                   {"BM_nlsEncryptN/min_time:1.000", "BM_budget2GBps/manual_time", 1.0}});
}
