// barrier.h: the barrier method and the crossover to a basis.
//
// The library's barrier method is driven from here rather than by its own general entry because it
// aborts the process when a problem that has no optimum lets it run off to infinity.  It is watched
// and ended long before, and the simplex method asked instead.

#pragma once

#include "solver/engine/clp.h"

namespace vnt {

// Solves the model, which clp holds, with presolve as params say, and leaves it there: with a basis
// after crossover, else as a point alone.
void engine_run_barrier(const engine_model &model, const engine_params &params, engine_poll &poll,
                        bool crossover, ClpSimplex *clp);

} // namespace vnt
