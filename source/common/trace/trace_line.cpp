// The shared trace line routine.
#include "common/trace/trace_line.h"

#include <stdio.h>

namespace trace {

void writeLineV(TraceObj *trace, uint32_t category, const char *format, va_list args) {
  if (trace == nullptr) {
    return;
  }
  char line[kLineBufferSize];
  int n = vsnprintf(line, sizeof line, format, args);
  if (n < 0) {
    return;
  }
  uint32_t length = static_cast<uint32_t>(n) < sizeof line ? static_cast<uint32_t>(n)
                                                           : static_cast<uint32_t>(sizeof line - 1);
  traceObjWrite(trace, category, line, length);
}

void writeLine(TraceObj *trace, uint32_t category, const char *format, ...) {
  va_list args;
  va_start(args, format);
  writeLineV(trace, category, format, args);
  va_end(args);
}

}  // namespace trace
