// askfirst.h: little is asked for before a call that could bring back far too much.
//
// A worker makes room for all that a request asks for and sends it, used or not.  So a long range
// is tried at its two ends first, and a large space with little of it.
//
// Ownership, threads: of the call, see call.h.  The request is afterwards as it was before.
//
// Errors: a status when the worker did not answer; what the solver says is an answer.

#pragma once

#include "client/callrecords.h"

namespace vnt {

// Asks for the ends of a long range alone.  `refused` says whether one was refused, the answer
// then being in `c`.
int ask_ends(call_request *r, call_return *c, bool *refused);

// Offers little space, then what is needed.  `answered` says whether that brought the answer, which
// is then in `c`.
int ask_for_little(call_request *r, call_return *c, bool *answered);

} // namespace vnt
