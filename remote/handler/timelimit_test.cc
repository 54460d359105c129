#include "remote/handler/timelimit.h"

#include "remote/calls/progress.h"

#include <gtest/gtest.h>

namespace vnt {

namespace {

struct limit_holder : time_limit {
    limit_holder() : time_limit() { EXPECT_EQ(wallclock_tilim_create(this), 0); }
    ~limit_holder() { wallclock_tilim_destroy(this); }

    bool expires_at_once(double limit)
    {
        seconds = limit;
        EXPECT_EQ(wallclock_tilim_apply(this), 0);
        return wallclock_tilim_expired(this);
    }
    // The thread of a timer that has been stopped meanwhile.
    void notify_late() { settilimexpired({.sival_ptr = expired}); }
};

} // namespace

TEST(TimeLimit, IsUpAtOnceWhereNothingIsLeftOfIt)
{
    limit_holder l;
    EXPECT_TRUE(l.expires_at_once(0));
    EXPECT_FALSE(l.expires_at_once(1000));
    EXPECT_TRUE(l.expires_at_once(9e-7));
    EXPECT_FALSE(l.expires_at_once(WIRE_INFINITE));
}

// The run before had a limit; its timer's thread was late.
TEST(TimeLimit, IsNotUpBecauseOfATimerThatWasMeantForAnEarlierRun)
{
    for (double seconds : {1000.0, 1e300, 0.0 / 0.0}) {
        limit_holder l;
        EXPECT_FALSE(l.expires_at_once(seconds));
        l.notify_late();
        EXPECT_FALSE(wallclock_tilim_expired(&l)) << seconds;
    }
}

} // namespace vnt
