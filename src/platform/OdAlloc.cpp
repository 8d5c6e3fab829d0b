#include "tarnlib/platform/OdAlloc.h"

#include <cstdlib>

void* odrxAlloc(std::size_t size) {
  // malloc(0) may return null, which callers would take for exhaustion.
  return std::malloc(size ? size : 1);
}

void odrxFree(void* block) { std::free(block); }
