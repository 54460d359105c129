// Conflicts: what keeps a problem from having a solution.

#include "solver/problem/conflict.h"

#include "solver/calls/calls.h"
#include "solver/calls/groups.h"
#include "solver/calls/solve.h"
#include "solver/formats/files.h"
#include "solver/formats/lpformat.h"

#include <cmath>
#include <map>

using namespace vnt;

static conflict &found_conflict(vntlp &p)
{
    require(p.found.has_value(), VNTERR_NO_SOLUTION);
    return *p.found;
}

// Looks for a conflict of `whole`, which is the problem or one that has more rows and columns.
static void refine(vntenv &e, vntlp &p, const vntlp &whole, std::vector<conflict_group> groups)
{
    conflict c;
    c.groups = std::move(groups);
    uint64_t ticks = 0;
    int rc = solve_run(e, p.m.numcols(), [&](const auto &params, const auto &hooks) {
        return conflict_find(whole, params, hooks, &c, &ticks);
    });
    e.ticks += ticks;
    require(rc == 0, rc);
    p.found = std::move(c);
}

// The status of each row and column of the conflict, by its index.
struct conflict_parts {
    std::map<int, int> rows, cols;

    explicit conflict_parts(const conflict &c)
    {
        for (const conflict_group &g : c.groups)
            for (const conflict_member &member : g.members)
                if (g.status != VNT_CONFLICT_EXCLUDED) add(member, g.status);
    }
    void add(const conflict_member &member, int status)
    {
        if (member.type == VNT_CONSTRAINT_ROW) join(rows[member.index], status);
        if (member.type == VNT_CONSTRAINT_LOWER)
            join(cols[member.index], status | VNT_CONFLICT_LOWER);
        if (member.type == VNT_CONSTRAINT_UPPER)
            join(cols[member.index], status | VNT_CONFLICT_UPPER);
    }
    // What is a member by one group is no longer only possible.
    static void join(int &status, int other)
    {
        status |= other;
        if (status & VNT_CONFLICT_MEMBER) status &= ~VNT_CONFLICT_POSSIBLE;
    }
};

static void put_counts(vntlp &p, int *confnumrows_p, int *confnumcols_p)
{
    conflict_parts parts(found_conflict(p));
    put(confnumrows_p, static_cast<int>(parts.rows.size()));
    put(confnumcols_p, static_cast<int>(parts.cols.size()));
}

int VNTLrefineconflict(VNTENVptr env, VNTLPptr lp, int *confnumrows_p, int *confnumcols_p)
{
    return with_environment(env, [&](vntenv &e) {
        vntlp &p = problem_of(e, lp);
        refine(e, p, p, conflict_groups(p.m));
        put_counts(p, confnumrows_p, confnumcols_p);
    });
}

int VNTLrefineconflictext(VNTENVptr env, VNTLPptr lp, int64_t grpcnt, int64_t concnt,
                          const double *grppref, const int64_t *grpbeg, const int *grpind,
                          const char *grptype)
{
    return with_environment(env, [&](vntenv &e) {
        vntlp &p = problem_of(e, lp);
        refine(e, p, p, groups_of(p.m, {grpcnt, concnt, grppref, grpbeg, grpind, grptype}));
    });
}

// The problem with rows that hold its discrete columns at the values of a MIP start.
static vntlp held_at_start(const vntlp &p, int mipstartindex)
{
    require(p.m.type == VNT_PROB_MIP, VNTERR_NOT_MIP);
    require(mipstartindex >= 0 && mipstartindex < static_cast<int>(p.mip_starts.size()),
            VNTERR_INDEX_RANGE);
    const mip_start &start = p.mip_starts[mipstartindex];
    std::vector<int64_t> begin = {0};
    std::vector<int> index;
    std::vector<double> one, value;
    for (size_t k = 0; k < start.index.size(); k++) {
        if (p.m.ctype[start.index[k]] == 'C' || p.m.ctype[start.index[k]] == 'S') continue;
        index.push_back(start.index[k]);
        value.push_back(std::round(start.value[k]));
        one.push_back(1);
        begin.push_back(static_cast<int64_t>(index.size()));
    }
    vntlp held = p;
    int count = static_cast<int>(index.size());
    matrix_lines entries = {count, count, begin.data(), nullptr, index.data(), one.data()};
    held.append_rows({count, value.data(), nullptr, nullptr, nullptr}, &entries);
    return held;
}

