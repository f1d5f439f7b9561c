// Heap blocks of the language-support and string layers, with the failure
// switch of the white-box tests.
#include "common/nls/nls_alloc.h"

#include <stdlib.h>
#include <string.h>

#include <atomic>

namespace nls {

namespace {

// Allocations left before the switch fails them; negative: off.
std::atomic<long> allocationsLeft{-1};

bool allocationMayProceed() {
  long left = allocationsLeft.load(std::memory_order_relaxed);
  while (left >= 0) {
    if (left == 0) {
      return false;
    }
    if (allocationsLeft.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) {
      return true;
    }
  }
  return true;
}

}  // namespace

void *allocate(size_t size) { return allocationMayProceed() ? malloc(size) : nullptr; }

void *reallocate(void *block, size_t size) { return allocationMayProceed() ? realloc(block, size) : nullptr; }

char *duplicate(const char *text) {
  size_t size = strlen(text) + 1;
  char *copy = static_cast<char *>(allocate(size));
  if (copy != nullptr) {
    memcpy(copy, text, size);
  }
  return copy;
}

namespace testing {
void failAllocationsAfter(long count) {
  allocationsLeft.store(count < 0 ? -1 : count, std::memory_order_relaxed);
}
}  // namespace testing

}  // namespace nls
