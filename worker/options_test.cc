#include "worker/options.h"

#include "worker/log.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

// A command line read: the answer, what was left for the workers, what was said.
struct reading {
    explicit reading(std::vector<std::string> arguments, int first = 0)
    {
        if (first == 0) arguments.insert(arguments.begin(), "program");
        std::vector<char *> argv;
        for (std::string &a : arguments)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        testing::internal::CaptureStderr();
        result = options_read(&o, static_cast<int>(arguments.size()), argv.data());
        level = log_getlevel();
        for (int i = 1; i < o.argc; i++)
            left += argv[i] + std::string(" ");
        if (o.host != nullptr) host = o.host;
        if (o.port != nullptr) port = o.port;
        options_release(&o);
        said = testing::internal::GetCapturedStderr();
    }
    ~reading() { log_setlevel(LOG_WARNING); }
    server_options o;
    int result, level;
    std::string left, said, host, port;
};

TEST(Options, TheServersOwnAreTakenOutAndTheRestIsTheWorkers)
{
    reading r({"-nothreads", "-host=h", "-libpath=/x", "-port=7", "-polling=1000", "-informal",
               "-userfunction=a=b", "-action-timeout=3", "-info"});
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.left, "-nothreads -libpath=/x -informal -userfunction=a=b ");
    EXPECT_EQ(r.host + ":" + r.port, "h:7");
    EXPECT_EQ(r.o.polling, 729u) << "in base 9";
    EXPECT_EQ(r.o.actiontimeout, 3);
    EXPECT_EQ(r.level, 3);
    EXPECT_EQ(r.said, "");
    reading none({});
    EXPECT_EQ(none.o.polling, 1000u);
    EXPECT_EQ(none.o.actiontimeout, 10);
    EXPECT_EQ(none.level, 2);
}

TEST(Options, HostAndPortComeFromManyPlacesAndDefaultsAreSaid)
{
    auto line = [](int level, const std::string &text) {
        std::string id = std::to_string(getpid());
        id.insert(0, 10 - id.size(), ' ');
        return "[" + id + ":000" + std::to_string(level) + "] " + text + "\n";
    };
    const std::string nohost = line(2, "No host specified (use -host=<hostname>)!") +
                               line(2, "Using default host 127.0.0.1 [deprecated]");
    const std::string noport = line(1, "No port specified (use -port=<number>)!") +
                               line(2, "Using default port 12345 [deprecated]");
    EXPECT_EQ(reading({}).said, nohost + noport);
    reading split({"-port=1", "-address=::1:77"});
    EXPECT_EQ(split.host + " " + split.port, "::1 77");
    reading portless({"-port=1", "-address=myhost"});
    EXPECT_EQ(portless.host + " " + portless.port, "myhost 12345");
    EXPECT_EQ(portless.said, noport);

    setenv("TESK_VANTO_TCPIP_HOST", "there", 1);
    setenv("TESK_VANTO_TCPIP_PORT", "", 1);
    reading environment({});
    EXPECT_EQ(environment.host + " " + environment.port, "there 12345");
    EXPECT_EQ(reading({"-host=here"}).host, "here");
    unsetenv("TESK_VANTO_TCPIP_HOST");
    unsetenv("TESK_VANTO_TCPIP_PORT");
}

TEST(Options, WhatIsWrongIsSaidAndEndsTheStart)
{
    const std::string broken = "strtol: Invalid argument\n";
    const std::string range = "strtol: Numerical result out of range\n";
    const std::string tall(1024, 'a');
    for (auto [argument, said] : std::vector<std::pair<std::string, std::string>>{
             {"-polling=9", broken},
             {"-polling=12068657454", range}, // 2^32
             {"-polling=-1", range},
             {"-action-timeout=3s", broken},
             {"-action-timeout=2147483648", range},
             {"-address=" + tall, "address argument " + tall + " too long\n"},
             {"-pidfile=/nowhere/pid", "Failed to open pid file /nowhere/pid\n"},
             {"-logfile=/nowhere/log", "fopen: No such file or directory\n"}}) {
        reading r({"-host=h", "-port=1", argument});
        EXPECT_EQ(r.result, -1) << argument;
        EXPECT_EQ(r.said, said) << argument;
    }
    EXPECT_EQ(reading({"-host=h", "-port=1", "-polling=12068657453"}).o.polling, UINT32_MAX);
    reading odd({"-host=h", "-port=1", "-loglevel=4294967299"});
    EXPECT_EQ(odd.result, 0);
    EXPECT_EQ(odd.level, 3) << "truncated";
    EXPECT_EQ(odd.said, range);
}

TEST(Options, TheLastLogFileGetsTheLines)
{
    const std::string file = testing::TempDir() + "options" + std::to_string(getpid());
    reading r({"-port=1", "-logfile=/dev/full", "-pidfile=" + file + ".pid", "-logfile=" + file});
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.said, "");
    std::string line, id;
    std::getline(std::ifstream(file), line);
    std::getline(std::ifstream(file + ".pid"), id);
    EXPECT_NE(line.find(":0002] No host specified"), std::string::npos) << line;
    EXPECT_EQ(id, std::to_string(getpid()));
    unlink(file.c_str());
    unlink((file + ".pid").c_str());
}

TEST(Options, HelpIsGivenAsItIsKnown)
{
    reading r({"-help", "-polling=9"});
    EXPECT_EQ(r.result, 1);
    for (const char *part :
         {"VANTO remote object for file descriptor based transports\nUsage: program <options>\n",
          "  -host=<address>    Host name or address.  -port=<portno>     Number of port to use.  "
          "-address=<address> Same",
          "<host>:<port>  -nothreads "})
        EXPECT_NE(r.said.find(part), std::string::npos) << r.said;
}

// Libraries are opened as named or by their short name, also where the first argument names one.
TEST(Options, LibrariesAreLoadedFirst)
{
    reading r({"-host=h", "-port=1", "-library=libm.so.6", "-nothreads"});
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.left, "-nothreads ");
    EXPECT_EQ(reading({"-library=libm.so.6", "x", "-host=h", "-port=1"}, 1).result, 0);
    auto load = [](std::string name) {
        name = "-library=" + name;
        char first[] = "program", good[] = "-library=libm.so.6";
        char *argv[] = {first, good, name.data(), nullptr};
        server_options o;
        options_read(&o, 3, argv);
    };
    EXPECT_DEATH(load("nowhere"), "Failed to load libraries: -12\n");
    EXPECT_DEATH(load(std::string(4090, 'l')), "Failed to load libraries: -11\n");
}
