#include "bench/raw.h"

#include "bench/measure.h"

#include <arpa/inet.h>
#include <cstdint>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vnt {

// Ids of messages, as docs/protocol.md tells them.
enum : uint32_t {
    TERMINATE = 4,
    OPENVANTO_REQ = 1011,
    CREATEPROB_REQ = 1094,
    GETNUMROWS_REQ = 1268
};

static constexpr size_t handle_bytes = 36; // on the wire

static std::string wire(uint32_t number)
{
    number = htonl(number);
    return std::string(reinterpret_cast<char *>(&number), sizeof number);
}

static void write_text(int fd, const std::string &text)
{
    ssize_t n = send(fd, text.data(), text.size(), MSG_NOSIGNAL);
    bench_must(n == static_cast<ssize_t>(text.size()), "send");
}

static void read_all(int fd, char *to, size_t n)
{
    bench_must(recv(fd, to, n, MSG_WAITALL) == static_cast<ssize_t>(n), "recv");
}

raw_connection::raw_connection(const std::string &port) : fd(socket(AF_INET, SOCK_STREAM, 0))
{
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    to.sin_port = htons(static_cast<uint16_t>(std::stoi(port)));
    bench_must(connect(fd, reinterpret_cast<sockaddr *>(&to), sizeof to) == 0, "connect");
    int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    write_text(fd, wire(1)); // a new worker
    char greeting[10];
    read_all(fd, greeting, sizeof greeting);
    bench_must(greeting[0] == 0 && greeting[1] == 0, "greeting");
}

raw_connection::~raw_connection()
{
    write_text(fd, wire(TERMINATE));
    close(fd);
}

void raw_connection::exchange(const std::string &text, char *response, size_t n)
{
    write_text(fd, text);
    read_all(fd, response, n);
}

void raw_connection::open()
{
    static constexpr size_t both = 4 + 4 + handle_bytes; // id, status and handle
    char opened[both], created[both];
    exchange(wire(OPENVANTO_REQ) + wire(0), opened, both);
    std::string env(opened + 8, handle_bytes);
    exchange(wire(CREATEPROB_REQ) + wire(0) + env + wire(1) + wire(2) + std::string("1\0", 2),
             created, both);
    request = wire(GETNUMROWS_REQ) + wire(0) + env + std::string(created + 4, handle_bytes);
}

void raw_connection::send()
{
    write_text(fd, request);
}

void raw_connection::receive()
{
    char response[8];
    read_all(fd, response, sizeof response);
}

} // namespace vnt
