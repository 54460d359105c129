#include "worker/server.h"

#include "tcpip/tcpip.h"
#include "worker/handshakes.h"
#include "worker/holders.h"
#include "worker/io.h"
#include "worker/log.h"
#include "worker/owned.h"
#include "worker/reaper.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <stdio_ext.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

static server theserver;

// Signals.  The server's own are blocked in all its threads; the main thread opens itself to them
// while it polls, so that they arrive nowhere else.

static void sighup_handler(int, siginfo_t *, void *)
{
    theserver.stop = 1;
    sem_post(&theserver.wakeup);
}

static void sigchild_handler(int, siginfo_t *, void *) {}

static constexpr int stopsignals[] = {SIGHUP, SIGINT, SIGTERM};

static void ownsignals(sigset_t *set)
{
    sigemptyset(set);
    sigaddset(set, SIGCHLD);
    for (int signal : stopsignals)
        sigaddset(set, signal);
}

static void handle(int signal, void (*handler)(int, siginfo_t *, void *), int flags)
{
    struct sigaction action = {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO | flags;
    if (sigaction(signal, &action, nullptr) != 0) log_syscall("sigaction");
}

static void catchsignals(void)
{
    handle(SIGCHLD, sigchild_handler, SA_RESTART);
    for (int signal : stopsignals)
        handle(signal, sighup_handler, 0);
    signal(SIGPIPE, SIG_IGN);
}

// A worker starts with the signals as a fresh process has them, but for SIGPIPE: a server that
// has gone is an error of its writes.
static void resetsignals(void)
{
    signal(SIGCHLD, SIG_DFL);
    for (int s : stopsignals)
        signal(s, SIG_DFL);
    sigset_t set;
    ownsignals(&set);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

// New workers.

static void resetlog(void)
{
    FILE *stream = log_getstream();
    if (stream != nullptr && stream != stderr) {
        __fpurge(stream); // what a full disk did not take is the server's
        fclose(stream);
    }
    log_setstream(stderr);
}

// A worker does not outlive its server, also where the server is killed.  The signal is bound to
// the thread that forks, which lasts as long as the server.
static void follow(pid_t serverid)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != serverid) _exit(0);
}

// Thousands of workers that fail in the same way are not to fill the disk.
static void limitcore(void)
{
    struct rlimit limit;
    if (log_getlevel() >= LOG_DEBUG || getrlimit(RLIMIT_CORE, &limit) != 0) return;
    limit.rlim_cur = 0;
    setrlimit(RLIMIT_CORE, &limit);
}

// The life of a worker's process.
[[noreturn]] static void live(server *s, server_child *c, const char *peer)
{
    worker_child *w = &c->worker;
    w->id = getpid();
    log_line(LOG_DEBUG, "%s: Child %d starts\n", peer, w->id);
    s->parts.worker(w, s->options.argc, s->options.argv);
    log_line(LOG_DEBUG, "%s: Child %d dies\n", peer, w->id);
    for (int fd : {w->infd, w->controlfd, w->outfd, w->statusfd})
        close(fd);
    log_line(LOG_DEBUG, "%s: Child %d died\n", peer, w->id);
    exit(0);
}

// Makes a process for the record; in the server returns as fork() does.  Not once the server is to
// end: whoever takes the list then takes all workers.
static pid_t fork_worker(server *s, server_child *c, const char *peer)
{
    pid_t serverid = getpid();
    mutex_holder hold(&s->lock);
    if (s->stop) {
        errno = ECANCELED;
        return -1;
    }
    owned_lock();
    log_lock();
    pid_t id = s->parts.fork();
    if (id == 0) {
        log_unlock(); // the server's other locks are never touched here
        child_become(c);
        follow(serverid);
        resetlog();
        resetsignals();
        limitcore();
        live(s, c, peer);
    }
    log_unlock();
    owned_unlock();
    if (id < 0) return id;
    child_start(c, id);
    c->next = s->children;
    s->children = c;
    return id;
}

static int start_worker(void *server_, int client, const char *peer)
{
    server *s = static_cast<server *>(server_);
    server_child *c = child_create(client, s->parts.grace);
    if (c == nullptr) return HANDSHAKE_NORESOURCES;
    pid_t id = fork_worker(s, c, peer);
    if (id < 0) {
        log_syscall("fork");
        c->client = -1; // the caller's still
        child_destroy(c);
        return HANDSHAKE_NOFORK;
    }
    log_line(LOG_DEBUG, "%s: Child %d started\n", peer, id);
    return HANDSHAKE_OK;
}

