// The frame's bounded copy of a path into a caller's buffer.
#include <limits.h>

#include "common/frame/frame_internal.h"
#include "orvane/nls.h"

namespace frame {

void copyWholeCharacters(char *dst, uint32_t size, const char *src) {
  // The string primitives' copy: whole characters only, always terminated.
  const int bounded = size > static_cast<uint32_t>(INT_MAX) ? INT_MAX : static_cast<int>(size);
  nlsStrncpy(dst, src, bounded);
}

}  // namespace frame
