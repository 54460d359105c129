#include "remote/handler/timelimit.h"

#include <cmath>
#include <cstdlib>

namespace vnt {

// Less than this is nothing left.
static constexpr double LEAST = 1e-6;

// Longer than any clock runs, and within its type.
static constexpr double LONGEST = 1e15;

// A flag and the link that keeps it reachable for good.
struct tilim_cell {
    int32_t expired;
    tilim_cell *next;
};
static std::atomic<tilim_cell *> cells;

void settilimexpired(sigval flag)
{
    cell_set(*static_cast<int32_t *>(flag.sival_ptr), 1);
}

static int32_t *cell_create(void)
{
    auto *cell = static_cast<tilim_cell *>(calloc(1, sizeof(tilim_cell)));
    if (cell == nullptr) return nullptr;
    cell->next = cells.load();
    while (!cells.compare_exchange_weak(cell->next, cell)) {
    }
    return &cell->expired;
}

int wallclock_tilim_create(handler *h)
{
    h->timeexpired = cell_create();
    if (h->timeexpired == nullptr) return MESSAGE_NOMEMORY;
    sigevent event = {};
    event.sigev_notify = SIGEV_THREAD;
    event.sigev_notify_function = settilimexpired;
    event.sigev_value.sival_ptr = h->timeexpired;
    return timer_create(CLOCK_REALTIME, &event, &h->timer) == 0 ? 0 : MESSAGE_LOCK;
}

void wallclock_tilim_destroy(handler *h)
{
    timer_delete(h->timer);
}

bool wallclock_tilim_limits(double seconds)
{
    return seconds < HANDLER_INFINITE;
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

int wallclock_tilim_arm(handler *h, double seconds)
{
    if (seconds < LEAST) {
        cell_set(*h->timeexpired, 1);
        return 0;
    }
    const itimerspec expiry = wallclock_tilim_expiry(seconds);
    cell_set(*h->timeexpired, 0);
    return timer_settime(h->timer, 0, &expiry, nullptr) == 0 ? 0 : VNTERR_REMOTE;
}

void wallclock_tilim_disarm(handler *h)
{
    const itimerspec stop = {};
    timer_settime(h->timer, 0, &stop, nullptr);
    h->timerarmed = 0;
}

int wallclock_tilim_apply(handler *h, double seconds)
{
    // A timer of an earlier limit must not end this one.
    wallclock_tilim_disarm(h);
    cell_set(*h->timeexpired, 0);
    if (!wallclock_tilim_limits(seconds)) return 0;
    const int status = wallclock_tilim_arm(h, seconds);
    if (status == 0) h->timerarmed = 1;
    return status;
}

} // namespace vnt
