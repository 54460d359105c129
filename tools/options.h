// options.h: what the user asked vntsolve to do.

#pragma once

#include "tools/exits.h"

#include <optional>
#include <string>
#include <vector>

namespace vnt {

struct solve_options {
    // What to do, one of these; `model` or a ticket says with what.
    enum { SOLVE, ATTACH, STATUS, KILL, PARAMS, SWEEP } action = SOLVE;
    std::string model;                 // "-": standard input
    std::string format;                // of the model; empty: as its name ends
    std::optional<std::string> server; // its address; empty: solve in this process
    // Files; empty where none is wanted.
    std::string basisin, startin, paramsin;
    std::string solutionfile, basisfile, modelfile;
    std::string progressfile, reportfile;
    std::optional<double> timelimit;                         // seconds
    std::optional<double> connecttimeout;                    // seconds
    std::vector<std::pair<std::string, std::string>> params; // names and values, as written
    // Tickets, see ticket.h; empty where none is wanted.
    std::string detachfile;    // leave the worker with the solve, and write this
    std::string ticketfile;    // the solve that this leads to: of ATTACH, STATUS and KILL
    std::string resilientfile; // keep this while the solve runs
    // Of a sweep, see sweep.h.
    std::string sweepdirectory;
    std::string outputfile;
    std::optional<int> jobs; // solves at once
    bool quiet = false;
    bool json = false;
    bool solution = false; // in the JSON object
};

// Reads the command line and, where it names neither a server nor --local, the environment.
// Returns no options after --help and --version, whose text has been printed.
// Errors: throws failure with EXIT_USAGE.
std::optional<solve_options> options_parse(int argc, const char *const *argv);

// Checks the form of an address: HOST:PORT, split at the last colon, unix:PATH or @FILE.  Returns
// it, with port 12345 where only a HOST is given.
std::string address_parse(const std::string &text);

} // namespace vnt
