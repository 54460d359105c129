// vntsolve as a user meets it, in its own process and against a real server with real workers.
#include "test/server.h"
#include "test/vntsolve.h"

#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>

namespace vnt {

struct known_model {
    const char *file;
    const char *status;
    double objective;
};

class Models : public testing::TestWithParam<known_model> {};

// A solve in one place, and the files that it writes.
struct solve_with_files {
    solve_with_files(const std::string &file, const std::string &place,
                     const std::vector<std::string> &where)
        : solution(place + ".sol"), basis(place + ".bas"), copy(place + ".mps")
    {
        result = vntsolve(joined({model(file), "--json", "--write-solution", solution.name,
                                  "--write-basis", basis.name, "--write-model", copy.name},
                                 where));
    }
    scratch solution, basis, copy;
    process_result result;
};

TEST_P(Models, GiveTheSameDigitsInAWorkerAsInThisProcess)
{
    server remote;
    solve_with_files local(GetParam().file, ".local", {"--local"});
    solve_with_files distant(GetParam().file, ".remote", {"--server", remote.address()});
    const process_result &here = local.result, &there = distant.result;
    EXPECT_EQ(here.status, there.status) << here.err << there.err;
    EXPECT_EQ(digits(here.out), digits(there.out));
    EXPECT_EQ(local.solution.text(), distant.solution.text());
    EXPECT_EQ(local.basis.text(), distant.basis.text());
    EXPECT_EQ(local.copy.text(), distant.copy.text());
    EXPECT_NE(local.copy.text(), "") << here.err;
    EXPECT_EQ(member(here.out, "server"), "null");
    EXPECT_EQ(member(there.out, "server"), remote.address());

    EXPECT_EQ(schema_complaints("result", there.out), "");
    EXPECT_EQ(member(here.out, "status"), GetParam().status);
    if (GetParam().status != std::string("optimal")) return;
    EXPECT_EQ(here.status, 0);
    EXPECT_NE(local.solution.text(), "");
    double objective = atof(member(here.out, "objective").c_str());
    EXPECT_NEAR(objective, GetParam().objective, 1e-6 * std::abs(GetParam().objective));
}

static std::string test_name(const testing::TestParamInfo<known_model> &info)
{
    std::string name = info.param.file;
    name.resize(name.find('.'));
    return name;
}

INSTANTIATE_TEST_SUITE_P(Small, Models,
                         testing::Values(known_model{"afiro.mps", "optimal", -464.7531428571},
                                         known_model{"israel.mps", "optimal", -896644.82186},
                                         known_model{"25fv47.mps", "optimal", 5501.8458883},
                                         known_model{"degen3.mps", "optimal", -987.294},
                                         known_model{"woodinfe.mps", "infeasible", 0},
                                         known_model{"p0033.mps", "optimal", 3089},
                                         known_model{"egout.mps", "optimal", 568.1007},
                                         known_model{"stein27.mps", "optimal", 18},
                                         known_model{"p0201.mps", "optimal", 7615}),
                         test_name);

INSTANTIATE_TEST_SUITE_P(Slow, Models,
                         testing::Values(known_model{"dfl001.mps", "optimal", 11266396.0467},
                                         known_model{"misc07.mps", "optimal", 2810}),
                         test_name);

TEST(Vntsolve, WritesNothingWhenQuiet)
{
    process_result quiet = vntsolve({model("p0033.mps"), "--local", "--quiet"});
    EXPECT_EQ(quiet.status, 0);
    EXPECT_EQ(quiet.out + quiet.err, "");
}

TEST(Vntsolve, ReadsStandardInputInWhateverItIsPacked)
{
    for (const char *packer : {"cat", "gzip", "bzip2", "xz"}) {
        const std::string packed = std::string(packer) + " < " + model("afiro.mps") + " | ";
        EXPECT_EQ(objective_of(run(
                      {"sh", "-c", packed + built("vntsolve") + " - --format mps --local --json"})),
                  "-464.75314285714285")
            << packer;
    }
}

// Begins from what an earlier solve wrote, in this process and in a worker.
TEST(Vntsolve, TakesUpBasesStartsAndParameters)
{
    server remote;
    scratch basis(".bas"), solution(".sol"), params(".prm", "limits.nodes 0\n");
    const std::string lp = model("25fv47.mps"), mip = model("p0201.mps");
    ASSERT_EQ(vntsolve({lp, "--local", "--write-basis", basis.name}).status, 0);
    ASSERT_EQ(vntsolve({mip, "--local", "--write-solution", solution.name}).status, 0);
    for (const std::vector<std::string> &where :
         {std::vector<std::string>{"--local"}, {"--server", remote.address()}}) {
        auto solve = [&](const std::vector<std::string> &arguments) {
            return vntsolve(joined(arguments, where));
        };
        process_result warm = solve({lp, "--json", "--read-basis", basis.name});
        EXPECT_LT(atoi(member(warm.out, "iterations").c_str()), 10) << warm.out << warm.err;
        process_result begun = solve({mip, "--json", "--read-start", solution.name, "--read-params",
                                      params.name, "--param", "HEURISTICS=0"});
        EXPECT_EQ(member(begun.out, "objective"), "7615.0") << begun.err;
        EXPECT_EQ(member(begun.out, "reason"), "nodes") << begun.out;
    }
}

// The lines of the progress follow their description and end with the result; the page needs
// nothing from elsewhere.
TEST(Vntsolve, WritesItsProgressAndAReport)
{
    scratch progress(".jsonl"), page(".html");
    process_result result = vntsolve({model("p0201.mps"), "--local", "--quiet", "--json",
                                      "--progress", progress.name, "--report", page.name});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    std::istringstream lines(progress.text());
    std::string line, last;
    for (int count = 0; std::getline(lines, line); last = line)
        if (count++ < 3) {
            EXPECT_EQ(schema_complaints("progress", line), "");
        }
    EXPECT_TRUE(has(progress.text(), "{\"event\":\"incumbent\""));
    EXPECT_TRUE(has(last, "\"end\""));
    EXPECT_EQ(schema_complaints("progress", last), "");
    const std::string html = page.text();
    EXPECT_TRUE(has(html, "<svg"));
    EXPECT_TRUE(has(html, "<b>7615</b>"));
    EXPECT_FALSE(has(html, "http"));
    EXPECT_NE(html.rfind("</html>"), std::string::npos);
}

TEST(Vntsolve, ListsItsParameters)
{
    EXPECT_TRUE(has(vntsolve({"--params", "--local"}).out, "VNT_PARAM_SEED"));
    const std::string json = vntsolve({"--params", "--local", "--json"}).out;
    EXPECT_TRUE(has(json, "\"greatest\": 2147483647"));
}

// Failures are reported alike in this process and from a worker.
class Ends : public testing::TestWithParam<bool> {
  protected:
    std::vector<std::string> solving(const std::vector<std::string> &arguments)
    {
        return command(joined(arguments, where));
    }
    std::unique_ptr<server> remote = GetParam() ? std::make_unique<server>() : nullptr;
    std::vector<std::string> where = remote
                                         ? std::vector<std::string>{"--server", remote->address()}
                                         : std::vector<std::string>{"--local"};
};

INSTANTIATE_TEST_SUITE_P(Both, Ends, testing::Bool(), [](const testing::TestParamInfo<bool> &info) {
    return info.param ? "Remote" : "Local";
});

TEST_P(Ends, EachTroubleHasItsStatusAndIsTold)
{
    scratch garbage(".mps", "NAME\nROWS\n N cost\nCOLUMNS\n x cost twelve\nENDATA\n");
    scratch ray(".ray.mps", "NAME ray\nROWS\n N cost\n L row\nCOLUMNS\n x cost -1 row -1\n"
                            "RHS\n rhs row 1\nENDATA\n");
    scratch empty(".empty.mps"), untyped(".doc");
    scratch_folder folder;
    const std::string afiro = model("afiro.mps");
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string says;
    } troubles[] = {
        {{afiro, "--nonsense"}, 2, "--nonsense"},
        {{afiro, "--param", "SEED=blue"}, 2, "type int from 0 to 2147483647"},
        {{afiro, "--param", "SEED=-1"}, 2, "type int from 0 to 2147483647"},
        {{afiro, "--param", "SED=1"}, 2, "--params lists them"},
        {{afiro, "--read-start", garbage.name}, 4, "line 1: a name and a value"},
        {{afiro, "--read-basis", "/nowhere/basis"}, 3, "/nowhere/basis: No such file"},
        {{"/nowhere/model.mps"}, 3, "/nowhere/model.mps: No such file"},
        {{"/nowhere/mod\xffl.mps", "--json"}, 3, "\"status\": \"error\""},
        {{afiro, "--write-solution", "/dev/full"}, 3, "/dev/full: No space left"},
        {{afiro, "--write-basis", "/dev/full"}, 3, "/dev/full: No space left"},
        {{afiro, "--write-solution", "-"}, 2, "standard output is /dev/stdout"},
        {{folder.path}, 3, folder.path + ": Is a directory"},
        {{afiro, "--write-model", untyped.name}, 4, "the type of the file is unknown"},
        {{untyped.name}, 4, "--format says"},
        {{garbage.name}, 4, garbage.name},
        {{empty.name}, 4, empty.name},
        {{model("woodinfe.mps")}, 6, "infeasible"},
        {{ray.name, "--json"}, 7, "\"status\": \"unbounded\""},
        {{model("misc07.mps"), "--time-limit", "1", "--json"}, 8, "\"status\": \"limit\""},
    };
    for (const auto &t : troubles) {
        process_result result = run(solving(t.arguments));
        const std::string said = result.out + result.err;
        EXPECT_EQ(result.status, t.status) << said;
        EXPECT_TRUE(has(said, t.says));
        if (t.arguments.back() == "--json") {
            EXPECT_EQ(schema_complaints("result", result.out), "");
        }
        if (t.status == 8) {
            EXPECT_NE(member(result.out, "bound"), "null") << said;
        }
    }
}

