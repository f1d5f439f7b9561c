// The XDR strings: cxdr_string, cxdr_wrapstring and cxdr_CHARs. A string
// travels as a 32-bit header (character-set tag in the high 8 bits, byte
// length in the low 24) and its bytes, translated from the writer's
// character set to the reader's; on a Unicode stream as UTF-16 units.
#include <stdlib.h>
#include <string.h>

#include "common/nls/nls_state.h"
#include "common/xdr/cxdr_internal.h"
#include "orvane/charsets.h"
#include "orvane/nls.h"

namespace {

constexpr uint32_t kMaxHeaderLength = 0x00FFFFFFu;
constexpr int32_t kBinary8 = 2;
constexpr int32_t kSingleByteTag = 4;
constexpr uint32_t kChunk = 32;

bool singleByte(int32_t set) { return set >= 2 && set <= 9; }
bool multiByte(int32_t set) { return set >= 13 && set <= 17; }

orvCharSet currentCharSetObject() { return nls::state().charSetObject; }

// The lines of one filter's checks.
struct Lines {
  int encodeLength;
  int decodeLength;
  int alloc;
};

int writeHeader(CXDR *stream, uint32_t tag, uint32_t length) {
  uint32_t header = (tag << 24) | length;
  return cxdr::put32(stream, header);
}

// ENCODE of length bytes of text (text may be null when length is 0).
int encodeText(CXDR *stream, const char *text, uint32_t length, uint32_t maxLength, const Lines &lines) {
  if (length > maxLength) {
    cxdr::assertFailed(lines.encodeLength);
  }
  if (stream->unicode != 0) {
    if (length == 0) {
      return writeHeader(stream, CXDR_UNICODE_TAG, 0) != 0 ? 1 : 0;
    }
    // The header carries the byte length of the UTF-16 data: 2 x units.
    uint32_t units = length;
    uint16_t *wide = orvCharacterSetConvertToUnicode(currentCharSetObject(), text, &units, nullptr);
    if (wide == nullptr) {
      return 0;
    }
    uint64_t bytes = static_cast<uint64_t>(units) * 2u;
    int ok = 0;
    if (bytes <= kMaxHeaderLength &&
        writeHeader(stream, CXDR_UNICODE_TAG, static_cast<uint32_t>(bytes)) != 0) {
      ok = 1;
      for (uint32_t i = 0; i < units && ok != 0; ++i) {
        ok = stream->putUInt16(stream, &wide[i]) != 0 ? 1 : 0;
      }
    }
    free(wide);
    return ok;
  }
  if (length > kMaxHeaderLength) {
    return 0;  // the header's 24 bits cannot carry the length
  }
  int32_t current = nlsGetCharSet();
  int32_t tag = singleByte(current) ? kSingleByteTag : current;
  if (writeHeader(stream, static_cast<uint32_t>(tag) & 0xFFu, length) == 0) {
    return 0;
  }
  if (length == 0) {
    return 1;
  }
  // The stream's put operations take a writable buffer (a scrambling file
  // stream scrambles in place); the caller's text is handed on as it is.
  char *bytes = const_cast<char *>(text);
  if (current == tag || multiByte(current) || current == kBinary8 || tag == kBinary8) {
    return stream->putUInt8s(stream, reinterpret_cast<uint8_t *>(bytes), length) != 0 ? 1 : 0;
  }
  if (!singleByte(current)) {
    return 0;
  }
  const unsigned char *map = nlsGetCharMap(current, tag);
  if (map == nullptr) {
    return 0;
  }
  uint8_t chunk[kChunk];
  for (uint32_t done = 0; done < length;) {
    uint32_t n = length - done < kChunk ? length - done : kChunk;
    for (uint32_t i = 0; i < n; ++i) {
      chunk[i] = map[static_cast<unsigned char>(text[done + i])];
    }
    if (stream->putUInt8s(stream, chunk, n) == 0) {
      return 0;
    }
    done += n;
  }
  return 1;
}

// DECODE into *text (allocated when null); *outLength receives the byte
// length of the text stored.
int decodeText(CXDR *stream, char **text, uint32_t *outLength, uint32_t maxLength, const Lines &lines) {
  uint32_t header = 0;
  if (cxdr::get32(stream, &header) == 0) {
    return 0;
  }
  uint32_t length = header & kMaxHeaderLength;
  auto tag = static_cast<int32_t>(header >> 24);
  if (outLength != nullptr) {
    *outLength = length;
  }
  if (length > maxLength) {
    cxdr::assertFailed(lines.decodeLength);
    if (*text != nullptr) {
      return 0;  // the caller's storage holds at most maxLength bytes
    }
  }
  if (tag == 0) {
    tag = kSingleByteTag;
  }
  int32_t current = nlsGetCharSet();
  bool bothMultiByte = multiByte(tag) && multiByte(current);
  if (*text == nullptr && stream->unicode == 0 && !bothMultiByte) {
    *text = static_cast<char *>(cxdr::allocZeroed(static_cast<size_t>(length) + 1));
    if (*text == nullptr) {
      cxdr::assertFailed(lines.alloc);
      return 0;
    }
  }

  if (stream->unicode != 0) {
    uint32_t units = length / 2;
    auto *wide = static_cast<uint16_t *>(cxdr::allocZeroed((static_cast<size_t>(units) + 1) * 2));
    if (wide == nullptr) {
      cxdr::assertFailed(lines.alloc);
      return 0;
    }
    for (uint32_t i = 0; i < units; ++i) {
      if (stream->getUInt16(stream, &wide[i]) == 0) {
        free(wide);
        return 0;
      }
    }
    uint32_t converted = units;
    uint32_t byteSize = 0;
    char *native = nullptr;
    if (units == 0) {
      native = static_cast<char *>(cxdr::allocZeroed(1));
    } else {
      native = orvCharacterSetConvertFromUnicode(currentCharSetObject(), wide, &converted, &byteSize);
    }
    free(wide);
    if (native == nullptr) {
      return 0;
    }
    size_t nativeLength = strlen(native);
    if (outLength != nullptr) {
      *outLength = static_cast<uint32_t>(nativeLength);
    }
    if (*text == nullptr) {
      *text = native;
      return 1;
    }
    if (nativeLength > maxLength) {
      free(native);
      return 0;  // longer than the caller's storage
    }
    nlsStrcpy(*text, native);
    free(native);
    return 1;
  }

  if (tag == current || (singleByte(tag) && singleByte(current)) || tag == kBinary8 || current == kBinary8) {
    if (*text == nullptr) {
      *text = static_cast<char *>(cxdr::allocZeroed(static_cast<size_t>(length) + 1));
      if (*text == nullptr) {
        cxdr::assertFailed(cxdr::kLineStringReadAlloc);
        return 0;
      }
    }
    char *dst = *text;
    dst[length] = '\0';
    if (stream->getUInt8s(stream, reinterpret_cast<uint8_t *>(dst), length) == 0) {
      return 0;
    }
    if (tag != current && tag != kBinary8 && current != kBinary8 && length > 0) {
      const unsigned char *map = nlsGetCharMap(kSingleByteTag, current);
      if (map == nullptr) {
        return 0;
      }
      for (uint32_t i = 0; i < length; ++i) {
        dst[i] = static_cast<char>(map[static_cast<unsigned char>(dst[i])]);
      }
    }
    return 1;
  }

  if (bothMultiByte) {
    auto *raw = static_cast<char *>(cxdr::allocZeroed(static_cast<size_t>(length) + 1));
    if (raw == nullptr) {
      cxdr::assertFailed(lines.alloc);
      return 0;
    }
    if (stream->getUInt8s(stream, reinterpret_cast<uint8_t *>(raw), length) == 0) {
      free(raw);
      return 0;
    }
    int dstSize = nlsStrmaxsiz(static_cast<int>(length));
    if (dstSize < 1) {
      free(raw);
      return 0;
    }
    auto *converted = static_cast<char *>(cxdr::allocZeroed(static_cast<size_t>(dstSize)));
    if (converted == nullptr) {
      free(raw);
      cxdr::assertFailed(cxdr::kLineStringMbAlloc);
      return 0;
    }
    int ok = nlsStrTranslate(converted, dstSize, current, raw, static_cast<int>(length), tag);
    free(raw);
    if (ok == 0) {
      free(converted);
      return 0;
    }
    int size = nlsStrsize(converted);
    if (static_cast<uint32_t>(size - 1) > maxLength) {
      cxdr::assertFailed(cxdr::kLineStringMbSize);
      if (*text != nullptr) {
        free(converted);
        return 0;  // longer than the caller's storage
      }
    }
    if (*text == nullptr) {
      *text = static_cast<char *>(cxdr::allocZeroed(static_cast<size_t>(size)));
      if (*text == nullptr) {
        free(converted);
        cxdr::assertFailed(cxdr::kLineStringMbAlloc);
        return 0;
      }
    }
    nlsStrStore(*text, size, converted);
    (*text)[size - 1] = '\0';  // a store that fills the field leaves no terminator
    free(converted);
    if (outLength != nullptr) {
      *outLength = static_cast<uint32_t>(size - 1);
    }
    return 1;
  }
  return 0;
}

}  // namespace

