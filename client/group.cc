// The leader's request goes to every member.  It is one message to all when its objects have the
// same values in every worker, which is mostly so with workers of one server; else each member gets
// a message with its own values.  The answers are read as they arrive.
#include "client/group.h"

#include "client/async.h"
#include "client/connection.h"
#include "client/control.h"
#include "remote/base/clock.h"
#include "remote/base/entry.h"
#include "remote/calls/flags.h"
#include "remote/stream/fdio.h"
#include "remote/transport/group.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <poll.h>

namespace vnt {

// An environment of the group, and its part in the call under way.
struct group_member {
    client_env *env;      // null: out
    int status;           // of the last group call
    bool asked;           // takes part in the call
    bool waits;           // owes a message
    int64_t heard;        // when it last sent or was sent a message
    bool ending;          // it has been asked to end the call
    const void *response; // the leader's stays valid
    uint64_t created;     // its value of the object that the call has made
};

// A problem or network that a group call created.
struct group_object {
    group_object *next;
    client_kind kind;

    // Its value in each member, 0 where it failed.
    uint64_t *remotes() { return reinterpret_cast<uint64_t *>(this + 1); }
    const uint64_t *remotes() const { return reinterpret_cast<const uint64_t *>(this + 1); }
};

} // namespace vnt

struct vntclient_group {
    size_t count;
    vnt::group_member *members;
    pollfd *polls;   // room for as many as there are members
    uint8_t *states; // likewise
    vnt::group_object *objects;
    bool attending;           // inside the wait for calls of all
    vnt::transport_group *io; // over the members that are in; null when that has changed
};

