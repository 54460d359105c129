#include "remote/server/children.h"

#include "remote/base/holders.h"
#include "remote/base/io.h"
#include "remote/base/log.h"
#include "remote/base/socket.h"
#include "remote/server/owned.h"
#include "remote/server/process.h"
#include "remote/server/pumps.h"
#include "remote/server/relay.h"
#include "remote/server/title.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vnt {

// All pipes of an unprivileged user share 64 MiB; beyond that a new one holds 8 KiB.  A few workers
// get large pipes for throughput; many must share what is left.
static constexpr int WIDE_PIPES = 1 << 20;
static constexpr int WIDE_CHILDREN = 24;
static constexpr int NARROW_PIPES = 4096;
static std::atomic<int> standing; // how many records there are

static constexpr int HELLO_TIME = 1000; // milliseconds for the answer to a returning client

static void fd_set_nonblocking(int fd)
{
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
}

// Makes a pipe between `worker`, which blocks, and `server`, which does not.  The system may give
// it another size.
static int pipe_make(int *read_end, int *write_end, int *server, int size)
{
    if (owned_pipe(read_end, write_end) != 0) return -1;
    if (size > 0) fcntl(*read_end, F_SETPIPE_SZ, size);
    fd_set_nonblocking(*server);
    return 0;
}

