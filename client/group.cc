// The leader's request goes to every member: in one message to all when they know the objects it
// names by the same values, which workers of one server mostly do, else one by one with the
// member's own values put in.  The answers are read as they come.
#include "client/group.h"

#include "client/connection.h"
#include "client/messages.h"
#include "remote/base/clock.h"
#include "remote/base/entry.h"
#include "remote/calls/flags.h"
#include "remote/transport/group.h"

#include <algorithm>
#include <vector>

namespace vnt {

// A problem or network that a group call created: its value in each member, 0 where it failed.
struct group_object {
    client_kind kind;
    std::vector<uint64_t> remotes;
};

} // namespace vnt

struct vntclient_group {
    std::vector<vnt::client_env *> members; // null: out
    std::vector<int> statuses;
    std::vector<vnt::group_object> objects;
    bool armed;               // the leader's next call goes to all
    vnt::transport_group *io; // over the members that are in; null when that has changed
};

namespace vnt {

// --- Who is in -------------------------------------------------------------------------------

static std::vector<size_t> present(const vntclient_group *g)
{
    std::vector<size_t> list;
    for (size_t i = 0; i < g->members.size(); i++)
        if (g->members[i] != nullptr) list.push_back(i);
    return list;
}

static void dropio(vntclient_group *g)
{
    if (g->io != nullptr) g->io->ops.destroy(g->io);
    g->io = nullptr;
}

static int makeio(vntclient_group *g)
{
    if (g->io != nullptr) return 0;
    std::vector<transport *> list;
    for (size_t i : present(g))
        list.push_back(g->members[i]->io);
    int rc = tcpiptransport_getfactory()->mkgroup(&g->io, list.data(),
                                                  static_cast<int64_t>(list.size()));
    return rc == 0 ? 0 : client_fail(msg2vnt(rc), "%s", message_errortext(rc));
}

void client_group_leave(client_env *e)
{
    vntclient_group *g = e->group;
    if (g == nullptr) return;
    std::replace(g->members.begin(), g->members.end(), e, static_cast<client_env *>(nullptr));
    dropio(g);
    e->group = nullptr;
}

bool client_group_iscalled(const client_env *e)
{
    return e->group != nullptr && e->group->armed && e->group->members[0] == e;
}

void client_disarm(client_env *e)
{
    e->armed = false;
    if (client_group_iscalled(e)) e->group->armed = false;
}

// --- Messages --------------------------------------------------------------------------------

template <class Visit> static void eachfield(const void *record, Visit visit)
{
    const message_layout *layout = catalogue_find(message_id(record));
    if (layout == nullptr) return;
    for (const message_field *f = layout->fields; f->kind != KIND_END; f++)
        visit(*f);
}

// What a request names in a field.
static client_kind namedkind(const message_field &f)
{
    if (f.kind != KIND_HANDLE) return CLIENT_NONE;
    if (strcmp(f.name, "env") == 0) return CLIENT_ENV;
    return strcmp(f.name, "net") == 0 ? CLIENT_NET : CLIENT_LP;
}

// What a response brings in a field.
static client_kind createdkind(const message_field &f)
{
    if (strcmp(f.name, "outlp") == 0) return CLIENT_LP;
    return strcmp(f.name, "outnet") == 0 ? CLIENT_NET : CLIENT_NONE;
}

static int answerstatus(const void *response)
{
    int status = 0;
    eachfield(response, [&](const message_field &f) {
        if (strcmp(f.name, "status") == 0 || strcmp(f.name, "status_p") == 0)
            status = field_at<int32_t>(response, f.offset);
    });
    return status;
}

// The request's handle fields, with what each stands for in every member.
struct group_handle {
    uint16_t offset;
    client_kind kind;
    std::vector<uint64_t> remotes; // 0: the member does not know it
    char bytes[16];
};

static std::vector<uint64_t> membervalues(const vntclient_group *g, client_kind kind,
                                          uint64_t leaders)
{
    std::vector<uint64_t> remotes(g->members.size());
    if (kind == CLIENT_ENV) {
        for (size_t i : present(g))
            remotes[i] = g->members[i]->remote;
        return remotes;
    }
    for (const group_object &o : g->objects)
        if (o.kind == kind && o.remotes[0] == leaders) return o.remotes;
    remotes[0] = leaders;
    return remotes;
}

static std::vector<group_handle> requesthandles(const vntclient_group *g, const void *request)
{
    std::vector<group_handle> list;
    eachfield(request, [&](const message_field &f) {
        client_kind kind = namedkind(f);
        if (kind == CLIENT_NONE) return;
        uint64_t leaders = client_value_take(&field_at<message_array>(request, f.offset));
        if (leaders != 0 || kind == CLIENT_ENV)
            list.push_back({f.offset, kind, membervalues(g, kind, leaders), {}});
    });
    return list;
}

// --- Sending ---------------------------------------------------------------------------------

static bool alike(const std::vector<size_t> &who, const std::vector<group_handle> &handles)
{
    for (const group_handle &h : handles)
        for (size_t i : who)
            if (h.remotes[i] != h.remotes[who[0]]) return false;
    return true;
}

static void puthandles(void *request, std::vector<group_handle> &handles, size_t member)
{
    for (group_handle &h : handles) {
        client_value_put(&field_at<message_array>(request, h.offset), h.bytes, h.remotes[member]);
        if (h.kind == CLIENT_ENV && h.remotes[member] == 0)
            client_flags(request) |= FLAG_USEDEFAULTS;
    }
}

// Takes out of the list the members that do not know an object of the request.
static void dropignorant(vntclient_group *g, std::vector<size_t> &who,
                         const std::vector<group_handle> &handles)
{
    std::erase_if(who, [&](size_t i) {
        bool ignorant = std::any_of(handles.begin(), handles.end(), [i](const group_handle &h) {
            return h.kind != CLIENT_ENV && h.remotes[i] == 0;
        });
        if (ignorant) g->statuses[i] = VNTERR_NO_PROBLEM;
        return ignorant;
    });
}

// The states of the group's members, which are the group's that are in, in their order.
static void setstates(vntclient_group *g, const std::vector<size_t> &who)
{
    std::vector<uint8_t> states;
    for (size_t i : present(g)) {
        bool asked = std::find(who.begin(), who.end(), i) != who.end();
        states.push_back(asked ? MEMBER_ACTIVE : MEMBER_FINISHED);
    }
    g->io->ops.setstate(g->io, states.data());
}

static void send(vntclient_group *g, void *request, std::vector<group_handle> &handles,
                 std::vector<size_t> &who)
{
    if (alike(who, handles)) {
        puthandles(request, handles, who[0]);
        setstates(g, who);
        g->io->ops.sendmsg(g->io, request); // who failed is marked so
        return;
    }
    std::erase_if(who, [&](size_t i) {
        puthandles(request, handles, i);
        transport *io = g->members[i]->io;
        return io->ops.sendmsg(io, request) != 0; // its status stays "lost"
    });
    setstates(g, who);
}

// --- Receiving -------------------------------------------------------------------------------

struct group_answers {
    vntclient_group *g;
    uint32_t responseid;
    std::vector<const void *> responses; // by member; the leader's stays valid
    std::vector<uint64_t> created;       // values of an object that the call made
    client_kind kind;                    // of that object
};

static size_t memberof(const vntclient_group *g, const transport *io)
{
    size_t i = 0;
    while (g->members[i] == nullptr || g->members[i]->io != io)
        i++;
    return i;
}

static void takeanswer(group_answers *a, size_t member, const void *message)
{
    a->responses[member] = message;
    a->g->statuses[member] = answerstatus(message);
    eachfield(message, [&](const message_field &f) {
        if (createdkind(f) == CLIENT_NONE) return;
        a->kind = createdkind(f);
        a->created[member] = client_value_take(&field_at<message_array>(message, f.offset));
    });
}

static int onmessage(transport *io, void *message, void *arg, int *done)
{
    auto *a = static_cast<group_answers *>(arg);
    size_t member = memberof(a->g, io);
    bool passed = client_dispatch(a->g->members[member], message);
    a->g->members[member]->receiving = true; // dispatching has cleared it
    if (passed) {
        *done = 0;
        return 0;
    }
    if (message_id(message) == VNTMESSAGEID_NAK) {
        a->g->statuses[member] = client_refusal(message);
        return 0;
    }
    if (message_id(message) != a->responseid) return MESSAGE_IO;
    takeanswer(a, member, message);
    return 0;
}

// A callback that runs meanwhile finds every member busy.
static void setreceiving(const vntclient_group *g, bool receiving)
{
    for (size_t i : present(g))
        g->members[i]->receiving = receiving;
}

static void losefailed(vntclient_group *g, const std::vector<size_t> &who)
{
    for (size_t i : who)
        if (g->statuses[i] == VNTERR_CONNECTION_LOST)
            client_lose(g->members[i], "a call on the group failed here");
}

// --- Objects ---------------------------------------------------------------------------------

// What the call created gets handles in the members; the leader's is made by the call's end.
static void keepcreated(vntclient_group *g, const group_answers &a)
{
    if (a.created[0] == 0) return;
    for (size_t i : present(g)) {
        if (i == 0 || a.created[i] == 0) continue;
        client_handle_add(a.kind, g->members[i], a.created[i]);
    }
    g->objects.push_back({a.kind, a.created});
}

// A freed object is forgotten everywhere; the leader's handle goes with the call's end.
static void forgetfreed(vntclient_group *g, const void *request,
                        const std::vector<group_handle> &handles)
{
    uint32_t id = message_id(request);
    if (id != VNTMESSAGEID_FREEPROB_REQ && id != VNTMESSAGEID_NETFREEPROB_REQ) return;
    const group_handle &h = handles.back();
    for (size_t i : present(g))
        if (i != 0 && g->statuses[i] == 0)
            client_handle_forget(client_handle_known(g->members[i], h.kind, h.remotes[i]));
    if (g->statuses[0] != 0) return;
    std::erase_if(g->objects, [&](const group_object &o) {
        return o.kind == h.kind && o.remotes[0] == h.remotes[0];
    });
}

int client_group_exchange(client_env *e, void *request, uint32_t responseid, const void **response)
{
    vntclient_group *g = e->group;
    g->armed = false;
    std::fill(g->statuses.begin(), g->statuses.end(), VNTERR_CONNECTION_LOST);
    int rc = client_ready(e);
    if (rc == 0) rc = makeio(g);
    if (rc != 0) return rc;

    std::vector<size_t> who = present(g);
    std::vector<group_handle> handles = requesthandles(g, request);
    dropignorant(g, who, handles);
    std::vector<size_t> asked = who;
    group_answers answers = {g, responseid, std::vector<const void *>(g->members.size()),
                             std::vector<uint64_t>(g->members.size()), CLIENT_NONE};
    setreceiving(g, true);
    send(g, request, handles, who);
    g->io->ops.recvone(g->io, onmessage, &answers);
    setreceiving(g, false);
    keepcreated(g, answers);
    forgetfreed(g, request, handles);
    losefailed(g, asked);
    *response = answers.responses[0];
    return *response != nullptr ? 0 : g->statuses[0];
}

// --- What the caller sees --------------------------------------------------------------------

static int find(int count, const VNTENVptr *envs, std::vector<client_env *> &members)
{
    if (count < 1 || envs == nullptr)
        return client_fail(VNTERR_BAD_ARGUMENT, "a group needs a member");
    for (int i = 0; i < count; i++) {
        client_env *e;
        int rc = client_env_find(envs[i], &e);
        if (rc == 0) rc = client_ready(e);
        if (rc != 0) return rc;
        if (e->group != nullptr || std::find(members.begin(), members.end(), e) != members.end())
            return client_fail(VNTERR_BAD_ARGUMENT, "environment %d is in a group already", i);
        members.push_back(e);
    }
    return 0;
}

static int create(int count, const VNTENVptr *envs, VNTCLIENTGROUPptr *out)
{
    *out = nullptr;
    std::vector<client_env *> members;
    int rc = find(count, envs, members);
    if (rc != 0) return rc;
    auto *g = new vntclient_group{members, std::vector<int>(members.size()), {}, false, nullptr};
    rc = makeio(g);
    if (rc != 0) {
        delete g;
        return rc;
    }
    for (client_env *e : members)
        e->group = g;
    *out = g;
    return 0;
}

VNT_ENTRY VNTCLIENTGROUPptr vntclient_group_create(int count, const VNTENVptr *envs, int *status_p)
{
    VNTCLIENTGROUPptr group;
    int rc = create(count, envs, &group);
    if (status_p != nullptr) *status_p = rc;
    return group;
}

VNT_ENTRY void vntclient_group_destroy(VNTCLIENTGROUPptr *group)
{
    if (group == nullptr || *group == nullptr) return;
    vntclient_group *g = *group;
    for (size_t i : present(g))
        g->members[i]->group = nullptr;
    dropio(g);
    delete g;
    *group = nullptr;
}

VNT_ENTRY int vntclient_group_call(VNTCLIENTGROUPptr group)
{
    if (group == nullptr) return client_fail(VNTERR_NULL_POINTER, "the group is missing");
    client_env *leader = group->members[0];
    if (leader == nullptr) return client_fail(VNTERR_CONNECTION_LOST, "the group has no leader");
    if (leader->armed || leader->started.running)
        return client_fail(VNTERR_SOLVING, "the leader has started a call");
    group->armed = true;
    return 0;
}

VNT_ENTRY int vntclient_group_statuses(VNTCLIENTGROUPptr group, int *statuses)
{
    if (group == nullptr || statuses == nullptr)
        return client_fail(VNTERR_NULL_POINTER, "an argument is missing");
    std::copy(group->statuses.begin(), group->statuses.end(), statuses);
    return 0;
}

VNT_ENTRY VNTLPptr vntclient_group_problem(VNTCLIENTGROUPptr group, VNTLPptr lp, int member)
{
    client_object object;
    if (group == nullptr || member < 0 || static_cast<size_t>(member) >= group->members.size())
        return nullptr;
    size_t i = static_cast<size_t>(member);
    if (group->members[i] == nullptr || !client_handle_find(lp, CLIENT_LP, &object) ||
        object.env != group->members[0])
        return nullptr;
    uint64_t remote = membervalues(group, CLIENT_LP, object.remote)[i];
    if (remote == 0) return nullptr;
    return static_cast<VNTLPptr>(client_handle_known(group->members[i], CLIENT_LP, remote));
}

// Looks at the running members in turn.  Returns whether any is running.
static bool look(VNTCLIENTGROUPptr group, int *member_p)
{
    bool running = false;
    for (size_t i : present(group)) {
        client_env *e = group->members[i];
        if (!e->started.running) continue;
        running = true;
        int state;
        int rc = vntclient_test(e->handle, &state);
        if (rc == 0 && state != VNTCLIENT_ENDED) continue;
        *member_p = static_cast<int>(i); // joining one that was lost says so
        return true;
    }
    return running;
}

VNT_ENTRY int vntclient_group_wait(VNTCLIENTGROUPptr group, int milliseconds, int *member_p)
{
    if (group == nullptr || member_p == nullptr)
        return client_fail(VNTERR_NULL_POINTER, "an argument is missing");
    *member_p = -1;
    int64_t begin = clock_now();
    while (look(group, member_p) && *member_p < 0) {
        double gone = clock_elapsed(begin);
        if (milliseconds >= 0 && gone * 1000 >= milliseconds) break;
        clock_sleep(std::clamp(gone / 16, 0.0005, 0.02));
    }
    return 0;
}

} // namespace vnt