namespace vnt {

// --- Members ---------------------------------------------------------------------------------

// Visits the members that are in.  A visit may end its member's part in the group.
template <class Visit> static void each_member(vntclient_group *g, Visit visit)
{
    for (size_t i = 0; i < g->count; i++)
        if (g->members[i].env != nullptr) visit(g->members[i], i);
}

template <class Holds> static bool any_member(const vntclient_group *g, Holds holds)
{
    return std::any_of(g->members, g->members + g->count,
                       [&](const group_member &m) { return m.env != nullptr && holds(m); });
}

static void io_drop(vntclient_group *g)
{
    if (g->io != nullptr) g->io->ops.destroy(g->io);
    g->io = nullptr;
}

// Makes the transport over all members; false when it cannot be made.
static bool io_make(vntclient_group *g)
{
    if (g->io != nullptr) return true;
    auto *list = static_cast<transport **>(calloc(g->count, sizeof(transport *)));
    if (list == nullptr) return false;
    int64_t n = 0;
    each_member(g, [&](group_member &m, size_t) { list[n++] = m.env->io; });
    int rc = tcpiptransport_getfactory()->mkgroup(&g->io, list, n);
    free(list);
    return rc == 0;
}

void client_group_leave(client_env *e)
{
    vntclient_group *g = e->group;
    if (g == nullptr) return;
    for (size_t i = 0; i < g->count; i++)
        if (g->members[i].env == e) g->members[i].env = nullptr;
    io_drop(g);
    e->group = nullptr;
    e->groupcall = false;
    if (g->attending) e->attending = false;
}

// --- What a request names and a response brings ----------------------------------------------

template <class Visit> static void each_field(const void *record, Visit visit)
{
    const message_layout *layout = catalogue_find(message_id(record));
    if (layout == nullptr) return;
    for (const message_field *f = layout->fields; f->kind != KIND_END; f++)
        visit(*f);
}

static client_kind kind_named(const message_field &f)
{
    if (f.kind != KIND_HANDLE) return CLIENT_NONE;
    if (strcmp(f.name, "env") == 0) return CLIENT_ENV;
    return strcmp(f.name, "net") == 0 ? CLIENT_NET : CLIENT_LP;
}

static client_kind kind_created(const message_field &f)
{
    if (strcmp(f.name, "outlp") == 0) return CLIENT_LP;
    return strcmp(f.name, "outnet") == 0 ? CLIENT_NET : CLIENT_NONE;
}

static int status_of(const void *response)
{
    int status = 0;
    each_field(response, [&](const message_field &f) {
        if (strcmp(f.name, "status") == 0 || strcmp(f.name, "status_p") == 0)
            status = field_at<int32_t>(response, f.offset);
    });
    return status;
}

// An object that the request names.
struct group_handle {
    uint16_t offset;
    client_kind kind;
    uint64_t leaders;           // its value in the leader
    const group_object *object; // null: the leader alone knows it
    char bytes[16];
};

// The leader's request.
struct group_request {
    void *record;
    uint32_t responseid;
    int nhandles;
    group_handle handles[4]; // an environment, a problem and a network at most
};

static const group_object *object_find(const vntclient_group *g, client_kind kind, uint64_t leaders)
{
    const group_object *o = g->objects;
    while (o != nullptr && (o->kind != kind || o->remotes()[0] != leaders))
        o = o->next;
    return o;
}

static void handles_find(const vntclient_group *g, group_request *r)
{
    each_field(r->record, [&](const message_field &f) {
        client_kind kind = kind_named(f);
        if (kind == CLIENT_NONE || r->nhandles == std::ssize(r->handles)) return;
        uint64_t leaders = client_value_take(&field_at<message_array>(r->record, f.offset));
        if (leaders != 0 || kind == CLIENT_ENV)
            r->handles[r->nhandles++] = {
                f.offset, kind, leaders, object_find(g, kind, leaders), {}};
    });
}

// The member's value of an object, 0 when it does not know it.
static uint64_t value_of(const vntclient_group *g, const group_handle &h, size_t member)
{
    if (h.kind == CLIENT_ENV) return g->members[member].env->remote;
    if (h.object != nullptr) return h.object->remotes()[member];
    return member == 0 ? h.leaders : 0;
}

static bool knows_all(const vntclient_group *g, const group_request &r, size_t member)
{
    return std::all_of(r.handles, r.handles + r.nhandles, [&](const group_handle &h) {
        return h.kind == CLIENT_ENV || value_of(g, h, member) != 0;
    });
}

static bool same_values(const vntclient_group *g, const group_request &r, size_t a, size_t b)
{
    return std::all_of(r.handles, r.handles + r.nhandles, [&](const group_handle &h) {
        return value_of(g, h, a) == value_of(g, h, b);
    });
}

static void values_put(const vntclient_group *g, group_request *r, size_t member)
{
    for (int i = 0; i < r->nhandles; i++) {
        group_handle &h = r->handles[i];
        uint64_t value = value_of(g, h, member);
        client_value_put(&field_at<message_array>(r->record, h.offset), h.bytes, value);
        if (h.kind == CLIENT_ENV && value == 0) client_flags(r->record) |= FLAG_USEDEFAULTS;
    }
}

// --- Sending ---------------------------------------------------------------------------------

// The call goes to the members that know all objects of the request.
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
    each_member(g, [&](group_member &m, size_t) { m.waits = g->states[n++] == MEMBER_ACTIVE; });
}

static void send_to_each(vntclient_group *g, group_request *r)
{
    each_member(g, [&](group_member &m, size_t i) {
        if (!m.asked) return;
        values_put(g, r, i);
        m.waits = m.env->io->ops.sendmsg(m.env->io, r->record) == 0;
    });
}

static void send(vntclient_group *g, group_request *r)
{
    for (size_t i = 0; i < g->count; i++)
        g->members[i].waits = false;
    size_t first;
    if (all_alike(g, *r, &first) && io_make(g))
        send_to_all(g, r, first);
    else
        send_to_each(g, r);
}

// --- Waiting ---------------------------------------------------------------------------------

// Drops the members whose silence has lasted for their read time-out.  Returns how long the others
// may stay silent, in seconds; negative: for ever.
static double drop_silent(vntclient_group *g)
{
    double shortest = -1;
    each_member(g, [&](group_member &m, size_t) {
        if (!m.waits || m.env->readtimeout < 0) return;
        double left = m.env->readtimeout / 1000.0 - clock_elapsed(m.heard);
        if (left <= 0)
            client_lose(m.env, "no answer within the read time-out");
        else if (shortest < 0 || left < shortest)
            shortest = left;
    });
    return shortest;
}

