// Thread creation: orvThreadCreate + orvThreadJoin + orvThreadDestroy
// against std::thread creation and join, with an empty start routine.
#include <thread>

#include <benchmark/benchmark.h>

#include "orvane/threads.h"
#include "ratio.h"

namespace {

void emptyRoutine(void *argument) { benchmark::DoNotOptimize(argument); }

void BM_orvThreadCreateJoinDestroy(benchmark::State &state) {
  int argument = 0;
  for (auto _ : state) {
    orvThread *thread = nullptr;
    orvThreadCreate(emptyRoutine, &argument, 1, &thread, nullptr);
    uint32_t code = 0;
    orvThreadJoin(thread, &code);
    orvThreadDestroy(thread);
  }
}
BENCHMARK(BM_orvThreadCreateJoinDestroy)->UseRealTime();

void BM_stdThreadCreateJoin(benchmark::State &state) {
  int argument = 0;
  for (auto _ : state) {
    std::thread thread(emptyRoutine, &argument);
    thread.join();
  }
}
BENCHMARK(BM_stdThreadCreateJoin)->UseRealTime();

}  // namespace

int main(int argc, char **argv) {
  orvThreadProcessInitialize();
  int result = benchratio::runAndReport(
      argc, argv, {{"BM_orvThreadCreateJoinDestroy/real_time", "BM_stdThreadCreateJoin/real_time", 2.0}});
  orvThreadProcessTerminate();
  return result;
}
