// Time helpers shared by the layers that read the local time.
#ifndef ORVANE_FRAME_TIME_UTIL_H
#define ORVANE_FRAME_TIME_UTIL_H

#include <time.h>

namespace frame {

// localtime into caller storage (the runtime's localtime, made reentrant).
// Returns false when the time cannot be converted.
inline bool localTime(time_t when, struct tm &out) {
#if defined(_WIN32)
  return localtime_s(&out, &when) == 0;
#else
  return localtime_r(&when, &out) != nullptr;
#endif
}

}  // namespace frame

#endif
