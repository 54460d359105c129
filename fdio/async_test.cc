#include "fdio/async.h"

#include "fdio/transport.h"
#include "test/streams.h"

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <thread>

#include <aio.h>
#include <fcntl.h>

// The thread sanitizer does not know threads that the C library makes for notifications.
#ifdef __SANITIZE_THREAD__
static constexpr bool notification_threads = false;
#else
static constexpr bool notification_threads = true;
#endif

// Counts calls and lets the test wait for them.
struct bell {
    std::mutex lock;
    std::condition_variable rung;
    int rings = 0;
    pthread_t thread;

    static void ring(stream *, void *arg)
    {
        auto b = static_cast<bell *>(arg);
        std::lock_guard<std::mutex> held(b->lock);
        b->rings++;
        b->thread = pthread_self();
        b->rung.notify_all();
    }
    bool wait(int n)
    {
        std::unique_lock<std::mutex> held(lock);
        return rung.wait_for(held, std::chrono::seconds(20), [&] { return rings >= n; });
    }
    int count()
    {
        std::lock_guard<std::mutex> held(lock);
        return rings;
    }
};

// The system's asynchronous input keeps idle threads for a second; these tests do not wait for it.
[[maybe_unused]] static const bool prepared = [] {
    aioinit init = {};
    init.aio_threads = 20;
    init.aio_num = 64;
    init.aio_idle_time = -1;
    aio_init(&init);
    return true;
}();

// Asks until input was announced, or too long.
static bool announced(stream *s)
{
    int flag = 0;
    for (int i = 0; i < 20000 && flag == 0; i++) {
        EXPECT_EQ(s->ops.checkinput(s, &flag), 0);
        if (flag == 0) usleep(1000);
    }
    return flag == 1;
}

static int32_t readid(stream *s)
{
    int32_t id = -1;
    EXPECT_EQ(s->ops.startinmsg(s, &id), 0);
    s->ops.endinmsg(s);
    return id;
}

TEST(Async, TheListenerCallsBackOnceForEachStart)
{
    stream_end s(1);
    bell b;
    EXPECT_EQ(s.near->ops.mustpoll(s.near), 0);
    for (int i = 1; i <= 3; i++) {
        ASSERT_EQ(s.near->ops.startasync(s.near, bell::ring, &b), 0);
        s.givehex("00 00 03 e8");
        ASSERT_TRUE(b.wait(i));
        EXPECT_FALSE(pthread_equal(b.thread, pthread_self()));
        EXPECT_EQ(readid(s.near), 1000);
    }
    s.givehex("00 00 03 e8"); // not armed
    usleep(20000);
    EXPECT_EQ(b.count(), 3);
}

TEST(Async, AListenerThatWaitsForInputDoesNotHoldUpTheDestroy)
{
    for (bool armed : {false, true}) {
        stream_end s(1);
        bell b;
        ASSERT_EQ(s.near->ops.startasync(s.near, bell::ring, &b), 0);
        if (!armed) {
            s.give("x");
            ASSERT_TRUE(b.wait(1));
        }
        fdio_destroy(s.near);
        s.near = nullptr;
        EXPECT_EQ(b.count(), armed ? 0 : 1);
    }
}

TEST(Async, ASignalAnnouncesInputOnceAndItsByteIsReadFirst)
{
    stream_end s(0);
    int flag = 1;
    EXPECT_EQ(s.near->ops.mustpoll(s.near), 1);
    EXPECT_EQ(s.near->ops.checkinput(s.near, &flag), 0); // never started
    EXPECT_EQ(flag, 0);
    for (int i = 0; i < 3; i++) {
        ASSERT_EQ(s.near->ops.startasync(s.near, nullptr, nullptr), 0);
        s.near->ops.checkinput(s.near, &flag);
        EXPECT_EQ(flag, 0);
        s.givehex("00 00 03 e8");
        EXPECT_TRUE(announced(s.near));
        s.near->ops.checkinput(s.near, &flag);
        EXPECT_EQ(flag, 0);
        EXPECT_EQ(readid(s.near), 1000);
    }
}

// Signals of one kind are merged while one is pending, and none may end the process.
TEST(Async, ManyStreamsMayBeAnnouncedAtOnce)
{
    sigset_t blocked, before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    stream_end s[4] = {stream_end(0), stream_end(0), stream_end(0), stream_end(0)};
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    for (stream_end &e : s)
        ASSERT_EQ(e.near->ops.startasync(e.near, nullptr, nullptr), 0);
    for (stream_end &e : s)
        e.givehex("00 00 03 e8");
    usleep(50000);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    for (stream_end &e : s) {
        EXPECT_TRUE(announced(e.near));
        EXPECT_EQ(readid(e.near), 1000);
    }
}

