// Trace objects: a category filter and a staging buffer in front of the
// caller's writer.
#include <stdlib.h>
#include <string.h>

#include "orvane/trace.h"

extern "C" {

ORV_API TraceObj *traceObjCreate(uint32_t state, uint32_t mask, uint32_t bufferSize, orvTraceWriter writer) {
  // The handshake proves that the writer knows this interface.
  if (writer == nullptr || writer(0, nullptr, 0) != ORV_TRACE_MAGIC) {
    return nullptr;
  }
  TraceObj *trace = static_cast<TraceObj *>(malloc(sizeof(TraceObj)));
  if (trace == nullptr) {
    return nullptr;
  }
  trace->state = state;
  trace->mask = mask;
  trace->writer = writer;
  trace->bufferSize = bufferSize != 0 ? bufferSize : ORV_TRACE_DEFAULT_BUFFER;
  trace->buffer = static_cast<char *>(malloc(trace->bufferSize));
  if (trace->buffer == nullptr) {
    free(trace);
    return nullptr;
  }
  return trace;
}

ORV_API void traceObjDelete(TraceObj *trace) {
  if (trace == nullptr) {
    return;
  }
  free(trace->buffer);
  free(trace);
}

ORV_API void traceObjSetState(TraceObj *trace, uint32_t state) { trace->state = state; }

ORV_API uint32_t traceObjGetState(const TraceObj *trace) { return trace->state; }

ORV_API void traceObjSetMask(TraceObj *trace, uint32_t mask) { trace->mask = mask; }

ORV_API uint32_t traceObjGetMask(const TraceObj *trace) { return trace->mask; }

ORV_API void traceObjWrite(TraceObj *trace, uint32_t categories, const char *text, uint32_t length) {
  if (trace == nullptr || trace->state != 0 || trace->writer == nullptr || (categories & trace->mask) == 0) {
    return;
  }
  if (length < trace->bufferSize) {
    // The rest of the buffer is zeroed, so the staged text is terminated.
    memcpy(trace->buffer, text, length);
    memset(trace->buffer + length, 0, trace->bufferSize - length);
  } else {
    // Only bufferSize bytes are staged, without a terminator, yet the writer
    // is told the full length: a writer never reads past bufferSize bytes.
    memcpy(trace->buffer, text, trace->bufferSize);
  }
  trace->writer(categories, trace->buffer, length);
}

}  // extern "C"
