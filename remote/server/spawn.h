// spawn.h: makes a new worker for a client, or hands over the worker that it left.
//
// Threads: the main thread alone.  Errors: a status of handshake.h; with 0 the worker owns the
// connection.

#pragma once

#include <cstdint>

namespace vnt {

struct server;

// Forks a worker for the client.
int spawn_worker(void *server, int client, const char *peer);

// Hands the client to the worker of that id, of which the low 32 bits count.
int spawn_reconnect(void *server, int client, int64_t worker_id);

} // namespace vnt
