// Servers on Unix-domain sockets, and pools of servers.
#include "test/server.h"
#include "test/vntsolve.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>

namespace vnt {

namespace {

namespace fs = std::filesystem;

class Sockets : public testing::Test {
  protected:
    // What a server says that does not start.
    std::string refused(const std::vector<std::string> &arguments)
    {
        process_result result = run(joined({built("vntworker")}, arguments), {}, seconds(20));
        EXPECT_EQ(result.status, 255) << result.err;
        return result.err;
    }
    unsigned mode() const
    {
        struct stat there = {};
        EXPECT_EQ(stat(path.c_str(), &there), 0);
        return there.st_mode & 07777;
    }

    const scratch_folder scratch;
    const std::string folder = scratch.path, path = folder + "/socket", address = "unix:" + path;
};

sockaddr_un at_path(const std::string &path)
{
    sockaddr_un at = {};
    at.sun_family = AF_UNIX;
    strcpy(at.sun_path, path.c_str());
    return at;
}

// A listener that accepts no connection.
int listener_at(const std::string &path, int backlog)
{
    sockaddr_un at = at_path(path);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&at), sizeof at), 0);
    EXPECT_EQ(listen(fd, backlog), 0);
    return fd;
}

std::string objective_at(const std::string &address)
{
    return objective_of(vntsolve({model("p0033.mps"), "--json", "--server", address}));
}

} // namespace

TEST_F(Sockets, ServeAsTheNetworkDoesAndTheModeSaysWhom)
{
    server s({"-address=" + address, "-info"}, {"TESK_VANTO_TCPIP_PORT=1"});
    EXPECT_EQ(s.address(), address);
    EXPECT_EQ(mode(), 0600u);
    EXPECT_EQ(objective_at(address), "3089.0");
    process_result by_environment =
        run(command({model("p0033.mps"), "--quiet"}), {"TESK_VANTO_TCPIP_HOST=" + address});
    EXPECT_EQ(by_environment.status, 0) << by_environment.err;
    EXPECT_TRUE(has(s.log(), "New connection from " + address + ",uid=" + std::to_string(getuid()) +
                                 ",pid="));
    process_result unchanged = run({built("vntremote-run"), "--server", address,
                                    build_path("test/plain"), model("afiro.mps")});
    EXPECT_EQ(unchanged.out.substr(0, 10), "1 -464.753") << unchanged.err;
    EXPECT_EQ(s.stop(SIGTERM), 0);
    EXPECT_FALSE(fs::exists(path));

    process open({built("vntworker"), "-socket-mode=0666"}, {"TESK_VANTO_TCPIP_HOST=" + address});
    EXPECT_TRUE(eventually([&] { return has(open.err(), "Server started on " + address); }));
    EXPECT_EQ(mode(), 0666u);
}

TEST_F(Sockets, OfADeadServerAreReplacedButNothingElseIs)
{
    std::vector<pid_t> left;
    {
        server killed({"-address=" + address});
        VNTENVptr env = open_at(killed);
        left = killed.workers();
        EXPECT_EQ(killed.stop(SIGKILL), -SIGKILL);
        VNTLcloseVANTO(&env);
    }
    EXPECT_TRUE(eventually([&] { return !process_alive(left.at(0)); }));
    EXPECT_TRUE(fs::is_socket(path)) << "neither the server nor its worker could remove it";
    server s({"-address=" + address, "-socket-mode=660"});
    EXPECT_EQ(mode(), 0660u);
    EXPECT_TRUE(has(refused({"-address=" + address}), "already in use"));
    s.kill(SIGSTOP); // one that does not answer lives all the same
    EXPECT_TRUE(has(refused({"-address=" + address}), "already in use"));
    s.kill(SIGCONT);
    EXPECT_EQ(objective_at(address), "3089.0");

    const std::string file = folder + "/notes";
    std::ofstream(file) << "to keep";
    EXPECT_TRUE(has(refused({"-address=unix:" + file}), "no socket"));
    EXPECT_EQ(file_text(file), "to keep");

    // A server removes the file that it has made, not one of that name that came later.
    fs::rename(path, folder + "/moved");
    server later({"-address=" + address});
    EXPECT_EQ(s.stop(SIGTERM), 0);
    EXPECT_EQ(objective_at(address), "3089.0");
}

