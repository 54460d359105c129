// engine.h: the engines behind the open solver, as its store sees them.
//
// A solve copies the model into an engine, runs it, and copies the result out: an engine keeps
// nothing between solves.  Engines know nothing of environments, names or files.
//
// Ownership: a model's arrays are the caller's for the length of the solve; the result owns its
// vectors.
//
// Signs: the engines minimise.  A model that maximises is negated on the way in and back, so that
// everything here is in the model's own sense: dj_j = c_j - sum over the rows of pi_i a_ij holds
// for both, and of a bound "better" means greater where the model maximises.
//
// Determinism: the same model, parameters and replies at the same ticks give the same bits, in any
// process.  The clock decides nothing but the time limit.
//
// Threads: a solve runs on the calling thread, and so does the poll function.  It may be held there
// for as long as the caller likes; that time does not count towards the time limit.
//
// Errors: 0, VNTERR_NO_MEMORY, VNTERR_NOT_SUPPORTED (more than 2^31 - 1 nonzeros) or VNTERR_ENGINE;
// how a solve ended is result.status.  Nothing is thrown.  An engine that calls abort() is asked
// again with safer settings, and a second abort is VNTERR_ENGINE; both are logged, and what the
// engine had allocated is leaked.  SIGABRT has a handler for the length of a solve, see guard.h.

#pragma once

#include "vanto.h"

#include <string>
#include <vector>

namespace vnt {

// Rows that no linear problem knows until a point violates them, row by row.  The first `lazy` ones
// hold in every solution; the others are cuts, which cut off none.
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
    const double *collower = nullptr;
    const double *colupper = nullptr;
    const double *rowlower = nullptr;
    const double *rowupper = nullptr;
    const double *objective = nullptr;
    double offset = 0;
    int sense = VNT_MIN;         // or VNT_MAX
    const char *ctype = nullptr; // C, B, I per column; null in a continuous problem
    // Pairs of a binary column and another one, without negative values: where the first is 1, the
    // second is 0.  Mixed-integer problems only.
    int numpairs = 0;
    const int *pairs = nullptr;
    engine_rows beside; // of mixed-integer problems only
    // A start, null where there is none.  Basis statuses, for continuous problems; see rstat in the
    // result for what they mean in a row.  Or points for mixed-integer ones, which are tried in
    // order: a value for every column; the integer columns are held at theirs, those that are NaN
    // and all continuous ones are found.
    const int *cstat = nullptr;
    const int *rstat = nullptr;
    int numstarts = 0;
    const double *const *starts = nullptr;
    // The order of branching, null where it is the engine's: integer columns of the least rank come
    // first.  A direction of -1 prefers to go down first, 1 up; the engine may know better.
    const int *rank = nullptr;
    const int *direction = nullptr;
};

// The parameters that engines obey.
struct engine_params {
    double timelimit = 1e75; // seconds; 1e9 and more is none
    int64_t iterationlimit = INT64_MAX;
    int64_t nodelimit = INT64_MAX;
    int64_t solutionlimit = INT64_MAX;
    double feasibility = 1e-7;
    double optimality = 1e-7;
    double integrality = 1e-6;
    double relgap = 1e-6;
    double absgap = 1e-9;
    double cutoff = 1e75; // in the model's sense; VNT_INFINITY and more in magnitude: none
    int presolve = 1;
    int cuts = 1;
    int heuristics = 1;
    int seed = 1;
    int loglevel = 0;
};

enum engine_method { ENGINE_PRIMAL, ENGINE_DUAL, ENGINE_BARRIER };

// What the engine tells at a poll point; it lives for the call.
struct engine_progress {
    uint64_t ticks; // deterministic work done; only grows
    int64_t nodes;
    int64_t nodesleft;
    int64_t iterations;
    double objective;       // of the linear problem in hand; coarse, for the reader of a log
    double infeasibility;   // its sum of infeasibilities, just as coarse
    double bound;           // never better than what the search has proved; infinite before that
    double incumbent;       // meaningful when solution is there
    const double *solution; // the incumbent's columns, null without one
    int64_t solutions;
    bool search; // false in presolve and relaxation
};

// What the solve may be told at a poll point.
struct engine_reply {
    bool stop;     // ends the solve; what was found is kept
    bool inject;   // use `cutoff`
    double cutoff; // in the model's sense: only better solutions count from here on
};

// Either may be null.  poll is called at every iteration of a linear problem and every other step
// of a solve: keep it short where nothing is to be done.  The longest time without a call is that
// of one factorisation of the barrier method (0.4 s with 6000 rows); elsewhere it is some ten
// milliseconds.
struct engine_hooks {
    void *arg;
    void (*poll)(void *arg, const engine_progress *progress, engine_reply *reply);
    void (*log)(void *arg, int channel, const char *text); // 0 results, 1 warnings, 2 errors, 3 log
};

struct engine_result {
    int status = VNT_STAT_NONE;
    int method = VNT_METHOD_NONE;
    bool primalfeasible = false;
    bool dualfeasible = false;
    double objective = 0; // of x, offset included
    double bound = 0;
    double cutoff = 0; // the best one that was given; infinite (worst) without
    // Empty where there is none.  After a limit or a stop x is the last point, feasible or not.
    // slack_i = b - activity_i, with b the row's upper bound where finite, else its lower bound
    // where finite, else 0.
    std::vector<double> x, pi, slack, dj, activity;
    // Empty without a basis.  A row that is not basic is LOWER: it is at its only bound.  Where it
    // has two different ones, it is LOWER or UPPER with its activity at that one.
    std::vector<int> cstat, rstat;
    int64_t iterations = 0, phase1iterations = 0, barrieriterations = 0;
    int64_t nodes = 0, nodesleft = 0, bestnode = 0;
    uint64_t ticks = 0;
    std::vector<std::vector<double>> solutions; // the last 100 incumbents, best last
    std::vector<double> ray; // of an unbounded problem: a direction that improves for ever
    // Of an infeasible one, where it could be had: a multiplier per row, such that no x within the
    // columns' bounds takes the weighted sum of the rows as far as their bounds ask
    // (y_i > 0 weighs row i's lower bound, y_i < 0 its upper one).
    std::vector<double> farkas;
    double proof = 0; // how far the weighted sum stays behind; positive with a farkas vector
    int cuts = 0;     // added and in force at the root
};

// Solves a continuous problem, or the relaxation of a mixed-integer one, by the method given.
// Without crossover the barrier method's point is returned as it is, without a basis.
int engine_solvelp(const engine_model &model, const engine_params &params, engine_method method,
                   bool crossover, const engine_hooks &hooks, engine_result *result);

// Branches on trial: the objective after at most `limit` dual steps from the model's basis, which
// must be optimal, when column indices[k] goes below its value there to the next integer, and when
// it goes above.  A branch without a point is infinitely bad.  After a limit or a stop the branches
// that are left get the objective of the basis, which is no worse than theirs.
int engine_strongbranch(const engine_model &model, const engine_params &params,
                        const engine_hooks &hooks, const std::vector<int> &indices, int64_t limit,
                        std::vector<double> *down, std::vector<double> *up, uint64_t *ticks);

// Solves a mixed-integer problem.  Prices and reduced costs are those of a linear problem: fix the
// integer columns and solve that for them.
int engine_solvemip(const engine_model &model, const engine_params &params,
                    const engine_hooks &hooks, engine_result *result);

} // namespace vnt
