// scripted.h: a server whose every byte a test decides.

#pragma once

#include "test/bytes.h"

#include <functional>
#include <netinet/tcp.h>
#include <string>
#include <thread>
#include <vector>

namespace vnt {

// What one connection of a test's server does: it gets the connected socket.
using script = std::function<void(int fd)>;

// A server on a free port of 127.0.0.1, one connection after the other, each with its script.
class scripted_server {
  public:
    explicit scripted_server(std::vector<script> scripts)
    {
        listener = listener_open(5, &port);
        thread = std::thread([this, scripts] {
            for (const script &run : scripts) {
                int fd = accept(listener, nullptr, nullptr);
                if (fd < 0) break;
                int on = 1;
                setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
                run(fd);
                close(fd);
            }
        });
    }
    ~scripted_server() { end(); }
    // Returns once the scripts under way have run to their end; none begins any more.
    void end()
    {
        if (!thread.joinable()) return;
        shutdown(listener, SHUT_RDWR);
        thread.join();
        close(listener);
    }
    std::string address() const { return "-address=127.0.0.1:" + std::to_string(port); }

    int port;

  private:
    int listener;
    std::thread thread;
};

} // namespace vnt
