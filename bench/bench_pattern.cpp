// Pattern matching: whole-text matches of patterns of the language against
// RE2 full matches of the same patterns in RE2's syntax, against
// std::regex_match, and (for the patterns it can express) against fnmatch;
// a pathological pattern and a 200-token pattern over a megabyte; and
// nlsSimulFA of a stored automaton against nlsMatchPattern of its pattern.
//
// Each comparison times a pass of ours and a pass of the peer in every
// iteration, alternating which goes first, and reports the medians of the
// passes as counters (ours_ns and peer_ns per pass); the ratio is printed
// from those counters.
#include <fnmatch.h>
#include <string.h>

#include <chrono>
#include <functional>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <re2/re2.h>

#include "orvane/frame.h"
#include "orvane/pattern.h"
#include "ratio.h"

namespace {

// --- Data --------------------------------------------------------------------------------

const char *const kWords[] = {"alpha", "beta",  "gamma",  "delta", "epsilon", "zeta",   "eta",    "theta",
                              "iota",  "kappa", "lambda", "mu",    "file",    "report", "status", "value"};

std::string megabyte;            // words and blanks, one "error" in the middle
std::vector<std::string> lines;  // 1,000,000 short lines
std::vector<const char *> linePtr;

void makeData() {
  std::mt19937 rng(42);
  std::uniform_int_distribution<int> word(0, sizeof kWords / sizeof kWords[0] - 1);
  bool placed = false;
  while (megabyte.size() < (1u << 20)) {
    megabyte += kWords[word(rng)];
    megabyte += ' ';
    if (!placed && megabyte.size() > (1u << 19)) {
      megabyte += "error ";
      placed = true;
    }
  }
  lines.reserve(1000000);
  std::uniform_int_distribution<int> kind(0, 9);
  std::uniform_int_distribution<int> digits(0, 99999);
  for (int i = 0; i < 1000000; ++i) {
    std::string l;
    switch (kind(rng)) {
      case 0:
        l = "error";
        break;
      case 1:
        l = std::string(kWords[word(rng)]) + " error " + kWords[word(rng)];
        break;
      case 2:
        l = std::to_string(digits(rng)) + "-" + std::to_string(digits(rng)) + "-" +
            std::to_string(digits(rng));
        break;
      case 3:
        l = std::string(kWords[word(rng)]) + ".txt";
        break;
      case 4:
        l = std::to_string(digits(rng)) + "-" + kWords[word(rng)];
        break;
      default:
        l = std::string(kWords[word(rng)]) + " " + kWords[word(rng)];
        break;
    }
    lines.push_back(l);
  }
  for (const std::string &l : lines) {
    linePtr.push_back(l.c_str());
  }
}

// Patterns of the language and their translations.
struct Translated {
  const char *name;
  const char *ours;
  const char *re2;
  const char *fnmatch;  // null when fnmatch cannot express it
};

const Translated kPatterns[] = {
    {"literal", "error", "error", nullptr},
    {"anyError", "@error@", "(?s).*error.*", nullptr},
    {"tenWords", "@(alpha|beta|gamma|delta|epsilon|zeta|eta|theta|iota|kappa)@",
     "(?s).*(alpha|beta|gamma|delta|epsilon|zeta|eta|theta|iota|kappa).*", nullptr},
    {"digitRuns", "#>-#>-#>", "[0-9]+-[0-9]+-[0-9]+", nullptr},
    {"complement", "(\\#)>", "[^0-9]+", nullptr},
    {"suffix", "@.txt", "(?s).*\\.txt", "*.txt"},
    {"secondA", "?a@", "(?s).a.*", "?a*"},
};
constexpr int kPatternCount = sizeof kPatterns / sizeof kPatterns[0];

// --- Interleaved passes ------------------------------------------------------------------

double seconds(const std::function<long()> &pass, long &sink) {
  auto start = std::chrono::steady_clock::now();
  sink += pass();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void interleave(benchmark::State &state, const std::function<long()> &ours, const std::function<long()> &peer,
                double units) {
  std::vector<double> o;
  std::vector<double> p;
  bool oursFirst = true;
  long sinkOurs = 0;
  long sinkPeer = 0;
  for (auto _ : state) {
    double a = 0;
    double b = 0;
    if (oursFirst) {
      a = seconds(ours, sinkOurs);
      b = seconds(peer, sinkPeer);
    } else {
      b = seconds(peer, sinkPeer);
      a = seconds(ours, sinkOurs);
    }
    oursFirst = !oursFirst;
    o.push_back(a);
    p.push_back(b);
    state.SetIterationTime(a + b);
  }
  if (sinkOurs != sinkPeer) {
    state.SkipWithError("ours and the peer disagree");
    return;
  }
  state.counters["ours_ns"] = benchratio::median(o) * 1e9 / units;
  state.counters["peer_ns"] = benchratio::median(p) * 1e9 / units;
}

// --- Against RE2 -------------------------------------------------------------------------

void BM_re2Megabyte(benchmark::State &state) {
  const Translated &t = kPatterns[state.range(0)];
  RE2 re(t.re2);
  interleave(
      state,
      [&] {
        return static_cast<long>(nlsMatchPattern(0, t.ours, megabyte.c_str(), nullptr, nullptr, nullptr));
      },
      [&] { return static_cast<long>(RE2::FullMatch(megabyte, re)); }, 1.0);
  state.SetLabel(t.name);
}
BENCHMARK(BM_re2Megabyte)->DenseRange(1, 4)->UseManualTime()->Iterations(20);

void BM_re2Lines(benchmark::State &state) {
  const Translated &t = kPatterns[state.range(0)];
  RE2 re(t.re2);
  interleave(
      state,
      [&] {
        long n = 0;
        for (const char *l : linePtr) {
          n += nlsMatchPattern(0, t.ours, l, nullptr, nullptr, nullptr);
        }
        return n;
      },
      [&] {
        long n = 0;
        for (const std::string &l : lines) {
          n += RE2::FullMatch(l, re) ? 1 : 0;
        }
        return n;
      },
      static_cast<double>(lines.size()));
  state.SetLabel(t.name);
}
BENCHMARK(BM_re2Lines)->DenseRange(0, kPatternCount - 1)->UseManualTime()->Iterations(6);

// --- Against std::regex_match (on the first 20,000 lines: it is slow) --------------------

void BM_stdRegexLines(benchmark::State &state) {
  const Translated &t = kPatterns[state.range(0)];
  std::regex re(std::string(t.re2).substr(strncmp(t.re2, "(?s)", 4) == 0 ? 4 : 0),
                std::regex::ECMAScript | std::regex::optimize);
  const size_t n = 20000;
  interleave(
      state,
      [&] {
        long m = 0;
        for (size_t i = 0; i < n; ++i) {
          m += nlsMatchPattern(0, t.ours, linePtr[i], nullptr, nullptr, nullptr);
        }
        return m;
      },
      [&] {
        long m = 0;
        for (size_t i = 0; i < n; ++i) {
          m += std::regex_match(lines[i], re) ? 1 : 0;
        }
        return m;
      },
      static_cast<double>(n));
  state.SetLabel(t.name);
}
BENCHMARK(BM_stdRegexLines)->DenseRange(0, kPatternCount - 1)->UseManualTime()->Iterations(6);

// --- Against fnmatch ---------------------------------------------------------------------

void BM_fnmatchLines(benchmark::State &state) {
  const Translated &t = kPatterns[state.range(0)];
  interleave(
      state,
      [&] {
        long n = 0;
        for (const char *l : linePtr) {
          n += nlsMatchPattern(0, t.ours, l, nullptr, nullptr, nullptr);
        }
        return n;
      },
      [&] {
        long n = 0;
        for (const char *l : linePtr) {
          n += fnmatch(t.fnmatch, l, 0) == 0 ? 1 : 0;
        }
        return n;
      },
      static_cast<double>(lines.size()));
  state.SetLabel(t.name);
}
BENCHMARK(BM_fnmatchLines)->DenseRange(5, 6)->UseManualTime()->Iterations(6);

// --- Linear time -------------------------------------------------------------------------

// Thirty optional atoms followed by thirty atoms: against thirty characters,
// and behind an any-string wildcard over a megabyte of the same character.
std::string pathological() {
  std::string p;
  for (int i = 0; i < 30; ++i) {
    p += "a<";
  }
  return p + std::string(30, 'a');
}

void BM_pathologicalThirty(benchmark::State &state) {
  std::string p = pathological();
  std::string text(30, 'a');
  for (auto _ : state) {
    benchmark::DoNotOptimize(nlsMatchPattern(0, p.c_str(), text.c_str(), nullptr, nullptr, nullptr));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 30);
}
BENCHMARK(BM_pathologicalThirty);

void BM_pathologicalMegabyte(benchmark::State &state) {
  std::string p = "@" + pathological();
  std::string text(static_cast<size_t>(state.range(0)), 'a');
  for (auto _ : state) {
    benchmark::DoNotOptimize(nlsMatchPattern(0, p.c_str(), text.c_str(), nullptr, nullptr, nullptr));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_pathologicalMegabyte)->Arg(1 << 19)->Arg(1 << 20)->Arg(1 << 21);

// A pattern of about 200 tokens: forty alternatives of five-letter words
// around any-string wildcards.
std::string twoHundredTokens() {
  std::string p = "@(";
  for (int i = 0; i < 40; ++i) {
    if (i > 0) {
      p += "|";
    }
    for (int k = 0; k < 4; ++k) {
      p += static_cast<char>('a' + (i * 7 + k * 3) % 26);
    }
  }
  return p + ")@";
}

void BM_twoHundredTokens(benchmark::State &state) {
  std::string p = twoHundredTokens();
  for (auto _ : state) {
    benchmark::DoNotOptimize(nlsMatchPattern(0, p.c_str(), megabyte.c_str(), nullptr, nullptr, nullptr));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(megabyte.size()));
}
BENCHMARK(BM_twoHundredTokens);

// --- Stored automaton against the pattern ------------------------------------------------

// Two patterns alternate, so that every call starts from its pattern or its
// block (the per-thread reuse of the last automaton never applies).
void BM_storedVersusPattern(benchmark::State &state) {
  const char *a = kPatterns[2].ours;
  const char *b = kPatterns[3].ours;
  int32_t length = 0;
  unsigned char *blockA = nlsBuildFA(0, a, nullptr, nullptr, nullptr, &length);
  unsigned char *blockB = nlsBuildFA(0, b, nullptr, nullptr, nullptr, &length);
  const size_t n = 20000;
  interleave(
      state,
      [&] {
        long m = 0;
        for (size_t i = 0; i < n; ++i) {
          m += nlsSimulFA((i & 1) != 0 ? blockB : blockA, nullptr, linePtr[i]);
        }
        return m;
      },
      [&] {
        long m = 0;
        for (size_t i = 0; i < n; ++i) {
          m += nlsMatchPattern(0, (i & 1) != 0 ? b : a, linePtr[i], nullptr, nullptr, nullptr);
        }
        return m;
      },
      static_cast<double>(n));
  orvMemoryFreeFunc(blockA);
  orvMemoryFreeFunc(blockB);
}
BENCHMARK(BM_storedVersusPattern)->UseManualTime()->Iterations(10);

}  // namespace

int main(int argc, char **argv) {
  makeData();
  std::vector<benchratio::Pair> pairs;
  auto counterPair = [&](const std::string &bench, double limit) {
    pairs.push_back({bench + "@ours_ns", bench + "@peer_ns", limit});
  };
  for (int i = 1; i <= 4; ++i) {
    counterPair("BM_re2Megabyte/" + std::to_string(i) + "/iterations:20/manual_time", 2.0);
  }
  for (int i = 0; i < kPatternCount; ++i) {
    counterPair("BM_re2Lines/" + std::to_string(i) + "/iterations:6/manual_time", 2.0);
    counterPair("BM_stdRegexLines/" + std::to_string(i) + "/iterations:6/manual_time", 0.1);
  }
  for (int i = 5; i <= 6; ++i) {
    counterPair("BM_fnmatchLines/" + std::to_string(i) + "/iterations:6/manual_time", 1.0);
  }
  counterPair("BM_storedVersusPattern/iterations:10/manual_time", 0);
  return benchratio::runAndReport(argc, argv, pairs);
}
