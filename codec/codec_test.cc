#include "codec/codec.h"

#include "codec/copy.h"
#include "test/allocations.h"
#include "test/records.h"
#include "test/streams.h"

// A codec of each kind at one end of a socket pair, writing to and reading from it.
struct codec_pair : stream_end {
    codec *builtin = nullptr;
    codec *solver = nullptr;
    stream *far = nullptr; // the peer's stream
    codec *back = nullptr; // reads what `solver` sent

    codec_pair()
    {
        EXPECT_EQ(fdio_create(&far, peer, peer, 0, nullptr, nullptr), 0);
        EXPECT_EQ(builtin_getfactory()->create(&builtin, near, near), 0);
        EXPECT_EQ(vntcodec_getfactory()->create(&solver, near, near), 0);
        EXPECT_EQ(vntcodec_getfactory()->create(&back, far, far), 0);
    }
    ~codec_pair()
    {
        for (codec *c : {builtin, solver, back})
            c->ops.destroy(c);
        fdio_destroy(far);
    }
    codec *owner(uint32_t id) { return id < 1000 ? builtin : solver; }
};

static const message_layout *layout_of(uint32_t id)
{
    return catalogue_find(id);
}

TEST(Codec, EveryMessageComesBackAsItWasSentAndIsFreedWhole)
{
    codec_pair s;
    codec *farbuiltin;
    ASSERT_EQ(builtin_getfactory()->create(&farbuiltin, s.far, s.far), 0);
    int messages = 0;
    for (const message_layout *m = catalogue_begin; m != catalogue_end; m++, messages++)
        for (uint32_t seed : {0u, 5u}) {
            record_holder sent = record_make(m, seed);
            int64_t before = allocations_held();
            codec *reader = m->id < 1000 ? farbuiltin : s.back;
            void *got = nullptr;
            ASSERT_EQ(s.owner(m->id)->ops.sendmsg(s.owner(m->id), sent.get()), 0) << m->name;
            ASSERT_EQ(reader->ops.recvmsg(reader, &got), 0) << m->name;
            EXPECT_STREQ(record_difference(sent.get(), got), nullptr) << m->name;
            EXPECT_EQ(reader->ops.delmsg(reader, got), 0);
            EXPECT_EQ(allocations_held(), before) << m->name;
        }
    EXPECT_EQ(messages, 918);
    farbuiltin->ops.destroy(farbuiltin);
}

TEST(Codec, AMessageStandsOnTheWireAsItsIdAndFields)
{
    codec_pair s;
    vntmsg_TERMINATE end = {nullptr, VNTMESSAGEID_TERMINATE};
    vntmsg_NAK nak = {nullptr, VNTMESSAGEID_NAK, 1146, 2, -1};
    EXPECT_EQ(s.builtin->ops.sendmsg(s.builtin, &end), 0);
    EXPECT_EQ(s.solver->ops.sendmsg(s.solver, &nak), 0);
    EXPECT_EQ(s.arrived(), 20);
    EXPECT_EQ(s.takehex(20), "00 00 00 04 00 00 03 e9 00 00 04 7a 00 00 00 02 ff ff ff ff");
}

TEST(Codec, AnIdOfTheOtherCodecIsLeftForIt)
{
    codec_pair s;
    vntmsg_UNKNOWN unknown = {nullptr, VNTMESSAGEID_UNKNOWN, 0};
    vntmsg_ACK ack = {nullptr, VNTMESSAGEID_ACK, 0, 0, 0};
    EXPECT_EQ(s.builtin->ops.sendmsg(s.builtin, &ack), MESSAGE_UNKNOWN);
    EXPECT_EQ(s.solver->ops.sendmsg(s.solver, &unknown), MESSAGE_UNKNOWN);
    EXPECT_EQ(s.arrived(), 0);
    EXPECT_EQ(s.near->ops.getcurrentoutmsg(s.near), -1);
    EXPECT_EQ(s.solver->ops.delmsg(s.solver, &unknown), MESSAGE_UNKNOWN);
    EXPECT_EQ(s.solver->ops.delmsg(s.solver, nullptr), 0);

    void *got = nullptr;
    s.givehex("00 00 00 03 00 00 04 7a");
    EXPECT_EQ(s.solver->ops.recvmsg(s.solver, &got), MESSAGE_UNKNOWN);
    EXPECT_EQ(s.builtin->ops.recvmsg(s.builtin, &got), 0);
    EXPECT_EQ(static_cast<vntmsg_UNKNOWN *>(got)->message, 1146);
    s.builtin->ops.delmsg(s.builtin, got);
}

