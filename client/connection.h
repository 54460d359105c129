// connection.h: an environment's connection to its worker, as the calling side's functions use it.
//
// Every function of the library finds the environment behind its handle, fills the record of its
// request and hands it to client_call() or client_exchange().  Channel texts and info that arrive
// before the answer go to whoever asked for them.
//
// Ownership: a client_env is made by an open call and freed by the close call; it owns its
// transport.  A response belongs to the transport until the next exchange on the environment.
//
// Threads: one at a time uses an environment.  Different environments are independent.
//
// Errors: 0 or VNTERR_*.  A failing send or receive ends the connection: this and every later
// exchange on the environment is VNTERR_CONNECTION_LOST, without waiting.

#pragma once

#include "client/handles.h"
#include "remote/calls/solvercall.h"
#include "remote/codec/catalogue.h"
#include "remote/transport/tcpip.h"
#include "remote/transport/transport.h"
#include "vanto_client.h"

#include <cstddef>
namespace vnt {

enum client_state : uint8_t {
    CLIENT_OPEN,
    CLIENT_AWAY, // disconnected; the worker waits to be joined again
    CLIENT_LOST
};

// Ends a call: copies what the response brings to where the caller wants it, and gives what the
// call returns.  `memory` is what was handed to client_call().
typedef int (*client_finish)(client_env *e, const void *response, void *memory);

// A destination of a message channel.
struct client_destination {
    client_destination *next;
    int32_t channel;
    void *data;
    void (*func)(void *data, const char *text);
};

// Who gets what the worker says unasked.
struct client_handlers {
    vntclient_channelhandler channel;
    void *channeldata;
    vntclient_infohandler info;
    void *infodata;
};

// A call that was started and is not joined yet.
struct client_started {
    bool running;
    uint32_t response;    // the id expected, 0 when another process started the call
    client_finish finish; // null: the answer's status is all that is wanted
    void *memory;         // malloc'd
};

// At which progress count and after which seconds a solve pauses.
struct client_limits {
    int64_t progress; // 0 for none
    double seconds;   // VNTCLIENT_NONE for none
};

struct client_env {
    transport *io; // null unless the state is CLIENT_OPEN
    VNTENVptr handle;
    uint64_t remote; // 0: unknown, the worker takes its default environment
    client_state state;
    bool receiving;           // inside a callback of a message that arrived: no exchange now
    tcpip_reconnectinfo info; // where the worker is, unless the state is CLIENT_OPEN
    client_env *nextaway;     // in the list of environments that are away

    int32_t readtimeout; // milliseconds, negative for none
    int32_t writetimeout;

    client_handlers handlers;
    client_destination *destinations; // of VNTLaddfuncdest, oldest first
    VNTCHANNELptr channels[4];        // null until asked for
    bool channelsenabled;             // the worker sends channel texts

    volatile int *terminateflag;
    int (*terminatefunc)(VNTENVptr env, void *data);
    void *terminatedata;
    int (*pausefunc)(VNTENVptr env, void *cbdata, uint64_t progress, void *data);
    void *pausedata;

