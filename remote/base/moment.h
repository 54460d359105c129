// moment.h: waits a moment for what comes soon, before a thread sleeps: to be woken costs more than
// most answers take.
//
// Between two looks the processor is offered to others.  A wait that was in vain is not tried again
// for a while, and for twice as long after each further one.
//
// TESK_VANTO_REMOTE_OBJECT_PATIENCE=0 switches it off.
//
// Threads: a record is one thread's.

#pragma once

#include "remote/base/clock.h"
#include "remote/base/environment.h"

#include <algorithm>
#include <cstdint>
#include <poll.h>
#include <sched.h>

namespace vnt {

struct moment {
    uint32_t misses; // in a row
    uint32_t rest;   // waits that are not tried
};

// Polls the descriptors until something is there, for 50 microseconds at most.  Returns what poll()
// returned last, 0 when it was in vain or not tried.
inline int moment_poll(moment *m, pollfd *fds, nfds_t n)
{
    static const bool allowed = *environment_get("TESK_VANTO_REMOTE_OBJECT_PATIENCE", "1") != '0';
    constexpr int64_t length = 50'000;
    constexpr uint32_t most = 6; // misses that count
    if (!allowed) return 0;
    if (m->rest > 0) {
        m->rest--;
        return 0;
    }
    const int64_t end = clock_now() + length;
    do {
        if (int ready = poll(fds, n, 0)) {
            m->misses = 0;
            return ready;
        }
        sched_yield();
    } while (clock_now() < end);
    m->misses = std::min(m->misses + 1, most);
    m->rest = (1u << m->misses) - 1;
    return 0;
}

} // namespace vnt
