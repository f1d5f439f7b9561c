// The control block of a thread that the POSIX platform layer created.
//
// The thread handle's table object points to it, and so does the running
// thread itself; it is shared by reference count, so a handle may be closed
// while its thread runs and a thread may end while its handle stays open.
// Control blocks are recycled, never freed, so a waiter that still holds one
// after a caller closed the handle under it reads stale but valid memory.
#ifndef ORVANE_PLATFORM_POSIX_PAL_THREAD_CONTROL_H
#define ORVANE_PLATFORM_POSIX_PAL_THREAD_CONTROL_H

#include <pthread.h>
#include <setjmp.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <mutex>

#include "platform/pal_thread.h"
#include "platform/posix/handle_table.h"

namespace pal::posix {

// The kernel id of a thread that has ended.
constexpr pid_t kKernelIdEnded = -1;

struct ThreadControl {
  // The next block of the pool's free list while this one is free.
  ThreadControl *nextFree = nullptr;
  std::atomic<uint32_t> refs{0};
  pthread_t thread{};
  bool joinable = false;
  uint32_t id = 0;
  ThreadStart start = nullptr;
  void *argument = nullptr;

  // Suspend count; the thread sleeps on it while it is above 0, and says so
  // in suspendSleeping, so that a resume only wakes it when it sleeps.
  std::atomic<uint32_t> suspendCount{0};
  std::atomic<uint32_t> suspendSleeping{0};
  // 1 once the thread has left its start routine: suspension no longer
  // stops it.
  std::atomic<uint32_t> exiting{0};
  // 1 once the thread has ended; waits on the handle sleep on it.
  std::atomic<uint32_t> exited{0};
  uint32_t exitCode = 0;

  // Logical priority, and the kernel thread id once the thread runs (the
  // priority is applied to it when the system allows). The id is
  // kKernelIdEnded once the thread has ended, so that a late priority change
  // never reaches another thread or process that reuses the number;
  // priorityLock orders that against a change in progress.
  std::atomic<int> priority{0};
  std::atomic<pid_t> kernelId{0};
  std::mutex priorityLock;

  // endThread jumps back to the start of the thread through this.
  jmp_buf exitJump;
  bool exitJumpReady = false;
};

class ThreadObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::Thread;
  explicit ThreadObject(ThreadControl *control) : KernelObject(kKind), control_(control) {}

  bool release() override;
  ThreadControl *control() const { return control_; }

 private:
  ThreadControl *control_;
};

// Waits for the thread of handle to end: 0, 258, or 0xFFFFFFFF (error 6).
uint32_t waitForThread(ThreadObject *object, Handle handle, uint32_t milliseconds);

// The signal that stops a thread suspended by another thread: the value of
// ORVANE_SUSPEND_SIGNAL when it names a usable signal, else the build's
// default. Resolved once.
int suspendSignal();

// Installs the handler of the suspension signal (once per process).
bool installSuspendHandler();

}  // namespace pal::posix

#endif
