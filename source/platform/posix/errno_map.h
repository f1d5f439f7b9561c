// errno values as Win32 error numbers.
//
// The POSIX half of the platform layer reports every failure as the Win32
// error number that the same failure gives on Windows, so that the shared
// code (and the file layer's error table in particular) sees one vocabulary
// on every platform. The table is in docs/porting.md ("Files").
#ifndef ORVANE_PLATFORM_POSIX_ERRNO_MAP_H
#define ORVANE_PLATFORM_POSIX_ERRNO_MAP_H

#include <cstdint>

namespace pal::posix {

// What the failing call was doing: EIO is a read fault (30) on reads, a
// write fault (29) on writes and a general failure (31) elsewhere.
enum class IoDirection { Other, Read, Write };

// The Win32 error number for an errno value. Pure: no side effects.
uint32_t win32ErrorFromErrno(int error, IoDirection direction = IoDirection::Other);

// Sets the calling thread's last error to the mapping of error.
void setLastErrorFromErrno(int error, IoDirection direction = IoDirection::Other);

}  // namespace pal::posix

#endif
