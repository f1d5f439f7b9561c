// The frame's bounded copy of a path into a caller's buffer.
#include <string.h>

#include "common/frame/frame_internal.h"

namespace frame {

void copyWholeCharacters(char *dst, uint32_t size, const char *src) {
  // Single-byte copy until the multi-byte string primitives are part of the
  // build; they take this over so that no character is ever split.
  if (size == 0) {
    return;
  }
  size_t n = strlen(src);
  if (n > size - 1) {
    n = size - 1;
  }
  memcpy(dst, src, n);
  dst[n] = '\0';
}

}  // namespace frame
