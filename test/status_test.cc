// A server and vnttop beside it, as an administrator has them.
#include "test/server.h"
#include "test/serverprocess.h"
#include "test/vntsolve.h"

#include <csignal>
#include <nlohmann/json.hpp>
#include <pty.h>

namespace vnt {

using json = nlohmann::json;

namespace {
// A server with a served, a parked and a refused client, and one that says nothing.
class Status : public testing::Test {
  protected:
    Status() : remote({"-status=" + socket, "-action-timeout=100"}), serving(port()), mute(port())
    {
    }
    void SetUp() override
    {
        ASSERT_EQ(serving.new_worker(), 0);
        ASSERT_EQ(raw_client(port()).reconnect(1), 5);
        leave("misc07.mps", remote.address(), ticket.name, {"--time-limit", "60"});
        EXPECT_TRUE(eventually([&] { return state(parked()) == "parked"; }));
    }
    int port() const { return atoi(remote.port().c_str()); }
    process_result top(const std::vector<std::string> &arguments) const
    {
        return run(joined({built("vnttop"), "--socket", socket}, arguments));
    }
    json look() const { return json::parse(top({"--json"}).out); }
    std::string state(pid_t id) const
    {
        const json all = look();
        for (const json &worker : all["workers"])
            if (worker["id"] == id) return worker["state"];
        return "";
    }
    pid_t parked() const
    {
        for (pid_t id : remote.workers())
            if (id != serving.id) return id;
        return -1;
    }

    const scratch_folder folder;
    const std::string socket = folder.file("status");
    scratch ticket{".ticket"};
    server remote;
    raw_client serving, mute;
};
} // namespace

TEST_F(Status, VnttopShowsWhatTheServerSaysAndEndsAWorker)
{
    const process_result shown = top({"--json"});
    EXPECT_EQ(schema_complaints("server", shown.out), "");
    const json status = json::parse(shown.out);
    EXPECT_EQ(status["address"], remote.address());
    EXPECT_EQ(status["pid"], remote.pid());
    EXPECT_EQ(status["served"], 2);
    EXPECT_EQ(status["refused"]["notfound"], 1);
    uint64_t in = 0, out = 0;
    std::multiset<std::string> states;
    for (const json &worker : status["workers"]) {
        in += worker["in_bytes"].get<uint64_t>();
        out += worker["out_bytes"].get<uint64_t>();
        states.insert(worker["state"]);
        EXPECT_EQ(worker["id"].is_null(), worker["state"] == "handshake");
        EXPECT_EQ(worker["memory_bytes"].is_null(), worker["id"].is_null());
    }
    EXPECT_EQ(states, (std::multiset<std::string>{"handshake", "parked", "serving"}));
    EXPECT_EQ(status["in_bytes"], in);
    EXPECT_EQ(status["out_bytes"], out);

    std::istringstream table(top({"--once"}).out);
    std::map<std::string, std::string> rows;
    for (std::string line, id; std::getline(table, line);) {
        std::istringstream(line) >> id;
        rows[id] = line;
    }
    EXPECT_TRUE(has(rows[std::to_string(serving.id)], "serving"));
    const std::string id = std::to_string(parked());
    EXPECT_TRUE(has(rows[id], "parked"));
    EXPECT_EQ(top({"--end", id}).out, "worker " + id + " is ended\n");
    EXPECT_TRUE(eventually([&] { return remote.workers().size() == 1; }));
    EXPECT_TRUE(eventually([&] { return look()["ended"]["ordered"] == 1; }));
    const process_result again = top({"--end", id});
    EXPECT_EQ(again.status, 1);
    EXPECT_EQ(again.err, "vnttop: refused: there is no worker " + id + "\n");
}

// A wrong word, a missing server, an address in use.
TEST_F(Status, VnttopSaysWhatIsWrong)
{
    EXPECT_EQ(top({"--nonsense"}).status, 2);
    for (const char *option : {"--listen", "--end", "--interval"})
        EXPECT_EQ(top({option, ""}).status, 2) << option << " of an unset variable";
    EXPECT_EQ(top({"--once", "--interval", "nan"}).status, 2);
    EXPECT_EQ(top({"--listen", "here"}).status, 2);
    EXPECT_EQ(top({"--once", "--json"}).status, 2);
    EXPECT_EQ(run({built("vnttop"), "--once"}, {"VANTO_STATUS="}).status, 2);
    EXPECT_EQ(top({"--listen", remote.address()}).status, 5);
    const process_result gone = run({built("vnttop"), "--socket", "/nowhere/socket"});
    EXPECT_EQ(gone.status, 5);
    EXPECT_EQ(gone.err, "vnttop: /nowhere/socket: No such file or directory\n");
    const process_result help = run({built("vnttop"), "--help"});
    const std::string manual = file_text(source_path("docs/man/vnttop.1"));
    for (size_t at = 0; (at = help.out.find("\n  --", at)) != std::string::npos; at++) {
        std::string option = help.out.substr(at + 5, help.out.find(' ', at + 5) - at - 5);
        EXPECT_TRUE(has(manual, "\\-\\-" + option)) << option;
    }
}

static std::string http_get(int port, const std::string &path)
{
    raw_client c(port);
    std::string all, piece;
    c.say("GET " + path + " HTTP/1.0\r\n\r\n");
    while (piece = c.hear(65536), !piece.empty())
        all += piece;
    const size_t body = all.find("\r\n\r\n");
    return body == all.npos ? "" : all.substr(body + 4);
}

TEST_F(Status, PrometheusAndBrowsersAreServed)
{
    process page({built("vnttop"), "--socket", socket, "--listen", "127.0.0.1:0"});
    ASSERT_TRUE(eventually([&] { return page.out().find('\n') != std::string::npos; }));
    const int there = atoi(page.out().c_str() + page.out().rfind("127.0.0.1:") + 10);
    const std::string metrics = http_get(there, "/metrics");
    const std::string id = std::to_string(parked());
    for (const std::string &line :
         {std::string("vanto_up 1\n"), std::string("vanto_workers{state=\"parked\"} 1\n"),
          "vanto_worker_cpu_seconds_total{worker=\"" + id + "\",client=\"127.0.0.1:"})
        EXPECT_TRUE(has(metrics, line));
    ASSERT_TRUE(
        eventually([&] { return !json::parse(http_get(there, "/data"))["samples"].empty(); }));
    EXPECT_EQ(json::parse(http_get(there, "/data"))["workers"].size(), 2u);
    std::string html = http_get(there, "/");
    EXPECT_TRUE(has(html, "</html>"));
    const std::string space = "http://www.w3.org/2000/svg"; // a name only
    html.erase(html.find(space), space.size());
    EXPECT_FALSE(has(html, "//www")) << "a browser without a network shows it";
    EXPECT_FALSE(has(html, "src="));
    remote.stop(SIGTERM);
    EXPECT_FALSE(has(http_get(there, "/metrics"), "vanto_up 1"));
    page.kill(SIGTERM);
    EXPECT_EQ(page.wait(seconds(10)), 0);
    if (run({"/bin/sh", "-c", "command -v promtool"}).status != 0)
        GTEST_SKIP() << "promtool is missing: the names of the metrics are not checked";
    const scratch file(".metrics", metrics);
    const process_result check =
        run({"/bin/sh", "-c", "promtool check metrics <\"$0\"", file.name});
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.out + check.err, "");
}