// Bytes that were read with an earlier message.
static bool read_ahead(const group_member &m)
{
    return static_cast<const fdio *>(m.env->io->io)->preread > 0;
}

static bool waits(const group_member &m)
{
    return m.waits;
}

// Waits up to so many seconds, negative for ever, until a member that waits has input.
static void await_input(vntclient_group *g, double seconds)
{
    double limit = drop_silent(g);
    if (!any_member(g, waits)) return;
    if (limit < 0 || (seconds >= 0 && seconds < limit)) limit = seconds;
    for (size_t i = 0; i < g->count; i++) {
        const group_member &m = g->members[i];
        bool awaited = m.env != nullptr && m.waits;
        g->polls[i] = {awaited ? m.env->io->infd : -1, POLLIN, 0};
        if (awaited && read_ahead(m)) limit = 0;
    }
    int ms = limit < 0 ? -1 : static_cast<int>(std::min(limit * 1000 + 0.999, 1e9));
    if (poll(g->polls, g->count, ms) <
        0) // interrupted, or short of memory: all are looked at later
        for (size_t i = 0; i < g->count; i++)
            g->polls[i].revents = 0;
}

// Receives one message of each member that has input; `take` gets the answers.
// Handlers that run meanwhile find every member busy.
template <class Take> static void receive_ready(vntclient_group *g, Take take)
{
    each_member(g, [](group_member &m, size_t) { m.env->receiving = true; });
    each_member(g, [&](group_member &m, size_t i) {
        if (!m.waits || (g->polls[i].revents == 0 && !read_ahead(m))) return;
        const void *message;
        m.heard = clock_now();
        if (client_receive(m.env, &message) != 0) return;
        m.env->receiving = true; // dispatching has cleared it
        if (message != nullptr) take(m, message);
    });
    each_member(g, [](group_member &m, size_t) { m.env->receiving = false; });
}

static void answer_take(group_member *m, const void *message, uint32_t responseid)
{
    m->waits = false;
    if (message_id(message) == VNTMESSAGEID_NAK) {
        m->status = client_refusal(message);
        return;
    }
    if (message_id(message) != responseid) return; // lose_unanswered() drops the member
    m->response = message;
    m->status = status_of(message);
    each_field(message, [&](const message_field &f) {
        if (kind_created(f) != CLIENT_NONE)
            m->created = client_value_take(&field_at<message_array>(message, f.offset));
    });
}

// Collects an answer from every member that has been asked.
static void answers_receive(vntclient_group *g, uint32_t responseid)
{
    each_member(g, [](group_member &m, size_t) { m.heard = clock_now(); });
    while (any_member(g, waits)) {
        await_input(g, -1);
        receive_ready(g, [responseid](group_member &m, const void *message) {
            answer_take(&m, message, responseid);
        });
    }
}

static void lose_unanswered(vntclient_group *g)
{
    each_member(g, [](group_member &m, size_t) {
        if (m.asked && m.status == VNTERR_CONNECTION_LOST)
            client_lose(m.env, "a call on the group failed here");
    });
}

// --- Calls in the background -----------------------------------------------------------------

static bool runs(const group_member &m)
{
    return m.env->started.running && m.env->started.state != VNTCLIENT_ENDED;
}

// Asks the members with running calls how these stand and takes the answers that come within so
// many seconds.  The answer of a member that is slower is taken by a later look.
static void look(vntclient_group *g, double seconds)
{
    each_member(g, [](group_member &m, size_t) {
        m.waits = false;
        if (!runs(m)) return;
        bool asks = m.env->owed == 0;
        if (asks) m.heard = clock_now();
        m.waits = !asks || client_control_post_test(m.env) == 0;
    });
    int64_t begin = clock_now();
    double left = seconds;
    do {
        await_input(g, std::max(left, 0.0));
        receive_ready(g, [](group_member &m, const void *) {
            client_lose(m.env, "the worker's answers are out of step");
        });
        each_member(g, [](group_member &m, size_t) { m.waits = m.waits && m.env->owed > 0; });
        left = seconds - clock_elapsed(begin);
    } while (left > 0 && any_member(g, waits));
}

