// askfirst.h: small requests ahead of a call whose response could be far too large.
//
// A worker allocates and sends as much as a request asks for, used or not.  So the two ends of a
// long range are requested first, and little of a large space.
//
// Ownership, threads: as of the call, see call.h.  The request is restored afterwards.
//
// Errors: a status if the worker did not answer.  A status of the solver is an answer.

#pragma once

#include "client/callrecords.h"

namespace vnt {

// From so many elements of an output on, asking first may be worth it.
constexpr int64_t ASK_FIRST_SPACE = 65536;

// Asks for the two ends of a long range, and for little of a large space and then for what is
// needed.  `done` says that an end was refused, or that little was enough; then the answer is in
// `c`.  Does nothing for a call that is only started or that goes to a group.
int ask_first(call_request *r, call_return *c, bool *done);

} // namespace vnt
