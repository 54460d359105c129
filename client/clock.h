// clock.h: time that has gone, and short sleeps.

#pragma once

#include <algorithm>
#include <ctime>

namespace vnt {

inline timespec clock_now()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

// Seconds since then.
inline double clock_elapsed(const timespec &since)
{
    timespec now = clock_now();
    return static_cast<double>(now.tv_sec - since.tv_sec) +
           static_cast<double>(now.tv_nsec - since.tv_nsec) / 1e9;
}

// Sleeps; signals do not shorten it.
inline void clock_nap(double seconds)
{
    seconds = seconds > 0 ? std::min(seconds, 1e9) : 0; // also where it is no number
    timespec left;
    left.tv_sec = static_cast<time_t>(seconds);
    left.tv_nsec = static_cast<long>((seconds - static_cast<double>(left.tv_sec)) * 1e9);
    while (nanosleep(&left, &left) != 0)
        ;
}

} // namespace vnt
