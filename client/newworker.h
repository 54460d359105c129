// newworker.h: a connection to a new worker of the server that the caller's arguments name.
//
// New workers of a pool's clients spread over its servers: each client begins with one at random
// and goes round once, past those that refuse, cannot be reached or are silent for the connect
// time-out.
//
// Threads: any.
//
// Errors: 0 or VNTERR_*, as of environment.h.

#pragma once

#include "client/environment.h"

#include <cstddef>

namespace vnt {

// Connects as vntclient_open() says.  `place` becomes the server's address.
int client_worker_create(transport **io, char *place, size_t size, int argc,
                         const char *const *argv);

} // namespace vnt