TEST(Codec, AFieldThatCannotBeWrittenStillEndsTheMessage)
{
    codec_pair s;
    vntmsg_INFO info = {};
    info.messageid = VNTMESSAGEID_INFO;
    info.data.type = 99;
    EXPECT_EQ(s.solver->ops.sendmsg(s.solver, &info), MESSAGE_INVALID);
    EXPECT_EQ(s.near->ops.getcurrentoutmsg(s.near), -1);
    EXPECT_EQ(s.arrived(), 12); // the id and the fields before it have left
}

TEST(Codec, AMessageThatCannotBeReadIsEndedAndFreed)
{
    codec_pair s;
    void *got = nullptr;
    // Three handles, the second of an unknown type; then a whole message.
    std::string head = "00 00 03 f1 00 00 00 00 ";
    std::string handle = "00 00 00 00 00 00 00 01 00 00 00 01 00 00 00 01 00 00 00 01 61 ";
    std::string bad = "00 00 00 00 00 00 00 01 00 00 00 63 00 00 00 01 ";
    int64_t before = allocations_held();
    s.givehex(head + handle + bad + "00 00 03 fd");
    EXPECT_EQ(s.solver->ops.recvmsg(s.solver, &got), MESSAGE_INVALID);
    EXPECT_EQ(allocations_held(), before);
    EXPECT_EQ(s.near->ops.getcurrentinmsg(s.near), -1);
    EXPECT_EQ(s.solver->ops.recvmsg(s.solver, &got), 0); // DISCONNECT_REQ
    EXPECT_EQ(message_id(got), uint32_t(VNTMESSAGEID_DISCONNECT_REQ));
    s.solver->ops.delmsg(s.solver, got);
}

// Every proper beginning of a message is an input error that leaves nothing behind.
TEST(Codec, ATruncatedMessageLeavesNothing)
{
    for (uint32_t id : {1019, 1216, 1306}) {
        codec_pair writing;
        record_holder sent = record_make(layout_of(id), 3);
        writing.solver->ops.sendmsg(writing.solver, sent.get());
        std::string whole = writing.take(size_t(writing.arrived()));
        for (size_t n = 0; n < whole.size(); n++) {
            codec_pair s;
            void *got = nullptr;
            int64_t before = allocations_held();
            s.give(whole.substr(0, n));
            shutdown(s.peer, SHUT_WR);
            EXPECT_EQ(s.solver->ops.recvmsg(s.solver, &got), MESSAGE_IO) << id << " " << n;
            EXPECT_EQ(allocations_held(), before) << id << " " << n;
        }
    }
}

// Flipped bits change values, sizes and types: whatever comes of it, nothing is lost or overrun.
TEST(Codec, AFlippedMessageIsDecodedOrRefusedAndLeavesNothing)
{
    for (uint32_t id : {1019, 1216, 1306}) {
        codec_pair writing;
        record_holder sent = record_make(layout_of(id), 3);
        writing.solver->ops.sendmsg(writing.solver, sent.get());
        std::string whole = writing.take(size_t(writing.arrived()));
        for (size_t i = 4; i < whole.size(); i++) {
            codec_pair s;
            void *got = nullptr;
            int64_t before = allocations_held();
            std::string flipped = whole;
            flipped[i] = char(flipped[i] ^ (1 << i % 8));
            s.give(flipped);
            shutdown(s.peer, SHUT_WR);
            if (s.solver->ops.recvmsg(s.solver, &got) == 0) s.solver->ops.delmsg(s.solver, got);
            EXPECT_EQ(allocations_held(), before) << id << " " << i;
        }
    }
}

