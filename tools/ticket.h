// ticket.h: the file with which a detached solve is taken up again.
//
// It holds the client library's record of the worker, after a few lines for people.
//
// Errors: throws failure with EXIT_UNREADABLE for a file that cannot be read or written, and with
// EXIT_MALFORMED for one that is no ticket.

#pragma once

#include <chrono>
#include <string>

namespace vnt {

struct ticket {
    std::string server; // its address
    std::string model;
    std::chrono::system_clock::time_point started;
    std::string record; // as vntclient_pack() made it
};

// Writes the file atomically: an existing one is replaced once the new one is on disk.
void ticket_write(const std::string &file, const ticket &t);

ticket ticket_read(const std::string &file);

} // namespace vnt
