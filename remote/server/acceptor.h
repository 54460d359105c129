// acceptor.h: the listening socket, and serving the connections that come through it.
//
// Threads: the main thread alone.

#pragma once

namespace vnt {

struct server;

// Listens where the options say.  Returns 0, or -1 when that failed, which has been said.
int acceptor_open(server *s);

// Says where, now that clients may come.
void acceptor_announce(const server *s);

// Serves connections, none of which keeps another waiting, until the server is to end.  Returns
// false when listening failed.
bool acceptor_serve(server *s);

} // namespace vnt