TEST_F(Sockets, LeadBackToAWorkerFromAnyFolder)
{
    server s({"-address=" + address});
    const std::string ticket = folder + "/ticket", go = "cd " + folder + " && exec ";
    process_result left = run({"sh", "-c",
                               go + built("vntsolve") + " " + model("p0033.mps") +
                                   " --server unix:socket --detach ticket"});
    EXPECT_EQ(left.status, 0) << left.err;
    EXPECT_EQ(s.workers().size(), 1u);
    EXPECT_EQ(attach(ticket), "3089.0");
    EXPECT_TRUE(eventually([&] { return s.workers().empty(); }));

    // In one process, and with the server's end in between.
    VNTENVptr env = open_at(s);
    EXPECT_EQ(vntclient_address(env), address);
    char info[VNTCLIENT_INFO_LENGTH];
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(vntclient_disconnect(env, info), 0) << vntclient_errortext();
        EXPECT_EQ(vntclient_reconnect(info, &env), 0) << vntclient_errortext();
    }
    EXPECT_EQ(vntclient_disconnect(env, info), 0);
    s.stop(SIGTERM);
    EXPECT_EQ(vntclient_reconnect(info, &env), VNTERR_REMOTE);
    EXPECT_TRUE(has(vntclient_errortext(), address + ": No such file"));
    VNTLcloseVANTO(&env);
}

TEST_F(Sockets, TellTheFateOfAWorker)
{
    server s({"-address=" + address});
    VNTENVptr env = open_at(s);
    kill(s.workers().at(0), SIGKILL);
    EXPECT_EQ(VNTLcreateprob(env, nullptr, "p"), nullptr);
    EXPECT_TRUE(has(vntclient_errortext(), "the worker has ended"));
    VNTLcloseVANTO(&env);
}

