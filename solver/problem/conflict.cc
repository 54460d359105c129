#include "solver/problem/conflict.h"

#include "solver/engine/measure.h"
#include "solver/engine/series.h"
#include "solver/problem/reformulation.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace vnt {

// A search that needs more nodes ends undecided.  With unbounded integer columns it may otherwise
// never end.
static constexpr int64_t most_nodes = 5000, most_unbounded_nodes = 100;

bool bounds_stay(const model &m, int j)
{
    if (!m.discrete()) return false;
    return m.ctype[j] == 'S' || m.ctype[j] == 'N' ||
           std::any_of(m.indicators.begin(), m.indicators.end(),
                       [&](const indicator &c) { return c.column == j; });
}

static size_t constraints_of(const model &m, char type)
{
    switch (type) {
    case VNT_CONSTRAINT_ROW: return m.numrows();
    case VNT_CONSTRAINT_LOWER:
    case VNT_CONSTRAINT_UPPER: return m.numcols();
    case VNT_CONSTRAINT_SET: return m.sets.size();
    case VNT_CONSTRAINT_INDICATOR: return m.indicators.size();
    default: throw failure{VNTERR_BAD_ARGUMENT, "a type of constraints other than R, L, U, S, I"};
    }
}

void conflict_check(const model &m, const conflict_member &c)
{
    require(c.index >= 0 && static_cast<size_t>(c.index) < constraints_of(m, c.type),
            VNTERR_INDEX_RANGE);
    bool bound = c.type == VNT_CONSTRAINT_LOWER || c.type == VNT_CONSTRAINT_UPPER;
    if (bound && bounds_stay(m, c.index)) {
        throw failure{VNTERR_NOT_SUPPORTED,
                      "the bounds of a semi-continuous or an indicator's column always hold"};
    }
}

std::vector<conflict_group> conflict_groups(const model &m)
{
    std::vector<conflict_group> groups;
    for (int i = 0; i < m.numrows(); i++)
        groups.push_back({2, {{VNT_CONSTRAINT_ROW, i}}});
    for (int j = 0; j < m.numcols(); j++) {
        if (bounds_stay(m, j)) continue;
        // Bounds of integer columns are tried last: without them a search may never end.
        double preference = m.discrete() && m.ctype[j] != 'C' ? 3 : 1;
        if (m.lower[j] > -VNT_INFINITY) groups.push_back({preference, {{VNT_CONSTRAINT_LOWER, j}}});
        if (m.upper[j] < VNT_INFINITY) groups.push_back({preference, {{VNT_CONSTRAINT_UPPER, j}}});
    }
    return groups;
}

// Only feasibility matters here.
static vntlp without_objective(const vntlp &p)
{
    vntlp q = p;
    q.changed();
    q.mip_starts.clear();
    q.start.clear();
    q.m.type = p.m.discrete() ? VNT_PROB_MIP : VNT_PROB_LP;
    q.m.clear_quadratic();
    q.m.objective.assign(p.m.numcols(), 0.0);
    q.m.offset = 0;
    q.m.user_cuts.clear(); // they may not hold once constraints are left out
    if (!p.m.discrete()) q.m.lazies.clear();
    for (int j = 0; j < p.m.numcols() && p.m.discrete(); j++)
        if (p.m.ctype[j] == 'B' && !bounds_stay(p.m, j)) q.m.ctype[j] = 'I';
    return q;
}

template <class list> static void erase_places(list &from, std::vector<int> places)
{
    std::sort(places.begin(), places.end());
    places.erase(std::unique(places.begin(), places.end()), places.end());
    for (size_t k = places.size(); k-- > 0;)
        from.erase(from.begin() + places[k]);
}

// Takes constraints out of q, a full copy of the model.  Their rows stay, without bounds.
static void leave_out(model &q, const std::vector<conflict_member> &gone)
{
    std::vector<int> sets, indicators;
    for (const conflict_member &c : gone) {
        switch (c.type) {
        case VNT_CONSTRAINT_ROW:
            q.row_sense[c.index] = 'L';
            q.rhs[c.index] = VNT_INFINITY;
            q.range[c.index] = 0;
            break;
        case VNT_CONSTRAINT_LOWER: q.lower[c.index] = -VNT_INFINITY; break;
        case VNT_CONSTRAINT_UPPER: q.upper[c.index] = VNT_INFINITY; break;
        case VNT_CONSTRAINT_SET: sets.push_back(c.index); break;
        default: indicators.push_back(c.index);
        }
    }
    erase_places(q.sets, std::move(sets));
    erase_places(q.indicators, std::move(indicators));
}

