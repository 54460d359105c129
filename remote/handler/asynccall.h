// asynccall.h: the run of one solver call, asynchronous or not, as the run functions see it.
//
// A request with flag bit 0 is acknowledged at once.  The solver works while control requests are
// served, and the response is sent when the caller asks for it.
//
// Threads: begin, end and synccall on the thread that serves the request, the others on any.

#pragma once

#include "remote/calls/flags.h"
#include "remote/handler/async.h"

namespace vnt {

// Prepares the handler, starts serving control requests and sends the ACK.  `lp` may be null.
// Returns 0, or a solver status, after which nothing has been started or sent.
int asynccall_begin(handler_frame *frame, VNTENVptr env, VNTLPptr lp);

// Sets the flag that the solver watches: calls of the solver end while it is nonzero.
void terminate_flag_set(handler *h, int value);

// Waits until the result has been asked for, and undoes what begin did.
void asynccall_end(handler *h, VNTENVptr env);

// Lives while a synchronous request calls the solver.  A kill that came while nothing ran does not
// end the call.  If an asynchronous call is under way, its callbacks do nothing meanwhile, on
// whatever thread the solver calls them: they would wait for input that the serving thread has to
// read, or free the request that it serves.
class synccall {
  public:
    explicit synccall(handler *h); // null does nothing, for a request that is asynchronous
    ~synccall();
    synccall(const synccall &) = delete;
    synccall &operator=(const synccall &) = delete;

  private:
    const bool nested;
};

// Whether a synchronous call is carried out while an asynchronous one is under way.
bool synccall_is_nested(void);

} // namespace vnt
