// Typed values from a stream to its bytes, and back.
#include "remote/stream/reader.h"
#include "remote/stream/writer.h"

#include "remote/base/holders.h"
#include "test/allocations.h"
#include "test/arrays.h"
#include "test/streams.h"

#include <numeric>
#include <sys/mman.h>
#include <thread>

namespace vnt {

typedef stream_operations operations;

template <class value> using write_slot = int (*operations::*)(stream *, const char *, value);

// Writes a value as a message's only one and returns its bytes.
template <class value>
static std::string written(stream_end &s, write_slot<value> write, const value &v)
{
    EXPECT_EQ(s.near->ops.startoutmsg(s.near, 1000, nullptr, nullptr), 0);
    EXPECT_EQ((s.near->ops.*write)(s.near, "f", v), 0);
    EXPECT_EQ(s.near->ops.endoutmsg(s.near), 0);
    EXPECT_EQ(s.take_hex(4), "00 00 03 e8");
    return s.take_hex(size_t(s.arrived()));
}

// Reads a value from these bytes, of which it must take all, and none behind them.
template <class value>
static value taken(stream_end &s, write_slot<value *> read, const std::string &wire)
{
    value back = {};
    s.give_hex(wire + " aa");
    EXPECT_EQ((s.near->ops.*read)(s.near, "f", &back), 0) << wire;
    EXPECT_EQ(hex(take_from(s.own, 1)), "aa") << wire;
    return back;
}

template <class value>
static void number(write_slot<value> write, write_slot<value *> read, value v, const char *wire)
{
    stream_end s;
    EXPECT_EQ(written(s, write, v), wire);
    EXPECT_EQ(taken(s, read, wire), v) << wire;
}

TEST(Values, NumbersTravelBigEndian)
{
    typedef operations o;
    number<int8_t>(&o::writebyte, &o::readbyte, -1, "ff");
    number<int16_t>(&o::writeshort, &o::readshort, -2, "ff fe");
    number<int32_t>(&o::writeint, &o::readint, 0x01020304, "01 02 03 04");
    number<int64_t>(&o::writelong, &o::readlong, -2, "ff ff ff ff ff ff ff fe");
    number<uint8_t>(&o::writeubyte, &o::readubyte, 200, "c8");
    number<uint16_t>(&o::writeushort, &o::readushort, 0xfffe, "ff fe");
    number<uint32_t>(&o::writeuint, &o::readuint, 0xfffffffe, "ff ff ff fe");
    number<uint64_t>(&o::writeulong, &o::readulong, 1, "00 00 00 00 00 00 00 01");
    number<float>(&o::writefloat, &o::readfloat, 1.0f, "3f 80 00 00");
    number<double>(&o::writedouble, &o::readdouble, 1.0, "3f f0 00 00 00 00 00 00");
}

TEST(Values, StringsCarryTheirFlagAndLength)
{
    stream_end s;
    const message_string absent = {0, 5, nullptr, 0}, empty = {1, 0, nullptr, 0};
    const message_string two = borrowed("ab");
    EXPECT_EQ(written(s, &operations::writestring, &absent), "00 00 00 00 00 00 00 00");
    EXPECT_EQ(written(s, &operations::writestring, &empty), "00 00 00 01 00 00 00 00");
    EXPECT_EQ(written(s, &operations::writestring, &two), "00 00 00 01 00 00 00 02 61 62");

    for (const char *wire : {"00 00 00 00 00 00 00 09", "00 00 00 01 00 00 00 00"}) {
        message_string none = taken(s, &operations::readstring, wire);
        EXPECT_TRUE(none.length == 0 && none.data == nullptr);
    }
    message_string back = taken(s, &operations::readstring, "00 00 01 02 00 00 00 02 61 62");
    EXPECT_EQ(back.present, 258u); // the flag travels as it stands
    EXPECT_EQ(std::string(back.data, 2 + MESSAGE_SPARE), std::string("ab\0\0\0\0", 6));
    s.near->ops.freestring(s.near, &back);
    EXPECT_EQ(back.data, nullptr);
}

TEST(Values, ArraysCarryTotalTypeAndChunks)
{
    chunked<int32_t> ints{{1}, {2, -1}};
    chunked<message_string> strings{{borrowed("x"), {}}}, absent{{{}}};
    const message_array no_chunks = {3, TYPE_DOUBLE, 0, nullptr, {}};
    const message_array none = {-3, TYPE_DOUBLE, 0, nullptr, {}}, *null = nullptr;
    const struct {
        const message_array *array;
        const char *wire;
    } cases[] = {
        {&ints.a, "00 00 00 00 00 00 00 03 00 00 00 03 00 00 00 02 "
                  "00 00 00 01 00 00 00 01 00 00 00 02 00 00 00 02 ff ff ff ff"},
        {&strings.a, "00 00 00 00 00 00 00 02 00 00 00 0b 00 00 00 01 00 00 00 02 "
                     "00 00 00 01 00 00 00 01 78 00 00 00 00 00 00 00 00"},
        {&absent.a, "00 00 00 00 00 00 00 01 00 00 00 0b 00 00 00 01 00 00 00 01 "
                    "00 00 00 00 00 00 00 00"},
        {&no_chunks, "00 00 00 00 00 00 00 03 00 00 00 0a 00 00 00 00"},
    };
    stream_end s;
    for (auto &c : cases) {
        EXPECT_EQ(written(s, &operations::writearray, c.array), c.wire);
        message_array back = taken(s, &operations::readarray, c.wire);
        EXPECT_EQ(image(back), image(*c.array)) << c.wire;
        s.near->ops.freearray(s.near, &back);
        EXPECT_EQ(back.chunks, nullptr);
    }
    EXPECT_EQ(written(s, &operations::writearray, null), "00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(written(s, &operations::writearray, &none), "00 00 00 00 00 00 00 00 00 00 00 0a");

    message_array unknown = {1, 12, 0, nullptr, {}};
    EXPECT_EQ(s.near->ops.writearray(s.near, "f", &unknown), MESSAGE_INVALID);
    EXPECT_EQ(s.record()->outlen, 0u);
}

TEST(Values, AnArrayLandsWhereItIsWantedIfItFits)
{
    chunked<int32_t> one{{1, 2}}, two{{1}, {2}};
    struct {
        const message_array &sent;
        stream_landing offer;
        bool lands;
    } cases[] = {{one.a, {nullptr, TYPE_INT, 2}, true},
                 {one.a, {nullptr, TYPE_INT, 1}, false},
                 {one.a, {nullptr, TYPE_UINT, 2}, false},
                 {two.a, {nullptr, TYPE_INT, 2}, false}};
    for (auto &c : cases) {
        stream_end s;
        message_array back;
        int32_t place[3] = {-1, -1, -1};
        c.offer.place = place;
        EXPECT_EQ(s.far->ops.writearray(s.far, "f", &c.sent), 0);
        EXPECT_EQ(s.far->ops.writearray(s.far, "f", &one.a), 0);
        EXPECT_EQ(s.far->ops.endoutmsg(s.far), 0);
        s.near->ops.land(s.near, &c.offer);
        EXPECT_EQ(s.near->ops.readarray(s.near, "f", &back), 0);
        EXPECT_EQ(back.chunks[0].data == nullptr, c.lands);
        EXPECT_EQ(place[1], c.lands ? 2 : -1);
        EXPECT_EQ(place[2], -1);
        s.near->ops.freearray(s.near, &back);
        EXPECT_EQ(s.near->ops.readarray(s.near, "f", &back), 0);
        EXPECT_EQ(image(back), image(one.a)) << "the offer is for one array";
        s.near->ops.freearray(s.near, &back);
    }
}

// From stream to stream, behind `shift` bytes that are in the writer's buffer already.
static void expect_to_arrive(const message_array &a, int shift)
{
    stream_end s;
    message_array back;
    int8_t before;
    std::thread writer([&] {
        for (int i = 0; i < shift; i++)
            s.far->ops.writebyte(s.far, "f", 0);
        EXPECT_EQ(s.far->ops.writearray(s.far, "f", &a), 0);
        EXPECT_EQ(s.far->ops.endoutmsg(s.far), 0);
    });
    for (int i = 0; i < shift; i++)
        s.near->ops.readbyte(s.near, "f", &before);
    EXPECT_EQ(s.near->ops.readarray(s.near, "f", &back), 0);
    writer.join();
    EXPECT_TRUE(image(a) == image(back)) << a.type << ", " << a.total << ", " << shift;
    s.near->ops.freearray(s.near, &back);
}

// Bytes around the sizes of the buffer, of small blocks, of the pieces that are read and written
// at a time, and of the first block that is allocated.
template <class element> static void expect_all_sizes(void)
{
    for (size_t bytes : {8180, 8192, 65536, 65537, 262144, 300001, 1048576, 1048577})
        for (int shift : {0, 1}) {
            chunked<element> a{std::vector<element>(bytes / sizeof(element) + 1)};
            std::iota(a.chunks[0].begin(), a.chunks[0].end(), element(1));
            expect_to_arrive(a.a, shift);
        }
}

TEST(Values, BlocksOfAllSizesArriveWhole)
{
    expect_all_sizes<char>(); // which travel as they are
    expect_all_sizes<double>();
}

// Absent, empty, short and long ones, one of them larger than what is read at a time.
static std::vector<message_string> strings_of_all_lengths(size_t n)
{
    static std::string text(300'000, 'x');
    std::iota(text.begin(), text.end(), char(1));
    std::vector<message_string> all(2);
    for (uint32_t i = 0; all.size() < n; i++)
        all.push_back({i % 5, i % 5 > 0 ? i % 13 : 0, text.data() + i % 100, 0});
    all[n - 1] = {1, 299'000, text.data(), 0};
    return all;
}

// The strings of all chunks, each with the zeros that must stand behind it.
static std::string texts_of(const message_array &a, size_t spare)
{
    std::string all;
    for (uint32_t i = 0; i < a.nchunks; i++)
        for (uint32_t k = 0; k < a.chunks[i].count; k++) {
            const message_string &s = static_cast<message_string *>(a.chunks[i].data)[k];
            all += image(s);
            if (s.length > 0 && spare > 0) all.append(s.data + s.length, spare);
            if (s.length > 0 && spare == 0) all.append(MESSAGE_SPARE, '\0');
        }
    return all;
}

// Whatever memory fails, what follows the array is found.
static int read_strings(int fd, const message_array &sent)
{
    stream *s = nullptr;
    message_array back;
    int8_t behind = 0;
    lseek(fd, 0, SEEK_SET);
    int rc = fdio_create(&s, fd, -1, 1, nullptr, nullptr);
    if (rc != 0) return rc;
    rc = s->ops.readarray(s, "f", &back);
    EXPECT_TRUE(rc != 0 || texts_of(back, MESSAGE_SPARE) == texts_of(sent, 0));
    if (rc == 0) s->ops.freearray(s, &back);
    EXPECT_EQ(s->ops.readbyte(s, "f", &behind), 0);
    EXPECT_EQ(behind, 99);
    fdio_destroy(s);
    return rc;
}

TEST(Values, StringsArriveWholeOrAreSkipped)
{
    // Of the few, the first piece ends between heads, within a head and within a text.
    for (size_t n : {12, 13, 14, 15, 16, 17, 18, 19, 20, 20'000})
        for (size_t chunks : {1, 1500}) { // so many are joined
            chunked<message_string> strings{strings_of_all_lengths(n)};
            std::vector<message_chunk> table(chunks, {0, nullptr});
            table.back() = strings.a.chunks[0];
            strings.a.chunks = table.data();
            strings.a.nchunks = static_cast<uint32_t>(chunks);
            descriptor_holder file(memfd_create("strings", MFD_CLOEXEC));
            stream *s;
            ASSERT_EQ(fdio_create(&s, -1, file.fd, 1, nullptr, nullptr), 0);
            EXPECT_EQ(s->ops.writearray(s, "f", &strings.a), 0);
            EXPECT_EQ(s->ops.writebyte(s, "f", 99), 0);
            EXPECT_EQ(s->ops.endoutmsg(s), 0);
            fdio_destroy(s);
            EXPECT_GT(allocations_fail_each(0, MESSAGE_NOMEMORY,
                                            [&] { return read_strings(file.fd, strings.a); }),
                      3);
        }
}

} // namespace vnt
