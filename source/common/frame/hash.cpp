// Two 32-bit string hashes: exact and case-insensitive.
//
// Byte i of the text is folded by exclusive-or into accumulator byte i mod 4;
// the accumulator is read as a little-endian number.
#include <ctype.h>
#include <stdlib.h>

#include "orvane/frame.h"

namespace {

inline uint32_t foldByte(uint32_t hash, size_t position, unsigned char byte) {
  return hash ^ (static_cast<uint32_t>(byte) << ((position & 3u) * 8u));
}

// Upper-cases a byte that the runtime classifies as an alphabetic lower-case
// letter. In a multi-byte locale only the single-byte range is classified:
// lead and trail bytes of multi-byte characters are used as they are.
inline unsigned char foldCase(unsigned char byte, bool multiByteLocale) {
  if (multiByteLocale && byte >= 0x80) {
    return byte;
  }
  if (isalpha(byte) && islower(byte)) {
    return static_cast<unsigned char>(toupper(byte));
  }
  return byte;
}

}  // namespace

extern "C" {

ORV_API uint32_t orvHash(const char *text) {
  // Four bytes per step: a group of four lands on the four accumulator bytes
  // in order, so it folds in as one little-endian word.
  uint32_t hash = 0;
  const unsigned char *p = reinterpret_cast<const unsigned char *>(text);
  for (;; p += 4) {
    const uint32_t b0 = p[0];
    if (b0 == 0) {
      break;
    }
    const uint32_t b1 = p[1];
    if (b1 == 0) {
      return hash ^ b0;
    }
    const uint32_t b2 = p[2];
    if (b2 == 0) {
      return hash ^ b0 ^ (b1 << 8);
    }
    const uint32_t b3 = p[3];
    if (b3 == 0) {
      return hash ^ b0 ^ (b1 << 8) ^ (b2 << 16);
    }
    hash ^= b0 | (b1 << 8) | (b2 << 16) | (b3 << 24);
  }
  return hash;
}

ORV_API uint32_t orvHashI(const char *text) {
  const bool multiByteLocale = MB_CUR_MAX >= 2;
  uint32_t hash = 0;
  const unsigned char *p = reinterpret_cast<const unsigned char *>(text);
  for (size_t i = 0; p[i] != 0; ++i) {
    hash = foldByte(hash, i, foldCase(p[i], multiByteLocale));
  }
  return hash;
}

}  // extern "C"
