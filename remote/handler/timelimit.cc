#include "remote/handler/timelimit.h"

#include "remote/base/clock.h"
#include "remote/calls/progress.h"
#include "remote/message/errors.h"

#include <cmath>
#include <new>

namespace vnt {

// Less than this counts as no time left.
static constexpr double LEAST = 1e-6;

// Longer than any clock runs, and representable.
static constexpr double LONGEST = 1e15;

// A flag, and a link so that leak checkers find it.
struct expired_flag {
    std::atomic<bool> value;
    expired_flag *next;
};
static std::atomic<expired_flag *> flags;

void settilimexpired(sigval flag)
{
    static_cast<std::atomic<bool> *>(flag.sival_ptr)->store(true);
}

static std::atomic<bool> *flag_create(void)
{
    auto *flag = new (std::nothrow) expired_flag{};
    if (flag == nullptr) return nullptr;
    flag->next = flags.load();
    while (!flags.compare_exchange_weak(flag->next, flag)) {
    }
    return &flag->value;
}

// The deadline of a timer that starts now.
static int64_t deadline_of(const itimerspec &expiry)
{
    int64_t span;
    if (__builtin_mul_overflow(int64_t{expiry.it_value.tv_sec}, CLOCK_SECOND, &span))
        return CLOCK_NEVER;
    if (__builtin_add_overflow(span, expiry.it_value.tv_nsec, &span)) return CLOCK_NEVER;
    return clock_after(span);
}

int wallclock_tilim_create(time_limit *l)
{
    l->seconds = WIRE_INFINITE;
    l->deadline = CLOCK_NEVER;
    l->expired = flag_create();
    if (l->expired == nullptr) return MESSAGE_NOMEMORY;
    sigevent event = {};
    event.sigev_notify = SIGEV_THREAD;
    event.sigev_notify_function = settilimexpired;
    event.sigev_value.sival_ptr = l->expired;
    return timer_create(CLOCK_REALTIME, &event, &l->timer) == 0 ? 0 : MESSAGE_LOCK;
}

void wallclock_tilim_destroy(time_limit *l)
{
    timer_delete(l->timer);
}

bool wallclock_tilim_expired(const time_limit *l)
{
    return l->expired->load() && clock_now() >= l->deadline;
}

bool wallclock_tilim_limits(double seconds)
{
    return seconds < WIRE_INFINITE;
}

itimerspec wallclock_tilim_expiry(double seconds)
{
    const double bounded = std::fmin(seconds, LONGEST);
    const double whole = std::floor(bounded);
    itimerspec expiry = {};
    expiry.it_value.tv_sec = static_cast<time_t>(whole);
    expiry.it_value.tv_nsec = static_cast<int64_t>((bounded - whole) * 1e9);
    return expiry;
}

int wallclock_tilim_arm(time_limit *l, double seconds)
{
    if (seconds < LEAST) {
        l->deadline = 0;
        l->expired->store(true);
        return 0;
    }
    const itimerspec expiry = wallclock_tilim_expiry(seconds);
    l->deadline = deadline_of(expiry); // before the timer starts: it may fire at once
    l->expired->store(false);
    if (timer_settime(l->timer, 0, &expiry, nullptr) != 0) return VNTERR_REMOTE;
    l->armed = true;
    return 0;
}

void wallclock_tilim_disarm(time_limit *l)
{
    if (!l->armed) return;
    const itimerspec stop = {};
    timer_settime(l->timer, 0, &stop, nullptr);
    l->armed = false;
}

int wallclock_tilim_apply(time_limit *l)
{
    // A timer of an earlier limit must not end this one.
    wallclock_tilim_disarm(l);
    l->deadline = CLOCK_NEVER;
    l->expired->store(false);
    return wallclock_tilim_limits(l->seconds) ? wallclock_tilim_arm(l, l->seconds) : 0;
}

} // namespace vnt
