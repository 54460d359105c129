#include "test/process.h"

#include <csignal>
#include <gtest/gtest.h>

TEST(Process, TellsTheExitStatusOrTheSignal)
{
    process_result shell = run({"sh", "-c", "echo $WORD; echo oops >&2; exit 3"}, {"WORD=hello"});
    EXPECT_EQ(shell.status, 3);
    EXPECT_EQ(shell.out, "hello\n");
    EXPECT_EQ(shell.err, "oops\n");
    process sleeper({"sleep", "100"});
    EXPECT_EQ(sleeper.wait(seconds(0)), process::unended);
    sleeper.kill(SIGTERM);
    EXPECT_EQ(sleeper.wait(seconds(10)), -SIGTERM);
    EXPECT_EQ(sleeper.wait(seconds(0)), -SIGTERM) << "and says so again";
}

TEST(Process, KnowsTheLivingChildrenOfAnother)
{
    process shell({"sh", "-c", "sleep 100 & wait"});
    std::vector<pid_t> children;
    ASSERT_TRUE(eventually([&] {
        children = process_children(shell.pid());
        return children.size() == 1;
    }));
    EXPECT_TRUE(process_alive(children[0]));
    kill(children[0], SIGKILL);
    EXPECT_TRUE(eventually([&] { return !process_alive(children[0]); }));
    EXPECT_EQ(shell.wait(seconds(10)), 0);
}
