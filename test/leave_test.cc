// vntsolve leaves a worker with a solve and comes back to it.
#include "test/server.h"
#include "test/vntsolve.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>

namespace vnt {

TEST(Leave, AnotherProcessInAnotherFolderTakesUpTheSolve)
{
    server remote;
    scratch file(".ticket");
    process_result left =
        vntsolve({model("p0201.mps"), "--server", remote.address(), "--detach", file.name});
    EXPECT_EQ(left.status, 0) << left.err;
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
    process_result again = vntsolve({"--attach", file.name});
    EXPECT_EQ(again.status, 5);
    EXPECT_NE(again.err.find("gone"), std::string::npos) << again.err;
}

TEST(Leave, AnAttachedSolveShowsProgressOutlivesItsWatcherAndCanBeStopped)
{
    server remote;
    scratch file(".ticket");
    ASSERT_EQ(vntsolve({model("misc07.mps"), "--server", remote.address(), "--detach", file.name,
                        "--time-limit", "60"})
                  .status,
              0);
    for (auto [signal, status] : {std::pair(SIGKILL, -SIGKILL), std::pair(SIGINT, 9)}) {
        process back(command({"--attach", file.name}));
        EXPECT_TRUE(eventually([&] { return back.err().find(" nodes ") != std::string::npos; }))
            << back.err();
        back.kill(signal);
        EXPECT_EQ(back.wait(seconds(10)), status) << back.err();
    }
}

// A result that cannot be reported stays in the worker, and its ticket is not overwritten.
TEST(Leave, AResultThatCouldNotBeToldIsKept)
{
    server remote;
    scratch file(".ticket");
    std::vector<std::string> resilient = {model("stein27.mps"), "--server", remote.address(),
                                          "--resilient", file.name};
    std::vector<std::string> untold = resilient;
    untold.insert(untold.end(), {"--write-solution", "/nowhere/solution"});
    EXPECT_EQ(vntsolve(untold).status, 3);
    process_result again = vntsolve(resilient);
    EXPECT_EQ(again.status, 3);
    EXPECT_NE(again.err.find(file.name), std::string::npos) << again.err;
    process_result back = vntsolve({"--attach", file.name, "--json"});
    EXPECT_EQ(member(back.out, "objective"), "18") << back.err;
    EXPECT_EQ(vntsolve(resilient).status, 0) << "its worker is gone";
    EXPECT_FALSE(std::filesystem::exists(file.name)) << "told, and its ticket removed";
}

// Whenever the client is killed, the ticket leads to the solve, and no second one was started.
class Outliving : public testing::TestWithParam<double> {};

TEST_P(Outliving, AResilientSolveOutlivesItsClient)
{
    server remote;
    scratch file(".ticket");
    process client(
        command({model("misc07.mps"), "--server", remote.address(), "--resilient", file.name}));
    ASSERT_TRUE(eventually([&] { return file.text() != ""; }));
    EXPECT_EQ(client.wait(seconds(GetParam())), process::unended);
    client.kill(SIGKILL);
    client.wait(seconds(10));
    ASSERT_EQ(remote.workers().size(), 1u);
    process_result back = run(command({"--attach", file.name, "--json"}), {}, seconds(300));
    EXPECT_EQ(back.status, 0) << back.err << remote.log();
    EXPECT_EQ(member(back.out, "objective"), "2810");
}

INSTANTIATE_TEST_SUITE_P(Slow, Outliving, testing::Values(0.7, 2.0, 4.3));

} // namespace vnt
