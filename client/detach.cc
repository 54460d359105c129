#include "client/detach.h"

#include "client/async.h"
#include "client/connection.h"
#include "client/group.h"
#include "client/messages.h"
#include "client/visit.h"
#include "remote/base/entry.h"
#include "remote/base/holders.h"
#include "remote/base/io.h"
#include "remote/base/socket.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace vnt {

// The environments that this process has left.  The lock guards the list only.
static pthread_mutex_t away_lock = PTHREAD_MUTEX_INITIALIZER;
static client_env *away;

static void remember(client_env *e)
{
    mutex_holder hold(&away_lock);
    e->next_away = away;
    away = e;
}

// Takes the environment out of the list that fits; null when none does.
template <class Fits> static client_env *take(Fits fits)
{
    mutex_holder hold(&away_lock);
    for (client_env **at = &away; *at != nullptr; at = &(*at)->next_away) {
        client_env *e = *at;
        if (!fits(e)) continue;
        *at = e->next_away;
        e->next_away = nullptr;
        return e;
    }
    return nullptr;
}

void client_away_forget(client_env *e)
{
    take([e](const client_env *other) { return other == e; });
}

static client_env *away_take(const tcpip_reconnectinfo *info)
{
    return take([info](const client_env *e) {
        return e->info.worker_id == info->worker_id &&
               e->info.address_length == info->address_length &&
               memcmp(e->info.address, info->address, sizeof info->address) == 0;
    });
}

void client_depart(client_env *e)
{
    client_group_leave(e);
    e->io->ops.disconnect(e->io, &e->info);
    e->io = nullptr;
    e->state = CLIENT_AWAY;
}

int client_disconnect(client_env *e)
{
    if (e->visiting) { // the worker is left already
        e->visiting = false;
        client_depart(e);
        return 0;
    }
    vntmsg_DISCONNECT_REQ request = {};
    request.messageid = VNTMESSAGEID_DISCONNECT_REQ;
    const void *response;
    int rc = client_roundtrip(e, &request, VNTMESSAGEID_DISCONNECT_RES, &response);
    if (rc == 0) client_depart(e);
    return rc;
}

int client_arrive(client_env *e)
{
    errno = 0;
    transport *io;
    int rc = tcpiptransport_getfactory()->reconnect_within(&io, CLIENT_NCODECS, client_codecs(),
                                                           &e->info, client_connect_timeout);
    if (rc != 0) {
        if (rc == HANDSHAKE_NOTFOUND) e->state = CLIENT_LOST;
        return client_connect_fail(rc, e->place);
    }
    e->io = io;
    e->state = CLIENT_OPEN;
    e->owed = 0;
    rc = client_timeouts_apply(e);
    if (rc != 0) client_depart(e); // nothing was sent yet
    return rc;
}

static bool answers_in_time(const client_env *e)
{
    const int limit = client_connect_timeout;
    return limit < 0 || io_wait(e->io->infd, POLLIN, -1, clock_after_ms(limit)) != 0;
}

int client_give_up(client_env *e)
{
    client_depart(e);
    return client_fail(VNTERR_REMOTE,
                       "the worker at %s does not answer: it may be suspended, or another client "
                       "has it",
                       e->place);
}

static int retreat(client_env *e)
{
    vntmsg_DISCONNECT_REQ farewell = {};
    farewell.messageid = VNTMESSAGEID_DISCONNECT_REQ;
    int rc = client_send(e, &farewell);
    return rc == 0 ? client_give_up(e) : rc;
}

int client_greet(client_env *e)
{
    vntmsg_RECONNECT_REQ request = {};
    request.messageid = VNTMESSAGEID_RECONNECT_REQ;
    const void *response;
    int rc = client_send(e, &request);
    if (rc == 0 && !answers_in_time(e)) return retreat(e);
    return rc == 0 ? client_await(e, VNTMESSAGEID_RECONNECT_RES, &response) : rc;
}

int client_rejoin(client_env *e)
{
    int rc = client_arrive(e);
    return rc == 0 ? client_greet(e) : rc;
}

// Asks the server for the worker as if to join it, for two seconds at most.  Returns what a
// reconnect returns.
static int server_ask(const tcpip_reconnectinfo &info)
{
    transport *io;
    int rc = tcpiptransport_getfactory()->reconnect_within(&io, CLIENT_NCODECS, client_codecs(),
                                                           &info, 2000);
    if (rc == 0) io->ops.disconnect(io, nullptr);
    return rc;
}

