// relay.h: a minimal server of the same shape, the baseline for measuring the real one: a socket, a
// process that copies between it and two pipes, and a process behind the pipes that consumes and
// produces as many bytes as it is asked for.  The pumps never look into the bytes.
//
// Ownership: the destructor closes the connection, upon which both processes end, and collects
// them.

#pragma once

#include <cstddef>
#include <sys/types.h>
#include <vector>

namespace vnt {

class relay {
  public:
    // With `polls` the client and the pumps look for bytes for a moment before they sleep.
    explicit relay(bool polls = false);
    ~relay();
    relay(const relay &) = delete;
    relay &operator=(const relay &) = delete;

    // Sends `up` bytes, at least 16, and receives `down` bytes.  The first 16 are overwritten.
    void exchange(char *upbytes, size_t up, char *downbytes, size_t down)
    {
        send(upbytes, up, down);
        receive(downbytes, down);
    }
    void send(char *upbytes, size_t up, size_t down);
    void receive(char *downbytes, size_t down);

    std::vector<pid_t> processes() const; // of the other side

  private:
    pid_t server;
    int fd;
    bool polls;
};

} // namespace vnt