namespace {

enum verdict { FEASIBLE, INFEASIBLE, UNDECIDED };

class conflict_search {
  public:
    conflict_search(const vntlp &p, const engine_params &params, const engine_hooks &hooks,
                    conflict *c)
        : whole(p.m), trial(without_objective(p)), series(params, hooks), found(*c),
          active(c->groups.size(), true)
    {
        series.params.solution_limit = 1;
    }
    void run();

    uint64_t ticks() const { return series.ticks(); }
    int error = 0;

  private:
    void order();
    void build();
    verdict check();
    verdict solve(bool discrete);
    void use(const std::vector<double> &weights);
    double preference(size_t k) const { return found.groups[candidates[k]].preference; }
    void leave(size_t from, size_t count, bool in);
    void drop_inactive();
    void filter();
    void conclude();

    const model &whole;
    vntlp trial;
    engine_series series;
    conflict &found;
    std::vector<bool> active;       // by group
    std::vector<size_t> candidates; // groups that may go, in the order of trying
    size_t settled = 0;             // how many of them have been tried and stay
};

// Groups of preference 0 stay untried; those of negative preference are left out from the start.
void conflict_search::order()
{
    for (size_t g = 0; g < found.groups.size(); g++) {
        active[g] = found.groups[g].preference >= 0;
        if (found.groups[g].preference > 0) candidates.push_back(g);
    }
    std::stable_sort(candidates.begin(), candidates.end(), [&](size_t a, size_t b) {
        return found.groups[a].preference < found.groups[b].preference;
    });
}

void conflict_search::build()
{
    model &m = trial.m;
    m.lower = whole.lower;
    m.upper = whole.upper;
    m.row_sense = whole.row_sense;
    m.rhs = whole.rhs;
    m.range = whole.range;
    m.sets = whole.sets;
    m.indicators = whole.indicators;
    std::vector<conflict_member> gone;
    for (size_t g = 0; g < active.size(); g++) {
        const std::vector<conflict_member> &members = found.groups[g].members;
        if (!active[g]) gone.insert(gone.end(), members.begin(), members.end());
    }
    leave_out(m, gone);
}

verdict conflict_search::solve(bool discrete)
{
    if (error != 0 || series.ended() != 0) return UNDECIDED;
    reformulation in(trial, discrete);
    engine_result result;
    bool bounded = engine_ints_bounded(in.engine());
    error = series.solve(in.engine(), bounded ? most_nodes : most_unbounded_nodes, &result);
    if (error != 0) return UNDECIDED;
    if (!discrete && !result.cstat.empty()) trial.set_basis(result.cstat, result.rstat);
    if (result.status == VNT_STAT_INFEASIBLE) {
        if (!discrete) use(result.farkas);
        return INFEASIBLE;
    }
    bool point = result.status == VNT_STAT_OPTIMAL || (discrete && !result.solutions.empty());
    return point ? FEASIBLE : UNDECIDED;
}

// The relaxation is tried first, as it is quick.  It cannot express semi-continuous columns.
verdict conflict_search::check()
{
    found.passes++;
    build();
    bool discrete = trial.m.discrete();
    bool relaxable = !discrete || trial.m.ctype.find_first_of("SN") == std::string::npos;
    if (relaxable) {
        verdict v = solve(false);
        if (v == INFEASIBLE || !discrete) return v;
    }
    return solve(true);
}

// Drops the groups that a proof of infeasibility does not use, if it holds without them.  Groups of
// a higher preference than the current one stay: another proof may need these and not those.
void conflict_search::use(const std::vector<double> &weights)
{
    if (weights.empty()) return;
    reformulation in(trial, false);
    std::vector<double> reach = engine_reduced_costs(in.engine(), nullptr, weights.data());
    double most = 0;
    for (double r : reach)
        most = std::max(most, std::fabs(r));
    auto uses = [&](const conflict_member &c) {
        if (c.type == VNT_CONSTRAINT_ROW) return weights[c.index] != 0;
        if (c.type == VNT_CONSTRAINT_LOWER) return reach[c.index] > 1e-9 * most;
        if (c.type == VNT_CONSTRAINT_UPPER) return reach[c.index] < -1e-9 * most;
        return false;
    };
    std::vector<bool> before = active;
    for (size_t k = settled; k < candidates.size(); k++) {
        if (preference(k) > preference(settled)) break;
        const std::vector<conflict_member> &members = found.groups[candidates[k]].members;
        if (!std::any_of(members.begin(), members.end(), uses)) active[candidates[k]] = false;
    }
    build();
    reformulation fewer(trial, false);
    if (engine_infeasibility_proof(fewer.engine(), weights) <= 0) active = before;
}

void conflict_search::leave(size_t from, size_t count, bool in)
{
    for (size_t k = from; k < from + count; k++)
        active[candidates[k]] = in;
}

// Groups that have been dropped are no candidates any more; the settled ones are all active.
void conflict_search::drop_inactive()
{
    std::erase_if(candidates, [&](size_t g) { return !active[g]; });
}

void conflict_search::filter()
{
    size_t step = std::max<size_t>(1, candidates.size() / 2);
    while (settled < candidates.size() && error == 0 && series.ended() == 0) {
        size_t count = std::min(step, candidates.size() - settled);
        leave(settled, count, false);
        verdict v = check();
        if (v == INFEASIBLE) {
            drop_inactive();
            step = 2 * count;
            continue;
        }
        leave(settled, count, true);
        step = std::max<size_t>(1, count / 2);
        if (count > 1) continue;
        if (v == FEASIBLE) found.groups[candidates[settled]].status = VNT_CONFLICT_MEMBER;
        settled++;
    }
}

void conflict_search::conclude()
{
    found.status = VNT_CONFSTAT_MINIMAL;
    for (size_t g = 0; g < active.size(); g++) {
        conflict_group &group = found.groups[g];
        if (!active[g]) group.status = VNT_CONFLICT_EXCLUDED;
        if (group.preference == 0) group.status = VNT_CONFLICT_MEMBER;
        if (group.status == VNT_CONFLICT_POSSIBLE) found.status = VNT_CONFSTAT_NOT_MINIMAL;
    }
}

void conflict_search::run()
{
    order();
    for (conflict_group &g : found.groups)
        g.status = VNT_CONFLICT_POSSIBLE;
    verdict v = check();
    if (v == FEASIBLE) {
        for (conflict_group &g : found.groups)
            g.status = VNT_CONFLICT_EXCLUDED;
        found.status = VNT_CONFSTAT_FEASIBLE;
        return;
    }
    if (v == INFEASIBLE) {
        drop_inactive();
        filter();
    }
    conclude();
    if (v == UNDECIDED) found.status = VNT_CONFSTAT_NOT_MINIMAL;
}

} // namespace

