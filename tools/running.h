// running.h: carries out the solve of a session while the user watches.
//
// Errors: throws failure.

#pragma once

#include "tools/session.h"

namespace vnt {

// Solves, or waits for a solve that was attached.  Returns false when the solve goes on in a worker
// that was left: there is nothing to report yet.
bool run(session &s);

} // namespace vnt
