// The XDR unit filters (8, 16, 32 and 64 bits), raw byte sequences, counted
// byte sequences and plain byte strings.
#include <stdlib.h>
#include <string.h>

#include "common/xdr/cxdr_internal.h"

namespace {

// The place of the next unit of a memory stream whose operation for it is
// still the stream's own, while nothing is traced; null otherwise, or when
// the unit does not simply fit (the record's operation then handles it).
template <class Op>
uint8_t *memoryUnit(CXDR *stream, Op op, Op memoryOp, uint32_t width) {
  if (op != memoryOp || cxdr::tracing()) {
    return nullptr;
  }
  return cxdr::fastUnitAt(stream, width);
}

inline uint16_t toWire(uint16_t v) { return cxdr::swap16(v); }
inline uint32_t toWire(uint32_t v) { return cxdr::swap32(v); }
inline uint8_t toWire(uint8_t v) { return v; }

// One unit of type T through the stream's get or put operation for it: the
// direction dispatch that every unit filter shares. DECODE stores into the
// caller's location only after a successful read.
template <class T>
int filterUnit(CXDR *stream, void *value, int (*get)(CXDR *, T *), int (*put)(CXDR *, const T *),
               int (*memoryGet)(CXDR *, T *), int (*memoryPut)(CXDR *, const T *)) {
  switch (stream->direction) {
    case CXDR_DECODE: {
      T v{};
      if (const uint8_t *at = memoryUnit(stream, get, memoryGet, sizeof(T))) {
        memcpy(&v, at, sizeof v);
        v = toWire(v);
      } else if (get(stream, &v) == 0) {
        return 0;
      }
      memcpy(value, &v, sizeof v);
      return 1;
    }
    case CXDR_ENCODE: {
      T v{};
      memcpy(&v, value, sizeof v);
      if (uint8_t *at = memoryUnit(stream, put, memoryPut, sizeof(T))) {
        v = toWire(v);
        memcpy(at, &v, sizeof v);
        return 1;
      }
      return put(stream, &v) != 0 ? 1 : 0;
    }
    case CXDR_FREE:
      return 1;
    default:
      return 0;
  }
}

int filterUInt8(CXDR *stream, uint8_t *value) {
  return filterUnit<uint8_t>(stream, value, stream->getUInt8, stream->putUInt8, cxdrmem_getUInt8,
                             cxdrmem_putUInt8);
}

int filterUInt16(CXDR *stream, uint16_t *value) {
  return filterUnit<uint16_t>(stream, value, stream->getUInt16, stream->putUInt16, cxdrmem_getUInt16,
                              cxdrmem_putUInt16);
}

int filterUInt32(CXDR *stream, void *value) {
  return filterUnit<uint32_t>(stream, value, stream->getUInt32, stream->putUInt32, cxdrmem_getUInt32,
                              cxdrmem_putUInt32);
}

}  // namespace