extern "C" {

ORV_API int cxdr_string(CXDR *stream, char **text, uint32_t maxLength) {
  static const Lines lines = {cxdr::kLineStringEncodeLength, cxdr::kLineStringDecodeLength,
                              cxdr::kLineStringAlloc};
  switch (stream->direction) {
    case CXDR_ENCODE: {
      size_t length = *text != nullptr ? strlen(*text) : 0;
      if (length > kMaxHeaderLength) {
        if (length > maxLength) {
          cxdr::assertFailed(lines.encodeLength);
        }
        return 0;  // the header's 24 bits cannot carry the length
      }
      return encodeText(stream, *text, static_cast<uint32_t>(length), maxLength, lines);
    }
    case CXDR_DECODE:
      return decodeText(stream, text, nullptr, maxLength, lines);
    case CXDR_FREE:
      free(*text);
      *text = nullptr;
      return 1;
    default:
      return 0;
  }
}

ORV_API int cxdr_wrapstring(CXDR *stream, char **text) { return cxdr_string(stream, text, 0xFFFFFFFFu); }

ORV_API int cxdr_CHARs(CXDR *stream, char **buffer, uint32_t *count, uint32_t maxCount) {
  static const Lines lines = {cxdr::kLineCharsEncodeCount, cxdr::kLineCharsDecodeCount,
                              cxdr::kLineCharsAlloc};
  switch (stream->direction) {
    case CXDR_ENCODE:
      if (*count != 0 && *buffer == nullptr) {
        if (*count > maxCount) {
          cxdr::assertFailed(lines.encodeLength);
        }
        return 0;  // a count with no characters behind it
      }
      return encodeText(stream, *buffer, *count, maxCount, lines);
    case CXDR_DECODE:
      return decodeText(stream, buffer, count, maxCount, lines);
    case CXDR_FREE:
      free(*buffer);
      *buffer = nullptr;
      return 1;
    default:
      return 0;
  }
}

}  // extern "C"
