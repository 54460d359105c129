#include "handler/flatten.h"

#include <gtest/gtest.h>

#include <string>

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
