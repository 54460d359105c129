// signals.h: what SIGHUP, SIGINT and SIGTERM, the stop signals, mean to the server, and to a
// worker.
//
// The stop signals and SIGCHLD are blocked in all threads of the server.  The main thread opens
// itself to the stop signals while it polls, so that they arrive nowhere else.
//
// Threads: the main thread alone.

#pragma once

#include <csignal>

namespace vnt {

struct server;

// Blocks them, before any thread is started, and gives back the mask that was.
void signals_block(sigset_t *before);

// From now on a stop signal sets the server's stop flag and wakes the reaper.  SIGPIPE and the two
// user signals, which monitors and log rotation like to send, are ignored.
void signals_catch(server *s);

// The calling thread's mask without the stop signals, for the time of a poll.
void signals_openmask(sigset_t *mask);

// Lets the stop signals in that have arrived.  A poll that finds a descriptor ready returns
// without doing so, hence under a flood of connections no signal would ever be seen.
void signals_take(void);

// In a new worker: the signals as a fresh process has them, but for SIGPIPE: a server that has
// gone is an error of its writes.
void signals_reset(void);

} // namespace vnt
