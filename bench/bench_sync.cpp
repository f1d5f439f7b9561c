// Synchronisation objects against their standard-library peers:
// - an uncontended mutex lock and unlock;
// - two threads ping-ponging through a condition wait and signal;
// - semaphore and event hand-offs between two threads;
// - an uncontended read lock and unlock of a read-write lock.
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <semaphore>
#include <shared_mutex>
#include <thread>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#else
#include <time.h>
#endif

#include <benchmark/benchmark.h>

#include "orvane/sync.h"
#include "orvane/threads.h"
#include "ratio.h"

namespace {

// --- Uncontended mutex ------------------------------------------------------------

// A lock and unlock costs a few nanoseconds, and a run of one benchmark
// after the other meets different conditions on a shared machine; so each
// iteration times a block of ours and a block of the peer, alternating which
// goes first, and the medians of the blocks are compared (two counters, per
// lock and unlock). Blocks time themselves on the thread's processor time,
// so that the turns other programs take on a busy machine are not counted.
constexpr int kBlock = 1 << 18;

using benchratio::threadSeconds;

double blockSeconds(void (*block)(void *), void *object) {
  double start = threadSeconds();
  block(object);
  return threadSeconds() - start;
}

// Times blocks of ours and of the peer alternately, one of each per
// iteration, and reports the median block of each as the counters
// oursCounter and peerCounter (nanoseconds per operation pair).
void interleaveBlocks(benchmark::State &state, const char *oursCounter, void (*ours)(void *),
                      void *oursObject, const char *peerCounter, void (*peer)(void *), void *peerObject) {
  std::vector<double> oursTimes;
  std::vector<double> peerTimes;
  bool oursFirst = true;
  for (auto _ : state) {
    double o = oursFirst ? blockSeconds(ours, oursObject) : 0;
    double p = blockSeconds(peer, peerObject);
    if (!oursFirst) {
      o = blockSeconds(ours, oursObject);
    }
    oursFirst = !oursFirst;
    oursTimes.push_back(o);
    peerTimes.push_back(p);
    state.SetIterationTime(o + p);
  }
  state.counters[oursCounter] = benchratio::median(oursTimes) * 1e9 / kBlock;
  state.counters[peerCounter] = benchratio::median(peerTimes) * 1e9 / kBlock;
}

void orvMutexBlock(void *object) {
  auto *m = static_cast<orvHandle *>(object);
  for (int i = 0; i < kBlock; ++i) {
    orvMutexLock(m);
    orvMutexUnlock(m);
  }
}

void stdMutexBlock(void *object) {
  auto *m = static_cast<std::mutex *>(object);
  for (int i = 0; i < kBlock; ++i) {
    m->lock();
    m->unlock();
  }
  benchmark::ClobberMemory();
}

void BM_mutexLockUnlock(benchmark::State &state) {
  orvHandle orvMutex = 0;
  orvMutexCreate(&orvMutex);
  std::mutex stdMutex;
  interleaveBlocks(state, "orvMutex_ns", orvMutexBlock, &orvMutex, "stdMutex_ns", stdMutexBlock, &stdMutex);
  orvMutexDestroy(&orvMutex);
}
BENCHMARK(BM_mutexLockUnlock)->UseManualTime()->Iterations(40);

// The same with a second thread parked in the process: neither side can
// then skip its locked instructions (a single-threaded process lets both the
// C library and this library do without them).
class ParkedThread {
 public:
  ParkedThread()
      : thread_([this] {
          std::unique_lock<std::mutex> lock(m_);
          cv_.wait(lock, [this] { return done_; });
        }) {}
  ~ParkedThread() {
    {
      std::lock_guard<std::mutex> lock(m_);
      done_ = true;
    }
    cv_.notify_one();
    thread_.join();
  }

