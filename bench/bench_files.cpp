// The file layer against its peers, on files in one directory (the current
// one, or ORVANE_BENCH_DIR):
//   - 256 MiB written then read back in 100-byte records: orvFileWrite and
//     orvFileRead against fwrite and fread;
//   - the same in 64 KiB records against write(2) and read(2);
//   - orvFileGetc over a 64 MiB text-mode file against fgetc;
//   - a memory map read sequentially over 256 MiB against read(2);
//   - temporary files made and deleted, without a registry and with one that
//     holds 100 other files.
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "orvane/files.h"
#include "orvane/frame.h"
#include "ratio.h"

#if defined(_WIN32)
#include <io.h>
#include <windows.h>
#define ORV_BENCH_OPEN _open
#define ORV_BENCH_READ _read
#define ORV_BENCH_WRITE _write
#define ORV_BENCH_CLOSE _close
#define ORV_BENCH_SEEK _lseeki64
#define ORV_BENCH_FLAGS (_O_BINARY)
#else
#include <time.h>
#include <unistd.h>
#define ORV_BENCH_OPEN open
#define ORV_BENCH_READ read
#define ORV_BENCH_WRITE write
#define ORV_BENCH_CLOSE close
#define ORV_BENCH_SEEK lseek
#define ORV_BENCH_FLAGS 0
#endif

namespace {

constexpr size_t kBig = 256u << 20;  // 256 MiB
constexpr size_t kText = 64u << 20;  // 64 MiB
constexpr size_t kSmallRecord = 100;
constexpr size_t kLargeRecord = 64u << 10;

std::string benchDir() {
  const char *dir = getenv("ORVANE_BENCH_DIR");
  return dir != nullptr && *dir != '\0' ? std::string(dir) : std::string(".");
}

std::string benchPath(const char *name) { return benchDir() + "/" + name; }

// The calling thread's processor time (user and system) in seconds. The
// benchmarks time themselves with it: the machines they run on are shared,
// and a thread's own processor time does not count the time others take.
double threadSeconds() {
#if defined(_WIN32)
  FILETIME created, exited, kernel, user;
  GetThreadTimes(GetCurrentThread(), &created, &exited, &kernel, &user);
  auto ticks = [](const FILETIME &t) {
    return (static_cast<uint64_t>(t.dwHighDateTime) << 32 | t.dwLowDateTime) * 1e-7;
  };
  return ticks(kernel) + ticks(user);
#else
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
#endif
}

// Times a piece of work on the thread's processor clock, from construction
// to seconds().
class PassTimer {
 public:
  PassTimer() : start_(threadSeconds()) {}
  double seconds() const { return threadSeconds() - start_; }

 private:
  double start_;
};

// Writes back what earlier benchmarks left dirty, so that the kernel's
// write-back does not run during the next one.
void quiet() {
#if !defined(_WIN32)
  sync();
#endif
}

// Reads a data file once, untimed, so that every benchmark starts with it in
// the page cache (earlier benchmarks' writes may have pushed it out).
void warm(const std::string &path) {
  int fd = ORV_BENCH_OPEN(path.c_str(), O_RDONLY | ORV_BENCH_FLAGS);
  if (fd < 0) {
    return;
  }
  std::vector<char> buffer(1 << 20);
  while (ORV_BENCH_READ(fd, buffer.data(), static_cast<unsigned>(buffer.size())) > 0) {
  }
  ORV_BENCH_CLOSE(fd);
}

// The shipped NLS table beside the benchmark program, unless ORVNLSTAB
// names one.
void useShippedTable() {
  if (getenv("ORVNLSTAB") != nullptr) {
    return;
  }
  std::string table = "orvane.nls";
#if !defined(_WIN32)
  char exe[4096];
  ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  if (n > 0) {
    std::string self(exe, static_cast<size_t>(n));
    table = self.substr(0, self.rfind('/') + 1) + "orvane.nls";
  }
  setenv("ORVNLSTAB", table.c_str(), 1);
#else
  _putenv_s("ORVNLSTAB", table.c_str());
#endif
}

// The services, started for a benchmark.
struct Services {
  Services() {
    useShippedTable();
    status = servicesProcessInitialize(0);
  }
  ~Services() { servicesProcessTerminate(0); }
  bool ok(benchmark::State &state) const {
    if (status != 0) {
      state.SkipWithError(("the services did not start: " + std::to_string(status)).c_str());
    }
    return status == 0;
  }
  int status = 0;
};

std::vector<char> recordOf(size_t size) {
  std::vector<char> r(size);
  for (size_t i = 0; i < size; ++i) {
    r[i] = static_cast<char>('a' + i % 26);
  }
  return r;
}

// --- Interleaved comparisons ----------------------------------------------------------
//
// Ours and the peer do the same work on the same files, and the kernel's
// share of it (page cache, write-back, page faults) varies with what else
// the machine does. Two benchmarks run one after the other meet different
// conditions; so each comparison makes one pass of ours and one of the
// peer's per iteration, alternating which goes first, and reports the
// median pass of each as the counters "<name>_ms". The ratio is taken
// between the two medians.

// One pass: its seconds of the thread's processor time, or a negative value
// when it failed.
using Pass = double (*)(size_t record);

void interleave(benchmark::State &state, const char *oursName, Pass ours, const char *peerName, Pass peer,
                size_t record, int64_t bytesPerPass) {
  quiet();
  Services services;
  if (!services.ok(state)) {
    return;
  }
  std::vector<double> oursTimes;
  std::vector<double> peerTimes;
  bool oursFirst = true;
  for (auto _ : state) {
    double o = oursFirst ? ours(record) : 0;
    double p = peer(record);
    if (!oursFirst) {
      o = ours(record);
    }
    oursFirst = !oursFirst;
    if (o < 0 || p < 0) {
      state.SkipWithError("a pass failed");
      break;
    }
    oursTimes.push_back(o);
    peerTimes.push_back(p);
    state.SetIterationTime(o + p);
  }
  state.counters[std::string(oursName) + "_ms"] = benchratio::median(oursTimes) * 1e3;
  state.counters[std::string(peerName) + "_ms"] = benchratio::median(peerTimes) * 1e3;
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 2 * bytesPerPass);
}

