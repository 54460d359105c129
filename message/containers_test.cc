#include "message/containers.h"

#include "test/allocations.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

static uint32_t withzero(const message_strlen *, const char *text)
{
    return static_cast<uint32_t>(strlen(text) + 1);
}
static const message_strlen measure = {withzero};

// A file in the working folder that goes away with its object.
struct scratch_file {
    char path[32] = "containers-XXXXXX";
    explicit scratch_file(const std::string &contents)
    {
        int fd = mkstemp(path);
        EXPECT_EQ(write(fd, contents.data(), contents.size()), ssize_t(contents.size()));
        close(fd);
    }
    ~scratch_file() { unlink(path); }
};

TEST(Containers, AnArrayPointsAtTheCallersDataAndAllocatesNothing)
{
    int32_t data[5] = {1, 2, 3, 4, 5};
    message_array a;
    int64_t before = allocations_held();
    ASSERT_EQ(message_set_anyarray(&a, 5, TYPE_INT, data, nullptr), 0);
    EXPECT_EQ(allocations_held(), before);
    EXPECT_EQ(a.total, 5);
    EXPECT_EQ(a.nchunks, 1u);
    EXPECT_EQ(a.chunks[0].count, 5u);
    EXPECT_EQ(a.chunks[0].data, data);
    message_unset_array(&a);
    EXPECT_EQ(a.chunks, nullptr);

    // Without data it is null whatever its type; a negative count is none.
    for (uint32_t type : {1, 11, 99}) {
        ASSERT_EQ(message_set_anyarray(&a, 7, type, nullptr, &measure), 0);
        EXPECT_TRUE(a.type == TYPE_NONE && a.total == 0);
    }
    for (uint32_t type : {0, 12})
        EXPECT_EQ(message_set_anyarray(&a, 3, type, "abc", &measure), MESSAGE_INVALID);
    ASSERT_EQ(message_set_bytearray(&a, -4, "abc"), 0);
    EXPECT_TRUE(a.type == TYPE_BYTE && a.total == 0);
}

// Address space is reserved and never touched, so that a chunk's limit can be passed.
TEST(Containers, MoreElementsThanAChunkHoldsAreSplit)
{
    size_t room = size_t(MESSAGE_CHUNK_MAX + 10) * 2;
    void *data = mmap(nullptr, room, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(data, MAP_FAILED);
    message_array a;
    ASSERT_EQ(message_set_anyarray(&a, MESSAGE_CHUNK_MAX, TYPE_SHORT, data, nullptr), 0);
    EXPECT_EQ(a.nchunks, 1u);
    message_unset_array(&a);
    ASSERT_EQ(message_set_anyarray(&a, MESSAGE_CHUNK_MAX + 3, TYPE_SHORT, data, nullptr), 0);
    ASSERT_EQ(a.nchunks, 2u);
    EXPECT_EQ(a.chunks[0].count, UINT32_MAX);
    EXPECT_EQ(a.chunks[1].count, 3u);
    EXPECT_EQ(a.chunks[1].data, static_cast<char *>(data) + 2 * MESSAGE_CHUNK_MAX);
    message_unset_array(&a);
    munmap(data, room);
}

TEST(Containers, StringsAreBorrowedAndNullOnesAreAbsent)
{
    const char *texts[] = {"one", nullptr};
    message_array a;
    allocations_fail_each(0, MESSAGE_NOMEMORY, [&] {
        return message_set_anyarray(&a, 2, TYPE_STRING, texts, &measure);
    });
    auto strings = static_cast<const message_string *>(a.chunks[0].data);
    EXPECT_EQ(a.total, 2);
    EXPECT_EQ(strings[0].data, texts[0]);
    EXPECT_EQ(strings[0].length, 4u);
    EXPECT_EQ(strings[1].present, 0u);
    message_unset_array(&a);
    ASSERT_EQ(message_set_anyarray(&a, 0, TYPE_STRING, texts, &measure), 0);
    EXPECT_TRUE(a.type == TYPE_STRING && a.nchunks == 0);
}

TEST(Containers, AFileIsMappedAndNamed)
{
    scratch_file file("contents"), empty("");
    message_file f;
    int64_t before = allocations_held();
    allocations_fail_each(0, MESSAGE_NOMEMORY, [&] { return message_set_file(&f, file.path); });
    EXPECT_STREQ(f.name.data, file.path);
    EXPECT_EQ(f.name.length, strlen(file.path) + 1);
    ASSERT_EQ(f.contents.total, 8);
    EXPECT_EQ(memcmp(f.contents.chunks[0].data, "contents", 8), 0);
    message_unset_file(&f);
    EXPECT_EQ(f.mapping, nullptr);
    EXPECT_EQ(message_set_file(&f, empty.path), MESSAGE_NOCONNECTION);
    EXPECT_EQ(message_set_file(&f, "no/such/file"), MESSAGE_OPEN);
    EXPECT_EQ(message_set_file(&f, nullptr), 0);
    EXPECT_EQ(f.name.present, 0u);
    message_unset_file(&f);
    EXPECT_EQ(allocations_held(), before);
}

// Copies of all kinds of messages are compared with codec/copy.h.
TEST(Containers, CopiesStandAloneWithSpareZerosBehindTheirBytes)
{
    scratch_file file("0123456789");
    message_file from, to;
    int64_t before = allocations_held();
    ASSERT_EQ(message_set_file(&from, file.path), 0);
    allocations_fail_each(0, MESSAGE_NOMEMORY, [&] { return message_copy_file(&to, &from); });
    message_unset_file(&from);
    EXPECT_STREQ(to.name.data, file.path);
    EXPECT_EQ(memcmp(to.contents.chunks[0].data, "0123456789\0\0\0", 10 + MESSAGE_SPARE), 0);
    message_uncopy_file(&to);
    EXPECT_EQ(allocations_held(), before);
    EXPECT_EQ(message_copy_string(&to.name, nullptr), MESSAGE_INVALID);
    EXPECT_EQ(message_copy_array(&to.contents, nullptr), MESSAGE_INVALID);
    EXPECT_EQ(message_copy_file(nullptr, nullptr), MESSAGE_INVALID);
}
