#include "client/group.h"

#include "client/connection.h"
#include "client/grouprecords.h"
#include "client/visit.h"
#include "remote/base/entry.h"

#include <cstdlib>

namespace vnt {

void group_io_drop(vntclient_group *g)
{
    if (g->io != nullptr) g->io->ops.destroy(g->io);
    g->io = nullptr;
}

bool group_io_make(vntclient_group *g)
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
    group_io_drop(g);
    e->group = nullptr;
    e->groupcall = false;
    if (g->attending) e->attending = false;
}

// --- What the caller sees --------------------------------------------------------------------

static void release(vntclient_group *g)
{
    group_io_drop(g);
    while (g->objects != nullptr)
        group_object_drop(g, g->objects);
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
        if (rc == 0 && e->visiting) rc = client_stay(e, nullptr);
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
        0, CLIENT_LP, object.remote, group_object_find(group, CLIENT_LP, object.remote), {}};
    uint64_t remote = group_value_of(group, h, i);
    if (remote == 0) return nullptr;
    return static_cast<VNTLPptr>(client_handle_known(group->members[i].env, CLIENT_LP, remote));
}

} // namespace vnt
