// async.h: calls that run in the worker while this process does other things, and synchronous ones
// that a flag or a callback of the caller may end.
//
// The worker acknowledges such a call at once and serves control requests while it runs.  Its
// answer leaves once GETRES has asked for it; after GETRES nothing else is served until then, so
// that is sent when the call has ended.
//
// Ownership: the copy of a started call's memory is the environment's.
//
// Threads: one at a time uses an environment; callbacks run on the thread that waits.
//
// Errors: 0 or VNTERR_*, as of connection.h.

#pragma once

#include "client/environment.h"

#include <cstddef>

namespace vnt {

// Whether the caller may want to end this call while it runs; then it is to be watched: run
// asynchronously, with looks at the caller's flag and callbacks.
bool client_call_iswatched(const client_env *e, const void *request);
int client_call_watch(client_env *e, void *request, uint32_t responseid, const void **response);

// Starts the call that vntclient_start() has announced; see client_call().
int client_call_start(client_env *e, void *request, uint32_t responseid, client_finish finish,
                      const void *memory, size_t size);

// Ends a started call without taking its result, because the connection is about to be closed.
// A call that does not end takes the connection with it.
void client_call_abandon(client_env *e);

// Finds an environment with a started call.  VNTERR_BAD_ARGUMENT when there is none.
int client_started_find(VNTENVptr env, client_env **e);

// Fetches the result of a started call that has ended, and returns what the call would have.
int client_started_finish(client_env *e);

// Finds out whether the worker still has the call of an environment that was away: another process
// may have joined it meanwhile.  Then there is no started call any more.
int client_started_check(client_env *e);

// Whether the caller's flag or callback asks for the end of what runs.
bool client_wants_end(client_env *e);

// Serves a call that has paused.  Without a pause callback, a limit that the caller has set on a
// `started` call is the caller's to deal with; any other pause is left over from a look at the
// progress.
int client_serve_pause(client_env *e, bool started);

} // namespace vnt