int VNTLrefinemipstartconflict(VNTENVptr env, VNTLPptr lp, int mipstartindex, int *confnumrows_p,
                               int *confnumcols_p)
{
    return with_environment(env, [&](vntenv &e) {
        vntlp &p = problem_of(e, lp);
        refine(e, p, held_at_start(p, mipstartindex), conflict_groups(p.m));
        put_counts(p, confnumrows_p, confnumcols_p);
    });
}

int VNTLrefinemipstartconflictext(VNTENVptr env, VNTLPptr lp, int mipstartindex, int64_t grpcnt,
                                  int64_t concnt, const double *grppref, const int64_t *grpbeg,
                                  const int *grpind, const char *grptype)
{
    return with_environment(env, [&](vntenv &e) {
        vntlp &p = problem_of(e, lp);
        refine(e, p, held_at_start(p, mipstartindex),
               groups_of(p.m, {grpcnt, concnt, grppref, grpbeg, grpind, grptype}));
    });
}

static void put_parts(const std::map<int, int> &parts, int *index, int *status)
{
    int k = 0;
    for (auto [i, s] : parts) {
        if (index != nullptr) index[k] = i;
        if (status != nullptr) status[k] = s;
        k++;
    }
}

int VNTLgetconflict(VNTENVptr env, VNTLPptr lp, int *confstat_p, int *rowind, int *rowbdstat,
                    int *confnumrows_p, int *colind, int *colbdstat, int *confnumcols_p)
{
    return with_problem(env, lp, [&](vntlp &p) {
        conflict_parts parts(found_conflict(p));
        put(confstat_p, p.found->status);
        put_counts(p, confnumrows_p, confnumcols_p);
        put_parts(parts.rows, rowind, rowbdstat);
        put_parts(parts.cols, colind, colbdstat);
    });
}

static int groups_wanted(const conflict &c, int64_t begin, int64_t end)
{
    if (end < begin) return 0;
    require(begin >= 0 && end < static_cast<int64_t>(c.groups.size()), VNTERR_INDEX_RANGE);
    return static_cast<int>(end - begin) + 1;
}

int VNTLgetconflictext(VNTENVptr env, VNTLPptr lp, int *grpstat, int64_t beg, int64_t end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const conflict &c = found_conflict(p);
        int count = groups_wanted(c, beg, end);
        for (int k = 0; k < count && grpstat != nullptr; k++)
            grpstat[k] = c.groups[beg + k].status;
    });
}

int VNTLgetconflictgroups(VNTENVptr env, VNTLPptr lp, int64_t *concnt_p, double *grppref,
                          int64_t *grpbeg, int *grpind, char *grptype, int64_t grpspace,
                          int64_t *surplus_p, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const conflict &c = found_conflict(p);
        int count = groups_wanted(c, begin, end);
        int64_t wanted = 0, at = 0;
        for (int k = 0; k < count; k++)
            wanted += static_cast<int64_t>(c.groups[begin + k].members.size());
        put(concnt_p, std::min(wanted, std::max<int64_t>(grpspace, 0)));
        require_space(wanted, grpspace, surplus_p);
        for (int k = 0; k < count; k++) {
            const conflict_group &g = c.groups[begin + k];
            if (grppref != nullptr) grppref[k] = g.preference;
            if (grpbeg != nullptr) grpbeg[k] = at;
            for (const conflict_member &member : g.members) {
                if (grpind != nullptr) grpind[at] = member.index;
                if (grptype != nullptr) grptype[at] = member.type;
                at++;
            }
        }
    });
}

int64_t VNTLgetconflictnumgroups(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) {
        return p.found.has_value() ? static_cast<int64_t>(p.found->groups.size()) : int64_t{0};
    });
}

int64_t VNTLgetconflictnumpasses(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp,
                    [](vntlp &p) { return p.found.has_value() ? p.found->passes : int64_t{0}; });
}

int VNTLclpwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_there(filename_str);
        const conflict &c = found_conflict(p);
        require(c.status != VNT_CONFSTAT_FEASIBLE, VNTERR_NO_SOLUTION);
        bool made = false;
        file_write(filename_str, lp_write(conflict_problem(p, c).m, &made));
    });
}
