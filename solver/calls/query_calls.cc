// What a problem consists of.

#include "solver/calls/calls.h"

using namespace vnt;

int VNTLgetnumcols(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return p.m.numcols(); });
}

int VNTLgetnumrows(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return p.m.numrows(); });
}

int64_t VNTLgetnumnz(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return p.m.a.entries(); });
}

// The entries of the rows with mark 1, of all rows where there are no marks.
int64_t VNTLEgetnumrownz(VNTENVptr env, VNTLPptr lp, const int *mark)
{
    return count_of(env, lp, [&](vntlp &p) {
        matrix_view rows = p.m.a.by_row();
        int64_t count = 0;
        for (int i = 0; i < p.m.numrows(); i++) {
            if (mark == nullptr || mark[i] == 1) count += rows.begin[i + 1] - rows.begin[i];
        }
        return count;
    });
}

// A problem that is no MIP shows none of its column types.
static int count_type(VNTENVptr env, VNTLPptr lp, char type)
{
    return count_of(env, lp, [&](vntlp &p) {
        if (!p.m.typed()) return 0;
        return static_cast<int>(std::count(p.m.ctype.begin(), p.m.ctype.end(), type));
    });
}

int VNTLgetnumint(VNTENVptr env, VNTLPptr lp)
{
    return count_type(env, lp, 'I');
}

int VNTLgetnumbin(VNTENVptr env, VNTLPptr lp)
{
    return count_type(env, lp, 'B');
}

int VNTLgetnumsemicont(VNTENVptr env, VNTLPptr lp)
{
    return count_type(env, lp, 'S');
}

int VNTLgetnumsemiint(VNTENVptr env, VNTLPptr lp)
{
    return count_type(env, lp, 'N');
}

int VNTLgetnumobjs(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &) { return 1; });
}

int VNTLgetobjsen(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return p.m.sense; });
}

// -1 where there is no problem, since 0 is a type.
int VNTLgetprobtype(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return p.m.type + 1; }) - 1;
}

int VNTLgetobj(VNTENVptr env, VNTLPptr lp, double *obj, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) { put_range(p.m.objective, obj, begin, end); });
}

int VNTLgetlb(VNTENVptr env, VNTLPptr lp, double *lb, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) { put_range(p.m.lower, lb, begin, end); });
}

int VNTLgetub(VNTENVptr env, VNTLPptr lp, double *ub, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) { put_range(p.m.upper, ub, begin, end); });
}

int VNTLgetctype(VNTENVptr env, VNTLPptr lp, char *xctype, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(p.m.typed(), VNTERR_NOT_MIP);
        put_range(p.m.ctype, xctype, begin, end);
    });
}

int VNTLgetrhs(VNTENVptr env, VNTLPptr lp, double *rhs, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) { put_range(p.m.rhs, rhs, begin, end); });
}

int VNTLgetsense(VNTENVptr env, VNTLPptr lp, char *sense, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) { put_range(p.m.row_sense, sense, begin, end); });
}

int VNTLgetrngval(VNTENVptr env, VNTLPptr lp, double *rngval, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) { put_range(p.m.range, rngval, begin, end); });
}

int VNTLgetcols(VNTENVptr env, VNTLPptr lp, int64_t *nzcnt_p, int64_t *cmatbeg, int *cmatind,
                double *cmatval, int64_t cmatspace, int64_t *surplus_p, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_lines(p.m.a.by_column(), p.m.numcols(), nzcnt_p, cmatbeg, cmatind, cmatval, cmatspace,
                  surplus_p, begin, end);
    });
}

int VNTLgetrows(VNTENVptr env, VNTLPptr lp, int64_t *nzcnt_p, int64_t *rmatbeg, int *rmatind,
                double *rmatval, int64_t rmatspace, int64_t *surplus_p, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_lines(p.m.a.by_row(), p.m.numrows(), nzcnt_p, rmatbeg, rmatind, rmatval, rmatspace,
                  surplus_p, begin, end);
    });
}

// Row -1 is the objective, column -1 the right-hand side.
int VNTLgetcoef(VNTENVptr env, VNTLPptr lp, int i, int j, double *coef_p)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(i >= -1 && i < p.m.numrows() && j >= -1 && j < p.m.numcols(), VNTERR_INDEX_RANGE);
        if (i < 0) {
            put(coef_p, j < 0 ? p.m.offset : p.m.objective[j]);
        } else {
            put(coef_p, j < 0 ? p.m.rhs[i] : p.m.a.get(i, j));
        }
    });
}

int VNTLgetobjoffset(VNTENVptr env, VNTLPptr lp, double *objoffset_p)
{
    return with_problem(env, lp, [&](vntlp &p) { put(objoffset_p, p.m.offset); });
}

int VNTLgetprobname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace, int64_t *surplus_p)
{
    return with_problem(env, lp,
                        [&](vntlp &p) { put_text(p.m.name, buf_str, bufspace, surplus_p); });
}

int VNTLgetobjname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace, int64_t *surplus_p)
{
    return with_problem(env, lp,
                        [&](vntlp &p) { put_text(p.m.objname, buf_str, bufspace, surplus_p); });
}

int VNTLgetcolname(VNTENVptr env, VNTLPptr lp, char **name, char *namestore, int64_t storespace,
                   int64_t *surplus_p, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_names([&](int j) { return p.m.col_names.at(j); }, p.m.numcols(), name, namestore,
                  storespace, surplus_p, begin, end);
    });
}

int VNTLgetrowname(VNTENVptr env, VNTLPptr lp, char **name, char *namestore, int64_t storespace,
                   int64_t *surplus_p, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_names([&](int i) { return p.m.row_names.at(i); }, p.m.numrows(), name, namestore,
                  storespace, surplus_p, begin, end);
    });
}

int VNTLgetrowindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p)
{
    return with_problem(env, lp, [&](vntlp &p) { put_place(p.m.row_names, lname_str, index_p); });
}

int VNTLgetcolindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p)
{
    return with_problem(env, lp, [&](vntlp &p) { put_place(p.m.col_names, lname_str, index_p); });
}
