// status.h: tells what the server does, over a Unix-domain socket with a file of mode 0600.
//
// A client sends one line, "status" or "end ID", and gets an answer; then the connection is closed.
// One that ends its sending side or says nothing for STATUS_PATIENCE gets the status as well; one
// that leaves a line unfinished gets nothing.  "end" kills a worker, for the server's own user and
// root alone.
//
// The status is plain lines of a name and values, the last one is "end".  A name that a reader does
// not know is to be skipped: later versions may have more.
//
// No client holds the server: all of it is polled with the handshakes, answers wait in memory, and
// a client that does not read is dropped.
//
// Threads: the main thread alone, before and in its loop.
// Errors: a connection that fails is closed.

#pragma once

#include "remote/server/socketfile.h"

#include <cstddef>
#include <cstdint>
#include <poll.h>

namespace vnt {

struct server;
struct handshakes;

constexpr int STATUS_PATIENCE = 500; // milliseconds
constexpr int STATUS_MAX = 8;        // connections at a time; further ones wait
constexpr int STATUS_POLLED = 1 + STATUS_MAX;

struct status_client {
    int fd;
    char request[64];
    size_t have;  // bytes of it
    char *answer; // null until the request is there
    size_t length, sent;
    int64_t deadline; // of clock_ms(), for what is awaited next
};

struct status_port {
    int listen_fd; // -1 without the option
    socket_file file;
    status_client clients[STATUS_MAX];
    int count;
    int64_t resume; // of clock_ms(), when accepting goes on
};

// Listens where the options say.  Returns 0, also without the option, or -1.
int status_open(server *s);

// Fills entries for a poll, at most STATUS_POLLED, and returns how many; shortens the time that the
// poll may take, in milliseconds, -1 for any.
int status_poll(const status_port *p, struct pollfd *fds, int *wait);

// Serves what is ready according to the entries, and ends what has taken too long.
void status_serve(server *s, const handshakes *open, const struct pollfd *fds);

} // namespace vnt
