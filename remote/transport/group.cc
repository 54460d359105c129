#include "remote/transport/group.h"

#include "remote/base/holders.h"
#include "remote/stream/fdiogroup.h"

#include <cstdlib>
#include <memory>

namespace vnt {

static constexpr transport_group_operations group_ops = {
    .sendmsg = fdtransportgroup_sendmsg,
    .recvone = fdtransportgroup_recvone,
    .getstate = fdtransportgroup_getstate,
    .setstate = fdtransportgroup_setstate,
    .destroy = fdtransportgroup_destroy,
};

typedef std::unique_ptr<transport_group, void (*)(transport_group *)> group_holder;

static bool alike(const transport *a, const transport *b)
{
    if (b == nullptr || b->tag != TRANSPORT_TAG || a->ncodecs != b->ncodecs) return false;
    for (int64_t i = 0; i < a->ncodecs; i++)
        if (!a->codecs[i]->ops.equal(a->codecs[i], b->codecs[i])) return false;
    return true;
}

static bool fit(transport *const *members, int64_t count)
{
    if (count < 1 || count > UINT32_MAX || members[0] == nullptr) return false;
    for (int64_t i = 0; i < count; i++)
        if (!alike(members[0], members[i])) return false;
    return true;
}

static int create_io(transport_group *g)
{
    std::unique_ptr<fdio *, void (*)(void *)> streams(
        static_cast<fdio **>(calloc(g->nmembers, sizeof(fdio *))), free);
    if (streams == nullptr) return MESSAGE_NOMEMORY;
    for (uint32_t i = 0; i < g->nmembers; i++)
        streams.get()[i] = static_cast<fdio *>(g->members[i]->io);
    return fdiogroup_create(&g->io, streams.get(), g->nmembers);
}

static int create_codecs(transport_group *g)
{
    const transport *first = g->members[0];
    size_t n = static_cast<size_t>(first->ncodecs);
    g->codecs = static_cast<codec **>(calloc(n > 0 ? n : 1, sizeof(codec *)));
    if (g->codecs == nullptr) return MESSAGE_NOMEMORY;
    for (size_t i = 0; i < n; i++) {
        codec *c = first->codecs[i];
        int rc = c->ops.mkmulticast(c, &g->codecs[i], g->io);
        if (rc != 0) return rc;
        g->ncodecs++; // only now: destroy takes down only what was made
    }
    return 0;
}

static int copy_members(transport_group *g, transport *const *members, uint32_t n)
{
    g->members = static_cast<transport **>(calloc(n, sizeof(transport *)));
    if (g->members == nullptr) return MESSAGE_NOMEMORY;
    for (; g->nmembers < n; g->nmembers++)
        g->members[g->nmembers] = members[g->nmembers];
    return 0;
}

int fdtransport_mkgroup(transport_group **out, transport *const *members, int64_t count)
{
    *out = nullptr;
    if (!fit(members, count)) return MESSAGE_INVALID;
    auto record = static_cast<transport_group *>(calloc(1, sizeof(transport_group)));
    if (record == nullptr) return MESSAGE_NOMEMORY;
    if (pthread_mutex_init(&record->sendlock, nullptr) != 0) {
        free(record);
        return MESSAGE_LOCK;
    }
    group_holder g(record, fdtransportgroup_destroy);
    int rc = copy_members(record, members, static_cast<uint32_t>(count));
    if (rc == 0) rc = create_io(record);
    if (rc == 0) rc = create_codecs(record);
    if (rc != 0) return rc;
    record->ops = group_ops;
    record->tag = TRANSPORTGROUP_TAG;
    *out = g.release();
    return 0;
}

int fdtransportgroup_sendmsg(transport_group *g, const void *message)
{
    mutex_holder hold(&g->sendlock);
    return codecs_send(g->codecs, g->ncodecs, message);
}

// What the callback for one member needs.
struct group_receive {
    transport_group *group;
    transport_group_callback callback;
    void *arg;
};

static int receive(void *arg, int64_t member, int *done)
{
    auto r = static_cast<const group_receive *>(arg);
    transport *t = r->group->members[member];
    void *message;
    int rc = t->ops.recvmsg(t, &message);
    return rc == 0 ? r->callback(t, message, r->arg, done) : rc;
}

int fdtransportgroup_recvone(transport_group *g, transport_group_callback callback, void *arg)
{
    group_receive r = {g, callback, arg};
    return fdiogroup_recvone(g->io, receive, &r);
}

void fdtransportgroup_getstate(transport_group *g, uint8_t *states)
{
    fdiogroup_getstate(g->io, states);
}

void fdtransportgroup_setstate(transport_group *g, const uint8_t *states)
{
    fdiogroup_setstate(g->io, states);
}

void fdtransportgroup_destroy(transport_group *g)
{
    if (g == nullptr) return;
    for (; g->ncodecs > 0; g->ncodecs--)
        g->codecs[g->ncodecs - 1]->ops.destroy(g->codecs[g->ncodecs - 1]);
    fdiogroup_destroy(g->io);
    pthread_mutex_destroy(&g->sendlock);
    free(g->codecs);
    free(g->members);
    free(g);
}

} // namespace vnt
