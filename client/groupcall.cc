// The leader's request goes to every member: as one message to all if its objects have the same
// values in every worker, as is usual with workers of one server, else as a message with each
// member's own values.  The answers are read as they arrive.
#include "client/async.h"
#include "client/connection.h"
#include "client/group.h"
#include "client/grouprecords.h"
#include "remote/calls/flags.h"

#include <iterator>

namespace vnt {

// --- What a request names --------------------------------------------------------------------

static client_kind kind_named(const message_field &f)
{
    if (f.kind != KIND_HANDLE) return CLIENT_NONE;
    if (strcmp(f.name, "env") == 0) return CLIENT_ENV;
    return strcmp(f.name, "net") == 0 ? CLIENT_NET : CLIENT_LP;
}

static void handles_find(const vntclient_group *g, group_request *r)
{
    each_field(r->record, [&](const message_field &f) {
        client_kind kind = kind_named(f);
        if (kind == CLIENT_NONE || r->nhandles == std::ssize(r->handles)) return;
        uint64_t leaders = client_value_take(&field_at<message_array>(r->record, f.offset));
        if (leaders != 0 || kind == CLIENT_ENV)
            r->handles[r->nhandles++] = {
                f.offset, kind, leaders, group_object_find(g, kind, leaders), {}};
    });
}

static bool knows_all(const vntclient_group *g, const group_request &r, size_t member)
{
    return std::all_of(r.handles, r.handles + r.nhandles, [&](const group_handle &h) {
        return h.kind == CLIENT_ENV || group_value_of(g, h, member) != 0;
    });
}

static bool same_values(const vntclient_group *g, const group_request &r, size_t a, size_t b)
{
    return std::all_of(r.handles, r.handles + r.nhandles, [&](const group_handle &h) {
        return group_value_of(g, h, a) == group_value_of(g, h, b);
    });
}

static void values_put(const vntclient_group *g, group_request *r, size_t member)
{
    for (int i = 0; i < r->nhandles; i++) {
        group_handle &h = r->handles[i];
        uint64_t value = group_value_of(g, h, member);
        client_value_put(&field_at<message_array>(r->record, h.offset), h.bytes, value);
        if (h.kind == CLIENT_ENV && value == 0) client_flags(r->record) |= FLAG_USEDEFAULTS;
    }
}

// --- Sending ---------------------------------------------------------------------------------

// Marks the members that know all objects of the request.
static void members_ask(vntclient_group *g, const group_request &r)
{
    for (size_t i = 0; i < g->count; i++) {
        group_member &m = g->members[i];
        m.status = VNTERR_CONNECTION_LOST;
        m.response = nullptr;
        m.created = 0;
        m.ending = false;
        m.asked = m.env != nullptr && knows_all(g, r, i);
        if (m.env != nullptr && !m.asked) m.status = VNTERR_NO_PROBLEM;
    }
}

static bool all_alike(vntclient_group *g, const group_request &r, size_t *first)
{
    bool alike = true;
    *first = g->count;
    each_member(g, [&](group_member &m, size_t i) {
        if (!m.asked) return;
        if (*first == g->count) *first = i;
        alike = alike && same_values(g, r, *first, i);
    });
    return alike && *first < g->count;
}

static void send_to_all(vntclient_group *g, group_request *r, size_t first)
{
    size_t n = 0;
    each_member(g, [&](group_member &m, size_t) {
        g->states[n++] = m.asked ? MEMBER_ACTIVE : MEMBER_FINISHED;
    });
    g->io->ops.setstate(g->io, g->states);
    values_put(g, r, first);
    g->io->ops.sendmsg(g->io, r->record);
    g->io->ops.getstate(g->io, g->states);
    n = 0;
    each_member(g, [&](group_member &m, size_t) { m.awaited = g->states[n++] == MEMBER_ACTIVE; });
}

static void send_to_each(vntclient_group *g, group_request *r)
{
    each_member(g, [&](group_member &m, size_t i) {
        if (!m.asked) return;
        values_put(g, r, i);
        m.awaited = m.env->io->ops.sendmsg(m.env->io, r->record) == 0;
    });
}

static void send(vntclient_group *g, group_request *r)
{
    for (size_t i = 0; i < g->count; i++)
        g->members[i].awaited = false;
    size_t first;
    if (all_alike(g, *r, &first) && group_io_make(g))
        send_to_all(g, r, first);
    else
        send_to_each(g, r);
}

// --- The call --------------------------------------------------------------------------------

static void lose_unanswered(vntclient_group *g)
{
    each_member(g, [](group_member &m, size_t) {
        if (m.asked && m.status == VNTERR_CONNECTION_LOST)
            client_lose(m.env, "a call on the group failed here");
    });
}

int client_group_exchange(client_env *e, void *record, uint32_t response_id, const void **response)
{
    vntclient_group *g = e->group;
    e->groupcall = false;
    group_request request = {record, response_id, 0, {}};
    group_object *object;
    int rc = client_ready(e);
    if (rc == 0) rc = group_object_prepare(g, response_id, &object);
    if (rc != 0) return rc;
    handles_find(g, &request);
    members_ask(g, request);
    bool watched = group_run_is_watched(g, record);
    if (watched) client_flags(record) |= FLAG_ASYNCHRONOUS;
    send(g, &request);
    group_answers_receive(g, watched ? VNTMESSAGEID_ACK : response_id);
    if (watched) group_run_attend(g, e, response_id);
    group_object_keep(g, object);
    group_object_forget(g, request);
    lose_unanswered(g);
    *response = g->members[0].response;
    return *response != nullptr ? 0 : g->members[0].status;
}

} // namespace vnt
