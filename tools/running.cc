#include "tools/running.h"

#include <algorithm>
#include <ctime>
#include <fmt/format.h>
#include <unistd.h>

static int optimize(session &s)
{
    switch (s.solver.VNTLgetprobtype(s.env, s.lp)) {
    case VNT_PROB_MIP:
    case VNT_PROB_MIQP:
    case VNT_PROB_MIQCP: return s.solver.VNTLmipopt(s.env, s.lp);
    case VNT_PROB_QP:
    case VNT_PROB_QCP: return s.solver.VNTLqpopt(s.env, s.lp);
    default: return s.solver.VNTLlpopt(s.env, s.lp);
    }
}

// In this process the solver calls often; only now and then somebody wants to see.
static int look_here(VNTENVptr env, void *cbdata, uint64_t, void *data)
{
    auto &s = *static_cast<session *>(data);
    vntmipprogress progress = {};
    if (s.shown.due() &&
        s.solver.VNTEgetasyncmipprogress(env, cbdata, 0, &progress, -VNTCLIENT_NONE) == 0)
        s.shown.progress(progress);
    return 0;
}

static int solve_here(session &s)
{
    if (!s.options.quiet)
        session_check(s, s.solver.VNTEsetpausecallbackfunc(s.env, look_here, &s), "progress");
    return optimize(s);
}

// An attached worker may have ended its solve; then nothing is shown.
static int look_there(VNTENVptr env, void *data)
{
    auto &s = *static_cast<session *>(data);
    vntmipprogress progress = {};
    if (s.shown.due() && s.solver.vntclient_progress(env, 0, &progress) == 0)
        s.shown.progress(progress);
    return session_interrupted();
}

static void nap(double milliseconds)
{
    timespec time = {0, static_cast<long>(milliseconds * 1e6)};
    nanosleep(&time, nullptr);
}

// A short solve is not kept waiting, a long one is not asked all the time.
static int join(session &s)
{
    bool killed = false;
    s.sawend = s.options.attachfile.empty();
    int state = VNTCLIENT_RUNNING;
    for (double wait = 1;; wait = std::min(2 * wait, 50.0)) {
        session_check(s, s.solver.vntclient_test(s.env, &state), s.model);
        if (state == VNTCLIENT_ENDED) return s.solver.vntclient_join(s.env);
        s.sawend = true;
        if (look_there(s.env, &s) != 0 && !killed) {
            session_check(s, s.solver.vntclient_kill(s.env), s.model);
            killed = true;
        }
        nap(wait);
    }
}

static constexpr double lookevery = 0.5;  // seconds between two looks of a resilient join
static constexpr double patience = 86400; // seconds for which an absent server is tried again

// The ticket is on disk before the solve begins, and gone when its result is here.
static int solve_resilient(session &s)
{
    session_check(s, s.solver.vntclient_start(s.env), s.model);
    session_writeticket(s, s.options.resilientfile);
    session_check(s, optimize(s), s.model);
    int status = s.solver.vntclient_joinresilient(s.env, lookevery, patience, look_there, &s);
    if (status != VNTERR_CONNECTION_LOST) unlink(s.options.resilientfile.c_str());
    return status;
}

static void start(session &s)
{
    session_check(s, s.solver.vntclient_start(s.env), s.model);
    session_check(s, optimize(s), s.model);
}

// Leaves at once; --attach finds the solve running or done.
static void detach(session &s)
{
    start(s);
    session_writeticket(s, s.options.detachfile);
    session_leave(s);
    if (!s.options.quiet)
        fmt::print(stderr, "{} is being solved on {}: vntsolve --attach {}\n", s.model, s.server,
                   s.options.detachfile);
}

static int solve_there(session &s)
{
    if (!s.options.resilientfile.empty()) return solve_resilient(s);
    if (s.options.attachfile.empty()) start(s);
    return join(s);
}

bool run(session &s)
{
    session_watchinterrupt(s);
    if (!s.options.detachfile.empty()) {
        detach(s);
        return false;
    }
    session_check(s, s.server.empty() ? solve_here(s) : solve_there(s), s.model);
    return true;
}
