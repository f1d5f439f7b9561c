/* Orvane services: trace objects. A trace object filters lines by category
 * and stages them in its own buffer before handing them to the caller's
 * writer. */
#ifndef ORVANE_TRACE_H
#define ORVANE_TRACE_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/* Trace categories: bits of a trace object's mask and of every write. */
#define ORV_TRACE_THREADS 0x001u
#define ORV_TRACE_KEYS 0x002u
#define ORV_TRACE_MUTEXES 0x004u
#define ORV_TRACE_SEMAPHORES 0x008u
#define ORV_TRACE_CONDITIONS 0x010u
#define ORV_TRACE_EVENTS 0x020u
#define ORV_TRACE_RWLOCKS 0x040u
#define ORV_TRACE_RECURSIVE 0x080u
#define ORV_TRACE_INTERNAL 0x100u

/* The value a writer returns to the handshake call (0, NULL, 0). */
#define ORV_TRACE_MAGIC 0x71077E45u

/* Default staging buffer size when 0 is given at creation. */
#define ORV_TRACE_DEFAULT_BUFFER 1024u

typedef uint32_t (*orvTraceWriter)(uint32_t categories, char *text, uint32_t length);

typedef struct TraceObj {
  uint32_t state; /* 0: output on; anything else holds output back */
  uint32_t mask;  /* categories that pass the filter */
  orvTraceWriter writer;
  uint32_t bufferSize;
  char *buffer;
} TraceObj;

ORV_API TraceObj *traceObjCreate(uint32_t state, uint32_t mask, uint32_t bufferSize, orvTraceWriter writer);
ORV_API void traceObjDelete(TraceObj *trace);
ORV_API void traceObjSetState(TraceObj *trace, uint32_t state);
ORV_API uint32_t traceObjGetState(const TraceObj *trace);
ORV_API void traceObjSetMask(TraceObj *trace, uint32_t mask);
ORV_API uint32_t traceObjGetMask(const TraceObj *trace);
ORV_API void traceObjWrite(TraceObj *trace, uint32_t categories, const char *text, uint32_t length);

ORV_EXTERN_C_END

#endif
