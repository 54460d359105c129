// slabs.h: memory for the two pumps of a worker: a small stack for each.
//
// Many slabs share one mapping.  If each stack had a mapping of its own, fork() would copy
// thousands of them with a thousand workers.  A new worker finds the mapping empty, so that fork()
// does not copy its tables either.  The C library keeps its records of threads there: it unlinks
// the forking thread from its neighbours, which is harmless, and follows no link, unless a thread
// is being joined; so the lock of owned.h is held for that.
//
// Ownership: the caller gives a slab back after joining its threads.  The mapping stays for the
// next workers, but the memory of a returned slab is released.
//
// Threads: any.

#pragma once

#include "remote/base/sanitizer.h"

#include <cstddef>

namespace vnt {

// The stack is for shallow code only; a sanitizer needs more.
constexpr size_t SLAB_STACK = SANITIZED ? 1 << 20 : 1 << 15;

constexpr bool SLAB_HIDDEN = !SANITIZED; // from new workers

struct slab {
    char stacks[2][SLAB_STACK];
};

// Null and errno when there is no memory.
slab *slab_take(void);
void slab_give(slab *s); // null is fine

} // namespace vnt
