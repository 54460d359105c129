#include "remote/server/options.h"

#include "remote/base/log.h"
#include "test/logline.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace vnt {

// A command line read: the answer, what was left for the workers, what was said.
struct reading {
    explicit reading(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "program");
        std::vector<char *> argv;
        for (std::string &a : arguments)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        testing::internal::CaptureStderr();
        result = options_read(&o, static_cast<int>(arguments.size()), argv.data());
        level = log_level_get();
        for (int i = 1; i < o.argc; i++)
            left += argv[i] + std::string(" ");
        if (o.host != nullptr) host = o.host;
        if (o.port != nullptr) port = o.port;
        options_release(&o);
        said = testing::internal::GetCapturedStderr();
    }
    ~reading() { log_level_set(LOG_WARNING); }
    server_options o;
    int result, level;
    std::string left, said, host, port;
};

TEST(Options, TheServersOwnAreTakenOutAndTheRestIsTheWorkers)
{
    reading r({"-nothreads", "-host=h", "-libpath=/x", "-port=7", "-polling=1000", "-informal",
               "-library=libm.so.6", "-userfunction=a=b", "-action-timeout=3", "-info"});
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.left, "-nothreads -libpath=/x -informal -userfunction=a=b ");
    EXPECT_EQ(r.host + ":" + r.port, "h:7");
    EXPECT_EQ(r.o.polling, 729u) << "in base 9";
    EXPECT_EQ(r.o.action_timeout, 3);
    EXPECT_EQ(r.level, 3);
    EXPECT_EQ(r.said, "");
    reading none({});
    EXPECT_EQ(none.o.polling, 1000u);
    EXPECT_EQ(none.o.action_timeout, 10);
    EXPECT_EQ(none.level, 2);
}

TEST(Options, HostAndPortComeFromManyPlacesAndDefaultsAreSaid)
{
    EXPECT_EQ(reading({}).said, logged_line(2, "No host specified (use -host=<hostname>)!") +
                                    logged_line(2, "Using default host 127.0.0.1 [deprecated]") +
                                    logged_line(1, "No port specified (use -port=<number>)!") +
                                    logged_line(2, "Using default port 12345 [deprecated]"));
    reading split({"-port=1", "-address=::1:77"});
    EXPECT_EQ(split.host + " " + split.port, "::1 77");
    setenv("TESK_VANTO_TCPIP_HOST", "there", 1);
    setenv("TESK_VANTO_TCPIP_PORT", "", 1);
    reading environment({});
    EXPECT_EQ(environment.host + " " + environment.port, "there 12345");
    EXPECT_EQ(reading({"-host=here"}).host, "here");
    unsetenv("TESK_VANTO_TCPIP_HOST");
    unsetenv("TESK_VANTO_TCPIP_PORT");
}

TEST(Options, AllowedAddressesAreRangesOfBothFamilies)
{
    auto takes = [](const char *range, const char *address) {
        allowed_range r;
        sockaddr_storage from = {};
        if (!allowed_parse(range, &r)) return -1;
        auto *four = reinterpret_cast<sockaddr_in *>(&from);
        auto *six = reinterpret_cast<sockaddr_in6 *>(&from);
        if (inet_pton(AF_INET, address, &four->sin_addr) == 1)
            from.ss_family = AF_INET;
        else if (inet_pton(AF_INET6, address, &six->sin6_addr) == 1)
            from.ss_family = AF_INET6;
        return static_cast<int>(allowed_find(&r, 1, &from));
    };
    EXPECT_EQ(takes("10.1.2.0/23", "10.1.3.255"), 1);
    EXPECT_EQ(takes("10.1.2.0/23", "10.1.4.0"), 0);
    EXPECT_EQ(takes("10.1.2.3", "10.1.2.3"), 1);
    EXPECT_EQ(takes("10.1.2.3", "10.1.2.2"), 0);
    EXPECT_EQ(takes("0.0.0.0/0", "255.1.2.3"), 1);
    EXPECT_EQ(takes("0.0.0.0/0", "2001:db8::1"), 0);
    EXPECT_EQ(takes("10.0.0.0/8", "::ffff:10.9.9.9"), 1) << "as a socket of both families has it";
    EXPECT_EQ(takes("2001:db8::/33", "2001:db8:7fff::1"), 1);
    EXPECT_EQ(takes("2001:db8::/33", "2001:db8:8000::1"), 0);
    EXPECT_EQ(takes("::/0", "10.0.0.1"), 1);
    for (const char *bad : {"", "/8", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/-1", "10.0.0.0/8x",
                            "::/129", "here/8", "10.0.0/8"})
        EXPECT_EQ(takes(bad, "10.0.0.1"), -1) << bad;
}

TEST(Options, WhatIsWrongIsSaidAndEndsTheStart)
{
    const std::string broken = "strtol: Invalid argument\n";
    const std::string range = "strtol: Numerical result out of range\n";
    for (auto [argument, said] : std::vector<std::pair<std::string, std::string>>{
             {"-polling=9", broken},
             {"-polling=12068657454", range}, // 2^32
             {"-action-timeout=3s", broken},
             {"-pidfile=/nowhere/pid", "Failed to open pid file /nowhere/pid\n"},
             {"-logfile=/nowhere/log", "fopen: No such file or directory\n"}}) {
        reading r({"-host=h", "-port=1", argument});
        EXPECT_EQ(r.result, -1) << argument;
        EXPECT_EQ(r.said, said) << argument;
    }
}

} // namespace vnt
