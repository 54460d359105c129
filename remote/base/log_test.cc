#include "remote/base/log.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace vnt {

static std::string line(int level, const std::string &text)
{
    std::string id = std::to_string(getpid());
    id.insert(0, 10 - id.size(), ' ');
    return "[" + id + ":000" + std::to_string(level) + "] " + text + "\n";
}

// Up to n bytes that are here.
static std::string drain(int fd, size_t n)
{
    std::string text(n, '\0');
    text.resize(static_cast<size_t>(std::max<ssize_t>(read(fd, text.data(), n), 0)));
    return text;
}

// The server stopped for good, SIGTERM included, when its standard error was a full pipe.
TEST(Log, APipeWithoutAReaderCostsLinesAndNotTheProcess)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    log_fd_set(ends[1]);
    const std::string first = line(2, "a line");
    size_t lines = static_cast<size_t>(fcntl(ends[1], F_GETPIPE_SZ)) / first.size() + 2;
    for (size_t i = 0; i < lines; i++)
        log_line(LOG_WARNING, "a line\n");
    log_line(LOG_DEBUG, "is not due\n");
    std::string text = drain(ends[0], 1 << 20);
    size_t written = text.size() / first.size();
    EXPECT_LE(written, lines - 2);
    EXPECT_EQ(text.substr(0, first.size()), first);
    log_line(LOG_WARNING, "has room\n");
    EXPECT_EQ(drain(ends[0], 1 << 20),
              line(1, std::to_string(lines - written) + " log lines were dropped") +
                  line(2, "has room"));
    EXPECT_EQ(fcntl(ends[1], F_GETFL) & O_NONBLOCK, 0) << "the mode is shared with others";
    log_fd_set(-1);
    close(ends[0]);
    close(ends[1]);
}

TEST(Log, ALongLineIsCutAndStaysALine)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    log_fd_set(ends[1]);
    for (int length : {4075, 4076, 4077}) {
        log_line(LOG_ERROR, "%0*d\n", length, 7);
        std::string text = drain(ends[0], 1 << 16);
        EXPECT_EQ(text.size(), std::min(18u + 1 + length, 4095u)) << length;
        EXPECT_EQ(text.find('\n'), text.size() - 1) << length;
    }
    log_fd_set(-1);
    close(ends[0]);
    close(ends[1]);
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
TEST(Log, TheTimeThatALineBeginsWithIsThatOfTheSystemsCalendar)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    log_fd_set(ends[1]);
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
    log_fd_set(-1);
    const std::string text = drain(ends[0], 4096);
    ASSERT_EQ(text.substr(19, 1) + text.substr(23), ".Z " + line(2, "a line"));
    EXPECT_LE(before, text.substr(0, 19));
    EXPECT_GE(after, text.substr(0, 19));
    close(ends[0]);
    close(ends[1]);
}

} // namespace vnt
