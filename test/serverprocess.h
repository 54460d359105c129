// serverprocess.h: the server's own code in a process of its own, for tests that bring workers
// of their own kind, and a client without a transport.

#pragma once

#include "test/bytes.h"
#include "test/forked.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace vnt {

// A server on a free port of 127.0.0.1.
class server_process : public forked_process {
  public:
    explicit server_process(const function &run, std::vector<std::string> options = {})
        : forked_process(run, with_address(options))
    {
        eventually([this] { return findport() || ended(); });
    }

    long count(const std::string &what) const { return process_count(pid, what); }

    int port = 0; // 0 when the server did not come up

  private:
    static std::vector<std::string> with_address(std::vector<std::string> options)
    {
        options.insert(options.begin(), {"server", "-host=127.0.0.1", "-port=0"});
        return options;
    }
    bool findport()
    {
        const std::string address = announced(written());
        return (port = atoi(address.c_str() + address.find(':') + 1)) > 0;
    }
};

// A client without a transport: bytes to the server and back.  No wait is longer than ten seconds.
class raw_client {
  public:
    explicit raw_client(int port) : fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in a = loopback(port);
        struct timeval limit = {10, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        connected = connect(fd, reinterpret_cast<struct sockaddr *>(&a), sizeof a) == 0;
    }
    ~raw_client() { leave(); }
    raw_client(const raw_client &) = delete;
    raw_client &operator=(const raw_client &) = delete;

    raw_client &say(const std::string &bytes)
    {
        give_to(fd, bytes);
        return *this;
    }
    // Up to n bytes; fewer at the end of the connection or of the test's patience.
    std::string hear(size_t n) { return take_from(fd, n); }
    // Whether the server has closed the connection, with nothing more to read before.
    bool closed()
    {
        char byte;
        ssize_t n = recv(fd, &byte, 1, 0);
        return n == 0 || (n < 0 && errno == ECONNRESET);
    }
    void leave()
    {
        if (fd >= 0) close(fd);
        fd = -1;
    }
    void reset()
    {
        struct linger at_once = {1, 0};
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
        leave();
    }

    // The handshake: the status, or -1 when none came.  On success `id` is the worker's.
    int status()
    {
        std::string two = hear(2), eight;
        if (two.size() != 2) return -1;
        int status = static_cast<unsigned char>(two[0]) << 8 | static_cast<unsigned char>(two[1]);
        if (status == 0) eight = hear(8);
        if (status == 0 && eight.size() != 8) return -1;
        memcpy(&id, eight.data(), eight.size());
        return status;
    }
    int new_worker() { return say(bytes("00 00 00 01")).status(); }
    int reconnect(int64_t worker) { return say(bytes("00 00 00 02") + raw_id(worker)).status(); }

    int fd;
    bool connected;
    int64_t id = 0;
};

} // namespace vnt
