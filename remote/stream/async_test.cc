#include "remote/stream/async.h"

#include "remote/transport/transport.h"
#include "test/process.h"
#include "test/streams.h"

#include <atomic>
#include <csignal>
#include <thread>

#include <aio.h>
#include <fcntl.h>
#include <sys/resource.h>

namespace vnt {

// The thread sanitizer does not know threads that the C library makes for notifications.
#ifdef __SANITIZE_THREAD__
static constexpr bool notification_threads = false;
#else
static constexpr bool notification_threads = true;
#endif

// The system's asynchronous input keeps idle threads for a second; these tests do not wait for it.
[[maybe_unused]] static const bool prepared = [] {
    aioinit init = {};
    init.aio_threads = 20;
    init.aio_num = 64;
    init.aio_idle_time = -1;
    aio_init(&init);
    return true;
}();

static const char MESSAGE[] = "00 00 03 e8";

static int flag(stream *s)
{
    int set = -1;
    EXPECT_EQ(s->ops.checkinput(s, &set), 0);
    return set;
}

// Asks until input was announced, or too long.
static bool announced(stream *s)
{
    return eventually([s] { return flag(s) == 1; });
}

static int32_t read_id(stream *s)
{
    int32_t id = -1;
    EXPECT_EQ(s->ops.startinmsg(s, &id), 0);
    s->ops.endinmsg(s);
    return id;
}

// A callback that serves its message and arms the next, as a worker's does.
struct server {
    static constexpr int MANY = 200;
    std::atomic<int> served{0};
    static void serve(stream *s, void *arg)
    {
        auto self = static_cast<server *>(arg);
        EXPECT_EQ(read_id(s), 1000);
        int rc = self->served + 1 < MANY ? s->ops.startasync(s, serve, arg) : 0;
        EXPECT_EQ(rc, 0);
        self->served++;
    }
    bool wait(int n) const
    {
        return eventually([=, this] { return served == n; });
    }
};

TEST(Async, ACallbackComesOnceForEachStartWhichItMayDoItself)
{
    for (int uselistener : {1, 0}) {
        if (uselistener == 0 && !notification_threads) break;
        stream_end s(uselistener);
        server served;
        EXPECT_EQ(s.near->ops.mustpoll(s.near), !uselistener);
        ASSERT_EQ(s.near->ops.startasync(s.near, server::serve, &served), 0);
        for (int i = 0; i <= server::MANY; i++)
            s.give_hex(MESSAGE);
        EXPECT_TRUE(served.wait(server::MANY));
        usleep(20000); // one message is left, and no read has been armed for it
        EXPECT_EQ(served.served, server::MANY);
        EXPECT_EQ(read_id(s.near), 1000);
    }
}

// The read that follows tells what is wrong.  Where a process may have one descriptor, poll() takes
// no two.
TEST(Async, AWaitThatFailsCountsAsInput)
{
    stream_end s(true);
    std::atomic<int> calls{0};
    const stream_callback count = [](stream *, void *calls) {
        ++*static_cast<std::atomic<int> *>(calls);
    };
    const auto called = [&] {
        ASSERT_EQ(s.near->ops.startasync(s.near, count, &calls), 0);
        eventually([&] { return calls > 0; });
        EXPECT_EQ(calls.exchange(0), 1);
    };
    s.give_hex(MESSAGE); // the listener is made
    called();
    EXPECT_EQ(read_id(s.near), 1000);
    rlimit limits;
    getrlimit(RLIMIT_NOFILE, &limits);
    const rlimit one = {1, limits.rlim_max};
    setrlimit(RLIMIT_NOFILE, &one);
    called();
    setrlimit(RLIMIT_NOFILE, &limits);
}

// A stream or transport that goes away while it waits for input closes its connection for the
// peer, and never calls back.
TEST(Async, DestroyingAnArmedTransportClosesItsSocketAtOnce)
{
    transport_callback none = nullptr, nothing = [](transport *, void *) { ADD_FAILURE(); };
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

// The callback arms the stream once its destruction has begun and waits for the callback.
TEST(Async, ACallbackMayArmAStreamThatIsBeingDestroyed)
{
    struct late {
        std::atomic<bool> called{false};
        static bool ending(fdio *f)
        {
            if (f->notice != nullptr) return usleep(50000) == 0; // nothing shows from outside
            pthread_mutex_lock(&f->listener_lock);
            bool stop = f->command == 2;
            pthread_mutex_unlock(&f->listener_lock);
            return stop;
        }
        static void arm(stream *s, void *arg)
        {
            static_cast<late *>(arg)->called = true;
            while (!ending(static_cast<fdio *>(s)))
                usleep(1000);
            EXPECT_EQ(s->ops.startasync(s, arm, arg), 0);
        }
    };
    for (int uselistener : {1, 0}) {
        if (uselistener == 0 && !notification_threads) break;
        stream_end s(uselistener);
        late callback;
        ASSERT_EQ(s.near->ops.startasync(s.near, late::arm, &callback), 0);
        s.give_hex(MESSAGE);
        while (!callback.called)
            usleep(1000);
        fdio_destroy(s.near); // returns
        s.near = nullptr;
        EXPECT_EQ(take_from(s.own, 4 - !uselistener).size(), size_t(4 - !uselistener));
    }
}

// Signals of one kind are merged while one is pending, and none may end the process.
TEST(Async, SignalsAnnounceTheInputOfManyStreamsOnceEach)
{
    sigset_t blocked, before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    stream_end s[4] = {stream_end(0), stream_end(0), stream_end(0), stream_end(0)};
    EXPECT_EQ(flag(s[0].near), 0); // never started
    for (int round = 0; round < 3; round++) {
        pthread_sigmask(SIG_BLOCK, &blocked, &before);
        for (stream_end &e : s) {
            ASSERT_EQ(e.near->ops.startasync(e.near, nullptr, nullptr), 0);
            EXPECT_EQ(flag(e.near), 0);
            e.give_hex(MESSAGE);
        }
        usleep(20000);
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        for (stream_end &e : s) {
            EXPECT_TRUE(announced(e.near));
            EXPECT_EQ(flag(e.near), 0);
            EXPECT_EQ(read_id(e.near), 1000); // the byte that was read ahead comes first
        }
    }
}

TEST(Async, AReadBeforeTheAnnouncementWaitsForItsByte)
{
    stream_end s(0);
    int32_t id;
    ASSERT_EQ(s.near->ops.startasync(s.near, nullptr, nullptr), 0);
    *s.near->ops.getreadtimeout(s.near) = milliseconds(20);
    EXPECT_EQ(s.near->ops.startinmsg(s.near, &id), MESSAGE_IO);
    EXPECT_EQ(errno, ETIMEDOUT);
    s.near->ops.getreadtimeout(s.near)->enabled = 0;
    std::thread peer([&] {
        usleep(20000);
        s.give_hex(MESSAGE);
    });
    EXPECT_EQ(read_id(s.near), 1000);
    peer.join();
    // What was announced of that byte is stale with the next start.
    ASSERT_EQ(s.near->ops.startasync(s.near, nullptr, nullptr), 0);
    usleep(20000);
    EXPECT_EQ(flag(s.near), 0);
    s.hangup(); // the end of the input is announced as well
    EXPECT_TRUE(announced(s.near));
    EXPECT_EQ(s.near->ops.startinmsg(s.near, &id), MESSAGE_IO);
}

} // namespace vnt
