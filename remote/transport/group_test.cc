#include "remote/transport/group.h"

#include "remote/codec/catalogue.h"
#include "test/arrays.h"
#include "test/streams.h"

#include <cerrno>
#include <future>
#include <thread>

namespace vnt {

static const codec_factory *const factories[] = {builtin_getfactory(), vntcodec_getfactory()};

static const vntmsg_ACK ack = {nullptr, VNTMESSAGEID_ACK, 1, 2, 3};
static const char ACK[] = "00 00 03 e8 00 00 00 01 00 00 00 02 00 00 00 03";

// Transports over socket pairs and a group of them.
struct Group : testing::Test {
    static constexpr int N = 3;
    transport members[N] = {};
    transport *list[N];
    int peers[N];
    transport_group *g = nullptr;

    // A message that leaves in many pieces, more than a socket takes unread.
    chunked<double> data{std::vector<double>(500000, 1.5)};
    vntmsg_INFO large = {nullptr, VNTMESSAGEID_INFO, 0, 0, data.a};
    static constexpr size_t length = 12 + 20 + 8 * 500000;

    Group()
    {
        for (int i = 0; i < N; i++) {
            int fds[2];
            EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
            peers[i] = fds[1];
            EXPECT_EQ(fdtransport_setup(&members[i], fds[0], fds[0], 0, 2, factories), 0);
            members[i].ops.recvmsg = fdtransport_recvmsg;
            list[i] = &members[i];
        }
        EXPECT_EQ(fdtransport_mkgroup(&g, list, N), 0);
    }
    ~Group()
    {
        fdtransportgroup_destroy(g);
        for (int i = 0; i < N; i++) {
            fdtransport_teardown(&members[i]);
            hangup(i);
        }
    }
    void hangup(int i)
    {
        if (peers[i] >= 0) close(peers[i]);
        peers[i] = -1;
    }
    std::string states()
    {
        uint8_t s[N];
        g->ops.getstate(g, s);
        return std::string(1, char('0' + s[0])) + char('0' + s[1]) + char('0' + s[2]);
    }
    // How many bytes come out at a member's end, at most `n`.
    std::future<size_t> drain(int i, size_t n)
    {
        return std::async(std::launch::async, [=, this] { return take_from(peers[i], n).size(); });
    }
};

// A member may be gone, or take nothing for longer than it may.
TEST_F(Group, TheOthersGetAllOfALargeMessageWhenOneFails)
{
    vntmsg_TERMINATE foreign = {nullptr, 77};
    EXPECT_EQ(g->ops.sendmsg(g, &foreign), MESSAGE_UNKNOWN);
    for (int expected : {ETIMEDOUT, EPIPE}) {
        *members[1].io->ops.getwritetimeout(members[1].io) = milliseconds(30);
        if (expected == EPIPE) hangup(1);
        auto first = drain(0, length), third = drain(2, length);
        EXPECT_EQ(g->ops.sendmsg(g, &large), MESSAGE_IO);
        EXPECT_EQ(errno, expected);
        EXPECT_EQ(first.get() + third.get(), 2 * length);
        EXPECT_EQ(states(), "010");
        EXPECT_EQ(g->ops.sendmsg(g, &ack), 0);
        for (int i : {0, 2})
            EXPECT_EQ(hex(take_from(peers[i], 16)), ACK);
        const uint8_t anew[N] = {0, 0, 0};
        g->ops.setstate(g, anew);
    }
}

// The first member's peer reads only once the others have more than its socket takes.
TEST_F(Group, ASlowMemberDoesNotHoldUpTheOthers)
{
    static constexpr size_t early = 262144;
    std::thread peer([&] {
        EXPECT_EQ(drain(2, early).get() + drain(1, early).get(), 2 * early);
        auto first = drain(0, length), second = drain(1, length - early),
             third = drain(2, length - early);
        EXPECT_EQ(first.get() + second.get() + third.get(), 3 * length - 2 * early);
    });
    EXPECT_EQ(g->ops.sendmsg(g, &large), 0);
    peer.join();
}

} // namespace vnt
