// Allocation-failure harness. The alloc test program is linked with the
// linker's symbol wrapping for malloc, calloc, realloc, strdup and the
// operators new: every allocation that the library's own code (and the test
// code) asks for goes through the wrappers in alloc_failure.cpp, while the
// C and C++ runtimes' internal allocations do not. A test arms the calling
// thread so that its N-th allocation from then on fails (malloc, calloc,
// realloc and strdup return null; new throws std::bad_alloc; the nothrow
// forms of new return null). Other threads are never affected.
#ifndef ORVANE_TESTS_ALLOC_FAILURE_H
#define ORVANE_TESTS_ALLOC_FAILURE_H

#include <functional>

#include <gtest/gtest.h>

namespace allocfail {

// A test suite that runs with the services initialised (nothing armed).
class WithServices : public ::testing::Test {
 protected:
  static void SetUpTestSuite();
  static void TearDownTestSuite();
};

// The calling thread's n-th allocation from now fails (n >= 1); the ones
// before it and after it succeed.
void failAt(long n);
// Nothing fails any more on this thread.
void disarm();
// Whether the armed failure has happened since failAt.
bool failureHappened();
// Allocations the calling thread asked for since failAt (the failed one
// included).
long allocationsSinceArmed();

// While it lives, the calling thread's allocations are neither counted nor
// failed: for checks inside an operation that allocate themselves.
class Unarmed {
 public:
  Unarmed();
  ~Unarmed();
  Unarmed(const Unarmed &) = delete;
  Unarmed &operator=(const Unarmed &) = delete;

 private:
  long remaining_;
};

// For n = 1, 2, ... runs operation with the n-th allocation failing, until
// a run in which the armed failure does not happen (the operation needs
// fewer than n allocations): that last run must succeed, and it is the
// retry that follows every failure. `operation` returns true when the
// operation reported success; when an allocation failed it may either
// report failure (and check inside that the result is the documented one,
// and that its inputs are unchanged or usable) or succeed without the
// allocation. Returns the number of runs in which the armed failure
// happened, and how many of those reported failure.
struct Outcome {
  long failurePoints = 0;  // runs in which an allocation failed
  long reportedFailures = 0;
};
Outcome forEachAllocationFailure(const std::function<bool()> &operation, long limit = 5000);

// The same for an operation of which some allocation failures end the
// process by design (an assertion, or abort): each failure point runs in a
// child process (a death test). Outcome::reportedFailures counts the
// children in which the operation reported failure; `ended` those that the
// process end took (SIGABRT, the assertion's end).
struct ChildOutcome {
  long failurePoints = 0;
  long reportedFailures = 0;
  long ended = 0;
};
ChildOutcome forEachAllocationFailureInChildren(const std::function<bool()> &operation, long limit = 200);

// The usual expectation: the operation allocates, and at least one failed
// allocation is reported as the operation's failure.
#define EXPECT_ALLOCATION_FAILURES_REPORTED(outcome)   \
  do {                                                 \
    const ::allocfail::Outcome o_ = (outcome);         \
    EXPECT_GT(o_.failurePoints, 0) << "no allocation"; \
    EXPECT_GT(o_.reportedFailures, 0);                 \
  } while (0)

// For operations that may need no allocation at all on this platform
// (objects kept for reuse, locks that live in the caller's storage): every
// failure that does happen must be reported or absorbed, which
// forEachAllocationFailure checks; the count is not required.
#define EXPECT_ALLOCATION_FAILURES_HANDLED(outcome)   \
  do {                                                \
    const ::allocfail::Outcome o_ = (outcome);        \
    EXPECT_LE(o_.reportedFailures, o_.failurePoints); \
  } while (0)

}  // namespace allocfail

#endif
