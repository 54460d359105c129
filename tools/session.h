// session.h: an open solver with one problem, in this process or in a worker.
//
// Ownership: the session's end closes what it opened and ends its worker.  The worker stays when
// the session has left it, or when its result could not be reported: a ticket then leads back.
//
// Threads: one.
//
// Errors: throws failure.

#pragma once

#include "tools/display.h"
#include "tools/history.h"
#include "tools/options.h"
#include "tools/solverlib.h"
#include "tools/ticket.h"

namespace vnt {

// Seconds of retries when the server of a solve with a ticket cannot be reached.
constexpr double SESSION_PATIENCE = 86400;

struct session {
    const solve_options &options;
    solver_library solver;
    history past;
    display shown;
    std::string server;                            // its address, empty in this process
    std::string model;                             // for messages
    std::chrono::system_clock::time_point started; // the solve
    VNTENVptr env = nullptr;
    VNTLPptr lp = nullptr;
    bool saw_end = true;     // false: an attached solve had ended before
    bool unreported = false; // the result of a solve with a ticket is not yet reported
    bool reported = false;

    explicit session(const solve_options &options);
    ~session();
    session(const session &) = delete;
    session &operator=(const session &) = delete;
};

// Throws for a status other than 0, with the exit status for it and `what` in the message.
void session_check(const session &s, int status, const std::string &what);

// Opens the solver, without a problem.
void session_openenv(session &s);

// Opens the solver, sets the parameters and reads the model with what it begins from.
void session_open(session &s);

// Takes over a worker with its problem and the solve that runs there; it may be out of reach for
// `patience` seconds.
void session_attach(session &s, double patience);

// Makes the first keyboard interrupt stop the solve and the second end the program.  An attached
// solve goes on after the first one.
void session_watchinterrupt(session &s);

// The names of the columns, made up where the model has none.
std::vector<std::string> session_colnames(const session &s);

// Writes the ticket that leads back to the worker.
void session_writeticket(session &s, const std::string &file);

// Disconnects from the worker, which keeps the problem and the solve that was started.
void session_leave(session &s);

// Call it once the result has reached the user: its ticket goes when the worker has ended.
void session_told(session &s);

} // namespace vnt
