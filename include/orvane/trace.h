/**
 * @file orvane/trace.h
 * @brief Trace objects: a caller-owned filter and staging buffer in front of
 * a caller-supplied writer.
 *
 * The application creates a TraceObj with a writer and attaches it to a
 * thread (orvThreadSetTraceObj()) or an object stream; the library then
 * pushes its trace lines through it. Attaching does not transfer ownership:
 * keep the object alive while anything uses it. A TraceObj has no lock;
 * threads that share one share its staging buffer.
 */
#ifndef ORVANE_TRACE_H
#define ORVANE_TRACE_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/** Trace category: thread operations. */
#define ORV_TRACE_THREADS 0x001u
/** Trace category: thread keys. */
#define ORV_TRACE_KEYS 0x002u
/** Trace category: mutexes. */
#define ORV_TRACE_MUTEXES 0x004u
/** Trace category: semaphores. */
#define ORV_TRACE_SEMAPHORES 0x008u
/** Trace category: conditions. */
#define ORV_TRACE_CONDITIONS 0x010u
/** Trace category: events. */
#define ORV_TRACE_EVENTS 0x020u
/** Trace category: read-write locks. */
#define ORV_TRACE_RWLOCKS 0x040u
/** Trace category: recursive locks. */
#define ORV_TRACE_RECURSIVE 0x080u
/** Trace category: the thread layer's internal steps; in a mask it also
 * shows the inner calls of composite operations (a condition's semaphore,
 * mutex and event calls), which are hidden without it. */
#define ORV_TRACE_INTERNAL 0x100u

/** The value a writer must return to the handshake call (0, NULL, 0) that
 * traceObjCreate() makes. */
#define ORV_TRACE_MAGIC 0x71077E45u

/** Staging buffer size used when 0 is given at creation. */
#define ORV_TRACE_DEFAULT_BUFFER 1024u

/** The caller's writer: receives the categories of a line, the staging
 * buffer and the line's length. Its result is ignored except for the
 * handshake, where it must return #ORV_TRACE_MAGIC. A line's length may
 * exceed the buffer size (see traceObjWrite()): never read more than
 * TraceObj::bufferSize bytes. */
typedef uint32_t (*orvTraceWriter)(uint32_t categories, char *text, uint32_t length);

/** A trace object (see the file description). */
typedef struct TraceObj {
  uint32_t state;        /**< 0: output on; anything else holds output back */
  uint32_t mask;         /**< categories that pass the filter */
  orvTraceWriter writer; /**< the caller's writer */
  uint32_t bufferSize;   /**< size of the staging buffer in bytes */
  char *buffer;          /**< staging buffer, owned by the trace object */
} TraceObj;

/** Creates a trace object. The writer is first called with (0, NULL, 0) and
 * must return #ORV_TRACE_MAGIC. bufferSize 0 gives
 * #ORV_TRACE_DEFAULT_BUFFER bytes.
 * @return the object (delete it with traceObjDelete()), or null for a
 * refused writer or when out of memory. */
ORV_API TraceObj *traceObjCreate(uint32_t state, uint32_t mask, uint32_t bufferSize, orvTraceWriter writer);
/** Frees a trace object and its buffer; the writer is not called. */
ORV_API void traceObjDelete(TraceObj *trace);
/** Sets the state word: 0 lets output through, anything else holds it back. */
ORV_API void traceObjSetState(TraceObj *trace, uint32_t state);
/** Returns the state word. */
ORV_API uint32_t traceObjGetState(const TraceObj *trace);
/** Sets the category mask. */
ORV_API void traceObjSetMask(TraceObj *trace, uint32_t mask);
/** Returns the category mask. */
ORV_API uint32_t traceObjGetMask(const TraceObj *trace);
/** Writes a line when the state is 0, a writer is set and categories meet
 * the mask. A text shorter than the buffer is copied and zero-filled to the
 * buffer's end; a longer one is cut to the buffer size without terminator,
 * and the writer still receives the full length. */
ORV_API void traceObjWrite(TraceObj *trace, uint32_t categories, const char *text, uint32_t length);

ORV_EXTERN_C_END

#endif
