#include "test/folders.h"
#include "test/has.h"
#include "tools/options.h"
#include "tools/plot.h"
#include "tools/progress.h"
#include "tools/report.h"
#include "tools/solution.h"
#include "tools/ticket.h"
#include "vanto.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
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

TEST(Options, AServerIsHostAndPortAPathOrAPool)
{
    for (auto [text, whole] :
         {std::pair("node7:4000", "node7:4000"), std::pair("node7", "node7:12345"),
          std::pair("node7:65535", "node7:65535"), std::pair("[::1]:4000", "[::1]:4000"),
          std::pair("[fe80::1]", "[fe80::1]:12345"), std::pair("unix:/a b", "unix:/a b"),
          std::pair("unix:7", "unix:7"), std::pair("@my pool", "@my pool")})
        EXPECT_EQ(address_parse(text), whole);
    for (const char *bad : {"", ":4000", "node7:", "node7:http", "node7:65536", "unix:", "@"})
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
    EXPECT_EQ(parse({"m.mps"}).server, "127.0.0.1:4000");
    EXPECT_FALSE(parse({"m.mps", "--local"}).server);
    EXPECT_EQ(parse({"m.mps", "--server", "a:1"}).server, "a:1");
    for (const char *alone : {"unix:/run/socket", "@pool"}) {
        setenv("TESK_VANTO_TCPIP_HOST", alone, 1);
        EXPECT_EQ(parse({"m.mps"}).server, alone) << "the port does not count";
    }
}

TEST(Options, BadCommandLinesAreRefused)
{
    const std::vector<const char *> lines[] = {
        {"--local"},
        {"m.mps", "--local", "--server", "a:1"},
        {"m.mps", "--write-solution", ""},
        {"m.mps", "--time-limit", "-1"},
        {"m.mps", "--time-limit", "nan"},
        {"m.mps", "--time-limit", ""},
        {"m.mps", "--connect-timeout", "0"},
        {"--sweep", "d", "--output", "f", "--jobs", ""},
        {"--sweep", "d", "--output", "f", "--jobs", "0"},
        {"m.mps", "--connect-timeout", "1", "--local"},
        {"m.mps", "--param", "SEED"},
        {"m.mps", "n.mps"},
        {"m.mps", "--local", "--detach", "f"},
        {"m.mps", "--attach", "f"},
        {"--attach", "f", "--status", "f"},
        {"--status", "f", "--write-solution", "g"},
        {"--kill", "f", "--local"},
        {"m.mps", "--params"},
        {"m.mps", "--solution"},
        {"m.mps", "--detach", "f", "--report", "g", "--server", "a:1"},
        {"-", "--local"},
        {"-", "--format", "xls"},
    };
    for (const auto &line : lines)
        expect_usage(line);
}

// What breaks JSON that is put together by hand: quotes, control characters, bytes that are no
// UTF-8, infinite numbers.
TEST(Report, JsonIsValidWhateverItHolds)
{
    solve_report report;
    report.objective = 0.1;
    report.bound = -INFINITY;
    report.server = "a\"b\n\xff:1";
    report.values = {{"caf\xe9", 1e20}};
    const auto json = nlohmann::json::parse(report_json(report, true));
    EXPECT_EQ(json["objective"].get<double>(), 0.1);
    EXPECT_TRUE(json["bound"].is_null() && json["gap"].is_null());
    EXPECT_EQ(json["server"], "a\"b\n\uFFFD:1");
    EXPECT_EQ(json["solution"][0]["name"], "caf\uFFFD");
    EXPECT_TRUE(json["solution"][0]["value"].is_null());
    report.bound = 1e20; // the solver's infinity
    report.trouble = failure{EXIT_LIMIT, ""};
    report.stat = VNT_STAT_NODE_LIMIT;
    const auto limited = nlohmann::json::parse(report_json(report, false));
    EXPECT_TRUE(limited["bound"].is_null());
    EXPECT_EQ(limited["reason"], "nodes");
    EXPECT_EQ(limited["exit"], 8);
    EXPECT_FALSE(limited.contains("solution"));
}

