#include "solver/calls/groups.h"

#include "solver/calls/calls.h"
#include "solver/problem/conflict.h"

#include <cmath>

namespace vnt {

static void check(const group_lines &l)
{
    require(l.groups >= 0 && l.members >= 0, VNTERR_BAD_ARGUMENT);
    require_there(l.begin, l.groups > 0);
    require_there(l.index, l.members > 0);
    require_there(l.type, l.members > 0);
    for (int64_t k = 0; k < l.groups; k++) {
        int64_t end = k + 1 < l.groups ? l.begin[k + 1] : l.members;
        require(l.begin[k] >= 0 && l.begin[k] <= end && end <= l.members, VNTERR_BAD_ARGUMENT);
        require(l.preference == nullptr || std::isfinite(l.preference[k]), VNTERR_BAD_NUMBER);
    }
}

std::vector<conflict_group> groups_of(const model &m, const group_lines &l)
{
    check(l);
    std::vector<conflict_group> groups;
    for (int64_t k = 0; k < l.groups; k++) {
        conflict_group g = {l.preference == nullptr ? 1 : l.preference[k], {}};
        int64_t end = k + 1 < l.groups ? l.begin[k + 1] : l.members;
        for (int64_t e = l.begin[k]; e < end; e++) {
            g.members.push_back({l.type[e], l.index[e]});
            conflict_check(m, g.members.back());
        }
        groups.push_back(std::move(g));
    }
    return groups;
}

} // namespace vnt
