#include "remote/server/acceptor.h"

#include "remote/base/io.h"
#include "remote/base/log.h"
#include "remote/base/socket.h"
#include "remote/server/allowed.h"
#include "remote/server/handshakes.h"
#include "remote/server/owned.h"
#include "remote/server/server.h"
#include "remote/server/signals.h"
#include "remote/server/spawn.h"
#include "remote/transport/tcpip.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <netdb.h>
#include <unistd.h>

namespace vnt {

static int listener_open(const struct addrinfo *address)
{
    static const unsigned longest = 128;
    int fd =
        owned_add(socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK,
                         address->ai_protocol));
    if (fd < 0) {
        log_syscall("socket");
        return -1;
    }
    int on = 1; // a server can be restarted on the same port at once
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const char *failed = nullptr;
    if (address->ai_addrlen > longest)
        fprintf(stderr, "Invalid address length (%u vs. %u)\n", address->ai_addrlen, longest);
    else if (bind(fd, address->ai_addr, address->ai_addrlen) != 0)
        failed = "bind";
    else if (listen(fd, SOMAXCONN) != 0)
        failed = "listen";
    else
        return fd;
    if (failed != nullptr) log_syscall(failed);
    owned_close(fd);
    return -1;
}

void acceptor_announce(const server *s)
{
    char name[SOCKNAM_SIZE];
    socknam(s->listen_fd, 0, name);
    if (log_level_get() == LOG_WARNING)
        fprintf(stderr, "Server started on %s\n", name);
    else
        log_line(LOG_INFO, "Server started on %s\n", name);
}

// Ports above 65535 would wrap around; reject them.
static bool port_is_valid(const char *text)
{
    return strtoul(text, nullptr, 10) <= UINT16_MAX;
}

static int file_listener_open(server *s)
{
    int fd = owned_add(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (fd < 0) {
        log_syscall("socket");
        return -1;
    }
    if (socketfile_listen(&s->file, fd, s->options.path, s->options.socket_mode) == 0) return fd;
    owned_close(fd);
    return -1;
}

static int network_listener_open(const server *s)
{
    struct addrinfo hints = {}, *found = nullptr;
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_V4MAPPED | AI_ADDRCONFIG | AI_NUMERICSERV;
    int code = EAI_SERVICE;
    if (port_is_valid(s->options.port))
        code = getaddrinfo(s->options.host, s->options.port, &hints, &found);
    if (code != 0) {
        int saved = errno;
        log_line(LOG_ERROR, "getaddrinfo: %d/%s\n", code, gai_strerror(code));
        errno = saved;
        log_syscall("getaddrinfo");
        return -1;
    }
    int fd = listener_open(found);
    freeaddrinfo(found);
    return fd;
}

int acceptor_open(server *s)
{
    const bool file = s->options.path != nullptr;
    s->listen_fd = file ? file_listener_open(s) : network_listener_open(s);
    if (s->listen_fd < 0) return -1;
    s->reserve_fd = owned_add(open("/dev/null", O_RDONLY | O_CLOEXEC));
    return 0;
}

// Milliseconds without accepting after a shortage of memory or descriptors.
static constexpr int PAUSE = 100;

static bool error_is_shortage(int code)
{
    return code == EMFILE || code == ENFILE || code == ENOBUFS || code == ENOMEM;
}

// Failures of one connection or of the network behind it; the listening socket still works.
static bool error_is_transient(int code)
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
    default: return error_is_shortage(code);
    }
}

