// Filters of the solution pool.

#include "solver/calls/calls.h"
#include "solver/formats/files.h"
#include "solver/formats/filterfile.h"

using namespace vnt;

static void add_filter(vntlp &p, int type, double lower, double upper, int nzcnt, const int *ind,
                       const double *weight, const double *reference, const char *name)
{
    int64_t begin = 0;
    bool range = type == VNT_FILTER_RANGE;
    matrix::check({1, nzcnt, &begin, nullptr, ind, weight}, p.m.numcols());
    require_there(reference, nzcnt > 0 && !range);
    for (int k = 0; k < nzcnt && !range; k++)
        model_finite(reference[k]);
    pool_filter f = {"f" + std::to_string(p.filters.size() + 1),
                     type,
                     model_number(lower),
                     model_number(upper),
                     {ind, ind + nzcnt},
                     {weight, weight + nzcnt},
                     {}};
    if (name != nullptr) f.name = name;
    if (!range) f.reference.assign(reference, reference + nzcnt);
    p.filters.push_back(std::move(f));
}

int VNTLaddsolnpoolrngfilter(VNTENVptr env, VNTLPptr lp, double lb, double ub, int nzcnt,
                             const int *ind, const double *val, const char *lname_str)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(nzcnt >= 0, VNTERR_BAD_ARGUMENT);
        add_filter(p, VNT_FILTER_RANGE, lb, ub, nzcnt, ind, val, nullptr, lname_str);
    });
}

// Without weights, all are 1.
int VNTLaddsolnpooldivfilter(VNTENVptr env, VNTLPptr lp, double lower_bound, double upper_bound,
                             int nzcnt, const int *ind, const double *weight, const double *refval,
                             const char *lname_str)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(nzcnt >= 0, VNTERR_BAD_ARGUMENT);
        require_there(ind, nzcnt > 0);
        require_there(refval, nzcnt > 0);
        std::vector<double> ones(weight == nullptr ? nzcnt : 0, 1.0);
        add_filter(p, VNT_FILTER_DIVERSITY, lower_bound, upper_bound, nzcnt, ind,
                   weight == nullptr ? ones.data() : weight, refval, lname_str);
    });
}

int VNTLgetsolnpoolnumfilters(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return static_cast<int>(p.filters.size()); });
}

static const pool_filter &filter_at(const vntlp &p, int which)
{
    require(which >= 0 && which < static_cast<int>(p.filters.size()), VNTERR_INDEX_RANGE);
    return p.filters[which];
}

int VNTLgetsolnpoolfiltertype(VNTENVptr env, VNTLPptr lp, int *ftype_p, int which)
{
    return with_problem(env, lp, [&](vntlp &p) { put(ftype_p, filter_at(p, which).type); });
}

int VNTLEgetsolnpoolfilter(VNTENVptr env, VNTLPptr lp, int *ftype_p, double *lowercutoff_p,
                           double *upper_cutoff_p, int *nzcnt_p, int *ind, double *val,
                           double *refval, int space, int *surplus_p, int which)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const pool_filter &f = filter_at(p, which);
        put(ftype_p, f.type);
        put(lowercutoff_p, f.lower);
        put(upper_cutoff_p, f.upper);
        int wanted = static_cast<int>(f.index.size());
        put(nzcnt_p, std::min(wanted, std::max(space, 0)));
        require_space(wanted, space, surplus_p);
        if (ind != nullptr) std::copy(f.index.begin(), f.index.end(), ind);
        if (val != nullptr) std::copy(f.weight.begin(), f.weight.end(), val);
        if (refval != nullptr) std::copy(f.reference.begin(), f.reference.end(), refval);
    });
}

// A query of filters of one type.
static int of_type(VNTENVptr env, VNTLPptr lp, int which, int type)
{
    return with_problem(
        env, lp, [&](vntlp &p) { require(filter_at(p, which).type == type, VNTERR_WRONG_TYPE); });
}

int VNTLgetsolnpooldivfilter(VNTENVptr env, VNTLPptr lp, double *lower_cutoff_p,
                             double *upper_cutoff_p, int *nzcnt_p, int *ind, double *val,
                             double *refval, int space, int *surplus_p, int which)
{
    int rc = of_type(env, lp, which, VNT_FILTER_DIVERSITY);
    if (rc != 0) return rc;
    return VNTLEgetsolnpoolfilter(env, lp, nullptr, lower_cutoff_p, upper_cutoff_p, nzcnt_p, ind,
                                  val, refval, space, surplus_p, which);
}

int VNTLgetsolnpoolrngfilter(VNTENVptr env, VNTLPptr lp, double *lb_p, double *ub_p, int *nzcnt_p,
                             int *ind, double *val, int space, int *surplus_p, int which)
{
    int rc = of_type(env, lp, which, VNT_FILTER_RANGE);
    if (rc != 0) return rc;
    return VNTLEgetsolnpoolfilter(env, lp, nullptr, lb_p, ub_p, nzcnt_p, ind, val, nullptr, space,
                                  surplus_p, which);
}

int VNTLgetsolnpoolfiltername(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                              int64_t *surplus_p, int which)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_text(filter_at(p, which).name, buf_str, bufspace, surplus_p);
    });
}

int VNTLgetsolnpoolfilterindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p)
{
    return with_problem(env, lp, [&](vntlp &p) { put_place(p.filters, lname_str, index_p); });
}

int VNTLdelsolnpoolfilters(VNTENVptr env, VNTLPptr lp, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) { erase_range(p.filters, begin, end); });
}

int VNTLdelsetsolnpoolfilters(VNTENVptr env, VNTLPptr lp, int *delstat)
{
    return with_problem(env, lp, [&](vntlp &p) { erase_marked(p.filters, delstat); });
}

// In place of those that are there.
int VNTEreadcopysolnpoolfilters(VNTENVptr env, VNTLPptr lp, const char *filename_str,
                                const char *contents, int64_t length)
{
    return with_problem(env, lp, [&](vntlp &p) {
        p.filters = filters_read(file_contents(filename_str, contents, length), p.m);
    });
}

int VNTLfltwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str)
{
    return with_problem(env, lp,
                        [&](vntlp &p) { file_write(filename_str, filters_write(p.m, p.filters)); });
}
