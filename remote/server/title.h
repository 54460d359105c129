// title.h: what ps shows as the command of a worker: its client's address.
//
// The title takes the place of the command line in the memory where the system reads it, and is cut
// to that length.
//
// Threads: that of a new worker, before it has others.

#pragma once

namespace vnt {

// Shows "NAME: CLIENT", NAME being that of the program.  `argv` gets a copy of its `argc` strings
// first, which may lie in that memory.  Nothing changes when there is no /proc or no memory.
void title_set(const char *client, int argc, char **argv);

} // namespace vnt
