#include "bench/relay.h"

#include "test/process.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace vnt {

static constexpr size_t blocksize = 65536;

struct order {
    uint64_t up;
    uint64_t down;
};

// For system calls that fail only when the machine is in trouble.
static int must(int result, const char *what)
{
    if (result >= 0) return result;
    perror(what);
    _exit(1);
}

// Reads what comes first.  Before it sleeps it looks for a moment, if `polls` is set and the
// descriptor does not block.
static ssize_t read_some(int fd, char *bytes, size_t n, bool polls)
{
    static constexpr auto moment = std::chrono::microseconds(50);
    ssize_t got = read(fd, bytes, n);
    if (got >= 0 || !polls) return got;
    auto end = std::chrono::steady_clock::now() + moment;
    while (got < 0 && errno == EAGAIN && std::chrono::steady_clock::now() < end) {
        sched_yield();
        got = read(fd, bytes, n);
    }
    pollfd p = {fd, POLLIN, 0};
    while (got < 0 && errno == EAGAIN) {
        poll(&p, 1, -1);
        got = read(fd, bytes, n);
    }
    return got;
}

static bool read_all(int fd, char *bytes, size_t n, bool polls)
{
    while (n > 0) {
        ssize_t got = read_some(fd, bytes, n, polls);
        if (got <= 0) return false;
        bytes += got;
        n -= static_cast<size_t>(got);
    }
    return true;
}

static bool write_all(int fd, const char *bytes, size_t n)
{
    while (n > 0) {
        ssize_t written = write(fd, bytes, n);
        pollfd p = {fd, POLLOUT, 0};
        if (written < 0 && errno == EAGAIN && poll(&p, 1, -1) > 0) continue;
        if (written <= 0) return false;
        bytes += written;
        n -= static_cast<size_t>(written);
    }
    return true;
}

static void pump(int from, int to, bool polls)
{
    std::vector<char> block(blocksize);
    ssize_t n;
    while ((n = read_some(from, block.data(), block.size(), polls)) > 0)
        if (!write_all(to, block.data(), static_cast<size_t>(n))) break;
}

// The process behind the pipes.  It takes a small request with one read.
static void serve(int in, int out)
{
    std::vector<char> block(blocksize);
    ssize_t n;
    while ((n = read(in, block.data(), block.size())) >= static_cast<ssize_t>(sizeof(order))) {
        order o;
        memcpy(&o, block.data(), sizeof o);
        for (o.up -= static_cast<uint64_t>(n); o.up > 0; o.up -= static_cast<uint64_t>(n))
            if ((n = read(in, block.data(), block.size())) <= 0) return;
        for (uint64_t part; o.down > 0; o.down -= part)
            if (!write_all(out, block.data(), part = std::min<uint64_t>(o.down, blocksize))) return;
    }
}

static void make_unblocking(int fd)
{
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
}

static void relay_between(int socket, bool polls)
{
    int in[2], out[2];
    must(pipe(in), "pipe");
    must(pipe(out), "pipe");
    if (must(fork(), "fork") == 0) {
        close(socket);
        close(in[1]);
        close(out[0]);
        serve(in[0], out[1]);
        _exit(0);
    }
    close(in[0]);
    close(out[1]);
    if (polls) {
        make_unblocking(socket);
        make_unblocking(out[0]);
    }
    std::thread back(pump, out[0], socket, polls);
    pump(socket, in[1], polls);
    close(in[1]); // the other process ends now, and with it the thread
    back.join();
    wait(nullptr);
}

static void nodelay(int socket)
{
    int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

relay::relay(bool polls_) : polls(polls_)
{
    int listening = must(socket(AF_INET, SOCK_STREAM, 0), "socket");
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto *name = reinterpret_cast<sockaddr *>(&address);
    must(bind(listening, name, length), "bind");
    must(listen(listening, 1), "listen");
    must(getsockname(listening, name, &length), "getsockname");
    server = must(fork(), "fork");
    if (server == 0) {
        int accepted = must(accept(listening, nullptr, nullptr), "accept");
        close(listening);
        nodelay(accepted);
        relay_between(accepted, polls);
        _exit(0);
    }
    close(listening);
    fd = must(socket(AF_INET, SOCK_STREAM, 0), "socket");
    must(connect(fd, name, length), "connect");
    nodelay(fd);
    if (polls) make_unblocking(fd);
}

relay::~relay()
{
    shutdown(fd, SHUT_RDWR); // later relays have inherited the descriptor
    close(fd);
    waitpid(server, nullptr, 0);
}

void relay::send(char *upbytes, size_t up, size_t down)
{
    order o = {up, down};
    memcpy(upbytes, &o, sizeof o);
    must(write_all(fd, upbytes, up) ? 0 : -1, "relay");
}

void relay::receive(char *downbytes, size_t down)
{
    must(read_all(fd, downbytes, down, polls) ? 0 : -1, "relay");
}

std::vector<pid_t> relay::processes() const
{
    std::vector<pid_t> all = process_children(server);
    all.push_back(server);
    return all;
}

} // namespace vnt
