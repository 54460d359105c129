// control.h: the control requests for a running call, one function each.
//
// The worker serves them from inside the solver or on a thread of its own.
//
// Threads: one at a time uses an environment.
//
// Errors: 0, the worker's status, or what client_roundtrip() returns.

#pragma once

#include "client/environment.h"

namespace vnt {

int client_control_kill(client_env *e);      // ends a call, paused or not
int client_control_terminate(client_env *e); // ends a paused call

// Sets the limits of the next call and of a running one.  In a running call the progress limit
// changes at once, and so does the removal of the time limit; a new time limit counts from the next
// continue.
int client_control_limits(client_env *e, client_limits limits);

// Continues a paused call.  For a running one this sets both limits at once.
int client_control_continue(client_env *e, client_limits limits);

// Post a request without waiting for the answer, which client_receive() stores in e->started.
int client_control_post_test(client_env *e);
int client_control_post_kill(client_env *e);

// Asks for the answer of a call that has ended, which is no longer a started one then.
int client_control_get_result(client_env *e);

int client_control_inject(client_env *e, double objval);

// The state of a call: VNTCLIENT_ENDED (also without a call), _RUNNING or _PAUSED.
int client_control_test(client_env *e, int *state);

// The progress of a call that has paused, as vntclient_progress() describes it.
int client_control_progress(client_env *e, int sollen, vntmipprogress *progress);

} // namespace vnt
