// serverprocess.h: the server's own code in a process of its own, for tests that bring workers
// of their own kind, and a client without a transport.
//
// The server listens on a free port of 127.0.0.1; what it and its workers write to standard error
// is kept.  It is stopped, and waited for, at the end at the latest.

#pragma once

#include "test/process.h"

#include <algorithm>
#include <arpa/inet.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

class server_process {
  public:
    typedef std::function<int(int argc, char **argv)> server_function;

    explicit server_process(const server_function &run, std::vector<std::string> options = {})
        : errors(memfd_create("stderr", MFD_CLOEXEC))
    {
        options.insert(options.begin(), {"server", "-host=127.0.0.1", "-port=0"});
        fflush(nullptr);
        pid = fork();
        if (pid == 0) become(run, options);
        eventually([this] { return findport() || ended(); });
    }
    ~server_process()
    {
        stop();
        std::string text = written();
        EXPECT_EQ(text.find("Sanitizer"), std::string::npos) << text;
        close(errors);
    }

    // What the server and its workers have written so far.
    std::string written() const
    {
        std::string text(static_cast<size_t>(lseek(errors, 0, SEEK_END)), '\0');
        text.resize(
            static_cast<size_t>(std::max<ssize_t>(pread(errors, text.data(), text.size(), 0), 0)));
        return text;
    }

    // Sends the signal, waits for the end and returns waitpid's status; the same one again later.
    int stop(int signal = SIGTERM)
    {
        if (!reaped) {
            kill(pid, signal);
            if (!eventually([this] { return ended(); })) ::kill(pid, SIGKILL);
            if (!reaped) waitpid(pid, &status, 0);
            reaped = true;
        }
        return status;
    }
    bool ended() { return reaped || (reaped = waitpid(pid, &status, WNOHANG) == pid); }

    // How many entries a folder of /proc/<server> has: "fd", "task".
    long count(const std::string &what) const
    {
        std::filesystem::directory_iterator all("/proc/" + std::to_string(pid) + "/" + what);
        return std::distance(begin(all), end(all));
    }

    pid_t pid;
    int port = 0; // 0 when the server did not come up

  private:
    [[noreturn]] void become(const server_function &run, const std::vector<std::string> &options)
    {
        prctl(PR_SET_PDEATHSIG, SIGTERM); // a test that dies leaves no server
        dup2(errors, 2);
        std::vector<char *> argv;
        for (const std::string &o : options)
            argv.push_back(strdup(o.c_str()));
        argv.push_back(nullptr);
        _exit(run(static_cast<int>(argv.size()) - 1, argv.data()) & 0xff);
    }
    bool findport()
    {
        std::string text = written();
        size_t at = text.find("Server started on 127.0.0.1:");
        if (at == std::string::npos || text.find('\n', at) == std::string::npos) return false;
        return (port = atoi(text.c_str() + text.find(':', at + 18) + 1)) > 0;
    }

    int errors;
    int status = 0;
    bool reaped = false;
};

// A client without a transport: bytes to the server and back.  No wait is longer than ten seconds.
class raw_client {
  public:
    explicit raw_client(int port) : fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        struct sockaddr_in a = {};
        a.sin_family = AF_INET;
        a.sin_port = htons(static_cast<uint16_t>(port));
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
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
        for (size_t done = 0; done < bytes.size();) {
            ssize_t n = send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
            if (n <= 0) break;
            done += static_cast<size_t>(n);
        }
        return *this;
    }
    // Up to n bytes; fewer at the end of the connection or of the test's patience.
    std::string hear(size_t n)
    {
        std::string bytes(n, '\0');
        size_t have = 0;
        while (have < n) {
            ssize_t got = recv(fd, bytes.data() + have, n - have, 0);
            if (got <= 0) break;
            have += static_cast<size_t>(got);
        }
        bytes.resize(have);
        return bytes;
    }
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
        if (status != 0) return status;
        eight = hear(8);
        if (eight.size() != 8) return -1;
        memcpy(&id, eight.data(), 8);
        return 0;
    }
    int newworker() { return say(std::string("\0\0\0\1", 4)).status(); }
    int reconnect(int64_t worker)
    {
        std::string bytes("\0\0\0\2", 4);
        return say(bytes.append(reinterpret_cast<const char *>(&worker), 8)).status();
    }

    int fd;
    bool connected;
    int64_t id = 0;
};
