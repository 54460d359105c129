// conflict.h: a part of an infeasible problem that is infeasible by itself.
//
// A deletion filter over groups of constraints: it drops groups, many at a time while that
// succeeds, as long as the rest stays infeasible.  A group that cannot be dropped is a member of
// the conflict.  A proof of infeasibility drops at once all groups that it does not use.
// Constraints in no group stay, and so does integrality.

#pragma once

#include "solver/problem/problem.h"

namespace vnt {

// Whether the bounds of column j are part of its meaning, as those of a semi-continuous or an
// indicator's column are, and cannot be left out.
bool bounds_stay(const model &m, int j);

// Fails where the problem has no such constraint, or where it cannot be left out.
void conflict_check(const model &m, const conflict_member &c);

// Each row and each bound of a column as a group.
std::vector<conflict_group> conflict_groups(const model &m);

// Finds a conflict among the groups of `c`.  Sets the status of each group and of the conflict, and
// the number of passes.  Returns 0 or an engine's error; `ticks` is the work done.
int conflict_find(const vntlp &p, const engine_params &params, const engine_hooks &hooks,
                  conflict *c, uint64_t *ticks);

// The problem without its objective and without the groups that are not in the conflict.  Their
// rows go, and columns that nothing refers to any more.
vntlp conflict_problem(const vntlp &p, const conflict &c);

} // namespace vnt
