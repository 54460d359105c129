// conflict.h: a part of an infeasible problem that is infeasible by itself.
//
// Constraints come in groups.  Groups are left out, many at a time while that goes well, for as
// long as the rest is infeasible; what cannot be left out is a member of the conflict.  Proofs of
// infeasibility leave out at once what they do not need.  Constraints that are in no group stay,
// and so does integrality.

#pragma once

#include "solver/problem/problem.h"

namespace vnt {

// Whether the bounds of column j say what it means, and always hold.
bool bounds_stay(const model &m, int j);

// Fails where the problem has no such constraint, or where it cannot be left out.
void conflict_check(const model &m, const conflict_member &c);

// Each row and each bound of a column as a group.
std::vector<conflict_group> conflict_groups(const model &m);

// Finds a conflict among the groups of `c`, and sets what they are in it, its status and the number
// of passes.  Returns 0 or an engine's error; `ticks` is the work done.
int conflict_find(const vntlp &p, const engine_params &params, const engine_hooks &hooks,
                  conflict *c, uint64_t *ticks);

// The problem without an objective and without the groups that are not in the conflict, the rows
// and columns that this leaves empty included.
vntlp conflict_problem(const vntlp &p, const conflict &c);

} // namespace vnt
