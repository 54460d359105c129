// relay.h: the least that a server of this kind can do, to measure the real one against: a socket,
// a process that copies between it and two pipes, and a process behind these that takes so many
// bytes and gives so many.  Nobody looks into the bytes.
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