// --- Records through the layer and through its peers ---------------------------------
//
// Each pass writes 256 MiB to a new file in records, reads it back, closes
// it, and deletes it untimed (so that no pass pays for the write-back of
// another's bytes).

double orvRecordsPass(size_t record) {
  std::string path = benchPath("bench_orv.dat");
  std::vector<char> out = recordOf(record);
  std::vector<char> in(record);
  PassTimer timer;
  orvFile *f = orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_CREATE, ORV_FILE_TAG_PATH, path.c_str(),
                           ORV_FILE_TAG_END);
  if (f == nullptr) {
    return -1;
  }
  for (size_t done = 0; done < kBig; done += record) {
    orvFileWrite(f, out.data(), static_cast<uint32_t>(record));
  }
  orvFileSeek(f, 0, ORV_FILE_SEEK_SET);
  size_t got = 0;
  while (size_t n = orvFileRead(f, in.data(), static_cast<uint32_t>(record))) {
    got += n;
  }
  orvFileClose(f, 0);
  double seconds = timer.seconds();
  remove(path.c_str());
  return got < kBig ? -1 : seconds;
}

double stdioRecordsPass(size_t record) {
  std::string path = benchPath("bench_stdio.dat");
  std::vector<char> out = recordOf(record);
  std::vector<char> in(record);
  PassTimer timer;
  FILE *f = fopen(path.c_str(), "w+b");
  if (f == nullptr) {
    return -1;
  }
  for (size_t done = 0; done < kBig; done += record) {
    fwrite(out.data(), 1, record, f);
  }
  fseek(f, 0, SEEK_SET);
  size_t got = 0;
  while (size_t n = fread(in.data(), 1, record, f)) {
    got += n;
  }
  fclose(f);
  double seconds = timer.seconds();
  remove(path.c_str());
  return got < kBig ? -1 : seconds;
}

double systemRecordsPass(size_t record) {
  std::string path = benchPath("bench_sys.dat");
  std::vector<char> out = recordOf(record);
  std::vector<char> in(record);
  PassTimer timer;
  int fd = ORV_BENCH_OPEN(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | ORV_BENCH_FLAGS, 0644);
  if (fd < 0) {
    return -1;
  }
  for (size_t done = 0; done < kBig; done += record) {
    if (ORV_BENCH_WRITE(fd, out.data(), static_cast<unsigned>(record)) < 0) {
      break;
    }
  }
  ORV_BENCH_SEEK(fd, 0, SEEK_SET);
  size_t got = 0;
  for (;;) {
    auto n = ORV_BENCH_READ(fd, in.data(), static_cast<unsigned>(record));
    if (n <= 0) {
      break;
    }
    got += static_cast<size_t>(n);
  }
  ORV_BENCH_CLOSE(fd);
  double seconds = timer.seconds();
  remove(path.c_str());
  return got < kBig ? -1 : seconds;
}

