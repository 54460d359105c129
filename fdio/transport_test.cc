#include "fdio/transport.h"

#include "codec/catalogue.h"
#include "test/allocations.h"
#include "test/streams.h"

#include <string>
#include <vector>

#include <fcntl.h>

static const codec_factory *const factories[] = {builtin_getfactory(), vntcodec_getfactory()};

// A transport over two pipes.
struct Transport : testing::Test {
    int in, give; // the transport's and the test's end of what it reads from
    int out, take;
    std::vector<std::string> arguments;
    transport *t = nullptr;

    Transport()
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
    ~Transport()
    {
        destroy();
        for (int fd : {give, take, in, out})
            EXPECT_TRUE(fd < 0 || close(fd) == 0);
    }
    void destroy()
    {
        if (t == nullptr) return;
        t->ops.destroy(t); // which closes its ends
        t = nullptr;
        in = out = -1;
    }
    int create(int ncodecs = 2)
    {
        std::vector<const char *> argv;
        for (const std::string &a : arguments)
            argv.push_back(a.c_str());
        return fdtransport_create(&t, ncodecs, factories, int(argv.size()), argv.data());
    }
};

TEST_F(Transport, MessagesGoThroughTheFirstCodecThatKnowsThem)
{
    ASSERT_EQ(create(), 0);
    vntmsg_TERMINATE end = {nullptr, VNTMESSAGEID_TERMINATE};
    vntmsg_ACK ack = {nullptr, VNTMESSAGEID_ACK, 1, 2, 3};
    vntmsg_ACK foreign = {nullptr, 77, 0, 0, 0};
    EXPECT_EQ(t->ops.sendmsg(t, &ack), 0);
    EXPECT_EQ(t->ops.sendmsg(t, &foreign), MESSAGE_UNKNOWN);
    EXPECT_EQ(t->ops.sendmsg(t, &end), 0);
    EXPECT_EQ(hex(take_from(take, 20)),
              "00 00 03 e8 00 00 00 01 00 00 00 02 00 00 00 03 00 00 00 04");
    void *message;
    give_to(give, bytes("00 00 03 ea 00 00 00 09 00 00 00 01 00 00 00 04"));
    ASSERT_EQ(t->ops.recvmsg(t, &message), 0);
    EXPECT_EQ(static_cast<vntmsg_GETRES *>(message)->message, 9);
    ASSERT_EQ(t->ops.recvmsg(t, &message), 0);
    EXPECT_EQ(message_id(message), uint32_t(VNTMESSAGEID_TERMINATE));
}

TEST_F(Transport, AMessageIsFreedByTheNextReceiveOrTheDestroy)
{
    int64_t before = allocations_held();
    ASSERT_EQ(create(), 0);
    *t->io->ops.getreadtimeout(t->io) = milliseconds(1);
    int64_t idle = allocations_held();
    void *message;
    // Two messages, a wait in vain, another message.
    for (int64_t held : {2, 2, 0, 2}) {
        if (held > 0) give_to(give, bytes("00 00 03 ef 00 00 00 01 00 00 00 01 00 00 00 02 78 00"));
        EXPECT_EQ(t->ops.recvmsg(t, &message), held > 0 ? 0 : MESSAGE_IO);
        EXPECT_EQ(message != nullptr, held > 0);
        EXPECT_EQ(allocations_held() - idle, held);
    }
    destroy();
    EXPECT_EQ(allocations_held(), before);
}

TEST_F(Transport, ArgumentsSayWhichDescriptorsAndNothingElse)
{
    const std::vector<std::string> good = arguments;
    for (const char *bad : {"-infd=", "-infd=x", "-infd=3x", "-infd= 3", "-infd=-1", "-other",
                            "-outfd=99999999999", "-nothreads=1"}) {
        arguments = good;
        arguments.push_back(bad);
        EXPECT_EQ(create(), MESSAGE_INVALID) << bad;
        EXPECT_EQ(t, nullptr);
    }
    for (const std::string &missing : good) {
        arguments = {missing};
        EXPECT_EQ(create(), MESSAGE_INVALID);
    }
    arguments = good;
    arguments.insert(arguments.end(), {"-libpath=/nowhere", "-nothreads"});
    ASSERT_EQ(create(), 0);
    EXPECT_EQ(t->ops.mustpoll(t), 1);
}

// What fails on the way leaves the descriptors open, and nothing else.
TEST_F(Transport, EachStepOfItsCreationMayFail)
{
    int64_t steps = allocations_fail_each(0, MESSAGE_NOMEMORY, [&] { return create(); });
    EXPECT_EQ(steps, 5); // record, stream, table, two codecs
    EXPECT_EQ(t->ops.mustpoll(t), 0);
}

TEST_F(Transport, ALogIsNamedAfterTheProcess)
{
    std::string name = "fd" + std::to_string(getpid()) + ".log";
    arguments.push_back("-log");
    ASSERT_EQ(create(), 0);
    EXPECT_EQ(unlink(name.c_str()), 0);
}
