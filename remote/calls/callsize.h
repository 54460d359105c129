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

// The argument that holds the begins of the matrix to which argument i, an unsized array, belongs;
// the next one holds the counts.
int matrix_begins(const solver_call *call, int i);

// How many entries a matrix of so many columns has in its arrays, gaps included: the highest
// begin + count of a column that has entries.  -1 when such a column begins before the arrays or
// ends beyond counting.
int64_t matrix_reach(const int64_t *begins, const int32_t *counts, int64_t columns);

// Whether each start lies within arrays of so many entries, or at their end.
bool starts_within(const int64_t *starts, int64_t count, int64_t entries);

// The number of entries that an array of starts points into.
int64_t entries_of(const call_size &size, const void *request);

// The size, 0 when negative, INT64_MAX when it is beyond counting.  What was not asked counts 0.
int64_t size_of(const call_size &size, const void *request, const size_answers &answers);

} // namespace vnt
