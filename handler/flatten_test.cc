#include "handler/flatten.h"

#include "test/arrays.h"

#include <gtest/gtest.h>

TEST(Flatten, AStringEndsAtItsWholeTerminatorOnly)
{
    struct {
        int width;
        std::string bytes;
        int64_t length;
    } cases[] = {
        {0, std::string("ab\0cd", 5), 3},
        {0, "abc", 3},
        {0, "", 0},
        {1, std::string("a\0\0\0", 4), 4},   // the pair at offset 1 is none
        {1, std::string("\0a\0\0bc", 6), 4}, // nor is half of one
        {1, "a", 1},                         // shorter than a terminator
        {1, std::string("abc\0\0", 5), 5},   // one that the end cuts
        {2, std::string("ab\0\0\0\0\0\0x", 9), 8},
        {2, std::string("\0\0\0", 3), 3},
        {3, "abc", 0},
        {-1, "abc", 0},
    };
    for (auto &c : cases)
        EXPECT_EQ(vntstrleninbytes(c.width, c.bytes.data(), static_cast<int64_t>(c.bytes.size())),
                  c.length)
            << c.width << " " << testing::PrintToString(c.bytes);
}

TEST(Flatten, BytesAreCopiedOnlyWhenTheyLieApart)
{
    chunked<char> whole{{'a', 'b'}}, apart{{'a'}, {'b'}}, empty{{}};
    chunked<int> numbers{{1}};
    char *buffer;
    bool owned;
    EXPECT_EQ(alloccopychararray(&buffer, &owned, &whole.a), 0);
    EXPECT_TRUE(buffer == whole.chunks[0].data() && !owned);
    EXPECT_EQ(alloccopychararray(&buffer, &owned, &empty.a), 0);
    EXPECT_TRUE(buffer != nullptr && !owned);
    EXPECT_EQ(alloccopychararray(&buffer, &owned, &apart.a), 0);
    EXPECT_EQ(std::string(buffer, 2 + MESSAGE_SPARE), std::string("ab\0\0\0\0", 6));
    EXPECT_TRUE(owned);
    free(buffer);
    EXPECT_EQ(alloccopychararray(&buffer, &owned, &numbers.a), -1);
    EXPECT_EQ(buffer, nullptr);
}
