// The thread layer's heap, with a switch that lets tests make one
// allocation fail.
#include <stdlib.h>

#include <atomic>

#include "common/threads/thread_internal.h"

namespace threads {

namespace {
// Counts down to the allocation that fails; 0: none will.
std::atomic<int> failCountdown{0};

bool failThisOne() {
  int n = failCountdown.load(std::memory_order_relaxed);
  while (n > 0) {
    if (failCountdown.compare_exchange_weak(n, n - 1, std::memory_order_relaxed)) {
      return n == 1;
    }
  }
  return false;
}
}  // namespace

void *allocZeroed(size_t size) { return failThisOne() ? nullptr : calloc(1, size); }

void *allocBlock(size_t size) { return failThisOne() ? nullptr : malloc(size); }

void freeBlock(void *block) { free(block); }

namespace testing {
void failAllocation(int n) { failCountdown.store(n < 0 ? 0 : n, std::memory_order_relaxed); }
}  // namespace testing

}  // namespace threads
