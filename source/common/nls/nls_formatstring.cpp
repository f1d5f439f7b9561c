// nlsFormatString: the characters of a value poured through a mask, one
// value character per placeholder of the mask.
#include <string.h>

#include "common/nls/nls_state.h"
#include "orvane/nls_format.h"

extern "C" {

ORV_API int nlsFormatString(char *dst, int dstSize, const char *value, const char *mask, int placeholder) {
  if (dst == nullptr || dstSize < 1) {
    return 0;
  }
  const char *v = value != nullptr ? value : "";
  const char *m = mask != nullptr ? mask : "";
  const unsigned char marker = static_cast<unsigned char>(placeholder);
  int written = 0;
  while (*m != '\0') {
    const int n = nls::charLengthAt(m);
    const char *item = m;
    int itemLength = n;
    if (n == 1 && static_cast<unsigned char>(*m) == marker) {
      if (*v != '\0') {
        item = v;
        itemLength = nls::charLengthAt(v);
      } else {
        item = " ";
        itemLength = 1;
      }
    }
    if (written + itemLength >= dstSize) {
      break;  // one byte stays for the NUL
    }
    memcpy(dst + written, item, static_cast<size_t>(itemLength));
    written += itemLength;
    if (item == v) {
      v += itemLength;
    }
    m += n;
  }
  dst[written] = '\0';
  return written;
}

}  // extern "C"
