// solve.h: one solve from the model file to the report, in this process or in a worker.

#pragma once

#include "tools/report.h"
#include "tools/session.h"

#include <optional>

namespace vnt {

// Log lines and progress go to standard error as they come.  Returns no report when the solve goes
// on in a worker that was left (--detach).
// Errors: throws failure.
std::optional<solve_report> solve(session &s);

} // namespace vnt
