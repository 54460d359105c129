// slabs.h: the memory that the two pumps of a worker run on: a small stack and a buffer for each.
//
// Slabs are carved from blocks mapped for many.  With stacks of the default size, a mapping each,
// fork() would copy thousands of mappings once a thousand workers idle.
//
// Ownership: the taker gives a slab back once the threads on it have been joined.  Blocks stay
// mapped for the next workers, but a slab that was given back holds no memory.
//
// Threads: any.

#pragma once

#include "remote/base/sanitizer.h"

#include <cstddef>

namespace vnt {

// The stack is for shallow code alone; the sanitizers' frames need more.
constexpr size_t SLAB_STACK = SANITIZED ? 1 << 20 : 1 << 16;
constexpr size_t SLAB_BUFFER = 1 << 16;

struct slab {
    char stacks[2][SLAB_STACK];
    char buffers[2][SLAB_BUFFER];
};

// Null and errno when there is no memory.
slab *slab_take(void);
void slab_give(slab *s); // null is fine

} // namespace vnt
