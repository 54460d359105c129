// handler.h: carries out decoded requests in a worker, one at a time.
//
// The handler finds the run function of a request by its id; the run function sends everything
// that the request produces.  The handler also keeps what lives across requests: the environment,
// queued info, the state of an asynchronous call.
//
// Ownership: the transport is the caller's.  A request belongs to the transport: after handle()
// has returned nothing of it is touched.
//
// Threads: handle() runs on the worker's main thread, or, while an asynchronous call runs, on the
// thread that serves control requests.  Lock order: asynccallbackmutex, then pause, state,
// progress; poll only with state released; the registry lock is a leaf, and below the info lock
// stand the transport's own alone, for queued info is sent under it.  Fields without a lock that
// several threads use are read and written with cell_get and cell_set.

#pragma once

#include "remote/calls/handle.h"
#include "remote/codec/catalogue.h"
#include "remote/transport/transport.h"
#include "vanto_remote.h"

#include <atomic>
#include <ctime>
#include <type_traits>

namespace vnt {

struct handler;

struct handler_operations {
    // Returns what the run function returns: 0 for a well-formed request, -1 for a rejected one,
    // whose NAK has been sent, MESSAGE_UNKNOWN for an id without a run function.
    int (*handle)(handler *h, void *request, void *context);
    void (*destroy)(handler *h);
};

// What the solver gets as user data of one of its message channels.
struct handler_channel {
    handler *owner;
    int32_t number; // 0 results, 1 warnings, 2 errors, 3 log
};

struct handler_info; // a queued CHANNEL or INFO message

// The state of an asynchronous call.
enum async_state : int32_t {
    ASYNC_IDLE = 0,
    ASYNC_RUNNING = 1,
    ASYNC_PAUSED = 2,    // inside the pause callback
    ASYNC_CONTINUE = 3,  // asked to go on
    ASYNC_TERMINATE = 4, // asked to end
};

// "No limit", "no value": what the wire carries for it.
constexpr double HANDLER_INFINITE = 1e75;

struct handler {
    handler_operations ops;
    transport *io;
    char magic[4]; // "HTNV"
    handler_channel channels[4];
    int32_t running; // id of the request that runs asynchronously, -1 when none
    VNTUSERFUNCTION userfunction;
    void *userdata;
    VNTENVptr env; // the default objects, for requests that ask for them
    VNTLPptr lp;
    VNTNETptr net;
    handler_info *infohead;
    handler_info *infotail;
    pthread_mutex_t infolock; // guards the queue, pending and hold
    int32_t pending;          // asynchronous results not fetched yet; read without the lock, too
    int32_t hold;             // nonzero while the caller is away
    int32_t channelsenabled;  // a cell
    int32_t ownercheck;       // a cell; nonzero: only `ownerthread` polls and sends info at once
    pthread_t ownerthread;    // a cell
    int32_t polling;          // a cell
    int32_t state;            // async_state
    pthread_mutex_t statelock;
    pthread_cond_t statecondition;
    pthread_mutex_t pauselock;
    pthread_mutex_t polllock;
    uint64_t *limitcell; // a cell: the progress limit, 0 for none
    uint64_t limit;
    int32_t pauseinstalled;
    double timelimit; // seconds; this and timerarmed under the state lock
    int32_t timerarmed;
    pthread_mutex_t progresslock;
    double sense; // -1.0 when maximising, else 1.0
    int32_t sollen;
    vntmipprogress progress;
    double injected; // an objective value for the solver, HANDLER_INFINITE x sense when none
    timer_t timer;
    int32_t *timeexpired; // a cell that outlives the handler, as the timer's thread may
    int32_t terminate;    // the cell that the solver watches
};

template <class type> type cell_get(type &cell)
{
    return std::atomic_ref<type>(cell).load();
}
template <class type> void cell_set(type &cell, std::type_identity_t<type> value)
{
    std::atomic_ref<type>(cell).store(value);
}

struct handler_factory {
    int (*create)(handler **out, transport *io); // Errors: NOMEMORY, LOCK.
    void *reserved[3];
};

const handler_factory *vntmsg_getfactory(void);

// Whether the id is a request that has a run function.
bool handler_serves(uint32_t id);

// What a run function gets.
struct handler_frame {
    handler *owner;
    void *request;
    vntmsg_NAK nak; // preset but for the status, as the request may be gone when it is needed
    vntmsg_ACK ack; // likewise
    void *context;
};

// Flushes queued info, then answers with a NAK of that status.  Returns -1 for a status of -1, the
// rejected request, else 0.
int frame_reject(handler_frame *frame, int32_t status);

// The answer where the solver lacks a function: a log line that names it, and a NAK of status
// VNTERR_UNKNOWN_CALL.  Returns 0.
int frame_lacking(handler_frame *frame, const char *function);

// Flushes queued info, then sends the response.  Returns 0.
int frame_respond(handler_frame *frame, const void *response);

} // namespace vnt
