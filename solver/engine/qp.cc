#include "solver/engine/qp.h"

#include "solver/engine/clp.h"

#include <IpStdCInterface.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <condition_variable>
#include <dlfcn.h>
#include <mutex>
#include <new>
#include <stdexcept>

namespace vnt {

namespace {

// Ipopt's functions.  It is loaded when first wanted: it brings linear algebra along that a process
// without quadratic problems need not carry.
struct ipopt_library {
    decltype(&CreateIpoptProblem) create = nullptr;
    decltype(&FreeIpoptProblem) free = nullptr;
    decltype(&AddIpoptStrOption) set_string = nullptr;
    decltype(&AddIpoptNumOption) set_number = nullptr;
    decltype(&AddIpoptIntOption) set_int = nullptr;
    decltype(&SetIntermediateCallback) watch = nullptr;
    decltype(&IpoptSolve) solve = nullptr;
    bool there = false;

    ipopt_library();
};

template <class function> bool find(void *library, const char *name, function *out)
{
    *out = reinterpret_cast<function>(dlsym(library, name));
    return *out != nullptr;
}

// The library stays loaded.
ipopt_library::ipopt_library()
{
    void *library = dlopen("libipopt.so.1", RTLD_NOW | RTLD_LOCAL);
    there = library != nullptr && find(library, "CreateIpoptProblem", &create) &&
            find(library, "FreeIpoptProblem", &free) &&
            find(library, "AddIpoptStrOption", &set_string) &&
            find(library, "AddIpoptNumOption", &set_number) &&
            find(library, "AddIpoptIntOption", &set_int) &&
            find(library, "SetIntermediateCallback", &watch) && find(library, "IpoptSolve", &solve);
}

const ipopt_library &ipopt()
{
    static const ipopt_library library;
    return library;
}

// Which solve is in Ipopt: one at a time.  A mutex with a time limit would do, but the thread
// sanitizer does not know how it is waited for.
class ipopt_turn {
  public:
    bool take_within(std::chrono::milliseconds time)
    {
        std::unique_lock hold(lock);
        if (!given_back.wait_for(hold, time, [&] { return !taken; })) return false;
        return taken = true;
    }
    void give_back()
    {
        std::lock_guard hold(lock);
        taken = false;
        given_back.notify_one();
    }

  private:
    std::mutex lock; // of what follows
    std::condition_variable given_back;
    bool taken = false;
};

ipopt_turn turn;

class qp_solve {
  public:
    qp_solve(const engine_model &model, const engine_quadratic &q, const engine_params &params,
             const engine_hooks &hooks, engine_result *result)
        : model(model), q(q), params(params), hooks(hooks), result(*result)
    {
    }
    int run();

  private:
    double remaining() const;
    int linear(const engine_model &problem, engine_result *out);
    int feasible(bool *go);
    int bounded(bool *go);
    void arrange();
    int interior(engine_poll &poll);
    int convex(bool *go);
    ApplicationReturnStatus call(std::vector<double> *lambda);
    void set_options(IpoptProblem problem) const;
    void fill(ApplicationReturnStatus ended, const std::vector<double> &lambda,
              const engine_poll &poll);

    // What Ipopt calls back with; each gets the solve as its last argument.
    static Bool value(Index, Number *x, Bool, Number *out, UserDataPtr self);
    static Bool gradient(Index, Number *x, Bool, Number *out, UserDataPtr self);
    static Bool activity(Index, Number *x, Bool, Index, Number *out, UserDataPtr self);
    static Bool jacobian(Index, Number *, Bool, Index, Index count, Index *rows, Index *cols,
                         Number *values, UserDataPtr self);
    static Bool hessian(Index, Number *, Bool, Number factor, Index, Number *, Bool, Index count,
                        Index *rows, Index *cols, Number *values, UserDataPtr self);
    static Bool step(Index, Index, Number objective, Number infeasibility, Number, Number, Number,
                     Number, Number, Number, Index, UserDataPtr self);

