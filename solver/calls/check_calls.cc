// Points and multipliers against the model: activities, infeasibilities, quality.

#include "solver/calls/calls.h"

#include <cmath>

using namespace vnt;

// How far a value lies above, or as a negative number below, its range.
static double beyond(double value, double low, double high)
{
    if (value > high) return value - high;
    return value < low ? value - low : 0;
}

static std::vector<double> row_infeasibilities(const model &m, const double *x)
{
    std::vector<double> out = m.activities(x);
    for (int i = 0; i < m.numrows(); i++)
        out[i] = beyond(out[i], m.rowlower(i), m.rowupper(i));
    return out;
}

// A semi-continuous column may be 0 as well.
static std::vector<double> column_infeasibilities(const model &m, const double *x)
{
    std::vector<double> out;
    for (int j = 0; j < m.numcols(); j++) {
        bool semi = m.discrete() && (m.ctype[j] == 'S' || m.ctype[j] == 'N');
        out.push_back(semi && x[j] == 0 ? 0 : beyond(x[j], m.lower[j], m.upper[j]));
    }
    return out;
}

int VNTLgetrowinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout, int begin,
                     int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_range(row_infeasibilities(p.m, point_of(p, x)), infeasout, begin, end);
    });
}

int VNTLgetcolinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout, int begin,
                     int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_range(column_infeasibilities(p.m, point_of(p, x)), infeasout, begin, end);
    });
}

int VNTLslackfromx(VNTENVptr env, VNTLPptr lp, const double *x, double *slack)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_range(p.m.slacks(point_of(p, x)), slack, 0, p.m.numrows() - 1);
    });
}

double VNTLEobjfromx(VNTENVptr env, VNTLPptr lp, const double *x)
{
    return count_of(env, lp, [&](vntlp &p) { return p.m.objective_at(point_of(p, x)); });
}

static std::vector<double> reduced_costs(const model &m, const double *pi)
{
    std::vector<double> dj = m.objective;
    matrix_view cols = m.a.by_column();
    for (int j = 0; j < m.numcols(); j++) {
        for (int64_t k = cols.begin[j]; k < cols.begin[j + 1]; k++) {
            dj[j] -= pi[cols.index[k]] * cols.value[k];
        }
    }
    return dj;
}

int VNTLdjfrompi(VNTENVptr env, VNTLPptr lp, const double *pi, double *dj)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_there(pi, p.m.numrows() > 0);
        put_range(reduced_costs(p.m, pi), dj, 0, p.m.numcols() - 1);
    });
}

// The quality of a solution.

// What a reduced cost lacks where the column could still move to the better.
static std::vector<double> dual_infeasibilities(const vntlp &p)
{
    std::vector<double> out;
    for (int j = 0; j < p.m.numcols(); j++) {
        double d = p.last.dj[j] * p.m.sense, x = p.last.x[j];
        bool up = x<p.m.upper[j] - 1e-9, down = x> p.m.lower[j] + 1e-9;
        out.push_back(d < 0 && up ? -d : d > 0 && down ? d : 0);
    }
    return out;
}

static std::vector<double> integer_infeasibilities(const model &m, const double *x)
{
    std::vector<double> out;
    for (int j = 0; j < m.numcols(); j++) {
        bool integer = m.discrete() && m.ctype[j] != 'C' && m.ctype[j] != 'S';
        out.push_back(integer ? x[j] - std::round(x[j]) : 0);
    }
    return out;
}

static const std::vector<double> &there(const std::vector<double> &values)
{
    require(!values.empty(), VNTERR_NO_SOLUTION);
    return values;
}

// What the lowest bits of a quality ask for.
static constexpr int aspect_bits = VNT_QUALITY_WHERE | VNT_QUALITY_SUM;

// The values that a quality is about.
static std::vector<double> quality_values(const vntlp &p, const std::vector<double> &x, int what)
{
    std::vector<double> values;
    switch (what & ~aspect_bits) {
    case VNT_QUALITY_MAX_PRIMAL_INFEASIBILITY:
        values = row_infeasibilities(p.m, x.data());
        for (double v : column_infeasibilities(p.m, x.data()))
            values.push_back(v);
        return values;
    case VNT_QUALITY_MAX_DUAL_INFEASIBILITY: there(p.last.dj); return dual_infeasibilities(p);
    case VNT_QUALITY_MAX_INTEGER_INFEASIBILITY: return integer_infeasibilities(p.m, x.data());
    case VNT_QUALITY_MAX_X: return x;
    case VNT_QUALITY_MAX_SLACK: return p.m.slacks(x.data());
    case VNT_QUALITY_MAX_PI: return there(p.last.pi);
    case VNT_QUALITY_MAX_REDUCED_COST: return there(p.last.dj);
    default: throw failure{VNTERR_BAD_ARGUMENT, "no such quality"};
    }
}

static int greatest(const std::vector<double> &values)
{
    auto less = [](double a, double b) { return std::fabs(a) < std::fabs(b); };
    return static_cast<int>(std::max_element(values.begin(), values.end(), less) - values.begin());
}

static double double_quality(const std::vector<double> &values, int what)
{
    require((what & VNT_QUALITY_WHERE) == 0, VNTERR_BAD_ARGUMENT);
    if ((what & VNT_QUALITY_SUM) == 0) {
        return values.empty() ? 0 : std::fabs(values[greatest(values)]);
    }
    double sum = 0;
    for (double v : values)
        sum += std::fabs(v);
    return sum;
}

static const std::vector<double> &solution_of(const vntlp &p, int soln)
{
    if (soln < 0) return there(p.last.x);
    require(soln < static_cast<int>(p.last.pool.size()), VNTERR_INDEX_RANGE);
    return p.last.pool[soln].x;
}

int VNTLgetsolnpooldblquality(VNTENVptr env, VNTLPptr lp, int soln, double *quality_p, int what)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put(quality_p, double_quality(quality_values(p, solution_of(p, soln), what), what));
    });
}

int VNTLgetdblquality(VNTENVptr env, VNTLPptr lp, double *quality_p, int what)
{
    return VNTLgetsolnpooldblquality(env, lp, -1, quality_p, what);
}

int VNTLgetsolnpoolintquality(VNTENVptr env, VNTLPptr lp, int soln, int *quality_p, int what)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require((what & aspect_bits) == VNT_QUALITY_WHERE, VNTERR_BAD_ARGUMENT);
        std::vector<double> values = quality_values(p, solution_of(p, soln), what);
        put(quality_p, values.empty() ? -1 : greatest(values));
    });
}

int VNTLgetintquality(VNTENVptr env, VNTLPptr lp, int *quality_p, int what)
{
    return VNTLgetsolnpoolintquality(env, lp, -1, quality_p, what);
}
