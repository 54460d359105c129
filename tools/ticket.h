// ticket.h: the file that leads back to a worker that was left with a solve.
//
// It holds what the client's library needs to take over the worker, behind a few lines for people.
//
// Errors: throws failure with EXIT_UNREADABLE for a file that cannot be read or written, and with
// EXIT_MALFORMED for one that is no ticket.

#pragma once

#include <chrono>
#include <string>

namespace vnt {

struct ticket {
    std::string server; // HOST:PORT
    std::string model;
    std::chrono::system_clock::time_point started;
    std::string record; // as vntclient_pack() made it
};

// Writes it whole or not at all: a file of that name is replaced once the new one is on disk.
void ticket_write(const std::string &file, const ticket &t);

ticket ticket_read(const std::string &file);

} // namespace vnt