 private:
  std::mutex m_;
  std::condition_variable cv_;
  bool done_ = false;
  std::thread thread_;
};

void BM_mutexLockUnlockThreaded(benchmark::State &state) {
  ParkedThread parked;
  orvHandle orvMutex = 0;
  orvMutexCreate(&orvMutex);
  std::mutex stdMutex;
  interleaveBlocks(state, "orvMutex_ns", orvMutexBlock, &orvMutex, "stdMutex_ns", stdMutexBlock, &stdMutex);
  orvMutexDestroy(&orvMutex);
}
BENCHMARK(BM_mutexLockUnlockThreaded)->UseManualTime()->Iterations(40);

// --- Condition ping-pong -------------------------------------------------------------
//
// One round trip per iteration: the benchmark thread hands the turn to a
// partner thread and waits until it comes back. Each direction has its own
// condition, as a condition's waiter must not be the thread that signals it.

void BM_orvConditionPingPong(benchmark::State &state) {
  orvHandle m = 0;
  orvCondition toPartner{}, toMain{};
  orvMutexCreate(&m);
  orvConditionCreate(&toPartner);
  orvConditionCreate(&toMain);
  int turn = 0;  // 1: the partner's turn; -1: stop
  std::thread partner([&] {
    orvMutexLock(&m);
    for (;;) {
      while (turn == 0) {
        orvConditionWait(&toPartner, &m);
      }
      if (turn < 0) {
        break;
      }
      turn = 0;
      orvConditionSignal(&toMain);
    }
    orvMutexUnlock(&m);
  });
  for (auto _ : state) {
    orvMutexLock(&m);
    turn = 1;
    orvConditionSignal(&toPartner);
    while (turn != 0) {
      orvConditionWait(&toMain, &m);
    }
    orvMutexUnlock(&m);
  }
  orvMutexLock(&m);
  turn = -1;
  orvConditionSignal(&toPartner);
  orvMutexUnlock(&m);
  partner.join();
  orvConditionDestroy(&toPartner);
  orvConditionDestroy(&toMain);
  orvMutexDestroy(&m);
}
BENCHMARK(BM_orvConditionPingPong)->UseRealTime();

void BM_stdConditionPingPong(benchmark::State &state) {
  std::mutex m;
  std::condition_variable toPartner, toMain;
  int turn = 0;
  std::thread partner([&] {
    std::unique_lock<std::mutex> lock(m);
    for (;;) {
      toPartner.wait(lock, [&] { return turn != 0; });
      if (turn < 0) {
        break;
      }
      turn = 0;
      toMain.notify_one();
    }
  });
  for (auto _ : state) {
    std::unique_lock<std::mutex> lock(m);
    turn = 1;
    toPartner.notify_one();
    toMain.wait(lock, [&] { return turn == 0; });
  }
  {
    std::lock_guard<std::mutex> lock(m);
    turn = -1;
    toPartner.notify_one();
  }
  partner.join();
}
BENCHMARK(BM_stdConditionPingPong)->UseRealTime();

// --- Semaphore and event hand-offs -------------------------------------------------------

void BM_orvSemaphoreHandOff(benchmark::State &state) {
  orvHandle ping = 0, pong = 0;
  orvSemaphoreCreate(&ping, 0);
  orvSemaphoreCreate(&pong, 0);
  bool stop = false;
  std::thread partner([&] {
    for (;;) {
      orvSemaphoreWait(&ping);
      if (stop) {
        break;
      }
      orvSemaphorePost(&pong);
    }
  });
  for (auto _ : state) {
    orvSemaphorePost(&ping);
    orvSemaphoreWait(&pong);
  }
  stop = true;
  orvSemaphorePost(&ping);
  partner.join();
  orvSemaphoreDestroy(&ping);
  orvSemaphoreDestroy(&pong);
}
BENCHMARK(BM_orvSemaphoreHandOff)->UseRealTime();

void BM_stdCountingSemaphoreHandOff(benchmark::State &state) {
  std::counting_semaphore<> ping(0), pong(0);
  bool stop = false;
  std::thread partner([&] {
    for (;;) {
      ping.acquire();
      if (stop) {
        break;
      }
      pong.release();
    }
  });
  for (auto _ : state) {
    ping.release();
    pong.acquire();
  }
  stop = true;
  ping.release();
  partner.join();
}
BENCHMARK(BM_stdCountingSemaphoreHandOff)->UseRealTime();

void BM_orvEventHandOff(benchmark::State &state) {
  orvHandle ping = 0, pong = 0;
  orvEventCreate(&ping, 0, 0);
  orvEventCreate(&pong, 0, 0);
  bool stop = false;
  std::thread partner([&] {
    for (;;) {
      orvEventWait(&ping);
      if (stop) {
        break;
      }
      orvEventSignal(&pong);
    }
  });
  for (auto _ : state) {
    orvEventSignal(&ping);
    orvEventWait(&pong);
  }
  stop = true;
  orvEventSignal(&ping);
  partner.join();
  orvEventDestroy(&ping);
  orvEventDestroy(&pong);
}
BENCHMARK(BM_orvEventHandOff)->UseRealTime();

// The standard peer of an auto-reset event: a flag, a mutex and a condition
// variable.
class StdEvent {
 public:
  void signal() {
    {
      std::lock_guard<std::mutex> lock(m_);
      set_ = true;
    }
    cv_.notify_one();
  }
  void wait() {
    std::unique_lock<std::mutex> lock(m_);
    cv_.wait(lock, [&] { return set_; });
    set_ = false;
  }

