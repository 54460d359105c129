// children.h: the server's records of its workers: four pipes, two pumps, a process and the socket
// of its client.
//
// A record is made before its process, whose pumps wait until it is known.  From then on it stands
// until the process has ended and the reaper, or the server's end, destroys it.
//
// Ownership: a record owns its descriptors, all noted in owned.h, its pump threads and its slab.
// The to-child pump alone replaces the client's socket and closes the worker's input early.
//
// Threads: the lock of a record guards what is marked so; it is taken after the server's lock.
// Everything else is set before the pumps start or belongs to the thread that the comment names.

#pragma once

#include "remote/handler/child.h"
#include "remote/server/slabs.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <pthread.h>
#include <sys/types.h>

namespace vnt {

// What `pending` says beside the descriptor of a client that is to be taken.
enum : int { PENDING_NONE = -1, PENDING_TEARDOWN = -2 };

struct server_child {
    server_child *next;  // under the server's lock
    worker_child worker; // the worker's ends; -1 in the server once the process is forked
    int requestfd;       // the worker's input; the to-child pump's
    int controlfd;
    int responsefd; // the worker's output
    int statusfd;
    int stopfd;   // readable once the pumps are to end
    int grace;    // milliseconds that a vanished client's worker has to say that it is parked
    size_t chunk; // how much the pumps read at once where they copy
    std::atomic<bool> copying; // else bytes go from socket to pipe and back without being looked at

    pthread_mutex_t lock; // guards everything down to the blank line
    pthread_cond_t changed;
    int32_t id;   // of the process; 0 until it is forked
    int client;   // its socket; the to-child pump and, while relaying, the other may read it freely
    int pending;  // the socket of a client that wants the worker, or one of PENDING_*
    bool stopped; // the worker has ended, or is being ended
    bool reaped;  // the process id is not ours any more
    bool relaying; // the from-child pump is passing bytes on, so that `client` must stay
    bool deaf;     // the client takes nothing any more: what the worker says is dropped
    bool drained;  // the from-child pump is at its end

    slab *memory;
    pthread_t pumps[2]; // to the child, from the child
    int npumps;
    int waiting; // pumps that have come to wait for the id
    int nlocks;  // of lock and changed, how many stand
};

// Makes a record with its pumps waiting.  `client` becomes the record's once it is started.
// Returns null when something could not be made, which has been logged.
server_child *child_create(int client, int grace);

// In the server, after fork(): closes the worker's ends and lets the pumps work.
void child_start(server_child *c, pid_t id);

// In the worker, after fork(), the lock of owned.h held: closes all descriptors of the server but
// the worker's ends.
void child_become(server_child *c);

// SIGKILL, unless the process has been collected already.
void child_kill(server_child *c);
void child_signal(server_child *c, int signal);

// Hands the worker to a client that says it has left it before.  `hello` is sent under the
// record's lock, ahead of everything that the worker may send.  Returns false when there already
// is such a client; the socket stays the caller's then.
bool child_handover(server_child *c, int client, const void *hello, size_t length);

// Says that the worker has ended, or is to end: waiting pumps wake up.
void child_stop(server_child *c);

// Waits until everything that the worker wrote has been passed on, but not beyond `deadline` of
// clock_ms().
void child_drain(server_child *c, int64_t deadline);

// Ends the pumps, closes everything, frees the record.  Takes any state that create can leave.
void child_destroy(server_child *c);

} // namespace vnt
