// String primitives that measure, copy, cut and fill. Every walk steps by
// whole characters (charLengthAt); only nlsSubstr counts bytes.
#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include "common/nls/nls_alloc.h"
#include "common/nls/nls_state.h"
#include "common/nls/nls_strings.h"
#include "orvane/nls.h"

namespace nls {

char *copyChars(char *dst, int dstSize, const char *src, int maxChars, int terminate) {
  if (dst == nullptr || dstSize <= 0) {
    return dst;
  }
  const int limit = dstSize - terminate;
  int copied = 0;
  int lastLength = 0;
  if (src != nullptr) {
    for (int chars = 0; chars < maxChars; ++chars) {
      const char *p = src + copied;
      const int length = *p == '\0' ? 1 : charLengthAt(p);
      lastLength = length;
      if (*p == '\0' || copied + length > limit) {
        break;
      }
      copied += length;
    }
    memmove(dst, src, static_cast<size_t>(copied));
  }
  if (terminate != 0 || copied + lastLength < dstSize) {
    dst[copied] = '\0';
  }
  return dst;
}

const char *charAt(const char *s, int n) {
  while (n-- > 0 && *s != '\0') {
    s += charLengthAt(s);
  }
  return s;
}

}  // namespace nls

using nls::charLengthAt;

extern "C" {

ORV_API int nlsStrlen(const char *s) {
  int n = 0;
  for (; *s != '\0'; s += charLengthAt(s)) {
    ++n;
  }
  return n;
}

ORV_API int nlsStrBlen(const char *s) { return static_cast<int>(strlen(s)); }

ORV_API int nlsStrsize(const char *s) { return static_cast<int>(strlen(s)) + 1; }

ORV_API int nlsStrmaxsiz(int n) { return 2 * n + 1; }

ORV_API int nlsStrmaxlen(int size) { return size - 1; }

ORV_API int nlsStrminlen(int size) { return (size - 1) / 2; }

// Unbounded byte copies, as documented: the caller sizes dst.
ORV_API char *nlsStrcpy(char *dst, const char *src) {
  return strcpy(dst, src);  // NOLINT(clang-analyzer-security.insecureAPI.strcpy)
}

ORV_API char *nlsStrcat(char *dst, const char *src) {
  return strcat(dst, src);  // NOLINT(clang-analyzer-security.insecureAPI.strcpy)
}

ORV_API char *nlsStrdup(const char *s) {
  if (s == nullptr) {
    return nullptr;
  }
  return nls::duplicate(s);
}

ORV_API void nlsStrEmpty(char *s) {
  if (s != nullptr) {
    s[0] = '\0';
  }
}

ORV_API int nlsStrIsEmpty(const char *s) { return s != nullptr && s[0] == '\0' ? 1 : 0; }

ORV_API char *nlsStrncpy(char *dst, const char *src, int dstSize) {
  return nls::copyChars(dst, dstSize, src, dstSize - 1, 1);
}

ORV_API char *nlsStrncat(char *dst, const char *src, int n) {
  if (n < 0) {
    return dst;
  }
  nls::copyChars(dst + strlen(dst), n + 1, src, n, 1);
  return dst;
}

ORV_API char *nlsStrncatN(char *dst, const char *const *list, int size) {
  if (dst == nullptr || list == nullptr) {
    return dst;
  }
  // The room left in dst: its size less the text it already holds.
  long remaining = static_cast<long>(size) - static_cast<long>(strlen(dst));
  for (; *list != nullptr && remaining >= 2; ++list) {
    const int room = static_cast<int>(remaining);
    nls::copyChars(dst + strlen(dst), room, *list, room - 1, 1);
    remaining -= static_cast<long>(strlen(*list));
  }
  return dst;
}

ORV_API char *nlsStrLoad(char *dst, int dstSize, const char *src, int n) {
  const int size = n < dstSize - 1 ? n + 1 : dstSize;
  return nls::copyChars(dst, size, src, n, 1);
}

ORV_API char *nlsStrStore(char *dst, int size, const char *src) {
  return nls::copyChars(dst, size, src, size - 1, 0);
}

ORV_API char *nlsStrTruncate(char *s, int n) {
  if (s == nullptr) {
    return nullptr;
  }
  *const_cast<char *>(nls::charAt(s, n < 0 ? 0 : n)) = '\0';
  return s;
}

ORV_API char *nlsSubstr(char *dst, int dstSize, const char *src, int byteOffset, int byteCount) {
  if (dst == nullptr || dstSize <= 0) {
    return dst;
  }
  // Bytes, not characters; bounded by the source's own end.
  const size_t length = strlen(src);
  size_t n = 0;
  if (byteOffset >= 0 && static_cast<size_t>(byteOffset) < length && byteCount > 0) {
    n = static_cast<size_t>(byteCount < dstSize - 1 ? byteCount : dstSize - 1);
    if (n > length - static_cast<size_t>(byteOffset)) {
      n = length - static_cast<size_t>(byteOffset);
    }
    memmove(dst, src + byteOffset, n);
  }
  dst[n] = '\0';
  return dst;
}

ORV_API char *nlsCSubstr(char *dst, int dstSize, const char *src, int start, int count) {
  return nls::copyChars(dst, dstSize, nls::charAt(src, start), count, 1);
}

ORV_API char *nlsCSubstrAppend(char *dst, int dstSize, const char *src, int start, int count) {
  const int used = static_cast<int>(strlen(dst));
  nls::copyChars(dst + used, dstSize - used, nls::charAt(src, start), count, 1);
  return dst;
}

ORV_API int nlsStrfill(char *dst, int dstSize, const char *fill, int max) {
  if (dst == nullptr || fill == nullptr) {
    return 0;
  }
  const long length = static_cast<long>(strlen(fill));
  const long end = static_cast<long>(dstSize) - length;  // a copy starts before this offset
  long at = 0;
  int copies = 0;
  while (at < end && copies < max) {
    memcpy(dst + at, fill, static_cast<size_t>(length) + 1);
    at += length;
    ++copies;
  }
  return copies;
}

ORV_API char *nlsStrupr(char *s) {
  for (char *p = s; *p != '\0'; p += charLengthAt(p)) {
    const unsigned char c = static_cast<unsigned char>(*p);
    if (c < 0x80 && charLengthAt(p) == 1 && islower(c)) {
      *p = static_cast<char>(toupper(c));
    }
  }
  return s;
}

ORV_API char *nlsStrlwr(char *s) {
  for (char *p = s; *p != '\0'; p += charLengthAt(p)) {
    const unsigned char c = static_cast<unsigned char>(*p);
    if (c < 0x80 && charLengthAt(p) == 1 && isupper(c)) {
      *p = static_cast<char>(tolower(c));
    }
  }
  return s;
}

}  // extern "C"
