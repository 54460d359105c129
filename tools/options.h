// options.h: what the user asked vntsolve to do.

#pragma once

#include "tools/exits.h"

#include <optional>
#include <string>
#include <vector>

namespace vnt {

struct server_address {
    std::string host;
    std::string port;
};

struct solve_options {
    std::string model;
    std::optional<server_address> server; // empty: solve in this process
    std::string solutionfile;             // these three empty: write none
    std::string basisfile;
    std::string modelfile;
    std::optional<double> timelimit;                         // seconds
    std::optional<double> connecttimeout;                    // seconds
    std::vector<std::pair<std::string, std::string>> params; // names and values, as written
    // Tickets, see ticket.h; empty where none is wanted.
    std::string detachfile;    // leave the worker with the solve, and write this
    std::string attachfile;    // attach to the solve that this leads to; `model` is empty then
    std::string resilientfile; // keep this while the solve runs
    bool quiet = false;
    bool json = false;
};

// Reads the command line and, where it names neither a server nor --local, the environment.
// Returns no options after --help, whose text has been printed.
// Errors: throws failure with EXIT_USAGE.
std::optional<solve_options> options_parse(int argc, const char *const *argv);

// HOST:PORT, HOST or [HOST]:PORT, split at the last colon; the port is 12345 when missing.
server_address address_parse(const std::string &text);

// HOST:PORT, with brackets around a host that has colons itself.
std::string address_text(const server_address &address);

} // namespace vnt
