// MIP starts: points from which a search may begin.

#include "solver/calls/calls.h"
#include "solver/formats/files.h"
#include "solver/formats/startfile.h"

using namespace vnt;

static void check_start(const vntlp &p, const matrix_lines &entries, const int *effort)
{
    matrix::check(entries, p.m.numcols());
    for (int k = 0; k < entries.lines && effort != nullptr; k++) {
        require(effort[k] >= 0, VNTERR_BAD_ARGUMENT);
    }
}

static void fill(mip_start &start, const matrix_lines &entries, int k, const int *effort)
{
    int64_t first = entries.first(k), last = entries.last(k);
    start.index.assign(entries.index + first, entries.index + last);
    start.value.assign(entries.value + first, entries.value + last);
    if (effort != nullptr) start.effort = effort[k];
}

int VNTLaddmipstarts(VNTENVptr env, VNTLPptr lp, int mcnt, int64_t nzcnt, const int64_t *beg,
                     const int *varindices, const double *values, const int *effortlevel,
                     const char *const *mipstartname)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(mcnt >= 0 && nzcnt >= 0, VNTERR_BAD_ARGUMENT);
        require_there(beg, mcnt > 0);
        matrix_lines entries = {mcnt, nzcnt, beg, nullptr, varindices, values};
        check_start(p, entries, effortlevel);
        for (int k = 0; k < mcnt; k++) {
            mip_start start = {"m" + std::to_string(p.mip_starts.size() + 1), 0, {}, {}};
            if (mipstartname != nullptr && mipstartname[k] != nullptr) start.name = mipstartname[k];
            fill(start, entries, k, effortlevel);
            p.mip_starts.push_back(std::move(start));
        }
    });
}

int VNTLchgmipstarts(VNTENVptr env, VNTLPptr lp, int mcnt, const int *mipstartindices,
                     int64_t nzcnt, const int64_t *beg, const int *varindices, const double *values,
                     const int *effortlevel)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_indices(mcnt, mipstartindices, static_cast<int>(p.mip_starts.size()));
        require(nzcnt >= 0, VNTERR_BAD_ARGUMENT);
        require_there(beg, mcnt > 0);
        matrix_lines entries = {mcnt, nzcnt, beg, nullptr, varindices, values};
        check_start(p, entries, effortlevel);
        for (int k = 0; k < mcnt; k++) {
            fill(p.mip_starts[mipstartindices[k]], entries, k, effortlevel);
        }
    });
}

int VNTLgetnummipstarts(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return static_cast<int>(p.mip_starts.size()); });
}

int VNTLgetmipstarts(VNTENVptr env, VNTLPptr lp, int64_t *nzcnt_p, int64_t *beg, int *varindices,
                     double *values, int *effortlevel, int64_t startspace, int64_t *surplus_p,
                     int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        int count = range_count(begin, end, static_cast<int>(p.mip_starts.size()));
        int64_t wanted = 0, at = 0;
        for (int k = 0; k < count; k++)
            wanted += static_cast<int64_t>(p.mip_starts[begin + k].index.size());
        put(nzcnt_p, std::min(wanted, std::max<int64_t>(startspace, 0)));
        require_space(wanted, startspace, surplus_p);
        for (int k = 0; k < count; k++) {
            const mip_start &start = p.mip_starts[begin + k];
            if (beg != nullptr) beg[k] = at;
            if (effortlevel != nullptr) effortlevel[k] = start.effort;
            at += static_cast<int64_t>(start.index.size());
            if (varindices != nullptr) {
                varindices = std::copy(start.index.begin(), start.index.end(), varindices);
            }
            if (values != nullptr) {
                values = std::copy(start.value.begin(), start.value.end(), values);
            }
        }
    });
}

int VNTLgetmipstartname(VNTENVptr env, VNTLPptr lp, char **name, char *namestore, int64_t storesz,
                        int64_t *surplus_p, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_names([&](int k) { return p.mip_starts[k].name; },
                  static_cast<int>(p.mip_starts.size()), name, namestore, storesz, surplus_p, begin,
                  end);
    });
}

int VNTLgetmipstartindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p)
{
    return with_problem(env, lp, [&](vntlp &p) { put_place(p.mip_starts, lname_str, index_p); });
}

int VNTLdelmipstarts(VNTENVptr env, VNTLPptr lp, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) { erase_range(p.mip_starts, begin, end); });
}

int VNTLdelsetmipstarts(VNTENVptr env, VNTLPptr lp, int *delstat)
{
    return with_problem(env, lp, [&](vntlp &p) { erase_marked(p.mip_starts, delstat); });
}

// In place of those that are there.
int VNTEreadcopymipstarts(VNTENVptr env, VNTLPptr lp, const char *filename_str,
                          const char *contents, int64_t length)
{
    return with_problem(env, lp, [&](vntlp &p) {
        p.mip_starts = starts_read(file_contents(filename_str, contents, length), p.m);
    });
}

int VNTLwritemipstarts(VNTENVptr env, VNTLPptr lp, const char *filename_str, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        int count = range_count(begin, end, static_cast<int>(p.mip_starts.size()));
        file_write(filename_str,
                   starts_write(p.m, p.mip_starts.data() + (count > 0 ? begin : 0), count));
    });
}