 private:
  std::mutex m_;
  std::condition_variable cv_;
  bool set_ = false;
};

void BM_stdConditionEventHandOff(benchmark::State &state) {
  StdEvent ping, pong;
  bool stop = false;
  std::thread partner([&] {
    for (;;) {
      ping.wait();
      if (stop) {
        break;
      }
      pong.signal();
    }
  });
  for (auto _ : state) {
    ping.signal();
    pong.wait();
  }
  stop = true;
  ping.signal();
  partner.join();
}
BENCHMARK(BM_stdConditionEventHandOff)->UseRealTime();

// --- Uncontended read lock ------------------------------------------------------------------
//
// Interleaved blocks as for the mutex, with a second thread parked in the
// process (as in any program that has readers and writers to keep apart).

void orvReadBlock(void *object) {
  auto *lock = static_cast<orvRWLock *>(object);
  for (int i = 0; i < kBlock; ++i) {
    orvRWLockReadLock(lock);
    orvRWLockUnlock(lock);
  }
}

void stdReadBlock(void *object) {
  auto *m = static_cast<std::shared_mutex *>(object);
  for (int i = 0; i < kBlock; ++i) {
    m->lock_shared();
    m->unlock_shared();
  }
  benchmark::ClobberMemory();
}

void BM_rwlockReadUnlock(benchmark::State &state) {
  ParkedThread parked;
  orvRWLock lock{};
  orvRWLockCreate(&lock);
  std::shared_mutex stdLock;
  interleaveBlocks(state, "orvRWLock_ns", orvReadBlock, &lock, "stdSharedMutex_ns", stdReadBlock, &stdLock);
  orvRWLockDestroy(&lock);
}
BENCHMARK(BM_rwlockReadUnlock)->UseManualTime()->Iterations(40);

}  // namespace

int main(int argc, char **argv) {
  orvThreadProcessInitialize();
  int result = benchratio::runAndReport(
      argc, argv,
      {
          {"BM_mutexLockUnlock/iterations:40/manual_time@orvMutex_ns",
           "BM_mutexLockUnlock/iterations:40/manual_time@stdMutex_ns", 1.15},
          {"BM_mutexLockUnlockThreaded/iterations:40/manual_time@orvMutex_ns",
           "BM_mutexLockUnlockThreaded/iterations:40/manual_time@stdMutex_ns", 1.15},
          {"BM_orvConditionPingPong/real_time", "BM_stdConditionPingPong/real_time", 1.5},
          {"BM_orvSemaphoreHandOff/real_time", "BM_stdCountingSemaphoreHandOff/real_time", 0},
          {"BM_orvEventHandOff/real_time", "BM_stdConditionEventHandOff/real_time", 0},
          {"BM_rwlockReadUnlock/iterations:40/manual_time@orvRWLock_ns",
           "BM_rwlockReadUnlock/iterations:40/manual_time@stdSharedMutex_ns", 1.3},
      });
  orvThreadProcessTerminate();
  return result;
}
