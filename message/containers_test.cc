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

static std::string text(const message_string &s)
{
    return s.present != 0 ? std::string(s.data, s.length) : "(absent)";
}

static const message_string &element(const message_array &a, uint32_t i)
{
    return static_cast<const message_string *>(a.chunks[0].data)[i];
}

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
    EXPECT_EQ(a.chunks, &a.inlinechunk);
    EXPECT_EQ(a.chunks[0].count, 5u);
    EXPECT_EQ(a.chunks[0].data, data);
    message_unset_array(&a);
    EXPECT_EQ(a.chunks, nullptr);
}

TEST(Containers, WithoutDataAnArrayIsNullWhateverItsType)
{
    message_array a;
    for (uint32_t type : {1, 11, 99}) {
        ASSERT_EQ(message_set_anyarray(&a, 7, type, nullptr, &measure), 0);
        EXPECT_EQ(a.type, TYPE_NONE);
        EXPECT_EQ(a.total, 0);
    }
    for (uint32_t type : {0, 12})
        for (int64_t count : {0, 3})
            EXPECT_EQ(message_set_anyarray(&a, count, type, "abc", &measure), MESSAGE_INVALID);
    ASSERT_EQ(message_set_bytearray(&a, -4, "abc"), 0);
    EXPECT_EQ(a.total, 0);
    EXPECT_EQ(a.type, TYPE_BYTE);
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
    const char *texts[] = {"one", nullptr, ""};
    message_array a;
    allocations_fail_each(0, MESSAGE_NOMEMORY, [&] {
        return message_set_anyarray(&a, 3, TYPE_STRING, texts, &measure);
    });
    ASSERT_EQ(a.total, 3);
    ASSERT_EQ(a.chunks[0].count, 3u);
    EXPECT_EQ(element(a, 0).data, texts[0]);
    EXPECT_EQ(text(element(a, 0)), std::string("one\0", 4));
    EXPECT_EQ(text(element(a, 1)), "(absent)");
    EXPECT_EQ(text(element(a, 2)), std::string("\0", 1));
    message_unset_array(&a);
    ASSERT_EQ(message_set_anyarray(&a, 0, TYPE_STRING, texts, &measure), 0);
    EXPECT_EQ(a.type, TYPE_STRING);
    EXPECT_EQ(a.nchunks, 0u);
}

TEST(Containers, AFileIsMappedAndNamed)
{
    scratch_file file("contents");
    message_file f;
    allocations_fail_each(0, MESSAGE_NOMEMORY, [&] { return message_set_file(&f, file.path); });
    EXPECT_EQ(text(f.name), std::string(file.path, strlen(file.path) + 1));
    ASSERT_EQ(f.contents.total, 8);
    EXPECT_EQ(memcmp(f.contents.chunks[0].data, "contents", 8), 0);
    message_unset_file(&f);
    EXPECT_EQ(f.mapping, nullptr);
}

TEST(Containers, AFileThatCannotBeMappedLeavesNothing)
{
    scratch_file empty("");
    message_file f;
    int64_t before = allocations_held();
    EXPECT_EQ(message_set_file(&f, empty.path), MESSAGE_NOCONNECTION);
    EXPECT_EQ(message_set_file(&f, "no/such/file"), MESSAGE_OPEN);
    EXPECT_EQ(message_set_file(&f, nullptr), 0);
    EXPECT_EQ(f.name.present, 0u);
    message_unset_file(&f);
    EXPECT_EQ(allocations_held(), before);
}

TEST(Containers, CopiesStandAloneAndReleaseWhatTheyOwn)
{
    scratch_file file("0123456789");
    const char *texts[] = {"a", nullptr, "ccc"};
    message_array strings, copy;
    message_file from, to;
    ASSERT_EQ(message_set_anyarray(&strings, 3, TYPE_STRING, texts, &measure), 0);
    ASSERT_EQ(message_set_file(&from, file.path), 0);
    int64_t before = allocations_held();
    int64_t steps = allocations_fail_each(0, MESSAGE_NOMEMORY,
                                          [&] { return message_copy_array(&copy, &strings); });
    EXPECT_EQ(steps, 4); // table, block, two strings
    allocations_fail_each(0, MESSAGE_NOMEMORY, [&] { return message_copy_file(&to, &from); });
    message_unset_array(&strings);
    message_unset_file(&from);
    EXPECT_EQ(text(element(copy, 2)), std::string("ccc\0", 4));
    EXPECT_EQ(text(element(copy, 1)), "(absent)");
    EXPECT_STREQ(static_cast<char *>(to.contents.chunks[0].data), "0123456789"); // spare zeros
    message_uncopy_array(&copy);
    message_uncopy_file(&to);
    EXPECT_EQ(allocations_held(), before - 3); // the two borrowers' own blocks went as well
}

TEST(Containers, EmptyAndNullThingsCopyAndRelease)
{
    message_array a = {};
    a.type = TYPE_DOUBLE;
    message_array b;
    message_string s = {1, 0, nullptr, 0}, t;
    EXPECT_EQ(message_copy_array(&b, &a), 0);
    EXPECT_EQ(b.type, TYPE_DOUBLE);
    EXPECT_EQ(b.chunks, nullptr);
    EXPECT_EQ(message_copy_string(&t, &s), 0);
    EXPECT_EQ(t.present, 1u);
    EXPECT_EQ(message_copy_string(&t, nullptr), MESSAGE_INVALID);
    EXPECT_EQ(message_copy_array(&b, nullptr), MESSAGE_INVALID);
    EXPECT_EQ(message_copy_file(nullptr, nullptr), MESSAGE_INVALID);
    message_uncopy_string(nullptr);
    message_uncopy_array(nullptr);
    message_uncopy_file(nullptr);
}
