// The trace line routine shared by the thread and synchronisation layers.
//
// Every traced operation writes a start line (its name left-aligned in 25
// columns, then "[S]") and an end line ("[E]"), or a single line with its
// name in 28 columns. Labels and values follow; pointers are printed with
// "%8" PRIxPTR, numbers with "%8d".
#ifndef ORVANE_TRACE_LINE_H
#define ORVANE_TRACE_LINE_H

#include <cstdarg>
#include <cstdint>

#include "orvane/trace.h"

namespace trace {

// Width of the name column of start and end lines, which the marker follows.
constexpr int kMarkedNameWidth = 25;
// Width of the name column of single lines.
constexpr int kSingleNameWidth = 28;
// Size of the local buffer a line is formatted into.
constexpr int kLineBufferSize = 300;

constexpr const char kStartMarker[] = "[S]";
constexpr const char kEndMarker[] = "[E]";

// Formats one line into a local 300-byte buffer and hands it to
// traceObjWrite. Does nothing when trace is null. A line that would not fit
// is cut to the buffer (the layer formats stay well below it).
void writeLine(TraceObj *trace, uint32_t category, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;
void writeLineV(TraceObj *trace, uint32_t category, const char *format, va_list args);

}  // namespace trace

#endif
