#include "remote/server/spawn.h"

#include "remote/base/holders.h"
#include "remote/base/log.h"
#include "remote/server/owned.h"
#include "remote/server/server.h"
#include "remote/server/signals.h"
#include "remote/server/title.h"
#include "remote/transport/handshake.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace vnt {

// A worker logs to standard error, even if the server logs to a file.
static void log_reset(server *s)
{
    log_fd_set(STDERR_FILENO);
    if (s->options.log_fd >= 0) close(s->options.log_fd);
}

// A worker does not outlive its server, even one that is killed.  The signal comes when the forking
// thread ends, which lives as long as the server.
static void server_follow(pid_t server_id)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != server_id) _exit(0);
}

// Thousands of workers that fail in the same way must not fill the disk.
static void core_limit(void)
{
    struct rlimit limit;
    if (log_level_get() >= LOG_DEBUG || getrlimit(RLIMIT_CORE, &limit) != 0) return;
    limit.rlim_cur = 0;
    setrlimit(RLIMIT_CORE, &limit);
}

// The main function of a worker's process.
[[noreturn]] static void worker_live(server *s, server_child *c, const char *peer)
{
    worker_child *w = &c->worker;
    w->id = getpid();
    title_set(peer, s->options.argc, s->options.argv);
    log_line(LOG_DEBUG, "%s: Child %d starts\n", peer, w->id);
    s->parts.worker(w, s->options.argc, s->options.argv);
    log_line(LOG_DEBUG, "%s: Child %d dies\n", peer, w->id);
    for (int fd : {w->infd, w->control_fd, w->outfd, w->status_fd})
        close(fd);
    log_line(LOG_DEBUG, "%s: Child %d died\n", peer, w->id);
    exit(0);
}

// Forks a process for the record and returns as fork() does.  Fails once the server is to end: the
// reaper then takes the list, which must have all workers.
static pid_t worker_fork(server *s, server_child *c, const char *peer)
{
    pid_t server_id = getpid();
    mutex_holder hold(&s->lock);
    if (s->stop || s->draining) {
        errno = ECANCELED;
        return -1;
    }
    owned_lock();
    pid_t id = s->parts.fork();
    if (id == 0) {
        child_become(c); // no lock of the server is touched here
        server_follow(server_id);
        log_reset(s);
        signals_reset();
        core_limit();
        worker_live(s, c, peer);
    }
    owned_unlock();
    if (id < 0) return id;
    child_start(c, id);
    c->next = s->children;
    s->children = c;
    return id;
}

// Why there may be no new worker; null if there may be one.
static const char *refusal_find(server *s)
{
    if (s->draining) return "the server ends with its last worker";
    if (s->options.worker_limit == 0) return nullptr;
    mutex_holder hold(&s->lock);
    int workers = 0;
    for (const server_child *c = s->children; c != nullptr; c = c->next)
        workers++;
    return workers >= s->options.worker_limit ? "there are as many workers as may be" : nullptr;
}

int spawn_worker(void *server_, int client, const char *peer)
{
    server *s = static_cast<server *>(server_);
    const char *refusal = refusal_find(s);
    if (refusal != nullptr) {
        log_line(LOG_WARNING, "%s: refused, %s\n", peer, refusal);
        return HANDSHAKE_NORESOURCES;
    }
    server_child *c =
        child_create(client, peer, {s->parts.grace, s->options.parked_limit * int64_t(1000)});
    if (c == nullptr) return HANDSHAKE_NORESOURCES;
    pid_t id = worker_fork(s, c, peer);
    if (id < 0) {
        log_syscall("fork");
        c->client = -1; // still the caller's
        child_destroy(c);
        return HANDSHAKE_NOFORK;
    }
    log_line(LOG_DEBUG, "%s: Child %d started\n", peer, id);
    return HANDSHAKE_OK;
}

static server_child *child_find(server *s, int32_t id)
{
    server_child *c = s->children;
    while (c != nullptr && c->id != id)
        c = c->next;
    return c;
}

// Sends the id back as it came.
int spawn_reconnect(void *server_, int client, int64_t worker_id)
{
    server *s = static_cast<server *>(server_);
    handshake_answer hello;
    size_t length = handshake_answer_put(hello, HANDSHAKE_OK, worker_id);
    int32_t id =
        static_cast<int32_t>(worker_id); // process ids have 32 bits; the others are ignored

    mutex_holder hold(&s->lock);
    server_child *c = child_find(s, id);
    if (c == nullptr) {
        log_line(LOG_ERROR, "Child %d not found\n", id);
        return HANDSHAKE_NOTFOUND;
    }
    if (!child_hand_over(c, client, hello, length)) {
        log_line(LOG_ERROR, "Child %d not disconnected\n", id);
        return HANDSHAKE_NOTPARKED;
    }
    log_line(LOG_DEBUG, "Reconnecting child %d\n", id);
    return HANDSHAKE_OK;
}

} // namespace vnt
