// What is left when a client or the server is gone without a word: nothing.
#include "test/server.h"

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

static const std::string longmodel = VNT_SOURCE_DIR "/test/models/misc07.mps";
static const std::string shortmodel = VNT_SOURCE_DIR "/test/models/afiro.mps";

// A client in the middle of a solve, and its worker.
struct busy_client {
    explicit busy_client(const server &s)
        : program({built("vntsolve"), longmodel, "--server", s.address()})
    {
        EXPECT_TRUE(eventually([&] { return !s.workers().empty() && program.err() != ""; }))
            << program.err() << s.log();
    }
    process program;
};

TEST(Lifetime, AWorkerWhoseClientWasKilledIsGone)
{
    server s;
    busy_client client(s);
    client.program.kill(SIGKILL);
    EXPECT_TRUE(eventually([&] { return s.workers().empty(); }, seconds(25)));
}

TEST(Lifetime, AKilledServerLeavesNoWorkerAndFreesThePort)
{
    auto first = std::make_unique<server>();
    busy_client client(*first);
    std::vector<pid_t> workers = first->workers();
    ASSERT_FALSE(workers.empty());
    EXPECT_EQ(first->stop(SIGKILL), -SIGKILL);
    for (pid_t worker : workers)
        EXPECT_TRUE(eventually([&] { return !process_alive(worker); }, seconds(25)));
    EXPECT_EQ(client.program.wait(seconds(20)), 5) << "the client says that it lost the server";
    server second({"-port=" + first->port()});
    EXPECT_EQ(second.address(), first->address());
}

TEST(Lifetime, AStoppedServerTakesItsWorkersWithIt)
{
    server s;
    busy_client client(s), another(s);
    std::vector<pid_t> workers = s.workers();
    ASSERT_EQ(workers.size(), 2u);
    EXPECT_EQ(s.stop(SIGTERM), 0) << s.log();
    for (pid_t worker : workers)
        EXPECT_FALSE(process_alive(worker));
    EXPECT_EQ(client.program.wait(seconds(20)), 5);
    EXPECT_EQ(another.program.wait(seconds(20)), 5);
}

TEST(Lifetime, AKilledWorkerIsToldToItsClientAlone)
{
    server s;
    busy_client client(s);
    ASSERT_EQ(s.workers().size(), 1u);
    pid_t worker = s.workers()[0];
    process another({built("vntsolve"), shortmodel, "--server", s.address()});
    kill(worker, SIGKILL);
    EXPECT_EQ(client.program.wait(seconds(20)), 5) << client.program.err();
    EXPECT_EQ(another.wait(seconds(20)), 0) << another.err();
}

// Connections that say nothing.
class silent_connections {
  public:
    silent_connections(const server &s, int count)
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<uint16_t>(stoi(s.port())));
        for (int i = 0; i < count; i++) {
            fds.push_back(socket(AF_INET, SOCK_STREAM, 0));
            EXPECT_EQ(connect(fds.back(), reinterpret_cast<sockaddr *>(&address), sizeof address),
                      0);
        }
    }
    ~silent_connections()
    {
        for (int fd : fds)
            close(fd);
    }

  private:
    std::vector<int> fds;
};

// A server that waited for each of them in turn would need its action time-out twenty times.
TEST(Lifetime, SilentConnectionsDelayNobody)
{
    server s({"-action-timeout=100"});
    silent_connections silent(s, 20);
    process_result honest =
        run({built("vntsolve"), shortmodel, "--server", s.address()}, {}, seconds(50));
    EXPECT_EQ(honest.status, 0) << honest.err;
}
