// clock.h: times and time spans by the monotonic clock.
//
// A time is a number of nanoseconds.  Times compare only within one boot of the machine.
//
// Threads: any.

#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <ctime>

namespace vnt {

// The deadline that never comes.
constexpr int64_t CLOCK_NEVER = INT64_MAX;

constexpr int64_t CLOCK_SECOND = 1000000000;
constexpr int64_t CLOCK_MILLISECOND = 1000000;

inline int64_t clock_now(void)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * CLOCK_SECOND + now.tv_nsec;
}

inline int64_t clock_ms(void)
{
    return clock_now() / CLOCK_MILLISECOND;
}

// The same, up to some milliseconds old and a quarter as dear.
inline int64_t clock_ms_coarse(void)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return (now.tv_sec * CLOCK_SECOND + now.tv_nsec) / CLOCK_MILLISECOND;
}

// Seconds since a time.
inline double clock_elapsed(int64_t since)
{
    return static_cast<double>(clock_now() - since) / CLOCK_SECOND;
}

// The time so many nanoseconds from now; CLOCK_NEVER for spans too long for the clock.
inline int64_t clock_after(int64_t nanoseconds)
{
    int64_t deadline;
    return __builtin_add_overflow(clock_now(), nanoseconds, &deadline) ? CLOCK_NEVER : deadline;
}

// The time so many milliseconds from now; CLOCK_NEVER for a negative number.
inline int64_t clock_after_ms(int64_t milliseconds)
{
    int64_t span;
    if (milliseconds < 0 || __builtin_mul_overflow(milliseconds, CLOCK_MILLISECOND, &span))
        return CLOCK_NEVER;
    return clock_after(span);
}

// Nanoseconds until the deadline, at least 0.
inline int64_t clock_left(int64_t deadline)
{
    return deadline == CLOCK_NEVER ? CLOCK_NEVER : std::max<int64_t>(deadline - clock_now(), 0);
}

// The same in milliseconds for poll(), rounded up, -1 for CLOCK_NEVER.  A distant deadline is cut
// to INT_MAX, so call again when poll() times out.
inline int clock_left_ms(int64_t deadline)
{
    if (deadline == CLOCK_NEVER) return -1;
    int64_t left = clock_left(deadline);
    return static_cast<int>(
        std::min<int64_t>(left / CLOCK_MILLISECOND + (left % CLOCK_MILLISECOND != 0), INT_MAX));
}

inline timespec clock_span(int64_t nanoseconds)
{
    return {nanoseconds / CLOCK_SECOND, nanoseconds % CLOCK_SECOND};
}

// Sleeps so long, whatever signals arrive.
inline void clock_sleep(double seconds)
{
    seconds = seconds > 0 ? std::min(seconds, 1e9) : 0; // 0 for NaN, too
    timespec left = clock_span(static_cast<int64_t>(seconds * CLOCK_SECOND));
    while (nanosleep(&left, &left) != 0)
        ;
}

} // namespace vnt
