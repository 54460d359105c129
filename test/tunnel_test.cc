// Tunnels and balancers before the server, set up as the files in examples/service say: TLS, ssh,
// and several servers behind one address.
#include "test/folders.h"
#include "test/server.h"
#include "test/vntsolve.h"

#include <csignal>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <sys/stat.h>

namespace vnt {

namespace {

bool missing(const std::string &program)
{
    const std::string search = "PATH=$PATH:/usr/sbin command -v " + program;
    return run({"sh", "-c", search}).status != 0;
}

// Whether something listens there.
bool listening(const std::string &port)
{
    return run({"ss", "-Hltn", "sport = :" + port}).out != "";
}

// Starts a program that is to listen on the port.
std::unique_ptr<process> start(const std::vector<std::string> &arguments, const std::string &port)
{
    auto program = std::make_unique<process>(arguments);
    EXPECT_TRUE(eventually([&] { return listening(port); })) << program->err();
    return program;
}

// Puts a shipped file into the working folder, with each of these texts replaced.
void adapt(const std::string &name, const std::map<std::string, std::string> &changes,
           const std::string &to)
{
    std::string text = file_text(source_path("examples/service/" + name));
    for (const auto &[from, into] : changes) {
        size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << name << " lacks " << from;
        for (; at != std::string::npos; at = text.find(from, at + into.size()))
            text.replace(at, from.size(), into);
    }
    std::ofstream(to) << text;
}

const std::string MODEL = "p0033.mps", OPTIMUM = "3089.0";

std::string at(const std::string &port)
{
    return "127.0.0.1:" + port;
}
process_result solve_at(const std::string &port)
{
    return vntsolve({model(MODEL), "--server", at(port), "--json"});
}

class SlowTls : public testing::Test {
  protected:
    void SetUp() override
    {
        if (missing("stunnel4")) GTEST_SKIP() << "there is no stunnel4";
        chmod(folder.path.c_str(), 0755); // the tunnel's user reaches the server's socket there
        const std::string keys = source_path("examples/service/make-keys");
        const process_result made =
            run({"sh", "-c",
                 keys + " solver.example alice && mkdir other && cd other && " + keys +
                     " solver.example mallory"});
        ASSERT_EQ(made.status, 0) << made.err;
        far_tunnel();
    }

    void far_tunnel()
    {
        std::map<std::string, std::string> changes = as_we_are();
        changes["accept = 12346"] = "accept = 127.0.0.1:" + outside;
        changes["/etc/stunnel/solver"] = "solver";
        changes["/run/vanto/socket"] = folder.file("socket");
        if (getuid() == 0) changes["setgid = vanto"] = "setgid = stunnel4";
        adapt("stunnel-server.conf", changes, "server.conf");
        far = start({"stunnel4", "server.conf"}, outside);
    }

    // The client's end, with this line in place of the one that names its key.
    void near_tunnel(const std::string &key)
    {
        std::map<std::string, std::string> changes = as_we_are();
        changes["cert = /etc/stunnel/alice.pem"] = key;
        changes["solver.example:12346"] = "127.0.0.1:" + outside;
        changes["12345"] = inside;
        adapt("stunnel-client.conf", changes, "client.conf");
        near = start({"stunnel4", "client.conf"}, inside);
    }

    working_folder folder;
    server remote{{"-address=unix:" + folder.file("socket"), "-socket-mode=0666",
                   "-status=" + folder.file("status")}};
    const std::string outside = free_port(), inside = free_port();
    std::unique_ptr<process> far, near;

  private:
    // What differs in the test's folder; only root may become another user.
    std::map<std::string, std::string> as_we_are() const
    {
        std::map<std::string, std::string> changes = {
            {"/etc/stunnel/authority.pem", "authority.pem"}};
        if (getuid() != 0) changes["setuid"] = changes["setgid"] = "; as root: setuid";
        return changes;
    }
};

class SlowBalancer : public testing::Test {
  protected:
    void SetUp() override
    {
        for (const char *program : {"haproxy", "socat"})
            if (missing(program)) GTEST_SKIP() << "there is no " << program;
        adapt("haproxy.cfg",
              {{"bind :12345", "bind 127.0.0.1:" + any},
               {"bind :12351", "bind 127.0.0.1:" + ports[0]},
               {"bind :12352", "bind 127.0.0.1:" + ports[1]},
               {"10.0.0.11:12345", servers[0].address()},
               {"10.0.0.12:12345", servers[1].address()}},
              "haproxy.cfg");
        balance();
    }
    void balance()
    {
        balancer.reset();
        balancer = start({"/usr/sbin/haproxy", "-db", "-f", "haproxy.cfg"}, any);
    }

    working_folder folder;
    server servers[2];
    const std::string any = free_port();
    const std::string ports[2] = {free_port(), free_port()};
    std::unique_ptr<process> balancer;
};

class SlowSsh : public testing::Test {
  protected:
    void SetUp() override
    {
        if (missing("sshd")) GTEST_SKIP() << "there is no sshd";
        if (getuid() == 0) std::filesystem::create_directory("/run/sshd"); // sshd insists on it
        const process_result keys =
            run({"sh", "-c",
                 "ssh-keygen -q -t ed25519 -N '' -f host && "
                 "ssh-keygen -q -t ed25519 -N '' -f mine && cp mine.pub authorized && "
                 "echo solver.example $(cat host.pub) >known"});
        ASSERT_EQ(keys.status, 0) << keys.err;
        const std::string here = folder.path + "/";
        std::ofstream("sshd.conf") << "ListenAddress 127.0.0.1:" << door << "\nHostKey " << here
                                   << "host\nAuthorizedKeysFile " << here
                                   << "authorized\nPidFile none\nStrictModes no\nUsePAM no\n";
        daemon = start({"/usr/sbin/sshd", "-D", "-e", "-f", here + "sshd.conf"}, door);
        std::ofstream("ssh.conf") << "Host solver.example\nHostName 127.0.0.1\nPort " << door
                                  << "\nHostKeyAlias solver.example\nIdentitiesOnly yes\n"
                                  << "IdentityFile " << here << "mine\nUserKnownHostsFile " << here
                                  << "known\nBatchMode yes\n";
    }

