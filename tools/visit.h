// visit.h: one look at a solve that was left in its worker, or its end.
//
// Errors: throws failure, with EXIT_CONNECTION when the worker is gone or out of reach.

#pragma once

#include "tools/session.h"

namespace vnt {

// Tells how the solve of a ticket stands, as lines or as a JSON object.  The solve goes on and the
// ticket stays good; the lines of its log that came since the last visit are taken.
std::string visit_status(session &s);

// Ends the solve of a ticket and its worker; the ticket goes.
void visit_kill(session &s);

} // namespace vnt
