#include "tcpip/tcpip.h"

#include "codec/catalogue.h"
#include "fdio/group.h"
#include "test/scripted.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <netinet/tcp.h>

namespace {

std::string bytes(std::initializer_list<int> list)
{
    return std::string(list.begin(), list.end());
}

std::string taken(int fd, size_t n)
{
    std::string all(n, '\0');
    size_t got = 0;
    for (ssize_t r = 1; got < n && r > 0; got += static_cast<size_t>(r))
        r = recv(fd, all.data() + got, n - got, 0);
    return all;
}

void give(int fd, const std::string &what)
{
    EXPECT_EQ(send(fd, what.data(), what.size(), MSG_NOSIGNAL), ssize_t(what.size()));
}

std::string id(int64_t value)
{
    return std::string(reinterpret_cast<char *>(&value), sizeof value);
}

const std::string OK(2, '\0');

// Accepts a client and then reads until it goes; keeps what came.
script accepting(std::string *heard = nullptr, int64_t worker = 4711)
{
    return [=](int fd) {
        taken(fd, 4);
        give(fd, OK + id(worker));
        char block[256];
        for (ssize_t r; (r = recv(fd, block, sizeof block, 0)) > 0;)
            if (heard != nullptr) heard->append(block, static_cast<size_t>(r));
    };
}

const codec_factory *const codecs[] = {builtin_getfactory(), vntcodec_getfactory()};

int connect_to(const std::vector<std::string> &arguments, transport **out)
{
    std::vector<const char *> argv;
    for (const std::string &a : arguments)
        argv.push_back(a.c_str());
    int created = 0;
    int rc = tcpiptransport_getfactory()->connect(out, &created, 2, codecs, int(argv.size()),
                                                  argv.data());
    EXPECT_EQ(created, rc == 0);
    EXPECT_EQ(*out != nullptr, rc == 0);
    return rc;
}

int connect_fails(const std::vector<std::string> &arguments)
{
    transport *t;
    int rc = connect_to(arguments, &t);
    if (rc == 0) t->ops.destroy(t);
    return rc;
}

// A transport that stands, to a server that only listens.
struct connected : testing::Test {
    std::string heard;
    scripted_server server{{accepting(&heard)}};
    transport *t = nullptr;
    void SetUp() override { ASSERT_EQ(connect_to({server.address()}, &t), 0); }
    void TearDown() override
    {
        if (t != nullptr) t->ops.destroy(t);
    }
};

} // namespace

TEST(Tcpip, ANewWorkerIsAskedForInFourBytesAndEndedWithATerminateMessage)
{
    std::string asked, rest;
    scripted_server server({[&](int fd) {
        asked = taken(fd, 4);
        give(fd, OK + id(-5)); // any id but zero will do
        rest = taken(fd, 8);   // the end of the connection comes after four
    }});
    transport *t;
    ASSERT_EQ(connect_to({"-host=127.0.0.1", "-port=" + std::to_string(server.port)}, &t), 0);
    EXPECT_STREQ(t->ops.factoryname(), "tcpiptransport");
    EXPECT_EQ(t->ops.reconnectinfolen(), 160);
    EXPECT_EQ(static_cast<tcpip_transport *>(t)->workerid, -5);
    EXPECT_EQ(t->ops.mustpoll(t), 0);
    int nodelay = 0, keepalive = 0;
    socklen_t length = sizeof(int);
    getsockopt(t->infd, IPPROTO_TCP, TCP_NODELAY, &nodelay, &length);
    getsockopt(t->infd, SOL_SOCKET, SO_KEEPALIVE, &keepalive, &length);
    EXPECT_TRUE(nodelay && keepalive);
    EXPECT_EQ(t->ops.destroy(t), 0);
    server.end();
    EXPECT_EQ(asked, bytes({0, 0, 0, 1}));
    EXPECT_EQ(rest, bytes({0, 0, 0, 4, 0, 0, 0, 0}));
}

