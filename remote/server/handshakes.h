// handshakes.h: connections that have not said yet what they want.
//
// A client's first word is an action; "reconnect" is followed by a worker's id.  Each connection
// has a deadline of its own for each, and none keeps another waiting: all of them are polled at
// once.  Who is refused gets a status, and a moment to read it, before the connection is closed:
// closing with bytes unread would reset it, and the status might be lost.
//
// Ownership: connections are this module's until the server takes one.
// Threads: the main thread alone.

#pragma once

#include "remote/base/clock.h"
#include "remote/base/socket.h"

#include <cstddef>
#include <cstdint>
#include <poll.h>

namespace vnt {

// More than that wait in the system's queue.  It is many, as silent connections hold their places
// until their deadlines, and keep others out meanwhile.
constexpr int HANDSHAKES_MAX = 1024;

// What the server does for a connection.  Each returns a status of remote/transport/handshake.h:
// with 0 the connection has become the server's.
struct handshake_actions {
    void *server;
    int (*newworker)(void *server, int client, const char *peer);
    int (*reconnect)(void *server, int client, int64_t workerid);
};

struct handshake {
    int fd;
    enum { ACTION, ID, DRAIN } phase;
    unsigned char bytes[8]; // of the number that is awaited, `have` of them are here
    size_t have;
    int64_t deadline; // of clock_ms()
    char peer[SOCKNAM_SIZE];
};

struct handshakes {
    handshake open[HANDSHAKES_MAX];
    int count;
    int64_t timeout; // milliseconds for each number
    handshake_actions actions;
};

// Takes a fresh connection.  There must be room.
void handshakes_add(handshakes *h, int fd);

// One entry for each connection; returns the milliseconds until the first deadline, -1 for none.
int handshakes_poll(const handshakes *h, struct pollfd *fds);

// Goes on with the connections that `fds`, as filled above and then polled, says are ready, and
// with those whose time is up, up to the first that leaves: making a worker for it takes long
// enough for the system's short queue of connections to overflow, and who falls out of that waits
// for seconds.
void handshakes_serve(handshakes *h, const struct pollfd *fds);

// Answers with a status.  It is not worth waiting for.
void handshake_refuse(int fd, int status);

} // namespace vnt
