// The allocator every runtime-class object is created and destroyed through.
//
// Objects are handed across the library boundary and released by whichever side
// drops the last reference, so both sides must use one allocator; routing class
// operator new/delete through these two functions guarantees it. Thread-safe.
#ifndef TARNLIB_PLATFORM_ODALLOC_H_
#define TARNLIB_PLATFORM_ODALLOC_H_

#include <cstddef>

#include "tarnlib/export.h"

// Returns a block of at least `size` bytes, or null when memory is exhausted.
TARNLIB_EXPORT void* odrxAlloc(std::size_t size);
// Frees a block from odrxAlloc; null is ignored.
TARNLIB_EXPORT void odrxFree(void* block);

#endif  // TARNLIB_PLATFORM_ODALLOC_H_