TEST(Tcpip, ArgumentsThatLeadNowhereAreRefusedBeforeAnythingIsTried)
{
    transport *t;
    int created;
    const tcpip_factory *f = tcpiptransport_getfactory();
    const char *arguments[] = {"-address=127.0.0.1:1"};
    EXPECT_EQ(f->connect(&t, &created, 0, codecs, 1, arguments), MESSAGE_INVALID);
    EXPECT_EQ(f->connect(&t, &created, 2, codecs, 0, arguments), MESSAGE_INVALID);
    EXPECT_EQ(f->connect(&t, &created, 2, codecs, -1, arguments), MESSAGE_INVALID);
    for (const std::vector<std::string> &wrong :
         std::vector<std::vector<std::string>>{{"-host=h"},
                                               {"-port=1"},
                                               {"-host=", "-port=1"},
                                               {"-host=h", "-port="},
                                               {"-host=h", "-port=65536"},
                                               {"-host=h", "-port=-1"},
                                               {"-host=h", "-port=18446744073709551617"},
                                               {"-host=h", "-port=12x"},
                                               {"-address=h:65536"},
                                               {"-address=:1"},
                                               {"-address=" + std::string(1024, 'a')},
                                               {"-address=127.0.0.1:1", "-what"},
                                               {"-address=127.0.0.1:1", "-nothreads=1"}})
        EXPECT_EQ(connect_fails(wrong), MESSAGE_INVALID) << wrong[0] << wrong.back();
}

TEST(Tcpip, WhereNobodyAnswersThereIsNoConnection)
{
    int port;
    {
        scripted_server gone({});
        port = gone.port;
    }
    EXPECT_EQ(connect_fails({"-address=127.0.0.1:" + std::to_string(port)}), MESSAGE_NOCONNECTION);
    EXPECT_EQ(errno, ECONNREFUSED);
    EXPECT_EQ(connect_fails({"-host=127.0.0.1", "-port=65535"}), MESSAGE_NOCONNECTION);
    EXPECT_EQ(connect_fails({"-host=no host has this name", "-port=1"}), MESSAGE_NOCONNECTION);
    EXPECT_EQ(connect_fails({"-address=" + std::string(1023, 'a')}), MESSAGE_NOCONNECTION);
    // Without a port it is 12345.  Nothing of a test listens there.
    EXPECT_EQ(connect_fails({"-address=127.0.0.1"}), MESSAGE_NOCONNECTION);
}

TEST(Tcpip, WithoutArgumentsTheEnvironmentSaysWhere)
{
    scripted_server server({accepting()});
    setenv("TESK_VANTO_TCPIP_HOST", "127.0.0.1", 1);
    setenv("TESK_VANTO_TCPIP_PORT", std::to_string(server.port).c_str(), 1);
    transport *t;
    int created = 0;
    auto connect = tcpiptransport_getfactory()->connect;
    ASSERT_EQ(connect(&t, &created, 2, codecs, -2, nullptr), 0);
    EXPECT_EQ(created, 1);
    t->ops.destroy(t);
    setenv("TESK_VANTO_TCPIP_HOST", "", 1); // empty counts as unset
    setenv("TESK_VANTO_TCPIP_PORT", "1", 1);
    EXPECT_EQ(connect(&t, &created, 2, codecs, -2, nullptr), MESSAGE_NOCONNECTION);
    EXPECT_EQ(errno, ECONNREFUSED);
    setenv("TESK_VANTO_TCPIP_PORT", "99999", 1);
    EXPECT_EQ(connect(&t, &created, 2, codecs, -2, nullptr), MESSAGE_INVALID);
    setenv("TESK_VANTO_TCPIP_HOST", std::string(2000, 'a').c_str(), 1);
    EXPECT_EQ(connect(&t, &created, 2, codecs, -2, nullptr), MESSAGE_INVALID);
    unsetenv("TESK_VANTO_TCPIP_HOST");
    unsetenv("TESK_VANTO_TCPIP_PORT");
}

TEST(Tcpip, TheServersAnswerDecides)
{
    struct {
        std::string answer;
        int code;
    } const cases[] = {
        {bytes({0, 1}), HANDSHAKE_NORESOURCES},
        {bytes({0, 6}), HANDSHAKE_NOACTION},
        {bytes({1, 2}), 258},
        {"", MESSAGE_IO},
        {bytes({0}), MESSAGE_IO},
        {OK, MESSAGE_IO},
        {OK + id(7).substr(0, 7), MESSAGE_IO},
        {OK + id(0), MESSAGE_NOCONNECTION},
    };
    for (auto &c : cases) {
        scripted_server server({[&](int fd) {
            taken(fd, 4);
            give(fd, c.answer);
        }});
        EXPECT_EQ(connect_fails({server.address()}), c.code);
    }
}