    bool armed; // the next call is started instead of carried out
    client_started started;
    bool attending;         // inside the wait for a started call
    client_limits limits;   // what the caller wants
    int64_t limitsset;      // when the limits, or the call, began to count
    vntclient_group *group; // null outside of groups
};

// --- For the functions of the library --------------------------------------------------------

// Finds the environment behind a handle: 0 or VNTERR_NO_ENVIRONMENT.
int client_env_find(VNTENVptr env, client_env **out);

// Finds the worker's value of an environment's object.  VNTERR_NO_PROBLEM for anything else.
int client_lp_find(const client_env *e, VNTLPptr lp, uint64_t *remote);
int client_net_find(const client_env *e, VNTNETptr net, uint64_t *remote);

// Makes a handle for a problem or network that the worker has just created; null for a value of
// 0 or when memory is out.  client_handle_forget() takes it back.
VNTLPptr client_lp_add(client_env *e, uint64_t remote);
VNTNETptr client_net_add(client_env *e, uint64_t remote);

// Sends the request of a solver call and waits for its answer, of id `responseid`.  The request's
// flags are the exchange's to set.  A refusal (NAK) gives its status and no response.
int client_exchange(client_env *e, void *request, uint32_t responseid, const void **response);

// Drops what vntclient_start() or vntclient_group_call() has asked of the next call: that one
// failed before it could be sent.
void client_disarm(client_env *e);

// Carries out a solver call: sends the request, waits, and ends it with `finish`, whose result it
// stores in `result`.  When the environment was told to start its next call, it returns as soon
// as the worker has taken it up, with a result of 0; finish then runs when the call is joined, on
// a copy of the `size` bytes at `memory`.
int client_call(client_env *e, void *request, uint32_t responseid, client_finish finish,
                void *memory, size_t size, int *result);

// Asks the worker for a size or another value of the environment.  `lp` and `net` are the
// worker's values, 0 for none.  The second takes a selector of the message and its argument.
int client_query(client_env *e, uint64_t lp, uint64_t net, call_query query, int64_t *value);
int client_probinfo(client_env *e, uint64_t lp, uint64_t net, int32_t selector, int64_t argument,
                    int64_t *value);

// Keeps a text for vntclient_errortext() in the calling thread.  Returns `status`.
[[gnu::format(printf, 2, 3)]] int client_fail(int status, const char *format, ...);

// --- For the modules behind them -------------------------------------------------------------

// Makes the record and the handle of an environment over `io`, which it owns from then on; null
// `io` makes one that is away.  Null when memory is out, and `io` is closed without a word.
client_env *client_env_create(transport *io);

// Ends the worker, unless it is away, and frees the environment.
void client_env_destroy(client_env *e);

// What transports are made with.
constexpr int CLIENT_NCODECS = 2;
const codec_factory *const *client_codecs();

// What a transport's connect or reconnect said, as a status; `place` is for the text.
int client_connect_fail(int rc, const char *place);

// Whether an exchange is possible now: 0, or the status that says why not.
int client_ready(const client_env *e);

// Sends a message, then waits for one of id `responseid`, as it stands: nothing is set in it.
int client_roundtrip(client_env *e, const void *message, uint32_t responseid,
                     const void **response);
int client_send(client_env *e, const void *message);
int client_await(client_env *e, uint32_t responseid, const void **response);

// What a refusal, a NAK, says, as a status.
int client_refusal(const void *nak);

// Waits for the answer to whatever call was started.
int client_await_any(client_env *e, const void **response);

// Ends the connection without a word to the worker.  Returns VNTERR_CONNECTION_LOST.
int client_lose(client_env *e, const char *why);

// The flags of a request, which all but a few control messages begin with.
inline int32_t &client_flags(void *request)
{
    return field_at<int32_t>(request, offsetof(vntmsg_GETX_REQ, flags));
}

// A message that arrived before the awaited one: hands it on when it is info or a channel text.
// Returns whether it was one to be passed over.
bool client_dispatch(client_env *e, const void *message);

// Tells a text of the library's own where the warnings of the solver go.
void client_warn(client_env *e, const char *text);

// Gives the environment's time-outs to its connection.
int client_timeouts_apply(client_env *e);

// Tells the worker to send channel texts, unless it does already.
int client_channels_enable(client_env *e);

// The handlers with which the calling thread's environments are made.
extern thread_local client_handlers client_default_handlers;

// A call that the terminate cell or a callback watches: has it run asynchronously and asks for
// its end in between.
bool client_call_iswatched(const client_env *e, const void *request);
int client_call_watch(client_env *e, void *request, uint32_t responseid, const void **response);
int client_call_start(client_env *e, void *request, uint32_t responseid, client_finish finish,
                      const void *memory, size_t size);

// Leaves the worker and comes back.  An environment that is not open when it goes is forgotten.
// To leave is to be let go by the worker and then to depart, to rejoin is to arrive and to greet.
// The environment stays away when a later arrival may succeed, and is lost when none will.
int client_disconnect(client_env *e);
void client_depart(client_env *e);
int client_rejoin(client_env *e);
int client_arrive(client_env *e);
int client_greet(client_env *e);
void client_away_forget(client_env *e);

// Ends a started call without taking its result, before the connection goes; which goes now when
// the call does not end.
void client_call_abandon(client_env *e);

// Carries out the call on all members of the leader's group.
bool client_group_iscalled(const client_env *e);
int client_group_exchange(client_env *e, void *request, uint32_t responseid, const void **response);
void client_group_leave(client_env *e);

} // namespace vnt