static int client_accept(server *s)
{
    int fd = accept4(s->listen_fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    return owned_add(fd);
}

// Closing before the client's request is read would reset the connection, and the status might be
// lost.  The wait is short, because the descriptor is needed for the next connection.
static void client_refuse(handshakes *h, int fd)
{
    char dropped[16];
    h->counts.accepted++;
    handshake_refuse(h, fd, HANDSHAKE_NORESOURCES);
    if (io_wait(fd, POLLIN, -1, clock_after_ms(20)) > 0) (void)!read(fd, dropped, sizeof dropped);
    owned_close(fd);
}

// To refuse a connection takes a descriptor, so one is kept in reserve.
static void client_refuse_with_reserve(server *s, handshakes *h)
{
    owned_close(s->reserve_fd);
    int fd = client_accept(s);
    if (fd >= 0) client_refuse(h, fd);
    s->reserve_fd = owned_add(open("/dev/null", O_RDONLY | O_CLOEXEC));
}

static bool client_is_allowed(const server *s, int fd)
{
    sockaddr_storage peer = {};
    socklen_t length = sizeof peer;
    const server_options &o = s->options;
    if (o.nallowed == 0) return true;
    if (getpeername(fd, reinterpret_cast<sockaddr *>(&peer), &length) == 0 &&
        allowed_find(o.allowed, static_cast<size_t>(o.nallowed), &peer))
        return true;
    char name[SOCKNAM_SIZE];
    socknam(fd, 1, name);
    log_line(LOG_WARNING, "%s: refused, its address is not allowed\n", name);
    return false;
}

// Accepts the connections that wait.  Returns 0, the milliseconds to pause after a shortage, or -1
// when accepting failed for good.
static int clients_accept(server *s, handshakes *open)
{
    while (open->count < HANDSHAKES_MAX) {
        int fd = client_accept(s);
        if (fd >= 0 && !client_is_allowed(s, fd)) {
            owned_close(fd);
            open->counts.denied++;
            return 0; // so that a flood of them does not hold up the others
        }
        if (fd >= 0) {
            socket_tune(fd);
            handshakes_add(open, fd);
            continue;
        }
        int code = errno;
        if (code == EAGAIN || code == EWOULDBLOCK) return 0;
        log_syscall("accept");
        if (!error_is_transient(code)) return -1;
        if (code == EMFILE) client_refuse_with_reserve(s, open);
        return error_is_shortage(code) ? PAUSE : 0; // so that signals are checked before the next
    }
    return 0;
}

static int descriptors_poll(struct pollfd *fds, int count, int milliseconds)
{
    struct timespec wait = clock_span(milliseconds * CLOCK_MILLISECOND);
    sigset_t open;
    signals_open_mask(&open);
    return ppoll(fds, static_cast<nfds_t>(count), milliseconds >= 0 ? &wait : nullptr, &open);
}

// The listening socket is the first entry of the poll, or -1 while there is no room for a
// connection.
bool acceptor_serve(server *s)
{
    static handshakes open;
    open.timeout = s->options.action_timeout * int64_t(1000);
    open.actions = {s, spawn_worker, spawn_reconnect};
    int64_t resume = 0; // when accepting goes on
    for (;;) {
        signals_take();
        if (s->stop) return true;
        struct pollfd fds[1 + HANDSHAKES_MAX + STATUS_POLLED];
        struct pollfd *status_fds = fds + 1 + open.count;
        int wait = handshakes_poll(&open, fds + 1);
        int polled = 1 + open.count + status_poll(&s->status, status_fds, &wait);
        int64_t pause = resume - clock_ms();
        bool accepting = pause <= 0 && open.count < HANDSHAKES_MAX;
        if (pause > 0 && (wait < 0 || wait > pause)) wait = static_cast<int>(pause);
        fds[0] = {accepting ? s->listen_fd : -1, POLLIN, 0};
        if (descriptors_poll(fds, polled, wait) < 0) {
            log_line(LOG_DEBUG, "accept(): Interrupted system call [%d].\n", s->stop.load());
            continue;
        }
        status_serve(s, &open, status_fds);
        handshakes_serve(&open, fds + 1);
        if (s->stop || fds[0].revents == 0) continue;
        int paused = clients_accept(s, &open);
        if (paused < 0) return s->stop; // then the reaper has ended the listening
        if (paused > 0) resume = clock_ms() + paused;
    }
}

} // namespace vnt
