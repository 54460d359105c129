// children.h: the server's records of its workers: four pipes, two pumps, a process and the socket
// of its client.
//
// A record is made before its process, and its pumps wait until the process exists.  The reaper, or
// the server's end, destroys the record after the process has ended.
//
// Ownership: a record owns its descriptors, all noted in owned.h, its pump threads and its slab.
// The to-child pump alone replaces the client's socket and closes the worker's input early.
//
// Threads: the lock of a record guards the fields marked so; it is taken after the server's lock.
// All other fields are set before the pumps start or belong to the thread that their comment names.
// Counters have one writer each and may be read by any thread: every value of them is a true one of
// that moment or a little earlier.
//
// Errors: every failure is logged.

#pragma once

#include "remote/base/moment.h"
#include "remote/base/socket.h"
#include "remote/handler/child.h"
#include "remote/server/slabs.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <pthread.h>
#include <sys/types.h>

namespace vnt {

// Values of `pending` other than the socket of a waiting client.
enum : int { PENDING_NONE = -1, PENDING_TEARDOWN = -2 };

// Whether a worker's report on its status pipe is awaited, has been read, or will not come.
enum report_state { REPORT_AWAITED, REPORT_READ, REPORT_BROKEN };

// How a worker has ended, or why the server has killed it.
enum worker_end : int {
    END_SIGNAL, // the server knows no reason
    END_EXIT,
    END_REGULAR,
    END_VANISHED,
    END_LINGERING,
    END_FORGOTTEN,
    END_ORDERED,
    ENDS
};
struct end_text {
    const char *word;
    const char *reason; // for the log; null where the server did not kill it
};
inline constexpr end_text end_texts[ENDS] = {
    {"signal", nullptr},
    {"exit", nullptr},
    {"regular", nullptr},
    {"vanished", "its client has vanished"},
    {"lingering", "it did not exit after its regular end"},
    {"forgotten", "it was parked for longer than it may be"},
    {"ordered", "its end was ordered at the status socket"},
};

// An orphan's client has gone without leaving it; its end or its report is awaited.
enum child_state : int { CHILD_SERVING, CHILD_PARKED, CHILD_ORPHAN };

// Bytes from clients to workers, and back.
struct byte_counts {
    uint64_t received, relayed;
};

// A worker as others see it.  Times are of clock_ms().
struct child_view {
    int32_t id;
    child_state state;
    int64_t started, since, active; // of the process, of the state, of the last byte that moved
    byte_counts traffic;
    char peer[SOCKNAM_SIZE];
};

// A time that counts only while the worker can use it, in milliseconds: neither while a signal or a
// debugger has stopped it, nor, since a batch system may stop them all, while the server stands.
struct child_clock {
    int64_t looked; // of clock_ms()
    int64_t spent;
};

// The traffic between a worker and its client, and for how long nothing has moved.
struct child_traffic {
    int unread;       // bytes in the worker's input
    int held;         // and in its control pipe: it has not taken up its client yet
    int unsent;       // bytes in the client's socket that the client has not acknowledged
    uint64_t relayed; // bytes of the worker that the client's socket took
    child_clock idle;
};

// How long a worker may idle, in milliseconds.
struct child_limits {
    int grace;      // after its client has vanished or after its own end, see server.h
    int64_t parked; // while it waits for a client, 0 for any time
};

struct server_child {
    server_child *next;  // under the server's lock
    worker_child worker; // the worker's ends; -1 in the server once the process is forked
    int request_fd;      // the worker's input; belongs to the to-child pump
    int control_fd;
    int response_fd; // the worker's output
    int status_fd;
    int stop_fd;                    // readable once the pumps are to end
    int grace;                      // of its limits
    int64_t parked_limit;           // likewise
    int64_t started;                // of clock_ms()
    std::atomic<bool> copying;      // by read() and write() instead of splice()
    std::atomic<uint64_t> relayed;  // see child_traffic; the from-child pump writes it
    std::atomic<uint64_t> received; // bytes of the clients that its input took; the to-child pump's
    std::atomic<int64_t> active;    // of clock_ms(), when bytes last moved; both pumps write it

