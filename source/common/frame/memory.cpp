// The library's heap, exported so that blocks handed across the library
// boundary are allocated and freed by the same runtime.
#include <stdlib.h>

#include "orvane/frame.h"

extern "C" {

ORV_API void *orvMemoryAllocFunc(size_t size) { return malloc(size); }

ORV_API void orvMemoryFreeFunc(void *block) { free(block); }

}  // extern "C"