TEST(Tcpip, WhatDisconnectLeavesLeadsBackToTheWorker)
{
    std::string asked;
    int64_t worker = 0x0102030405060708;
    scripted_server server({accepting(&asked, worker), [&](int fd) {
                                asked += "again" + taken(fd, 12);
                                give(fd, OK + id(worker + 1));
                            }});
    transport *t;
    ASSERT_EQ(connect_to({server.address(), "-nothreads"}, &t), 0);
    EXPECT_EQ(t->ops.mustpoll(t), 1);
    char info[161];
    memset(info, 0x5a, sizeof info);
    EXPECT_EQ(t->ops.disconnect(t, info), 0);
    EXPECT_EQ(info[160], 0x5a);
    int32_t words[3];
    int64_t stored, length;
    int32_t nothreads;
    memcpy(&nothreads, info, 4);
    memcpy(&stored, info + 4, 8);
    memcpy(words, info + 12, 12);
    memcpy(&length, info + 152, 8);
    EXPECT_EQ(nothreads, 1);
    EXPECT_EQ(stored, worker);
    EXPECT_EQ(words[0], AF_INET);
    EXPECT_EQ(words[1], SOCK_STREAM);
    sockaddr_in address;
    memcpy(&address, info + 24, sizeof address);
    EXPECT_EQ(ntohs(address.sin_port), server.port);
    EXPECT_EQ(length, int64_t(sizeof address));

    ASSERT_EQ(tcpiptransport_getfactory()->reconnect(&t, 2, codecs, info), 0);
    EXPECT_EQ(t->ops.mustpoll(t), 1) << "threads stay switched off";
    EXPECT_EQ(static_cast<tcpip_transport *>(t)->workerid, worker + 1);
    t->ops.disconnect(t, nullptr);
    server.end();
    // The first connection ended without a word; the second named the worker.
    EXPECT_EQ(asked, "again" + bytes({0, 0, 0, 2}) + id(worker));
}

TEST(Tcpip, ReconnectRefusesBytesThatAreNoWayBack)
{
    transport *t;
    tcpip_reconnectinfo info = {};
    auto reconnect = tcpiptransport_getfactory()->reconnect;
    EXPECT_EQ(reconnect(&t, 0, codecs, &info), MESSAGE_INVALID);
    info.addresslen = 129;
    EXPECT_EQ(reconnect(&t, 2, codecs, &info), MESSAGE_INVALID);
    info.addresslen = 16;
    info.family = 9999;
    EXPECT_EQ(reconnect(&t, 2, codecs, &info), MESSAGE_NOCONNECTION);
}

TEST(Tcpip, DestroyingATransportWhoseWorkerIsGoneIsQuiet)
{
    scripted_server server({[](int fd) {
        taken(fd, 4);
        give(fd, OK + id(1));
        linger reset = {1, 0}; // the next write of the other end meets a dead connection
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    }});
    transport *t;
    ASSERT_EQ(connect_to({server.address()}, &t), 0);
    void *message;
    EXPECT_EQ(t->ops.recvmsg(t, &message), MESSAGE_IO);
    EXPECT_EQ(t->ops.destroy(t), 0);
}

TEST(Tcpip, AMessageThatWasHandedOutIsFreedWithTheTransport)
{
    scripted_server server({[](int fd) {
        taken(fd, 4);
        give(fd, OK + id(1) + bytes({0, 0, 3, 0xeb, 0, 0, 0, 9})); // 1003, flags 9
        taken(fd, 4);
    }});
    transport *t;
    ASSERT_EQ(connect_to({server.address()}, &t), 0);
    void *message;
    ASSERT_EQ(t->ops.recvmsg(t, &message), 0);
    EXPECT_EQ(static_cast<vntmsg_ASYNCTEST_REQ *>(message)->flags, 9);
    EXPECT_EQ(t->ops.destroy(t), 0);
}

