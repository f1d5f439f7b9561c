// XDR memory streams: the stream record over a caller's buffer, with 16-
// and 32-bit units aligned to their width, sequences copied in pieces, and
// hooks called when the buffer runs out (overflow mode 2).
#include <stdlib.h>
#include <string.h>

#include "common/xdr/cxdr_internal.h"

namespace {

// True when width bytes fit at the position: inside the limit, and the
// limit inside the buffer.
bool hasRoom(const CXDR *s, uint32_t width) {
  return s->buffer != nullptr && s->limit <= s->size && s->position <= s->limit &&
         width <= s->limit - s->position;
}

// Aligns the position up to a multiple of width (2 or 4). A position that
// would wrap is carried to the end of the range, where no unit fits.
void align(CXDR *s, uint32_t width) {
  uint64_t p = (static_cast<uint64_t>(s->position) + width - 1) & ~static_cast<uint64_t>(width - 1);
  s->position = p > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(p);
}

// Makes room for a unit of width bytes: the bound test, then the hook in
// overflow mode 2. After a hook that reports success, a unit that still
// does not fit fails as a failed read or write, instead of touching memory
// past the buffer.
#if defined(__GNUC__)
__attribute__((noinline))
#endif
bool makeUnitRoom(CXDR *s, uint32_t width, bool reading, const char *label) {
  if (static_cast<uint64_t>(s->position) + width <= s->limit) {
    if (hasRoom(s, width)) {
      return true;
    }
    CXDR_TRACE(label, "Buffer overflow!");
    return false;
  }
  if (s->overflowMode != CXDR_OVERFLOW_HOOKS) {
    CXDR_TRACE(label, "Buffer overflow!");
    return false;
  }
  cxdrStreamOp hook = reading ? s->decodeHook : s->encodeHook;
  if (hook == nullptr || hook(s) == 0 || !hasRoom(s, width)) {
    CXDR_TRACE(label, reading ? "XDR read fail" : "XDR write fail");
    return false;
  }
  return true;
}

// The place of the next unit of width bytes (2 and 4 aligned first), with
// the position moved past it; null when there is no room, after the
// overflow handling.
#if defined(__GNUC__)
__attribute__((noinline))
#endif
uint8_t *
unitAtSlow(CXDR *s, uint32_t width, bool reading, const char *label) {
  if (width > 1) {
    align(s, width);
  }
  if (!makeUnitRoom(s, width, reading, label)) {
    return nullptr;
  }
  uint8_t *at = s->buffer + s->position;
  s->position += width;
  return at;
}

// The common case inline: the aligned unit fits inside the limit, and the
// limit inside the buffer.
inline uint8_t *unitAt(CXDR *s, uint32_t width, bool reading, const char *label) {
  uint32_t pos = s->position;
  uint32_t aligned = (pos + (width - 1)) & ~(width - 1);
  if (aligned >= pos && s->buffer != nullptr && s->limit <= s->size && aligned <= s->limit &&
      s->limit - aligned >= width) {
    s->position = aligned + width;
    return s->buffer + aligned;
  }
  return unitAtSlow(s, width, reading, label);
}

// Makes room for the next piece of a sequence: something must be left
// between the position and the limit. A hook that makes no room fails the
// operation, so that it cannot loop for ever.
#if defined(__GNUC__)
__attribute__((noinline))
#endif
bool makeSequenceRoom(CXDR *s, bool reading, const char *label) {
  if (s->position < s->limit) {
    if (hasRoom(s, 1)) {
      return true;
    }
    CXDR_TRACE(label, "Buffer overflow!");
    return false;
  }
  if (s->overflowMode != CXDR_OVERFLOW_HOOKS) {
    CXDR_TRACE(label, "Buffer overflow!");
    return false;
  }
  cxdrStreamOp hook = reading ? s->decodeHook : s->encodeHook;
  if (hook == nullptr || hook(s) == 0 || !hasRoom(s, 1)) {
    CXDR_TRACE(label, reading ? "XDR Read Fail" : "XDR write fail");
    return false;
  }
  return true;
}

// The common case inline: something is left between the position and the
// limit, inside the buffer.
inline bool sequenceRoom(CXDR *s, bool reading, const char *label) {
  if (s->buffer != nullptr && s->limit <= s->size && s->position < s->limit) {
    return true;
  }
  return makeSequenceRoom(s, reading, label);
}

int getSequence(CXDR *s, uint8_t *buffer, uint32_t count, const char *label, const char *readText) {
  if (count == 0) {
    return 1;
  }
  CXDR_TRACE(label, readText, static_cast<unsigned long>(count));
  uint32_t remaining = count;
  while (remaining > 0) {
    if (!sequenceRoom(s, true, label)) {
      return 0;
    }
    uint32_t piece = s->limit - s->position;
    if (piece > remaining) {
      piece = remaining;
    }
    memcpy(buffer, s->buffer + s->position, piece);
    cxdr::traceDump(label, buffer, piece);
    s->position += piece;
    buffer += piece;
    remaining -= piece;
  }
  return 1;
}

int putSequence(CXDR *s, const uint8_t *buffer, uint32_t count, const char *label) {
  if (count == 0) {
    return 1;
  }
  cxdr::traceDump(label, buffer, count);
  uint32_t remaining = count;
  while (remaining > 0) {
    if (!sequenceRoom(s, false, label)) {
      return 0;
    }
    uint32_t piece = s->limit - s->position;
    if (piece > remaining) {
      piece = remaining;
    }
    memcpy(s->buffer + s->position, buffer, piece);
    s->position += piece;
    buffer += piece;
    remaining -= piece;
  }
  return 1;
}

}  // namespace

