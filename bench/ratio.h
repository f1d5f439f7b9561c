// Ratio reporting for benchmarks: each program names pairs of benchmarks
// (ours, peer) and, after the run, prints ours/peer for each pair from the
// measured real time per iteration, or from two counters of one benchmark
// named "<benchmark>@<counter>" (for benchmarks that interleave ours and the
// peer's passes). A ratio below 1.0 means ours is faster.
#ifndef ORVANE_BENCH_RATIO_H
#define ORVANE_BENCH_RATIO_H

#include <string>
#include <vector>

namespace benchratio {

struct Pair {
  std::string ours;  // benchmark name (as reported, arguments included), or name@counter
  std::string peer;
  double limit;  // the ratio the pair must not exceed; 0 for none
};

// Runs every registered benchmark, then prints one line per pair:
//   ratio <ours> / <peer> = <x> (limit <y>: ok|OVER)
// Returns 0, or 1 when a limited pair went over its limit and strict is set.
int runAndReport(int argc, char **argv, const std::vector<Pair> &pairs);

// The median of a set of measurements (0 for none), for benchmarks that
// interleave their passes with the peer's and report the median of each.
double median(std::vector<double> values);

// The calling thread's processor time in seconds, for benchmarks that time
// blocks of ours and the peer's and should not count the turns other
// programs take on a busy machine.
double threadSeconds();

}  // namespace benchratio

#endif
