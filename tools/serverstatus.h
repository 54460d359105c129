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

using texts = std::vector<std::string>;
using named_counts = std::vector<std::pair<std::string, uint64_t>>;

// Times are seconds, traffic and memory bytes.
struct worker_status {
    int id = 0; // of the process; 0 for a connection that has no worker yet
    std::string client, state;
#define WORKER(type, member, ...) type member{};
#include "remote/server/status.def"
    // What the system says where the server runs on this host.
    std::optional<double> cpu; // processor time since the start
    std::optional<uint64_t> memory;
};

struct server_status {
    std::string version, address;
    int pid = 0;
#define SERVER(type, member, ...) type member{};
#define SUM SERVER
#include "remote/server/status.def"
    std::vector<worker_status> workers;
};

// The names of a fact, as its row in status.def has them.
struct fact {
    const char *word = nullptr, *json = nullptr;
    const char *metric = nullptr, *help = nullptr, *label = nullptr;
};

// Call visit(fact, pointer to member) for each row of a server, or of a worker.
template <class Visit> void server_facts(Visit visit)
{
#define SERVER(type, member, word, json, value, ...)                                               \
    visit(fact{word, json, __VA_ARGS__}, &server_status::member);
#define SUM SERVER
#include "remote/server/status.def"
}

template <class Visit> void worker_facts(Visit visit)
{
#define WORKER(type, member, word, json, value, ...)                                               \
    visit(fact{word, json, __VA_ARGS__}, &worker_status::member);
#include "remote/server/status.def"
}

// Reads the document of the socket; lines and words that are not known are skipped.
server_status status_parse(const std::string &document);

// Asks a server, and the system for processor time and memory of its workers.
server_status status_fetch(const std::string &socket);

// Ends a worker.
void status_end(const std::string &socket, int id);

uint64_t counts_sum(const named_counts &counts);

} // namespace vnt
