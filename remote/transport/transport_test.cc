#include "remote/transport/transport.h"

#include "remote/codec/catalogue.h"
#include "test/allocations.h"
#include "test/streams.h"

#include <string>

namespace vnt {

static const codec_factory *const factories[] = {builtin_getfactory(), vntcodec_getfactory()};

// A transport over one end of a socket pair.
struct Transport : testing::Test {
    int fds[2];
    transport *t = nullptr;

    Transport() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0); }
    ~Transport()
    {
        destroy();
        close(fds[1]);
    }
    void destroy()
    {
        if (t != nullptr) t->ops.destroy(t); // which closes its end
        t = nullptr;
    }
    int create()
    {
        const std::string in = "-infd=" + std::to_string(fds[0]);
        const std::string out = "-outfd=" + std::to_string(fds[0]);
        const char *argv[] = {in.c_str(), out.c_str()};
        return fdtransport_create(&t, 2, factories, 2, argv);
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
    EXPECT_EQ(hex(take_from(fds[1], 20)),
              "00 00 03 e8 00 00 00 01 00 00 00 02 00 00 00 03 00 00 00 04");
    void *message;
    give_to(fds[1], bytes("00 00 03 ea 00 00 00 09 00 00 00 01 00 00 00 04"));
    ASSERT_EQ(t->ops.recvmsg(t, &message), 0);
    EXPECT_EQ(static_cast<vntmsg_GETRES *>(message)->message, 9);
    ASSERT_EQ(t->ops.recvmsg(t, &message), 0);
    EXPECT_EQ(message_id(message), uint32_t(VNTMESSAGEID_TERMINATE));
}

TEST_F(Transport, AMessageIsFreedByTheNextReceiveOrTheDestroy)
{
    int64_t before = allocations_held();
    // What fails on the way leaves the descriptors open, and nothing else.
    int64_t steps = allocations_fail_each(0, MESSAGE_NOMEMORY, [&] { return create(); });
    EXPECT_EQ(steps, 5); // record, stream, table, two codecs
    *t->io->ops.getreadtimeout(t->io) = milliseconds(1);
    int64_t idle = allocations_held();
    void *message;
    // Two messages, a wait in vain, another message.
    for (int64_t held : {2, 2, 0, 2}) {
        if (held > 0)
            give_to(fds[1], bytes("00 00 03 ef 00 00 00 01 00 00 00 01 00 00 00 02 78 00"));
        EXPECT_EQ(t->ops.recvmsg(t, &message), held > 0 ? 0 : MESSAGE_IO);
        EXPECT_EQ(message != nullptr, held > 0);
        EXPECT_EQ(allocations_held() - idle, held);
    }
    destroy();
    EXPECT_EQ(allocations_held(), before);
}

} // namespace vnt