    working_folder folder;
    server remote;
    const std::string door = free_port(), inside = free_port();
    std::unique_ptr<process> daemon;
};

} // namespace

TEST_F(SlowTls, LetsInOnlyTheKeysOfTheAuthority)
{
    near_tunnel("cert = alice.pem");
    EXPECT_EQ(objective_of(solve_at(inside)), OPTIMUM);
    for (const char *key : {"", "cert = other/mallory.pem"}) {
        near.reset();
        near_tunnel(key);
        process_result refused = solve_at(inside);
        EXPECT_EQ(refused.status, 5) << key << refused.out;
    }
    EXPECT_TRUE(remote.workers().empty());
    EXPECT_TRUE(has(far->err(), "did not return a certificate"));
    EXPECT_TRUE(has(far->err(), "certificate verify failed"));
}

TEST_F(SlowTls, TheClientInsistsOnItsServer)
{
    far.reset();
    std::filesystem::rename("other/solver.example.pem", "solver.example.pem");
    far_tunnel();
    near_tunnel("cert = alice.pem");
    EXPECT_EQ(solve_at(inside).status, 5);
}

TEST_F(SlowTls, ALongSolveSurvivesARestartOfTheTunnel)
{
    near_tunnel("cert = alice.pem");
    process client(command({model("misc07.mps"), "--server", "127.0.0.1:" + inside, "--json",
                            "--time-limit", "6", "--resilient", "ticket"}));
    // A connection that breaks while the client is on it is a loss; it is mostly away.
    ASSERT_TRUE(eventually([] {
        const auto said = run({build_path("bin/vnttop"), "--socket", "status", "--once"});
        return has(said.out, "parked");
    }));
    for (std::unique_ptr<process> *end : {&near, &far}) {
        (*end)->kill(SIGTERM);
        EXPECT_EQ((*end)->wait(seconds(10)), 0);
    }
    EXPECT_EQ(client.wait(seconds(2)), process::unended) << client.err();
    far_tunnel();
    near_tunnel("cert = alice.pem");
    EXPECT_EQ(client.wait(seconds(200)), 8) << client.err();
    EXPECT_EQ(member(client.out(), "reason"), "time");
}

// Clients of eight addresses leave their workers, the balancer starts anew, and each finds its own.
TEST_F(SlowBalancer, OneAddressLeadsAClientBackToItsServer)
{
    std::vector<std::unique_ptr<process>> clients;
    std::vector<std::string> doors;
    for (int i = 0; i < 8; i++) {
        doors.push_back(free_port());
        clients.push_back(start({"socat", "TCP-LISTEN:" + doors.back() + ",bind=127.0.0.1,fork",
                                 "TCP:127.0.0.1:" + any + ",bind=127.0.0." + std::to_string(i + 2)},
                                doors.back()));
        leave(MODEL, at(doors[i]), "ticket" + std::to_string(i));
    }
    EXPECT_FALSE(servers[0].workers().empty());
    EXPECT_FALSE(servers[1].workers().empty());
    EXPECT_EQ(servers[0].workers().size() + servers[1].workers().size(), 8u);
    balance();
    for (int i = 0; i < 8; i++)
        EXPECT_EQ(attach("ticket" + std::to_string(i)), OPTIMUM);
    for (server &s : servers)
        EXPECT_TRUE(eventually([&] { return s.workers().empty(); }));
}

TEST_F(SlowBalancer, APortForEachServerLeadsThere)
{
    for (int i = 0; i < 2; i++) {
        leave(MODEL, at(ports[i]), "ticket");
        EXPECT_EQ(servers[i].workers().size(), 1u);
        EXPECT_EQ(servers[1 - i].workers().size(), 0u);
        EXPECT_EQ(attach("ticket"), OPTIMUM);
        EXPECT_TRUE(eventually([&] { return servers[i].workers().empty(); }));
    }
}

TEST_F(SlowSsh, ForwardsAPort)
{
    auto tunnel = start({"ssh", "-N", "-F", "ssh.conf", "-L",
                         inside + ":127.0.0.1:" + remote.port(), "solver.example"},
                        inside);
    leave(MODEL, at(inside), "ticket");
    EXPECT_EQ(attach("ticket"), OPTIMUM);
}

TEST_F(SlowSsh, AnyCommandThatReachesTheHostCarriesConnections)
{
    if (missing("socat")) GTEST_SKIP() << "there is no socat";
    auto tunnel =
        start({"socat", "TCP-LISTEN:" + inside + ",bind=127.0.0.1,fork",
               "EXEC:ssh -F ssh.conf solver.example socat - 'TCP:127.0.0.1:" + remote.port() + "'"},
              inside);
    EXPECT_EQ(objective_of(solve_at(inside)), OPTIMUM);
}

} // namespace vnt
