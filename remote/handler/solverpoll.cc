#include "remote/handler/solverpoll.h"

#include "remote/base/holders.h"
#include "remote/calls/solver.h"
#include "remote/handler/asynccall.h"

namespace vnt {

// The terminate function looks for input on the first of every hundred calls.
static constexpr uint32_t POLL_EVERY = 100;

int solverpoll_create(solver_poll *p)
{
    return pthread_mutex_init(&p->lock, nullptr) == 0 ? 0 : MESSAGE_LOCK;
}

void solverpoll_destroy(solver_poll *p)
{
    pthread_mutex_destroy(&p->lock);
}

void solverpoll_install(handler *h, VNTENVptr env)
{
    solver_poll *p = &h->poll;
    if (h->io->ops.mustpoll(h->io) == 0) return;
    const auto getintparam = SOLVER(VNTLgetintparam);
    int threads = 0;
    const bool known = getintparam != nullptr && getintparam(env, VNT_PARAM_THREADS, &threads) == 0;
    p->single_threaded = known && threads == 1;
    p->owner = pthread_self();
    p->active = true; // only after the owner is set
    const auto setterminatefunc = SOLVER(VNTEsetterminatefunc);
    if (setterminatefunc != nullptr) setterminatefunc(env, asyncpollfunc, h);
}

void solverpoll_remove(handler *h, VNTENVptr env)
{
    if (!h->poll.active) return;
    const auto setterminatefunc = SOLVER(VNTEsetterminatefunc);
    if (setterminatefunc != nullptr) setterminatefunc(env, nullptr, nullptr);
    h->poll.active = false;
}

bool solverpoll_excludes(const solver_poll *p)
{
    return p->active && pthread_equal(p->owner, pthread_self()) == 0;
}

int solverpoll_serve(solver_poll *p, transport *io)
{
    const mutex_holder held(&p->lock);
    return async_poll(io);
}

int asyncpollfunc(VNTENVptr, void *data)
{
    auto *h = static_cast<handler *>(data);
    solver_poll *p = &h->poll;
    if (solverpoll_excludes(p) || synccall_is_nested()) return 0;
    if (p->calls.fetch_add(1) % POLL_EVERY != 0) return 0;
    if (p->single_threaded)
        async_poll(h->io);
    else
        solverpoll_serve(p, h->io);
    return 0;
}

} // namespace vnt
