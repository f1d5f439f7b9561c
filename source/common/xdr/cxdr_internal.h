// Internals of the XDR streams: tracing through the debug device, the
// module's assertion lines, the assertion hook of the fuzz harness and the
// white-box tests, and sizes computed without wrapping.
#ifndef ORVANE_XDR_CXDR_INTERNAL_H
#define ORVANE_XDR_CXDR_INTERNAL_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "orvane/debug.h"
#include "orvane/xdr.h"

namespace cxdr {

// The trace-action bit that makes the streams trace.
constexpr uint32_t kTraceBit = 0x4000u;

// True while the XDR trace bit of TraceActions is set.
inline bool tracing() { return (TraceActions & kTraceBit) != 0; }

// Formats a trace text and prints it on TraceDevice under label. Callers
// test tracing() first (CXDR_TRACE does), so that an untraced stream pays
// for no call and no argument set-up.
void traceText(const char *label, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

// Dumps bytes to TraceDevice under label.
void traceDumpText(const char *label, const void *data, uint32_t count);

// The same, when tracing.
inline void traceDump(const char *label, const void *data, uint32_t count) {
  if (tracing()) {
    traceDumpText(label, data, count);
  }
}

}  // namespace cxdr

// A trace text under label, when tracing.
#define CXDR_TRACE(...)             \
  do {                              \
    if (cxdr::tracing()) {          \
      cxdr::traceText(__VA_ARGS__); \
    }                               \
  } while (0)

namespace cxdr {

// The trace name of a direction: "NOP", "DECODE", "ENCODE", "FREE" (also
// for every value above 3).
const char *directionName(uint32_t direction);

// Assertion lines of the module "CXDR".
constexpr int kLineArrayEncodeCount = 946;
constexpr int kLineArrayDecodeCount = 963;
constexpr int kLineArrayAlloc = 967;
constexpr int kLineStringReadAlloc = 776;
constexpr int kLineStringMbSize = 812;
constexpr int kLineStringMbAlloc = 816;
constexpr int kLineUInt8sEncodeCount = 1184;
constexpr int kLineUInt8sDecodeCount = 1195;
constexpr int kLineUInt8sAlloc = 1199;
constexpr int kLineCharsEncodeCount = 1297;
constexpr int kLineCharsDecodeCount = 1309;
constexpr int kLineCharsAlloc = 1319;
constexpr int kLinePointerAlloc = 1677;
constexpr int kLineReferenceAlloc = 1723;
constexpr int kLineStringEncodeLength = 1800;
constexpr int kLineStringDecodeLength = 1822;
constexpr int kLineStringAlloc = 1832;
constexpr int kLineCWrapEncodeLength = 1881;
constexpr int kLineCWrapDecodeLength = 1893;
constexpr int kLineCWrapAlloc = 1897;

// Reports a failed check of the module "CXDR" at line: through the hook
// when one is set (the hook returns and the filter goes on), otherwise
// through orvAssert, which ends the process.
void assertFailed(int line);

// The hook that receives the module's assertions instead of orvAssert;
// null restores orvAssert. Internal: for the fuzz harness and the white-box
// tests, never exported.
using AssertHook = void (*)(const char *sourceName, int line);
void setAssertHook(AssertHook hook);

// Host to network order and back (the hosts are little-endian); inline,
// so that the streams do not call the exported functions.
inline uint32_t swap32(uint32_t v) {
  return ((v & 0xFFu) << 24) | ((v & 0xFF00u) << 8) | ((v >> 8) & 0xFF00u) | (v >> 24);
}
inline uint16_t swap16(uint16_t v) { return static_cast<uint16_t>((v << 8) | (v >> 8)); }

// --- Memory-stream units without a call through the record ---------------
//
// A filter on a memory stream whose unit operation is still the memory
// stream's own, while nothing is traced, does the operation's common case
// in place: the unit aligned to its width fits inside the limit, and the
// limit inside the buffer. Anything else (no room, the hooks, tracing, an
// operation the user replaced) goes through the record's operation, which
// handles it exactly as before.

// The place of the next unit of width bytes (1, 2 or 4) with the position
// moved past it, or null when the common case does not hold (nothing is
// changed then).
inline uint8_t *fastUnitAt(CXDR *s, uint32_t width) {
  const uint32_t pos = s->position;
  const uint32_t aligned = (pos + (width - 1)) & ~(width - 1);
  const uint32_t limit = s->limit;
  uint8_t *buffer = s->buffer;
  if (aligned >= pos && buffer != nullptr && limit <= s->size && aligned <= limit &&
      limit - aligned >= width) {
    s->position = aligned + width;
    return buffer + aligned;
  }
  return nullptr;
}

// 32-bit units: 1 done, 0 when the caller must use the record's operation.
inline int fastPut32(CXDR *s, uint32_t value) {
  if (s->putUInt32 != cxdrmem_putUInt32 || tracing()) {
    return 0;
  }
  uint8_t *at = fastUnitAt(s, 4);
  if (at == nullptr) {
    return 0;
  }
  const uint32_t wire = swap32(value);
  memcpy(at, &wire, 4);
  return 1;
}

inline int fastGet32(CXDR *s, uint32_t *value) {
  if (s->getUInt32 != cxdrmem_getUInt32 || tracing()) {
    return 0;
  }
  const uint8_t *at = fastUnitAt(s, 4);
  if (at == nullptr) {
    return 0;
  }
  uint32_t wire = 0;
  memcpy(&wire, at, 4);
  *value = swap32(wire);
  return 1;
}

// A 32-bit unit through the fast path or the record's operation.
inline int put32(CXDR *s, uint32_t value) {
  return fastPut32(s, value) != 0 || s->putUInt32(s, &value) != 0 ? 1 : 0;
}
inline int get32(CXDR *s, uint32_t *value) {
  return fastGet32(s, value) != 0 || s->getUInt32(s, value) != 0 ? 1 : 0;
}

// count x size as a size_t, or false when it cannot be represented.
inline bool multiplySize(uint32_t count, uint32_t size, size_t *out) {
  uint64_t total = static_cast<uint64_t>(count) * size;
  if (total > SIZE_MAX) {
    return false;
  }
  *out = static_cast<size_t>(total);
  return true;
}

// count + add as a size_t, or false when it cannot be represented.
inline bool addSize(uint32_t count, uint32_t add, size_t *out) {
  uint64_t total = static_cast<uint64_t>(count) + add;
  if (total > SIZE_MAX) {
    return false;
  }
  *out = static_cast<size_t>(total);
  return true;
}

// A zero-filled block of size bytes (at least one byte, so that an empty
// object is still a distinct block), or null.
void *allocZeroed(size_t size);

// Replaces the allocator behind allocZeroed (null restores calloc).
// Internal: the white-box tests use it to make allocations fail.
using AllocHook = void *(*)(size_t size);
void setAllocHook(AllocHook hook);

}  // namespace cxdr

#endif
