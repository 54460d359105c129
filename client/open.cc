// open.cc: opens and closes environments; calls about them that have no message of their own.
#include "client/async.h"
#include "client/connection.h"
#include "client/messages.h"
#include "client/newworker.h"
#include "client/visit.h"

#include "remote/base/entry.h"
#include "remote/calls/flags.h"
#include "remote/calls/probinfo.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace vnt {

const codec_factory *const *client_codecs()
{
    static const codec_factory *const list[] = {builtin_getfactory(), vntcodec_getfactory()};
    return list;
}

thread_local int client_connect_timeout = TCPIP_CONNECT_TIMEOUT;

VNT_ENTRY void vntclient_connecttimeout(int milliseconds)
{
    client_connect_timeout = milliseconds;
}

int client_connect_fail(int rc, const char *place)
{
    switch (rc) {
    case HANDSHAKE_NORESOURCES:
    case HANDSHAKE_NOFORK:
        return client_fail(VNTERR_REMOTE, "the server at %s cannot make a worker now", place);
    case HANDSHAKE_NOTPARKED:
        return client_fail(VNTERR_REMOTE, "the worker at %s has a client", place);
    case HANDSHAKE_NOTFOUND:
        return client_fail(VNTERR_CONNECTION_LOST, "the worker at %s is gone", place);
    case MESSAGE_NOCONNECTION:
        return client_fail(VNTERR_REMOTE, "no connection to %s: %s", place,
                           errno != 0 ? strerror(errno) : "no such address");
    case MESSAGE_IO:
        if (errno == ETIMEDOUT)
            return client_fail(VNTERR_REMOTE, "the server at %s does not answer", place);
        return client_fail(VNTERR_FILE_IO, "the connection to %s broke while it was made", place);
    case MESSAGE_INVALID:
        return client_fail(VNTERR_BAD_ARGUMENT,
                           "arguments are wrong or missing: -host=<name> and -port=<number>, or "
                           "-address=<host>:<port>, unix:<path> or @<file>, and -nothreads");
    default:
        if (rc > 0)
            return client_fail(VNTERR_REMOTE, "the server at %s refused with status %d", place, rc);
        return client_fail(msg2vnt(rc), "%s", message_error_text(rc));
    }
}

// Opens the environment in a fresh worker.
static int remote_open(client_env *e)
{
    vntmsg_OPENVANTO_REQ request = {};
    request.messageid = VNTMESSAGEID_OPENVANTO_REQ;
    const void *message;
    int rc = client_roundtrip(e, &request, VNTMESSAGEID_OPENVANTO_RES, &message);
    if (rc != 0) return rc;
    auto *response = static_cast<const vntmsg_OPENVANTO_RES *>(message);
    e->remote = client_value_take(&response->env);
    if (response->status != 0 || e->remote == 0) {
        int status = response->status != 0 ? response->status : VNTERR_REMOTE;
        return client_fail(status, "the worker's solver did not open: status %d", status);
    }
    return e->handlers.channel != nullptr ? client_channels_enable(e) : 0;
}

static int open(int argc, const char *const *argv, VNTENVptr *out)
{
    *out = nullptr;
    transport *io;
    char place[sizeof client_env::place];
    int rc = client_worker_create(&io, place, sizeof place, argc, argv);
    if (rc != 0) return rc;
    client_env *e = client_env_create(io);
    if (e == nullptr) return VNTERR_NO_MEMORY;
    memcpy(e->place, place, sizeof place);
    rc = remote_open(e);
    if (rc != 0) {
        client_env_destroy(e);
        return rc;
    }
    *out = e->handle;
    return 0;
}

VNT_ENTRY VNTENVptr vntclient_open(int argc, const char *const *argv, int *status_p)
{
    VNTENVptr env;
    int rc = open(argc, argv, &env);
    if (status_p != nullptr) *status_p = rc;
    return env;
}

VNT_ENTRY VNTENVptr VNTLopenVANTO(int *status_p)
{
    return vntclient_open(-2, nullptr, status_p);
}

VNT_ENTRY const char *vntclient_address(VNTENVptr env)
{
    client_env *e;
    return client_env_find(env, &e) == 0 ? e->place : nullptr;
}

