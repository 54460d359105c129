// Creating problems, filling and changing them.

#include "solver/calls/calls.h"

using namespace vnt;

static VNTLPptr add_problem(vntenv &e, std::unique_ptr<vntlp> p)
{
    VNTLPptr lp = p.get();
    e.problems.emplace(lp, std::move(p));
    return lp;
}

VNTLPptr VNTLcreateprob(VNTENVptr env, int *status_p, const char *probname_str)
{
    VNTLPptr lp = nullptr;
    int status = with_environment(env, [&](vntenv &e) {
        auto p = std::make_unique<vntlp>();
        if (probname_str != nullptr) p->m.name = probname_str;
        lp = add_problem(e, std::move(p));
    });
    put(status_p, status);
    return lp;
}

VNTLPptr VNTLcloneprob(VNTENVptr env, VNTLPptr lp, int *status_p)
{
    VNTLPptr clone = nullptr;
    int status = with_environment(env, [&](vntenv &e) {
        clone = add_problem(e, std::make_unique<vntlp>(problem_of(e, lp)));
    });
    put(status_p, status);
    return clone;
}

int VNTLfreeprob(VNTENVptr env, VNTLPptr *lp)
{
    if (lp == nullptr) return VNTERR_NULL_POINTER;
    return with_environment(env, [&](vntenv &e) {
        problem_of(e, *lp);
        e.problems.erase(*lp);
        *lp = nullptr;
    });
}

static void copy_model(vntlp &p, int objsense, const new_columns &cols, const new_rows &rows,
                       const matrix_lines &entries)
{
    require(objsense == VNT_MIN || objsense == VNT_MAX, VNTERR_BAD_ARGUMENT);
    require(cols.count >= 0 && rows.count >= 0, VNTERR_BAD_ARGUMENT);
    model fresh;
    fresh.name = p.m.name;
    fresh.sense = objsense;
    fresh.append_rows(rows, nullptr);
    bool there = entries.begin != nullptr && cols.count > 0;
    require_there(entries.count, there);
    fresh.append_cols(cols, there ? &entries : nullptr);
    p.replace(std::move(fresh));
}

int VNTLcopylpwnames(VNTENVptr env, VNTLPptr lp, int numcols, int numrows, int objsense,
                     const double *objective, const double *rhs, const char *sense,
                     const int64_t *matbeg, const int *matcnt, const int *matind,
                     const double *matval, const double *lb, const double *ub, const double *rngval,
                     const char *const *colname, const char *const *rowname)
{
    return with_problem(env, lp, [&](vntlp &p) {
        copy_model(p, objsense, {numcols, objective, lb, ub, nullptr, colname},
                   {numrows, rhs, sense, rngval, rowname},
                   {numcols, -1, matbeg, matcnt, matind, matval});
    });
}

int VNTLcopylp(VNTENVptr env, VNTLPptr lp, int numcols, int numrows, int objsense,
               const double *objective, const double *rhs, const char *sense, const int64_t *matbeg,
               const int *matcnt, const int *matind, const double *matval, const double *lb,
               const double *ub, const double *rngval)
{
    return with_problem(env, lp, [&](vntlp &p) {
        copy_model(p, objsense, {numcols, objective, lb, ub, nullptr, nullptr},
                   {numrows, rhs, sense, rngval, nullptr},
                   {numcols, -1, matbeg, matcnt, matind, matval});
    });
}

int VNTLnewcols(VNTENVptr env, VNTLPptr lp, int ccnt, const double *obj, const double *lb,
                const double *ub, const char *xctype, const char *const *colname)
{
    return with_problem(env, lp, [&](vntlp &p) {
        p.append_cols({ccnt, obj, lb, ub, xctype, colname}, nullptr);
    });
}

int VNTLnewrows(VNTENVptr env, VNTLPptr lp, int rcnt, const double *rhs, const char *sense,
                const double *rngval, const char *const *rowname)
{
    return with_problem(env, lp, [&](vntlp &p) {
        p.append_rows({rcnt, rhs, sense, rngval, rowname}, nullptr);
    });
}

int VNTLaddcols(VNTENVptr env, VNTLPptr lp, int ccnt, int64_t nzcnt, const double *obj,
                const int64_t *cmatbeg, const int *cmatind, const double *cmatval, const double *lb,
                const double *ub, const char *const *colname)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(ccnt >= 0 && nzcnt >= 0, VNTERR_BAD_ARGUMENT);
        require_there(cmatbeg, nzcnt > 0);
        matrix_lines entries = {ccnt, nzcnt, cmatbeg, nullptr, cmatind, cmatval};
        p.append_cols({ccnt, obj, lb, ub, nullptr, colname}, cmatbeg ? &entries : nullptr);
    });
}

