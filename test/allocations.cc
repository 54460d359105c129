#include "test/allocations.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

extern "C" {
void *__real_malloc(size_t);
void *__real_calloc(size_t, size_t);
void *__real_realloc(void *, size_t);
void __real_free(void *);
void *__wrap_malloc(size_t);
void *__wrap_calloc(size_t, size_t);
void *__wrap_realloc(void *, size_t);
void __wrap_free(void *);
}

static std::atomic<int64_t> held{0};
static std::atomic<int64_t> countdown{-1};
static std::atomic<uint64_t> limit{0};

static bool refused(uint64_t bytes)
{
    bool large = limit != 0 && bytes > limit;
    bool counted = countdown >= 0 && countdown-- == 0;
    if (large || counted) errno = ENOMEM;
    return large || counted;
}

static void *count(void *block)
{
    if (block != nullptr) held++;
    return block;
}

void *__wrap_malloc(size_t n)
{
    return refused(n) ? nullptr : count(__real_malloc(n));
}

void *__wrap_calloc(size_t n, size_t size)
{
    return refused(n * size) ? nullptr : count(__real_calloc(n, size));
}

void *__wrap_realloc(void *block, size_t n)
{
    if (refused(n)) return nullptr;
    void *grown = __real_realloc(block, n);
    return block == nullptr ? count(grown) : grown;
}

void __wrap_free(void *block)
{
    if (block != nullptr) held--;
    __real_free(block);
}

int64_t allocations_held(void)
{
    return held;
}

void allocations_fail_after(int64_t n)
{
    countdown = n;
}

void allocations_limit(uint64_t bytes)
{
    limit = bytes;
}