TEST(Report, TheManualListsTheSameExitStatuses)
{
    const std::string manual = file_text(source_path("docs/man/vntsolve.1"));
#define EXIT(name, status, text) EXPECT_TRUE(has(manual, "\n" #status "|" text "\n")) << text;
#include "tools/exits.def"
}

TEST(Progress, LeavesOutWhatIsNotKnownYet)
{
    vntmipprogress early = {0, 0, -1e75, 1200, -1e75, 1e75, 0, 0, nullptr};
    EXPECT_EQ(progress_text(progress_of(2, early)), "    2.0 s  1200 iterations");
    vntmipprogress late = {50, 1, 90, 4000, 100, 0.1, 2, 0, nullptr};
    EXPECT_EQ(progress_text(progress_of(10, late)),
              "   10.0 s  50 nodes  best 100  bound 90  gap 10.00 %");
    EXPECT_TRUE(nlohmann::json::parse(progress_json(progress_of(2, early)))["bound"].is_null());
}

TEST(Progress, FitsIntoEightyColumnsAndIsReadBack)
{
    vntmipprogress wide = {123456789, 1, -1.23456789e-101, 5, -9.87654321e+101, 9.9, 2, 0, nullptr};
    const std::string line = progress_text(progress_of(99999.9, wide));
    EXPECT_LT(line.size(), 80u) << line;
    std::optional<progress_sample> back = progress_parse(line + "\n");
    ASSERT_TRUE(back);
    EXPECT_EQ(progress_text(*back), line);
    EXPECT_EQ(progress_parse("* incumbent 3350 after 17 nodes\n")->incumbent, 3350);
    for (const char *other : {"", "\n", "Optimal, objective 5, 3 iterations", "3 s", "* more of it",
                              "reduced to 211 rows", "  1.0 s  what 5 is this"})
        EXPECT_FALSE(progress_parse(other)) << other;
}

// The ends of the value axis of a drawing, read off its highest and its lowest label.
TEST(Plot, EarlySolutionsFarOffDoNotFlattenTheRest)
{
    auto sample = [](double seconds, double incumbent, double bound) {
        progress_sample s;
        s.seconds = seconds;
        s.incumbent = incumbent;
        s.bound = bound;
        return s;
    };
    const std::string svg =
        plot_svg({sample(1, 1e9, 90), sample(2, 110, 95), sample(3, 105, 100)}, {900, 400, "c"});
    EXPECT_FALSE(has(svg, "e+0"));
    EXPECT_TRUE(has(svg, ">100<"));
    EXPECT_FALSE(has(svg, "nan"));
    EXPECT_EQ(plot_svg({sample(0, 1, 1)}, {900, 400, "c"}), "");
    EXPECT_NE(plot_svg({sample(1, 0, 0), sample(2, 0, 0)}, {900, 400, "c"}), "");
}

TEST(Solution, FilesOfNamesAndValuesComeBack)
{
    const scratch file(".solution");
    solution_write(file.name, {"a comment"}, {{"x", 0.1}, {"two words", -1e-300}});
    const std::vector<named_value> back = solution_read(file.name);
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(back[1].name, "two words");
    EXPECT_EQ(back[1].value, -1e-300);
    EXPECT_FALSE(solution_is_solvers(file.name));
    for (const char *bad : {"x\n", "x y\n", "1\n", "x 1 2x\n"}) {
        std::ofstream(file.name) << bad;
        EXPECT_THROW(solution_read(file.name), failure) << bad;
    }
}

TEST(Ticket, ComesBackAsItWasWritten)
{
    const scratch file(".ticket");
    ticket written = {"[::1]:4000", "my\nmodel\x01 100%0a.mps", {}, std::string("VN\0\nTR\xff", 7)};
    ticket_write(file.name, written);
    ticket_write(file.name, written); // replaces the first
    ticket read = ticket_read(file.name);
    EXPECT_EQ(read.server, written.server);
    EXPECT_EQ(read.model, written.model);
    EXPECT_EQ(read.record, written.record);
    std::fstream damaged(file.name, std::ios::in | std::ios::out | std::ios::binary);
    damaged.seekp(-1, std::ios::end).put('\xfe');
    damaged.close();
    EXPECT_THROW(ticket_read(file.name), failure);
}

} // namespace vnt
