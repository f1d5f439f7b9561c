// Trace lines of the thread and synchronisation layer.
//
// A line is written through the trace object of a thread record: normally
// the caller's (found with tracingCaller), and nothing is formatted when
// there is none. Pointers print as P ("%8" PRIxPTR), numbers as D ("%8d").
#ifndef ORVANE_THREADS_THREAD_TRACE_H
#define ORVANE_THREADS_THREAD_TRACE_H

#include <cinttypes>
#include <cstdint>

#include "common/threads/thread_internal.h"
#include "common/trace/trace_line.h"

#define ORV_P "%8" PRIxPTR
#define ORV_X "%" PRIxPTR
#define ORV_D "%8d"

// Writes one trace line through record's trace object, if it has one.
#define THREADS_TRACE(record, category, ...)               \
  do {                                                     \
    if (TraceObj *trace_ = ::threads::traceOf(record)) {   \
      ::trace::writeLine(trace_, (category), __VA_ARGS__); \
    }                                                      \
  } while (0)

namespace threads {

// Category bits (trace.h).
constexpr uint32_t kTraceThreads = ORV_TRACE_THREADS;
constexpr uint32_t kTraceKeys = ORV_TRACE_KEYS;
constexpr uint32_t kTraceMutexes = ORV_TRACE_MUTEXES;
constexpr uint32_t kTraceSemaphores = ORV_TRACE_SEMAPHORES;
constexpr uint32_t kTraceConditions = ORV_TRACE_CONDITIONS;
constexpr uint32_t kTraceEvents = ORV_TRACE_EVENTS;
constexpr uint32_t kTraceRWLocks = ORV_TRACE_RWLOCKS;
constexpr uint32_t kTraceRecursive = ORV_TRACE_RECURSIVE;
constexpr uint32_t kTraceInternal = ORV_TRACE_INTERNAL;

constexpr int kMarked = ::trace::kMarkedNameWidth;
constexpr int kSingle = ::trace::kSingleNameWidth;
constexpr const char *kStart = ::trace::kStartMarker;
constexpr const char *kEnd = ::trace::kEndMarker;

inline TraceObj *traceOf(const orvThread *record) { return record != nullptr ? record->traceObj : nullptr; }

inline uintptr_t addr(const void *p) { return reinterpret_cast<uintptr_t>(p); }

// Nested-call suppression: an operation built from other traced operations
// detaches the trace object from the record for its inner calls, unless the
// trace mask has bit 256, and attaches it again before its own end line.
class NestedCalls {
 public:
  explicit NestedCalls(orvThread *record) : record_(record) {
    if (record_ != nullptr && record_->traceObj != nullptr &&
        (traceObjGetMask(record_->traceObj) & kTraceInternal) == 0) {
      saved_ = record_->traceObj;
      record_->traceObj = nullptr;
    }
  }
  ~NestedCalls() { restore(); }
  NestedCalls(const NestedCalls &) = delete;
  NestedCalls &operator=(const NestedCalls &) = delete;

  void restore() {
    if (saved_ != nullptr) {
      record_->traceObj = saved_;
      saved_ = nullptr;
    }
  }

 private:
  orvThread *record_;
  TraceObj *saved_ = nullptr;
};

}  // namespace threads

#endif
