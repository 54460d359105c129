// program.h: a program that measures a small call through another library, see peer.h.
//
// Ownership: the destructor ends the program.

#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace vnt {

class peer_program {
  public:
    explicit peer_program(const std::string &path);
    ~peer_program();
    peer_program(const peer_program &) = delete;
    peer_program &operator=(const peer_program &) = delete;

    double seconds_of(int calls);

    // Those that were built.
    static std::vector<std::string> paths();

  private:
    pid_t id;
    int fd; // to its standard input and from its standard output
};

} // namespace vnt
