// session.h: an open solver with one problem, in this process or in a worker.
//
// Ownership: what was opened is closed again with the session, and a worker ends with it, unless
// it was left before, or has a result that could not be told: then a ticket leads back to that.
//
// Threads: one.  The first interrupt from the keyboard stops a solve; the second ends the program.
//
// Errors: throws failure.

#pragma once

#include "tools/display.h"
#include "tools/options.h"
#include "tools/solverlib.h"
#include "tools/ticket.h"

namespace vnt {

struct session {
    const solve_options &options;
    solver_library solver;
    display shown;
    std::string server; // HOST:PORT, empty in this process
    std::string model;  // for messages
    VNTENVptr env = nullptr;
    VNTLPptr lp = nullptr;
    bool sawend = true;  // false: an attached solve had ended before
    bool untold = false; // there is a result that a ticket led to, and nobody has it yet

    explicit session(const solve_options &options);
    ~session();
    session(const session &) = delete;
    session &operator=(const session &) = delete;
};

// Throws for a status other than 0, with the exit status that befits it.
void session_check(const session &s, int status, const std::string &what);

// Opens the solver, sets the parameters and reads the model.
void session_open(session &s);

// Takes over a worker with its problem and the solve that runs there.
void session_attach(session &s);

// Makes keyboard interrupts stop the solve.
void session_watchinterrupt(session &s);

// Leaves the worker with the solve that was started; the ticket leads back.
void session_writeticket(session &s, const std::string &file);
void session_leave(session &s);

// The result of a solve has reached the user.
void session_told(session &s);

} // namespace vnt
