// The requests about the environment and the connection.

#include "remote/base/log.h"
#include "remote/calls/solver.h"
#include "remote/handler/asynccall.h"
#include "remote/handler/child.h"
#include "remote/handler/registry.h"

namespace vnt {

// Forwards the four channels of the environment.  They stay silent until the caller asks for them.
static void forward_channels(handler *h, VNTENVptr env)
{
    const auto getchannels = SOLVER(VNTLgetchannels);
    const auto addfuncdest = SOLVER(VNTLaddfuncdest);
    if (getchannels == nullptr || addfuncdest == nullptr) return;
    VNTCHANNELptr channels[4] = {};
    if (getchannels(env, &channels[0], &channels[1], &channels[2], &channels[3]) != 0) return;
    for (int i = 0; i < 4; i++)
        addfuncdest(env, channels[i], &h->info.channels[i], channelcallback);
}

static void install_terminate(handler *h, VNTENVptr env)
{
    terminate_flag_set(h, 0);
    const auto setasyncterminate = SOLVER(VNTLEsetasyncterminate);
    if (setasyncterminate != nullptr) setasyncterminate(env, &h->terminate);
}

// Makes `env` the handler's environment; one that cannot be registered is closed again.
static int32_t adopt(handler *h, VNTENVptr *env)
{
    if (env2handler_add(*env, h) != 0) {
        const auto closevanto = SOLVER(VNTLcloseVANTO);
        if (closevanto != nullptr) closevanto(env);
        *env = nullptr;
        return msg2vnt(MESSAGE_NOMEMORY);
    }
    forward_channels(h, *env);
    install_terminate(h, *env);
    h->env = *env;
    return 0;
}

// Refuses a request that is well formed.
static int refuse(handler_frame *frame)
{
    frame_reject(frame, -1);
    return 0;
}

int vnthandler_VNTMESSAGEID_OPENVANTO_REQ_run(handler_frame *frame)
{
    const auto *request = static_cast<const vntmsg_OPENVANTO_REQ *>(frame->request);
    if ((request->flags & FLAG_ASYNCHRONOUS) != 0) return refuse(frame);
    const auto openvanto = SOLVER(VNTLopenVANTO);
    if (openvanto == nullptr) return frame_lacking(frame, "VNTLopenVANTO");
    int status = 0;
    VNTENVptr env = openvanto(&status);
    if (status == 0 && env != nullptr) status = adopt(frame->owner, &env);
    vntmsg_OPENVANTO_RES response = {nullptr, VNTMESSAGEID_OPENVANTO_RES, status, {}};
    char bytes[16];
    handle_put(&response.env, bytes, env);
    return frame_respond(frame, &response);
}

int vnthandler_VNTMESSAGEID_CLOSEVANTO_REQ_run(handler_frame *frame)
{
    const auto *request = static_cast<const vntmsg_CLOSEVANTO_REQ *>(frame->request);
    handler *h = frame->owner;
    // It is meant that the default is cleared before it is read: a caller that does not say what
    // to close closes nothing.
    h->env = nullptr;
    void *object = nullptr;
    if (handle_take(&request->env, &object) != 0) return frame_reject(frame, -1);
    auto env = static_cast<VNTENVptr>(object);
    if ((request->flags & FLAG_USEDEFAULTS) != 0 && env == nullptr) env = h->env;
    env2handler_remove(env);
    if ((request->flags & FLAG_ASYNCHRONOUS) != 0) return refuse(frame);
    const auto closevanto = SOLVER(VNTLcloseVANTO);
    if (closevanto == nullptr) return frame_lacking(frame, "VNTLcloseVANTO");
    const vntmsg_CLOSEVANTO_RES response = {nullptr, VNTMESSAGEID_CLOSEVANTO_RES, closevanto(&env)};
    return frame_respond(frame, &response);
}

// Parks the worker; info is queued meanwhile.
static void vnthandler_disconnect(void)
{
    if (workerchild == nullptr) return;
    log_line(LOG_DEBUG, "DISCONNECT\n");
    if (!child_report(workerchild, workerchild->id)) {
        log_syscall("write");
        return;
    }
    async_away(workerchild->control_fd);
}

int vnthandler_VNTMESSAGEID_DISCONNECT_REQ_run(handler_frame *frame)
{
    handler *h = frame->owner;
    if (!info_queue_hold(&h->info)) return refuse(frame);
    const vntmsg_DISCONNECT_RES response = {nullptr, VNTMESSAGEID_DISCONNECT_RES};
    // A client that does not get this answer will not come back, and the worker would wait for
    // ever.
    answer_send(h, &response);
    vnthandler_disconnect();
    return 0;
}

int vnthandler_VNTMESSAGEID_RECONNECT_REQ_run(handler_frame *frame)
{
    if (!info_queue_release(&frame->owner->info)) return refuse(frame);
    const vntmsg_RECONNECT_RES response = {nullptr, VNTMESSAGEID_RECONNECT_RES};
    return frame_respond(frame, &response); // after all that was queued meanwhile
}

} // namespace vnt
