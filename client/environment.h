// environment.h: the calling side's record of an environment.
//
// Ownership: client_env_create() makes the record for an open call, client_env_destroy() frees it
// for the close call.  It owns its transport.
//
// Threads: one at a time uses an environment.  Different environments are independent.
//
// Errors: VNTERR_* with a text for vntclient_errortext(), kept in the calling thread.

#pragma once

#include "client/handles.h"
#include "remote/transport/tcpip.h"
#include "remote/transport/transport.h"
#include "vanto_client.h"

namespace vnt {

enum client_state : uint8_t {
    CLIENT_OPEN,
    CLIENT_AWAY, // disconnected; the worker waits to be joined again
    CLIENT_LOST
};

// Ends a call: copies the outputs of the response to the caller's memory and returns the result of
// the call.  `memory` is what client_call() was given.
typedef int (*client_finish)(client_env *e, const void *response, void *memory);

// A destination of a message channel.
struct client_destination {
    client_destination *next;
    int32_t channel;
    void *data;
    void (*func)(void *data, const char *text);
};

// The receivers of messages that the worker sends without a request.
struct client_handlers {
    vntclient_channelhandler channel;
    void *channeldata;
    vntclient_infohandler info;
    void *infodata;
};

// A call that was started and is not joined yet.
struct client_started {
    bool running;
    int state;            // VNTCLIENT_*, as of the last test of the call
    uint32_t response;    // the expected id, 0 if another process started the call
    client_finish finish; // null: only the answer's status is needed
    void *memory;         // malloc'd
};

// When a solve pauses: at a progress count or after a time.
struct client_limits {
    int64_t progress; // 0: no limit
    double seconds;   // VNTCLIENT_NONE: no limit
};

struct client_env {
    transport *io; // null unless the state is CLIENT_OPEN
    VNTENVptr handle;
    uint64_t remote; // 0: unknown, the worker takes its default environment
    client_state state;
    bool receiving;           // inside a callback for a message: no exchange is possible
    tcpip_reconnectinfo info; // where the worker is, unless the state is CLIENT_OPEN
    char place[300];          // its server's address, for vntclient_address()
    client_env *next_away;    // in the list of environments that are away

    int32_t readtimeout; // milliseconds, negative for none
    int32_t writetimeout;

    client_handlers handlers;
    client_destination *destinations; // of VNTLaddfuncdest, oldest first
    VNTCHANNELptr channels[4];        // null until asked for
    bool channels_enabled;            // the worker sends channel texts

    volatile int *terminate_flag;
    int (*terminate_func)(VNTENVptr env, void *data);
    void *terminate_data;
    int (*pause_func)(VNTENVptr env, void *cbdata, uint64_t progress, void *data);
    void *pause_data;

    char complaint[400]; // what the solver's error channel said last during the call

    int owed;   // answers to posted control requests that have not come yet
    bool armed; // the next call is only started
    client_started started;
    bool attending;         // inside the wait for a started call
    bool returning;         // a broken connection will be made anew: not lost yet
    bool visiting;          // the worker is left between two exchanges; see visit.h
    double patience;        // seconds for which a visit is tried
    client_limits limits;   // what the caller wants
    int64_t limits_set;     // when the limits, or the call, began to count
    bool may_pause;         // a call may pause, or have paused, whatever `limits` is now
    vntclient_group *group; // null outside of groups
    bool groupcall;         // leads its group, whose next call goes to all members
};

// Makes the record and the handle of an environment over `io`, which it owns from then on; with a
// null `io` the environment is away.  Null when memory fails; `io` is then closed.
client_env *client_env_create(transport *io);

// Ends the worker, unless the environment is away, and frees the environment.
void client_env_destroy(client_env *e);

// Finds the environment behind a handle: 0 or VNTERR_NO_ENVIRONMENT.
int client_env_find(VNTENVptr env, client_env **out);

// The same for an environment that has a connection; otherwise the status that says why not.
int client_env_find_open(VNTENVptr env, client_env **out);

// Finds the worker's value of an environment's problem or network.  VNTERR_NO_PROBLEM for anything
// else.
int client_object_find(const client_env *e, const void *handle, client_kind kind, uint64_t *remote);

// Makes a handle for a problem or network that the worker has just created; null for a value of
// 0 or when memory fails.  client_handle_forget() takes it back.
VNTLPptr client_lp_add(client_env *e, uint64_t remote);
VNTNETptr client_net_add(client_env *e, uint64_t remote);

// Keeps a text for vntclient_errortext() in the calling thread.  Returns `status`.
[[gnu::format(printf, 2, 3)]] int client_fail(int status, const char *format, ...);
int client_fail_memory(); // VNTERR_NO_MEMORY

// The same for a status that the solver gave: the text is what the solver said on its error channel
// during the call, or else what the status means.
int client_fail_solver(const client_env *e, int status);

// Keeps a line of the error channel for that.
void client_complaint_keep(client_env *e, const char *text);

// A solver call begins: texts of earlier ones do not belong to it.
void client_text_begin();

// Gives the status of a call that failed a text, unless the call has given it one.
void client_text_complete(int status);

} // namespace vnt
