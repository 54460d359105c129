#include "remote/handler/mipprogress.h"

#include "remote/base/holders.h"
#include "remote/calls/solver.h"
#include "remote/message/errors.h"

#include <cmath>
#include <cstdlib>

namespace vnt {

int mipprogress_create(mip_progress *p)
{
    return pthread_mutex_init(&p->lock, nullptr) == 0 ? 0 : MESSAGE_LOCK;
}

void mipprogress_destroy(mip_progress *p)
{
    free(p->record.sol);
    pthread_mutex_destroy(&p->lock);
}

// Room for a solution of the problem; null if memory is short.
static void make_room(mip_progress *p, VNTENVptr env, VNTLPptr lp)
{
    const auto getnumcols = SOLVER(VNTLgetnumcols);
    const int columns = getnumcols != nullptr ? getnumcols(env, lp) : 0;
    const size_t room = columns > 0 ? static_cast<size_t>(columns) : 1;
    p->record.sol = static_cast<double *>(calloc(room, sizeof(double)));
    p->room = p->record.sol != nullptr && columns > 0 ? columns : 0;
}

void mipprogress_begin(mip_progress *p, VNTENVptr env, VNTLPptr lp)
{
    const auto getobjsen = SOLVER(VNTLgetobjsen);
    const mutex_holder held(&p->lock);
    free(p->record.sol);
    p->record = {};
    p->room = 0;
    p->sense = 1.0;
    if (lp != nullptr) {
        if (getobjsen != nullptr && getobjsen(env, lp) == VNT_MAX) p->sense = -1.0;
        make_room(p, env, lp);
    }
    p->record.incumbent = p->injected = p->sense * WIRE_INFINITE;
}

void mipprogress_end(mip_progress *p)
{
    const mutex_holder held(&p->lock);
    free(p->record.sol);
    p->record.sol = nullptr;
    p->room = 0;
}

int mipprogress_take(mip_progress *p, VNTENVptr env, void *cbdata)
{
    const auto getprogress = SOLVER(VNTEgetasyncmipprogress);
    if (getprogress == nullptr) return 0;
    const mutex_holder held(&p->lock);
    const double reference = p->room < 1 ? -WIRE_INFINITE : p->record.incumbent;
    return getprogress(env, cbdata, p->room, &p->record, reference);
}

void mipprogress_offer(mip_progress *p, double objval)
{
    const mutex_holder held(&p->lock);
    p->injected = objval;
}

void mipprogress_inject(mip_progress *p, VNTENVptr env, void *cbdata)
{
    const auto progressinject = SOLVER(VNTEasyncprogressinject);
    if (progressinject == nullptr) return;
    const mutex_holder held(&p->lock);
    if (std::fabs(p->injected) < WIRE_INFINITE &&
        progressinject(env, cbdata, p->injected * p->sense, p->sense, WIRE_INFINITE) == 0)
        p->injected = WIRE_INFINITE * p->sense;
}

int mipprogress_pack(mip_progress *p, serializer *s)
{
    const mutex_holder held(&p->lock);
    return progress_pack(s, p->record, p->room);
}

} // namespace vnt
