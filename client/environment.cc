#include "client/environment.h"

#include "client/connection.h"
#include "client/detach.h"
#include "client/group.h"
#include "client/messages.h"
#include "remote/base/entry.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vnt {

static thread_local char error_text[512];
static thread_local int error_status; // the text's, 0 for none

VNT_ENTRY const char *vntclient_errortext(void)
{
    return error_text;
}

int client_fail(int status, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(error_text, sizeof error_text, format, arguments);
    va_end(arguments);
    error_status = status;
    return status;
}

static const char *status_text(int status)
{
    switch (status) {
#define STATUS(name, text)                                                                         \
    case VNTERR_##name: return text;
// One row each.
#include "client/statuses.def"
    default: return nullptr;
    }
}

int client_fail_solver(const client_env *e, int status)
{
    const char *text = e->complaint[0] != '\0' ? e->complaint : status_text(status);
    return text != nullptr ? client_fail(status, "%s", text)
                           : client_fail(status, "the solver's status is %d", status);
}

void client_complaint_keep(client_env *e, const char *text)
{
    snprintf(e->complaint, sizeof e->complaint, "%s", text);
    for (size_t n = strlen(e->complaint); n > 0 && e->complaint[n - 1] == '\n';)
        e->complaint[--n] = '\0';
}

void client_text_begin()
{
    error_status = 0;
}

void client_text_complete(int status)
{
    const char *text = status_text(status);
    if (error_status != status && text != nullptr) client_fail(status, "%s", text);
}

int client_fail_memory()
{
    return client_fail(VNTERR_NO_MEMORY, "out of memory");
}

int client_env_find(VNTENVptr env, client_env **out)
{
    client_object object;
    if (!client_handle_find(env, CLIENT_ENV, &object))
        return client_fail(VNTERR_NO_ENVIRONMENT, "this is no open environment");
    *out = object.env;
    return 0;
}

int client_env_find_open(VNTENVptr env, client_env **out)
{
    int rc = client_env_find(env, out);
    return rc == 0 ? client_ready(*out) : rc;
}

int client_object_find(const client_env *e, const void *handle, client_kind kind, uint64_t *remote)
{
    client_object object;
    if (!client_handle_find(handle, kind, &object) || object.env != e)
        return client_fail(VNTERR_NO_PROBLEM, "this is no problem of the environment");
    *remote = object.remote;
    return 0;
}

VNTLPptr client_lp_add(client_env *e, uint64_t remote)
{
    return remote == 0 ? nullptr : static_cast<VNTLPptr>(client_handle_add(CLIENT_LP, e, remote));
}

VNTNETptr client_net_add(client_env *e, uint64_t remote)
{
    return remote == 0 ? nullptr : static_cast<VNTNETptr>(client_handle_add(CLIENT_NET, e, remote));
}

client_env *client_env_create(transport *io)
{
    auto *e = static_cast<client_env *>(calloc(1, sizeof(client_env)));
    if (e != nullptr) {
        e->handle = static_cast<VNTENVptr>(client_handle_add(CLIENT_ENV, e, 0));
        if (e->handle == nullptr) {
            free(e);
            e = nullptr;
        }
    }
    if (e == nullptr) {
        if (io != nullptr) io->ops.disconnect(io, nullptr);
        client_fail_memory();
        return nullptr;
    }
    e->io = io;
    e->state = io != nullptr ? CLIENT_OPEN : CLIENT_AWAY;
    e->handlers = client_default_handlers;
    e->limits = {0, VNTCLIENT_NONE};
    e->readtimeout = e->writetimeout = -1;
    return e;
}

void client_env_destroy(client_env *e)
{
    client_group_leave(e);
    client_away_forget(e);
    if (e->io != nullptr) e->io->ops.destroy(e->io);
    client_handles_forget(e);
    while (e->destinations != nullptr) {
        client_destination *next = e->destinations->next;
        free(e->destinations);
        e->destinations = next;
    }
    free(e->started.memory);
    free(e);
}

} // namespace vnt
