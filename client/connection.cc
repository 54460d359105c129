#include "client/connection.h"

#include "client/async.h"
#include "client/detach.h"
#include "client/group.h"
#include "client/messages.h"
#include "client/visit.h"
#include "remote/calls/flags.h"

#include <cerrno>

namespace vnt {

int client_ready(const client_env *e)
{
    if (e->receiving)
        return client_fail(VNTERR_SOLVING, "a callback cannot call into its environment");
    if (e->state == CLIENT_LOST)
        return client_fail(VNTERR_CONNECTION_LOST, "the connection to the worker was lost");
    if (e->state == CLIENT_AWAY)
        return client_fail(VNTERR_REMOTE, "the environment is disconnected from its worker");
    return 0;
}

void client_disarm(client_env *e)
{
    e->armed = e->groupcall = false;
}

int client_lose(client_env *e, const char *why)
{
    client_fail(VNTERR_CONNECTION_LOST, "the connection to the worker was lost: %s", why);
    client_group_leave(e);
    e->io->ops.disconnect(e->io, &e->info); // the server ends the worker
    e->io = nullptr;
    e->state = CLIENT_LOST;
    e->receiving = false;
    e->owed = 0;
    return VNTERR_CONNECTION_LOST;
}

// Ends the connection after a failure of the transport.  An end of file does not set errno.  After
// a time-out the worker probably still exists, so the server is not asked.
static int lose(client_env *e, int rc)
{
    int error = rc == MESSAGE_IO ? errno : 0;
    const char *why = error != 0         ? strerror(error)
                      : rc == MESSAGE_IO ? "the other end closed it"
                                         : message_error_text(rc);
    client_lose(e, why);
    if (rc != MESSAGE_IO || error == ETIMEDOUT || e->returning) return VNTERR_CONNECTION_LOST;
    const char *fate = client_worker_fate(e);
    return client_fail(VNTERR_CONNECTION_LOST, "the connection to the worker was lost: %s; %s", why,
                       fate);
}

int client_send(client_env *e, const void *message)
{
    int rc = client_ready(e);
    if (rc == 0 && e->visiting) rc = client_stay(e, message);
    if (rc != 0) return rc;
    errno = 0;
    rc = e->io->ops.sendmsg(e->io, message);
    if (rc == MESSAGE_UNKNOWN)
        return client_fail(msg2vnt(rc), "no such message"); // nothing was sent
    return rc == 0 ? 0 : lose(e, rc);
}

// Notes the answer to a posted request.  Answers come in the order of their requests.
static void posted_answer_note(client_env *e, const void *message)
{
    e->owed--;
    if (message_id(message) == VNTMESSAGEID_ASYNCTEST_RES)
        e->started.state = static_cast<const vntmsg_ASYNCTEST_RES *>(message)->running_p;
}

int client_receive(client_env *e, const void **message)
{
    void *arrived;
    errno = 0;
    *message = nullptr;
    int rc = e->io->ops.recvmsg(e->io, &arrived);
    if (rc != 0) return lose(e, rc);
    switch (message_id(arrived)) {
    case VNTMESSAGEID_CHANNEL:
    case VNTMESSAGEID_INFO: client_dispatch(e, arrived); return 0;
    case VNTMESSAGEID_UNKNOWN: return 0; // follows the refusal of a malformed request
    }
    if (e->owed > 0)
        posted_answer_note(e, arrived);
    else
        *message = arrived;
    return 0;
}

int client_refusal(const void *message)
{
    auto *nak = static_cast<const vntmsg_NAK *>(message);
    // -1 means that the worker could not read the request; 0 must not count as success.
    if (nak->status == -1 || nak->status == 0)
        return client_fail(VNTERR_BAD_ARGUMENT, "the worker rejected request %d", nak->message);
    return client_fail(nak->status, "the worker refused request %d with status %d", nak->message,
                       nak->status);
}

int client_await(client_env *e, uint32_t response_id, const void **response)
{
    *response = nullptr;
    const void *message = nullptr;
    while (message == nullptr) {
        int rc = client_receive(e, &message);
        if (rc != 0) return rc;
    }
    if (message_id(message) == VNTMESSAGEID_NAK) return client_refusal(message);
    if (response_id != 0 && message_id(message) != response_id)
        return client_lose(e, "the worker's answers are out of step");
    *response = message;
    return 0;
}

int client_roundtrip(client_env *e, const void *message, uint32_t response_id,
                     const void **response)
{
    int rc = client_send(e, message);
    return rc == 0 ? client_await(e, response_id, response) : rc;
}

int client_ask(client_env *e, const void *question, uint32_t response_id, const void **response)
{
    if (!e->visiting || client_ready(e) != 0)
        return client_roundtrip(e, question, response_id, response);
    return client_visit(e, question, response_id, response);
}

static bool repeatable(const void *request)
{
    const solver_call *call = solvercalls_find(message_id(request));
    return call != nullptr && solvercall_asks(call);
}

int client_exchange(client_env *e, void *request, uint32_t response_id, const void **response)
{
    if (e->remote == 0) client_flags(request) |= FLAG_USEDEFAULTS;
    if (e->groupcall) return client_group_exchange(e, request, response_id, response);
    if (client_call_is_watched(e, request))
        return client_call_watch(e, request, response_id, response);
    if (e->visiting && repeatable(request)) return client_ask(e, request, response_id, response);
    return client_roundtrip(e, request, response_id, response);
}

int client_call(client_env *e, void *request, uint32_t response_id, client_finish finish,
                void *memory, size_t size, int *result)
{
    *result = 0;
    if (e->armed) return client_call_start(e, request, response_id, finish, memory, size);
    const void *response;
    int rc = client_exchange(e, request, response_id, &response);
    if (rc == 0) *result = finish(e, response, memory);
    return rc;
}

int client_probinfo(client_env *e, uint64_t lp, uint64_t net, int32_t selector, int64_t argument,
                    int64_t *value)
{
    *value = 0;
    char env16[16], lp16[16], net16[16];
    vntmsg_PROBINFO_REQ request = {};
    request.messageid = VNTMESSAGEID_PROBINFO_REQ;
    request.flags = e->remote == 0 ? FLAG_USEDEFAULTS : 0;
    client_value_put(&request.env, env16, e->remote);
    client_value_put(&request.lp, lp16, lp);
    client_value_put(&request.net, net16, net);
    request.whatinfo = selector;
    request.intarg = argument;
    const void *message;
    int rc = client_ask(e, &request, VNTMESSAGEID_PROBINFO_RES, &message);
    if (rc != 0) return rc;
    auto *response = static_cast<const vntmsg_PROBINFO_RES *>(message);
    *value = response->info;
    return response->status;
}

// The selector of each query.
static constexpr int32_t selectors[] = {
#define SIZE_QUERY(name, selector) selector,
#include "remote/calls/queries.def"
};

int client_query(client_env *e, uint64_t lp, uint64_t net, call_query query, int64_t *value)
{
    return client_probinfo(e, lp, net, selectors[query], 0, value);
}

} // namespace vnt
