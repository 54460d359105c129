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

// Asks for the two ends of a long range.  `refused` says whether one was refused; then its answer
// is in `c`.
int ask_ends(call_request *r, call_return *c, bool *refused);

// Offers little space, then what is needed.  `answered` says whether that brought the answer, which
// is then in `c`.
int ask_for_little(call_request *r, call_return *c, bool *answered);

} // namespace vnt