int conflict_find(const vntlp &p, const engine_params &params, const engine_hooks &hooks,
                  conflict *c, uint64_t *ticks)
{
    conflict_search search(p, params, hooks, c);
    search.run();
    *ticks = search.ticks();
    return search.error;
}

// The new places of the marked ones, -1 for the others.  Returns how many are marked.
static int places_of_kept(const std::vector<bool> &kept, std::vector<int> *place)
{
    int left = 0;
    for (bool k : kept)
        place->push_back(k ? left++ : -1);
    return left;
}

static std::vector<bool> columns_in_use(const model &m)
{
    std::vector<bool> used(m.numcols());
    matrix_view cols = m.a.by_column();
    for (int j = 0; j < m.numcols(); j++) {
        used[j] = cols.begin[j] < cols.begin[j + 1] || m.lower[j] > -VNT_INFINITY ||
                  m.upper[j] < VNT_INFINITY;
    }
    for (const special_set &s : m.sets)
        for (int j : s.index)
            used[j] = true;
    for (const indicator &c : m.indicators)
        for (int j : c.index)
            used[j] = true;
    for (const row_beside &r : m.lazies)
        for (int j : r.index)
            used[j] = true;
    return used;
}

vntlp conflict_problem(const vntlp &p, const conflict &c)
{
    vntlp q = without_objective(p);
    std::vector<bool> rows(p.m.numrows(), true);
    std::vector<conflict_member> gone;
    for (const conflict_group &g : c.groups) {
        if (g.status != VNT_CONFLICT_EXCLUDED) continue;
        gone.insert(gone.end(), g.members.begin(), g.members.end());
        for (const conflict_member &member : g.members)
            if (member.type == VNT_CONSTRAINT_ROW) rows[member.index] = false;
    }
    leave_out(q.m, gone);
    std::vector<int> row_place, col_place;
    int left = places_of_kept(rows, &row_place);
    q.keep_rows(row_place, left);
    left = places_of_kept(columns_in_use(q.m), &col_place);
    q.keep_cols(col_place, left);
    return q;
}

} // namespace vnt
