// Two 32-bit string hashes: exact and case-insensitive.
//
// Byte i of the text is folded by exclusive-or into accumulator byte i mod 4;
// the accumulator is read as a little-endian number.
#include <ctype.h>
#include <stdlib.h>

#include "orvane/frame.h"

namespace {

// The runtime's case folding of the current locale, read once per call.
// Folds a byte that the runtime classifies as an alphabetic lower-case
// letter to upper case. In a multi-byte locale only the single-byte range is
// classified: lead and trail bytes of multi-byte characters are used as
// they are.
class CaseFolder {
 public:
  CaseFolder() : multiByte_(MB_CUR_MAX >= 2) {
#if defined(__GLIBC__)
    classes_ = *__ctype_b_loc();
    upper_ = *__ctype_toupper_loc();
#endif
  }

  unsigned char fold(unsigned char byte) const {
    if (multiByte_ && byte >= 0x80) {
      return byte;
    }
#if defined(__GLIBC__)
    // The same tables isalpha, islower and toupper read, without the
    // per-byte look-up of the thread's locale.
    const unsigned short flags = classes_[byte];
    if ((flags & _ISalpha) != 0 && (flags & _ISlower) != 0) {
      return static_cast<unsigned char>(upper_[byte]);
    }
#else
    if (isalpha(byte) && islower(byte)) {
      return static_cast<unsigned char>(toupper(byte));
    }
#endif
    return byte;
  }

 private:
  bool multiByte_;
#if defined(__GLIBC__)
  const unsigned short *classes_ = nullptr;
  const int32_t *upper_ = nullptr;
#endif
};

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
  // Four folded bytes per step, as in orvHash.
  const CaseFolder folder;
  uint32_t hash = 0;
  const unsigned char *p = reinterpret_cast<const unsigned char *>(text);
  for (;; p += 4) {
    if (p[0] == 0) {
      break;
    }
    const uint32_t b0 = folder.fold(p[0]);
    if (p[1] == 0) {
      return hash ^ b0;
    }
    const uint32_t b1 = folder.fold(p[1]);
    if (p[2] == 0) {
      return hash ^ b0 ^ (b1 << 8);
    }
    const uint32_t b2 = folder.fold(p[2]);
    if (p[3] == 0) {
      return hash ^ b0 ^ (b1 << 8) ^ (b2 << 16);
    }
    const uint32_t b3 = folder.fold(p[3]);
    hash ^= b0 | (b1 << 8) | (b2 << 16) | (b3 << 24);
  }
  return hash;
}

}  // extern "C"