// Reconnecting clients.

static server_child *find_child(server *s, int32_t id)
{
    server_child *c = s->children;
    while (c != nullptr && c->id != id)
        c = c->next;
    return c;
}

// The id is compared by its low half alone.  It goes back as it came.
static int reconnect_worker(void *server_, int client, const unsigned char (&bytes)[8])
{
    server *s = static_cast<server *>(server_);
    int64_t number;
    unsigned char hello[10] = {0, HANDSHAKE_OK};
    memcpy(&number, bytes, sizeof bytes);
    memcpy(hello + 2, bytes, sizeof bytes);
    int32_t id = static_cast<int32_t>(number);

    mutex_holder hold(&s->lock);
    server_child *c = find_child(s, id);
    if (c == nullptr) {
        log_line(LOG_ERROR, "Child %d not found\n", id);
        return HANDSHAKE_NOTFOUND;
    }
    if (!child_handover(c, client, hello, sizeof hello)) {
        log_line(LOG_ERROR, "Child %d not disconnected\n", id);
        return HANDSHAKE_NOTPARKED;
    }
    log_line(LOG_DEBUG, "Reconnecting child %d\n", id);
    return HANDSHAKE_OK;
}

// Accepting.

// How long no connection is accepted after the system had nothing left for one.
static constexpr int PAUSE = 100;

static bool isshortage(int code)
{
    return code == EMFILE || code == ENFILE || code == ENOBUFS || code == ENOMEM;
}

// What went wrong with one connection, or with the network behind it, and not with listening.
static bool istransient(int code)
{
    switch (code) {
    case EINTR:
    case ECONNABORTED:
    case EPROTO:
    case EPERM:
    case ETIMEDOUT:
    case ENETDOWN:
    case ENETUNREACH:
    case ENOPROTOOPT:
    case EHOSTDOWN:
    case EHOSTUNREACH:
    case ENONET:
    case EOPNOTSUPP: return true;
    default: return isshortage(code);
    }
}

static int acceptone(server *s)
{
    int fd = accept4(s->listenfd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    return owned_add(fd);
}

// The descriptor is needed back, so the client gets no more than a moment to say what it wants:
// closing with that unread would reset the connection, and the status might be lost.
static void refusebriefly(int fd)
{
    char dropped[16];
    handshake_refuse(fd, HANDSHAKE_NORESOURCES);
    if (await_fd(fd, POLLIN, 20) > 0) (void)!read(fd, dropped, sizeof dropped);
    owned_close(fd);
}

// Without a descriptor a connection cannot even be refused: one is kept for that.
static void refusewithreserve(server *s)
{
    owned_close(s->reservefd);
    int fd = acceptone(s);
    if (fd >= 0) refusebriefly(fd);
    s->reservefd = owned_add(open("/dev/null", O_RDONLY | O_CLOEXEC));
}

// Takes the connections that wait.  Returns the milliseconds for which none is to be accepted,
// -1 when none ever will be.
static int acceptall(server *s, handshakes *open)
{
    while (open->count < HANDSHAKES_MAX) {
        int fd = acceptone(s);
        if (fd >= 0) {
            socket_tune(fd);
            handshakes_add(open, fd);
            continue;
        }
        int code = errno;
        if (code == EAGAIN || code == EWOULDBLOCK) return 0;
        log_syscall("accept");
        if (!istransient(code)) return -1;
        if (code == EMFILE) refusewithreserve(s);
        if (isshortage(code)) return PAUSE;
    }
    return 0;
}

static int pollall(struct pollfd *fds, int count, int milliseconds)
{
    struct timespec wait = {milliseconds / 1000, milliseconds % 1000 * 1000000};
    sigset_t opened;
    pthread_sigmask(SIG_SETMASK, nullptr, &opened);
    for (int signal : stopsignals)
        sigdelset(&opened, signal);
    return ppoll(fds, static_cast<nfds_t>(count), milliseconds >= 0 ? &wait : nullptr, &opened);
}

// Serves connections until the server is to end.  The listening socket is the first entry; it is
// passed over while there is no room for a connection.  Returns false when it failed.
static bool serve(server *s, handshakes *open)
{
    int64_t resume = 0; // when accepting goes on
    while (!s->stop) {
        struct pollfd fds[1 + HANDSHAKES_MAX];
        int wait = handshakes_poll(open, fds + 1);
        int64_t pause = resume - clock_ms();
        bool accepting = pause <= 0 && open->count < HANDSHAKES_MAX;
        if (pause > 0 && (wait < 0 || wait > pause)) wait = static_cast<int>(pause);
        fds[0] = {accepting ? s->listenfd : -1, POLLIN, 0};
        if (pollall(fds, 1 + open->count, wait) < 0) {
            log_line(LOG_DEBUG, "accept(): Interrupted system call [%d].\n", s->stop.load());
            continue;
        }
        handshakes_serve(open, fds + 1);
        if (fds[0].revents == 0) continue;
        int paused = acceptall(s, open);
        if (paused < 0) return false;
        if (paused > 0) resume = clock_ms() + paused;
    }
    return true;
}

// Starting up.

static int openlistener(const struct addrinfo *address)
{
    static const unsigned longest = 128;
    int fd =
        owned_add(socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK,
                         address->ai_protocol));
    if (fd < 0) {
        log_syscall("socket");
        return -1;
    }
    int on = 1; // the port of a server that has just gone can be taken at once
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const char *failed = nullptr;
    if (address->ai_addrlen > longest)
        fprintf(stderr, "Invalid address length (%u vs. %u)\n", address->ai_addrlen, longest);
    else if (bind(fd, address->ai_addr, address->ai_addrlen) != 0)
        failed = "bind";
    else if (listen(fd, 10) != 0)
        failed = "listen";
    else
        return fd;
    if (failed != nullptr) log_syscall(failed);
    owned_close(fd);
    return -1;
}

