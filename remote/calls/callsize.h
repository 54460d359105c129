// callsize.h: computes the lengths of a call's arrays, for both ends.
//
// Threads: any.

#pragma once

#include "remote/calls/solvercall.h"

namespace vnt {

// The solver's answers about sizes.
struct size_answers {
    uint32_t asked; // a bit for each query with an answer
    int64_t answers[QUERY_COUNT];
};

constexpr uint32_t query_bit(int query)
{
    return 1u << query;
}

// Whether the size follows from the request and the answers.
bool size_known(const call_size &size, const size_answers &answers);

// The argument that holds the begins of the matrix to which argument i, an unsized array, belongs;
// the next one holds the counts.
int matrix_begins(const solver_call *call, int i);

// How many entries the arrays of a matrix of so many columns must have: the highest begin + count
// of a column that has entries.  -1 if such a begin is negative or the sum overflows.
int64_t matrix_reach(const int64_t *begins, const int32_t *counts, int64_t columns);

// Whether each start lies within arrays of so many entries, or at their end.
bool starts_within(const int64_t *starts, int64_t count, int64_t entries);

// The number of entries that an array of starts points into.
int64_t entries_of(const call_size &size, const void *request);

// The size; 0 if negative, INT64_MAX on overflow.  A query that was not asked counts as 0.
int64_t size_of(const call_size &size, const void *request, const size_answers &answers);

} // namespace vnt
