// visit.h: using a worker without staying connected to it, over networks that fail.
//
// A worker whose client vanishes is ended, unless the client has left it.  A visit therefore comes,
// asks and leaves in one piece.  Once that is under way the worker waits for the next client, with
// all that it holds, even when this process or the network ends that moment; an answer that does
// not arrive is asked for again.
//
// An environment that is visiting does that with every question.  It stays connected from the first
// request on that changes something in the worker, which must not be repeated.
//
// Threads: one at a time uses an environment.
//
// Errors: 0 or VNTERR_*, as of connection.h.

#pragma once

#include "client/environment.h"

namespace vnt {

// Makes an environment one that is visiting, which tries each visit for `patience` seconds.  The
// first is for one that is away: it visits the worker, once.  The second is for one that is
// connected.
int client_visits_begin(client_env *e, double patience);
int client_part(client_env *e, double patience);

// Asks in a visit.  The environment is lost when the worker cannot be reached within its patience.
int client_visit(client_env *e, const void *question, uint32_t response_id, const void **response);

// Asks for the answer of the call that has ended.  It is null where there is no call any more: the
// answer has been sent before, and did not arrive or went to another process.
int client_visit_result(client_env *e, const void **response);

// Makes an environment, which is visiting, stay connected for `message`, null for any.
int client_stay(client_env *e, const void *message);

} // namespace vnt
