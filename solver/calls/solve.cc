#include "solver/calls/solve.h"

#include "solver/engine/qp.h"
#include "solver/formats/solutionfile.h"
#include "solver/problem/reformulation.h"

#include <chrono>

namespace vnt {

using steady = std::chrono::steady_clock;

// The terminate callback is called in bursts, so that one that acts on every 100th call only acts
// once in each.
static constexpr int burst = 100;
static constexpr auto between_bursts = std::chrono::milliseconds(10);

// What a running solve calls back with.
struct running_solve {
    vntenv &env;
    int numcols;
    uint64_t ticks = 0; // the progress told so far; it never shrinks
    steady::time_point next_burst = steady::now();
};

// Lets others find the environment busy instead of waiting for it.
class solving_mark {
  public:
    explicit solving_mark(vntenv &env) : env(env)
    {
        env.solving = true;
        env.lock.unlock();
    }
    ~solving_mark()
    {
        env.lock.lock();
        env.solving = false;
    }
    solving_mark(const solving_mark &) = delete;

  private:
    vntenv &env;
};

static bool terminate_called(running_solve &r)
{
    if (r.env.terminate_func == nullptr) return false;
    steady::time_point now = steady::now();
    if (now < r.next_burst) return false;
    bool stop = false;
    for (int i = 0; i < burst && !stop; i++) {
        stop = r.env.terminate_func(&r.env, r.env.terminate_data) != 0;
    }
    r.next_burst = steady::now() + between_bursts;
    return stop;
}

static bool pause_called(running_solve &r, const engine_progress *progress, engine_reply *reply)
{
    if (r.env.pause_func == nullptr) return false;
    pause_window window = {progress, reply, r.numcols};
    r.env.window = &window;
    int rc = r.env.pause_func(&r.env, &window, r.ticks, r.env.pause_data);
    r.env.window = nullptr;
    return rc != 0;
}

static void poll(void *arg, const engine_progress *progress, engine_reply *reply)
{
    running_solve &r = *static_cast<running_solve *>(arg);
    r.ticks = std::max(r.ticks, progress->ticks);
    if ((r.env.terminate != nullptr && *r.env.terminate != 0) || terminate_called(r) ||
        pause_called(r, progress, reply)) {
        reply->stop = true;
    }
}

static void log(void *arg, int channel, const char *text)
{
    running_solve &r = *static_cast<running_solve *>(arg);
    r.env.say(static_cast<channel_number>(channel), text);
}

static engine_params params_of(const parameter_set &set)
{
    engine_params params{};
    params.time_limit = set.get_double(VNT_PARAM_TIME_LIMIT);
    params.iteration_limit = set.get_long(VNT_PARAM_ITERATION_LIMIT);
    params.node_limit = set.get_long(VNT_PARAM_NODE_LIMIT);
    params.solution_limit = set.get_long(VNT_PARAM_SOLUTION_LIMIT);
    params.feasibility = set.get_double(VNT_PARAM_FEASIBILITY);
    params.optimality = set.get_double(VNT_PARAM_OPTIMALITY);
    params.integrality = set.get_double(VNT_PARAM_INTEGRALITY);
    params.relative_gap = set.get_double(VNT_PARAM_REL_GAP);
    params.absolute_gap = set.get_double(VNT_PARAM_ABS_GAP);
    params.cutoff = set.get_double(VNT_PARAM_CUTOFF);
    params.presolve = set.get_int(VNT_PARAM_PRESOLVE);
    params.cuts = set.get_int(VNT_PARAM_CUTS);
    params.heuristics = set.get_int(VNT_PARAM_HEURISTICS);
    params.seed = set.get_int(VNT_PARAM_SEED);
    params.log_level = set.get_int(VNT_PARAM_LOG_LEVEL);
    return params;
}

void solve_report(vntenv &env, const answer &last)
{
    if (env.parameters.get_int(VNT_PARAM_LOG_LEVEL) == 0) return;
    std::string text = status_text(last.status);
    text[0] = static_cast<char>(toupper(text[0]));
    if (last.has_solution() && last.status != VNT_STAT_UNBOUNDED)
        text += printed(", objective %.15g", last.objective);
    text += printed(", %lld iterations", static_cast<long long>(last.iterations));
    if (last.nodes > 0) text += printed(", %lld nodes", static_cast<long long>(last.nodes));
    env.say(CHANNEL_RESULTS, text + "\n");
}

// Takes off what the reformulation added, and keeps what the queries need.
static void settle(vntlp &p, bool discrete)
{
    answer &last = p.last;
    int cols = p.m.numcols();
    if (last.status == VNT_STAT_INFEASIBLE || last.status == VNT_STAT_INFEASIBLE_OR_UNBOUNDED) {
        for (auto *values : {&last.x, &last.pi, &last.dj, &last.slack})
            values->clear();
    }
    if (last.farkas.size() != static_cast<size_t>(p.m.numrows())) last.farkas.clear();
    if (!last.x.empty() || (cols == 0 && last.status == VNT_STAT_OPTIMAL)) {
        last.x.resize(cols);
        last.slack = p.m.slacks(last.x.data());
        bool basic = !last.cstat.empty() || !last.rstat.empty();
        last.solution = discrete ? VNT_SOLUTION_PRIMAL
                        : basic  ? VNT_SOLUTION_BASIC
                                 : VNT_SOLUTION_NONBASIC;
    }
    if (!discrete) {
        if (!last.cstat.empty() || !last.rstat.empty()) p.set_basis(last.cstat, last.rstat);
        return;
    }
    for (std::vector<double> &x : last.solutions) {
        x.resize(cols);
        bool passes = std::all_of(p.filters.begin(), p.filters.end(),
                                  [&](const pool_filter &f) { return f.passes(x.data()); });
        if (!passes) continue;
        std::string name = "s" + std::to_string(last.pool.size() + 1);
        last.pool.push_back({name, p.m.objective_at(x.data()), std::move(x)});
    }
    last.solutions.clear();
}

static const char *engine_trouble(int status)
{
    switch (status) {
    case VNTERR_ENGINE: return "the engine failed";
    case VNTERR_NOT_CONVEX: return "the quadratic objective is not convex";
    case VNTERR_LIBRARY: return "quadratic objectives need the library Ipopt (libipopt.so.1)";
    default: return "";
    }
}

// What the user set and no engine acts on, said once in an environment's life.
static void mention_idle(vntenv &env)
{
    for (int number : {VNT_PARAM_THREADS, VNT_PARAM_WORK_DIR}) {
        const parameter &p = parameter_find(number);
        if (!env.parameters.changed(p)) continue;
        if (number == VNT_PARAM_THREADS && env.parameters.get_int(number) == 1) continue;
        if (!env.idle_mentioned.insert(number).second) continue;
        env.say(CHANNEL_WARNING,
                printed("%s has no effect: a solve uses one thread and no files.\n", p.name));
    }
}

int solve_run(
    vntenv &env, int numcols,
    const std::function<int(const engine_params &params, const engine_hooks &hooks)> &work)
{
    engine_params params = params_of(env.parameters);
    running_solve run = {.env = env, .numcols = numcols};
    engine_hooks hooks = {&run, poll, log};
    mention_idle(env);
    solving_mark mark(env);
    return work(params, hooks);
}

template <class body> static void solve(vntenv &env, vntlp &p, bool discrete, const body &engine)
{
    reformulation in(p, discrete);
    p.changed();
    int rc = solve_run(env, p.m.numcols(), [&](const auto &params, const auto &hooks) {
        return engine(in.engine(), params, hooks, &p.last);
    });
    env.ticks += p.last.ticks;
    if (rc != 0 && p.last.solutions.empty()) p.changed();
    if (rc == 0 || !p.last.x.empty()) settle(p, discrete);
    if (rc != 0) throw failure{rc, engine_trouble(rc)};
    solve_report(env, p.last);
}

void solve_lp(vntenv &env, vntlp &p, engine_method method)
{
    require(p.m.type == VNT_PROB_LP || p.m.type == VNT_PROB_FIXED_MIP, VNTERR_NOT_LP);
    solve(env, p, false, [&](const auto &in, const auto &params, const auto &hooks, auto *out) {
        return engine_solve_lp(in, params, method, true, hooks, out);
    });
}

static void refuse_discrete(const vntlp &p)
{
    if (p.m.type != VNT_PROB_MIQP) return;
    throw failure{VNTERR_NOT_SUPPORTED,
                  "a quadratic objective with discrete columns, sets or indicators"};
}

void solve_qp(vntenv &env, vntlp &p)
{
    refuse_discrete(p);
    require(p.m.type == VNT_PROB_QP, VNTERR_WRONG_TYPE);
    matrix zeros;
    zeros.grow(p.m.numcols(), p.m.numcols());
    matrix_view cols = (p.m.quadratic() ? p.m.q : zeros).by_column();
    engine_quadratic q = {cols.begin, cols.index, cols.value};
    solve(env, p, false, [&](const auto &in, const auto &params, const auto &hooks, auto *out) {
        return engine_solve_qp(in, q, params, hooks, out);
    });
}

void solve_mip(vntenv &env, vntlp &p)
{
    refuse_discrete(p);
    require(p.m.type == VNT_PROB_MIP, VNTERR_NOT_MIP);
    solve(env, p, true, [&](const auto &in, const auto &params, const auto &hooks, auto *out) {
        return engine_solve_mip(in, params, hooks, out);
    });
}

} // namespace vnt
