// Message catalogs and message sets against their peers:
// - cmGetRawMessage by random id over a catalog of 10,000 messages, against
//   glibc catgets on a catalog of the same messages made with gencat. Ours
//   returns a heap copy that the caller frees, as the interface requires;
//   catgets hands out a pointer into its mapping. A second pair gives the
//   peer the same duty (strdup of the catgets text, then free);
// - cmOpenCatalog of a 16 MiB catalog: the open reads the file in 4096-byte
//   blocks, computes its CRC-16/ARC and checks the index; reported as bytes
//   per second of the whole open (counter open_GBps);
// - orvMessageSetPush with three parameters (101, 104, 105) and
//   orvMessageSetPop, against snprintf of the same text into a std::string.
// Each iteration times a pass of ours and a pass of the peer, alternating
// which goes first, and the medians per operation are compared (counters
// ours_ns and peer_ns).
#include <nl_types.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "orvane/catalog.h"
#include "orvane/charsets.h"
#include "orvane/msgset.h"
#include "orvane/strings.h"
#include "ratio.h"

namespace {

constexpr int kMessages = 10000;
constexpr int kLookups = 4096;

std::string dir;
std::string catalogPath;
std::string bigPath;
nl_catd peerCatalog = reinterpret_cast<nl_catd>(-1);
cmCatalog *ours = nullptr;
std::vector<uint32_t> randomIds;  // indexes 1..kMessages

using Clock = std::chrono::steady_clock;

template <typename Pass>
double seconds(Pass pass) {
  const auto start = Clock::now();
  pass();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

template <typename Ours, typename Peer>
void interleave(benchmark::State &state, int perPass, Ours oursPass, Peer peerPass) {
  std::vector<double> o;
  std::vector<double> p;
  bool oursFirst = true;
  for (auto _ : state) {
    double a = oursFirst ? seconds(oursPass) : 0;
    const double b = seconds(peerPass);
    if (!oursFirst) {
      a = seconds(oursPass);
    }
    oursFirst = !oursFirst;
    o.push_back(a);
    p.push_back(b);
    state.SetIterationTime(a + b);
  }
  state.counters["ours_ns"] = benchratio::median(o) * 1e9 / perPass;
  state.counters["peer_ns"] = benchratio::median(p) * 1e9 / perPass;
}

void put32(std::string &out, uint32_t v) {
  out.push_back(static_cast<char>(v >> 24));
  out.push_back(static_cast<char>(v >> 16));
  out.push_back(static_cast<char>(v >> 8));
  out.push_back(static_cast<char>(v));
}

uint16_t crcArc(const std::string &bytes, size_t from) {
  uint16_t crc = 0;
  for (size_t i = from; i < bytes.size(); ++i) {
    crc ^= static_cast<unsigned char>(bytes[i]);
    for (int k = 0; k < 8; ++k) {
      crc = (crc & 1) != 0 ? static_cast<uint16_t>((crc >> 1) ^ 0xA001) : static_cast<uint16_t>(crc >> 1);
    }
  }
  return crc;
}

// A catalog of the texts by id, ids ascending.
std::string catalogBytes(const std::vector<std::pair<uint32_t, std::string>> &messages) {
  std::string out;
  put32(out, 0);
  put32(out, 0);
  put32(out, 0);  // no title
  for (int v = 0; v < 2; ++v) {
    for (int k = 0; k < 4; ++k) {
      put32(out, 0);
    }
  }
  put32(out, static_cast<uint32_t>(messages.size()));
  size_t offset = out.size() + messages.size() * 8;
  for (const auto &m : messages) {
    put32(out, m.first);
    put32(out, static_cast<uint32_t>(offset));
    offset += m.second.size() * 2;
  }
  for (const auto &m : messages) {
    for (char c : m.second) {
      out.push_back(0);
      out.push_back(c);
    }
  }
  const uint32_t size = static_cast<uint32_t>(out.size());
  out[0] = static_cast<char>(size >> 24);
  out[1] = static_cast<char>(size >> 16);
  out[2] = static_cast<char>(size >> 8);
  out[3] = static_cast<char>(size);
  const uint16_t crc = crcArc(out, 8);
  out[6] = static_cast<char>(crc >> 8);
  out[7] = static_cast<char>(crc);
  return out;
}

bool writeFile(const std::string &path, const std::string &bytes) {
  FILE *f = fopen(path.c_str(), "wb");
  if (f == nullptr) {
    return false;
  }
  const bool ok = fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return fclose(f) == 0 && ok;
}

bool setUp() {
  dir = "/tmp/orvane-bench-catalog-" + std::to_string(getpid());
  mkdir(dir.c_str(), 0700);
  std::vector<std::pair<uint32_t, std::string>> messages;
  std::string source = "$set 1\n";
  std::mt19937 random(7);
  for (int i = 1; i <= kMessages; ++i) {
    std::string body = "Message number " + std::to_string(i) + " of the benchmark catalog";
    body.append(random() % 40, 'x');
    messages.emplace_back(static_cast<uint32_t>(0x100000 + i), "lead, " + body);
    source += std::to_string(i) + " " + body + "\n";
  }
  catalogPath = dir + "/bench.cat";
  if (!writeFile(catalogPath, catalogBytes(messages)) || !writeFile(dir + "/bench.msg", source)) {
    return false;
  }
  const std::string gencat = "gencat " + dir + "/bench.nlscat " + dir + "/bench.msg";
  if (system(gencat.c_str()) != 0) {
    return false;
  }
  peerCatalog = catopen((dir + "/bench.nlscat").c_str(), NL_CAT_LOCALE);
  if (peerCatalog == reinterpret_cast<nl_catd>(-1) || cmOpenCatalog(&ours, catalogPath.c_str()) != 0) {
    return false;
  }
  for (int i = 0; i < kLookups; ++i) {
    randomIds.push_back(1 + static_cast<uint32_t>(random() % kMessages));
  }
  // 16 MiB: 4096 messages of 2 KiB.
  std::vector<std::pair<uint32_t, std::string>> big;
  for (int i = 0; i < 8192; ++i) {
    big.emplace_back(static_cast<uint32_t>(0x200000 + i), std::string(1024, static_cast<char>('a' + i % 26)));
  }
  bigPath = dir + "/big.cat";
  return writeFile(bigPath, catalogBytes(big));
}

void BM_getRawMessage(benchmark::State &state) {
  size_t sum = 0;
  interleave(
      state, kLookups,
      [&] {
        for (uint32_t i : randomIds) {
          char *text = cmGetRawMessage(0x100000 + i);
          sum += static_cast<unsigned char>(text[0]);
          free(text);
        }
        benchmark::DoNotOptimize(sum);
      },
      [&] {
        for (uint32_t i : randomIds) {
          const char *text = catgets(peerCatalog, 1, static_cast<int>(i), "");
          sum += static_cast<unsigned char>(text[0]);
        }
        benchmark::DoNotOptimize(sum);
      });
}
BENCHMARK(BM_getRawMessage)->UseManualTime()->Iterations(200);

// The same lookups with the peer giving the caller its own copy, as
// cmGetRawMessage does (strdup of the catgets text, then free).
void BM_getRawMessageCopy(benchmark::State &state) {
  size_t sum = 0;
  interleave(
      state, kLookups,
      [&] {
        for (uint32_t i : randomIds) {
          char *text = cmGetRawMessage(0x100000 + i);
          sum += static_cast<unsigned char>(text[0]);
          free(text);
        }
        benchmark::DoNotOptimize(sum);
      },
      [&] {
        for (uint32_t i : randomIds) {
          char *text = strdup(catgets(peerCatalog, 1, static_cast<int>(i), ""));
          sum += static_cast<unsigned char>(text[0]);
          free(text);
        }
        benchmark::DoNotOptimize(sum);
      });
}
BENCHMARK(BM_getRawMessageCopy)->UseManualTime()->Iterations(200);

void BM_openBigCatalog(benchmark::State &state) {
  struct stat st {};
  stat(bigPath.c_str(), &st);
  std::vector<double> times;
  for (auto _ : state) {
    cmCatalog *c = nullptr;
    const double t = seconds([&] { cmOpenCatalog(&c, bigPath.c_str()); });
    cmCloseCatalog(c);
    times.push_back(t);
    state.SetIterationTime(t);
  }
  state.counters["open_GBps"] = static_cast<double>(st.st_size) / benchratio::median(times) / 1e9;
}
BENCHMARK(BM_openBigCatalog)->UseManualTime()->Iterations(20);

void BM_messageSetPush(benchmark::State &state) {
  constexpr int kPushes = 1024;
  orvMessageSet *set = orvMessageSetCreateNLS(catalogPath.c_str());
  orvString *name = orvStringCreate(ORV_CHARSET_ASCII, "stock.dat");
  size_t sum = 0;
  char buffer[256];
  interleave(
      state, kPushes,
      [&] {
        for (int i = 0; i < kPushes; ++i) {
          orvMessageSetPush(set, ORV_MSG_LITERAL, ORV_MSG_TEXT,
                            "Item \x01"
                            "1 of \x01"
                            "2 in \x01"
                            "3",
                            ORV_MSG_INT, i, ORV_MSG_STRING, name, ORV_MSG_TEXT, "shelf", ORV_MSG_END);
          orvString *s = orvMessageSetPop(set);
          sum += orvStringLength(s);
          orvStringDestroy(s);
        }
        benchmark::DoNotOptimize(sum);
      },
      [&] {
        for (int i = 0; i < kPushes; ++i) {
          const int n = snprintf(buffer, sizeof buffer, "Item %d of %s in %s", i, "stock.dat", "shelf");
          std::string s(buffer, static_cast<size_t>(n));
          sum += s.size();
          benchmark::DoNotOptimize(s);
        }
        benchmark::DoNotOptimize(sum);
      });
  orvStringDestroy(name);
  orvMessageSetDestroy(set);
}
BENCHMARK(BM_messageSetPush)->UseManualTime()->Iterations(200);

}  // namespace

int main(int argc, char **argv) {
  if (!setUp()) {
    fprintf(stderr, "bench_catalog: set-up failed (gencat and catopen are needed)\n");
    return 1;
  }
  const int rc = benchratio::runAndReport(argc, argv,
                                          {{"BM_getRawMessage/iterations:200/manual_time@ours_ns",
                                            "BM_getRawMessage/iterations:200/manual_time@peer_ns", 1.0},
                                           {"BM_getRawMessageCopy/iterations:200/manual_time@ours_ns",
                                            "BM_getRawMessageCopy/iterations:200/manual_time@peer_ns", 0},
                                           {"BM_messageSetPush/iterations:200/manual_time@ours_ns",
                                            "BM_messageSetPush/iterations:200/manual_time@peer_ns", 0}});
  cmCloseCatalog(ours);
  catclose(peerCatalog);
  return rc;
}
