#include "remote/transport/tcpip.h"

#include "remote/base/holders.h"
#include "remote/codec/catalogue.h"
#include "test/scripted.h"

#include <cerrno>
#include <cmath>
#include <gtest/gtest.h>
#include <netdb.h>
#include <optional>

namespace vnt {

namespace {

const codec_factory *const codecs[] = {builtin_getfactory(), vntcodec_getfactory()};
const tcpip_factory *const factory = tcpiptransport_getfactory();

// Hears what a client wants, gives this answer, and hears the rest until the client goes.
script answering(const std::string &answer, std::string *heard = nullptr)
{
    return [=](int fd) {
        std::string all = take_from(fd, 4);
        if (all == bytes("00 00 00 02")) all += take_from(fd, 8);
        give_to(fd, answer);
        shutdown(fd, SHUT_WR);
        all += take_from(fd, SIZE_MAX);
        if (heard != nullptr) *heard += all;
    };
}

// The answer that lets a client in.
std::string welcome(int64_t worker)
{
    return std::string(2, '\0') + raw_id(worker);
}

struct Tcpip : testing::Test {
    std::optional<scripted_server> server; // ends after the transport
    transport *t = nullptr;

    ~Tcpip() { destroy(); }
    void serve(const std::vector<script> &scripts) { server.emplace(scripts); }
    void destroy()
    {
        EXPECT_EQ(t != nullptr ? t->ops.destroy(t) : 0, 0);
        t = nullptr;
    }
    int connect(const std::vector<std::string> &arguments)
    {
        std::vector<const char *> argv;
        for (const std::string &a : arguments)
            argv.push_back(a.c_str());
        destroy();
        int created = 0;
        int rc = factory->connect(&t, &created, 2, codecs, int(argv.size()), argv.data());
        EXPECT_EQ(created, rc == 0);
        EXPECT_EQ(t != nullptr, rc == 0);
        return rc;
    }
    int64_t worker_id() const { return static_cast<tcpip_transport *>(t)->worker_id; }
    template <class value> value option(int level, int name) const
    {
        value v = {};
        socklen_t length = sizeof v;
        getsockopt(t->infd, level, name, &v, &length);
        return v;
    }
};

} // namespace

TEST_F(Tcpip, ANewWorkerIsAskedForInFourBytesAndEndedWithATerminateMessage)
{
    std::string heard;
    serve({answering(welcome(-5), &heard)}); // any id but zero will do
    ASSERT_EQ(connect({"-host=127.0.0.1", "-port=" + std::to_string(server->port)}), 0);
    EXPECT_STREQ(t->ops.factoryname(), "tcpiptransport");
    EXPECT_EQ(worker_id(), -5);
    EXPECT_EQ(t->ops.mustpoll(t), 0);
    EXPECT_TRUE(option<int>(IPPROTO_TCP, TCP_NODELAY));
    EXPECT_TRUE(option<int>(SOL_SOCKET, SO_KEEPALIVE));
    destroy();
    server->end();
    EXPECT_EQ(hex(heard), "00 00 00 01 00 00 00 04");
}

TEST_F(Tcpip, ArgumentsThatLeadNowhereAreToldFromAServerThatIsNotThere)
{
    const std::vector<std::string> refused[] = {
        {"-host=h"},
        {"-port=1"},
        {"-host=h", "-port=12x"},
        {"-address=h:65536"},
        {"-address=127.0.0.1:1", "-what"},
    };
    for (auto &wrong : refused)
        EXPECT_EQ(connect(wrong), MESSAGE_INVALID) << wrong[0] << wrong.back();
    EXPECT_EQ(connect({"-host=127.0.0.1", "-port=65535"}), MESSAGE_NOCONNECTION);
    EXPECT_EQ(errno, ECONNREFUSED);
    EXPECT_EQ(connect({"-host=no host has this name", "-port=1"}), MESSAGE_NOCONNECTION);
}

TEST_F(Tcpip, AHostMayStandInBracketsAndAnyOfItsAddressesWillDo)
{
    std::vector<const char *> hosts = {"[127.0.0.1]"};
    addrinfo *found = nullptr;
    if (getaddrinfo("localhost", nullptr, nullptr, &found) == 0) { // not all machines know it
        hosts.push_back("localhost");                              // often leads to ::1 first
        freeaddrinfo(found);
    }
    for (const char *host : hosts)
        for (bool joined : {true, false}) {
            serve({answering(welcome(7))});
            std::string port = std::to_string(server->port);
            std::vector<std::string> apart = {std::string("-host=") + host, "-port=" + port};
            std::vector<std::string> together = {std::string("-address=") + host + ":" + port};
            EXPECT_EQ(connect(joined ? together : apart), 0) << host << joined;
            destroy();
        }
}

TEST_F(Tcpip, ASilentServerAndAHostThatDoesNotAnswerAreNotWaitedForLongerThanSaid)
{
    std::string heard;
    int created = 0;
    serve({answering("", &heard), [](int fd) { take_from(fd, SIZE_MAX); },
           [](int fd) { take_from(fd, SIZE_MAX); }});
    auto to = [&](int port) { return "-address=127.0.0.1:" + std::to_string(port); };
    auto within = [&](int port, int64_t ms) {
        std::string address = to(port);
        const char *argv[] = {address.c_str()};
        errno = 0;
        return tcpip_connect(&t, &created, 2, codecs, 1, argv, ms);
    };
    EXPECT_EQ(within(server->port, -1), MESSAGE_IO);
    EXPECT_EQ(errno, ECONNRESET);
    EXPECT_EQ(within(server->port, 50), MESSAGE_IO);
    EXPECT_EQ(errno, ETIMEDOUT);
    tcpip_reconnectinfo info = {};
    sockaddr_in address = loopback(server->port);
    info.family = AF_INET;
    info.type = SOCK_STREAM;
    info.address_length = sizeof address;
    memcpy(info.address, &address, sizeof address);
    EXPECT_EQ(tcpip_reconnect(&t, 2, codecs, &info, 50), MESSAGE_IO);
    EXPECT_EQ(errno, ETIMEDOUT);

    // A listener whose queue is full answers no more than a host that is down.
    int port;
    descriptor_holder full(listener_open(0, &port));
    descriptor_holder first(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    address = loopback(port);
    ASSERT_EQ(::connect(first.fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(within(port, 50), MESSAGE_NOCONNECTION);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(created, 0);
}

TEST_F(Tcpip, TheServersAnswerDecides)
{
    const struct {
        std::string answer;
        int code;
    } cases[] = {
        {bytes("00 01"), HANDSHAKE_NORESOURCES},
        {bytes("01 02"), 258},
        {bytes("00"), MESSAGE_IO},
        {welcome(7).substr(0, 9), MESSAGE_IO},
        {welcome(0), MESSAGE_NOCONNECTION},
    };
    for (auto &c : cases) {
        serve({answering(c.answer)});
        EXPECT_EQ(connect({server->address()}), c.code) << hex(c.answer);
    }
}

TEST_F(Tcpip, WhatDisconnectLeavesLeadsBackToTheWorker)
{
    std::string heard;
    const int64_t worker = 0x0102030405060708;
    serve({answering(welcome(worker), &heard), answering(welcome(worker + 1), &heard)});
    ASSERT_EQ(connect({server->address(), "-nothreads"}), 0);
    EXPECT_EQ(t->ops.mustpoll(t), 1);
    ASSERT_EQ(t->ops.reconnectinfolen(), 160);
    char bytes160[161];
    memset(bytes160, 0x5a, sizeof bytes160);
    EXPECT_EQ(t->ops.disconnect(t, bytes160), 0);
    EXPECT_EQ(bytes160[160], 0x5a);
    tcpip_reconnectinfo info;
    static_assert(sizeof info == 160);
    memcpy(&info, bytes160, sizeof info);
    EXPECT_TRUE(info.nothreads == 1 && info.worker_id == worker); // packed: no references
    EXPECT_TRUE(info.family == AF_INET && info.address_length == sizeof(sockaddr_in));

    ASSERT_EQ(factory->reconnect(&t, 2, codecs, bytes160), 0);
    EXPECT_EQ(t->ops.mustpoll(t), 1) << "threads stay switched off";
    EXPECT_EQ(worker_id(), worker + 1);
    t->ops.disconnect(t, nullptr);
    server->end();
    // The first connection ended without a word; the second named the worker.
    EXPECT_EQ(hex(heard), "00 00 00 01 00 00 00 02 08 07 06 05 04 03 02 01");
    info.address_length = 129;
    EXPECT_EQ(factory->reconnect(&t, 2, codecs, &info), MESSAGE_INVALID);
}

TEST_F(Tcpip, TimeoutsAreOffUntilTheyAreSet)
{
    serve({[](int fd) {
        take_from(fd, 4);
        give_to(fd, welcome(1));
        take_from(fd, SIZE_MAX); // says nothing more, and does not go
    }});
    ASSERT_EQ(connect({server->address()}), 0);
    for (int32_t set : {CTRL_SET_READTIMEOUT, CTRL_SET_WRITETIMEOUT}) {
        int32_t get = set + 1, i = 7;
        int64_t l = 12345;
        double d = 0;
        auto in_system = [&] {
            int name = set == CTRL_SET_READTIMEOUT ? SO_RCVTIMEO : SO_SNDTIMEO;
            timeval value = option<timeval>(SOL_SOCKET, name);
            return double(value.tv_sec * 1000) + double(value.tv_usec) / 1000;
        };
        EXPECT_EQ(t->ops.ctrlint(t, get, &i), 0);
        EXPECT_EQ(i, -1);
        EXPECT_EQ(t->ops.ctrllong(t, set, &l), 0);
        EXPECT_NEAR(in_system(), 12345, 10); // the system rounds to its ticks
        EXPECT_EQ(t->ops.ctrldbl(t, get, &d), 0);
        EXPECT_EQ(d, 12345.0);
        i = -3;
        EXPECT_EQ(t->ops.ctrlint(t, set, &i), 0);
        EXPECT_EQ(in_system(), 0);
        for (double wrong : {double(NAN), 9.3e18})
            EXPECT_EQ(t->ops.ctrldbl(t, set, &wrong), MESSAGE_INVALID) << wrong;
    }
    int32_t none = 0;
    EXPECT_EQ(t->ops.ctrlint(t, 8196, &none), MESSAGE_INVALID);
    EXPECT_EQ(t->ops.ctrlint(t, CTRL_SET_READTIMEOUT, &none), 0) << "a time-out like any other";
    void *message;
    EXPECT_EQ(t->ops.recvmsg(t, &message), MESSAGE_IO);
    EXPECT_EQ(errno, ETIMEDOUT);
}

} // namespace vnt