TEST(Codec, MemoryThatRunsOutIsReportedAndLeavesNothing)
{
    codec_pair s;
    record_holder sent = record_make(layout_of(VNTMESSAGEID_USERFUNCTION_REQ), 3);
    void *got = nullptr;
    // What follows the field that failed stays unread, so each run has streams of its own.
    for (int64_t n = 0; n < 3; n++) {
        codec_pair fresh;
        fresh.solver->ops.sendmsg(fresh.solver, sent.get());
        int64_t before = allocations_held();
        allocations_fail_after(n);
        EXPECT_EQ(fresh.back->ops.recvmsg(fresh.back, &got), MESSAGE_NOMEMORY) << n;
        allocations_fail_after(-1);
        EXPECT_EQ(allocations_held(), before);
        EXPECT_EQ(fresh.far->ops.getcurrentinmsg(fresh.far), -1);
    }
    codec *c;
    allocations_fail_after(0);
    EXPECT_EQ(vntcodec_getfactory()->create(&c, s.near, s.near), MESSAGE_NOMEMORY);
    EXPECT_EQ(c, nullptr);
}

TEST(Codec, CodecsOfOneNameAreEqualAndMulticastKeepsTheKind)
{
    codec_pair s;
    codec *cast;
    codec stranger = {};
    EXPECT_STREQ(s.builtin->ops.factoryname(s.builtin), "builtin");
    EXPECT_STREQ(s.solver->ops.factoryname(s.solver), "vntcodec");
    EXPECT_EQ(s.solver->ops.equal(s.solver, s.back), 1);
    EXPECT_EQ(s.solver->ops.equal(s.solver, s.builtin), 0);
    EXPECT_EQ(s.solver->ops.equal(s.solver, &stranger), 0);
    EXPECT_EQ(s.solver->ops.equal(s.solver, nullptr), 0);
    ASSERT_EQ(s.builtin->ops.mkmulticast(s.builtin, &cast, s.near), 0);
    vntmsg_TERMINATE end = {nullptr, VNTMESSAGEID_TERMINATE};
    EXPECT_EQ(cast->ops.sendmsg(cast, &end), 0);
    EXPECT_EQ(s.takehex(4), "00 00 00 04");
    EXPECT_EQ(s.builtin->ops.equal(s.builtin, cast), 1);
    cast->ops.destroy(cast);
}

static bool shares(const message_array &a, const message_array &b)
{
    return memcmp(&a, &b, sizeof a) == 0;
}

TEST(Copy, EveryMessageOfTheSolverCodecCopiesAndOutlivesItsSource)
{
    for (const message_layout *m = catalogue_begin; m != catalogue_end; m++) {
        record_holder source = record_make(m, 11), twin = record_make(m, 11);
        int64_t before = allocations_held();
        void *copy = vntmsg_copy(source.get());
        if (m->id < 1000) {
            EXPECT_EQ(copy, nullptr);
            continue;
        }
        ASSERT_NE(copy, nullptr) << m->name;
        for (const message_field *f = m->fields; f->kind != KIND_END; f++) {
            if (f->kind != KIND_HANDLE) continue;
            EXPECT_TRUE(shares(field_at<message_array>(copy, f->offset),
                               field_at<message_array>(source.get(), f->offset)));
            field_at<message_array>(copy, f->offset) =
                field_at<message_array>(twin.get(), f->offset); // the source's are about to go
        }
        int64_t owned = allocations_held() - before;
        source.reset();
        EXPECT_STREQ(record_difference(twin.get(), copy), nullptr) << m->name;
        int64_t without = allocations_held();
        vntmsg_uncopy(&copy);
        EXPECT_EQ(copy, nullptr);
        EXPECT_EQ(without - allocations_held(), owned) << m->name;
    }
}

TEST(Copy, AllocationsThatFailGiveNullAndLeaveNothing)
{
    record_holder source = record_make(layout_of(1216), 1);
    void *copy = nullptr;
    int64_t steps = allocations_fail_each(1, 0, [&] {
        copy = vntmsg_copy(source.get());
        return int(copy != nullptr);
    });
    EXPECT_GT(steps, 5);
    uncopy(copy);
    EXPECT_EQ(vntmsg_copy(nullptr), nullptr);
    vntmsg_uncopy(nullptr);
}