TEST_F(Status, TheLiveTableFollowsItsWindow)
{
    int fd;
    winsize size = {12, 80, 0, 0};
    const pid_t child = forkpty(&fd, nullptr, nullptr, &size);
    if (child == 0) {
        const std::string program = built("vnttop");
        execl(program.c_str(), "vnttop", "--socket", socket.c_str(), "--interval", "0.1", nullptr);
        _exit(127);
    }
    // The widest line of the latest whole screen, which begins at the upper left corner.
    std::string seen;
    auto widest = [&] {
        char piece[4096];
        const ssize_t n = read(fd, piece, sizeof piece);
        if (n > 0) seen.append(piece, static_cast<size_t>(n));
        const size_t end = seen.rfind("\033[J"), begin = seen.rfind("\033[H", end);
        if (end == std::string::npos || begin == std::string::npos) return size_t(0);
        std::istringstream lines(seen.substr(begin + 3, end - begin - 3));
        size_t most = 0;
        for (std::string line; std::getline(lines, line);)
            most = std::max(most, line.find("\033[K"));
        return most;
    };
    EXPECT_TRUE(eventually([&] { return widest() > 60; })) << seen;
    EXPECT_LE(widest(), 80u);
    EXPECT_TRUE(has(seen, " parked "));
    size.ws_col = 40;
    ioctl(fd, TIOCSWINSZ, &size);
    EXPECT_TRUE(eventually([&] { return widest() <= 40; })) << seen;
    give_to(fd, "q");
    int status = -1;
    EXPECT_TRUE(eventually([&] {
        widest();
        return waitpid(child, &status, WNOHANG) == child;
    }));
    EXPECT_EQ(status, 0);
    EXPECT_NE(seen.rfind("\033[?1049l"), std::string::npos) << "the screen is given back";
    close(fd);
}

} // namespace vnt
