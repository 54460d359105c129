// allocations.h: lets the allocations of the code under test fail, and counts what it holds.
//
// Only calls of malloc, calloc, realloc and free from the program's own objects are seen, and only
// in test programs that vnt_failing_allocations names; the C library's and C++'s are not.
//
// Threads: any.

#pragma once

#include <cstdint>
#include <gtest/gtest.h>

namespace vnt {

// Blocks allocated and not freed.
int64_t allocations_held(void);

// Lets `n` allocations succeed and the next one fail, once.  -1 switches that off.
void allocations_fail_after(int64_t n);

// Lets every allocation of more than `bytes` fail.  0 switches that off.
void allocations_limit(uint64_t bytes);

// The most bytes held at once since the last call, the allocator's overhead included.
int64_t allocations_peak(void);

// Runs `action` with its first allocation failing, then its second and so on, until it returns
// `good`.  Each failing run must return `bad` and hold no more than before.
template <class Action> int64_t allocations_fail_each(int good, int bad, Action action)
{
    for (int64_t n = 0;; n++) {
        int64_t before = allocations_held();
        allocations_fail_after(n);
        int rc = action();
        allocations_fail_after(-1);
        if (rc == good) return n;
        EXPECT_EQ(rc, bad) << "allocation " << n;
        EXPECT_EQ(allocations_held(), before) << "allocation " << n;
        if (testing::Test::HasFailure()) return n;
    }
}

} // namespace vnt
