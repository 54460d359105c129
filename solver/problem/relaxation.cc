#include "solver/problem/relaxation.h"

#include "solver/problem/reformulation.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace vnt {

relaxation::relaxation(const vntlp &p, bool by_number) : whole(p), elastic(p), by_number(by_number)
{
    model &m = elastic.m;
    elastic.changed();
    elastic.forget_basis();
    elastic.mip_starts.clear();
    elastic.start.clear();
    elastic.free_lower.clear();
    elastic.free_upper.clear();
    m.clear_quadratic();
    m.user_cuts.clear(); // they may not hold once constraints are relaxed
    if (!p.m.discrete()) m.lazies.clear();
    if (!p.m.discrete()) m.ctype.assign(p.m.numcols(), 'C');
    m.type = p.m.discrete() || by_number ? VNT_PROB_MIP : VNT_PROB_LP;
    m.sense = VNT_MIN;
    m.objective.assign(p.m.numcols(), 0.0);
    m.offset = 0;
}

void relaxation::new_lines::add(std::initializer_list<std::pair<int, double>> entries,
                                double number)
{
    for (auto [i, v] : entries) {
        index.push_back(i);
        value.push_back(v);
    }
    begin.push_back(static_cast<int64_t>(index.size()));
    cost_or_rhs.push_back(number);
}

matrix_lines relaxation::new_lines::lines() const
{
    return {static_cast<int>(cost_or_rhs.size()),
            begin.back(),
            begin.data(),
            nullptr,
            index.data(),
            value.data()};
}

// Adds a slack column with an entry in the row, without one if the row is negative.
int relaxation::add_slack(double preference, int64_t group, int row, double value)
{
    double cost = by_number ? 0 : 1 / preference;
    slacks.push_back({whole.m.numcols() + static_cast<int>(slacks.size()), preference, group});
    row < 0 ? cols.add({}, cost) : cols.add({{row, value}}, cost);
    return slacks.back().column;
}

void relaxation::append()
{
    matrix_lines entries = cols.lines();
    elastic.append_cols(
        {entries.lines, cols.cost_or_rhs.data(), nullptr, nullptr, nullptr, nullptr}, &entries);
    entries = rows.lines();
    elastic.append_rows(
        {entries.lines, rows.cost_or_rhs.data(), rows.sense.data(), nullptr, nullptr}, &entries);
    if (by_number) append_switches();
}

void relaxation::relax(const conflict_member &c, int sides, double preference, int64_t group)
{
    switch (c.type) {
    case VNT_CONSTRAINT_ROW: return relax_row(c.index, sides, preference, group);
    case VNT_CONSTRAINT_LOWER: return relax_bound(c.index, SIDE_LOWER, preference, group);
    case VNT_CONSTRAINT_UPPER: return relax_bound(c.index, SIDE_UPPER, preference, group);
    case VNT_CONSTRAINT_INDICATOR: return relax_indicator(c.index, preference, group);
    default: throw failure{VNTERR_NOT_SUPPORTED, "a set cannot be relaxed"};
    }
}

void relaxation::relax_row(int i, int sides, double preference, int64_t group)
{
    if ((sides & SIDE_LOWER) != 0 && whole.m.row_lower(i) > -VNT_INFINITY)
        add_slack(preference, group, i, 1);
    if ((sides & SIDE_UPPER) != 0 && whole.m.row_upper(i) < VNT_INFINITY)
        add_slack(preference, group, i, -1);
}

// The bound becomes a row.
void relaxation::relax_bound(int j, int side, double preference, int64_t group)
{
    bool lower = side == SIDE_LOWER;
    double bound = lower ? whole.m.lower[j] : whole.m.upper[j];
    if (std::fabs(bound) >= VNT_INFINITY) return;
    if (elastic.m.ctype[j] == 'B') elastic.m.ctype[j] = 'I';
    (lower ? elastic.m.lower : elastic.m.upper)[j] = lower ? -VNT_INFINITY : VNT_INFINITY;
    int slack = add_slack(preference, group, -1, 0);
    rows.add({{j, 1}, {slack, lower ? 1 : -1}}, bound);
    rows.sense += lower ? 'G' : 'L';
}

