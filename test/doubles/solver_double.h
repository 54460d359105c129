// solver_double.h: a solver for tests that solves nothing: what it answers and how long it takes
// is set by the test, and what it was told is written down.
//
// Threads: the atomic fields may be read and set while a solve runs, the others may not.

#pragma once

#include "vanto.h"

#include <atomic>
#include <map>
#include <string>

namespace vnt {

struct solver_double {
    std::atomic<int> steps;   // of the next solve; it counts them down and ends
    std::atomic<bool> helped; // solves that begin from now on work on a thread of the solver's own
    std::atomic<uint64_t> progress;
    std::atomic<double> injected;
    std::atomic<int> inject_status;
    std::atomic<double> reference; // that it was given with the last question for progress

    int open_status;
    bool maximise;
    std::map<int, int> int_params;
    std::string calls; // " name" for each call that changes something

    volatile int *terminate;
    int (*terminate_func)(VNTENVptr env, void *data);
    void *terminate_data;
    int (*pause_func)(VNTENVptr env, void *cbdata, uint64_t progress, void *data);
    void *pause_data;
    void (*channel_func[4])(void *handle, const char *text);
    void *channel_handle[4];
};

// The one solver of the process, as it was at the start of the test.
extern solver_double solver;
void solver_reset(void);

// What it hands out.
extern const VNTENVptr double_env;
extern const VNTLPptr double_lp;
extern const VNTNETptr double_net;

} // namespace vnt
