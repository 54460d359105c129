// spawn.h: makes a new worker for a client, or hands it the one that it left.
//
// Threads: the main thread alone.  Errors: a status of tcpip.h; with 0 the connection has become
// the worker's.

#pragma once

#include <cstdint>

namespace vnt {

struct server;

// Forks a worker for the client.
int spawn_worker(void *server, int client, const char *peer);

// Hands the client to the worker of that id, of which only the low half counts.
int spawn_reconnect(void *server, int client, int64_t workerid);

} // namespace vnt
