#include "client/control.h"

#include "client/connection.h"
#include "remote/calls/flags.h"
#include "remote/calls/progress.h"

namespace vnt {

// Most control requests begin with flags and environment and are answered by a status.
template <class Request, class Response> static int control(client_env *e, uint32_t id,
                                                            uint32_t response_id, Request &request,
                                                            const Response **response)
{
    char env16[16];
    request.messageid = id;
    if constexpr (requires { request.env; }) {
        if (e->remote == 0) request.flags |= FLAG_USEDEFAULTS;
        client_value_put(&request.env, env16, e->remote);
    }
    const void *message;
    const bool asks = id == VNTMESSAGEID_ASYNCTEST_REQ;
    int rc = (asks ? client_ask : client_roundtrip)(e, &request, response_id, &message);
    if (rc != 0) return rc;
    *response = static_cast<const Response *>(message);
    return (*response)->status == 0 ? 0 : client_fail_solver(e, (*response)->status);
}

#define CONTROL(name, answer, request)                                                             \
    [&] {                                                                                          \
        const vntmsg_##answer *response;                                                           \
        return control(e, VNTMESSAGEID_##name, VNTMESSAGEID_##answer, request, &response);         \
    }()

int client_control_kill(client_env *e)
{
    vntmsg_ASYNCKILL_REQ request = {};
    return CONTROL(ASYNCKILL_REQ, ASYNCKILL_RES, request);
}

int client_control_terminate(client_env *e)
{
    vntmsg_EASYNCTERMINATE_REQ request = {};
    return CONTROL(EASYNCTERMINATE_REQ, EASYNCTERMINATE_RES, request);
}

template <class Request> static Request limiting(client_env *e, client_limits limits)
{
    e->may_pause = true;
    Request request = {};
    request.dettime = limits.progress;
    request.walltime = limits.seconds;
    return request;
}

int client_control_limits(client_env *e, client_limits limits)
{
    auto request = limiting<vntmsg_EASYNCLIMITS_REQ>(e, limits);
    return CONTROL(EASYNCLIMITS_REQ, EASYNCLIMITS_RES, request);
}

int client_control_continue(client_env *e, client_limits limits)
{
    auto request = limiting<vntmsg_EASYNCCONTINUE_REQ>(e, limits);
    return CONTROL(EASYNCCONTINUE_REQ, EASYNCCONTINUE_RES, request);
}

int client_control_inject(client_env *e, double objval)
{
    vntmsg_EASYNCMIPINJECT_REQ request = {};
    request.objval = objval;
    return CONTROL(EASYNCMIPINJECT_REQ, EASYNCMIPINJECT_RES, request);
}

int client_control_test(client_env *e, int *state)
{
    *state = VNTCLIENT_ENDED;
    vntmsg_ASYNCTEST_REQ request = {};
    const vntmsg_ASYNCTEST_RES *response;
    int rc = control(e, VNTMESSAGEID_ASYNCTEST_REQ, VNTMESSAGEID_ASYNCTEST_RES, request, &response);
    if (rc == 0) *state = response->running_p;
    return rc;
}

// These two have the flags as their only field.
template <class Request> static int post(client_env *e, uint32_t id)
{
    Request request = {};
    request.messageid = id;
    int rc = client_send(e, &request);
    if (rc == 0) e->owed++;
    return rc;
}

int client_control_post_test(client_env *e)
{
    return post<vntmsg_ASYNCTEST_REQ>(e, VNTMESSAGEID_ASYNCTEST_REQ);
}

int client_control_post_kill(client_env *e)
{
    return post<vntmsg_ASYNCKILL_REQ>(e, VNTMESSAGEID_ASYNCKILL_REQ);
}

int client_control_get_result(client_env *e)
{
    e->started.running = false;
    vntmsg_GETRES request = {};
    request.messageid = VNTMESSAGEID_GETRES;
    return client_send(e, &request);
}

int client_control_progress(client_env *e, int sollen, vntmipprogress *progress)
{
    vntmsg_EASYNCMIPPROGRESS_REQ request = {};
    const vntmsg_EASYNCMIPPROGRESS_RES *response;
    int rc = control(e, VNTMESSAGEID_EASYNCMIPPROGRESS_REQ, VNTMESSAGEID_EASYNCMIPPROGRESS_RES,
                     request, &response);
    if (rc != 0) return rc;
    const message_array &bytes = response->progress_p;
    if (bytes.type != TYPE_BYTE || bytes.nchunks != 1)
        return client_fail(VNTERR_NO_SOLUTION, "the worker has no progress to tell");
    progress_unpack(progress, sollen, bytes.chunks->data, bytes.chunks->count);
    return 0;
}

} // namespace vnt
