// qp.h: continuous problems with a convex quadratic objective.
//
// The objective is checked to be convex.  Two linear problems come next: one says whether there is
// a feasible point, the other whether the objective falls for ever.  The rest is done by Ipopt, an
// interior point method, from that point.
//
// Signs: as in engine.h, with dj = c + Qx - A'pi.
//
// Threads: any.  Ipopt's linear algebra is not reentrant: one solve of the process runs in it at a
// time, and the others wait, stoppable, and with their time limits running.
//
// Errors: VNTERR_NOT_CONVEX; VNTERR_LIBRARY where Ipopt is not installed, which is looked for at
// the first problem; those of engine.h.

#pragma once

#include "solver/engine/convex.h"
#include "solver/engine/engine.h"

namespace vnt {

// The objective is that of the model and 1/2 x'Qx.
int engine_solve_qp(const engine_model &model, const engine_quadratic &q,
                    const engine_params &params, const engine_hooks &hooks, engine_result *result);

} // namespace vnt
