// Heap blocks of the language-support and string layers. Every block is a
// plain malloc block (callers outside the library free them with free or
// orvMemoryFreeFunc); the wrappers exist so that white-box tests can make an
// allocation fail and check the out-of-memory paths.
#ifndef ORVANE_NLS_ALLOC_H
#define ORVANE_NLS_ALLOC_H

#include <cstddef>

namespace nls {

// malloc and realloc, or null when memory runs out (or a test asked for a
// failure).
void *allocate(size_t size);
void *reallocate(void *block, size_t size);

// A heap copy of text, or null.
char *duplicate(const char *text);

namespace testing {
// Lets the next `count` allocations succeed and fails every one after them,
// until reset with a negative count (the default: nothing fails).
void failAllocationsAfter(long count);
}  // namespace testing

}  // namespace nls

#endif
