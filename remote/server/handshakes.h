// handshakes.h: the server's side of the handshakes, many at a time.
//
// A client first sends an action; "reconnect" is followed by a worker's id.  Each number has a
// deadline, and all connections are polled together, so that none delays another.  A refused client
// gets a status, and a moment to read it before the connection is closed: closing with unread bytes
// would reset the connection, and the status might be lost.
//
// Ownership: connections are this module's until the server takes one.
// Threads: the main thread alone.
// Errors: a connection that fails is logged and closed.

#pragma once

#include "remote/base/clock.h"
#include "remote/base/socket.h"
#include "remote/transport/handshake.h"

#include <cstddef>
#include <cstdint>
#include <poll.h>

namespace vnt {

// Further connections wait in the system's queue.  The number is high because silent connections
// keep their places until their deadlines.
constexpr int HANDSHAKES_MAX = 1024;

// The server's actions for a connection.  Each returns a status of remote/transport/handshake.h;
// with 0 the server owns the connection.
struct handshake_actions {
    void *server;
    int (*new_worker)(void *server, int client, const char *peer);
    int (*reconnect)(void *server, int client, int64_t worker_id);
};

struct handshake {
    int fd;
    int64_t since; // of clock_ms(), of the connection
    enum { ACTION, ID, DRAIN } phase;
    unsigned char bytes[8]; // the number being received, `have` bytes of it so far
    size_t have;
    int64_t deadline; // of clock_ms()
    char peer[SOCKNAM_SIZE];
};

// How connections went: answers by status, and those that ended or waited without saying anything.
struct handshake_counts {
    uint64_t accepted, denied, silent;
    uint64_t answered[HANDSHAKE_NOACTION + 1];
};

struct handshakes {
    handshake open[HANDSHAKES_MAX];
    int count;
    int64_t timeout; // milliseconds for each number
    handshake_actions actions;
    handshake_counts counts; // the acceptor counts the denied ones
};

// Takes a fresh connection.  There must be room.
void handshakes_add(handshakes *h, int fd);

// One entry for each connection; returns the milliseconds until the first deadline, -1 for none.
int handshakes_poll(const handshakes *h, struct pollfd *fds);

// Serves the connections that are ready according to `fds`, filled as above and polled, and those
// whose time is up.  Returns after the first one that leaves the list: making its worker takes
// long, and new connections and signals must not wait for several.
void handshakes_serve(handshakes *h, const struct pollfd *fds);

// Answers with a status, without waiting for room, and counts it.
void handshake_refuse(handshakes *h, int fd, int status);

} // namespace vnt