// The rows may lead to new columns, so those come first, once the rows are known to be taken.
int VNTLaddrows(VNTENVptr env, VNTLPptr lp, int ccnt, int rcnt, int64_t nzcnt, const double *rhs,
                const char *sense, const int64_t *rmatbeg, const int *rmatind,
                const double *rmatval, const char *const *colname, const char *const *rowname)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(ccnt >= 0 && rcnt >= 0 && nzcnt >= 0, VNTERR_BAD_ARGUMENT);
        require_there(rmatbeg, nzcnt > 0);
        matrix_lines entries = {rcnt, nzcnt, rmatbeg, nullptr, rmatind, rmatval};
        if (ccnt > 0) {
            if (rmatbeg != nullptr) matrix::check(entries, p.m.numcols() + ccnt);
            model::check_rows({rcnt, rhs, sense, nullptr, rowname});
            p.append_cols({ccnt, nullptr, nullptr, nullptr, nullptr, colname}, nullptr);
        }
        p.append_rows({rcnt, rhs, sense, nullptr, rowname}, rmatbeg ? &entries : nullptr);
    });
}

int VNTLdelrows(VNTENVptr env, VNTLPptr lp, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        int rows = p.m.numrows(), going = range_count(begin, end, rows);
        p.keep_rows(places_without(begin, end, rows), rows - going);
    });
}

int VNTLdelcols(VNTENVptr env, VNTLPptr lp, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        int cols = p.m.numcols(), going = range_count(begin, end, cols);
        p.keep_cols(places_without(begin, end, cols), cols - going);
    });
}

int VNTLdelsetrows(VNTENVptr env, VNTLPptr lp, int *delstat)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_there(delstat, p.m.numrows() > 0);
        int left = places_of(delstat, p.m.numrows());
        p.keep_rows({delstat, delstat + p.m.numrows()}, left);
    });
}

int VNTLdelsetcols(VNTENVptr env, VNTLPptr lp, int *delstat)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_there(delstat, p.m.numcols() > 0);
        int left = places_of(delstat, p.m.numcols());
        p.keep_cols({delstat, delstat + p.m.numcols()}, left);
    });
}

static void rename(name_list &names, int count, const int *indices, const char *const *newname)
{
    require_indices(count, indices, names.size());
    require_there(newname, count > 0);
    for (int k = 0; k < count; k++)
        names.rename(indices[k], newname[k]);
}

int VNTLchgrowname(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices,
                   const char *const *newname)
{
    return with_problem(env, lp, [&](vntlp &p) { rename(p.m.row_names, cnt, indices, newname); });
}

int VNTLchgcolname(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices,
                   const char *const *newname)
{
    return with_problem(env, lp, [&](vntlp &p) { rename(p.m.col_names, cnt, indices, newname); });
}

// key is 'c' for a column, 'r' for a row.
int VNTLchgname(VNTENVptr env, VNTLPptr lp, int key, int ij, const char *newname_str)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(key == 'c' || key == 'r', VNTERR_BAD_ARGUMENT);
        rename(key == 'c' ? p.m.col_names : p.m.row_names, 1, &ij, &newname_str);
    });
}

int VNTLdelnames(VNTENVptr env, VNTLPptr lp)
{
    return with_problem(env, lp, [&](vntlp &p) {
        p.m.col_names.clear();
        p.m.row_names.clear();
    });
}

int VNTLchgprobname(VNTENVptr env, VNTLPptr lp, const char *probname)
{
    return with_problem(env, lp, [&](vntlp &p) { p.m.name = probname != nullptr ? probname : ""; });
}

int VNTLcopyobjname(VNTENVptr env, VNTLPptr lp, const char *objname_str)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_there(objname_str);
        p.m.objname = objname_str;
    });
}

// Row -1 is the objective, column -1 the right-hand side.
int VNTLchgcoef(VNTENVptr env, VNTLPptr lp, int i, int j, double newvalue)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(i >= -1 && i < p.m.numrows() && j >= -1 && j < p.m.numcols(), VNTERR_INDEX_RANGE);
        if (i < 0 && j < 0) {
            p.m.offset = model_finite(newvalue);
        } else if (i < 0) {
            p.m.objective[j] = model_finite(newvalue);
        } else if (j < 0) {
            p.m.rhs[i] = model_number(newvalue);
        } else {
            p.m.a.set(i, j, model_finite(newvalue));
        }
        p.changed();
    });
}

int VNTLchgcoeflist(VNTENVptr env, VNTLPptr lp, int64_t numcoefs, const int *rowlist,
                    const int *collist, const double *vallist)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_indices(numcoefs, rowlist, p.m.numrows());
        require_indices(numcoefs, collist, p.m.numcols());
        require_there(vallist, numcoefs > 0);
        for (int64_t k = 0; k < numcoefs; k++)
            model_finite(vallist[k]);
        for (int64_t k = 0; k < numcoefs; k++)
            p.m.a.set(rowlist[k], collist[k], vallist[k]);
        p.changed();
    });
}

// Changes a list of rows or columns.  A first round only checks, so that a refused element leaves
// all as they were.
template <class values, class change> static void
change_list(vntlp &p, int cnt, const int *indices, int limit, const values *list, const change &one)
{
    require_indices(cnt, indices, limit);
    require_there(list, cnt > 0);
    for (bool real : {false, true}) {
        for (int k = 0; k < cnt; k++)
            one(indices[k], list[k], real);
    }
    p.changed();
}

