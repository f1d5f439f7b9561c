#include "ratio.h"

#if defined(_WIN32)
#include <windows.h>
#endif

#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <map>

#include <benchmark/benchmark.h>

namespace benchratio {

namespace {

// Records each run's time per iteration, and its counters as
// "<name>@<counter>", beside the normal console output.
class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs) {
      if (run.run_type == Run::RT_Iteration && run.iterations > 0) {
        times[run.benchmark_name()] = run.GetAdjustedRealTime();
        for (const auto &counter : run.counters) {
          times[run.benchmark_name() + "@" + counter.first] = counter.second.value;
        }
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> times;
};

}  // namespace

int runAndReport(int argc, char **argv, const std::vector<Pair> &pairs) {
  bool strict = false;
  std::vector<char *> args;
  for (int i = 0; i < argc; ++i) {
    if (strcmp(argv[i], "--strict") == 0) {
      strict = true;
    } else {
      args.push_back(argv[i]);
    }
  }
  int n = static_cast<int>(args.size());
  benchmark::Initialize(&n, args.data());
  RecordingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  int result = 0;
  printf("\n");
  for (const Pair &pair : pairs) {
    auto ours = reporter.times.find(pair.ours);
    auto peer = reporter.times.find(pair.peer);
    if (ours == reporter.times.end() || peer == reporter.times.end() || peer->second <= 0) {
      continue;  // filtered out of this run
    }
    double ratio = ours->second / peer->second;
    if (pair.limit > 0) {
      bool ok = ratio <= pair.limit;
      printf("ratio %s / %s = %.3f (limit %.2f: %s)\n", pair.ours.c_str(), pair.peer.c_str(), ratio,
             pair.limit, ok ? "ok" : "OVER");
      if (!ok && strict) {
        result = 1;
      }
    } else {
      printf("ratio %s / %s = %.3f\n", pair.ours.c_str(), pair.peer.c_str(), ratio);
    }
  }
  return result;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  size_t n = values.size();
  if (n == 0) {
    return 0;
  }
  return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

double threadSeconds() {
#if defined(_WIN32)
  FILETIME created, exited, kernel, user;
  GetThreadTimes(GetCurrentThread(), &created, &exited, &kernel, &user);
  auto ticks = [](const FILETIME &t) {
    return static_cast<double>(static_cast<uint64_t>(t.dwHighDateTime) << 32 | t.dwLowDateTime) * 1e-7;
  };
  return ticks(kernel) + ticks(user);
#else
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
#endif
}

}  // namespace benchratio
