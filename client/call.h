// call.h: the calling side of the list of solver calls.
//
// The functions of stubs.cc pass their arguments to call_remote(), which fills the request, waits
// for the answer and copies it to the caller's pointers, up to the space that the caller has
// offered.
//
// Ownership: all pointers are the caller's.  When the call is started rather than carried out,
// outputs are written when it is joined, so they must stay valid until then.
//
// Threads: one at a time for an environment.

#pragma once

#include "remote/calls/solvercall.h"

namespace vnt {

// Carries out the call.  `args` are the function's arguments in order, a pointer in p, a char
// in i.  If the call fails on the way, `result` is the status of a function that returns one, 0 of
// one that counts, and null of one that creates, which stores the status at its pointer.
void call_remote(const solver_call *call, const call_value *args, call_value *result);

} // namespace vnt
