// The requests that steer an asynchronous call.  They are served while it runs, on the listener's
// thread or from inside the solver.

#include "remote/calls/progress.h"
#include "remote/handler/asynccall.h"
#include "remote/handler/info.h"
#include "remote/handler/timelimit.h"

namespace vnt {

int vnthandler_VNTMESSAGEID_ASYNCTEST_REQ_run(handler_frame *frame)
{
    handler *h = frame->owner;
    pthread_mutex_lock(&h->statelock);
    const int32_t state = h->state;
    pthread_mutex_unlock(&h->statelock);
    // One that was told to continue or to terminate still runs, as far as the caller is concerned.
    const int32_t shown = state > ASYNC_PAUSED ? ASYNC_RUNNING : state;
    const vntmsg_ASYNCTEST_RES response = {nullptr, VNTMESSAGEID_ASYNCTEST_RES, 0, shown};
    return frame_respond(frame, &response);
}

// With the state lock held.
static void tell(handler *h, async_state state)
{
    h->state = state;
    pthread_cond_signal(&h->statecondition);
}

// The blocked run function sends the response.  From here on nobody hears a word that would let a
// paused call go on: such a call ends with what it has, now or when it would pause.
int vnthandler_VNTMESSAGEID_GETRES_run(handler_frame *frame)
{
    handler *h = frame->owner;
    pthread_mutex_lock(&h->infolock);
    cell_set(h->pending, h->pending - 1);
    flushinfo(h, true);
    pthread_mutex_unlock(&h->infolock);
    pthread_mutex_lock(&h->statelock);
    if (h->state == ASYNC_PAUSED) tell(h, ASYNC_TERMINATE);
    pthread_mutex_unlock(&h->statelock);
    async_stop();
    return 0;
}

static void terminate_call(handler *h)
{
    pthread_mutex_lock(&h->statelock);
    if (h->state != ASYNC_IDLE) tell(h, ASYNC_TERMINATE);
    pthread_mutex_unlock(&h->statelock);
}

int vnthandler_VNTMESSAGEID_ASYNCKILL_REQ_run(handler_frame *frame)
{
    terminate_call(frame->owner);
    cell_set(frame->owner->terminate, 1);
    const vntmsg_ASYNCKILL_RES response = {nullptr, VNTMESSAGEID_ASYNCKILL_RES, 0};
    return frame_respond(frame, &response);
}

int vnthandler_VNTMESSAGEID_EASYNCTERMINATE_REQ_run(handler_frame *frame)
{
    terminate_call(frame->owner);
    const vntmsg_EASYNCTERMINATE_RES response = {nullptr, VNTMESSAGEID_EASYNCTERMINATE_RES, 0};
    return frame_respond(frame, &response);
}

// With the state lock held.
static void store_limits(handler *h, int64_t progress, double seconds)
{
    cell_set(*h->limitcell, static_cast<uint64_t>(progress));
    h->timelimit = seconds;
}

int vnthandler_VNTMESSAGEID_EASYNCLIMITS_REQ_run(handler_frame *frame)
{
    const auto *request = static_cast<const vntmsg_EASYNCLIMITS_REQ *>(frame->request);
    handler *h = frame->owner;
    pthread_mutex_lock(&h->statelock);
    store_limits(h, request->dettime, request->walltime);
    // A new limit counts from the next start or continuation; none counts at once.
    if (!wallclock_tilim_limits(h->timelimit)) wallclock_tilim_apply(h, h->timelimit);
    pthread_mutex_unlock(&h->statelock);
    const vntmsg_EASYNCLIMITS_RES response = {nullptr, VNTMESSAGEID_EASYNCLIMITS_RES, 0};
    return frame_respond(frame, &response);
}

int vnthandler_VNTMESSAGEID_EASYNCCONTINUE_REQ_run(handler_frame *frame)
{
    const auto *request = static_cast<const vntmsg_EASYNCCONTINUE_REQ *>(frame->request);
    handler *h = frame->owner;
    pthread_mutex_lock(&h->statelock);
    store_limits(h, request->dettime, request->walltime);
    const int status = wallclock_tilim_apply(h, h->timelimit);
    if (h->state != ASYNC_IDLE && h->state != ASYNC_TERMINATE) tell(h, ASYNC_CONTINUE);
    pthread_mutex_unlock(&h->statelock);
    const vntmsg_EASYNCCONTINUE_RES response = {nullptr, VNTMESSAGEID_EASYNCCONTINUE_RES, status};
    return frame_respond(frame, &response);
}

int vnthandler_VNTMESSAGEID_EASYNCMIPINJECT_REQ_run(handler_frame *frame)
{
    const auto *request = static_cast<const vntmsg_EASYNCMIPINJECT_REQ *>(frame->request);
    handler *h = frame->owner;
    pthread_mutex_lock(&h->progresslock);
    h->injected = request->objval;
    pthread_mutex_unlock(&h->progresslock);
    const vntmsg_EASYNCMIPINJECT_RES response = {nullptr, VNTMESSAGEID_EASYNCMIPINJECT_RES, 0};
    return frame_respond(frame, &response);
}

// Returns a solver status.
static int pack_progress(serializer *s, handler *h)
{
    pthread_mutex_lock(&h->progresslock);
    const int status = progress_pack(s, h->progress, h->sollen);
    pthread_mutex_unlock(&h->progresslock);
    return status;
}

int vnthandler_VNTMESSAGEID_EASYNCMIPPROGRESS_REQ_run(handler_frame *frame)
{
    const auto *request = static_cast<const vntmsg_EASYNCMIPPROGRESS_REQ *>(frame->request);
    vntmsg_EASYNCMIPPROGRESS_RES response = {nullptr, VNTMESSAGEID_EASYNCMIPPROGRESS_RES, -1, {}};
    void *env = nullptr;
    if (handle_take(&request->env, &env) != 0) return frame_respond(frame, &response);
    serializer packed;
    response.status = pack_progress(&packed, frame->owner);
    if (response.status == 0)
        message_set_bytearray(&response.progress_p, static_cast<int64_t>(packed.used),
                              packed.buffer);
    frame_respond(frame, &response);
    message_unset_array(&response.progress_p);
    serializer_release(&packed);
    return 0;
}

} // namespace vnt
