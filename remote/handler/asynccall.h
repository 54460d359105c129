// asynccall.h: the asynchronous run of one solver call, as the run functions see it.
//
// A request with flag bit 0 is acknowledged at once.  The solver works while control requests are
// served, and the response is sent when the caller asks for it.

#pragma once

#include "remote/calls/flags.h"
#include "remote/handler/async.h"

namespace vnt {

// Prepares the handler, starts serving control requests and sends the ACK.  `lp` may be null.
// Returns 0, or a solver status, after which nothing has been started or sent.
int asynccall_begin(handler_frame *frame, VNTENVptr env, VNTLPptr lp);

// Sets the flag that the solver watches: calls of the solver end while it is nonzero.
void terminate_flag_set(handler *h, int value);

// To be called before each synchronous call of the solver: a kill that came while nothing ran
// must not end it.
void synccall_begin(handler *h);

// Waits until the result has been asked for, and undoes what begin did.
void asynccall_end(handler *h, VNTENVptr env);

} // namespace vnt
