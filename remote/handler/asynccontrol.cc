// The requests that steer an asynchronous call.  They are served while it runs, on the listener's
// thread or from inside the solver.

#include "remote/handler/asynccall.h"

namespace vnt {

int vnthandler_VNTMESSAGEID_ASYNCTEST_REQ_run(handler_frame *frame)
{
    const vntmsg_ASYNCTEST_RES response = {nullptr, VNTMESSAGEID_ASYNCTEST_RES, 0,
                                           pausegate_shown(&frame->owner->gate)};
    return frame_respond(frame, &response);
}

// The blocked run function sends the response.
int vnthandler_VNTMESSAGEID_GETRES_run(handler_frame *frame)
{
    handler *h = frame->owner;
    info_queue_settle(&h->info);
    pausegate_fetch(&h->gate);
    async_stop();
    return 0;
}

int vnthandler_VNTMESSAGEID_ASYNCKILL_REQ_run(handler_frame *frame)
{
    pausegate_terminate(&frame->owner->gate);
    terminate_flag_set(frame->owner, 1);
    const vntmsg_ASYNCKILL_RES response = {nullptr, VNTMESSAGEID_ASYNCKILL_RES, 0};
    return frame_respond(frame, &response);
}

int vnthandler_VNTMESSAGEID_EASYNCTERMINATE_REQ_run(handler_frame *frame)
{
    pausegate_terminate(&frame->owner->gate);
    const vntmsg_EASYNCTERMINATE_RES response = {nullptr, VNTMESSAGEID_EASYNCTERMINATE_RES, 0};
    return frame_respond(frame, &response);
}

int vnthandler_VNTMESSAGEID_EASYNCLIMITS_REQ_run(handler_frame *frame)
{
    const auto *request = static_cast<const vntmsg_EASYNCLIMITS_REQ *>(frame->request);
    pausegate_limits_set(&frame->owner->gate, request->dettime, request->walltime);
    const vntmsg_EASYNCLIMITS_RES response = {nullptr, VNTMESSAGEID_EASYNCLIMITS_RES, 0};
    return frame_respond(frame, &response);
}

int vnthandler_VNTMESSAGEID_EASYNCCONTINUE_REQ_run(handler_frame *frame)
{
    const auto *request = static_cast<const vntmsg_EASYNCCONTINUE_REQ *>(frame->request);
    const int status = pausegate_continue(&frame->owner->gate, request->dettime, request->walltime);
    const vntmsg_EASYNCCONTINUE_RES response = {nullptr, VNTMESSAGEID_EASYNCCONTINUE_RES, status};
    return frame_respond(frame, &response);
}

int vnthandler_VNTMESSAGEID_EASYNCMIPINJECT_REQ_run(handler_frame *frame)
{
    const auto *request = static_cast<const vntmsg_EASYNCMIPINJECT_REQ *>(frame->request);
    mipprogress_offer(&frame->owner->progress, request->objval);
    const vntmsg_EASYNCMIPINJECT_RES response = {nullptr, VNTMESSAGEID_EASYNCMIPINJECT_RES, 0};
    return frame_respond(frame, &response);
}

int vnthandler_VNTMESSAGEID_EASYNCMIPPROGRESS_REQ_run(handler_frame *frame)
{
    const auto *request = static_cast<const vntmsg_EASYNCMIPPROGRESS_REQ *>(frame->request);
    vntmsg_EASYNCMIPPROGRESS_RES response = {nullptr, VNTMESSAGEID_EASYNCMIPPROGRESS_RES, -1, {}};
    void *env = nullptr;
    if (handle_take(&request->env, &env) != 0) return frame_respond(frame, &response);
    serializer packed;
    response.status = mipprogress_pack(&frame->owner->progress, &packed);
    if (response.status == 0)
        message_set_bytearray(&response.progress_p, static_cast<int64_t>(packed.used),
                              packed.buffer);
    frame_respond(frame, &response);
    message_unset_array(&response.progress_p);
    serializer_release(&packed);
    return 0;
}

} // namespace vnt