const char *client_worker_fate(const client_env *e)
{
    switch (server_ask(e->info)) {
    case HANDSHAKE_NOTFOUND: return "the worker has ended";
    case HANDSHAKE_OK:
    case HANDSHAKE_NOTPARKED: return "the network failed, the worker has not ended";
    default: return "its server does not answer";
    }
}

VNT_ENTRY int vntclient_disconnect(VNTENVptr env, void *info)
{
    client_env *e;
    int rc = client_env_find(env, &e);
    if (rc != 0) return rc;
    if (info == nullptr) return client_fail(VNTERR_NULL_POINTER, "no place for the way back");
    if (e->attending) return client_fail(VNTERR_SOLVING, "the environment waits for a call");
    rc = client_disconnect(e);
    if (rc != 0) return rc;
    memcpy(info, &e->info, sizeof e->info);
    remember(e);
    return 0;
}

// Checks information from outside: it must have an id, and the address must fit.
static bool is_place(const tcpip_reconnectinfo *info)
{
    return info->worker_id != 0 && info->address_length > 0 &&
           info->address_length <= sizeof info->address;
}

static void place_name(client_env *e)
{
    sockaddr_storage address;
    memcpy(&address, e->info.address, sizeof address);
    char name[SOCKNAM_SIZE];
    address_name(&address, name);
    snprintf(e->place, sizeof e->place, "%s", name);
}

static constexpr double CONNECTED = -1; // in the place of a patience

// An environment of this process or a new one, joined to its worker again, or visiting it with that
// patience.  `prepare` completes a new one before messages arrive.
template <class Prepare> static int take_up(const tcpip_reconnectinfo &info, VNTENVptr *env,
                                            double patience, Prepare prepare)
{
    if (!is_place(&info)) return client_fail(VNTERR_BAD_ARGUMENT, "these bytes lead nowhere");
    client_env *e = away_take(&info);
    bool known = e != nullptr;
    if (!known) {
        e = client_env_create(nullptr);
        if (e == nullptr) return client_fail_memory();
        e->info = info;
        place_name(e);
        int rc = prepare(e);
        if (rc != 0) {
            client_env_destroy(e);
            return rc;
        }
    }
    e->may_pause = true; // another process may have set limits
    int rc = patience < 0 ? client_rejoin(e) : client_visits_begin(e, patience);
    if (rc == 0 && e->handlers.channel != nullptr) rc = client_channels_enable(e);
    if (rc == 0 && e->started.running && !e->visiting) rc = client_started_check(e);
    if (rc == 0) {
        *env = e->handle;
        return 0;
    }
    if (known && e->state == CLIENT_AWAY) remember(e);
    if (!known && e->io != nullptr) client_lose(e, "it could not be taken up again");
    if (!known) client_env_destroy(e);
    return rc;
}

VNT_ENTRY int vntclient_reconnect(const void *bytes, VNTENVptr *env)
{
    if (bytes == nullptr || env == nullptr)
        return client_fail(VNTERR_NULL_POINTER, "an argument is missing");
    tcpip_reconnectinfo info;
    memcpy(&info, bytes, sizeof info);
    return take_up(info, env, CONNECTED, [](client_env *) { return 0; });
}

// The record of vntclient_pack(); vanto_client.h describes its layout.
#pragma pack(push, 1)
struct packed_head {
    char magic[4];
    uint32_t version;
    uint32_t length;
    uint32_t running;
    tcpip_reconnectinfo info;
    uint64_t env;
    uint32_t count;
    uint32_t zero;
};
struct packed_object {
    uint32_t kind;
    uint32_t zero;
    uint64_t remote;
};
#pragma pack(pop)
static constexpr char MAGIC[] = {'V', 'N', 'T', 'R'};
static constexpr uint32_t VERSION = 1;
static constexpr uint32_t PACKED_LP = 1, PACKED_NET = 2;