void relaxation::relax_indicator(int k, double preference, int64_t group)
{
    char sense = whole.m.indicators[k].sense;
    for (char side : {'G', 'L'}) {
        if (sense != 'E' && sense != side) continue;
        int slack = add_slack(preference, group, -1, 0);
        elastic.m.indicators[k].index.push_back(slack);
        elastic.m.indicators[k].value.push_back(side == 'G' ? 1 : -1);
    }
}

// Adds a binary column for each group; while it is 0 the group's slacks are.
void relaxation::append_switches()
{
    std::map<int64_t, std::vector<slack_column>> groups;
    for (const slack_column &s : slacks)
        groups[s.group].push_back(s);
    for (const auto &[group, members] : groups) {
        double cost = 1 / members[0].preference;
        elastic.append_cols({1, &cost, nullptr, nullptr, "B", nullptr}, nullptr);
        indicator c = {"", INDICATOR_IF, elastic.m.numcols() - 1, true, 'L', 0, {}, {}};
        for (const slack_column &s : members) {
            c.index.push_back(s.column);
            c.value.push_back(1);
        }
        elastic.m.indicators.push_back(std::move(c));
    }
}

int relaxation::run(engine_series &series, engine_result *result)
{
    reformulation in(elastic, elastic.m.discrete());
    int rc = series.solve(in.engine(), INT64_MAX, result);
    result->x.resize(result->x.empty() ? 0 : elastic.m.numcols());
    return rc;
}

// Turns to the caller's objective, over the points that cost no more than the least relaxation.
void relaxation::ask_objective(const engine_result &least)
{
    model &m = elastic.m;
    std::vector<int> index;
    std::vector<double> costs;
    for (int j = 0; j < m.numcols(); j++) {
        if (m.objective[j] == 0) continue;
        index.push_back(j);
        costs.push_back(m.objective[j]);
    }
    if (elastic.m.discrete()) {
        elastic.start = least.x;
    } else if (!least.cstat.empty()) {
        elastic.set_basis(least.cstat, least.rstat);
    }
    double most = least.objective + 1e-6 * (1 + std::fabs(least.objective));
    int64_t begin[] = {0, static_cast<int64_t>(index.size())};
    matrix_lines entries = {1, begin[1], begin, nullptr, index.data(), costs.data()};
    elastic.append_rows({1, &most, "L", nullptr, nullptr}, &entries);
    m.objective.assign(m.numcols(), 0.0);
    std::copy(whole.m.objective.begin(), whole.m.objective.end(), m.objective.begin());
    m.sense = whole.m.sense;
}

void relaxation::fill(const engine_result &result, answer *out) const
{
    const model &m = whole.m;
    bool discrete = elastic.m.discrete();
    out->method = discrete ? VNT_METHOD_MIP : result.method;
    out->iterations += result.iterations;
    out->nodes += result.nodes;
    bool point = result.status == VNT_STAT_OPTIMAL || (discrete && !result.solutions.empty());
    if (!point || result.x.size() < static_cast<size_t>(m.numcols())) return;
    out->x.assign(result.x.begin(), result.x.begin() + m.numcols());
    out->slack = m.slacks(out->x.data());
    out->objective = out->bound = m.objective_at(out->x.data());
    out->solution = VNT_SOLUTION_PRIMAL;
}

int relaxation::solve(engine_series &series, bool optimize, answer *out)
{
    append();
    *out = answer();
    engine_result least, best;
    int rc = run(series, &least);
    if (rc != 0) return rc;
    fill(least, out);
    bool found = least.status == VNT_STAT_OPTIMAL || least.status == VNT_STAT_OPTIMAL_TOLERANCE;
    out->status = found ? VNT_STAT_RELAXED : least.status;
    out->primal_feasible = found && least.objective <= series.params.feasibility;
    if (!found || !optimize) return 0;
    ask_objective(least);
    rc = run(series, &best);
    if (rc != 0) return rc;
    fill(best, out);
    found = best.status == VNT_STAT_OPTIMAL || best.status == VNT_STAT_OPTIMAL_TOLERANCE;
    out->status = found ? VNT_STAT_RELAXED_OPTIMAL : best.status;
    return 0;
}

} // namespace vnt
