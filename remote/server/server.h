// server.h: the worker server: one process that gives every client a worker process of its own.
//
// The main thread accepts connections, serves their handshakes and forks; the reaper collects
// workers that have ended, and ends the server; two pumps per worker pass bytes.  Nothing that a
// worker or a client does ends the server.
//
// Threads: the server's lock guards the list of workers and the counts.  It is taken before a
// worker's lock; the lock of owned.h comes last.  The main thread holds the latter during fork(),
// and the server's until the new worker is in the list with its id.  So the worker starts with a
// consistent table of descriptors, uses no lock of the server, and is never looked up before it is
// in the list.

#pragma once

#include "remote/server/children.h"
#include "remote/server/options.h"
#include "remote/server/status.h"

#include <atomic>
#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

namespace vnt {

// The parts of a server that tests replace.
struct server_parts {
    void (*worker)(worker_child *child, int argc, char **argv); // the worker's main function
    // Milliseconds that a worker may idle after its client has vanished, or after its regular end,
    // before it is killed.
    int grace = 10000;
    pid_t (*fork)(void) = ::fork;
};

// Sums over workers.  Traffic is that of the workers that are not in the list any more.
struct server_counts {
    uint64_t ended[ENDS];
    byte_counts traffic;
};

struct server {
    server_parts parts;
    server_options options;
    pthread_mutex_t lock;
    server_child *children; // newest first
    server_counts counts;
    int64_t started;     // of clock_ms()
    server_child *ended; // being destroyed; this and the next belong to the reaper
    int64_t next_look;   // of clock_ms()
    int listen_fd;
    socket_file file;   // of listen_fd, where it is a Unix-domain socket
    status_port status; // belongs to the main thread
    int reserve_fd;     // closed for a moment to refuse a connection when descriptors run out
    std::atomic<int> stop;
    std::atomic<int> draining; // no new workers; the last one's end is the server's
    sem_t wakeup;              // posted once stop is set, and when a worker has ended
    pthread_t reaper;
    int exit_status;
};

// Runs the server.  Returns 0 after help, -1 when an option or listening failed; otherwise it ends
// the process.  One server per process.
int server_run(const server_parts &parts, int argc, char **argv);

} // namespace vnt