TEST(Async, AReadBeforeTheAnnouncementWaitsForItsByte)
{
    stream_end s(0);
    int32_t id;
    int flag;
    ASSERT_EQ(s.near->ops.startasync(s.near, nullptr, nullptr), 0);
    *s.near->ops.getreadtimeout(s.near) = milliseconds(20);
    EXPECT_EQ(s.near->ops.startinmsg(s.near, &id), MESSAGE_IO);
    EXPECT_EQ(errno, ETIMEDOUT);
    s.near->ops.getreadtimeout(s.near)->enabled = 0;
    std::thread peer([&] {
        usleep(20000);
        s.givehex("00 00 03 e8");
    });
    EXPECT_EQ(readid(s.near), 1000);
    peer.join();
    // What was announced of that byte is stale with the next start.
    ASSERT_EQ(s.near->ops.startasync(s.near, nullptr, nullptr), 0);
    usleep(20000);
    s.near->ops.checkinput(s.near, &flag);
    EXPECT_EQ(flag, 0);
    s.hangup(); // the end of the input is announced as well
    EXPECT_TRUE(announced(s.near));
    EXPECT_EQ(s.near->ops.startinmsg(s.near, &id), MESSAGE_IO);
}

TEST(Async, ANotificationThreadCallsBackAndItsByteIsReadFirst)
{
    if (!notification_threads) GTEST_SKIP();
    stream_end s(0);
    bell b;
    for (int i = 1; i <= 3; i++) {
        ASSERT_EQ(s.near->ops.startasync(s.near, bell::ring, &b), 0);
        s.givehex("00 00 03 e8");
        ASSERT_TRUE(b.wait(i));
        EXPECT_EQ(readid(s.near), 1000);
    }
}

// A callback that serves its message and arms the next, as a worker's does.
struct server {
    std::atomic<int> served{0};
    static void serve(stream *s, void *arg)
    {
        int32_t id = readid(s);
        EXPECT_EQ(s->ops.startasync(s, serve, arg), 0);
        EXPECT_EQ(id, 1000);
        static_cast<server *>(arg)->served++;
    }
};

TEST(Async, ACallbackMayServeAndStartAgain)
{
    for (int uselistener : {1, 0}) {
        if (uselistener == 0 && !notification_threads) break;
        stream_end s(uselistener);
        server served;
        ASSERT_EQ(s.near->ops.startasync(s.near, server::serve, &served), 0);
        for (int i = 0; i < 200; i++)
            s.givehex("00 00 03 e8");
        for (int i = 0; i < 10000 && served.served < 200; i++)
            usleep(1000);
        EXPECT_EQ(served.served, 200);
        fdio_destroy(s.near); // armed
        s.near = nullptr;
        s.hangup(); // ends the read in flight
    }
}

// A transport that goes away while a read is in flight must close its connection for the peer.
TEST(Async, DestroyingAnArmedTransportClosesItsSocketAtOnce)
{
    transport_callback none = nullptr, nothing = [](transport *, void *) {};
    for (transport_callback callback : {none, nothing})
        for (int nothreads : {0, 1}) {
            if (callback != none && nothreads == 1 && !notification_threads) continue;
            int fds[2];
            ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
            transport t = {};
            ASSERT_EQ(fdtransport_setup(&t, fds[0], fds[0], nothreads, 0, nullptr), 0);
            ASSERT_EQ(fdtransport_startasync(&t, callback, nullptr), 0);
            fdtransport_teardown(&t);
            EXPECT_EQ(take_from(fds[1], 1), ""); // the end, not a wait for ever
            close(fds[1]);
        }
}

// A pipe's read cannot be ended; whoever writes later must not disturb a newer stream.
TEST(Async, AReadThatOutlivesItsStreamHarmsNobody)
{
    for (int round = 0; round < 3; round++) {
        int fds[2];
        stream *gone;
        stream_end s(0);
        ASSERT_EQ(pipe(fds), 0);
        ASSERT_EQ(fdio_create(&gone, fds[0], fds[0], 0, nullptr, nullptr), 0);
        ASSERT_EQ(gone->ops.startasync(gone, nullptr, nullptr), 0);
        fdio_destroy(gone);
        close(fds[0]);
        ASSERT_EQ(s.near->ops.startasync(s.near, nullptr, nullptr), 0);
        EXPECT_EQ(write(fds[1], "x", 1), 1);
        close(fds[1]);
        usleep(20000);
        int flag;
        s.near->ops.checkinput(s.near, &flag);
        EXPECT_EQ(flag, 0);
        s.givehex("00 00 03 e8");
        EXPECT_TRUE(announced(s.near));
        EXPECT_EQ(readid(s.near), 1000);
    }
}