// Only now, that clients may come, they are told.
static void announce(int fd)
{
    char name[SOCKNAM_SIZE];
    socknam(fd, 0, name);
    if (log_getlevel() == LOG_WARNING)
        fprintf(stderr, "Server started on %s\n", name);
    else
        log_line(LOG_INFO, "Server started on %s\n", name);
}

static int startlistening(server *s)
{
    struct addrinfo hints = {}, *found = nullptr;
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_V4MAPPED | AI_ADDRCONFIG | AI_NUMERICSERV;
    int code = getaddrinfo(s->options.host, s->options.port, &hints, &found);
    if (code != 0) {
        int saved = errno;
        log_line(LOG_ERROR, "getaddrinfo: %d/%s\n", code, gai_strerror(code));
        errno = saved;
        log_syscall("getaddrinfo");
        return -1;
    }
    s->listenfd = openlistener(found);
    freeaddrinfo(found);
    if (s->listenfd < 0) return -1;
    s->reservefd = owned_add(open("/dev/null", O_RDONLY | O_CLOEXEC));
    announce(s->listenfd);
    return 0;
}

// A worker takes six descriptors here.
static void raiselimit(void)
{
    struct rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

// The signals are blocked first: all threads inherit that.
static int startreaper(server *s)
{
    if (sem_init(&s->wakeup, 0, 0) != 0) {
        log_syscall("sem_init");
        return -1;
    }
    sigset_t set, before;
    ownsignals(&set);
    pthread_sigmask(SIG_BLOCK, &set, &before);
    errno = pthread_create(&s->reaper, nullptr, reaper_thread, s);
    if (errno == 0) return 0;
    log_syscall("thread_create");
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    sem_destroy(&s->wakeup);
    return -1;
}

static int start(server *s)
{
    fflush(stdout); // or every worker would print what is left in it once more
    raiselimit();
    if (owned_create() != 0) {
        log_syscall("malloc");
        return -1;
    }
    if (startlistening(s) != 0) return -1;
    errno = pthread_mutex_init(&s->lock, nullptr);
    if (errno == 0) return startreaper(s);
    log_syscall("mutex_init");
    return -1;
}

static void undo(server *s)
{
    owned_close(s->listenfd);
    owned_close(s->reservefd);
    owned_destroy();
    options_release(&s->options);
}

// Accepts until the end.  The reaper ends the process.
[[noreturn]] static void run(server *s)
{
    static handshakes open;
    open.timeout = s->options.actiontimeout * int64_t(1000);
    open.actions = {s, start_worker, reconnect_worker};
    catchsignals();
    if (!serve(s, &open)) {
        s->exitstatus = -1;
        s->stop = 1;
        sem_post(&s->wakeup);
    }
    for (;;)
        sleep(100);
}

int server_run(const server_parts &parts, int argc, char **argv)
{
    server *s = &theserver;
    s->parts = parts;
    s->listenfd = s->reservefd = -1;
    int rc = options_read(&s->options, argc, argv);
    if (rc == 0 && start(s) == 0) run(s);
    undo(s);
    return rc > 0 ? 0 : -1;
}