// Closes the environment in the worker.  Without its value the worker's end closes it.
static int remote_close(client_env *e)
{
    if (e->state == CLIENT_AWAY) return 0;
    client_call_abandon(e);
    char env16[16];
    vntmsg_CLOSEVANTO_REQ request = {};
    request.messageid = VNTMESSAGEID_CLOSEVANTO_REQ;
    int rc = client_ready(e);
    if (rc == 0 && e->visiting)
        rc = client_stay(e, &request); // a worker that was left would not end
    if (rc != 0 || e->remote == 0) return rc;
    client_value_put(&request.env, env16, e->remote);
    const void *response;
    rc = client_roundtrip(e, &request, VNTMESSAGEID_CLOSEVANTO_RES, &response);
    if (rc != 0) return rc;
    const int status = static_cast<const vntmsg_CLOSEVANTO_RES *>(response)->status;
    return status == 0 ? 0 : client_fail_solver(e, status);
}

VNT_ENTRY int VNTLcloseVANTO(VNTENVptr *env)
{
    if (env == nullptr) return client_fail(VNTERR_NULL_POINTER, "the environment is missing");
    client_env *e;
    int rc = client_env_find(*env, &e);
    if (rc != 0) return rc;
    if (e->receiving) return client_ready(e);
    if (e->attending) return client_fail(VNTERR_SOLVING, "the environment waits for a call");
    rc = remote_close(e);
    // An environment that the solver refuses to close stays; one without connection is freed.
    if (rc != 0 && e->state == CLIENT_OPEN) return rc;
    client_env_destroy(e);
    *env = nullptr;
    return rc;
}

int client_timeouts_apply(client_env *e)
{
    int rc = e->io->ops.ctrlint(e->io, CTRL_SET_READTIMEOUT, &e->readtimeout);
    if (rc == 0) rc = e->io->ops.ctrlint(e->io, CTRL_SET_WRITETIMEOUT, &e->writetimeout);
    return rc == 0 ? 0 : client_fail(msg2vnt(rc), "%s", message_error_text(rc));
}

VNT_ENTRY int vntclient_settimeouts(VNTENVptr env, int read_ms, int write_ms)
{
    client_env *e;
    int rc = client_env_find_open(env, &e);
    if (rc != 0) return rc;
    e->readtimeout = read_ms;
    e->writetimeout = write_ms;
    return client_timeouts_apply(e);
}

VNT_ENTRY int VNTLversionnumber(VNTENVptr env, int *version_p)
{
    client_env *e;
    int rc = client_env_find(env, &e);
    if (rc != 0) return rc;
    int64_t version;
    rc = client_probinfo(e, 0, 0, PROBINFO_VERSION, 0, &version);
    if (rc == 0 && version_p != nullptr) *version_p = static_cast<int>(version);
    return rc;
}

// No message can return a presolved problem, so only its absence can be reported.
VNT_ENTRY int VNTLgetredlp(VNTENVptr env, VNTLPptr lp, VNTLPptr *redlp_p)
{
    client_env *e;
    uint64_t remote = 0;
    int64_t rows = 0, columns = 0;
    int rc = client_env_find_open(env, &e);
    if (rc == 0 && lp != nullptr) rc = client_object_find(e, lp, CLIENT_LP, &remote);
    if (rc == 0) rc = client_query(e, remote, 0, QUERY_REDNUMROWS, &rows);
    if (rc == 0) rc = client_query(e, remote, 0, QUERY_REDNUMCOLS, &columns);
    if (rc != 0) return rc;
    if (redlp_p != nullptr) *redlp_p = nullptr;
    if (rows == 0 && columns == 0) return 0;
    return client_fail(VNTERR_NOT_SUPPORTED, "a presolved problem stays in its worker");
}

// The worker cannot read this process's memory: during a call that may take long, the library
// checks the flag and calls the callbacks itself.
VNT_ENTRY int VNTLEsetasyncterminate(VNTENVptr env, volatile int *terminate_p)
{
    client_env *e;
    int rc = client_env_find_open(env, &e);
    if (rc == 0) e->terminate_flag = terminate_p;
    return rc;
}

VNT_ENTRY int VNTEsetterminatefunc(VNTENVptr env, int (*func)(VNTENVptr env, void *data),
                                   void *data)
{
    client_env *e;
    int rc = client_env_find_open(env, &e);
    if (rc != 0) return rc;
    e->terminate_func = func;
    e->terminate_data = data;
    return 0;
}

VNT_ENTRY int VNTEsetpausecallbackfunc(VNTENVptr env,
                                       int (*func)(VNTENVptr env, void *cbdata, uint64_t progress,
                                                   void *data),
                                       void *data)
{
    client_env *e;
    int rc = client_env_find_open(env, &e);
    if (rc != 0) return rc;
    e->pause_func = func;
    e->pause_data = data;
    return 0;
}

} // namespace vnt
