// detach.h: leaving a worker and coming back to it.
//
// An environment departs after its worker has agreed to wait.  It arrives by a new connection, and
// greets the worker, which then serves it.  If an arrival fails, the environment stays away, or is
// lost if the worker has ended.
//
// Ownership: the opener owns an environment that is away; the list of them only refers to it.
//
// Threads: one at a time uses an environment; the list has a lock of its own.
//
// Errors: 0 or VNTERR_*, as of connection.h.

#pragma once

#include "client/environment.h"

namespace vnt {

int client_disconnect(client_env *e); // asks the worker to wait, then departs
void client_depart(client_env *e);
int client_rejoin(client_env *e); // arrives and greets
int client_arrive(client_env *e);
int client_greet(client_env *e);

// Departs from a worker that does not answer, after DISCONNECT has been sent.  When the worker
// reads on it finds that and parks again.  Returns VNTERR_REMOTE.
int client_give_up(client_env *e);

// What has become of the worker of a broken connection, as a text.  Asks the server, for two
// seconds at most.
const char *client_worker_fate(const client_env *e);

// Removes an environment that will be freed from the list.
void client_away_forget(client_env *e);

} // namespace vnt
