// guard.h: keeps what an engine throws, and its abort(), from the engine's caller.
//
// The engine libraries are commonly built with their assertions on, and call abort() themselves
// when they are at a loss.  Within guard_run() such an abort ends the run instead of the process.
// What the engine had allocated is leaked.
//
// Threads: any number may run guarded code.  SIGABRT has the guard's handler meanwhile and its old
// disposition afterwards.  An abort of a thread that is not guarded, and a SIGABRT from outside,
// go their old way.

#pragma once

#include <csetjmp>
#include <functional>
#include <string>

namespace vnt {

// Runs `work`.  0; or, when it throws, VNTERR_NO_MEMORY, VNTERR_NOT_SUPPORTED or VNTERR_ENGINE; or
// VNTERR_ENGINE when it aborts, with the function that did so in `cause`, which is empty otherwise.
int guard_run(const std::function<void()> &work, std::string *cause);

// While one lives, the caller's code runs inside of the engine: its abort is its own affair.
class guard_pause {
  public:
    guard_pause();
    ~guard_pause();
    guard_pause(const guard_pause &) = delete;
    guard_pause &operator=(const guard_pause &) = delete;

  private:
    sigjmp_buf *held;
};

} // namespace vnt
