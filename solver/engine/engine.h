// engine.h: the interface of the open solver's engines.
//
// A solve copies the model into an engine, runs it, and copies the result out: an engine keeps
// nothing between solves.  Engines know nothing of environments, names or files.
//
// Ownership: the caller keeps the model's arrays during the solve; the result owns its vectors.
//
// Signs: the engines minimise.  A model that maximises is negated on the way in and back, so that
// everything here is in the model's own sense: dj_j = c_j - sum over the rows of pi_i a_ij holds
// for both, and of a bound "better" means greater where the model maximises.
//
// Determinism: the same model, parameters and replies at the same ticks give the same bits, in any
// process.  The clock affects only the time limit.
//
// Threads: a solve and its poll function run on the calling thread.  The time inside the poll
// function does not count towards the time limit.
//
// Errors: 0, VNTERR_NO_MEMORY, VNTERR_NOT_SUPPORTED (more than 2^31 - 1 nonzeros) or VNTERR_ENGINE;
// how a solve ended is result.status.  Nothing is thrown.  When an engine calls abort(), the
// solve is tried again with safer settings; a second abort is VNTERR_ENGINE.  Both are logged, and
// the engine's memory is leaked.  SIGABRT has a handler for the length of a solve, see guard.h.

#pragma once

#include "vanto.h"

#include <string>
#include <vector>

