#include "tools/visit.h"

#include <algorithm>
#include <chrono>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <thread>

namespace vnt {

// Seconds until a server that does not answer is out of reach.
static double patience(const session &s)
{
    return std::min(5.0, s.options.connecttimeout.value_or(5));
}

static const char *state_word(int state)
{
    switch (state) {
    case VNTCLIENT_RUNNING: return "running";
    case VNTCLIENT_PAUSED: return "paused";
    default: return "ended";
    }
}

// The solver reports its progress once a second.  Where no report came since the last visit, a
// second visit brings one.
static int state_ask(session &s)
{
    int state = VNTCLIENT_ENDED;
    for (int visits = 0; visits < 2; visits++) {
        int status = s.solver.vntclient_test(s.env, &state);
        if (status == VNTERR_BAD_ARGUMENT) return VNTCLIENT_ENDED; // its result was taken before
        session_check(s, status, s.options.ticketfile);
        if (state != VNTCLIENT_RUNNING || !s.past.samples().empty()) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    }
    return state;
}

// The latest known values of the samples together: an incumbent may be newer than the last look.
static progress_sample last_sample(const session &s)
{
    progress_sample last;
    for (const progress_sample &sample : s.past.samples()) {
        if (sample.event != "incumbent") last = sample;
        last.incumbent = sample.incumbent;
        last.gap = progress_gap(last.incumbent, last.bound);
    }
    last.seconds = s.shown.elapsed();
    return last;
}

static std::string status_text(const session &s, int state, const progress_sample &last)
{
    std::string text = fmt::format("State:       {}\nModel:       {}\nSolved by:   a worker of {}\n"
                                   "Started:     {:.0f} seconds ago\n",
                                   state_word(state), s.model, s.server, last.seconds);
    if (last.nodes || last.iterations) text += "Progress:  " + progress_text(last) + "\n";
    if (state == VNTCLIENT_ENDED)
        text += fmt::format("Result:      vntsolve --attach {}\n", s.options.ticketfile);
    return text;
}

static std::string status_json(const session &s, int state, const progress_sample &last)
{
    using json = nlohmann::ordered_json;
    json object = {{"schema", "vntsolve-status-1"},
                   {"version", VNT_VERSION},
                   {"state", state_word(state)},
                   {"model", s.model},
                   {"server", s.server},
                   {"started", fmt::format("{:%FT%TZ}", fmt::gmtime(s.started))}};
    json sample = json::parse(progress_json(last));
    sample.erase("event");
    object.update(sample);
    return object.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

std::string visit_status(session &s)
{
    session_attach(s, patience(s));
    const int state = state_ask(s);
    const progress_sample last = last_sample(s);
    session_leave(s);
    return s.options.json ? status_json(s, state, last) : status_text(s, state, last);
}

void visit_kill(session &s)
{
    static int stop = 1;
    session_attach(s, patience(s));
    s.solver.VNTLEsetasyncterminate(s.env, &stop);
    int status = s.solver.vntclient_joinresilient(s.env, 0, patience(s), nullptr, nullptr);
    if (status == VNTERR_CONNECTION_LOST) session_check(s, status, s.options.ticketfile);
    session_told(s); // the ticket goes when the worker has ended
}

} // namespace vnt
