#include "worker/log.h"

#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>

// A log into memory; standard error and level 2 afterwards, as a process starts.
class Log : public testing::Test {
  protected:
    void SetUp() override
    {
        stream = open_memstream(&text, &length);
        log_setstream(stream);
    }
    void TearDown() override
    {
        log_setstream(stderr);
        log_setlevel(LOG_WARNING);
        fclose(stream);
        free(text);
    }
    std::string written() { return std::string(text, length); }
    // Ten columns, a colon, four digits.
    std::string prefix(int level)
    {
        std::string id = std::to_string(getpid());
        return "[" + std::string(10 - id.size(), ' ') + id + ":000" + std::to_string(level) + "] ";
    }
    FILE *stream;
    char *text = nullptr;
    size_t length = 0;
};

TEST_F(Log, LinesUpToTheLevelAppearWithProcessIdAndLevel)
{
    std::string all;
    for (int level : {-1, 0, 1, 2, 4}) {
        log_setlevel(level);
        for (int l = 1; l <= 4; l++) {
            log_line(l, "%d of %d\n", l, level);
            if (l <= level)
                all += prefix(l) + std::to_string(l) + " of " + std::to_string(level) + "\n";
        }
    }
    EXPECT_EQ(written(), all);
    log_setstream(nullptr);
    log_line(1, "nobody reads this\n");
    tcpiplogmsg("nor this\n");
    EXPECT_EQ(written(), all);
}

TEST_F(Log, ASystemCallIsNamedWithItsErrorAndErrnoStays)
{
    errno = EMFILE;
    log_syscall("pipe");
    EXPECT_EQ(errno, EMFILE);
    errno = 99999;
    log_syscall("pipe");
    EXPECT_EQ(written(), prefix(1) + "pipe(): Too many open files [errno=24]\n" + prefix(1) +
                             "pipe(): Unknown error 99999\n");
}

TEST_F(Log, LinesOfSeveralThreadsStayWhole)
{
    std::thread threads[4];
    for (std::thread &t : threads)
        t = std::thread([] {
            for (int i = 0; i < 200; i++)
                log_line(1, "a line of one thread\n");
        });
    for (std::thread &t : threads)
        t.join();
    std::string all;
    for (int i = 0; i < 800; i++)
        all += prefix(1) + "a line of one thread\n";
    EXPECT_EQ(written(), all);
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
