// Broken-down local-time clock, the wall and processor-time stopwatch, and
// sleep in seconds.
#include <stdlib.h>
#include <time.h>

#include <cmath>

#include "common/frame/frame_internal.h"
#include "common/frame/time_util.h"
#include "orvane/frame.h"
#include "platform/pal.h"

namespace {

// Samples the wall clock (whole seconds) and the processor clock. Stores
// nothing and returns 0 when either is unavailable.
int sample(double &wall, double &cpu) {
  time_t now = time(nullptr);
  if (now == static_cast<time_t>(-1)) {
    return 0;
  }
  clock_t ticks = clock();
  if (ticks == static_cast<clock_t>(-1)) {
    return 0;
  }
  wall = static_cast<double>(now);
  cpu = static_cast<double>(ticks) / static_cast<double>(CLOCKS_PER_SEC);
  return 1;
}

}  // namespace

namespace frame {

uint32_t sleepMilliseconds(double seconds) {
  // Truncated to whole milliseconds. Values that no millisecond count can
  // hold (negative, not a number, beyond the longest finite wait) are
  // brought into range instead of being converted blindly.
  double ms = seconds * 1000.0;
  if (std::isnan(ms) || ms <= 0.0) {
    return 0;
  }
  if (ms >= static_cast<double>(pal::kInfinite)) {
    return pal::kInfinite - 1;
  }
  return static_cast<uint32_t>(ms);
}

}  // namespace frame

extern "C" {

ORV_API orvClock *orvClockCreate(void) {
  orvClock *clock = static_cast<orvClock *>(malloc(sizeof(orvClock)));
  if (clock != nullptr) {
    orvClockReset(clock);
  }
  return clock;
}

ORV_API int orvClockDestroy(orvClock *clock) {
  free(clock);
  return 1;
}

ORV_API int orvClockReset(orvClock *clock) {
  struct tm local {};
  if (frame::localTime(time(nullptr), local)) {
    clock->second = local.tm_sec;
    clock->minute = local.tm_min;
    clock->hour = local.tm_hour;
    clock->day = local.tm_mday;
    clock->month = local.tm_mon;
    clock->year = local.tm_year + 1900;
  }
  return 1;
}

ORV_API int32_t orvClockGetMonth(const orvClock *clock) { return clock->month; }

ORV_API int32_t orvClockGetYear(const orvClock *clock) { return clock->year; }

ORV_API orvTimer *orvTimerCreate(void) {
  orvTimer *timer = static_cast<orvTimer *>(malloc(sizeof(orvTimer)));
  if (timer != nullptr) {
    timer->running = 0;
  }
  return timer;
}

ORV_API int orvTimerStart(orvTimer *timer) {
  timer->running = 1;
  return sample(timer->startWall, timer->startCpu);
}

ORV_API int orvTimerStop(orvTimer *timer) {
  if (timer->running == 0) {
    return 1;
  }
  timer->running = 0;
  return sample(timer->stopWall, timer->stopCpu);
}

ORV_API double orvTimerGetElapsed(orvTimer *timer) {
  if (timer->running != 0) {
    sample(timer->stopWall, timer->stopCpu);
  }
  return timer->stopWall - timer->startWall;
}

ORV_API double orvTimerGetProcess(orvTimer *timer) {
  if (timer->running != 0) {
    sample(timer->stopWall, timer->stopCpu);
  }
  return timer->stopCpu - timer->startCpu;
}

ORV_API void orvSleep(double seconds) { pal::sleepMs(frame::sleepMilliseconds(seconds)); }

}  // extern "C"
