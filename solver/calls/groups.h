// groups.h: groups of constraints as callers hand them over.

#pragma once

#include "solver/problem/problem.h"

namespace vnt {

// Group k has members beg[k] on, up to the next group's; the last one ends at `members`.
// Preferences may be null: all are 1.
struct group_lines {
    int64_t groups;
    int64_t members;
    const double *preference;
    const int64_t *begin;
    const int *index;
    const char *type;
};

// Fails where the lists do not fit together, or name something that the model does not have or
// that cannot be left out.
std::vector<conflict_group> groups_of(const model &m, const group_lines &lines);

} // namespace vnt
