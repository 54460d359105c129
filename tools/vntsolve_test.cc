#include "test/folders.h"
#include "tools/display.h"
#include "tools/options.h"
#include "tools/report.h"
#include "tools/ticket.h"
#include "vanto.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace vnt {

static solve_options parse(std::vector<const char *> arguments)
{
    arguments.insert(arguments.begin(), "vntsolve");
    return *options_parse(static_cast<int>(arguments.size()), arguments.data());
}

static void expect_usage(const std::vector<const char *> &arguments)
{
    try {
        parse(arguments);
        ADD_FAILURE() << arguments.size() << " arguments are accepted, the last is "
                      << arguments.back();
    } catch (const failure &what) {
        EXPECT_FALSE(what.message.empty());
        EXPECT_EQ(what.status, EXIT_USAGE);
    }
}

TEST(Options, AServerIsHostAndPortSplitAtTheLastColon)
{
    for (auto [text, whole] :
         {std::pair("node7:4000", "node7:4000"), std::pair("node7", "node7:12345"),
          std::pair("node7:65535", "node7:65535"), std::pair("[::1]:4000", "[::1]:4000"),
          std::pair("[fe80::1]", "[fe80::1]:12345")})
        EXPECT_EQ(address_text(address_parse(text)), whole);
    EXPECT_EQ(address_parse("[::1]:4000").host, "::1");
    for (const char *bad : {"", ":4000", "node7:", "node7:http", "node7:65536"})
        expect_usage({"m.mps", "--server", bad});
}

TEST(Options, TheEnvironmentNamesTheServerUnlessAnOptionDoes)
{
    unsetenv("TESK_VANTO_TCPIP_HOST");
    unsetenv("TESK_VANTO_TCPIP_PORT");
    EXPECT_FALSE(parse({"m.mps"}).server);
    setenv("TESK_VANTO_TCPIP_HOST", "", 1);
    EXPECT_FALSE(parse({"m.mps"}).server) << "an empty variable counts as unset";
    setenv("TESK_VANTO_TCPIP_PORT", "4000", 1);
    EXPECT_EQ(address_text(*parse({"m.mps"}).server), "127.0.0.1:4000");
    EXPECT_FALSE(parse({"m.mps", "--local"}).server);
    EXPECT_EQ(address_text(*parse({"m.mps", "--server", "a:1"}).server), "a:1");
}

TEST(Options, BadCommandLinesAreRefused)
{
    const std::vector<const char *> lines[] = {
        {"--local"},
        {"m.mps", "--local", "--server", "a:1"},
        {"m.mps", "--write-solution", ""},
        {"m.mps", "--time-limit", "-1"},
        {"m.mps", "--time-limit", "nan"},
        {"m.mps", "--connect-timeout", "0"},
        {"m.mps", "--connect-timeout", "1", "--local"},
        {"m.mps", "--param", "SEED"},
        {"m.mps", "n.mps"},
        {"m.mps", "--local", "--detach", "f"},
        {"m.mps", "--attach", "f"},
    };
    for (const auto &line : lines)
        expect_usage(line);
}

TEST(Report, JsonHasEveryDigitAndNullForWhatIsNoNumber)
{
    solve_report report;
    report.objective = 0.1;
    report.bound = -INFINITY;
    report.server = "a\"b\n:1";
    const std::string json = report_json(report);
    EXPECT_NE(json.find("\"objective\": 0.10000000000000001,\n  \"bound\": null,\n"), json.npos);
    EXPECT_NE(json.find("\"server\": \"a\\\"b\\u000a:1\"\n}\n"), json.npos) << json;
}

TEST(Report, TheManualListsTheSameExitStatuses)
{
    std::ifstream file(source_path("docs/man/vntsolve.1"));
    std::string manual(std::istreambuf_iterator<char>(file), {});
#define EXIT(name, status, text)                                                                   \
    EXPECT_NE(manual.find("\n" #status "|" text "\n"), std::string::npos) << text;
#include "tools/exits.def"
}

TEST(Display, ProgressLeavesOutWhatIsNotKnownYet)
{
    vntmipprogress early = {0, 0, -1e75, 1200, -1e75, 1e75, 0, 0, nullptr};
    EXPECT_EQ(progress_text(2, early), "     2.0 s  0 nodes  1200 iterations  600 it/s");
    vntmipprogress late = {50, 1, 90, 4000, 100, 0.1, 2, 0, nullptr};
    EXPECT_EQ(progress_text(10, late),
              "    10.0 s  50 nodes  4000 iterations  best 100  bound 90  gap 10.00 %  5 nodes/s");
}

TEST(Ticket, ComesBackAsItWasWritten)
{
    std::string file = testing::TempDir() + "ticket" + std::to_string(getpid());
    ticket written = {"[::1]:4000", "my model.mps", {}, std::string("VN\0\nTR\xff", 7)};
    ticket_write(file, written);
    ticket_write(file, written); // replaces the first
    ticket read = ticket_read(file);
    EXPECT_EQ(read.server, written.server);
    EXPECT_EQ(read.model, written.model);
    EXPECT_EQ(read.record, written.record);
    std::fstream damaged(file, std::ios::in | std::ios::out | std::ios::binary);
    damaged.seekp(-1, std::ios::end).put('\xfe');
    damaged.close();
    EXPECT_THROW(ticket_read(file), failure);
    unlink(file.c_str());
}

} // namespace vnt
