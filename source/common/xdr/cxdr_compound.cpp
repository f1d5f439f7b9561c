// The XDR compound filters: arrays, vectors, pointers, references, unions
// and the empty filter.
#include <stdlib.h>

#include "common/xdr/cxdr_internal.h"

namespace {

// Calls filter on count elements from array, stepping by elementSize; stops
// at the first failure.
int eachElement(CXDR *stream, void *array, uint32_t count, uint32_t elementSize, cxdrproc_t filter) {
  auto *element = static_cast<char *>(array);
  for (uint32_t i = 0; i < count; ++i) {
    if (filter(stream, element) == 0) {
      return 0;
    }
    element += elementSize;
  }
  return 1;
}

}  // namespace

extern "C" {

ORV_API int cxdr_array(CXDR *stream, void **array, uint32_t *count, uint32_t maxCount, uint32_t elementSize,
                       cxdrproc_t element) {
  switch (stream->direction) {
    case CXDR_ENCODE: {
      uint32_t n = *count;
      if (n > maxCount) {
        cxdr::assertFailed(cxdr::kLineArrayEncodeCount);
      }
      if (cxdr::put32(stream, n) == 0) {
        return 0;
      }
      if (n == 0) {
        return 1;
      }
      if (*array == nullptr) {
        return 0;  // a count with no elements behind it
      }
      return eachElement(stream, *array, n, elementSize, element);
    }
    case CXDR_DECODE: {
      uint32_t n = 0;
      if (cxdr::get32(stream, &n) == 0) {
        return 0;
      }
      if (n > maxCount) {
        cxdr::assertFailed(cxdr::kLineArrayDecodeCount);
        if (*array != nullptr) {
          // The caller's array holds at most maxCount elements: refused,
          // and the count is left as it was so that a FREE pass stays
          // inside the array.
          return 0;
        }
      }
      *count = n;
      if (*array == nullptr) {
        size_t size = 0;
        if (cxdr::multiplySize(n, elementSize, &size)) {
          *array = cxdr::allocZeroed(size);
        }
        if (*array == nullptr) {
          cxdr::assertFailed(cxdr::kLineArrayAlloc);
          return 0;
        }
      }
      return eachElement(stream, *array, n, elementSize, element);
    }
    case CXDR_FREE:
      if (*array == nullptr) {
        return 1;
      }
      eachElement(stream, *array, *count, elementSize, element);
      free(*array);
      *array = nullptr;
      return 1;
    default:
      return 0;
  }
}

ORV_API int cxdr_vector(CXDR *stream, void *array, uint32_t count, uint32_t elementSize, cxdrproc_t element) {
  switch (stream->direction) {
    case CXDR_DECODE:
    case CXDR_ENCODE:
      return eachElement(stream, array, count, elementSize, element);
    case CXDR_FREE:
      return 1;
    default:
      return 0;
  }
}

ORV_API int cxdr_pointer(CXDR *stream, void **object, uint32_t objectSize, cxdrproc_t filter) {
  switch (stream->direction) {
    case CXDR_ENCODE: {
      uint32_t present = *object != nullptr ? 1u : 0u;
      if (cxdr::put32(stream, present) == 0) {
        return 0;
      }
      return present != 0 ? filter(stream, *object) : 1;
    }
    case CXDR_DECODE: {
      uint32_t present = 0;
      if (cxdr::get32(stream, &present) == 0) {
        return 0;
      }
      if (present == 0) {
        return 1;
      }
      if (*object == nullptr) {
        *object = cxdr::allocZeroed(objectSize);
        if (*object == nullptr) {
          cxdr::assertFailed(cxdr::kLinePointerAlloc);
          return 0;
        }
      }
      return filter(stream, *object);
    }
    case CXDR_FREE:
      if (*object != nullptr) {
        filter(stream, *object);
        free(*object);
        *object = nullptr;
      }
      return 1;
    default:
      return 0;
  }
}

ORV_API int cxdr_reference(CXDR *stream, void **object, uint32_t objectSize, cxdrproc_t filter) {
  switch (stream->direction) {
    case CXDR_ENCODE:
      if (*object == nullptr) {
        return 0;  // nothing to encode: a reference must refer to an object
      }
      return filter(stream, *object);
    case CXDR_DECODE:
      if (*object == nullptr) {
        *object = cxdr::allocZeroed(objectSize);
        if (*object == nullptr) {
          cxdr::assertFailed(cxdr::kLineReferenceAlloc);
          return 0;
        }
      }
      return filter(stream, *object);
    case CXDR_FREE:
      if (*object != nullptr) {
        filter(stream, *object);
        free(*object);
        *object = nullptr;
      }
      return 1;
    default:
      return 0;
  }
}

ORV_API int cxdr_union(CXDR *stream, int32_t *discriminant, void *unionData, const cxdr_discrim *choices,
                       cxdrproc_t defaultArm) {
  switch (stream->direction) {
    case CXDR_ENCODE:
    case CXDR_DECODE:
      if (cxdr_enum(stream, discriminant) == 0) {
        return 0;
      }
      break;
    case CXDR_FREE:
      break;
    default:
      return 0;
  }
  if (choices != nullptr) {
    for (const cxdr_discrim *c = choices; c->proc != nullptr; ++c) {
      if (c->value == *discriminant) {
        return c->proc(stream, unionData);
      }
    }
  }
  if (defaultArm == nullptr) {
    return 0;
  }
  return defaultArm(stream, unionData);
}

ORV_API int cxdr_void(void) { return 1; }

}  // extern "C"
