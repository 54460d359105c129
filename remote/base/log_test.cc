#include "remote/base/log.h"

#include "test/logline.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace vnt {

// The log in a pipe that the test reads.
struct Log : testing::Test {
    int ends[2];

    Log()
    {
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        log_fd_set(ends[1]);
    }
    ~Log()
    {
        log_fd_set(-1);
        close(ends[0]);
        close(ends[1]);
    }
    // What is here.
    std::string drain()
    {
        static char text[1 << 20];
        const ssize_t n = read(ends[0], text, sizeof text);
        return {text, n > 0 ? size_t(n) : 0};
    }
};

// The server stopped for good, SIGTERM included, when its standard error was a full pipe.
TEST_F(Log, APipeWithoutAReaderCostsLinesAndNotTheProcess)
{
    const std::string first = logged_line(2, "a line");
    size_t lines = static_cast<size_t>(fcntl(ends[1], F_GETPIPE_SZ)) / first.size() + 2;
    for (size_t i = 0; i < lines; i++)
        log_line(LOG_WARNING, "a line\n");
    log_line(LOG_DEBUG, "is not due\n");
    std::string text = drain();
    size_t written = text.size() / first.size();
    EXPECT_LE(written, lines - 2);
    EXPECT_EQ(text.substr(0, first.size()), first);
    log_line(LOG_WARNING, "has room\n");
    EXPECT_EQ(drain(), logged_line(1, std::to_string(lines - written) + " log lines were dropped") +
                           logged_line(2, "has room"));
    EXPECT_EQ(fcntl(ends[1], F_GETFL) & O_NONBLOCK, 0) << "the mode is shared with others";
}

TEST_F(Log, ALongLineIsCutAndStaysALine)
{
    for (int length : {4075, 4076, 4077}) {
        log_line(LOG_ERROR, "%0*d\n", length, 7);
        std::string text = drain();
        EXPECT_EQ(text.size(), std::min(18u + 1 + length, 4095u)) << length;
        EXPECT_EQ(text.find('\n'), text.size() - 1) << length;
    }
}

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

// A worker is forked while other threads may be in the C library's calendar.
TEST_F(Log, TheTimeThatALineBeginsWithIsThatOfTheSystemsCalendar)
{
    log_time_set(true);
    char before[32], after[32];
    using std::chrono::system_clock;
    auto say = [](char(&text)[32]) {
        time_t now = system_clock::to_time_t(system_clock::now());
        strftime(text, sizeof text, "%FT%T", gmtime(&now));
    };
    say(before);
    log_line(LOG_WARNING, "a line\n");
    say(after);
    log_time_set(false);
    const std::string text = drain();
    ASSERT_EQ(text.substr(19, 1) + text.substr(23), ".Z " + logged_line(2, "a line"));
    EXPECT_LE(before, text.substr(0, 19));
    EXPECT_GE(after, text.substr(0, 19));
}

} // namespace vnt
