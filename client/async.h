// async.h: calls that run in the worker in the background, and synchronous calls that a flag or a
// callback of the caller may end.
//
// The worker acknowledges such a call at once and serves control requests while it runs.  It sends
// the answer when GETRES asks for it, and serves nothing between GETRES and the call's end; so
// GETRES is sent before the call has ended only when there will be nothing to serve.
//
// Ownership: the environment owns the copy of a started call's memory.
//
// Threads: one at a time uses an environment; callbacks run on the thread that waits.
//
// Errors: 0 or VNTERR_*, as of connection.h.

#pragma once

#include "client/environment.h"
#include "remote/codec/catalogue.h"

#include <cstddef>

namespace vnt {

// Whether the caller may want to end this call while it runs.  Then client_call_watch() runs it
// asynchronously and checks the caller's flag and callbacks.
bool client_call_is_watched(const client_env *e, const void *request);
int client_call_watch(client_env *e, void *request, uint32_t response_id, const void **response);

// Starts the call that vntclient_start() has announced; see client_call().
int client_call_start(client_env *e, void *request, uint32_t response_id, client_finish finish,
                      const void *memory, size_t size);

// Ends a started call without taking its result, because the environment is about to be closed. The
// environment is lost if the call does not end.
void client_call_abandon(client_env *e);

// Finds an environment with a started call.  VNTERR_BAD_ARGUMENT when there is none.
int client_started_find(VNTENVptr env, client_env **e);

// Fetches the result of a started call that has ended, and returns what the call would have
// returned.
int client_started_finish(client_env *e);

// A small call to be started.  A worker that has a call already, running or ended, refuses it.
struct client_small_call {
    explicit client_small_call(const client_env *e);
    client_small_call(const client_small_call &) = delete;
    client_small_call &operator=(const client_small_call &) = delete;

    vntmsg_GETINTPARAM_REQ message;

  private:
    char env[16];
};

// Checks whether the worker still has the call of an environment that was away.  If another process
// has joined it meanwhile, the environment has no started call any more.
int client_started_check(client_env *e);

// Whether the caller's flag or callback asks to end the running call.
bool client_wants_end(client_env *e);

// Handles a call that has paused.  Without a pause callback, a `started` call that has reached the
// caller's limit stays paused; any other pause is left over from reading the progress, and the call
// is continued.
int client_serve_pause(client_env *e, bool started);

} // namespace vnt
