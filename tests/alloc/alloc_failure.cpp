// The wrappers of the alloc test program's allocation functions, and the
// per-thread countdown that makes one of them fail.
#include "alloc/alloc_failure.h"

#include "orvane/frame.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <new>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Countdown {
  long remaining = 0;  // 0: disarmed; else the allocations left before the failing one
  long seen = 0;
  bool happened = false;
};

thread_local Countdown countdown;

// True when this allocation is the armed one.
bool failsNow() {
  Countdown &c = countdown;
  if (c.remaining == 0) {
    return false;
  }
  ++c.seen;
  if (--c.remaining == 0) {
    c.happened = true;
    return true;
  }
  return false;
}

}  // namespace

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
char *__real_strdup(const char *text);

void *__wrap_malloc(size_t size) { return failsNow() ? nullptr : __real_malloc(size); }
void *__wrap_calloc(size_t count, size_t size) { return failsNow() ? nullptr : __real_calloc(count, size); }
void *__wrap_realloc(void *block, size_t size) { return failsNow() ? nullptr : __real_realloc(block, size); }
char *__wrap_strdup(const char *text) { return failsNow() ? nullptr : __real_strdup(text); }

// The operators new, by their mangled names: the throwing forms throw
// std::bad_alloc, the nothrow forms return null.
void *__real__Znwm(size_t size);
void *__real__Znam(size_t size);
void *__wrap__Znwm(size_t size) {
  if (failsNow()) {
    throw std::bad_alloc();
  }
  return __real__Znwm(size);
}
void *__wrap__Znam(size_t size) {
  if (failsNow()) {
    throw std::bad_alloc();
  }
  return __real__Znam(size);
}
void *__real__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t &tag) noexcept;
void *__real__ZnamRKSt9nothrow_t(size_t size, const std::nothrow_t &tag) noexcept;
void *__wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t &tag) noexcept {
  return failsNow() ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}
void *__wrap__ZnamRKSt9nothrow_t(size_t size, const std::nothrow_t &tag) noexcept {
  return failsNow() ? nullptr : __real__ZnamRKSt9nothrow_t(size, tag);
}
}

namespace allocfail {

void failAt(long n) { countdown = Countdown{n, 0, false}; }

void disarm() { countdown.remaining = 0; }

bool failureHappened() { return countdown.happened; }

long allocationsSinceArmed() { return countdown.seen; }

void WithServices::SetUpTestSuite() { ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_END)); }

void WithServices::TearDownTestSuite() { servicesProcessTerminate(0); }

Unarmed::Unarmed() : remaining_(countdown.remaining) { countdown.remaining = 0; }

Unarmed::~Unarmed() { countdown.remaining = remaining_; }

Outcome forEachAllocationFailure(const std::function<bool()> &operation, long limit) {
  Outcome outcome;
  for (long n = 1; n <= limit; ++n) {
    failAt(n);
    const bool ok = operation();
    const bool happened = failureHappened();
    disarm();
    if (!happened) {
      EXPECT_TRUE(ok) << "the run with every allocation granted failed (after " << n - 1
                      << " failure points)";
      return outcome;
    }
    ++outcome.failurePoints;
    if (!ok) {
      ++outcome.reportedFailures;
    }
  }
  ADD_FAILURE() << "the operation still met an allocation after " << limit << " runs";
  return outcome;
}

}  // namespace allocfail

namespace allocfail {

ChildOutcome forEachAllocationFailureInChildren(const std::function<bool()> &operation, long limit) {
  // The child's exit code: 10 when no allocation failed and the operation
  // succeeded, 13 when it failed all the same, 11 and 12 when an allocation
  // failed and the operation succeeded or reported failure.
  ChildOutcome outcome;
  for (long n = 1; n <= limit; ++n) {
    int status = -1;
    EXPECT_EXIT(
        {
          failAt(n);
          const bool ok = operation();
          const bool happened = failureHappened();
          disarm();
          fflush(nullptr);
          _exit(!happened ? (ok ? 10 : 13) : (ok ? 11 : 12));
        },
        [&status](int s) {
          status = s;
          return (WIFEXITED(s) && WEXITSTATUS(s) >= 10 && WEXITSTATUS(s) <= 12) ||
                 (WIFSIGNALED(s) && WTERMSIG(s) == SIGABRT);
        },
        "");
    if (WIFEXITED(status) && WEXITSTATUS(status) == 10) {
      return outcome;
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 13) {
      ADD_FAILURE() << "the run with every allocation granted failed (after " << n - 1 << " failure points)";
      return outcome;
    }
    if (status == -1) {
      // In a child re-running the test this death test was another
      // child's: go on to the one this child runs. In the parent the death
      // test failed to run, which is already reported.
      continue;
    }
    ++outcome.failurePoints;
    if (WIFSIGNALED(status)) {
      ++outcome.ended;
    } else if (WEXITSTATUS(status) == 12) {
      ++outcome.reportedFailures;
    }
  }
  ADD_FAILURE() << "the operation still met an allocation after " << limit << " runs";
  return outcome;
}

}  // namespace allocfail