TEST(Solve, APoolThatCannotBeReadIsAFileThatCannotBeRead)
{
    const process_result result = vntsolve({model("afiro.mps"), "--server", "@/nowhere/pool"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "vntsolve: /nowhere/pool: No such file or directory\n");
}

// What comes after a long solve is tried before it.
TEST_P(Ends, FilesThatCannotBeWrittenAreRefusedBeforeTheSolve)
{
    for (const char *option : {"--write-solution", "--write-basis", "--write-model", "--report"})
        for (const char *file : {"/nowhere/a.lp", "/"}) {
            process_result result = run(solving({model("afiro.mps"), option, file}));
            EXPECT_EQ(result.status, 3) << option;
            EXPECT_EQ(result.out, "") << option << ": it has solved";
            EXPECT_EQ(result.err.rfind(std::string("vntsolve: ") + file + ": ", 0), 0u)
                << result.err;
        }
}

TEST_P(Ends, AnInterruptEndsASolveWithTheBestSolution)
{
    process client(solving({model("misc07.mps")}));
    // The log's first line may come before the solve starts; a moment later it surely runs.
    ASSERT_TRUE(eventually([&] { return client.err() != ""; }));
    EXPECT_EQ(client.wait(seconds(0.5)), process::unended);
    client.kill(SIGINT);
    EXPECT_EQ(client.wait(seconds(10)), 9) << client.err();
    EXPECT_TRUE(has(client.out(), "stopped by the user"));
}

} // namespace vnt
