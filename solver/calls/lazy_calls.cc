// Lazy constraints and user cuts.

#include "solver/calls/calls.h"

using namespace vnt;

using rows_beside = std::vector<row_beside>;

static char sense_of(const char *sense, int k)
{
    char s = sense != nullptr ? sense[k] : 'E';
    require(s == 'L' || s == 'E' || s == 'G', VNTERR_BAD_SENSE);
    return s;
}

static void add_beside(vntlp &p, rows_beside &list, const char *made, int rcnt, int64_t nzcnt,
                       const double *rhs, const char *sense, const int64_t *rmatbeg,
                       const int *rmatind, const double *rmatval, const char *const *rowname)
{
    require(rcnt >= 0 && nzcnt >= 0, VNTERR_BAD_ARGUMENT);
    require_there(rmatbeg, rcnt > 0);
    matrix_lines entries = {rcnt, nzcnt, rmatbeg, nullptr, rmatind, rmatval};
    matrix::check(entries, p.m.numcols());
    rows_beside fresh;
    for (int k = 0; k < rcnt; k++) {
        row_beside r = {made + std::to_string(list.size() + k + 1), sense_of(sense, k), 0, {}, {}};
        if (rhs != nullptr) r.rhs = model_finite(rhs[k]);
        if (rowname != nullptr && rowname[k] != nullptr) r.name = rowname[k];
        r.index.assign(rmatind + entries.first(k), rmatind + entries.last(k));
        r.value.assign(rmatval + entries.first(k), rmatval + entries.last(k));
        fresh.push_back(std::move(r));
    }
    std::move(fresh.begin(), fresh.end(), std::back_inserter(list));
    p.changed();
}

int VNTLaddlazyconstraints(VNTENVptr env, VNTLPptr lp, int rcnt, int64_t nzcnt, const double *rhs,
                           const char *sense, const int64_t *rmatbeg, const int *rmatind,
                           const double *rmatval, const char *const *rowname)
{
    return with_problem(env, lp, [&](vntlp &p) {
        add_beside(p, p.m.lazies, "lazy", rcnt, nzcnt, rhs, sense, rmatbeg, rmatind, rmatval,
                   rowname);
    });
}

int VNTLaddusercuts(VNTENVptr env, VNTLPptr lp, int rcnt, int64_t nzcnt, const double *rhs,
                    const char *sense, const int64_t *rmatbeg, const int *rmatind,
                    const double *rmatval, const char *const *rowname)
{
    return with_problem(env, lp, [&](vntlp &p) {
        add_beside(p, p.m.user_cuts, "cut", rcnt, nzcnt, rhs, sense, rmatbeg, rmatind, rmatval,
                   rowname);
    });
}

int VNTLfreelazyconstraints(VNTENVptr env, VNTLPptr lp)
{
    return with_problem(env, lp, [&](vntlp &p) {
        p.m.lazies.clear();
        p.changed();
    });
}

int VNTLfreeusercuts(VNTENVptr env, VNTLPptr lp)
{
    return with_problem(env, lp, [&](vntlp &p) {
        p.m.user_cuts.clear();
        p.changed();
    });
}

int VNTLgetnumlazyconstraints(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return static_cast<int>(p.m.lazies.size()); });
}

int VNTLgetnumusercuts(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return static_cast<int>(p.m.user_cuts.size()); });
}

static void put_name(const rows_beside &list, int which, char *buf, int64_t space,
                     int64_t *surplus_p)
{
    require(which >= 0 && which < static_cast<int>(list.size()), VNTERR_INDEX_RANGE);
    put_text(list[which].name, buf, space, surplus_p);
}

int VNTLEgetlazyconstraintname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                               int64_t *surplus_p, int which)
{
    return with_problem(
        env, lp, [&](vntlp &p) { put_name(p.m.lazies, which, buf_str, bufspace, surplus_p); });
}

int VNTLEgetusercutname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                        int64_t *surplus_p, int which)
{
    return with_problem(
        env, lp, [&](vntlp &p) { put_name(p.m.user_cuts, which, buf_str, bufspace, surplus_p); });
}
