// Packed wide characters: each character of the current character set in
// one 16-bit unit made of its own bytes (first byte in the low half, second
// byte or 0 in the high half), so that text can be indexed by character
// without a code-page table.
#include <string.h>

#include <cstdint>

#include "common/nls/nls_state.h"
#include "orvane/nls.h"

namespace {

// The byte length of the character at p under the packing rule: in a
// multi-byte set a byte above 0x7F starts a two-byte character, except the
// half-width katakana 0xA1 to 0xDF of "s-jis"; a lead byte before the NUL
// stands alone. 0 at the NUL.
int packedLength(const unsigned char *p) {
  if (p[0] == 0) {
    return 0;
  }
  const int32_t set = nls::state().charSet;
  if (!nls::isMultiByte(set) || p[0] <= 0x7F) {
    return 1;
  }
  if (set == nls::kCharSetSjis && p[0] >= 0xA1 && p[0] <= 0xDF) {
    return 1;
  }
  return p[1] == 0 ? 1 : 2;
}

// Stores the character of n bytes at p as one unit at dst.
void putUnit(nlsPackedChar *dst, const unsigned char *p, int n) {
  auto *b = reinterpret_cast<unsigned char *>(dst);
  b[0] = p[0];
  b[1] = n == 2 ? p[1] : 0;
}

// The two bytes of a unit, in memory order.
inline const unsigned char *unitBytes(const nlsPackedChar *u) {
  return reinterpret_cast<const unsigned char *>(u);
}

// Unpacks src byte by byte: non-zero bytes are produced, zero bytes skipped,
// and two zero bytes in a row end the string. Writes at most room bytes to
// dst (when dst is not null) and returns the number of bytes produced.
size_t unpack(char *dst, size_t room, const nlsPackedChar *src) {
  const unsigned char *b = unitBytes(src);
  size_t produced = 0;
  for (size_t i = 0;; ++i) {
    if (b[i] == 0) {
      if (b[i + 1] == 0) {
        break;
      }
      continue;
    }
    if (dst != nullptr) {
      if (produced == room) {
        break;
      }
      dst[produced] = static_cast<char>(b[i]);
    }
    ++produced;
  }
  return produced;
}

}  // namespace

extern "C" {

ORV_API int nlsNLSToWCS(nlsPackedChar *dst, int dstBytes, const char *src) {
  if (dst == nullptr || dstBytes <= 0) {
    return 0;
  }
  memset(dst, 0, static_cast<size_t>(dstBytes));
  if (src == nullptr) {
    return 0;
  }
  const auto *p = reinterpret_cast<const unsigned char *>(src);
  // A unit is written when it starts at least four bytes before the end,
  // so the zero unit after it always fits.
  for (size_t off = 0; off + 4 <= static_cast<size_t>(dstBytes); off += 2) {
    const int n = packedLength(p);
    if (n == 0) {
      break;
    }
    putUnit(dst + off / 2, p, n);
    p += n;
  }
  return 0;
}

ORV_API int nlsNLSToNWCS(nlsPackedChar *dst, int units, const char **inOutSrc) {
  if (dst == nullptr || units <= 0) {
    return 0;
  }
  memset(dst, 0, static_cast<size_t>(units) * 2);
  if (inOutSrc == nullptr || *inOutSrc == nullptr) {
    return 0;
  }
  const auto *p = reinterpret_cast<const unsigned char *>(*inOutSrc);
  int written = 0;
  while (written < units - 1) {
    const int n = packedLength(p);
    if (n == 0) {
      break;
    }
    putUnit(dst + written, p, n);
    p += n;
    ++written;
  }
  *inOutSrc = reinterpret_cast<const char *>(p);
  return written;
}

ORV_API int nlsWCSToNLS(char *dst, int dstSize, const nlsPackedChar *src) {
  if (dst == nullptr || dstSize <= 0) {
    return 0;
  }
  if (src == nullptr || dstSize == 1) {
    dst[0] = '\0';
    return 0;
  }
  const size_t n = unpack(dst, static_cast<size_t>(dstSize) - 1, src);
  dst[n] = '\0';
  return 0;
}

ORV_API int nlsWCSToMBS(char *dst, int dstSize, const nlsPackedChar *src) {
  if (src == nullptr) {
    if (dst != nullptr && dstSize > 0) {
      dst[0] = '\0';
    }
    return 0;
  }
  if (dst == nullptr) {
    return static_cast<int>(unpack(nullptr, 0, src));
  }
  if (dstSize <= 0) {
    return 0;
  }
  const size_t n = unpack(dst, static_cast<size_t>(dstSize) - 1, src);
  dst[n] = '\0';
  return static_cast<int>(n);
}

ORV_API int nlsWCSToNNLS(char *dst, int dstSize, const nlsPackedChar **inOutSrc) {
  if (dst == nullptr || dstSize <= 0 || inOutSrc == nullptr || *inOutSrc == nullptr) {
    return 0;
  }
  const nlsPackedChar *u = *inOutSrc;
  const auto size = static_cast<size_t>(dstSize);
  size_t used = 0;
  for (;; ++u) {
    const unsigned char *b = unitBytes(u);
    if (b[0] == 0 && b[1] == 0) {
      break;
    }
    const size_t n = (b[0] != 0 ? 1 : 0) + (b[1] != 0 ? 1 : 0);
    if (used + n > size) {
      break;
    }
    if (b[0] != 0) {
      dst[used++] = static_cast<char>(b[0]);
    }
    if (b[1] != 0) {
      dst[used++] = static_cast<char>(b[1]);
    }
  }
  if (used < size) {
    dst[used] = '\0';
  }
  *inOutSrc = u;
  return static_cast<int>(used);
}

ORV_API nlsPackedChar nlsSGetwc(const char **inOutPointer) {
  if (inOutPointer == nullptr || *inOutPointer == nullptr) {
    return 0;
  }
  const auto *p = reinterpret_cast<const unsigned char *>(*inOutPointer);
  const int n = packedLength(p);
  if (n == 0) {
    return 0;
  }
  *inOutPointer += n;
  return static_cast<nlsPackedChar>(p[0] | (n == 2 ? p[1] << 8 : 0));
}

}  // extern "C"
