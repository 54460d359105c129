// process.h: programs that a test starts, watches and ends.
//
// Ownership: the destructor kills and collects a process that is still running.  The process also
// gets SIGTERM when the test itself dies, so that a test that its time limit ends leaves nothing.
//
// Threads: the one that made the object.

#pragma once

#include "remote/base/sanitizer.h"
#include "test/folders.h"
#include "test/has.h"

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace vnt {

using seconds = std::chrono::duration<double>;

class process {
  public:
    // Starts arguments[0], looked up in PATH unless it has a slash.  `environment` adds NAME=VALUE
    // entries to the test's own.
    explicit process(const std::vector<std::string> &arguments,
                     const std::vector<std::string> &environment = {});
    ~process();
    process(const process &) = delete;
    process &operator=(const process &) = delete;

    pid_t pid() const { return id; }
    void kill(int signal);

    // Waits for the end, at most so long: the exit status, -signal, or `unended`.
    int wait(seconds limit);
    static constexpr int unended = 4711;

    // What it has written so far.
    std::string out() const;
    std::string err() const;

  private:
    pid_t id;
    int outfd, errfd; // memory files
    bool ended = false;
    int status = unended;
};

// One list behind the other.
std::vector<std::string> joined(std::vector<std::string> all, const std::vector<std::string> &more);

// The address that a server's log announces, empty while it does not.
std::string announced(const std::string &log);

// How many entries a folder of /proc/<id> has: "fd", "task".
long process_count(pid_t id, const std::string &what);

// Runs a program to its end.
struct process_result {
    int status; // the exit status, or -signal
    std::string out;
    std::string err;
};
process_result run(const std::vector<std::string> &arguments,
                   const std::vector<std::string> &environment = {}, seconds limit = seconds(300));

// Polls until the condition holds, for at most `limit`.  Returns whether it holds.
template <class Condition> bool eventually(Condition condition, seconds limit = seconds(20))
{
    auto start = std::chrono::steady_clock::now();
    while (!condition()) {
        if (std::chrono::steady_clock::now() - start > limit) return condition();
        timespec nap = {0, 10'000'000};
        nanosleep(&nap, nullptr);
    }
    return true;
}

// Whether the process, of any parent, exists and has not ended.
bool process_alive(pid_t id);

// The living children of a process.
std::vector<pid_t> process_children(pid_t id);

// A program of the build: bin/NAME.
std::string built(const std::string &name);

// A port of 127.0.0.1 on which nothing listens.  It is below those that the system chooses, so that
// no connection of another test takes it meanwhile.
std::string free_port(void);

} // namespace vnt