static int pipes_make(server_child *c)
{
    int data = standing <= WIDE_CHILDREN ? WIDE_PIPES : 0;
    int rc = pipe_make(&c->worker.infd, &c->request_fd, &c->request_fd, data);
    if (rc == 0)
        rc = pipe_make(&c->worker.control_fd, &c->control_fd, &c->control_fd, NARROW_PIPES);
    if (rc == 0) rc = pipe_make(&c->response_fd, &c->worker.outfd, &c->response_fd, data);
    if (rc == 0) rc = pipe_make(&c->status_fd, &c->worker.status_fd, &c->status_fd, NARROW_PIPES);
    if (rc == 0) rc = c->stop_fd = owned_add(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return rc < 0 ? -1 : 0;
}

static int locks_make(server_child *c)
{
    errno = pthread_mutex_init(&c->lock, nullptr);
    if (errno != 0) {
        log_syscall("mutex_init");
        return -1;
    }
    c->nlocks++;
    pthread_condattr_t attributes;
    errno = pthread_condattr_init(&attributes);
    if (errno == 0) {
        pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
        errno = pthread_cond_init(&c->changed, &attributes);
        pthread_condattr_destroy(&attributes);
    }
    if (errno != 0) {
        log_syscall("condition_init");
        return -1;
    }
    c->nlocks++;
    return 0;
}

// Starts a thread on a stack of the slab, or on one of its own if thread-local data does not leave
// enough of the small one.
static int pump_start(pthread_t *thread, char (&stack)[SLAB_STACK], void *(*body)(void *),
                      void *arg)
{
    pthread_attr_t attributes;
    int rc = pthread_attr_init(&attributes);
    if (rc != 0) return rc;
    pthread_attr_setstack(&attributes, stack, sizeof stack);
    rc = pthread_create(thread, &attributes, body, arg);
    pthread_attr_destroy(&attributes);
    return rc != EINVAL ? rc : pthread_create(thread, nullptr, body, arg);
}

static int pumps_start(server_child *c)
{
    void *(*const bodies[2])(void *) = {pump_tochild, pump_fromchild};
    for (; c->npumps < 2; c->npumps++) {
        int i = c->npumps;
        errno = pump_start(&c->pumps[i], c->memory->stacks[i], bodies[i], c);
        if (errno != 0) {
            log_syscall("thread_create");
            return -1;
        }
    }
    // A sanitizer locks its allocator while it registers a thread.  After a fork() at that time it
    // would stay locked in the worker.
    mutex_holder hold(&c->lock);
    while (SANITIZED && c->waiting < 2)
        pthread_cond_wait(&c->changed, &c->lock);
    return 0;
}

static int child_build(server_child *c)
{
    c->memory = slab_take();
    if (c->memory == nullptr) {
        log_syscall("malloc");
        return -1;
    }
    if (pipes_make(c) != 0) {
        log_syscall("pipe");
        return -1;
    }
    if (locks_make(c) != 0) return -1;
    return pumps_start(c);
}

server_child *child_create(int client, const char *peer, child_limits limits)
{
    server_child *c = static_cast<server_child *>(calloc(1, sizeof *c));
    if (c == nullptr) {
        log_syscall("malloc");
        return nullptr;
    }
    standing++;
    c->worker = {-1, -1, -1, -1, 0};
    c->request_fd = c->control_fd = c->response_fd = c->status_fd = c->stop_fd = -1;
    c->client = -1;
    c->pending = PENDING_NONE;
    c->grace = limits.grace;
    c->parked_limit = limits.parked;
    snprintf(c->peer, sizeof c->peer, "%s", peer);
    // At level 4 each read is logged, so reads are small enough to follow.
    c->copying = log_level_get() >= LOG_DEBUG;
    if (child_build(c) != 0) {
        child_destroy(c);
        return nullptr;
    }
    c->client = client;
    return c;
}

static void worker_ends_close(server_child *c)
{
    for (int *fd :
         {&c->worker.infd, &c->worker.outfd, &c->worker.status_fd, &c->worker.control_fd}) {
        owned_close(*fd);
        *fd = -1;
    }
}

void child_start(server_child *c, pid_t id)
{
    worker_ends_close(c);
    mutex_holder hold(&c->lock);
    c->id = id;
    c->started = c->since = c->active = clock_ms();
    pthread_cond_broadcast(&c->changed);
}

void child_become(server_child *c)
{
    int keep[] = {c->worker.infd, c->worker.outfd, c->worker.status_fd, c->worker.control_fd};
    owned_close_others(keep, 4);
}

void child_signal(server_child *c, int signal)
{
    mutex_holder hold(&c->lock);
    if (!c->reaped && c->id > 0) kill(c->id, signal);
}

void child_kill(server_child *c, worker_end reason)
{
    {
        mutex_holder hold(&c->lock);
        if (c->reason == END_SIGNAL) c->reason = reason;
    }
    child_signal(c, SIGKILL);
}

// What a client has said is still to be served when it has closed its side, but the client of a
// suspended worker has given up.
static bool pending_may_stay(const server_child *c)
{
    if (!socket_alive(c->pending)) return false;
    return !relay_is_over(c->pending, POLLRDHUP) || !process_is_stopped(c->id);
}

// Drops a waiting client that has gone.  Under the record's lock.
static void pending_drop_dead(server_child *c)
{
    if (c->pending < 0 || pending_may_stay(c)) return;
    owned_close(c->pending);
    c->pending = PENDING_NONE;
}

bool child_hand_over(server_child *c, int client, const void *hello, size_t length)
{
    mutex_holder hold(&c->lock);
    pending_drop_dead(c);
    if (c->pending != PENDING_NONE) return false;
    // Ten bytes into a fresh connection: there is room, or the client has gone.
    if (io_write_all(client, hello, length, c->stop_fd, clock_after_ms(HELLO_TIME)) != 0) {
        log_syscall("safe_write");
        owned_close(client); // with part of a greeting it would wait for ever
        return true;
    }
    c->pending = client;
    socknam(client, 1, c->peer);
    title_change(c->id, c->peer);
    // The old client's network may have failed without the system's knowledge.  This makes the
    // to-child pump read an end of file.
    if (c->left) shutdown(c->client, SHUT_RD);
    pthread_cond_broadcast(&c->changed);
    return true;
}

void child_stop(server_child *c)
{
    mutex_holder hold(&c->lock);
    c->stopped = true;
    if (c->pending >= 0) owned_close(c->pending);
    c->pending = PENDING_TEARDOWN;
    pthread_cond_broadcast(&c->changed);
}

void child_state_enter(server_child *c, child_state state)
{
    if (c->state == state) return;
    c->state = state;
    c->since = clock_ms();
}

child_view child_look(server_child *c)
{
    mutex_holder hold(&c->lock);
    child_view view = {c->id, c->state, c->started, c->since, c->active, {c->received, c->relayed},
                       {}};
    memcpy(view.peer, c->peer, sizeof view.peer);
    return view;
}

void child_drop_silent(server_child *c)
{
    mutex_holder hold(&c->lock); // the socket must stay
    socket_drop_silent(c->client);
}

bool child_farewell(server_child *c)
{
    mutex_holder hold(&c->lock);
    int bytes = 0;
    return c->farewell || (ioctl(c->status_fd, FIONREAD, &bytes) == 0 && bytes > 0);
}

int child_look_interval(const server_child *c)
{
    return c->grace / 10 + 1;
}

void child_clock_start(child_clock *t)
{
    *t = {clock_ms(), 0};
}

int64_t child_clock_read(const server_child *c, child_clock *t, int64_t interval)
{
    const int64_t now = clock_ms();
    if (!process_is_stopped(c->id)) t->spent += std::min(now - t->looked, 2 * interval);
    t->looked = now;
    return t->spent;
}

static child_traffic traffic_read(server_child *c)
{
    child_traffic now = {};
    mutex_holder hold(&c->lock); // the socket must stay
    ioctl(c->request_fd, FIONREAD, &now.unread);
    ioctl(c->control_fd, FIONREAD, &now.held);
    ioctl(c->client, SIOCOUTQ, &now.unsent);
    now.relayed = c->relayed;
    return now;
}

void child_measure(server_child *c, child_traffic *t)
{
    *t = traffic_read(c);
    child_clock_start(&t->idle);
}

static bool has_moved(const child_traffic &before, const child_traffic &now)
{
    return before.unread != now.unread || before.held != now.held || before.unsent != now.unsent ||
           before.relayed != now.relayed;
}

int64_t child_idle_time(server_child *c, child_traffic *t)
{
    const child_traffic now = traffic_read(c);
    if (!has_moved(*t, now)) return child_clock_read(c, &t->idle, child_look_interval(c));
    *t = now;
    child_clock_start(&t->idle);
    return 0;
}

bool child_drain(server_child *c, int64_t deadline)
{
    struct timespec end = clock_span(deadline * CLOCK_MILLISECOND);
    mutex_holder hold(&c->lock);
    int rc = 0;
    while (!c->drained && rc != ETIMEDOUT)
        rc = pthread_cond_timedwait(&c->changed, &c->lock, &end);
    return c->drained;
}

static void pumps_await(server_child *c)
{
    mutex_holder hold(&c->lock);
    while (c->ended < c->npumps)
        pthread_cond_wait(&c->changed, &c->lock);
}

static void pumps_end(server_child *c)
{
    if (c->npumps == 0) return;
    child_stop(c);
    eventfd_write(c->stop_fd, 1);
    pumps_await(c);
    // A join takes the thread off a list of the C library.  A fork() meanwhile would repair the
    // list in the new worker, where the stacks are empty: see slabs.h.
    owned_lock();
    for (; c->npumps > 0; c->npumps--)
        pthread_join(c->pumps[c->npumps - 1], nullptr);
    owned_unlock();
}

void child_destroy(server_child *c)
{
    pumps_end(c);
    worker_ends_close(c);
    for (int fd :
         {c->client, c->request_fd, c->control_fd, c->response_fd, c->status_fd, c->stop_fd})
        owned_close(fd);
    if (c->nlocks > 1) pthread_cond_destroy(&c->changed);
    if (c->nlocks > 0) pthread_mutex_destroy(&c->lock);
    slab_give(c->memory);
    free(c);
    standing--;
}

} // namespace vnt
