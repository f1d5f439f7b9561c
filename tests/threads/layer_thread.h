// Running test code inside threads of the thread layer.
#ifndef ORVANE_TESTS_THREADS_LAYER_THREAD_H
#define ORVANE_TESTS_THREADS_LAYER_THREAD_H

#include <functional>

#include <gtest/gtest.h>

#include "orvane/threads.h"

namespace threadtest {

struct Task {
  std::function<void()> body;
};

inline void runTask(void *argument) { static_cast<Task *>(argument)->body(); }

// Runs body in a new layer thread (with trace, when given), waits for its
// end and destroys it. Returns the exit status.
inline uint32_t inLayerThread(const std::function<void()> &body, TraceObj *trace = nullptr) {
  Task task{body};
  orvThread *thread = nullptr;
  EXPECT_EQ(0, orvThreadCreate(runTask, &task, 1, &thread, trace));
  if (thread == nullptr) {
    return 0xDEADu;
  }
  uint32_t code = 0xDEADu;
  EXPECT_EQ(0, orvThreadJoin(thread, &code));
  orvThreadDestroy(thread);
  return code;
}

}  // namespace threadtest

#endif