// The pace of the looks, as in the wait for a single call.
static double pace(int64_t begin)
{
    return std::clamp(clock_elapsed(begin) / 16, 0.0005, 0.02);
}

// Whether any member may want to end its call.
static bool is_watched(vntclient_group *g, const void *request)
{
    return any_member(g, [request](const group_member &m) {
        return m.asked && client_call_iswatched(m.env, request);
    });
}

// The members that have taken up the call run it from now on.
static void run_begin(vntclient_group *g, uint32_t responseid)
{
    g->attending = true;
    each_member(g, [responseid](group_member &m, size_t) {
        if (m.response == nullptr) return;
        m.env->started = {};
        m.env->started.running = true;
        m.env->started.state = VNTCLIENT_RUNNING;
        m.env->started.response = responseid;
        m.env->limitsset = clock_now();
        m.env->attending = true;
        if (m.env->pausefunc != nullptr) client_control_limits(m.env, {1, VNTCLIENT_NONE});
    });
}

// The leader ends the call for all members, another member only for itself.
static void serve(vntclient_group *g, bool leader_ends)
{
    each_member(g, [leader_ends](group_member &m, size_t) {
        if (!runs(m)) return;
        if (!m.ending && (leader_ends || client_wants_end(m.env))) {
            m.ending = true;
            client_control_post_kill(m.env);
        } else if (m.env->started.state == VNTCLIENT_PAUSED) {
            m.env->started.state = VNTCLIENT_RUNNING;
            client_serve_pause(m.env, false);
        }
    });
}

// Asks for the answers of calls that have ended.
static void run_end(vntclient_group *g)
{
    each_member(g, [](group_member &m, size_t) {
        m.waits = m.env->attending && m.env->started.running;
        if (!m.waits) return;
        if (m.env->pausefunc != nullptr) client_control_limits(m.env, m.env->limits);
        if (m.env != nullptr) client_control_getresult(m.env); // else lost just now
    });
    each_member(g, [](group_member &m, size_t) { m.env->attending = false; });
    g->attending = false;
}

// Attends to a call that all members have been asked to run, until it has ended everywhere, and
// collects the answers.
static void attend(vntclient_group *g, client_env *leader, uint32_t responseid)
{
    int64_t begin = clock_now();
    run_begin(g, responseid);
    each_member(g, [](group_member &m, size_t) {
        m.status = m.response != nullptr ? VNTERR_CONNECTION_LOST : m.status;
        m.response = nullptr;
    });
    while (any_member(g, runs)) {
        serve(g, client_wants_end(leader));
        int64_t round = clock_now();
        double seconds = pace(begin);
        look(g, seconds);
        clock_sleep(seconds - clock_elapsed(round));
    }
    run_end(g);
    answers_receive(g, responseid);
}

// --- Objects ---------------------------------------------------------------------------------

// Allocates the record of the object that the call creates.  It does so before the call: afterwards
// a failure would lose the object.
static int object_prepare(const vntclient_group *g, uint32_t responseid, group_object **object)
{
    *object = nullptr;
    const message_layout *layout = catalogue_find(responseid);
    client_kind kind = CLIENT_NONE;
    for (const message_field *f = layout->fields; f->kind != KIND_END; f++)
        kind = std::max(kind, kind_created(*f));
    if (kind == CLIENT_NONE) return 0;
    void *block = calloc(1, sizeof(group_object) + g->count * sizeof(uint64_t));
    if (block == nullptr) return client_fail_memory();
    *object = static_cast<group_object *>(block);
    (*object)->kind = kind;
    return 0;
}

