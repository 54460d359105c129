// vntsolve leaves a worker with a solve and comes back to it.
#include "test/server.h"
#include "test/vntsolve.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>

namespace vnt {

struct Leave : testing::Test {
    server remote;
    const scratch file{".ticket"};
};

TEST_F(Leave, AnotherProcessInAnotherFolderTakesUpTheSolve)
{
    leave("p0201.mps", remote.address(), file.name);
    EXPECT_EQ(remote.workers().size(), 1u) << "the worker stays";

    scratch solution(".sol"), plainsolution(".plain.sol");
    process_result back = run({"sh", "-c",
                               "cd / && exec " + built("vntsolve") + " --json --attach " +
                                   file.name + " --write-solution " + solution.name});
    process_result plain =
        vntsolve({model("p0201.mps"), "--local", "--json", "--write-solution", plainsolution.name});
    EXPECT_EQ(back.status, 0) << back.err;
    EXPECT_EQ(digits(back.out), digits(plain.out));
    EXPECT_EQ(member(back.out, "server"), remote.address());
    EXPECT_EQ(solution.text(), plainsolution.text());

    EXPECT_TRUE(eventually([&] { return remote.workers().empty(); }));
    EXPECT_FALSE(std::filesystem::exists(file.name)) << "a used ticket goes";
}

TEST_F(Leave, AnAttachedSolveShowsProgressOutlivesItsWatcherAndCanBeStopped)
{
    leave("misc07.mps", remote.address(), file.name, {"--time-limit", "60"});
    auto watch = [&](process &back) {
        EXPECT_TRUE(eventually([&] { return has(back.err(), " nodes"); })) << back.err();
    };
    process killed(command({"--attach", file.name}));
    watch(killed);
    killed.kill(SIGKILL);
    EXPECT_EQ(killed.wait(seconds(10)), -SIGKILL);

    process leaving(command({"--attach", file.name, "--json"}));
    watch(leaving);
    leaving.kill(SIGINT);
    EXPECT_EQ(leaving.wait(seconds(10)), 9);
    EXPECT_TRUE(has(leaving.err(), "the solve goes on: vntsolve --attach " + file.name));
    EXPECT_EQ(member(leaving.out(), "status"), "running");
    EXPECT_EQ(schema_complaints("result", leaving.out()), "");

    process stopping(command({"--attach", file.name}));
    watch(stopping);
    stopping.kill(SIGINT);
    EXPECT_TRUE(eventually([&] { return has(stopping.err(), "goes on"); }));
    stopping.kill(SIGINT);
    EXPECT_EQ(stopping.wait(seconds(10)), 9) << stopping.err();
    EXPECT_TRUE(has(stopping.out(), "stopped by the user"));
}

TEST_F(Leave, AStatusTouchesNothingAndAKillEndsAll)
{
    scratch odd(" 100%\n\xff.mps", file_text(model("misc07.mps"))); // the ticket bears any name
    ASSERT_EQ(vntsolve({odd.name, "--server", remote.address(), "--detach", file.name}).status, 0);
    process_result look = vntsolve({"--status", file.name});
    EXPECT_EQ(look.status, 0) << look.err;
    EXPECT_TRUE(has(look.out, "State:       running"));
    EXPECT_TRUE(has(look.out, odd.name));
    const std::string json = vntsolve({"--status", file.name, "--json"}).out;
    EXPECT_EQ(schema_complaints("status", json), "");
    EXPECT_EQ(member(json, "state"), "running");
    EXPECT_NE(member(json, "bound"), "null") << "a second visit finds what the solver says";
    EXPECT_EQ(remote.workers().size(), 1u);
    EXPECT_EQ(vntsolve({"--kill", file.name}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(file.name));
    EXPECT_TRUE(eventually([&] { return remote.workers().empty(); }));
}

// A ticket may be older than its worker.
TEST_F(Leave, AWorkerThatIsGoneIsSaidSo)
{
    leave("misc07.mps", remote.address(), file.name);
    for (pid_t worker : remote.workers())
        kill(worker, SIGKILL);
    EXPECT_TRUE(eventually([&] { return remote.workers().empty(); }));
    for (const char *way : {"--status", "--attach", "--kill"}) {
        process_result result = vntsolve({way, file.name});
        EXPECT_EQ(result.status, 5) << result.out;
        EXPECT_TRUE(has(result.err, "gone"));
    }
}

// As a batch system suspends it.  Each visitor hears of it, and none does harm.
TEST_F(Leave, ASuspendedWorkerIsSaidSoAndWaitedFor)
{
    leave("p0033.mps", remote.address(), file.name);
    ASSERT_EQ(remote.workers().size(), 1u);
    const pid_t worker = remote.workers()[0];
    kill(worker, SIGSTOP);
    process waiting(command({"--attach", file.name}));
    EXPECT_TRUE(eventually([&] { return has(waiting.err(), "no answer yet"); }));
    for (const char *way : {"--status", "--kill"}) {
        process_result result = vntsolve({way, file.name, "--connect-timeout", "0.3"});
        EXPECT_EQ(result.status, 5) << result.out;
        EXPECT_TRUE(has(result.err, "suspended")) << result.err;
    }
    kill(worker, SIGCONT);
    EXPECT_EQ(waiting.wait(seconds(20)), 0) << waiting.err();
    EXPECT_FALSE(std::filesystem::exists(file.name));
}

// A result that cannot be reported stays in the worker, and its ticket is not overwritten.
TEST_F(Leave, AResultThatCouldNotBeToldIsKept)
{
    std::vector<std::string> resilient = {model("stein27.mps"), "--server", remote.address(),
                                          "--resilient", file.name};
    EXPECT_EQ(vntsolve(joined(resilient, {"--write-solution", "/dev/full"})).status, 3);
    process_result again = vntsolve(resilient);
    EXPECT_EQ(again.status, 3);
    EXPECT_TRUE(has(again.err, file.name));
    EXPECT_EQ(attach(file.name), "18.0");
    EXPECT_EQ(vntsolve(resilient).status, 0) << "its worker is gone";
    EXPECT_FALSE(std::filesystem::exists(file.name)) << "told, and its ticket removed";
}

// The limit of a file's size brings a signal, which must not end the program.  Neither the result
// nor the ticket can be written: the old ticket leads to the result.
TEST_F(Leave, AFileAtItsLimitIsAFullDisk)
{
    scratch solution(".sol");
    auto limited = [&](const std::vector<std::string> &arguments) {
        return run(joined({"sh", "-c", "ulimit -f 0 && exec \"$@\"", "sh"}, command(arguments)));
    };
    const std::vector<std::string> leaving = {model("stein27.mps"), "--server", remote.address(),
                                              "--detach", file.name};
    EXPECT_EQ(limited(leaving).status, 3);
    ASSERT_EQ(vntsolve(leaving).status, 0);
    const std::vector<std::string> full = {"--attach", file.name, "--write-solution",
                                           solution.name};
    EXPECT_EQ(limited(full).status, 3);
    EXPECT_EQ(limited(full).status, 3);
    EXPECT_EQ(attach(file.name), "18.0");
}

TEST_F(Leave, WhatIsNoTicketIsRefused)
{
    for (const char *file : {"/dev/zero", "/dev/full", "/dev/null"})
        for (const char *way : {"--status", "--attach", "--kill"})
            EXPECT_EQ(vntsolve({way, file}).status, 4) << way << ' ' << file;
}

// Whenever the client is killed, the ticket leads to the solve, and no second one was started.
struct Outliving : Leave, testing::WithParamInterface<double> {};

TEST_P(Outliving, AResilientSolveOutlivesItsClient)
{
    process client(
        command({model("misc07.mps"), "--server", remote.address(), "--resilient", file.name}));
    ASSERT_TRUE(eventually([&] { return file.text() != ""; }));
    EXPECT_EQ(client.wait(seconds(GetParam())), process::unended);
    client.kill(SIGKILL);
    client.wait(seconds(10));
    ASSERT_EQ(remote.workers().size(), 1u);
    EXPECT_EQ(attach(file.name), "2810.0") << remote.log();
}

INSTANTIATE_TEST_SUITE_P(Slow, Outliving, testing::Values(0.7, 2.0, 4.3));

} // namespace vnt
