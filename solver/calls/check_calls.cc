// Points and multipliers against the model: activities, infeasibilities, quality.

#include "solver/calls/calls.h"
#include "solver/model/infeasibility.h"

#include <cmath>
#include <functional>

using namespace vnt;

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

int VNTLdjfrompi(VNTENVptr env, VNTLPptr lp, const double *pi, double *dj)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_there(pi, p.m.numrows() > 0);
        put_range(matrix_reduced_costs(p.m.a.by_column(), p.m.objective, pi), dj, 0,
                  p.m.numcols() - 1);
    });
}

// The quality of a solution.

// What a reduced cost lacks where the column could still move to the better.
static std::vector<double> dual_infeasibilities(const vntlp &p)
{
    std::vector<double> out;
    for (int j = 0; j < p.m.numcols(); j++) {
        double d = p.last.dj[j] * p.m.sense, x = p.last.x[j];
        bool up = x < p.m.upper[j] - 1e-9;
        bool down = x > p.m.lower[j] + 1e-9;
        out.push_back(d < 0 && up ? -d : d > 0 && down ? d : 0);
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
        put(quality_p, values.empty() ? -1 : static_cast<int>(greatest(values)));
    });
}

int VNTLgetintquality(VNTENVptr env, VNTLPptr lp, int *quality_p, int what)
{
    return VNTLgetsolnpoolintquality(env, lp, -1, quality_p, what);
}

// Is the solution what its status says?

// Says on the warning channel what is missed most, unless that is within the tolerance.
static bool within(vntenv &e, const char *what, const std::vector<double> &missed, double tolerance,
                   const std::function<std::string(int)> &name)
{
    size_t at = greatest(missed);
    if (missed.empty() || std::fabs(missed[at]) <= tolerance) return true;
    std::string where = name(static_cast<int>(at));
    e.say(CHANNEL_WARNING,
          printed("%s %.200s: violated by %.6g\n", what, where.c_str(), std::fabs(missed[at])));
    return false;
}

// Infeasibilities relative to the size of the values.
static std::vector<double> relative(std::vector<double> missed, const double *values)
{
    for (size_t k = 0; k < missed.size(); k++)
        missed[k] /= std::max(1.0, std::fabs(values[k]));
    return missed;
}

static bool primal_within(vntenv &e, const vntlp &p)
{
    const model &m = p.m;
    const double *x = p.last.x.data();
    double near = 10 * e.parameters.get_double(VNT_PARAM_FEASIBILITY);
    double whole = e.parameters.get_double(VNT_PARAM_INTEGRALITY);
    auto row = [&](int i) { return m.row_names.at(i); };
    auto col = [&](int j) { return m.col_names.at(j); };
    auto set = [&](int k) { return m.sets[k].name; };
    auto lazy = [&](int k) { return m.lazies[k].name; };
    auto ind = [&](int k) { return m.indicators[k].name; };
    bool all =
        within(e, "row", relative(row_infeasibilities(m, x), m.activities(x).data()), near, row);
    all &= within(e, "bounds of", relative(column_infeasibilities(m, x), x), near, col);
    if (!m.discrete()) return all;
    all &= within(e, "integer column", integer_infeasibilities(m, x), whole, col);
    all &= within(e, "set", set_infeasibilities(m, x), near, set);
    all &= within(e, "lazy constraint", lazy_infeasibilities(m, x), near, lazy);
    all &= within(e, "indicator constraint", indicator_infeasibilities(m, x), near, ind);
    return all;
}

// What a multiplier, of a problem that minimises, has of the wrong sign: it may be positive where
// the value is at its lower bound, and negative where it is at its upper one.
static double wrong_sign(double price, double value, double low, double high)
{
    double near = 1e-6 * std::max(1.0, std::fabs(value));
    bool may = price > 0 ? value <= low + near : value >= high - near;
    return may ? 0 : price;
}

static bool dual_within(vntenv &e, const vntlp &p)
{
    const model &m = p.m;
    std::vector<double> rows, cols, activity = m.activities(p.last.x.data());
    double cost = 1;
    for (double c : m.objective)
        cost = std::max(cost, std::fabs(c));
    for (size_t i = 0; i < p.last.pi.size(); i++) {
        int row = static_cast<int>(i);
        rows.push_back(
            wrong_sign(m.sense * p.last.pi[i], activity[i], m.row_lower(row), m.row_upper(row)));
    }
    for (size_t j = 0; j < p.last.dj.size(); j++)
        cols.push_back(wrong_sign(m.sense * p.last.dj[j], p.last.x[j], m.lower[j], m.upper[j]));
    double near = 10 * cost * e.parameters.get_double(VNT_PARAM_OPTIMALITY);
    bool all = within(e, "price of", rows, near, [&](int i) { return m.row_names.at(i); });
    all &= within(e, "reduced cost of", cols, near, [&](int j) { return m.col_names.at(j); });
    return all;
}

int VNTLchecksoln(VNTENVptr env, VNTLPptr lp, int *lpstatus_p)
{
    return with_environment(env, [&](vntenv &e) {
        const vntlp &p = problem_of(e, lp);
        require(p.last.has_solution(), VNTERR_NO_SOLUTION);
        bool all = !p.last.primal_feasible || primal_within(e, p);
        if (p.last.dual_feasible) all &= dual_within(e, p);
        put(lpstatus_p, all ? p.last.status : static_cast<int>(VNT_STAT_NUMERICAL));
    });
}
