#include "fdio/group.h"

#include "codec/catalogue.h"
#include "test/allocations.h"
#include "test/fields.h"
#include "test/streams.h"

#include <cerrno>
#include <csignal>
#include <map>
#include <thread>

#include <fcntl.h>

static const codec_factory *const factories[] = {builtin_getfactory(), vntcodec_getfactory()};

// Transports over socket pairs, or pipes where the test asks for them, and a group of them.
struct Group : testing::Test {
    static constexpr int N = 3;
    transport members[N] = {};
    transport *list[N];
    int peers[N];
    transport_group *g = nullptr;

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
};

static const vntmsg_ACK ack = {nullptr, VNTMESSAGEID_ACK, 1, 2, 3};
static const char ACK[] = "00 00 03 e8 00 00 00 01 00 00 00 02 00 00 00 03";

TEST_F(Group, EveryMemberGetsTheMessage)
{
    vntmsg_TERMINATE foreign = {nullptr, 77};
    EXPECT_EQ(g->ops.sendmsg(g, &ack), 0);
    EXPECT_EQ(g->ops.sendmsg(g, &foreign), MESSAGE_UNKNOWN);
    for (int peer : peers)
        EXPECT_EQ(hex(take_from(peer, 16)), ACK);
    EXPECT_EQ(states(), "000");
}

// A message of a few megabytes, which leaves in many pieces.
struct large_message {
    array_of<double> data{TYPE_DOUBLE, {std::vector<double>(500000, 1.5)}};
    vntmsg_INFO info = {};
    static constexpr size_t length = 12 + 20 + 8 * 500000;
    large_message()
    {
        info.messageid = VNTMESSAGEID_INFO;
        info.data = data.a;
    }
};

TEST_F(Group, TheOthersGetAllOfALargeMessageWhenOneFails)
{
    large_message m;
    size_t got[N] = {};
    hangup(1);
    std::thread first([&] { got[0] = take_from(peers[0], m.length).size(); });
    std::thread third([&] { got[2] = take_from(peers[2], m.length).size(); });
    EXPECT_EQ(g->ops.sendmsg(g, &m.info), MESSAGE_IO);
    EXPECT_EQ(errno, EPIPE);
    first.join();
    third.join();
    EXPECT_EQ(got[0], m.length);
    EXPECT_EQ(got[2], m.length);
    EXPECT_EQ(states(), "010");
    EXPECT_EQ(g->ops.sendmsg(g, &ack), 0);
    EXPECT_EQ(hex(take_from(peers[2], 16)), ACK);
}

// The first member's peer reads only once the others have everything of what fits their buffers.
TEST_F(Group, ASlowMemberDoesNotHoldUpTheOthers)
{
    large_message m;
    static constexpr size_t early = 262144; // more than the slow one's socket takes
    size_t got[N] = {};
    std::thread peer([&] {
        got[2] = take_from(peers[2], early).size();
        got[1] = take_from(peers[1], early).size();
        std::thread second([&] { got[1] += take_from(peers[1], m.length - early).size(); });
        std::thread third([&] { got[2] += take_from(peers[2], m.length - early).size(); });
        got[0] = take_from(peers[0], m.length).size();
        second.join();
        third.join();
    });
    EXPECT_EQ(g->ops.sendmsg(g, &m.info), 0);
    peer.join();
    for (size_t n : got)
        EXPECT_EQ(n, m.length);
}

TEST_F(Group, AMemberThatTakesNothingForTooLongFailsAlone)
{
    large_message m;
    *members[1].io->ops.getwritetimeout(members[1].io) = milliseconds(30);
    size_t got[N] = {};
    std::thread first([&] { got[0] = take_from(peers[0], m.length).size(); });
    std::thread third([&] { got[2] = take_from(peers[2], m.length).size(); });
    EXPECT_EQ(g->ops.sendmsg(g, &m.info), MESSAGE_IO);
    EXPECT_EQ(errno, ETIMEDOUT);
    first.join();
    third.join();
    EXPECT_EQ(got[0] + got[2], 2 * m.length);
    EXPECT_EQ(states(), "010");
}

// Counts messages by member; asks each for `wanted` of them.
struct collector {
    std::map<transport *, int> messages;
    int wanted = 1;
    static int collect(transport *t, void *message, void *arg, int *done)
    {
        auto c = static_cast<collector *>(arg);
        EXPECT_EQ(message_id(message), uint32_t(VNTMESSAGEID_ACK));
        if (++c->messages[t] < c->wanted) *done = 0;
        return 0;
    }
};

TEST_F(Group, AnswersAreCollectedFromEachMemberInTheOrderTheyCome)
{
    collector c;
    c.wanted = 2;
    std::thread peer([&] {
        for (int i : {2, 0, 1, 2, 1, 0}) {
            give_to(peers[i], bytes(ACK));
            usleep(2000);
        }
    });
    EXPECT_EQ(g->ops.recvone(g, collector::collect, &c), 0);
    peer.join();
    for (transport *t : list)
        EXPECT_EQ(c.messages[t], 2);
    EXPECT_EQ(states(), "222");
    EXPECT_EQ(g->ops.sendmsg(g, &ack), 0); // reaches nobody
    const uint8_t again[N] = {2, 0, 2};
    g->ops.setstate(g, again);
    EXPECT_EQ(g->ops.sendmsg(g, &ack), 0);
    EXPECT_EQ(hex(take_from(peers[1], 16)), ACK);
    EXPECT_EQ(recv(peers[0], &c, 1, MSG_DONTWAIT), -1);
}

TEST_F(Group, AMemberWhoseAnswerFailsIsMarkedAndTheOthersAnswer)
{
    collector c;
    give_to(peers[0], bytes(ACK));
    hangup(1);
    give_to(peers[2], bytes("00 00 00 4d")); // of no codec
    EXPECT_EQ(g->ops.recvone(g, collector::collect, &c), MESSAGE_IO);
    EXPECT_EQ(states(), "211");
    EXPECT_EQ(c.messages.size(), 1u);
}

TEST_F(Group, OnlyDescriptorTransportsWithLikeCodecsMakeAGroup)
{
    transport_group *other;
    transport *odd[2] = {list[0], nullptr};
    EXPECT_EQ(fdtransport_mkgroup(&other, list, 0), MESSAGE_INVALID);
    EXPECT_EQ(fdtransport_mkgroup(&other, odd, 2), MESSAGE_INVALID);
    odd[1] = list[1];
    list[1]->ncodecs = 1;
    EXPECT_EQ(fdtransport_mkgroup(&other, odd, 2), MESSAGE_INVALID);
    list[1]->ncodecs = 2;
    std::swap(list[1]->codecs[0], list[1]->codecs[1]);
    EXPECT_EQ(fdtransport_mkgroup(&other, odd, 2), MESSAGE_INVALID);
    std::swap(list[1]->codecs[0], list[1]->codecs[1]);
    list[1]->tag = 0;
    EXPECT_EQ(fdtransport_mkgroup(&other, odd, 2), MESSAGE_INVALID);
    list[1]->tag = TRANSPORT_TAG;
    int64_t steps = allocations_fail_each(0, MESSAGE_NOMEMORY,
                                          [&] { return fdtransport_mkgroup(&other, odd, 2); });
    EXPECT_GE(steps, 7);
    EXPECT_EQ(other->tag, TRANSPORTGROUP_TAG);
    other->ops.destroy(other);
}