extern "C" {

ORV_API int cxdr_UInt8(CXDR *stream, uint8_t *value) { return filterUInt8(stream, value); }
ORV_API int cxdr_Int8(CXDR *stream, int8_t *value) {
  return filterUInt8(stream, reinterpret_cast<uint8_t *>(value));
}
ORV_API int cxdr_BYTE(CXDR *stream, uint8_t *value) { return filterUInt8(stream, value); }
ORV_API int cxdr_CHAR(CXDR *stream, char *value) {
  return filterUInt8(stream, reinterpret_cast<uint8_t *>(value));
}
ORV_API int cxdr_OrvBool8(CXDR *stream, OrvBool8 *value) { return filterUInt8(stream, value); }

ORV_API int cxdr_OrvBool(CXDR *stream, OrvBool *value) {
  switch (stream->direction) {
    case CXDR_DECODE: {
      uint8_t v = 0;
      if (stream->getUInt8(stream, &v) == 0) {
        return 0;
      }
      *value = static_cast<OrvBool>(v);
      return 1;
    }
    case CXDR_ENCODE: {
      auto v = static_cast<uint8_t>(static_cast<uint32_t>(*value) & 0xFFu);
      return stream->putUInt8(stream, &v) != 0 ? 1 : 0;
    }
    case CXDR_FREE:
      return 1;
    default:
      return 0;
  }
}

ORV_API int cxdr_UInt16(CXDR *stream, uint16_t *value) { return filterUInt16(stream, value); }
ORV_API int cxdr_Int16(CXDR *stream, int16_t *value) {
  return filterUInt16(stream, reinterpret_cast<uint16_t *>(value));
}

ORV_API int cxdr_UInt32(CXDR *stream, uint32_t *value) { return filterUInt32(stream, value); }
ORV_API int cxdr_Int32(CXDR *stream, int32_t *value) { return filterUInt32(stream, value); }
ORV_API int cxdr_Int(CXDR *stream, int32_t *value) { return filterUInt32(stream, value); }
ORV_API int cxdr_enum(CXDR *stream, int32_t *value) { return filterUInt32(stream, value); }
ORV_API int cxdr_Float32(CXDR *stream, float *value) { return filterUInt32(stream, value); }

ORV_API int cxdr_Float64(CXDR *stream, double *value) {
  uint32_t words[2];
  switch (stream->direction) {
    case CXDR_DECODE:
      if (cxdr::get32(stream, &words[0]) == 0 || cxdr::get32(stream, &words[1]) == 0) {
        return 0;
      }
      memcpy(value, words, sizeof words);
      return 1;
    case CXDR_ENCODE:
      memcpy(words, value, sizeof words);
      if (cxdr::put32(stream, words[0]) == 0) {
        return 0;
      }
      return cxdr::put32(stream, words[1]);
    case CXDR_FREE:
      return 1;
    default:
      return 0;
  }
}

ORV_API int cxdr_opaque(CXDR *stream, void *bytes, uint32_t count) {
  switch (stream->direction) {
    case CXDR_DECODE:
      return stream->getUInt8s(stream, static_cast<uint8_t *>(bytes), count) != 0 ? 1 : 0;
    case CXDR_ENCODE:
      if (count == 0) {
        return 1;
      }
      return stream->putUInt8s(stream, static_cast<uint8_t *>(bytes), count) != 0 ? 1 : 0;
    case CXDR_FREE:
      return 1;
    default:
      return 0;
  }
}

ORV_API int cxdr_CHARvector(CXDR *stream, char *chars, uint32_t count) {
  switch (stream->direction) {
    case CXDR_DECODE:
      return stream->getCHARs(stream, chars, count) != 0 ? 1 : 0;
    case CXDR_ENCODE:
      if (count == 0) {
        return 1;
      }
      return stream->putCHARs(stream, chars, count) != 0 ? 1 : 0;
    case CXDR_FREE:
      return 1;
    default:
      return 0;
  }
}

ORV_API int cxdr_UInt8s(CXDR *stream, uint8_t **buffer, uint32_t *count, uint32_t maxCount) {
  switch (stream->direction) {
    case CXDR_ENCODE: {
      uint32_t n = *count;
      if (n > maxCount) {
        cxdr::assertFailed(cxdr::kLineUInt8sEncodeCount);
      }
      if (cxdr::put32(stream, n) == 0) {
        return 0;
      }
      if (n == 0) {
        return 1;
      }
      if (*buffer == nullptr) {
        return 0;  // a count with no bytes behind it
      }
      return stream->putUInt8s(stream, *buffer, n) != 0 ? 1 : 0;
    }
    case CXDR_DECODE: {
      uint32_t n = 0;
      if (cxdr::get32(stream, &n) == 0) {
        return 0;
      }
      *count = n;
      if (n > maxCount) {
        cxdr::assertFailed(cxdr::kLineUInt8sDecodeCount);
        if (*buffer != nullptr) {
          return 0;  // the caller's buffer holds at most maxCount bytes
        }
      }
      if (*buffer == nullptr) {
        *buffer = static_cast<uint8_t *>(cxdr::allocZeroed(n));
        if (*buffer == nullptr) {
          cxdr::assertFailed(cxdr::kLineUInt8sAlloc);
          return 0;
        }
      }
      return stream->getUInt8s(stream, *buffer, n) != 0 ? 1 : 0;
    }
    case CXDR_FREE:
      free(*buffer);
      *buffer = nullptr;
      return 1;
    default:
      return 0;
  }
}

ORV_API int cxdr_c_wrapstring(CXDR *stream, char **text) {
  constexpr uint32_t kMax = 0xFFFFFFFFu;
  switch (stream->direction) {
    case CXDR_ENCODE: {
      size_t length = *text != nullptr ? strlen(*text) : 0;
      if (length > kMax) {
        cxdr::assertFailed(cxdr::kLineCWrapEncodeLength);
        return 0;  // the length word cannot hold it
      }
      auto n = static_cast<uint32_t>(length);
      if (cxdr::put32(stream, n) == 0) {
        return 0;
      }
      if (n == 0) {
        return 1;
      }
      return stream->putCHARs(stream, *text, n) != 0 ? 1 : 0;
    }
    case CXDR_DECODE: {
      uint32_t n = 0;
      if (cxdr::get32(stream, &n) == 0) {
        return 0;
      }
      if (*text == nullptr) {
        size_t size = 0;
        if (cxdr::addSize(n, 1, &size)) {
          *text = static_cast<char *>(cxdr::allocZeroed(size));
        }
        if (*text == nullptr) {
          cxdr::assertFailed(cxdr::kLineCWrapAlloc);
          return 0;
        }
      }
      (*text)[n] = '\0';
      return stream->getCHARs(stream, *text, n) != 0 ? 1 : 0;
    }
    case CXDR_FREE:
      free(*text);
      *text = nullptr;
      return 1;
    default:
      return 0;
  }
}

}  // extern "C"
