// A network that fails silently: the server runs behind a link that the test takes down.
// Needs root, or the right to make a network namespace.
#include "test/server.h"
#include "test/vntsolve.h"

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <memory>

namespace vnt {

// A namespace joined to this one by a link, which can be cut.  Its four addresses, of a network
// meant for tests, are the process's own, so that others may run beside it.
class far_network {
  public:
    far_network() : name("vnt" + std::to_string(getpid())), address(member(2))
    {
        ip({"netns", "add", name});
        ip({"link", "add", name + "a", "type", "veth", "peer", "name", name + "b", "netns", name});
        ip({"addr", "add", member(1) + "/30", "dev", name + "a"});
        ip({"-n", name, "addr", "add", address + "/30", "dev", name + "b"});
        ip({"-n", name, "link", "set", name + "b", "up"});
        link("up");
    }
    ~far_network() { ip({"netns", "del", name}); } // the link goes with it
    void link(const std::string &state) { ip({"link", "set", name + "a", state}); }

    const std::string name;
    const std::string address; // of the far end

  private:
    static std::string member(int i)
    {
        int first = getpid() % 16384 * 4;
        return "198.18." + std::to_string(first / 256) + "." + std::to_string(first % 256 + i);
    }
    static void ip(const std::vector<std::string> &arguments)
    {
        process_result result = run(joined({"ip"}, arguments));
        EXPECT_EQ(result.status, 0) << arguments[0] << " " << arguments[1] << ": " << result.err;
    }
};

// Tries it: root in a container often lacks the right.
static bool allowed()
{
    const std::string trial = "vnt" + std::to_string(getpid()) + "t";
    const std::string link = "ip link add name va type veth peer name vb";
    return run({"sh", "-c",
                "ip netns add " + trial + " && { ip netns exec " + trial + " " + link +
                    "; r=$?; ip netns del " + trial + "; exit $r; }"})
               .status == 0;
}

class SlowNetwork : public testing::Test {
  protected:
    void SetUp() override
    {
        if (!allowed())
            GTEST_SKIP() << "needs the right to make, link and enter network namespaces";
        network = std::make_unique<far_network>();
        remote = std::make_unique<server>(
            std::vector<std::string>{"-host=" + network->address}, std::vector<std::string>{},
            std::vector<std::string>{"ip", "netns", "exec", network->name});
    }
    std::vector<std::string> solving(const std::vector<std::string> &more = {})
    {
        return command(joined({model("misc07.mps"), "--server", remote->address()}, more));
    }
    std::unique_ptr<far_network> network; // outlives the server
    std::unique_ptr<server> remote;
};

TEST_F(SlowNetwork, AResilientSolveOutlivesACutLink)
{
    scratch file(".ticket");
    process client(solving({"--resilient", file.name, "--json"}));
    ASSERT_TRUE(eventually([&] { return file.text() != ""; }));
    EXPECT_EQ(client.wait(seconds(3)), process::unended);
    network->link("down");
    EXPECT_EQ(client.wait(seconds(30)), process::unended) << client.err();
    network->link("up");
    EXPECT_EQ(client.wait(seconds(400)), 0) << client.err();
    EXPECT_EQ(member(client.out(), "objective"), "2810.0");
}

TEST_F(SlowNetwork, BothEndsNoticeACutLinkAndAParkedWorkerStays)
{
    scratch file(".ticket");
    leave("misc07.mps", remote->address(), file.name);
    std::vector<pid_t> parked = remote->workers();
    ASSERT_EQ(parked.size(), 1u);
    process client(solving({"--quiet"}));
    ASSERT_TRUE(eventually([&] { return remote->workers().size() == 2; }));
    network->link("down");
    auto cut = std::chrono::steady_clock::now();
    EXPECT_EQ(client.wait(seconds(75)), 5) << client.err();
    // The server's rule for clients that vanish adds some ten seconds to what the network takes.
    EXPECT_TRUE(eventually([&] { return remote->workers() == parked; },
                           seconds(75) - (std::chrono::steady_clock::now() - cut)));
    network->link("up");
    EXPECT_EQ(objective_of(run(command({"--attach", file.name, "--json"}), {}, seconds(400))),
              "2810.0");
}

} // namespace vnt
