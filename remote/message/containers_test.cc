#include "remote/message/containers.h"

#include "test/allocations.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include <unistd.h>

namespace vnt {

// Copies of all kinds of messages are compared with remote/codec/copy.h.
TEST(Containers, AFileIsMappedAndItsCopyStandsAlone)
{
    char path[] = "containers-XXXXXX";
    int fd = mkstemp(path);
    message_file f, copy;
    int64_t before = allocations_held();
    EXPECT_EQ(message_set_file(&f, path), MESSAGE_NOCONNECTION) << "nothing to map";
    EXPECT_EQ(write(fd, "contents", 8), 8);
    close(fd);
    allocations_fail_each(0, MESSAGE_NOMEMORY, [&] { return message_set_file(&f, path); });
    EXPECT_EQ(message_set_file(&copy, "no/such/file"), MESSAGE_OPEN);
    unlink(path);
    allocations_fail_each(0, MESSAGE_NOMEMORY, [&] { return message_copy_file(&copy, &f); });
    message_unset_file(&f);
    EXPECT_EQ(f.mapping, nullptr);
    EXPECT_STREQ(copy.name.data, path);
    EXPECT_EQ(copy.name.length, sizeof path);
    ASSERT_EQ(copy.contents.total, 8);
    EXPECT_EQ(memcmp(copy.contents.chunks[0].data, "contents\0\0\0", 8 + MESSAGE_SPARE), 0);
    message_uncopy_file(&copy);
    EXPECT_EQ(allocations_held(), before);
}

} // namespace vnt
