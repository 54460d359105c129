// forked.h: runs a function of the test in a process of its own.
//
// Keeps what the process and its children write to standard error.  The process gets SIGTERM when
// the test dies; the destructor stops it and waits for its end.

#pragma once

#include "test/process.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace vnt {

class forked_process {
  public:
    typedef std::function<int(int argc, char **argv)> function;

    // Runs it with these arguments, and exits with what it returns.
    forked_process(const function &run, const std::vector<std::string> &arguments)
        : errors(memfd_create("stderr", MFD_CLOEXEC))
    {
        fflush(nullptr);
        pid = fork();
        if (pid != 0) return;
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        dup2(errors, 2);
        std::vector<char *> argv;
        for (const std::string &a : arguments)
            argv.push_back(const_cast<char *>(a.c_str()));
        argv.push_back(nullptr);
        _exit(run(static_cast<int>(arguments.size()), argv.data()) & 0xff);
    }
    ~forked_process()
    {
        stop();
        std::string text = written();
        EXPECT_FALSE(has(text, "Sanitizer"));
        close(errors);
    }
    forked_process(const forked_process &) = delete;
    forked_process &operator=(const forked_process &) = delete;

    // What it has written so far.
    std::string written() const
    {
        std::string text(static_cast<size_t>(lseek(errors, 0, SEEK_END)), '\0');
        text.resize(
            static_cast<size_t>(std::max<ssize_t>(pread(errors, text.data(), text.size(), 0), 0)));
        return text;
    }

    // Whether it comes to write that.
    bool says(const std::string &text) const
    {
        return eventually([&] { return has(written(), text); });
    }

    bool ended() { return reaped || (reaped = waitpid(pid, &status, WNOHANG) == pid); }

    // Waits for the end and returns the exit status, or -signal; the same one again later.
    int wait()
    {
        if (!eventually([this] { return ended(); })) {
            kill(pid, SIGKILL);
            reaped = waitpid(pid, &status, 0) == pid;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    int stop(int signal = SIGTERM)
    {
        if (!ended()) kill(pid, signal);
        return wait();
    }

    pid_t pid;

  private:
    int errors;
    int status = 0;
    bool reaped = false;
};

} // namespace vnt
