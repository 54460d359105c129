// peer.h: what the programs share that measure a small call through another library: 80 bytes to a
// process on this machine and 8 back, over TCP.
//
// The suite starts such a program and writes a number of calls to its standard input, a line each;
// it answers each line with the seconds that so many calls took.
//
// Errors: what cannot be made ends the program.

#pragma once

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/prctl.h>
#include <unistd.h>

namespace vnt {

constexpr size_t PEER_REQUEST = 80, PEER_ANSWER = 8; // bytes

inline void peer_must(bool fine, const char *what)
{
    if (fine) return;
    fprintf(stderr, "%s failed\n", what);
    exit(1);
}

// Runs `serve`, which never returns, in a process that ends with this one, and returns the port
// that it passes to the function it receives.
template <class Serve> int peer_serve(Serve serve)
{
    int ends[2], port = 0;
    peer_must(pipe(ends) == 0, "pipe");
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        serve([&](int p) { peer_must(write(ends[1], &p, sizeof p) == sizeof p, "write"); });
    }
    close(ends[1]);
    peer_must(read(ends[0], &port, sizeof port) == sizeof port, "the server's start");
    close(ends[0]);
    return port;
}

// Measures calls until the standard input ends.
template <class Call> int peer_measure(Call call)
{
    for (int n; scanf("%d", &n) == 1;) {
        auto begin = std::chrono::steady_clock::now();
        for (int i = 0; i < n; i++)
            call();
        std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
        printf("%.9g\n", seconds.count());
        fflush(stdout);
    }
    return 0;
}

} // namespace vnt
