// The platform layer's threads and thread-local storage, in Win32 terms.
//
// - A thread is created running or suspended (flag kCreateSuspended); a
//   suspended thread runs none of its start routine until it is resumed.
// - suspendThread and resumeThread keep a suspend count and return the
//   previous count (0xFFFFFFFF on failure). A thread may suspend itself.
// - getExitCodeThread gives kStillActive (259) while the thread runs and its
//   exit status afterwards. Waiting on a thread handle waits for its end.
// - Priorities are the logical values -2 to 2 and the extremes -15 (idle) and
//   15 (time critical).
// - TLS slots hold one pointer-sized value per thread, null until set.
//
// The thread handle is closed with pal::closeHandle; closing it does not
// stop the thread.
#ifndef ORVANE_PLATFORM_PAL_THREAD_H
#define ORVANE_PLATFORM_PAL_THREAD_H

#include <cstdint>

#include "platform/pal.h"

#if defined(__GLIBCXX__) && !defined(_WIN32)
#include <cxxabi.h>
#endif

#if defined(_WIN32)
#define PAL_THREAD_CALL __stdcall
#else
#define PAL_THREAD_CALL
#endif

namespace pal {

// A thread's start routine (the shape _beginthreadex takes). Returning from
// it ends the thread with the returned status.
using ThreadStart = unsigned(PAL_THREAD_CALL *)(void *argument);

// The exception by which the system's own thread API (pthread_exit,
// pthread_cancel) unwinds a thread to its end. A handler that catches it must
// throw it on. Where no such unwinding exists the type is never thrown.
#if defined(__GLIBCXX__) && !defined(_WIN32)
using ThreadEndUnwind = abi::__forced_unwind;
#else
struct ThreadEndUnwind {};
#endif

// Marks a function whose handler catches ThreadEndUnwind. The system's
// unwinding carries no C++ object, so binding the handler's reference is
// what the C++ runtime documents for it, though the undefined-behaviour
// sanitizer reports it as binding to null.
#if defined(__GNUC__) || defined(__clang__)
#define PAL_CATCHES_THREAD_END __attribute__((no_sanitize("null")))
#else
#define PAL_CATCHES_THREAD_END
#endif

// The exit status of a thread that ended through that unwinding, as of one
// whose start routine let an exception escape.
constexpr uint32_t kThreadEndUnwindStatus = 0xFFFFFFFFu;

// Creation flag: the thread starts suspended (CREATE_SUSPENDED).
constexpr uint32_t kCreateSuspended = 4;

// Thread priorities.
constexpr int kPriorityIdle = -15;
constexpr int kPriorityLowest = -2;
constexpr int kPriorityNormal = 0;
constexpr int kPriorityHighest = 2;
constexpr int kPriorityTimeCritical = 15;
// getThreadPriority's failure value (THREAD_PRIORITY_ERROR_RETURN).
constexpr int kPriorityErrorReturn = 0x7FFFFFFF;

// tlsAlloc's failure value (TLS_OUT_OF_INDEXES).
constexpr uint32_t kTlsOutOfIndexes = 0xFFFFFFFFu;

// suspendThread's and resumeThread's failure value.
constexpr uint32_t kSuspendFailed = 0xFFFFFFFFu;

// _beginthreadex with default security and stack size: starts start(argument)
// in a new thread, stores its identifier in *threadId (when not null) before
// returning, and returns its handle; kNullHandle with a last error on
// failure.
Handle beginThread(ThreadStart start, void *argument, uint32_t flags, uint32_t *threadId);

// _endthreadex: ends the calling thread with status. Frames between the call
// and the thread's start routine are left without running their destructors,
// as on Win32.
[[noreturn]] void endThread(uint32_t status);

uint32_t suspendThread(Handle thread);
uint32_t resumeThread(Handle thread);
bool getExitCodeThread(Handle thread, uint32_t *exitCode);
int getThreadPriority(Handle thread);
bool setThreadPriority(Handle thread, int priority);

// GetCurrentThreadId, and GetCurrentThread's pseudo handle (a constant that
// names the calling thread).
uint32_t currentThreadId();
Handle currentThread();

// Sleep(0): gives up the rest of the time slice.
void yieldThread();

uint32_t tlsAlloc();
bool tlsFree(uint32_t slot);
void *tlsGetValue(uint32_t slot);
bool tlsSetValue(uint32_t slot, void *value);

}  // namespace pal

#endif