// Makes handles for the created object in the members; the leader's is made when the call ends.
static void object_keep(vntclient_group *g, group_object *object)
{
    if (object == nullptr || g->members[0].created == 0) {
        free(object);
        return;
    }
    each_member(g, [object](group_member &m, size_t i) {
        object->remotes()[i] = m.created;
        if (i == 0 || m.created == 0) return;
        if (client_handle_add(object->kind, m.env, m.created) == nullptr)
            m.status = client_fail_memory();
    });
    object->next = g->objects;
    g->objects = object;
}

static void object_drop(vntclient_group *g, const group_object *object)
{
    group_object **at = &g->objects;
    while (*at != nullptr && *at != object)
        at = &(*at)->next;
    if (*at == nullptr) return;
    group_object *gone = *at;
    *at = gone->next;
    free(gone);
}

// A freed object is forgotten everywhere; the leader's handle goes with the call's end.
static void object_forget(vntclient_group *g, const group_request &r)
{
    uint32_t id = message_id(r.record);
    if (id != VNTMESSAGEID_FREEPROB_REQ && id != VNTMESSAGEID_NETFREEPROB_REQ) return;
    if (r.nhandles == 0) return;
    const group_handle &h = r.handles[r.nhandles - 1];
    if (h.object == nullptr) return;
    each_member(g, [&](group_member &m, size_t i) {
        if (i == 0 || m.status != 0) return;
        client_handle_forget(client_handle_known(m.env, h.kind, value_of(g, h, i)));
    });
    if (g->members[0].status == 0) object_drop(g, h.object);
}

int client_group_exchange(client_env *e, void *record, uint32_t responseid, const void **response)
{
    vntclient_group *g = e->group;
    e->groupcall = false;
    group_request request = {record, responseid, 0, {}};
    group_object *object;
    int rc = client_ready(e);
    if (rc == 0) rc = object_prepare(g, responseid, &object);
    if (rc != 0) return rc;
    handles_find(g, &request);
    members_ask(g, request);
    bool watched = is_watched(g, record);
    if (watched) client_flags(record) |= FLAG_ASYNCHRONOUS;
    send(g, &request);
    answers_receive(g, watched ? VNTMESSAGEID_ACK : responseid);
    if (watched) attend(g, e, responseid);
    object_keep(g, object);
    object_forget(g, request);
    lose_unanswered(g);
    *response = g->members[0].response;
    return *response != nullptr ? 0 : g->members[0].status;
}

// --- What the caller sees --------------------------------------------------------------------

static void release(vntclient_group *g)
{
    io_drop(g);
    while (g->objects != nullptr)
        object_drop(g, g->objects);
    free(g->members);
    free(g->polls);
    free(g->states);
    free(g);
}

static vntclient_group *allocate(size_t count)
{
    auto *g = static_cast<vntclient_group *>(calloc(1, sizeof(vntclient_group)));
    if (g == nullptr) return nullptr;
    g->count = count;
    g->members = static_cast<group_member *>(calloc(count, sizeof(group_member)));
    g->polls = static_cast<pollfd *>(calloc(count, sizeof(pollfd)));
    g->states = static_cast<uint8_t *>(calloc(count, 1));
    if (g->members != nullptr && g->polls != nullptr && g->states != nullptr) return g;
    release(g);
    return nullptr;
}

// Joins the environments to the group; after an error those joined so far are to leave it.
static int join(vntclient_group *g, const VNTENVptr *envs)
{
    for (size_t i = 0; i < g->count; i++) {
        client_env *e;
        int rc = client_env_find_open(envs[i], &e);
        if (rc != 0) return rc;
        if (e->group != nullptr)
            return client_fail(VNTERR_BAD_ARGUMENT, "environment %zu is in a group already", i);
        g->members[i].env = e;
        e->group = g;
    }
    return 0;
}

