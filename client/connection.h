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
#include "codec/catalogue.h"
#include "fdio/transport.h"
#include "handler/solvercall.h"
#include "vanto_client.h"

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

// A call that was started and not joined yet.
struct client_started {
    uint32_t response;    // the id expected, 0 when another process started it
    client_finish finish; // null: the answer's status is all that is wanted
    void *memory;         // malloc'd
};

struct client_env {
    transport *io; // null unless the state is CLIENT_OPEN
    VNTENVptr handle;
    uint64_t remote; // 0: unknown, the worker takes its default environment
    client_state state;
    bool receiving;       // inside a callback of a message that arrived: no exchange now
    bool channelsenabled; // the worker sends channel texts
    VNTCHANNELptr channels[4];
    client_destination *destinations; // oldest first
    vntclient_channelhandler channelhandler;
    void *channeldata;
    vntclient_infohandler infohandler;
    void *infodata;
    volatile int *terminatecell;
    int (*terminatefunc)(VNTENVptr env, void *data);
    void *terminatedata;
    int (*pausefunc)(VNTENVptr env, void *cbdata, uint64_t progress, void *data);
    void *pausedata;
    bool armed;   // the next call is started instead of carried out
    bool running; // a call was started and not joined yet
    client_started started;
};

// Finds the environment behind a handle: 0 or VNTERR_NO_ENVIRONMENT.
int client_findenv(VNTENVptr env, client_env **out);

// Finds the worker's value of an environment's object.  VNTERR_NO_PROBLEM for anything else.
int client_findlp(const client_env *e, VNTLPptr lp, uint64_t *remote);
int client_findnet(const client_env *e, VNTNETptr net, uint64_t *remote);

// Makes a handle for a problem or network that the worker has just created; null for a value of
// 0 or when memory is out.  client_forgethandle() takes it back.
VNTLPptr client_addlp(client_env *e, uint64_t remote);
VNTNETptr client_addnet(client_env *e, uint64_t remote);

// Sends a request and waits for its answer, of id `responseid`.  The request's flags are the
// exchange's to set.  A refusal (NAK) gives its status; no response then.
int client_exchange(client_env *e, void *request, uint32_t responseid, const void **response);

// Carries out a solver call: sends the request, waits, and ends it with `finish`, whose result it
// stores in `result`.  When the environment was told to start its next call, or a call that may
// take long has to be watched, the worker is asked to run it asynchronously; a started call
// returns as soon as the worker has it, with a result of 0, and finish runs when it is joined,
// with a copy of the `size` bytes at `memory`.
int client_call(client_env *e, void *request, uint32_t responseid, client_finish finish,
                void *memory, size_t size, int *result);

// Asks the worker for a size or another value of the environment.  `lp` and `net` are the
// worker's values, 0 for none.  The second takes a selector of the message and its argument.
int client_query(client_env *e, uint64_t lp, uint64_t net, call_query query, int64_t *value);
int client_probinfo(client_env *e, uint64_t lp, uint64_t net, int32_t selector, int64_t argument,
                    int64_t *value);

// For vntclient_errortext(): keeps a text for the calling thread.  Returns `status`.
[[gnu::format(printf, 2, 3)]] int client_fail(int status, const char *format, ...);