extern "C" {

ORV_API int cxdrmem_create(CXDR *stream, uint32_t direction, void *buffer, uint32_t size) {
  uint32_t rounded = size & ~3u;
  CXDR_TRACE("cxdrmem_create", "Allocate %s stream (%lu bytes)", cxdr::directionName(direction),
             static_cast<unsigned long>(rounded));
  stream->encryptFlag = 0;
  stream->encryptState = nullptr;
  stream->decryptFlag = 0;
  stream->decryptState = nullptr;
  stream->overflowMode = 0;
  stream->ownedStorage = nullptr;
  stream->position = 0;
  stream->unicode = 0;
  stream->size = rounded;
  stream->limit = rounded;
  stream->direction = direction;
  stream->buffer = static_cast<uint8_t *>(buffer);
  stream->getUInt8 = cxdrmem_getUInt8;
  stream->putUInt8 = cxdrmem_putUInt8;
  stream->getUInt16 = cxdrmem_getUInt16;
  stream->putUInt16 = cxdrmem_putUInt16;
  stream->getUInt32 = cxdrmem_getUInt32;
  stream->putUInt32 = cxdrmem_putUInt32;
  stream->getUInt8s = cxdrmem_getUInt8s;
  stream->putUInt8s = cxdrmem_putUInt8s;
  stream->getCHARs = cxdrmem_getCHARs;
  stream->putCHARs = cxdrmem_putCHARs;
  stream->getpos = cxdrmem_getpos;
  stream->putpos = cxdrmem_putpos;
  stream->destroy = cxdrmem_destroy;
  stream->encryptinit = cxdrmem_encryptinit;
  stream->decryptinit = cxdrmem_decryptinit;
  stream->decodeHook = cxdrmem_decode;
  stream->encodeHook = cxdrmem_encode;
  return 1;
}

ORV_API int cxdrmem_open(CXDR *stream) {
  stream->limit = stream->size;
  stream->position = 0;
  return 1;
}

ORV_API int cxdrmem_close(CXDR *stream) {
  stream->position = 0;
  return 1;
}

ORV_API int cxdrmem_destroy(CXDR *stream) {
  CXDR_TRACE("cxdrmem_destroy", "Free stream [%x]",
             static_cast<unsigned>(reinterpret_cast<uintptr_t>(stream)));
  free(stream->ownedStorage);
  stream->ownedStorage = nullptr;
  free(stream->encryptState);
  stream->encryptState = nullptr;
  free(stream->decryptState);
  stream->decryptState = nullptr;
  return 1;
}

ORV_API int cxdrmem_getUInt8(CXDR *stream, uint8_t *value) {
  const uint8_t *at = unitAt(stream, 1, true, "cxdrmem_getUInt8");
  if (at == nullptr) {
    return 0;
  }
  *value = *at;
  CXDR_TRACE("cxdrmem_getUInt8", "Read 0x%x", static_cast<unsigned>(*value));
  return 1;
}

ORV_API int cxdrmem_putUInt8(CXDR *stream, const uint8_t *value) {
  CXDR_TRACE("cxdrmem_putUInt8", "Write 0x%x", static_cast<unsigned>(*value));
  uint8_t *at = unitAt(stream, 1, false, "cxdrmem_putUInt8");
  if (at == nullptr) {
    return 0;
  }
  *at = *value;
  return 1;
}

ORV_API int cxdrmem_getUInt16(CXDR *stream, uint16_t *value) {
  const uint8_t *at = unitAt(stream, 2, true, "cxdrmem_getUInt16");
  if (at == nullptr) {
    return 0;
  }
  uint16_t wire = 0;
  memcpy(&wire, at, 2);
  *value = cxdr::swap16(wire);
  CXDR_TRACE("cxdrmem_getUInt16", "Read 0x%x", static_cast<unsigned>(*value));
  return 1;
}

ORV_API int cxdrmem_putUInt16(CXDR *stream, const uint16_t *value) {
  CXDR_TRACE("cxdrmem_putUInt16", "Write 0x%x", static_cast<unsigned>(*value));
  uint8_t *at = unitAt(stream, 2, false, "cxdrmem_putUInt16");
  if (at == nullptr) {
    return 0;
  }
  uint16_t wire = cxdr::swap16(*value);
  memcpy(at, &wire, 2);
  return 1;
}

ORV_API int cxdrmem_getUInt32(CXDR *stream, uint32_t *value) {
  const uint8_t *at = unitAt(stream, 4, true, "cxdrmem_getUInt32");
  if (at == nullptr) {
    return 0;
  }
  uint32_t wire = 0;
  memcpy(&wire, at, 4);
  *value = cxdr::swap32(wire);
  CXDR_TRACE("getUInt32", "Read 0x%lx", static_cast<unsigned long>(*value));
  return 1;
}

ORV_API int cxdrmem_putUInt32(CXDR *stream, const uint32_t *value) {
  CXDR_TRACE("cxdrmem_putUInt32", "Write 0x%lx", static_cast<unsigned long>(*value));
  uint8_t *at = unitAt(stream, 4, false, "cxdrmem_putUInt32");
  if (at == nullptr) {
    return 0;
  }
  uint32_t wire = cxdr::swap32(*value);
  memcpy(at, &wire, 4);
  return 1;
}

ORV_API int cxdrmem_getUInt8s(CXDR *stream, uint8_t *buffer, uint32_t count) {
  return getSequence(stream, buffer, count, "cxdrmem_getUInt8s", "Read %lu bytes");
}

ORV_API int cxdrmem_putUInt8s(CXDR *stream, uint8_t *buffer, uint32_t count) {
  return putSequence(stream, buffer, count, "cxdrmem_putUInt8s");
}

ORV_API int cxdrmem_getCHARs(CXDR *stream, char *buffer, uint32_t count) {
  return getSequence(stream, reinterpret_cast<uint8_t *>(buffer), count, "cxdrmem_getCHARs",
                     "Read %lu chars");
}

ORV_API int cxdrmem_putCHARs(CXDR *stream, char *buffer, uint32_t count) {
  return putSequence(stream, reinterpret_cast<const uint8_t *>(buffer), count, "cxdrmem_putCHARs");
}

ORV_API int cxdrmem_getpos(CXDR *stream, uint32_t *position) {
  *position = stream->position;
  CXDR_TRACE("cxdrmem_getpos", "Position %lu", static_cast<unsigned long>(stream->position));
  return 1;
}

ORV_API int cxdrmem_putpos(CXDR *stream, uint32_t position) {
  if (position >= stream->limit) {
    CXDR_TRACE("cxdrmem_putpos", "Overflow!");
    return 0;
  }
  stream->position = position;
  return 1;
}

}  // extern "C"
