// environment.h: environments, and the registry of the open ones.
//
// Ownership: the registry owns the environments and an environment its problems and networks, until
// they are closed or freed.  A call holds a shared pointer to its environment, so another thread
// can close it meanwhile.
//
// Threads: a call holds the environment's lock for its whole length, with one exception: a solve
// sets `solving` and runs without the lock, so that its callbacks can call the library.  A call
// that finds `solving` set fails with VNTERR_SOLVING.  The lock is recursive because the functions
// that receive messages may call the library.

#pragma once

#include "solver/calls/parameters.h"
#include "solver/problem/networkproblem.h"
#include "solver/problem/problem.h"

#include <memory>
#include <mutex>
#include <set>
#include <unordered_map>

namespace vnt {

struct engine_progress;
struct engine_reply;

enum channel_number { CHANNEL_RESULTS, CHANNEL_WARNING, CHANNEL_ERROR, CHANNEL_LOG, CHANNELS };

struct channel_destination {
    void *handle;
    void (*msgfunc)(void *handle, const char *text);
};

} // namespace vnt

struct vntchannel {
    std::vector<vnt::channel_destination> destinations;
};

namespace vnt {

// What the pause callback of a running solve may look at and answer, alive for that call.
struct pause_window {
    const engine_progress *progress;
    engine_reply *reply;
    int numcols;
};

} // namespace vnt

struct vntenv {
    std::recursive_mutex lock;
    bool solving = false;
    vnt::parameter_set parameters;
    vntchannel channels[vnt::CHANNELS];
    std::unordered_map<const vntlp *, std::unique_ptr<vntlp>> problems;
    std::unordered_map<const vntnet *, std::unique_ptr<vntnet>> networks;
    uint64_t ticks = 0;           // deterministic work of all solves so far
    std::set<int> idle_mentioned; // parameters of which was said that they have no effect
    std::string log_name;
    std::unique_ptr<FILE, int (*)(FILE *)> log = {nullptr, fclose};

    // Control of a running solve.  Set before the solve starts, read by its thread alone.
    volatile int *terminate = nullptr;
    int (*terminate_func)(vntenv *env, void *data) = nullptr;
    void *terminate_data = nullptr;
    int (*pause_func)(vntenv *env, void *cbdata, uint64_t progress, void *data) = nullptr;
    void *pause_data = nullptr;
    vnt::pause_window *window = nullptr; // while the pause callback runs

    // Sends a text to a channel, unless messages are switched off.
    void say(vnt::channel_number channel, const std::string &text);
};

namespace vnt {

// Opens an environment; the registry owns it.
vntenv *environment_open();

// The open environment at that address; null for any other address.
std::shared_ptr<vntenv> environment_find(const vntenv *env);

// Takes the environment out of the registry.
void environment_close(const vntenv *env);

} // namespace vnt
