// Numeric formatting against the C library, on the same numbers:
// - nlsNumericFormat through the picture "999,999,999.99" (placeholder 9,
//   thousands separators, a decimal character and a floating "$"), the
//   digits made by nlsFtoa, against snprintf("%'.2f") in a glibc locale with
//   grouping (en_US.UTF-8, made with localedef when it is missing; C.UTF-8,
//   which does not group, only when that fails, and then said so);
// - nlsR8ToPortFloat at width 26 against snprintf("%.18e");
// - nlsPortFloatToR8 of that text against strtod of the "%.18e" text.
// Each iteration times a pass of ours and a pass of the peer over the same
// values, alternating which goes first, and the medians per value are
// compared (counters ours_ns and peer_ns).
#include <locale.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <chrono>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_nls_setup.h"
#include "orvane/nls.h"
#include "ratio.h"

namespace {

constexpr int kValues = 4096;
constexpr int kPortWidth = 26;

std::vector<double> amounts;  // in cents, -9,999,999.99 to 9,999,999.99: "-$" fits the picture
std::vector<double> doubles;  // finite doubles whose exponent fits two digits
std::vector<std::string> portTexts;
std::vector<std::string> printfTexts;
std::string picture;  // the record of "999,999,999.99"
bool grouping = false;

using Clock = std::chrono::steady_clock;

template <typename Pass>
double seconds(Pass pass) {
  const auto start = Clock::now();
  pass();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Times ours and the peer's passes alternately; reports their medians per
// value.
template <typename Ours, typename Peer>
void interleave(benchmark::State &state, Ours ours, Peer peer) {
  std::vector<double> o;
  std::vector<double> p;
  bool oursFirst = true;
  for (auto _ : state) {
    double a = oursFirst ? seconds(ours) : 0;
    const double b = seconds(peer);
    if (!oursFirst) {
      a = seconds(ours);
    }
    oursFirst = !oursFirst;
    o.push_back(a);
    p.push_back(b);
    state.SetIterationTime(a + b);
  }
  state.counters["ours_ns"] = benchratio::median(o) * 1e9 / kValues;
  state.counters["peer_ns"] = benchratio::median(p) * 1e9 / kValues;
}

void BM_numericFormat(benchmark::State &state) {
  char digits[64];
  char out[64];
  size_t sum = 0;
  interleave(
      state,
      [&] {
        for (double cents : amounts) {
          nlsFtoa(digits, sizeof digits, cents, 0, 0);
          int length = static_cast<int>(strlen(digits));
          nlsNumericFormat(digits, &length, 0, 4, picture.data(), static_cast<int>(picture.size()), '9');
          sum += static_cast<unsigned char>(digits[length - 1]);
        }
        benchmark::DoNotOptimize(sum);
      },
      [&] {
        for (double cents : amounts) {
          const int n = snprintf(out, sizeof out, "%'.2f", cents / 100);
          sum += static_cast<unsigned char>(out[n - 1]);
        }
        benchmark::DoNotOptimize(sum);
      });
}
BENCHMARK(BM_numericFormat)->UseManualTime()->Iterations(60);

void BM_r8ToPortFloat(benchmark::State &state) {
  char out[64];
  size_t sum = 0;
  interleave(
      state,
      [&] {
        int error = 0;
        for (double d : doubles) {
          nlsR8ToPortFloat(d, out, kPortWidth, &error);
          sum += static_cast<unsigned char>(out[20]);
        }
        benchmark::DoNotOptimize(sum);
      },
      [&] {
        for (double d : doubles) {
          snprintf(out, sizeof out, "%.18e", d);
          sum += static_cast<unsigned char>(out[20]);
        }
        benchmark::DoNotOptimize(sum);
      });
}
BENCHMARK(BM_r8ToPortFloat)->UseManualTime()->Iterations(60);

void BM_portFloatToR8(benchmark::State &state) {
  double sum = 0;
  interleave(
      state,
      [&] {
        int error = 0;
        for (const std::string &t : portTexts) {
          sum += nlsPortFloatToR8(t.data(), kPortWidth, &error);
        }
        benchmark::DoNotOptimize(sum);
      },
      [&] {
        for (const std::string &t : printfTexts) {
          sum += strtod(t.c_str(), nullptr);
        }
        benchmark::DoNotOptimize(sum);
      });
}
BENCHMARK(BM_portFloatToR8)->UseManualTime()->Iterations(60);

void makeValues() {
  std::mt19937_64 random(20261123);
  std::uniform_int_distribution<int64_t> cents(0, 999999999);
  std::uniform_int_distribution<int> sign(0, 9);
  for (int i = 0; i < kValues; ++i) {
    const double c = static_cast<double>(cents(random) >> (i % 27));  // every magnitude
    amounts.push_back(sign(random) == 0 && c != 0 ? -c : c);          // no negative zero
  }
  std::uniform_int_distribution<uint64_t> bits;
  while (doubles.size() < static_cast<size_t>(kValues)) {
    uint64_t b = bits(random);
    b = (b & 0x800FFFFFFFFFFFFFull) | (1023 - 320 + (b >> 52 & 0x7FF) % 640) << 52;
    double d;
    memcpy(&d, &b, sizeof d);
    if (fabs(d) >= 1e-99 && fabs(d) < 1e98) {
      doubles.push_back(d);
    }
  }
  for (double d : doubles) {
    char text[64];
    int error = 0;
    nlsR8ToPortFloat(d, text, kPortWidth, &error);
    portTexts.emplace_back(text, kPortWidth);
    snprintf(text, sizeof text, "%.18e", d);
    printfTexts.emplace_back(text);
  }
  // Fill space, floating "$", leading "-", no trailing marker.
  picture = std::string(" $-  ") + "999,999,999.99";
}

}  // namespace

int main(int argc, char **argv) {
  if (!nlsbench::initLanguageSupport("enu")) {
    return 1;
  }
  // The peer's locale is set after the library's start-up, which sets its
  // own.
  grouping = nlsbench::useGlibcLocale(LC_NUMERIC, "en_US.UTF-8", "en_US", "UTF-8");
  if (!grouping) {
    setlocale(LC_NUMERIC, "C.UTF-8");
  }
  makeValues();
  // Both sides write the same text for every amount, but for the "$" and
  // the leading spaces of the fixed-width field.
  int differ = 0;
  char sample[64] = "";
  std::string ours;
  for (double cents : amounts) {
    char digits[64];
    nlsFtoa(digits, sizeof digits, cents, 0, 0);
    int length = static_cast<int>(strlen(digits));
    if (nlsNumericFormat(digits, &length, 0, 4, picture.data(), static_cast<int>(picture.size()), '9') != 1) {
      ++differ;
      continue;
    }
    ours.clear();
    for (int i = 0; i < length; ++i) {
      if (digits[i] != ' ' && digits[i] != '$') {
        ours += digits[i];
      }
    }
    snprintf(sample, sizeof sample, "%'.2f", cents / 100);
    if (ours != sample) {
      fprintf(stderr, "differs: ours \"%s\", peer \"%s\"\n", ours.c_str(), sample);
      ++differ;
    }
  }
  printf("peer locale LC_NUMERIC %s (%s): \"%s\"; ours \"%s\"; %d of %d amounts differ\n",
         setlocale(LC_NUMERIC, nullptr),
         grouping ? "groups thousands" : "NO GROUPING: the peer does less work", sample, ours.c_str(), differ,
         kValues);
  int rc = benchratio::runAndReport(argc, argv,
                                    {{"BM_numericFormat/iterations:60/manual_time@ours_ns",
                                      "BM_numericFormat/iterations:60/manual_time@peer_ns", 1.0},
                                     {"BM_r8ToPortFloat/iterations:60/manual_time@ours_ns",
                                      "BM_r8ToPortFloat/iterations:60/manual_time@peer_ns", 1.0},
                                     {"BM_portFloatToR8/iterations:60/manual_time@ours_ns",
                                      "BM_portFloatToR8/iterations:60/manual_time@peer_ns", 1.0}});
  nlsTerminate();
  return rc;
}
