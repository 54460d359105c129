#include "worker/log.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string>
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
        unsetenv("TESK_VANTO_REMOTE_OBJECT_TRACE");
        fclose(stream);
        free(text);
    }
    std::string written() { return std::string(text, length); }
    std::string prefix(int level)
    {
        char p[40];
        snprintf(p, sizeof p, "[%10d:%04d] ", static_cast<int>(getpid()), level);
        return p;
    }
    FILE *stream;
    char *text = nullptr;
    size_t length = 0;
};

TEST_F(Log, ALineCarriesProcessIdAndLevel)
{
    log_line(1, "Failed to create handler: %d\n", -3);
    EXPECT_EQ(written(), prefix(1) + "Failed to create handler: -3\n");
    EXPECT_EQ(written().find(']'), 16u); // ten columns, a colon, four digits
}

TEST_F(Log, TheLevelDecidesWhichLinesAppear)
{
    for (int level : {-1, 0, 1, 2, 4}) {
        log_setlevel(level);
        for (int l = 1; l <= 4; l++)
            log_line(l, "%d of %d\n", l, level);
    }
    std::string all;
    for (int level : {1, 2, 4})
        for (int l = 1; l <= level; l++)
            all += prefix(l) + std::to_string(l) + " of " + std::to_string(level) + "\n";
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
    log_setlevel(4);
    auto body = [](void *) -> void * {
        for (int i = 0; i < 200; i++)
            log_line(4, "a line of one thread\n");
        return nullptr;
    };
    pthread_t threads[4];
    for (pthread_t &t : threads)
        ASSERT_EQ(pthread_create(&t, nullptr, body, nullptr), 0);
    for (pthread_t &t : threads)
        pthread_join(t, nullptr);
    std::string all;
    for (int i = 0; i < 800; i++)
        all += prefix(4) + "a line of one thread\n";
    EXPECT_EQ(written(), all);
}

TEST(Trace, TheVariableIsReadAfreshForEachLine)
{
    char expected[80];
    snprintf(expected, sizeof expected, "VANTO REMOTE OBJECT [%ld]  3 connect: 111/111\n",
             static_cast<long>(getpid()));
    auto traced = [](const char *value) {
        setenv("TESK_VANTO_REMOTE_OBJECT_TRACE", value, 1);
        testing::internal::CaptureStderr();
        trace_line(3, "connect: %d/%d\n", 111, 111);
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(traced("2"), "");
    EXPECT_EQ(traced("3"), expected);
    EXPECT_EQ(traced("99"), expected);
    EXPECT_EQ(traced("loud"), "");
    unsetenv("TESK_VANTO_REMOTE_OBJECT_TRACE");
}
