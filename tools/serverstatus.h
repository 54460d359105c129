// serverstatus.h: what a server says at its status socket, and what the system says of its workers.
//
// Threads: any.
// Errors: throws failure: EXIT_CONNECTION where no server answers, EXIT_INTERNAL where it refuses.

#pragma once

#include "tools/exits.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vnt {

// Times are seconds, traffic and memory bytes.
struct worker_status {
    int id = 0; // of the process; 0 for a connection that has no worker yet
    std::string client, state;
    double instate = 0, age = 0, idle = 0;
    uint64_t in = 0, out = 0;
    // What the system says where the server runs on this host.
    std::optional<double> cpu; // processor time since the start
    std::optional<uint64_t> memory;
};

using named_counts = std::vector<std::pair<std::string, uint64_t>>;

struct server_status {
    std::string version, address;
    int pid = 0;
    double uptime = 0;
    bool draining = false;
    std::vector<std::string> options;
    uint64_t accepted = 0, served = 0, in = 0, out = 0;
    named_counts refused, ended;
    std::vector<worker_status> workers;
};

// Reads the document of the socket; lines and words that are not known are skipped.
server_status status_parse(const std::string &document);

// Asks a server, and the system for processor time and memory of its workers.
server_status status_fetch(const std::string &socket);

// Ends a worker.
void status_end(const std::string &socket, int id);

uint64_t counts_sum(const named_counts &counts);

} // namespace vnt