void BM_records100(benchmark::State &state) {
  interleave(state, "orvFile", orvRecordsPass, "stdio", stdioRecordsPass, kSmallRecord,
             static_cast<int64_t>(2 * kBig));
}

void BM_records64K(benchmark::State &state) {
  interleave(state, "orvFile", orvRecordsPass, "system", systemRecordsPass, kLargeRecord,
             static_cast<int64_t>(2 * kBig));
}

// --- Characters of a text file -----------------------------------------------------------

// Closes a data file written for the benchmarks once its bytes are on the
// disk, so that no benchmark pays for writing them back.
void settle(FILE *f) {
  fflush(f);
#if !defined(_WIN32)
  fsync(fileno(f));
#endif
  fclose(f);
}

// A 64 MiB text of lines, made once.
const std::string &textFile() {
  static const std::string path = [] {
    std::string p = benchPath("bench_text.txt");
    FILE *f = fopen(p.c_str(), "wb");
    std::string line = "The quick brown fox jumps over the lazy dog, 0123456789.\n";
    for (size_t done = 0; done < kText; done += line.size()) {
      fwrite(line.data(), 1, line.size(), f);
    }
    settle(f);
    return p;
  }();
  return path;
}

double orvGetcPass(size_t /*record*/) {
  const std::string &path = textFile();
  PassTimer timer;
  orvFile *f = orvFileOpen(ORV_FILE_READ | ORV_FILE_TEXT | ORV_FILE_MUST_EXIST, ORV_FILE_TAG_PATH,
                           path.c_str(), ORV_FILE_TAG_END);
  if (f == nullptr) {
    return -1;
  }
  uint32_t sum = 0;
  for (uint16_t c = orvFileGetc(f); c != ORV_FILE_EOF; c = orvFileGetc(f)) {
    sum += c;
  }
  benchmark::DoNotOptimize(sum);
  orvFileClose(f, 0);
  return timer.seconds();
}

double stdioFgetcPass(size_t /*record*/) {
  const std::string &path = textFile();
  PassTimer timer;
  FILE *f = fopen(path.c_str(), "r");
  if (f == nullptr) {
    return -1;
  }
  uint32_t sum = 0;
  for (int c = fgetc(f); c != EOF; c = fgetc(f)) {
    sum += static_cast<uint32_t>(c);
  }
  benchmark::DoNotOptimize(sum);
  fclose(f);
  return timer.seconds();
}

void BM_getc(benchmark::State &state) {
  warm(textFile());
  interleave(state, "orvFileGetc", orvGetcPass, "fgetc", stdioFgetcPass, 0, static_cast<int64_t>(kText));
}

// --- A memory map read sequentially -----------------------------------------------------

const std::string &bigFile() {
  static const std::string path = [] {
    std::string p = benchPath("bench_big.dat");
    FILE *f = fopen(p.c_str(), "wb");
    std::vector<char> chunk = recordOf(kLargeRecord);
    for (size_t done = 0; done < kBig; done += chunk.size()) {
      fwrite(chunk.data(), 1, chunk.size(), f);
    }
    settle(f);
    return p;
  }();
  return path;
}

uint64_t sumOf(const unsigned char *p, size_t n) {
  uint64_t sum = 0;
  for (size_t i = 0; i < n; i += 64) {
    sum += p[i];  // one touch per cache line, as a scan of records would
  }
  return sum;
}

double orvMapPass(size_t /*record*/) {
  const std::string &path = bigFile();
  PassTimer timer;
  orvFile *f =
      orvFileOpen(ORV_FILE_READ | ORV_FILE_MUST_EXIST, ORV_FILE_TAG_PATH, path.c_str(), ORV_FILE_TAG_END);
  orvFileMap *map = f != nullptr ? orvFileMemoryMapCreate(f, 0) : nullptr;
  const auto *p =
      map != nullptr ? static_cast<const unsigned char *>(orvFileMemoryMapOpen(map, 0, 0, 0, kBig)) : nullptr;
  if (p == nullptr) {
    return -1;
  }
  benchmark::DoNotOptimize(sumOf(p, kBig));
  orvFileMemoryMapDestroy(map);
  orvFileClose(f, 0);
  return timer.seconds();
}

