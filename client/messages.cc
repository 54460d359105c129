#include "client/messages.h"

#include "client/connection.h"
#include "remote/base/entry.h"
#include "remote/calls/flatten.h"
#include "remote/calls/probinfo.h"

#include <algorithm>
#include <cstdlib>

namespace vnt {

thread_local client_handlers client_default_handlers;

static constexpr int32_t ERRORS = 2; // the channel

static void text_dispatch(client_env *e, const vntmsg_CHANNEL *message)
{
    // Text that a stream has read has zero bytes behind it.
    const char *text = message->message.data != nullptr ? message->message.data : "";
    if (message->channel == ERRORS) client_complaint_keep(e, text);
    for (client_destination *d = e->destinations; d != nullptr; d = d->next)
        if (d->channel == message->channel) d->func(d->data, text);
    if (e->handlers.channel != nullptr)
        e->handlers.channel(e->handle, message->channel, text, e->handlers.channeldata);
}

void client_complain(client_env *e, const char *text)
{
    vntmsg_CHANNEL message = {nullptr, VNTMESSAGEID_CHANNEL, ERRORS, {}};
    message.message.data = const_cast<char *>(text);
    client_dispatch(e, &message);
}

// Drops an array whose chunks do not add up to its total.
static void info_dispatch(client_env *e, const vntmsg_INFO *message)
{
    flat_array elements;
    if (e->handlers.info == nullptr) return;
    if (flattenarray(&elements, &message->data, message->data.type) != 0) return;
    e->handlers.info(e->handle, message->tag, static_cast<int>(message->data.type), elements.count,
                     elements.count > 0 ? elements.data : nullptr, e->handlers.infodata);
    if (elements.owned) free(elements.data);
}

void client_dispatch(client_env *e, const void *message)
{
    e->receiving = true;
    if (message_id(message) == VNTMESSAGEID_CHANNEL)
        text_dispatch(e, static_cast<const vntmsg_CHANNEL *>(message));
    else
        info_dispatch(e, static_cast<const vntmsg_INFO *>(message));
    e->receiving = false;
}

int client_channels_enable(client_env *e)
{
    if (e->channels_enabled) return 0;
    int64_t answer;
    int rc = client_probinfo(e, 0, 0, PROBINFO_CHANNELS, CHANNELS_ON, &answer);
    e->channels_enabled = rc == 0 && answer == CHANNELS_ON;
    return rc;
}

VNT_ENTRY int vntclient_setchannelhandler(VNTENVptr env, vntclient_channelhandler handler,
                                          void *data)
{
    client_env *e;
    int rc = client_env_find(env, &e);
    if (rc != 0) return rc;
    e->handlers.channel = handler;
    e->handlers.channeldata = data;
    return handler != nullptr ? client_channels_enable(e) : 0;
}

VNT_ENTRY int vntclient_setinfohandler(VNTENVptr env, vntclient_infohandler handler, void *data)
{
    client_env *e;
    int rc = client_env_find(env, &e);
    if (rc != 0) return rc;
    e->handlers.info = handler;
    e->handlers.infodata = data;
    return 0;
}

VNT_ENTRY void vntclient_defaulthandlers(vntclient_channelhandler channel, void *channeldata,
                                         vntclient_infohandler info, void *infodata)
{
    client_default_handlers = {channel, channeldata, info, infodata};
}

VNT_ENTRY int VNTLgetchannels(VNTENVptr env, VNTCHANNELptr *results_p, VNTCHANNELptr *warning_p,
                              VNTCHANNELptr *error_p, VNTCHANNELptr *log_p)
{
    client_env *e;
    int rc = client_env_find_open(env, &e);
    if (rc != 0) return rc;
    VNTCHANNELptr *const places[4] = {results_p, warning_p, error_p, log_p};
    for (uint64_t i = 0; i < 4; i++) {
        VNTCHANNELptr &channel = e->channels[i];
        if (channel == nullptr)
            channel = static_cast<VNTCHANNELptr>(client_handle_add(CLIENT_CHANNEL, e, i));
        if (channel == nullptr) return client_fail_memory();
        if (places[i] != nullptr) *places[i] = channel;
    }
    return 0;
}

VNT_ENTRY int VNTLaddfuncdest(VNTENVptr env, VNTCHANNELptr channel, void *handle,
                              void (*msgfunc)(void *handle, const char *text))
{
    client_env *e;
    int rc = client_env_find(env, &e);
    if (rc != 0) return rc;
    client_object object;
    if (!client_handle_find(channel, CLIENT_CHANNEL, &object) || object.env != e)
        return client_fail(VNTERR_BAD_ARGUMENT, "this is no channel of the environment");
    if (msgfunc == nullptr) return client_fail(VNTERR_NULL_POINTER, "a function is missing");
    auto *d = static_cast<client_destination *>(calloc(1, sizeof(client_destination)));
    if (d == nullptr) return client_fail_memory();
    *d = {nullptr, static_cast<int32_t>(object.remote), handle, msgfunc};
    client_destination **end = &e->destinations;
    while (*end != nullptr)
        end = &(*end)->next;
    *end = d; // from now on it hears also that the worker is out of reach
    rc = client_channels_enable(e);
    if (rc == 0) return 0;
    *end = nullptr;
    free(d);
    return rc;
}

// The destination of a user function's output.
struct userfunction_output {
    void *output;
    int64_t space;
    int64_t *length_p;
};

static int finish_userfunction(client_env *, const void *response, void *memory)
{
    auto *to = static_cast<const userfunction_output *>(memory);
    auto *res = static_cast<const vntmsg_USERFUNCTION_RES *>(response);
    flat_array bytes;
    int rc = flattenarray(&bytes, &res->output, TYPE_BYTE);
    if (rc > 0) return client_fail_memory();
    if (rc != 0) return client_fail(VNTERR_REMOTE, "the user function's output is no whole array");
    int64_t length = bytes.count, fits = std::min(length, to->space);
    if (fits > 0) memcpy(to->output, bytes.data, static_cast<size_t>(fits));
    if (bytes.owned) free(bytes.data);
    if (to->length_p != nullptr) *to->length_p = length;
    if (res->status == 0 && length > to->space)
        return client_fail(VNTERR_SPACE_TOO_SMALL, "the user function gave %lld bytes",
                           static_cast<long long>(length));
    return res->status == 0
               ? 0
               : client_fail(res->status, "the user function returned %d", res->status);
}

VNT_ENTRY int vntclient_userfunction(VNTENVptr env, int id, const void *input, int64_t inputlen,
                                     void *output, int64_t space, int64_t *outputlen_p)
{
    client_env *e;
    int rc = client_env_find(env, &e);
    if (rc != 0) return rc;
    if (inputlen < 0 || space < 0 || (input == nullptr && inputlen > 0) ||
        (output == nullptr && space > 0))
        return client_fail(VNTERR_BAD_ARGUMENT, "a negative length, or no memory for it");
    char env16[16];
    vntmsg_USERFUNCTION_REQ request = {};
    request.messageid = VNTMESSAGEID_USERFUNCTION_REQ;
    client_value_put(&request.env, env16, e->remote);
    request.id = id;
    request.maxout = space;
    rc = message_set_bytearray(&request.input, inputlen, input);
    if (rc != 0) return client_fail(msg2vnt(rc), "%s", message_error_text(rc));
    userfunction_output to = {output, space, outputlen_p};
    int result;
    rc = client_call(e, &request, VNTMESSAGEID_USERFUNCTION_RES, finish_userfunction, &to,
                     sizeof to, &result);
    message_unset_array(&request.input);
    return rc != 0 ? rc : result;
}

VNT_ENTRY int vntclient_remotevalue(VNTENVptr env, const void *object, uint64_t *value_p)
{
    client_env *e;
    int rc = client_env_find(env, &e);
    if (rc != 0) return rc;
    if (value_p == nullptr) return client_fail(VNTERR_NULL_POINTER, "no place for the value");
    client_object found;
    bool known = client_handle_find(object, CLIENT_LP, &found) ||
                 client_handle_find(object, CLIENT_NET, &found);
    if (!known || found.env != e)
        return client_fail(VNTERR_NO_PROBLEM, "this is no problem of the environment");
    *value_p = found.remote;
    return 0;
}

} // namespace vnt
