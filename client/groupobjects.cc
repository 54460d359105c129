#include "client/grouprecords.h"

#include "client/connection.h"

#include <cstdlib>

namespace vnt {

client_kind group_kind_created(const message_field &f)
{
    if (strcmp(f.name, "outlp") == 0) return CLIENT_LP;
    return strcmp(f.name, "outnet") == 0 ? CLIENT_NET : CLIENT_NONE;
}

const group_object *group_object_find(const vntclient_group *g, client_kind kind, uint64_t leaders)
{
    const group_object *o = g->objects;
    while (o != nullptr && (o->kind != kind || o->remotes()[0] != leaders))
        o = o->next;
    return o;
}

uint64_t group_value_of(const vntclient_group *g, const group_handle &h, size_t member)
{
    if (h.kind == CLIENT_ENV) return g->members[member].env->remote;
    if (h.object != nullptr) return h.object->remotes()[member];
    return member == 0 ? h.leaders : 0;
}

int group_object_prepare(const vntclient_group *g, uint32_t response_id, group_object **object)
{
    *object = nullptr;
    const message_layout *layout = catalogue_find(response_id);
    client_kind kind = CLIENT_NONE;
    for (const message_field *f = layout->fields; f->kind != KIND_END; f++)
        kind = std::max(kind, group_kind_created(*f));
    if (kind == CLIENT_NONE) return 0;
    void *block = calloc(1, sizeof(group_object) + g->count * sizeof(uint64_t));
    if (block == nullptr) return client_fail_memory();
    *object = static_cast<group_object *>(block);
    (*object)->kind = kind;
    return 0;
}

void group_object_keep(vntclient_group *g, group_object *object)
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

void group_object_drop(vntclient_group *g, const group_object *object)
{
    group_object **at = &g->objects;
    while (*at != nullptr && *at != object)
        at = &(*at)->next;
    if (*at == nullptr) return;
    group_object *gone = *at;
    *at = gone->next;
    free(gone);
}

void group_object_forget(vntclient_group *g, const group_request &r)
{
    uint32_t id = message_id(r.record);
    if (id != VNTMESSAGEID_FREEPROB_REQ && id != VNTMESSAGEID_NETFREEPROB_REQ) return;
    if (r.nhandles == 0) return;
    const group_handle &h = r.handles[r.nhandles - 1];
    if (h.object == nullptr) return;
    each_member(g, [&](group_member &m, size_t i) {
        if (i == 0 || m.status != 0) return;
        client_handle_forget(client_handle_known(m.env, h.kind, group_value_of(g, h, i)));
    });
    if (g->members[0].status == 0) group_object_drop(g, h.object);
}

} // namespace vnt
