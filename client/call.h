// call.h: the calling side of every row of the list of solver calls.
//
// The functions of stubs.cc hand their arguments to call_remote(), which fills the request, waits
// for the answer and copies it to where the caller's pointers point, up to the space that the
// caller offered.
//
// Ownership: all pointers are the caller's.  When the call is started rather than carried out,
// outputs are written when it is joined, so they must stay valid until then.
//
// Threads: one at a time for an environment.

#pragma once

#include "remote/calls/solvercall.h"

namespace vnt {

// Carries out the call.  `args` are the function's arguments in order, a pointer in p, a char
// in i.  When the call does not reach its end, `result` holds the status where the function
// returns one, 0 where it counts, and null where it creates, the status then at its pointer.
void call_remote(const solver_call *call, const call_value *args, call_value *result);

} // namespace vnt
