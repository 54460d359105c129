// connection.h: requests and answers over an environment's connection to its worker.
//
// Every function of the library finds the environment behind its handle, fills the record of its
// request and hands it to client_call() or client_exchange().  Channel texts and info that arrive
// before the answer go to their handlers.
//
// Ownership: a response belongs to the transport until the next exchange on the environment.
//
// Threads: one at a time uses an environment.
//
// Errors: 0 or VNTERR_*.  A failing send or receive ends the connection: this and every later
// exchange on the environment is VNTERR_CONNECTION_LOST, without waiting.

#pragma once

#include "client/environment.h"
#include "remote/calls/solvercall.h"
#include "remote/codec/catalogue.h"

#include <cstddef>

namespace vnt {

// Sends the request of a solver call and waits for its answer, of id `response_id`.  The request's
// flags are the exchange's to set.  A refusal (NAK) gives its status and no response.
int client_exchange(client_env *e, void *request, uint32_t response_id, const void **response);

// Cancels vntclient_start() and vntclient_group_call() for the next call, because it failed before
// it was sent.
void client_disarm(client_env *e);

// Carries out a solver call: sends the request, waits, and ends it with `finish`, whose result it
// stores in `result`.  After vntclient_start() it returns as soon as the worker has taken the call
// up, with a result of 0; finish then runs when the call is joined, on a copy of the `size` bytes
// at `memory`.
int client_call(client_env *e, void *request, uint32_t response_id, client_finish finish,
                void *memory, size_t size, int *result);

// Asks the worker for a size or another value of the environment.  `lp` and `net` are the
// worker's values, 0 for none.  The second takes a selector of the message and its argument.
int client_query(client_env *e, uint64_t lp, uint64_t net, call_query query, int64_t *value);
int client_probinfo(client_env *e, uint64_t lp, uint64_t net, int32_t selector, int64_t argument,
                    int64_t *value);

// Returns 0 if an exchange is possible now, else the reason's status.
int client_ready(const client_env *e);

// Sends the message as it stands, then waits for one of id `response_id`, of any id when that is 0.
int client_roundtrip(client_env *e, const void *message, uint32_t response_id,
                     const void **response);
int client_send(client_env *e, const void *message);

// The same for a request that changes nothing in the worker, so that it may be repeated.
int client_ask(client_env *e, const void *question, uint32_t response_id, const void **response);

int client_await(client_env *e, uint32_t response_id, const void **response);

// Receives one message.  It becomes null for a channel text, info, or the answer to a posted
// control request, which have been dealt with.
int client_receive(client_env *e, const void **message);

// The status of a refusal (NAK).
int client_refusal(const void *nak);

// Ends the connection; the worker receives no message.  Returns VNTERR_CONNECTION_LOST.
int client_lose(client_env *e, const char *why);

// The flags of a request, which all but a few control messages begin with.
inline int32_t &client_flags(void *request)
{
    return field_at<int32_t>(request, offsetof(vntmsg_GETX_REQ, flags));
}

// Gives the environment's time-outs to its connection.
int client_timeouts_apply(client_env *e);

// The codecs that transports are made with.
constexpr int CLIENT_NCODECS = 2;
const codec_factory *const *client_codecs();

// How long the calling thread's attempts to connect may take, in milliseconds; negative: no limit.
extern thread_local int client_connect_timeout;

// Turns the result of a transport's connect or reconnect into a status; the error text names
// `place`.
int client_connect_fail(int rc, const char *place);

} // namespace vnt
