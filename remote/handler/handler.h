// handler.h: serves requests in a worker, one at a time.
//
// The handler finds the run function of a request by its id; the run function sends everything
// that the request produces.  The handler also keeps state between requests: the environment,
// queued info, the asynchronous call.
//
// Ownership: the transport is the caller's.  A request belongs to the transport: after handle()
// has returned nothing of it is touched.
//
// Threads: handle() runs on the worker's main thread, or, while an asynchronous call runs, on the
// thread that serves control requests.  State shared by threads is in the parts, each of which has
// its lock; docs/architecture.md says in which order they are taken.

#pragma once

#include "remote/codec/catalogue.h"
#include "remote/handler/info.h"
#include "remote/handler/mipprogress.h"
#include "remote/handler/pausegate.h"
#include "remote/handler/solverpoll.h"
#include "vanto_remote.h"

namespace vnt {

struct handler_operations {
    // Returns what the run function returns: 0 for a well-formed request, -1 for a rejected one,
    // whose NAK has been sent, MESSAGE_UNKNOWN for an id without a run function.
    int (*handle)(handler *h, void *request);
    void (*destroy)(handler *h);
};

struct handler {
    handler_operations ops;
    transport *io;
    VNTUSERFUNCTION userfunction;
    void *userdata;
    VNTENVptr env; // the default objects, for requests that ask for them
    VNTLPptr lp;
    VNTNETptr net;
    info_queue info;
    solver_poll poll;
    pause_gate gate;
    mip_progress progress;
    int terminate; // the flag that the solver watches; see terminate_flag_set()
};

struct handler_factory {
    int (*create)(handler **out, transport *io); // Errors: NOMEMORY, LOCK.
    void *reserved[3];
};

const handler_factory *vntmsg_getfactory(void);

// Serves one request, from its receipt to its answer, on the thread that receives: receives a
// message, calls `received` unless that is null, and has the handler serve the message.  Returns
// false for a terminate message, which does not go to the handler.  A broken connection is fatal: a
// level-1 log line, then abort().
bool request_serve(transport *t, handler *h, void (*received)(uint32_t id));

// Whether the id is a request that has a run function.
bool handler_serves(uint32_t id);

// What a run function gets.
struct handler_frame {
    handler *owner;
    void *request;
    vntmsg_NAK nak; // complete but for the status: the request may be gone when it is sent
    vntmsg_ACK ack; // likewise
};

// Flushes queued info, then answers with a NAK of that status.  Returns -1 for a status of -1, the
// rejected request, else 0.
int frame_reject(handler_frame *frame, int32_t status);

// Refuses a request whose function the solver lacks: logs the name and sends a NAK of status
// VNTERR_UNKNOWN_CALL.  Returns 0.
int frame_lacking(handler_frame *frame, const char *function);

// Sends what the caller waits for.  A worker that cannot ends: part of the answer may be on its
// way, so that nothing can follow it, and the caller sees the connection's end instead of waiting.
void answer_send(handler *h, const void *answer);

// Flushes queued info, then sends the response.  Returns 0.
int frame_respond(handler_frame *frame, const void *response);

} // namespace vnt
