// detach.h: leaving a worker and coming back to it.
//
// An environment departs once its worker has agreed to wait, and arrives by a new connection,
// which the worker takes up when it is greeted.  The environment stays away when a later arrival
// may succeed, and is lost when none will.
//
// Ownership: environments that are away stay their opener's; the list of them only refers to them.
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

// What has become of the worker of a connection that broke, in words for people.  Its server is
// asked, which takes two seconds at most.
const char *client_worker_fate(const client_env *e);

// Takes an environment that will be freed off the list.
void client_away_forget(client_env *e);

} // namespace vnt