namespace vnt {

// Rows that are added to a linear problem only when a point violates them.  The first `lazy` rows
// are constraints; the others are cuts, which every solution satisfies anyway.
struct engine_rows {
    int count = 0;
    int lazy = 0;
    const int64_t *begin = nullptr; // count + 1
    const int *index = nullptr;     // columns, begin[count] of them; none twice in a row
    const double *value = nullptr;
    const double *lower = nullptr;
    const double *upper = nullptr;
};

// A model, column by column.  Bounds are infinite from VNT_INFINITY on.
struct engine_model {
    int numrows = 0;
    int numcols = 0;
    const int64_t *begin = nullptr; // numcols + 1
    const int *index = nullptr;     // rows, begin[numcols] of them; none twice in a column
    const double *value = nullptr;
    const double *col_lower = nullptr;
    const double *col_upper = nullptr;
    const double *row_lower = nullptr;
    const double *row_upper = nullptr;
    const double *objective = nullptr;
    double offset = 0;
    int sense = VNT_MIN;         // or VNT_MAX
    const char *ctype = nullptr; // C, B, I per column; null in a continuous problem
    // Pairs of a binary column and another one, without negative values: where the first is 1, the
    // second is 0.  Mixed-integer problems only.
    int num_pairs = 0;
    const int *pairs = nullptr;
    engine_rows beside; // of mixed-integer problems only
    // Starts, or null.  For continuous problems a basis; see rstat in the result for the statuses
    // of rows.  For mixed-integer problems points, which are tried in order, with a value for every
    // column: integer columns are fixed at theirs; the solver finds the continuous ones and those
    // that are NaN.
    const int *cstat = nullptr;
    const int *rstat = nullptr;
    int num_starts = 0;
    const double *const *starts = nullptr;
    // The order of branching, null for the engine's own: integer columns of the lowest rank come
    // first.  A direction of -1 prefers the lower branch, 1 the upper; the engine may ignore it.
    const int *rank = nullptr;
    const int *direction = nullptr;
};

// The parameters of engines.
struct engine_params {
    double time_limit = 1e75; // seconds; unlimited from 1e9 on
    int64_t iteration_limit = INT64_MAX;
    int64_t node_limit = INT64_MAX;
    int64_t solution_limit = INT64_MAX;
    double feasibility = 1e-7;
    double optimality = 1e-7;
    double integrality = 1e-6;
    double relative_gap = 1e-6;
    double absolute_gap = 1e-9;
    double cutoff = 1e75; // in the model's sense; VNT_INFINITY and more in magnitude: none
    int presolve = 1;
    int cuts = 1;
    int heuristics = 1;
    int seed = 1;
    int log_level = 0;
};

enum engine_method { ENGINE_PRIMAL, ENGINE_DUAL, ENGINE_BARRIER };

// The progress at a poll point; valid during the call.
struct engine_progress {
    uint64_t ticks; // deterministic work done; only grows
    int64_t nodes;
    int64_t nodes_left;
    int64_t iterations;
    double objective;       // of the linear problem in hand; coarse, for the reader of a log
    double infeasibility;   // its sum of infeasibilities, just as coarse
    double bound;           // never better than what the search has proved; infinite before that
    double incumbent;       // meaningful when solution is there
    const double *solution; // the incumbent's columns, null without one
    int64_t solutions;
    bool search; // false in presolve and relaxation
};

// The caller's reply at a poll point.
struct engine_reply {
    bool stop;     // ends the solve; what was found is kept
    bool inject;   // use `cutoff`
    double cutoff; // in the model's sense: only better solutions count from here on
};

// Either may be null.  poll is called at every iteration of a linear problem and every other step
// of a solve, so it must usually return quickly.  The longest time between two calls is one
// factorisation of the barrier method (0.4 s with 6000 rows); elsewhere it is some ten
// milliseconds.
struct engine_hooks {
    void *arg;
    void (*poll)(void *arg, const engine_progress *progress, engine_reply *reply);
    void (*log)(void *arg, int channel, const char *text); // 0 results, 1 warnings, 2 errors, 3 log
};

struct engine_result {
    int status = VNT_STAT_NONE;
    int method = VNT_METHOD_NONE;
    bool primal_feasible = false;
    bool dual_feasible = false;
    double objective = 0; // of x, offset included
    double bound = 0;
    double cutoff = 0; // the best one that was given; infinite (worst) if there was none
    // Empty where there is none.  After a limit or a stop x is the last point, feasible or not.
    // slack_i = b - activity_i, with b the row's upper bound where finite, else its lower bound
    // where finite, else 0.
    std::vector<double> x, pi, slack, dj, activity;
    // Empty without a basis.  A nonbasic row with one bound is LOWER.  With two different bounds it
    // is LOWER or UPPER, and its activity is at that bound.
    std::vector<int> cstat, rstat;
    int64_t iterations = 0, phase1_iterations = 0, barrier_iterations = 0;
    int64_t nodes = 0, nodes_left = 0, best_node = 0;
    uint64_t ticks = 0;
    std::vector<std::vector<double>> solutions; // the last 100 incumbents, best last
    std::vector<double> ray; // of an unbounded problem: a direction that improves for ever
    // Of an infeasible problem, if one was found: a multiplier per row, such that for no x within
    // the columns' bounds the weighted sum of the rows reaches that of their bounds (y_i > 0 weighs
    // row i's lower bound, y_i < 0 its upper one).
    std::vector<double> farkas;
    double proof = 0; // by how much the sum falls short; positive with a farkas vector
    int cuts = 0;     // added and in force at the root
};

// Solves a continuous problem, or the relaxation of a mixed-integer one, by the method given.
// Without crossover the barrier method's point is returned as it is, without a basis.
int engine_solve_lp(const engine_model &model, const engine_params &params, engine_method method,
                    bool crossover, const engine_hooks &hooks, engine_result *result);

// Branches on trial: the objective after at most `limit` dual steps from the model's basis, which
// must be optimal, when column indices[k] goes below its value there to the next integer, and when
// it goes above.  An infeasible branch is infinitely bad.  After a limit or a stop the remaining
// branches get the objective of the basis, which bounds theirs.
int engine_strong_branch(const engine_model &model, const engine_params &params,
                         const engine_hooks &hooks, const std::vector<int> &indices, int64_t limit,
                         std::vector<double> *down, std::vector<double> *up, uint64_t *ticks);

// Solves a mixed-integer problem.  Prices and reduced costs are those of a linear problem: fix the
// integer columns and solve that for them.
int engine_solve_mip(const engine_model &model, const engine_params &params,
                     const engine_hooks &hooks, engine_result *result);

} // namespace vnt
