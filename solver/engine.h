// engine.h: the engines behind the open solver, as its store sees them.
//
// A solve copies the model into an engine, runs it, and copies the result out: an engine keeps
// nothing between solves.  Engines know nothing of environments, names or files.
//
// Ownership: a model's arrays are the caller's for the length of the solve; the result owns its
// vectors.
//
// Threads: a solve runs on the calling thread, and so does the poll function.
//
// Errors: 0 or a VNTERR_* status; how a solve ended is result.status.

#pragma once

#include "vanto.h"

#include <string>
#include <vector>

// A model, column by column.  Bounds are infinite from VNT_INFINITY on.
struct engine_model {
    int numrows;
    int numcols;
    const int64_t *begin; // numcols + 1
    const int *index;     // rows, begin[numcols] of them
    const double *value;
    const double *collower;
    const double *colupper;
    const double *rowlower;
    const double *rowupper;
    const double *objective;
    double offset;
    int sense;         // VNT_MIN or VNT_MAX
    const char *ctype; // C, B, I per column; null in a continuous problem
    // A start, null where there is none: basis statuses, or values of all columns.
    const int *cstat;
    const int *rstat;
    const double *start;
};

// The parameters that engines obey.
struct engine_params {
    double timelimit; // seconds
    int64_t iterationlimit;
    int64_t nodelimit;
    int64_t solutionlimit;
    double feasibility;
    double optimality;
    double integrality;
    double relgap;
    double absgap;
    double cutoff; // in the model's sense; VNT_INFINITY and more in magnitude: none
    int presolve;
    int cuts;
    int heuristics;
    int seed;
    int loglevel;
};

enum engine_method { ENGINE_PRIMAL, ENGINE_DUAL, ENGINE_BARRIER };

// What the engine tells at a poll point; it lives for the call.
struct engine_progress {
    uint64_t ticks; // deterministic work done; only grows
    int64_t nodes;
    int64_t nodesleft;
    int64_t iterations;
    double bound;
    double incumbent;       // meaningful when solution is there
    const double *solution; // the incumbent's columns, null without one
    int64_t solutions;
    bool search; // false in presolve and relaxation
};

// What the solve may be told at a poll point.
struct engine_reply {
    bool stop;
    bool inject;   // use `cutoff`
    double cutoff; // in the model's sense: only better solutions count from here on
};

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
    double cutoff = 0;                    // the cutoff in force at the end
    std::vector<double> x, pi, slack, dj; // empty where there is none; slack = rhs side - activity
    std::vector<int> cstat, rstat;        // empty without a basis
    int64_t iterations = 0, phase1iterations = 0, barrieriterations = 0;
    int64_t nodes = 0, nodesleft = 0, bestnode = 0;
    uint64_t ticks = 0;
    std::vector<std::vector<double>> solutions; // incumbents, best last
    std::vector<double> ray;                    // of an unbounded problem
    std::vector<double> farkas;                 // of an infeasible one
    int cuts = 0;
};

// Solve a continuous problem by the method given.
int engine_solvelp(const engine_model &model, const engine_params &params, engine_method method,
                   bool crossover, const engine_hooks &hooks, engine_result *result);

// Solve a mixed-integer problem.
int engine_solvemip(const engine_model &model, const engine_params &params,
                    const engine_hooks &hooks, engine_result *result);
