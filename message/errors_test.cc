#include "message/errors.h"

#include <gtest/gtest.h>

TEST(Errors, CodesWithoutARowMapToTheRemoteError)
{
    EXPECT_EQ(msg2vnt(0), 0);
    EXPECT_EQ(msg2vnt(MESSAGE_IO), 1426);
    for (int code : {-1, -14, 1, -10})
        EXPECT_EQ(msg2vnt(code), 1813) << code;
}
