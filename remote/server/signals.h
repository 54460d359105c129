// signals.h: the signals of the server and the worker.  SIGHUP, SIGINT and SIGTERM are the stop
// signals; SIGUSR2 lets the server end with its last worker.
//
// All of these and SIGCHLD are blocked in all threads of the server.  The main thread unblocks the
// stop signals while it polls, so that no other thread gets them; the reaper unblocks the others.
//
// Threads: the main thread alone, unless said otherwise.

#pragma once

#include <csignal>

namespace vnt {

struct server;

// Blocks them, before any thread is started, and stores the previous mask.
void signals_block(sigset_t *before);

// From now on a stop signal sets the server's stop flag and wakes the reaper, and so does SIGCHLD,
// which sets no flag.  SIGUSR2 sets the flag for draining.  SIGPIPE, SIGUSR1, which monitors and
// log rotation like to send, and SIGXFSZ, which a log at its limit brings, are ignored.
void signals_catch(server *s);

// Lets the calling thread, which is the reaper, get SIGCHLD and SIGUSR2.
void signals_take_children(void);

// The calling thread's mask without the stop signals, for a poll.
void signals_open_mask(sigset_t *mask);

// Delivers stop signals that are pending.  A poll that finds a descriptor ready does not, so under
// a flood of connections no signal would be delivered.
void signals_take(void);

// In a new worker: restores the default signals, except that SIGPIPE and SIGXFSZ stay ignored, so
// that a write to a server that has gone, or to a file that is full, fails instead.
void signals_reset(void);

} // namespace vnt
