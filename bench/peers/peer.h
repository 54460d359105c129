// peer.h: what the programs share that measure a small call through another library: 80 bytes to a
// process on this machine and 8 back, over TCP.  Each takes the number of calls and prints the
// seconds that they took.
//
// Errors: what cannot be made ends the program.

#pragma once

#include "bench/measure.h"

#include <csignal>
#include <cstdlib>
#include <sys/prctl.h>
#include <unistd.h>

namespace vnt {

constexpr size_t PEER_REQUEST = 80, PEER_ANSWER = 8; // bytes

// Runs `serve`, which never returns, in a process that ends with this one, and returns the port
// that it passes to the function it receives.
template <class Serve> int peer_serve(Serve serve)
{
    int ends[2], port = 0;
    bench_must(pipe(ends) == 0, "pipe");
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        serve([&](int p) { bench_must(write(ends[1], &p, sizeof p) == sizeof p, "write"); });
    }
    close(ends[1]);
    bench_must(read(ends[0], &port, sizeof port) == sizeof port, "the server's start");
    close(ends[0]);
    return port;
}

// The threads of a library are not waited for.
template <class Call> [[noreturn]] void peer_measure(int argc, char **argv, Call call)
{
    auto calls = [&](int n) {
        for (int i = 0; i < n; i++)
            call();
    };
    calls(100); // to warm up
    const int n = argc > 1 ? atoi(argv[1]) : 1000;
    printf("%.9g\n", bench_seconds([&] { calls(n); }));
    fflush(stdout);
    _exit(0);
}

} // namespace vnt
