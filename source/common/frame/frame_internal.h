// Internal helpers of the process frame shared with the other layers.
#ifndef ORVANE_FRAME_INTERNAL_H
#define ORVANE_FRAME_INTERNAL_H

#include <cstdint>

namespace frame {

// The number of servicesProcessInitialize calls not yet matched.
int initializationCount();

// Copies src into dst of size bytes, whole characters only, always
// terminated (the library's bounded string copy).
void copyWholeCharacters(char *dst, uint32_t size, const char *src);

// The milliseconds orvSleep waits for a number of seconds: truncated, and
// kept within 0 and the longest finite wait.
uint32_t sleepMilliseconds(double seconds);

// orvResourceGetNLSStr: the setting's text (free it with free), or null.
// *outOfMemory (may be null) tells a setting that could not be read for
// want of memory from one that is not set.
char *resourceText(const char *name, bool *outOfMemory);

}  // namespace frame

#endif
