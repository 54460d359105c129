#include "remote/server/server.h"

#include "remote/base/log.h"
#include "remote/server/acceptor.h"
#include "remote/server/owned.h"
#include "remote/server/reaper.h"
#include "remote/server/signals.h"
#include "remote/server/title.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/resource.h>

namespace vnt {

// A server may be started with its standard descriptors closed.  If they stayed free, clients'
// sockets would get their numbers, and with them what is written to standard error.
static void standard_fds_occupy(void)
{
    int fd;
    do
        fd = open("/dev/null", O_RDWR);
    while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd >= 0) close(fd);
}

// A worker takes six descriptors of the server.
static void limit_raise(void)
{
    struct rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

// The signals are blocked first: all threads inherit that.
static int reaper_start(server *s)
{
    if (sem_init(&s->wakeup, 0, 0) != 0) {
        log_syscall("sem_init");
        return -1;
    }
    sigset_t before;
    signals_block(&before);
    errno = pthread_create(&s->reaper, nullptr, reaper_thread, s);
    if (errno == 0) return 0;
    log_syscall("thread_create");
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    sem_destroy(&s->wakeup);
    return -1;
}

static int server_start(server *s)
{
    fflush(stdout); // else every worker would print what is left in the buffer again
    limit_raise();
    title_prepare();
    if (owned_create() != 0) {
        log_syscall("malloc");
        return -1;
    }
    if (acceptor_open(s) != 0) return -1;
    if (status_open(s) != 0) return -1;
    s->started = clock_ms();
    options_write_pid(&s->options);
    errno = pthread_mutex_init(&s->lock, nullptr);
    if (errno == 0) return reaper_start(s);
    log_syscall("mutex_init");
    return -1;
}

static void server_undo(server *s)
{
    socketfile_remove(&s->file);
    socketfile_remove(&s->status.file);
    owned_close(s->status.listen_fd);
    owned_close(s->listen_fd);
    owned_close(s->reserve_fd);
    owned_destroy();
    options_release(&s->options);
}

// Accepts until the server is to end.  The reaper ends the process.
[[noreturn]] static void server_serve(server *s)
{
    signals_catch(s);
    acceptor_announce(s);
    if (!acceptor_serve(s)) {
        s->exit_status = -1;
        s->stop = 1;
        sem_post(&s->wakeup);
    }
    for (;;)
        sleep(100);
}

int server_run(const server_parts &parts, int argc, char **argv)
{
    static server record;
    server *s = &record;
    standard_fds_occupy();
    s->parts = parts;
    s->listen_fd = s->reserve_fd = s->status.listen_fd = -1;
    int rc = options_read(&s->options, argc, argv);
    if (rc == 0 && server_start(s) == 0) server_serve(s);
    server_undo(s);
    return rc > 0 ? 0 : -1;
}

} // namespace vnt
