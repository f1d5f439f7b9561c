// A trace writer that records every line, and helpers that build the exact
// lines the thread and synchronisation layer writes.
#ifndef ORVANE_TESTS_THREADS_TRACE_RECORDER_H
#define ORVANE_TESTS_THREADS_TRACE_RECORDER_H

#include <inttypes.h>
#include <stdio.h>

#include <mutex>
#include <string>
#include <vector>

#include "orvane/trace.h"

namespace threadtest {

struct TraceRecord {
  uint32_t category;
  std::string text;
};

// Records the lines of the trace objects that write to it. Two recorders
// exist, so that two threads' lines can be told apart.
class TraceRecorder {
 public:
  static TraceRecorder &instance(int which = 0) {
    static TraceRecorder recorders[2];
    return recorders[which];
  }
  static uint32_t writer(uint32_t categories, char *text, uint32_t length) {
    return instance(0).take(categories, text, length);
  }
  static uint32_t secondWriter(uint32_t categories, char *text, uint32_t length) {
    return instance(1).take(categories, text, length);
  }
  uint32_t take(uint32_t categories, const char *text, uint32_t length) {
    if (categories == 0 && text == nullptr && length == 0) {
      return ORV_TRACE_MAGIC;
    }
    std::lock_guard<std::mutex> guard(lock_);
    records_.push_back(TraceRecord{categories, std::string(text, length)});
    return 0;
  }
  void clear() {
    std::lock_guard<std::mutex> guard(lock_);
    records_.clear();
  }
  std::vector<std::string> lines() {
    std::lock_guard<std::mutex> guard(lock_);
    std::vector<std::string> out;
    for (const auto &r : records_) {
      out.push_back(r.text);
    }
    return out;
  }
  std::vector<TraceRecord> records() {
    std::lock_guard<std::mutex> guard(lock_);
    return records_;
  }

 private:
  std::mutex lock_;
  std::vector<TraceRecord> records_;
};

// A trace object with its own buffer, writing to the recorder.
inline TraceObj *newRecordingTrace(uint32_t mask, int which = 0) {
  return traceObjCreate(0, mask, 0, which == 0 ? TraceRecorder::writer : TraceRecorder::secondWriter);
}

// "%8" PRIxPTR of a pointer, "%8d" of a number, "%x" without width.
inline std::string p8(const void *p) {
  char b[32];
  snprintf(b, sizeof b, "%8" PRIxPTR, reinterpret_cast<uintptr_t>(p));
  return b;
}
inline std::string px(const void *p) {
  char b[32];
  snprintf(b, sizeof b, "%" PRIxPTR, reinterpret_cast<uintptr_t>(p));
  return b;
}
inline std::string d8(long n) {
  char b[32];
  snprintf(b, sizeof b, "%8ld", n);
  return b;
}
// The name column: start/end lines pad to 25 and add the marker; single
// lines pad to 28.
inline std::string pad(const std::string &name, size_t width) {
  return name.size() < width ? name + std::string(width - name.size(), ' ') : name;
}
inline std::string start(const std::string &name) { return pad(name, 25) + "[S]"; }
inline std::string end(const std::string &name) { return pad(name, 25) + "[E]"; }
inline std::string single(const std::string &name) { return pad(name, 28); }

}  // namespace threadtest

#endif
