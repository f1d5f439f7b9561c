// The XDR module "CXDR": tracing through the debug device, the module's
// assertions, and the byte-order functions.
#include <stdarg.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>

#include "common/xdr/cxdr_internal.h"
#include "orvane/debug.h"
#include "orvane/frame.h"

// The record has the 32-bit layout exactly where pointers are 32 bits wide.
static_assert(sizeof(void *) != 4 || sizeof(CXDR) == sizeof(uint32_t) * 31u, "CXDR keeps its 31 words");
static_assert(offsetof(CXDR, direction) == 0, "direction is the first word");

namespace cxdr {

namespace {
AssertHook assertHook = nullptr;
AllocHook allocHook = nullptr;
}  // namespace

void traceText(const char *label, const char *format, ...) {
  char text[512];
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof text, format, args);
  va_end(args);
  debug_Print(TraceDevice, label, text);
}

void traceDumpText(const char *label, const void *data, uint32_t count) {
  debug_Dump(TraceDevice, label, data, count);
}

const char *directionName(uint32_t direction) {
  switch (direction) {
    case CXDR_NOP:
      return "NOP";
    case CXDR_DECODE:
      return "DECODE";
    case CXDR_ENCODE:
      return "ENCODE";
    default:
      return "FREE";
  }
}

void assertFailed(int line) {
  if (assertHook != nullptr) {
    assertHook("CXDR", line);
    return;
  }
  orvAssert("CXDR", line);
}

void setAssertHook(AssertHook hook) { assertHook = hook; }

void *allocZeroed(size_t size) {
  if (size == 0) {
    size = 1;
  }
  if (allocHook != nullptr) {
    return allocHook(size);
  }
  return calloc(size, 1);
}

void setAllocHook(AllocHook hook) { allocHook = hook; }

}  // namespace cxdr

extern "C" {

ORV_API uint32_t h2nl(uint32_t value) { return cxdr::swap32(value); }

ORV_API uint16_t h2ns(uint16_t value) { return cxdr::swap16(value); }

ORV_API uint32_t n2hl(uint32_t value) { return cxdr::swap32(value); }

ORV_API uint16_t n2hs(uint16_t value) { return cxdr::swap16(value); }

}  // extern "C"
