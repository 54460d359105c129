#include "remote/codec/codec.h"

#include "remote/codec/copy.h"
#include "test/allocations.h"
#include "test/records.h"
#include "test/streams.h"

namespace vnt {

// The codecs at both ends of a socket pair.
struct codec_pair : stream_end {
    codec *builtin, *solver;
    codec *far_builtin, *far_solver;

    codec_pair()
    {
        EXPECT_EQ(builtin_getfactory()->create(&builtin, near, near), 0);
        EXPECT_EQ(vntcodec_getfactory()->create(&solver, near, near), 0);
        EXPECT_EQ(builtin_getfactory()->create(&far_builtin, far, far), 0);
        EXPECT_EQ(vntcodec_getfactory()->create(&far_solver, far, far), 0);
    }
    ~codec_pair()
    {
        for (codec *c : {builtin, solver, far_builtin, far_solver})
            c->ops.destroy(c);
    }
};

TEST(Codec, EveryMessageComesBackAsItWasSentAndIsFreedWhole)
{
    codec_pair s;
    for (const message_layout *m = catalogue_begin; m != catalogue_end; m++)
        for (uint32_t seed : {0u, 5u}) {
            codec *writer = m->id < 1000 ? s.builtin : s.solver;
            codec *reader = m->id < 1000 ? s.far_builtin : s.far_solver;
            record_holder sent = record_make(m, seed);
            int64_t before = allocations_held();
            void *got = nullptr;
            ASSERT_EQ(writer->ops.sendmsg(writer, sent.get()), 0) << m->name;
            ASSERT_EQ(give_to(s.own, "next"), true);
            ASSERT_EQ(reader->ops.recvmsg(reader, &got), 0) << m->name;
            EXPECT_EQ(s.take(4), "next") << m->name << ": the next message is still to be seen";
            EXPECT_STREQ(record_difference(sent.get(), got), nullptr) << m->name;
            EXPECT_EQ(reader->ops.delmsg(reader, got), 0);
            EXPECT_EQ(allocations_held(), before) << m->name;
        }
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

// A message of integers, strings, arrays and objects as it travels.
static std::string on_the_wire(uint32_t id)
{
    codec_pair s;
    record_holder sent = record_make(catalogue_find(id), 3);
    EXPECT_EQ(s.solver->ops.sendmsg(s.solver, sent.get()), 0);
    return s.take(size_t(s.arrived()));
}

// Reads what may be no message; whatever comes of it, nothing is lost or overrun.
static int decoded(const std::string &wire)
{
    codec_pair s;
    void *got = nullptr;
    int64_t before = allocations_held();
    s.give(wire);
    s.finish();
    int rc = s.solver->ops.recvmsg(s.solver, &got);
    EXPECT_TRUE(rc != 0 || s.record()->preread == 0) << "something beyond the message was taken";
    if (rc == 0) s.solver->ops.delmsg(s.solver, got);
    EXPECT_EQ(allocations_held(), before);
    return rc;
}

TEST(Codec, ATruncatedOrFlippedMessageLeavesNothing)
{
    for (uint32_t id : {1019, 1216, 1306}) {
        std::string whole = on_the_wire(id);
        for (size_t i = 0; i < whole.size(); i++) {
            EXPECT_EQ(decoded(whole.substr(0, i)), MESSAGE_IO) << id << " " << i;
            std::string flipped = whole;
            flipped[i] = char(flipped[i] ^ (1 << i % 8)); // a value, a size or a type
            decoded(flipped);
            decoded(flipped + std::string(1000, '\0')); // followed by more
        }
    }
}

// A copy that shared more than objects with its source would free what is not its own.
TEST(Copy, EveryMessageOfTheSolverCodecCopiesAndReleasesWhatItOwns)
{
    for (const message_layout *m = catalogue_begin; m != catalogue_end; m++) {
        record_holder source = record_make(m, 11);
        int64_t before = allocations_held();
        void *copy = vntmsg_copy(source.get());
        ASSERT_EQ(copy != nullptr, m->id >= 1000) << m->name;
        if (copy == nullptr) continue;
        EXPECT_STREQ(record_difference(source.get(), copy), nullptr) << m->name;
        for (const message_field *f = m->fields; f->kind != KIND_END; f++)
            EXPECT_TRUE(f->kind != KIND_HANDLE ||
                        field_at<message_array>(copy, f->offset).chunks ==
                            field_at<message_array>(source.get(), f->offset).chunks);
        vntmsg_uncopy(&copy);
        EXPECT_EQ(copy, nullptr);
        EXPECT_EQ(allocations_held(), before) << m->name;
    }
}

} // namespace vnt