int VNTLchgobj(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const double *values)
{
    return with_problem(env, lp, [&](vntlp &p) {
        change_list(p, cnt, indices, p.m.numcols(), values, [&](int j, double v, bool real) {
            v = model_finite(v);
            if (real) p.m.objective[j] = v;
        });
    });
}

int VNTLchgrhs(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const double *values)
{
    return with_problem(env, lp, [&](vntlp &p) {
        change_list(p, cnt, indices, p.m.numrows(), values, [&](int i, double v, bool real) {
            v = model_number(v);
            if (real) p.m.rhs[i] = v;
        });
    });
}

int VNTLchgrngval(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const double *values)
{
    return with_problem(env, lp, [&](vntlp &p) {
        change_list(p, cnt, indices, p.m.numrows(), values, [&](int i, double v, bool real) {
            v = model_number(v);
            require(p.m.row_sense[i] == 'R', VNTERR_BAD_SENSE);
            if (real) p.m.range[i] = v;
        });
    });
}

int VNTLchgsense(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const char *sense)
{
    return with_problem(env, lp, [&](vntlp &p) {
        change_list(p, cnt, indices, p.m.numrows(), sense, [&](int i, char s, bool real) {
            model::check_sense(s);
            if (real) p.m.set_sense(i, s);
        });
    });
}

int VNTLchgctype(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const char *xctype)
{
    return with_problem(env, lp, [&](vntlp &p) {
        change_list(p, cnt, indices, p.m.numcols(), xctype, [&](int j, char t, bool real) {
            model::check_ctype(t);
            if (real) p.m.set_ctype(j, t);
        });
        p.m.make_discrete();
    });
}

int VNTLcopyctype(VNTENVptr env, VNTLPptr lp, const char *xctype)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_there(xctype, p.m.numcols() > 0);
        for (int j = 0; j < p.m.numcols(); j++)
            model::check_ctype(xctype[j]);
        for (int j = 0; j < p.m.numcols(); j++)
            p.m.set_ctype(j, xctype[j]);
        p.changed();
        p.m.make_discrete();
    });
}

static void change_bounds(vntlp &p, int cnt, const int *indices, const char *lu, const double *bd)
{
    require_indices(cnt, indices, p.m.numcols());
    require_there(lu, cnt > 0);
    require_there(bd, cnt > 0);
    for (int k = 0; k < cnt; k++)
        model::check_bound(lu[k], bd[k]);
    for (int k = 0; k < cnt; k++)
        p.m.set_bound(indices[k], lu[k], bd[k]);
    p.changed();
}

int VNTLchgbds(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const char *lu,
               const double *bd)
{
    return with_problem(env, lp, [&](vntlp &p) { change_bounds(p, cnt, indices, lu, bd); });
}

// Bounds that cut nothing off that the others allow; the solver takes the caller's word for it.
int VNTLtightenbds(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const char *lu,
                   const double *bd)
{
    return with_problem(env, lp, [&](vntlp &p) { change_bounds(p, cnt, indices, lu, bd); });
}

int VNTLchgobjsen(VNTENVptr env, VNTLPptr lp, int maxormin)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(maxormin == VNT_MIN || maxormin == VNT_MAX, VNTERR_BAD_ARGUMENT);
        p.m.sense = maxormin;
        p.changed();
    });
}

static int change_offset(VNTENVptr env, VNTLPptr lp, double offset, const char *call)
{
    return with_problem(
        env, lp,
        [&](vntlp &p) {
            p.m.offset = model_finite(offset);
            p.changed();
        },
        call);
}

int VNTLchgobjoffset(VNTENVptr env, VNTLPptr lp, double offset)
{
    return change_offset(env, lp, offset, __func__);
}

int VNTLEsetobjoffset(VNTENVptr env, VNTLPptr lp, double objoffset)
{
    return change_offset(env, lp, objoffset, __func__);
}

int VNTLchgprobtype(VNTENVptr env, VNTLPptr lp, int type)
{
    return with_problem(env, lp, [&](vntlp &p) { p.set_type(type, p.last.x); });
}

int VNTLchgprobtypesolnpool(VNTENVptr env, VNTLPptr lp, int type, int soln)
{
    return with_problem(env, lp, [&](vntlp &p) {
        if (soln < 0) return p.set_type(type, p.last.x);
        require(soln < static_cast<int>(p.last.pool.size()), VNTERR_INDEX_RANGE);
        p.set_type(type, p.last.pool[soln].x);
    });
}

// Changes show at once; there is nothing to complete.
int VNTLcompletelp(VNTENVptr env, VNTLPptr lp)
{
    return with_problem(env, lp, [](vntlp &) {});
}

// Takes coefficients of magnitude up to eps away.
int VNTLcleanup(VNTENVptr env, VNTLPptr lp, double eps)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(eps >= 0, VNTERR_BAD_ARGUMENT);
        if (p.m.a.drop(eps)) p.changed();
    });
}
