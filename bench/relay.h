// relay.h: a minimal server of the same shape, the baseline for measuring the real one: a socket, a
// process that copies between it and two pipes, and a process behind the pipes that consumes and
// produces as many bytes as it is asked for.  It never looks into the bytes.
//
// Ownership: the destructor closes the connection, upon which both processes end, and collects
// them.

#pragma once

#include <cstddef>
#include <sys/types.h>

namespace vnt {

class relay {
  public:
    relay();
    ~relay();
    relay(const relay &) = delete;
    relay &operator=(const relay &) = delete;

    // Sends `up` bytes and receives `down` bytes.
    void exchange(const char *upbytes, size_t up, char *downbytes, size_t down);

  private:
    pid_t server;
    int fd;
};

} // namespace vnt