static int create(int count, const VNTENVptr *envs, VNTCLIENTGROUPptr *out)
{
    if (count < 1 || envs == nullptr)
        return client_fail(VNTERR_BAD_ARGUMENT, "a group needs a member");
    vntclient_group *g = allocate(static_cast<size_t>(count));
    if (g == nullptr) return client_fail_memory();
    int rc = join(g, envs);
    if (rc == 0)
        *out = g;
    else
        vntclient_group_destroy(&g);
    return rc;
}

VNT_ENTRY VNTCLIENTGROUPptr vntclient_group_create(int count, const VNTENVptr *envs, int *status_p)
{
    VNTCLIENTGROUPptr group = nullptr;
    int rc = create(count, envs, &group);
    if (status_p != nullptr) *status_p = rc;
    return group;
}

VNT_ENTRY void vntclient_group_destroy(VNTCLIENTGROUPptr *group)
{
    if (group == nullptr || *group == nullptr) return;
    each_member(*group, [](group_member &m, size_t) {
        m.env->group = nullptr;
        m.env->groupcall = false;
    });
    release(*group);
    *group = nullptr;
}

VNT_ENTRY int vntclient_group_call(VNTCLIENTGROUPptr group)
{
    if (group == nullptr) return client_fail(VNTERR_NULL_POINTER, "the group is missing");
    client_env *leader = group->members[0].env;
    if (leader == nullptr) return client_fail(VNTERR_CONNECTION_LOST, "the group has no leader");
    if (leader->armed || leader->started.running)
        return client_fail(VNTERR_SOLVING, "the leader has started a call");
    leader->groupcall = true;
    return 0;
}

VNT_ENTRY int vntclient_group_statuses(VNTCLIENTGROUPptr group, int *statuses)
{
    if (group == nullptr || statuses == nullptr)
        return client_fail(VNTERR_NULL_POINTER, "an argument is missing");
    for (size_t i = 0; i < group->count; i++)
        statuses[i] = group->members[i].status;
    return 0;
}

VNT_ENTRY VNTLPptr vntclient_group_problem(VNTCLIENTGROUPptr group, VNTLPptr lp, int member)
{
    client_object object;
    if (group == nullptr || member < 0 || static_cast<size_t>(member) >= group->count)
        return nullptr;
    size_t i = static_cast<size_t>(member);
    if (group->members[i].env == nullptr || !client_handle_find(lp, CLIENT_LP, &object) ||
        object.env != group->members[0].env)
        return nullptr;
    group_handle h = {
        0, CLIENT_LP, object.remote, object_find(group, CLIENT_LP, object.remote), {}};
    uint64_t remote = value_of(group, h, i);
    if (remote == 0) return nullptr;
    return static_cast<VNTLPptr>(client_handle_known(group->members[i].env, CLIENT_LP, remote));
}

// The member whose call has ended, or was lost since it was marked as asked; -1 for none.
static int ended(const vntclient_group *g)
{
    for (size_t i = 0; i < g->count; i++) {
        const group_member &m = g->members[i];
        if (m.asked && (m.env == nullptr || !runs(m))) return static_cast<int>(i);
    }
    return -1;
}

VNT_ENTRY int vntclient_group_wait(VNTCLIENTGROUPptr group, int milliseconds, int *member_p)
{
    static constexpr double LEAST = 0.02; // seconds that the members have to answer a look
    if (group == nullptr || member_p == nullptr)
        return client_fail(VNTERR_NULL_POINTER, "an argument is missing");
    for (size_t i = 0; i < group->count; i++) {
        group_member &m = group->members[i];
        m.asked = m.env != nullptr && m.env->started.running;
    }
    double limit = std::max(milliseconds / 1000.0, LEAST);
    int64_t begin = clock_now();
    while ((*member_p = ended(group)) < 0 && any_member(group, runs)) {
        double left = milliseconds < 0 ? LEAST : limit - clock_elapsed(begin);
        if (left <= 0) break;
        int64_t round = clock_now();
        double seconds = std::min(left, pace(begin));
        look(group, seconds);
        if (ended(group) < 0) clock_sleep(seconds - clock_elapsed(round));
    }
    return 0;
}

} // namespace vnt