TEST_F(connected, TimeoutsAreOffUntilTheyAreSet)
{
    for (int32_t set : {CTRL_SET_READTIMEOUT, CTRL_SET_WRITETIMEOUT}) {
        int32_t get = set + 1, i = 7;
        int64_t l = 0;
        double d = 0;
        EXPECT_EQ(t->ops.ctrlint(t, get, &i), 0);
        EXPECT_EQ(i, -1);
        int option = set == CTRL_SET_READTIMEOUT ? SO_RCVTIMEO : SO_SNDTIMEO;
        timeval value;
        socklen_t length = sizeof value;
        auto insystem = [&] {
            getsockopt(t->infd, SOL_SOCKET, option, &value, &length);
            return value.tv_sec * 1000 + value.tv_usec / 1000;
        };
        l = 12345;
        EXPECT_EQ(t->ops.ctrllong(t, set, &l), 0);
        EXPECT_NEAR(double(insystem()), 12345, 10); // the system rounds to its ticks
        EXPECT_EQ(t->ops.ctrldbl(t, get, &d), 0);
        EXPECT_EQ(d, 12345.0);
        d = 2500.9;
        EXPECT_EQ(t->ops.ctrldbl(t, set, &d), 0);
        EXPECT_EQ(t->ops.ctrllong(t, get, &l), 0);
        EXPECT_EQ(l, 2500);
        l = 1LL << 40;
        EXPECT_EQ(t->ops.ctrllong(t, set, &l), 0);
        EXPECT_EQ(t->ops.ctrlint(t, get, &i), 0);
        EXPECT_EQ(i, INT_MAX);
        i = -3;
        EXPECT_EQ(t->ops.ctrlint(t, set, &i), 0);
        EXPECT_EQ(insystem(), 0);
        EXPECT_EQ(t->ops.ctrllong(t, get, &l), 0);
        EXPECT_EQ(l, -1);
        i = 0;
        EXPECT_EQ(t->ops.ctrlint(t, set, &i), 0);
        EXPECT_EQ(t->ops.ctrllong(t, get, &l), 0);
        EXPECT_EQ(l, 0) << "no time at all is a time-out too";
    }
}

TEST_F(connected, ControlsRefuseWhatTheyDoNotKnow)
{
    int32_t i = 1;
    int64_t l = 1;
    for (double d : {double(NAN), double(INFINITY), 9.3e18, -9.3e18})
        EXPECT_EQ(t->ops.ctrldbl(t, CTRL_SET_READTIMEOUT, &d), MESSAGE_INVALID) << d;
    double nan = NAN;
    EXPECT_EQ(t->ops.ctrldbl(t, CTRL_GET_READTIMEOUT, &nan), 0) << "only asked, not taken";
    EXPECT_EQ(nan, -1.0);
    for (int32_t key : {0, 8191, 8196}) {
        EXPECT_EQ(t->ops.ctrlint(t, key, &i), MESSAGE_INVALID);
        EXPECT_EQ(t->ops.ctrllong(t, key, &l), MESSAGE_INVALID);
        EXPECT_EQ(t->ops.ctrldbl(t, key, &nan), MESSAGE_INVALID);
    }
    EXPECT_EQ(t->ops.ctrlint(t, CTRL_GET_READTIMEOUT, nullptr), MESSAGE_INVALID);
    EXPECT_EQ(t->ops.ctrllong(t, CTRL_SET_READTIMEOUT, nullptr), MESSAGE_INVALID);
    EXPECT_EQ(t->ops.ctrldbl(t, CTRL_SET_READTIMEOUT, nullptr), MESSAGE_INVALID);
}

TEST_F(connected, ASilentWorkerEndsAWaitWhenThereIsATimeout)
{
    int32_t ms = 50;
    ASSERT_EQ(t->ops.ctrlint(t, CTRL_SET_READTIMEOUT, &ms), 0);
    void *message;
    EXPECT_EQ(t->ops.recvmsg(t, &message), MESSAGE_IO);
    EXPECT_EQ(errno, ETIMEDOUT);
}
