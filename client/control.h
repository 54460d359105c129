// control.h: the requests that steer a call while it runs in the worker, one function each.
//
// The worker serves them between two looks of its solver, or on a thread of its own.
//
// Threads: one at a time uses an environment.
//
// Errors: 0, the worker's status, or what client_roundtrip() returns.

#pragma once

#include "client/environment.h"

namespace vnt {

int client_control_kill(client_env *e);      // ends a call, paused or not
int client_control_terminate(client_env *e); // ends a paused call

// The limits of the next call, and of a running one: its progress count changes at once, its
// seconds with the next continue, unless they fall away.
int client_control_limits(client_env *e, client_limits limits);

// Lets a paused call go on.  A running one gets the limits, seconds included.
int client_control_continue(client_env *e, client_limits limits);

// Posts a request without waiting for its answer: client_receive() passes that over and keeps what
// it says in e->started.
int client_control_post_test(client_env *e);
int client_control_post_kill(client_env *e);

// Asks for the answer of a call that has ended; the call is no longer a started one then.
int client_control_getresult(client_env *e);

int client_control_inject(client_env *e, double objval);

// How a call stands: VNTCLIENT_ENDED (also where there is no call), _RUNNING or _PAUSED.
int client_control_test(client_env *e, int *state);

// The progress of a call that has paused, as vntclient_progress() describes it.
int client_control_progress(client_env *e, int sollen, vntmipprogress *progress);

} // namespace vnt
