// resilient.cc: joining a call over networks that fail: the worker is left while the call runs.
#include "client/async.h"
#include "client/control.h"
#include "client/visit.h"
#include "remote/base/clock.h"
#include "remote/base/entry.h"

namespace vnt {

// Whether the solve has ended, what it needs, what the caller wants.  A control request that steers
// the solve makes the environment stay connected.
static int look_in(client_env *e, bool *ended, bool *ending, int (*look)(VNTENVptr env, void *data),
                   void *data)
{
    int state;
    int rc = client_control_test(e, &state);
    *ended = rc == 0 && state == VNTCLIENT_ENDED;
    if (rc != 0 || *ended) return rc;
    if (state == VNTCLIENT_PAUSED) rc = client_serve_pause(e, true);
    if (rc != 0 || *ending) return rc;
    *ending = (look != nullptr && look(e->handle, data) != 0) || client_wants_end(e);
    return *ending ? client_control_kill(e) : 0;
}

static int watch(client_env *e, double interval, double patience,
                 int (*look)(VNTENVptr env, void *data), void *data)
{
    bool ended = false, ending = false;
    for (;;) {
        int rc = look_in(e, &ended, &ending, look, data);
        if (rc == 0) rc = client_part(e, patience);
        if (rc != 0 || ended) return rc;
        clock_sleep(ending ? 0 : interval);
    }
}

VNT_ENTRY int vntclient_joinresilient(VNTENVptr env, double interval, double patience,
                                      int (*look)(VNTENVptr env, void *data), void *data)
{
    client_env *e;
    int rc = client_started_find(env, &e);
    if (rc != 0) return rc;
    if (e->attending) return client_fail(VNTERR_SOLVING, "the environment waits for a call");
    e->attending = e->returning = true;
    rc = watch(e, interval, patience, look, data);
    e->attending = e->returning = false;
    return rc == 0 ? client_started_finish(e) : rc;
}

} // namespace vnt
