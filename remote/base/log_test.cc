#include "remote/base/log.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace vnt {

// The lines of the log itself are compared by the tests of those who write them.
TEST(Trace, TheVariableIsReadAfreshForEachLine)
{
    const std::string line =
        "VANTO REMOTE OBJECT [" + std::to_string(getpid()) + "]  3 connect: 111/111\n";
    for (auto [value, expected] : {std::pair("2", ""), {"3", line.c_str()}, {"loud", ""}}) {
        setenv("TESK_VANTO_REMOTE_OBJECT_TRACE", value, 1);
        testing::internal::CaptureStderr();
        trace_line(3, "connect: %d/%d\n", 111, 111);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), expected) << value;
    }
    unsetenv("TESK_VANTO_REMOTE_OBJECT_TRACE");
}

} // namespace vnt
