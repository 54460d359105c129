#include "tools/running.h"

#include "tools/interrupt.h"
#include "tools/output.h"

#include <fmt/format.h>
#include <unistd.h>

namespace vnt {

typedef int (*solve_call)(VNTENVptr env, VNTLPptr lp);

static solve_call method(session &s)
{
    switch (s.solver.VNTLgetprobtype(s.env, s.lp)) {
    case VNT_PROB_MIP:
    case VNT_PROB_MIQP:
    case VNT_PROB_MIQCP: return s.solver.VNTLmipopt;
    case VNT_PROB_QP:
    case VNT_PROB_QCP: return s.solver.VNTLqpopt;
    default: return s.solver.VNTLlpopt;
    }
}

// The solver calls this far more often than the display is due.
static int look(VNTENVptr env, void *cbdata, uint64_t, void *data)
{
    auto &s = *static_cast<session *>(data);
    vntmipprogress progress = {};
    if (s.shown.due() &&
        s.solver.VNTEgetasyncmipprogress(env, cbdata, 0, &progress, -VNTCLIENT_NONE) == 0)
        s.shown.progress(progress);
    return 0;
}

static void watch_progress(session &s)
{
    if (!s.shown.wanted()) return;
    session_check(s, s.solver.VNTEsetpausecallbackfunc(s.env, look, &s), "progress");
}

// The ticket is written when the worker has taken the solve up, and before it is left: a process
// that is killed earlier leaves no ticket of a worker that ends with it.  vntclient_start() applies
// to the next solver call, so method(), which makes one, comes first.
static void start(session &s, const std::string &ticketfile)
{
    solve_call optimize = method(s);
    session_check(s, s.solver.vntclient_start(s.env), s.model);
    session_check(s, optimize(s.env, s.lp), s.model);
    session_writeticket(s, ticketfile);
}

static void detach(session &s)
{
    const std::string &file = s.options.detachfile;
    start(s, file);
    session_leave(s);
    if (s.options.quiet) return;
    output_note(
        fmt::format("{} is being solved on {}: vntsolve --attach {}\n", s.model, s.server, file));
}

static constexpr double absence = 0.5; // seconds between two visits to the worker

// The worker is disconnected nearly all the time, so that a broken network or the end of this
// process does not end the solve.  Each visit brings the solver's log, which shows the progress.
static int join(session &s)
{
    int status =
        s.solver.vntclient_joinresilient(s.env, absence, SESSION_PATIENCE, nullptr, nullptr);
    s.unreported = status == 0;
    return status;
}

static int solve_resilient(session &s)
{
    const std::string &file = s.options.resilientfile;
    start(s, file);
    int status = join(s);
    if (status != 0 && status != VNTERR_CONNECTION_LOST) unlink(file.c_str());
    return status;
}

static int wait_for_attached(session &s)
{
    int state = VNTCLIENT_ENDED;
    int status = s.solver.vntclient_test(s.env, &state);
    s.saw_end = state != VNTCLIENT_ENDED;
    s.unreported = status == VNTERR_BAD_ARGUMENT; // already joined: an earlier report of it failed
    if (s.unreported) return 0;
    return status == 0 ? join(s) : status;
}

static int solve_now(session &s)
{
    watch_progress(s);
    return method(s)(s.env, s.lp);
}

bool run(session &s)
{
    session_watchinterrupt(s);
    if (!s.options.detachfile.empty()) {
        detach(s);
        return false;
    }
    int status = s.options.action == solve_options::ATTACH ? wait_for_attached(s)
                 : !s.options.resilientfile.empty()        ? solve_resilient(s)
                                                           : solve_now(s);
    interrupt_release();
    session_check(s, status, s.model);
    return true;
}

} // namespace vnt
