#include "bench/relay.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
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

static bool write_all(int fd, const char *bytes, size_t n)
{
    while (n > 0) {
        ssize_t written = write(fd, bytes, n);
        if (written <= 0) return false;
        bytes += written;
        n -= static_cast<size_t>(written);
    }
    return true;
}

static bool read_all(int fd, char *bytes, size_t n)
{
    while (n > 0) {
        ssize_t got = read(fd, bytes, n);
        if (got <= 0) return false;
        bytes += got;
        n -= static_cast<size_t>(got);
    }
    return true;
}

static void pump(int from, int to)
{
    std::vector<char> block(blocksize);
    ssize_t n;
    while ((n = read(from, block.data(), block.size())) > 0)
        if (!write_all(to, block.data(), static_cast<size_t>(n))) break;
}

// The process behind the pipes.
static void serve(int in, int out)
{
    std::vector<char> block(blocksize);
    order o;
    while (read_all(in, reinterpret_cast<char *>(&o), sizeof o)) {
        for (uint64_t n; o.up > 0; o.up -= n)
            if (!read_all(in, block.data(), n = std::min<uint64_t>(o.up, blocksize))) return;
        for (uint64_t n; o.down > 0; o.down -= n)
            if (!write_all(out, block.data(), n = std::min<uint64_t>(o.down, blocksize))) return;
    }
}

static void relay_between(int socket)
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
    std::thread back(pump, out[0], socket);
    pump(socket, in[1]);
    close(in[1]); // the other process ends now, and with it the thread
    back.join();
    wait(nullptr);
}

static void nodelay(int socket)
{
    int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

relay::relay()
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
        relay_between(accepted);
        _exit(0);
    }
    close(listening);
    fd = must(socket(AF_INET, SOCK_STREAM, 0), "socket");
    must(connect(fd, name, length), "connect");
    nodelay(fd);
}

relay::~relay()
{
    close(fd);
    waitpid(server, nullptr, 0);
}

void relay::exchange(const char *upbytes, size_t up, char *downbytes, size_t down)
{
    order o = {up, down};
    char head[sizeof o + 256];
    memcpy(head, &o, sizeof o);
    // A small request is one write, as it is in the real client.
    size_t first = up <= 256 ? up : 0;
    memcpy(head + sizeof o, upbytes, first);
    bool fine = write_all(fd, head, sizeof o + first) &&
                write_all(fd, upbytes + first, up - first) && read_all(fd, downbytes, down);
    must(fine ? 0 : -1, "relay");
}

} // namespace vnt
