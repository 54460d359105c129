// convex.h: whether a quadratic objective is convex.
//
// Threads: any; nothing is kept.  A diagonal that outweighs its columns settles the question at
// once. Otherwise it takes time and memory with the third and second power of the largest set of
// columns that the matrix connects.

#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace vnt {

// A symmetric matrix, both triangles, column by column: numcols + 1 begins.
struct engine_quadratic {
    const int64_t *begin;
    const int *index;
    const double *value;
};

// A direction d in which sense * d'Qd is below 0, as it must not be for a problem with that sense;
// empty where there is no such direction, and where `ended`, asked every few milliseconds, is true.
// Throws std::length_error where the matrix connects more than 10,000 columns.
std::vector<double> engine_nonconvex(
    const engine_quadratic &q, int numcols, int sense,
    const std::function<bool()> &ended = [] { return false; });

// Qx
std::vector<double> engine_multiply(const engine_quadratic &q, int numcols, const double *x);

} // namespace vnt