    report_state reported; // this and the next belong to the to-child pump
    int32_t report;        // 0 at a regular end, the worker's id when its client has left it
    child_traffic ending;  // after the worker's end; this and the next belong to the reaper
    byte_counts counted;   // what the server's sums have of them

    moment requests_soon;  // belongs to the to-child pump
    moment responses_soon; // belongs to the from-child pump

    pthread_mutex_t lock; // guards everything down to the blank line
    pthread_cond_t changed;
    int32_t id; // of the process; 0 until it is forked
    child_state state;
    int64_t since;     // of clock_ms(), of the state
    int client;        // its socket; for the to-child pump, and while `relaying` for the other
    int pending;       // the socket of a client that wants the worker, or one of PENDING_*
    bool left;         // its client has left it and sends nothing more
    bool stopped;      // the worker has ended, or is being ended
    bool reaped;       // collected: the system may give its id to another process
    bool relaying;     // the from-child pump is passing bytes on, so that `client` must stay
    bool discarding;   // the client takes nothing more; the worker's output is dropped
    bool drained;      // the from-child pump has ended
    int ended;         // how many pumps are done
    bool farewell;     // the worker has reported a regular end
    worker_end reason; // why the server has killed the worker; END_SIGNAL where it has not
    char peer[SOCKNAM_SIZE]; // the address of the last client

    slab *memory;
    pthread_t pumps[2]; // to the child, from the child
    int npumps;
    int waiting; // pumps that wait for the id
    int nlocks;  // how many of lock and changed are initialised
};

// Makes a record with its pumps waiting.  `client` becomes the record's once it is started.
// Returns null when something could not be made.
server_child *child_create(int client, const char *peer, child_limits limits);

// In the server, after fork(): closes the worker's ends and lets the pumps work.
void child_start(server_child *c, pid_t id);

// In the worker, after fork(), the lock of owned.h held: closes all descriptors of the server but
// the worker's ends.
void child_become(server_child *c);

// Sends a signal, unless the process has been collected already.
void child_signal(server_child *c, int signal);

// Sends SIGKILL.  The first reason other than END_SIGNAL is logged.
void child_kill(server_child *c, worker_end reason);

// Hands the worker to a client that reconnects.  `hello` is sent under the record's lock, ahead of
// everything that the worker may send.  Returns false, and the socket stays the caller's, if
// another client waits already.
bool child_hand_over(server_child *c, int client, const void *hello, size_t length);

// Marks that the worker has ended or is to end, and wakes waiting pumps.
void child_stop(server_child *c);

// Sets the state, under the record's lock.
void child_state_enter(server_child *c, child_state state);

child_view child_look(server_child *c);

// Ends the connection of a client that has not acknowledged what it was sent, see socket.h.
void child_drop_silent(server_child *c);

// Whether a worker that exited with status 0 had reported a regular end.
bool child_farewell(server_child *c);

// How often those who wait for the end of a grace look at the worker, in milliseconds.
int child_look_interval(const server_child *c);

// Starts a clock, and returns the milliseconds that it has counted.  Of the time since the last
// look at most two intervals count.
void child_clock_start(child_clock *t);
int64_t child_clock_read(const server_child *c, child_clock *t, int64_t interval);

// Start measuring, and return the milliseconds for which nothing has moved; to be called at each
// look interval.
void child_measure(server_child *c, child_traffic *t);
int64_t child_idle_time(server_child *c, child_traffic *t);

// Waits until everything that the worker wrote has been passed on, or until `deadline` of
// clock_ms().  Returns whether it has been.
bool child_drain(server_child *c, int64_t deadline);

// Ends the pumps, closes everything, frees the record.  Takes any state that create can leave.
void child_destroy(server_child *c);

} // namespace vnt
