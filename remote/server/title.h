// title.h: what ps shows as the command of a worker: its client's address.
//
// The title takes the place of the command line in the memory where the system reads it, and is cut
// to that length.
//
// Threads: as each function says.

#pragma once

#include <sys/types.h>

namespace vnt {

// For the server, before it has threads and workers: finds that memory.  Without /proc the titles
// stay as they are.
void title_prepare(void);

// For the thread of a new worker, before it has others.  Shows "NAME: CLIENT", NAME being that of
// the program.  `argv` gets a copy of its `argc` strings first, which may lie in that memory.
// Nothing changes when there is no memory.
void title_set(const char *client, int argc, char **argv);

// For the server, in any thread: shows another client for a worker.  The title lies in the worker's
// memory where the server's own command line lies, which the fork has copied.  It stays as it was
// where the system forbids to write there.
void title_change(pid_t worker, const char *client);

} // namespace vnt