static void pack(const client_env *e, client_object *objects, size_t count, char *to)
{
    packed_head head = {};
    memcpy(head.magic, MAGIC, sizeof head.magic);
    head.version = VERSION;
    head.length = static_cast<uint32_t>(sizeof head + count * sizeof(packed_object));
    head.running = e->armed || e->started.running;
    head.info = e->info;
    if (e->io != nullptr) tcpip_fill_info(e->io, &head.info);
    head.env = e->remote;
    head.count = static_cast<uint32_t>(count);
    memcpy(to, &head, sizeof head);
    to += sizeof head;
    client_handles_list(e, objects, count);
    for (size_t i = 0; i < count; i++) {
        const client_object &o = objects[i];
        packed_object p = {o.kind == CLIENT_LP ? PACKED_LP : PACKED_NET, 0, o.remote};
        memcpy(to, &p, sizeof p);
        to += sizeof p;
    }
}

VNT_ENTRY int vntclient_pack(VNTENVptr env, void *record, int64_t space, int64_t *length_p)
{
    client_env *e;
    int rc = client_env_find(env, &e);
    if (rc != 0) return rc;
    if (e->state == CLIENT_LOST) return client_ready(e);
    size_t count = client_handles_list(e, nullptr, 0);
    auto length = static_cast<int64_t>(sizeof(packed_head) + count * sizeof(packed_object));
    if (length_p != nullptr) *length_p = length;
    if (record == nullptr) return 0;
    if (space < length)
        return client_fail(VNTERR_SPACE_TOO_SMALL, "the record takes %lld bytes",
                           static_cast<long long>(length));
    auto *objects = static_cast<client_object *>(malloc((count + 1) * sizeof(client_object)));
    if (objects == nullptr) return client_fail_memory();
    pack(e, objects, count, static_cast<char *>(record));
    free(objects);
    return 0;
}

static bool head_read(const char *record, int64_t length, packed_head *head)
{
    if (length < static_cast<int64_t>(sizeof *head)) return false;
    memcpy(head, record, sizeof *head);
    return memcmp(head->magic, MAGIC, sizeof MAGIC) == 0 && head->version == VERSION &&
           head->length <= length &&
           head->length == sizeof *head + uint64_t(head->count) * sizeof(packed_object);
}

static int unpack(client_env *e, const packed_head &head, const char *record)
{
    e->remote = head.env;
    e->started.running = head.running != 0;
    e->started.state = VNTCLIENT_RUNNING;
    for (uint32_t i = 0; i < head.count; i++) {
        packed_object p;
        memcpy(&p, record + sizeof head + i * sizeof p, sizeof p);
        client_kind kind = p.kind == PACKED_LP ? CLIENT_LP : CLIENT_NET;
        if (client_handle_add(kind, e, p.remote) == nullptr) return client_fail_memory();
    }
    return 0;
}

static int attach(const void *record, int64_t length, VNTENVptr *env, double patience)
{
    if (record == nullptr || env == nullptr)
        return client_fail(VNTERR_NULL_POINTER, "an argument is missing");
    auto *bytes = static_cast<const char *>(record);
    packed_head head;
    if (!head_read(bytes, length, &head))
        return client_fail(VNTERR_FILE_FORMAT, "this is no record of an environment");
    return take_up(head.info, env, patience, [&](client_env *e) { return unpack(e, head, bytes); });
}

VNT_ENTRY int vntclient_attach(const void *record, int64_t length, VNTENVptr *env)
{
    return attach(record, length, env, CONNECTED);
}

VNT_ENTRY int vntclient_attachresilient(const void *record, int64_t length, double patience,
                                        VNTENVptr *env)
{
    return attach(record, length, env, patience > 0 ? patience : 0);
}

// Lists the handles of one kind, oldest first, in the caller's space.  It asks for them one by one:
// the callers return no status, so that nothing here may need memory.
template <class Handle>
static int listed(VNTENVptr env, client_kind kind, int space, Handle *handles)
{
    client_env *e;
    if (client_env_find(env, &e) != 0) return 0;
    int count = 0;
    client_object o = {};
    while (client_handle_next(e, kind, o.serial, &o)) {
        if (count < space) handles[count] = static_cast<Handle>(o.handle);
        count++;
    }
    return count;
}

VNT_ENTRY int vntclient_getproblems(VNTENVptr env, int space, VNTLPptr *lps)
{
    return listed(env, CLIENT_LP, space, lps);
}

VNT_ENTRY int vntclient_getnetworks(VNTENVptr env, int space, VNTNETptr *nets)
{
    return listed(env, CLIENT_NET, space, nets);
}

} // namespace vnt
