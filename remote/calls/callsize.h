// callsize.h: how long the arrays of a call are, for both ends of it.
//
// Threads: any.

#pragma once

#include "remote/calls/solvercall.h"

namespace vnt {

// What the solver has said about sizes.
struct size_answers {
    uint32_t asked; // a bit for each query with an answer
    int64_t answers[QUERY_COUNT];
};

constexpr uint32_t query_bit(int query)
{
    return 1u << query;
}

// Whether the size follows from the request and from what was asked.
bool size_known(const call_size &size, const size_answers &answers);

// The size, 0 when negative, INT64_MAX when it is beyond counting.  What was not asked counts 0.
int64_t size_of(const call_size &size, const void *request, const size_answers &answers);

} // namespace vnt
