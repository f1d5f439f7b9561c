// The object-stream class's heap blocks. Blocks the class owns (encoding
// buffers and trace buffers) carry a hidden header before the bytes the
// fields point to: a reference count, so that objects that share a block
// after operator= free it once, and a link for the trace buffers that the
// destructor keeps.
#ifndef ORVANE_SOURCE_COMMON_XDR_VTMXDR_INTERNAL_H
#define ORVANE_SOURCE_COMMON_XDR_VTMXDR_INTERNAL_H

#include <stddef.h>

#include "orvane/vtmxdr.h"

namespace vtmxdr {

// The blocks come from nls::allocate, so white-box tests make them fail
// with nls::testing::failAllocationsAfter.

// The bytes allocated for the object's data buffer.
uint32_t capacity(const vtmXdr &x);

// Trace buffers the destructor kept (entry tracing off) so far.
size_t keptTraceBuffers();

}  // namespace vtmxdr

#endif
