// child.h: a piece of work in a process of its own, which a crash ends alone.
//
// Ownership: the destructor kills and collects a child that has not ended.  The kernel kills it
// when this process ends without doing so.
//
// Threads: a process with one thread.
//
// Errors: throws failure with EXIT_INTERNAL when there is no process or memory.

#pragma once

#include <functional>
#include <string>
#include <sys/types.h>

namespace vnt {

class child {
  public:
    // Runs `work` in a copy of this process, with its two outputs kept and nothing to read, and in
    // a process group of its own: the keyboard's interrupt reaches the parent alone.  Its value is
    // the exit status.
    explicit child(const std::function<int()> &work);
    ~child();
    child(const child &) = delete;
    child &operator=(const child &) = delete;

    // Whether it has ended, without waiting.
    bool ended();

    // After the end: the exit status, or -signal, and what was written.
    int status() const { return result; }
    std::string out() const;
    std::string err() const;

  private:
    void begin(const std::function<int()> &work, pid_t parent);
    pid_t pid;
    int outfd, errfd; // memory files
    int result = 0;
};

} // namespace vnt
