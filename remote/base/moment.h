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

#include <cstdint>
#include <sched.h>

namespace vnt {

struct moment {
    uint32_t misses; // in a row
    uint32_t rest;   // waits that are not tried
};

inline bool moment_is_allowed(void)
{
    static const bool allowed = *environment_get("TESK_VANTO_REMOTE_OBJECT_PATIENCE", "1") != '0';
    return allowed;
}

// Calls `look` until it returns true, for 50 microseconds at most.  Returns whether it did.
template <class Look> bool moment_wait(moment *m, Look look)
{
    constexpr int64_t length = 50'000;
    constexpr uint32_t most = 6; // misses that count
    if (!moment_is_allowed()) return false;
    if (m->rest > 0) {
        m->rest--;
        return false;
    }
    const int64_t end = clock_now() + length;
    do {
        if (look()) {
            m->misses = 0;
            return true;
        }
        sched_yield();
    } while (clock_now() < end);
    m->misses = std::min(m->misses + 1, most);
    m->rest = (1u << m->misses) - 1;
    return false;
}

} // namespace vnt
