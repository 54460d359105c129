#include "fdio/transport.h"

#include "codec/catalogue.h"
#include "test/allocations.h"
#include "test/streams.h"

#include <string>
#include <vector>

#include <fcntl.h>

static const codec_factory *const factories[] = {builtin_getfactory(), vntcodec_getfactory()};

// Two pipes: what the transport reads from and writes to, and the test's ends.
struct pipes {
    int in, give; // the transport's and the test's end
    int out, take;
    std::vector<std::string> arguments;

    pipes()
    {
        int a[2], b[2];
        EXPECT_EQ(pipe2(a, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(b, O_CLOEXEC), 0);
        in = a[0];
        give = a[1];
        take = b[0];
        out = b[1];
        arguments = {"-infd=" + std::to_string(in), "-outfd=" + std::to_string(out)};
    }
    ~pipes()
    {
        close(give);
        close(take);
    }
    int create(transport **t, int ncodecs = 2)
    {
        std::vector<const char *> argv;
        for (const std::string &a : arguments)
            argv.push_back(a.c_str());
        return fdtransport_create(t, ncodecs, factories, int(argv.size()), argv.data());
    }
};

struct Transport : testing::Test {
    pipes p;
    transport *t = nullptr;

    void create(int ncodecs = 2) { ASSERT_EQ(p.create(&t, ncodecs), 0); }
    ~Transport()
    {
        if (t != nullptr) {
            t->ops.destroy(t);
        } else {
            close(p.in);
            close(p.out);
        }
    }
};

TEST_F(Transport, MessagesGoThroughTheFirstCodecThatKnowsThem)
{
    create();
    vntmsg_TERMINATE end = {nullptr, VNTMESSAGEID_TERMINATE};
    vntmsg_ACK ack = {nullptr, VNTMESSAGEID_ACK, 1, 2, 3};
    vntmsg_ACK foreign = {nullptr, 77, 0, 0, 0};
    EXPECT_EQ(t->ops.sendmsg(t, &ack), 0);
    EXPECT_EQ(t->ops.sendmsg(t, &foreign), MESSAGE_UNKNOWN);
    EXPECT_EQ(t->ops.sendmsg(t, &end), 0);
    EXPECT_EQ(hex(take_from(p.take, 20)),
              "00 00 03 e8 00 00 00 01 00 00 00 02 00 00 00 03 00 00 00 04");
    void *message;
    give_to(p.give, bytes("00 00 03 ea 00 00 00 09 00 00 00 01 00 00 00 04"));
    ASSERT_EQ(t->ops.recvmsg(t, &message), 0);
    EXPECT_EQ(static_cast<vntmsg_GETRES *>(message)->message, 9);
    ASSERT_EQ(t->ops.recvmsg(t, &message), 0);
    EXPECT_EQ(message_id(message), uint32_t(VNTMESSAGEID_TERMINATE));
}

TEST_F(Transport, AMessageIsFreedByTheNextReceiveOrTheDestroy)
{
    int64_t atfirst = allocations_held();
    create();
    void *message;
    std::string channel = bytes("00 00 03 ef 00 00 00 01 00 00 00 01 00 00 00 02 78 00");
    give_to(p.give, channel + channel);
    int64_t before = allocations_held();
    ASSERT_EQ(t->ops.recvmsg(t, &message), 0);
    int64_t one = allocations_held() - before;
    EXPECT_EQ(one, 2);
    ASSERT_EQ(t->ops.recvmsg(t, &message), 0);
    EXPECT_EQ(allocations_held() - before, one);
    close(p.give);
    p.give = -1;
    EXPECT_EQ(t->ops.recvmsg(t, &message), MESSAGE_IO);
    EXPECT_EQ(message, nullptr);
    EXPECT_EQ(allocations_held(), before);
    t->ops.destroy(t);
    t = nullptr;
    p.in = p.out = -1;
    EXPECT_EQ(allocations_held(), atfirst);
}

TEST_F(Transport, WithoutACodecForItAMessageIsUnknown)
{
    create(0);
    vntmsg_TERMINATE end = {nullptr, VNTMESSAGEID_TERMINATE};
    void *message;
    EXPECT_EQ(t->ops.sendmsg(t, &end), MESSAGE_UNKNOWN);
    EXPECT_EQ(t->ops.recvmsg(t, &message), MESSAGE_UNKNOWN);
    EXPECT_STREQ(t->ops.factoryname(), "fdtransport");
    EXPECT_EQ(t->ops.reconnectinfolen(), -1);
}

TEST_F(Transport, ArgumentsSayWhichDescriptorsAndNothingElse)
{
    const std::vector<std::string> good = p.arguments;
    for (const char *bad : {"-infd=", "-infd=x", "-infd=3x", "-infd= 3", "-infd=-1", "-other",
                            "-outfd=99999999999", "-nothreads=1"}) {
        p.arguments = good;
        p.arguments.push_back(bad);
        EXPECT_EQ(p.create(&t), MESSAGE_INVALID) << bad;
        EXPECT_EQ(t, nullptr);
    }
    for (const std::string &missing : good) {
        p.arguments = {missing};
        EXPECT_EQ(p.create(&t), MESSAGE_INVALID);
    }
    p.arguments = good;
    p.arguments.insert(p.arguments.end(), {"-libpath=/nowhere", "-nothreads"});
    create();
    EXPECT_EQ(t->ops.mustpoll(t), 1);
}

// What fails on the way leaves the descriptors open, and nothing else.
TEST_F(Transport, EachStepOfItsCreationMayFail)
{
    int64_t steps = allocations_fail_each(0, MESSAGE_NOMEMORY, [&] { return p.create(&t); });
    EXPECT_EQ(steps, 5); // record, stream, table, two codecs
    EXPECT_EQ(t->ops.mustpoll(t), 0);
}

TEST_F(Transport, ALogIsNamedAfterTheProcess)
{
    std::string name = "fd" + std::to_string(getpid()) + ".log";
    p.arguments.push_back("-log");
    create();
    EXPECT_EQ(unlink(name.c_str()), 0);
}