// The first attempt waits in the listener's queue without an answer; the second finds the queue
// full.
TEST_F(Sockets, ThatDoNotAnswerAreNotWaitedForLongerThanSaid)
{
    int fd = listener_at(path, 0);
    vntclient_connecttimeout(100);
    const std::string argument = "-address=" + address;
    const char *argv[] = {argument.c_str()};
    int status = 0;
    for (const std::string reason : {"does not answer", "timed out"}) {
        EXPECT_EQ(vntclient_open(1, argv, &status), nullptr);
        EXPECT_EQ(status, VNTERR_REMOTE);
        EXPECT_TRUE(has(vntclient_errortext(), reason));
    }

    vntclient_connecttimeout(100'000);
    std::thread late([fd] {
        usleep(50'000);
        for (int i = 0; i < 2; i++)
            close(accept(fd, nullptr, nullptr));
    });
    EXPECT_EQ(vntclient_open(1, argv, &status), nullptr);
    EXPECT_EQ(status, VNTERR_FILE_IO) << "it had its turn: " << vntclient_errortext();
    late.join();
    vntclient_connecttimeout(10'000);
    close(fd);
}

namespace {

// A file that lists servers.
class Pools : public Sockets {
  protected:
    std::string list(const std::string &text)
    {
        std::ofstream(folder + "/pool") << text;
        return "@" + folder + "/pool";
    }
    VNTENVptr open(const std::string &where)
    {
        const std::string argument = "-address=" + where;
        const char *argv[] = {argument.c_str(), "-nothreads"};
        return vntclient_open(2, argv, &status);
    }
    std::string trouble(const std::string &where)
    {
        VNTENVptr env = open(where);
        EXPECT_EQ(env, nullptr);
        EXPECT_NE(status, 0);
        return vntclient_errortext();
    }

    int status = 0;
};

} // namespace

TEST_F(Pools, SpreadNewWorkersOverTheServersThatAnswer)
{
    server s({"-address=" + address}), other;
    int silent = listener_at(folder + "/silent", 100);
    const std::string pool =
        list("# all of them\n127.0.0.1:1\n\n" + address + "\nunix:" + folder + "/silent\n" +
             other.address() + " # by the network\nunix:/nowhere\n");
    vntclient_connecttimeout(2000); // long enough for a server that lives
    std::set<std::string> taken;
    std::vector<VNTENVptr> envs;
    for (int i = 0; i < 100 && taken.size() < 2; i++) {
        envs.push_back(open(pool));
        ASSERT_NE(envs.back(), nullptr) << vntclient_errortext();
        taken.insert(vntclient_address(envs.back()));
    }
    EXPECT_EQ(taken, (std::set<std::string>{address, other.address()}));
    EXPECT_EQ(s.workers().size() + other.workers().size(), envs.size());
    VNTCLIENTGROUPptr group = vntclient_group_create(int(envs.size()), envs.data(), &status);
    EXPECT_EQ(status, 0) << vntclient_errortext();
    vntclient_group_destroy(&group);
    list(address + "\n" + other.address());
    const process_result race = run({build_path("examples/race"), pool, model("p0033.mps")});
    EXPECT_EQ(race.status, 0) << race.err;
    for (VNTENVptr &env : envs)
        EXPECT_EQ(VNTLcloseVANTO(&env), 0);
    vntclient_connecttimeout(10'000);
    close(silent);
}

TEST_F(Pools, AreForNewWorkersAndAWorkersServerIsItsOwn)
{
    server s({"-address=" + address}), full({"-worker-limit=1"});
    VNTENVptr env = open_at(full);
    const std::string pool = list(address + "\n" + full.address() + "\n"), ticket = folder + "/t";
    for (int i = 0; i < 4; i++) {
        leave("p0033.mps", pool, ticket);
        list("127.0.0.1:1");
        process_result back = vntsolve({"--attach", ticket, "--json"});
        EXPECT_EQ(back.status, 0) << back.err;
        EXPECT_EQ(member(back.out, "server"), address);
        list(address + "\n" + full.address() + "\n");
    }
    VNTLcloseVANTO(&env);
    process_result by_environment =
        run(command({model("p0033.mps"), "--quiet"}), {"TESK_VANTO_TCPIP_HOST=" + pool});
    EXPECT_EQ(by_environment.status, 0) << by_environment.err;
}

TEST_F(Pools, SayWhatIsWrongWithThem)
{
    const std::string file = folder + "/pool";
    EXPECT_EQ(trouble("@" + folder + "/none"), folder + "/none: No such file or directory");
    EXPECT_EQ(status, VNTERR_BAD_ARGUMENT);
    EXPECT_EQ(trouble(list("# nothing\n")), file + ": there is no address in it");
    EXPECT_EQ(trouble(list("a:1\n\na 2\n")), file + ":3: 'a 2' is not HOST:PORT or unix:/PATH");
    process_result wrong = vntsolve({model("p0033.mps"), "--server", list("@other")});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_TRUE(has(wrong.err, "pool:1: '@other' is not"));

    EXPECT_EQ(
        trouble(list("127.0.0.1:1")),
        "no server of the pool " + file +
            " makes a worker; the last one: no connection to 127.0.0.1:1: Connection refused");
    EXPECT_EQ(status, VNTERR_REMOTE);
    const char *argv[] = {"-address=@x", "-port=1"};
    EXPECT_EQ(vntclient_open(2, argv, &status), nullptr);
    EXPECT_EQ(status, VNTERR_BAD_ARGUMENT);
    process_result none = vntsolve({model("p0033.mps"), "--server", "@" + file});
    EXPECT_EQ(none.status, 5) << none.err;
}

} // namespace vnt
