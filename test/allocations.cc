#include "test/allocations.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <malloc.h>

namespace vnt {

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

static std::atomic<int64_t> held_bytes{0};
static std::atomic<int64_t> peak{0};

static int64_t size(void *block)
{
    return block != nullptr ? static_cast<int64_t>(malloc_usable_size(block) + sizeof(size_t)) : 0;
}

static void count_bytes(int64_t change)
{
    int64_t now = held_bytes += change;
    int64_t before = peak;
    while (now > before && !peak.compare_exchange_weak(before, now)) {
    }
}

static void *count(void *block)
{
    if (block != nullptr) held++;
    count_bytes(size(block));
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
    int64_t before = size(block);
    void *grown = __real_realloc(block, n);
    if (block == nullptr) return count(grown);
    if (grown != nullptr) count_bytes(size(grown) - before);
    return grown;
}

void __wrap_free(void *block)
{
    if (block != nullptr) held--;
    count_bytes(-size(block));
    __real_free(block);
}

int64_t allocations_peak(void)
{
    return peak.exchange(held_bytes);
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

} // namespace vnt