    const engine_model &model;
    const engine_quadratic &q;
    const engine_params &params;
    const engine_hooks &hooks;
    engine_result &result;
    engine_poll *poll = nullptr; // while Ipopt runs
    uint64_t ticks = 0;          // of the linear problems
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
    // Rows without sides are left out: `kept` holds the others, and `place` where each row is.
    std::vector<int> kept, place;
    std::vector<Index> jacobian_row, jacobian_col, hessian_row, hessian_col;
    std::vector<Number> jacobian_value, hessian_value;
    std::vector<double> x;
};

double qp_solve::remaining() const
{
    std::chrono::duration<double> gone = std::chrono::steady_clock::now() - begin;
    return std::max(0.0, params.time_limit - gone.count());
}

int qp_solve::linear(const engine_model &problem, engine_result *out)
{
    engine_params part = params;
    part.time_limit = remaining();
    int rc = engine_solve_lp(problem, part, ENGINE_DUAL, true, hooks, out);
    ticks += out->ticks;
    return rc;
}

// A feasible point.  Without one the linear problem's result is that of this one.
int qp_solve::feasible(bool *go)
{
    std::vector<double> zero(model.numcols, 0.0);
    engine_model problem = model;
    problem.objective = zero.data();
    problem.cstat = problem.rstat = nullptr;
    engine_result found;
    int rc = linear(problem, &found);
    *go = rc == 0 && found.status == VNT_STAT_OPTIMAL;
    if (*go) {
        x = found.x;
    } else {
        found.method = VNT_METHOD_BARRIER;
        found.cstat.clear();
        found.rstat.clear();
        found.pi.clear();
        found.dj.clear();
        result = std::move(found);
    }
    return rc;
}

double recession(double bound)
{
    return engine_is_inf(bound) ? bound : 0;
}

// The directions of at most 1 that stay feasible for ever and in which the objective does not
// curve: as a linear model over them, with the rows of the matrix and then those of Q.
struct recession_cone {
    recession_cone(const engine_model &model, const engine_quadratic &q);
    engine_model model;

  private:
    void add_column(const engine_model &of, const engine_quadratic &q, int j);

