// sweep.h: solves every model of a directory, many at once, over the servers of a pool.
//
// Each solve is a process of its own.  What a lost server had goes to another one; a model that
// ends its worker, or its process, three times is a failure.  Each result is a line of the output;
// models that have one there are done.
//
// Errors: throws failure; the results so far stay in the output.

#pragma once

#include "tools/options.h"

namespace vnt {

// Returns EXIT_SOLVED when each model is optimal, infeasible or unbounded; EXIT_LIMIT when the
// others have stopped at a limit, else EXIT_INTERNAL.
exit_status sweep(const solve_options &options);

} // namespace vnt
