// solve.h: one solve: the model goes into an engine as a copy, the answer comes back.
//
// Threads: called with the environment's lock; the engine runs without it, with `solving` set.
// Everything that a running solve calls back is called on its thread.
//
// Errors: failures; how a solve ended is the answer's status.

#pragma once

#include "solver/calls/environment.h"

#include <functional>

namespace vnt {

// Runs engines with the environment's parameters and callbacks.  `numcols` is the length of the
// solutions that the callbacks may ask for.  Returns what `work` returns.
int solve_run(
    vntenv &env, int numcols,
    const std::function<int(const engine_params &params, const engine_hooks &hooks)> &work);

// Says how a solve ended on the channel of results.
void solve_report(vntenv &env, const answer &last);

// Solves a continuous problem.
void solve_lp(vntenv &env, vntlp &p, engine_method method);

// Solves a continuous problem with a convex quadratic objective.
void solve_qp(vntenv &env, vntlp &p);

// Solves a mixed-integer problem.
void solve_mip(vntenv &env, vntlp &p);

} // namespace vnt