    std::vector<int64_t> begin = {0};
    std::vector<int> index;
    std::vector<double> value, low, high, row_low, row_high;
};

recession_cone::recession_cone(const engine_model &of, const engine_quadratic &q)
    : row_low(of.numrows + of.numcols), row_high(of.numrows + of.numcols)
{
    for (int j = 0; j < of.numcols; j++)
        add_column(of, q, j);
    std::transform(of.row_lower, of.row_lower + of.numrows, row_low.begin(), recession);
    std::transform(of.row_upper, of.row_upper + of.numrows, row_high.begin(), recession);
    model.numrows = of.numrows + of.numcols;
    model.numcols = of.numcols;
    model.begin = begin.data();
    model.index = index.data();
    model.value = value.data();
    model.col_lower = low.data();
    model.col_upper = high.data();
    model.row_lower = row_low.data();
    model.row_upper = row_high.data();
    model.objective = of.objective;
    model.sense = of.sense;
}

void recession_cone::add_column(const engine_model &of, const engine_quadratic &q, int j)
{
    index.insert(index.end(), of.index + of.begin[j], of.index + of.begin[j + 1]);
    value.insert(value.end(), of.value + of.begin[j], of.value + of.begin[j + 1]);
    for (int64_t k = q.begin[j]; k < q.begin[j + 1]; k++)
        index.push_back(of.numrows + q.index[k]);
    value.insert(value.end(), q.value + q.begin[j], q.value + q.begin[j + 1]);
    begin.push_back(static_cast<int64_t>(index.size()));
    low.push_back(std::max(recession(of.col_lower[j]), -1.0));
    high.push_back(std::min(recession(of.col_upper[j]), 1.0));
}

// The objective falls for ever where a direction of the recession cone leads down.
int qp_solve::bounded(bool *go)
{
    int n = model.numcols;
    *go = true;
    if (std::none_of(model.col_lower, model.col_lower + n, engine_is_inf) &&
        std::none_of(model.col_upper, model.col_upper + n, engine_is_inf))
        return 0;
    recession_cone cone(model, q);
    engine_result found;
    int rc = linear(cone.model, &found);
    if (rc != 0 || found.status != VNT_STAT_OPTIMAL) return rc; // no proof; the other method tells
    double costs = 1;
    for (int j = 0; j < n; j++)
        costs = std::max(costs, std::fabs(model.objective[j]));
    *go = model.sense * found.objective > -1e-7 * costs;
    if (*go) return 0;
    result.status = VNT_STAT_UNBOUNDED;
    result.primal_feasible = true;
    result.x = x;
    result.ray = std::move(found.x);
    return 0;
}

// The matrices as lists of places; of the symmetric one the lower triangle.
void qp_solve::arrange()
{
    place.assign(model.numrows, -1);
    for (int i = 0; i < model.numrows; i++) {
        if (engine_is_inf(model.row_lower[i]) && engine_is_inf(model.row_upper[i])) continue;
        place[i] = static_cast<int>(kept.size());
        kept.push_back(i);
    }
    for (int j = 0; j < model.numcols; j++) {
        for (int64_t k = model.begin[j]; k < model.begin[j + 1]; k++) {
            if (place[model.index[k]] < 0) continue;
            jacobian_row.push_back(place[model.index[k]]);
            jacobian_col.push_back(j);
            jacobian_value.push_back(model.value[k]);
        }
        for (int64_t k = q.begin[j]; k < q.begin[j + 1]; k++) {
            if (q.index[k] < j) continue;
            hessian_row.push_back(q.index[k]);
            hessian_col.push_back(j);
            hessian_value.push_back(q.value[k]);
        }
    }
    if (jacobian_row.size() > INT_MAX || hessian_row.size() > INT_MAX)
        throw std::length_error("nonzeros");
}

Bool qp_solve::value(Index, Number *x, Bool, Number *out, UserDataPtr self)
{
    qp_solve &s = *static_cast<qp_solve *>(self);
    std::vector<double> product = engine_multiply(s.q, s.model.numcols, x);
    *out = 0;
    for (int j = 0; j < s.model.numcols; j++)
        *out += x[j] * (s.model.objective[j] + 0.5 * product[j]);
    *out *= s.model.sense;
    return TRUE;
}

Bool qp_solve::gradient(Index, Number *x, Bool, Number *out, UserDataPtr self)
{
    qp_solve &s = *static_cast<qp_solve *>(self);
    std::vector<double> product = engine_multiply(s.q, s.model.numcols, x);
    for (int j = 0; j < s.model.numcols; j++)
        out[j] = s.model.sense * (s.model.objective[j] + product[j]);
    return TRUE;
}

Bool qp_solve::activity(Index, Number *x, Bool, Index count, Number *out, UserDataPtr self)
{
    qp_solve &s = *static_cast<qp_solve *>(self);
    std::fill_n(out, count, 0.0);
    for (size_t k = 0; k < s.jacobian_row.size(); k++)
        out[s.jacobian_row[k]] += s.jacobian_value[k] * x[s.jacobian_col[k]];
    return TRUE;
}

// Ipopt asks for the places first, without room for values.
Bool qp_solve::jacobian(Index, Number *, Bool, Index, Index, Index *rows, Index *cols,
                        Number *values, UserDataPtr self)
{
    qp_solve &s = *static_cast<qp_solve *>(self);
    if (values != nullptr) {
        std::copy(s.jacobian_value.begin(), s.jacobian_value.end(), values);
    } else {
        std::copy(s.jacobian_row.begin(), s.jacobian_row.end(), rows);
        std::copy(s.jacobian_col.begin(), s.jacobian_col.end(), cols);
    }
    return TRUE;
}

Bool qp_solve::hessian(Index, Number *, Bool, Number factor, Index, Number *, Bool, Index,
                       Index *rows, Index *cols, Number *values, UserDataPtr self)
{
    qp_solve &s = *static_cast<qp_solve *>(self);
    if (values != nullptr) {
        std::transform(s.hessian_value.begin(), s.hessian_value.end(), values,
                       [&](double v) { return factor * s.model.sense * v; });
    } else {
        std::copy(s.hessian_row.begin(), s.hessian_row.end(), rows);
        std::copy(s.hessian_col.begin(), s.hessian_col.end(), cols);
    }
    return TRUE;
}

Bool qp_solve::step(Index, Index, Number objective, Number infeasibility, Number, Number, Number,
                    Number, Number, Number, Index, UserDataPtr self)
{
    qp_solve &s = *static_cast<qp_solve *>(self);
    return s.poll->barrier_iteration(objective + s.model.sense * s.model.offset, infeasibility)
               ? FALSE
               : TRUE;
}

// Options are set by texts that the interface takes without promising to leave them.
void qp_solve::set_options(IpoptProblem problem) const
{
    auto text = [&](std::string name, std::string value) {
        ipopt().set_string(problem, name.data(), value.data());
    };
    auto number = [&](std::string name, double value) {
        ipopt().set_number(problem, name.data(), value);
    };
    std::string level = "print_level", most = "max_iter";
    ipopt().set_int(problem, level.data(), 0);
    ipopt().set_int(problem, most.data(), 3000);
    text("sb", "yes");            // no banner
    text("option_file_name", ""); // nothing from the current folder
    text("jac_c_constant", "yes");
    text("jac_d_constant", "yes");
    text("hessian_constant", "yes");
    text("mu_strategy", "adaptive");
    number("tol", std::min(1e-9, params.optimality));
    number("constr_viol_tol", std::min(1e-9, params.feasibility));
    number("bound_relax_factor", 0);
    number("nlp_lower_bound_inf", -VNT_INFINITY);
    number("nlp_upper_bound_inf", VNT_INFINITY);
}

ApplicationReturnStatus qp_solve::call(std::vector<double> *lambda)
{
    int m = static_cast<int>(kept.size());
    std::vector<double> low(model.col_lower, model.col_lower + model.numcols),
        high(model.col_upper, model.col_upper + model.numcols), row_low, row_high;
    int free = 0, equations = 0;
    for (int j = 0; j < model.numcols; j++)
        free += low[j] < high[j];
    for (int i : kept) {
        row_low.push_back(model.row_lower[i]);
        row_high.push_back(model.row_upper[i]);
        equations += row_low.back() == row_high.back();
    }
    // Ipopt refuses more equations than columns, even where they follow from each other.
    for (int i = 0; i < m && equations > free; i++) {
        if (row_low[i] != row_high[i]) continue;
        double width = 1e-8 * std::max(1.0, std::fabs(row_low[i]));
        row_low[i] -= width;
        row_high[i] += width;
    }
    IpoptProblem problem = ipopt().create(model.numcols, low.data(), high.data(), m, row_low.data(),
                                          row_high.data(), static_cast<Index>(jacobian_row.size()),
                                          static_cast<Index>(hessian_row.size()), 0, value,
                                          activity, gradient, jacobian, hessian);
    if (problem == nullptr) return Internal_Error;
    set_options(problem);
    ipopt().watch(problem, step);
    lambda->assign(m, 0.0);
    ApplicationReturnStatus ended =
        ipopt().solve(problem, x.data(), nullptr, nullptr, lambda->data(), nullptr, nullptr, this);
    ipopt().free(problem);
    return ended;
}

int status_of(ApplicationReturnStatus ended)
{
    switch (ended) {
    case Solve_Succeeded:
    case Solved_To_Acceptable_Level: return VNT_STAT_OPTIMAL;
    case Maximum_Iterations_Exceeded: return VNT_STAT_ITERATION_LIMIT;
    default: return VNT_STAT_NUMERICAL;
    }
}

void qp_solve::fill(ApplicationReturnStatus ended, const std::vector<double> &lambda,
                    const engine_poll &poll)
{
    result.status = poll.ended() != 0 && ended != Solve_Succeeded ? poll.ended() : status_of(ended);
    for (int j = 0; j < model.numcols; j++)
        x[j] = std::clamp(x[j], model.col_lower[j], model.col_upper[j]) + 0.0;
    result.x = x;
    engine_fill_rows(model, &result);
    std::vector<double> slope = engine_multiply(q, model.numcols, x.data());
    for (int j = 0; j < model.numcols; j++)
        result.objective += 0.5 * slope[j] * x[j];
    result.pi.assign(model.numrows, 0.0);
    for (size_t k = 0; k < kept.size(); k++)
        result.pi[kept[k]] = -model.sense * lambda[k] + 0.0;
    for (int j = 0; j < model.numcols; j++)
        slope[j] += model.objective[j];
    result.dj = engine_reduced_costs(model, slope.data(), result.pi.data());
    bool optimal = result.status == VNT_STAT_OPTIMAL;
    result.primal_feasible = optimal || engine_violation(model, x.data()) <= params.feasibility;
    result.dual_feasible = optimal;
    result.barrier_iterations = poll.barrier_iterations;
    result.ticks = ticks + poll.seen.ticks;
    if (optimal) result.bound = result.objective;
}

int qp_solve::interior(engine_poll &polled)
{
    bool ours = false;
    while (!ours && !polled.tick())
        ours = turn.take_within(std::chrono::milliseconds(10));
    std::vector<double> lambda(kept.size(), 0.0);
    ApplicationReturnStatus ended = User_Requested_Stop;
    poll = &polled;
    int rc = 0;
    if (ours) {
        rc = engine_last_attempt(polled, [&] { ended = call(&lambda); });
        turn.give_back();
    }
    if (rc == 0) fill(ended, lambda, polled);
    return rc;
}

// Whether the objective curves the right way, as far as that was found out before an end.
int qp_solve::convex(bool *go)
{
    engine_params part = params;
    engine_poll polled(part, hooks, model.sense);
    auto ended = [&] { return polled.tick(); };
    bool curved = !engine_nonconvex(q, model.numcols, model.sense, ended).empty();
    ticks += polled.seen.ticks;
    *go = !curved && polled.ended() == 0;
    result.status = polled.ended();
    result.ticks = ticks;
    return curved ? VNTERR_NOT_CONVEX : 0;
}

int qp_solve::run()
{
    if (!ipopt().there) return VNTERR_LIBRARY;
    result.method = VNT_METHOD_BARRIER;
    result.cutoff = model.sense * VNT_INFINITY;
    result.bound = model.sense * -VNT_INFINITY;
    bool go = false;
    int rc = convex(&go);
    if (rc == 0 && go) rc = feasible(&go);
    if (rc == 0 && go) rc = bounded(&go);
    if (rc != 0 || !go) return rc;
    arrange();
    engine_params part = params;
    part.time_limit = remaining();
    engine_poll polled(part, hooks, model.sense);
    return interior(polled);
}

} // namespace

int engine_solve_qp(const engine_model &model, const engine_quadratic &q,
                    const engine_params &params, const engine_hooks &hooks, engine_result *result)
{
    try {
        *result = engine_result();
        engine_model continuous = model;
        continuous.ctype = nullptr;
        continuous.num_pairs = 0;
        return qp_solve(continuous, q, params, hooks, result).run();
    } catch (const std::bad_alloc &) {
        return VNTERR_NO_MEMORY;
    } catch (const std::length_error &) {
        return VNTERR_NOT_SUPPORTED;
    }
}

} // namespace vnt
