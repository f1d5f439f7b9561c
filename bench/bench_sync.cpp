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

#include <benchmark/benchmark.h>

#include "orvane/sync.h"
#include "orvane/threads.h"
#include "ratio.h"

namespace {

// --- Uncontended mutex ------------------------------------------------------------

// A lock and unlock costs a few nanoseconds, and a run of one benchmark
// after the other meets different conditions on a shared machine; so each
// iteration times a block of ours and a block of the standard mutex,
// alternating which goes first, and the medians of the blocks are compared
// (the counters orvMutex_ns and stdMutex_ns, per lock and unlock).
constexpr int kMutexBlock = 1 << 18;

double blockSeconds(void (*block)(void *), void *object) {
  auto start = std::chrono::steady_clock::now();
  block(object);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void orvMutexBlock(void *object) {
  auto *m = static_cast<orvHandle *>(object);
  for (int i = 0; i < kMutexBlock; ++i) {
    orvMutexLock(m);
    orvMutexUnlock(m);
  }
}

void stdMutexBlock(void *object) {
  auto *m = static_cast<std::mutex *>(object);
  for (int i = 0; i < kMutexBlock; ++i) {
    m->lock();
    m->unlock();
  }
  benchmark::ClobberMemory();
}

void BM_mutexLockUnlock(benchmark::State &state) {
  orvHandle orvMutex = 0;
  orvMutexCreate(&orvMutex);
  std::mutex stdMutex;
  std::vector<double> ours;
  std::vector<double> peer;
  bool oursFirst = true;
  for (auto _ : state) {
    double o = oursFirst ? blockSeconds(orvMutexBlock, &orvMutex) : 0;
    double p = blockSeconds(stdMutexBlock, &stdMutex);
    if (!oursFirst) {
      o = blockSeconds(orvMutexBlock, &orvMutex);
    }
    oursFirst = !oursFirst;
    ours.push_back(o);
    peer.push_back(p);
    state.SetIterationTime(o + p);
  }
  orvMutexDestroy(&orvMutex);
  state.counters["orvMutex_ns"] = benchratio::median(ours) * 1e9 / kMutexBlock;
  state.counters["stdMutex_ns"] = benchratio::median(peer) * 1e9 / kMutexBlock;
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

void BM_orvMutexLockUnlockThreaded(benchmark::State &state) {
  ParkedThread parked;
  orvHandle m = 0;
  orvMutexCreate(&m);
  for (auto _ : state) {
    orvMutexLock(&m);
    orvMutexUnlock(&m);
  }
  orvMutexDestroy(&m);
}
BENCHMARK(BM_orvMutexLockUnlockThreaded);

void BM_stdMutexLockUnlockThreaded(benchmark::State &state) {
  ParkedThread parked;
  std::mutex m;
  for (auto _ : state) {
    m.lock();
    m.unlock();
  }
}
BENCHMARK(BM_stdMutexLockUnlockThreaded);

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

void BM_orvRWLockReadUnlock(benchmark::State &state) {
  orvRWLock lock{};
  orvRWLockCreate(&lock);
  for (auto _ : state) {
    orvRWLockReadLock(&lock);
    orvRWLockUnlock(&lock);
  }
  orvRWLockDestroy(&lock);
}
BENCHMARK(BM_orvRWLockReadUnlock);

void BM_stdSharedMutexReadUnlock(benchmark::State &state) {
  std::shared_mutex m;
  for (auto _ : state) {
    m.lock_shared();
    m.unlock_shared();
  }
}
BENCHMARK(BM_stdSharedMutexReadUnlock);

}  // namespace

int main(int argc, char **argv) {
  orvThreadProcessInitialize();
  int result = benchratio::runAndReport(
      argc, argv,
      {
          {"BM_mutexLockUnlock/iterations:40/manual_time@orvMutex_ns",
           "BM_mutexLockUnlock/iterations:40/manual_time@stdMutex_ns", 1.5},
          {"BM_orvMutexLockUnlockThreaded", "BM_stdMutexLockUnlockThreaded", 0},
          {"BM_orvConditionPingPong/real_time", "BM_stdConditionPingPong/real_time", 1.5},
          {"BM_orvSemaphoreHandOff/real_time", "BM_stdCountingSemaphoreHandOff/real_time", 0},
          {"BM_orvEventHandOff/real_time", "BM_stdConditionEventHandOff/real_time", 0},
          {"BM_orvRWLockReadUnlock", "BM_stdSharedMutexReadUnlock", 0},
      });
  orvThreadProcessTerminate();
  return result;
}