double systemReadPass(size_t record) {
  const std::string &path = bigFile();
  std::vector<unsigned char> buffer(record);
  PassTimer timer;
  int fd = ORV_BENCH_OPEN(path.c_str(), O_RDONLY | ORV_BENCH_FLAGS);
  if (fd < 0) {
    return -1;
  }
  uint64_t sum = 0;
  for (;;) {
    auto n = ORV_BENCH_READ(fd, buffer.data(), static_cast<unsigned>(buffer.size()));
    if (n <= 0) {
      break;
    }
    sum += sumOf(buffer.data(), static_cast<size_t>(n));
  }
  benchmark::DoNotOptimize(sum);
  ORV_BENCH_CLOSE(fd);
  return timer.seconds();
}

void BM_mapRead(benchmark::State &state) {
  warm(bigFile());
  interleave(state, "orvFileMemoryMap", orvMapPass, "read", systemReadPass, kLargeRecord,
             static_cast<int64_t>(kBig));
}

// --- Temporary files ---------------------------------------------------------------------

void setVariable(const char *name, const std::string &value) {
#if defined(_WIN32)
  _putenv_s(name, value.c_str());
#else
  setenv(name, value.c_str(), 1);
#endif
}

void unsetVariable(const char *name) {
#if defined(_WIN32)
  _putenv_s(name, "");
#else
  unsetenv(name);
#endif
}

void makeAndDelete(benchmark::State &state, bool withRegistry) {
  quiet();
  std::string dir = benchDir();
  std::string registry = benchPath("bench_registry");
  setVariable("TEMPFILEDIRS", dir);
  if (withRegistry) {
    // 100 lines of other (young) files.
    std::string text;
    for (int i = 0; i < 100; ++i) {
      text += dir + "/other-process-file-" + std::to_string(i) + ";" + std::to_string(43200) + "\n";
    }
    std::vector<uint16_t> units(text.begin(), text.end());
    units.push_back(0);
    FILE *f = fopen(registry.c_str(), "wb");
    fwrite(units.data(), 2, units.size(), f);
    fclose(f);
    setVariable("TEMPFILEREGISTRY", registry);
    setVariable("TEMPFILETIMEOUT", "86400");  // the other lines stay
  }
  Services services;
  for (auto _ : state) {
    if (!services.ok(state)) {
      break;
    }
    PassTimer timer;
    orvFile *f = orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_TEMPORARY, ORV_FILE_TAG_END);
    if (f == nullptr) {
      state.SkipWithError("no temporary file");
      break;
    }
    orvFileClose(f, ORV_FILE_CLOSE_DELETE);
    state.SetIterationTime(timer.seconds());
  }
  unsetVariable("TEMPFILEDIRS");
  if (withRegistry) {
    unsetVariable("TEMPFILEREGISTRY");
    unsetVariable("TEMPFILETIMEOUT");
    remove(registry.c_str());
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void BM_tempFiles(benchmark::State &state) { makeAndDelete(state, false); }
void BM_tempFilesRegistry100(benchmark::State &state) { makeAndDelete(state, true); }

BENCHMARK(BM_records100)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(4);
BENCHMARK(BM_records64K)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(12);
BENCHMARK(BM_getc)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(12);
BENCHMARK(BM_mapRead)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(12);
BENCHMARK(BM_tempFiles)->Unit(benchmark::kMicrosecond)->UseManualTime();
BENCHMARK(BM_tempFilesRegistry100)->Unit(benchmark::kMicrosecond)->UseManualTime();

}  // namespace

int main(int argc, char **argv) {
  // The data files are made before the first run.
  textFile();
  bigFile();
  int r = benchratio::runAndReport(argc, argv,
                                   {{"BM_records100/iterations:4/manual_time@orvFile_ms",
                                     "BM_records100/iterations:4/manual_time@stdio_ms", 1.0},
                                    {"BM_records64K/iterations:12/manual_time@orvFile_ms",
                                     "BM_records64K/iterations:12/manual_time@system_ms", 1.1},
                                    {"BM_getc/iterations:12/manual_time@orvFileGetc_ms",
                                     "BM_getc/iterations:12/manual_time@fgetc_ms", 1.0},
                                    {"BM_mapRead/iterations:12/manual_time@orvFileMemoryMap_ms",
                                     "BM_mapRead/iterations:12/manual_time@read_ms", 1.0},
                                    {"BM_tempFilesRegistry100/manual_time", "BM_tempFiles/manual_time", 0}});
  remove(benchPath("bench_text.txt").c_str());
  remove(benchPath("bench_big.dat").c_str());
  return r;
}
