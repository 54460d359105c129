// Sweeps as a user meets them: in this process, over real servers, stopped and taken up again.
#include "test/server.h"
#include "test/vntsolve.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>

namespace vnt {

namespace fs = std::filesystem;

namespace {

// A folder of models and the file of their results.
class Sweep : public testing::Test {
  protected:
    void put(const std::string &from, const std::string &name)
    {
        fs::copy_file(model(from), folder + "/" + name);
    }
    void copies(const std::string &from, int count)
    {
        for (int i = 0; i < count; i++)
            put(from, std::to_string(i) + from);
    }
    std::vector<std::string> sweeping(const std::vector<std::string> &more) const
    {
        return joined({built("vntsolve"), "--sweep", folder, "--output", output.name}, more);
    }

    // The exit status of each model; a model that is there twice fails the test.
    std::map<std::string, int> ends() const
    {
        std::map<std::string, int> all;
        std::istringstream lines(output.text());
        for (std::string line; std::getline(lines, line);) {
            const size_t model = line.find(":\"") + 2, exit = line.find("\"exit\":") + 7;
            const std::string name = line.substr(model, line.find('"', model) - model);
            EXPECT_TRUE(all.emplace(name, atoi(line.c_str() + exit)).second) << name << " twice";
        }
        return all;
    }
    size_t count() const
    {
        const std::string text = output.text();
        return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    }

    const scratch_folder models;
    const std::string folder = models.path;
    scratch output{".results"};
};

} // namespace

TEST_F(Sweep, SolvesWhatIsAModelAndGoesOnWhereItWasStopped)
{
    put("afiro.mps", "AFIRO.MPS");
    put("woodinfe.mps", "woodinfe.mps");
    put("README.md", "README.md");
    const process_result first = run(sweeping({"--local", "--jobs", "2"}));
    EXPECT_EQ(first.status, 0) << first.err;
    EXPECT_TRUE(has(first.err, "skipped, no models by their names: README.md\n"));
    EXPECT_TRUE(has(first.err, "2 solved"));
    EXPECT_EQ(ends(), (std::map<std::string, int>{{"AFIRO.MPS", 0}, {"woodinfe.mps", 6}}));
    const std::string text = output.text(), line = text.substr(0, text.find('\n'));
    EXPECT_EQ(schema_complaints("result", line), "");

    fs::resize_file(output.name, text.size() - 20); // as a power cut leaves it
    std::ofstream(folder + "/b\xe4"
                           "d.lp")
        << "garbage";
    const process_result second = run(sweeping({"--local", "--quiet"}));
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(output.text().substr(0, line.size()), line);
    EXPECT_EQ(ends()["b\uFFFDd.lp"], 4);
    EXPECT_EQ(run(sweeping({"--local", "--quiet"})).status, 1);
    EXPECT_EQ(ends().size(), 3u);
}

TEST_F(Sweep, RefusesWhatItCannotDo)
{
    put("afiro.mps", "afiro.mps");
    scratch foreign(".foreign", "a file of the user\n"), pool(".pool", "nowhere\n");
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string says;
    } mistakes[] = {
        {{"--sweep", folder}, 2, "--output"},
        {{"--sweep", "/nowhere", "--output", output.name}, 3, "/nowhere: No such file"},
        {{"--sweep", testing::TempDir() + "/..", "--output", output.name}, 3, "no model in it"},
        {{"--sweep", folder, "--output", foreign.name}, 3, "line 1 is not a result of a sweep"},
        {{"--sweep", folder, "--output", "/dev/full"}, 3, "/dev/full: a regular file is expected"},
        {sweeping({"--jobs", "0"}), 2, "--jobs: '0': a number from 1 on"},
        {sweeping({"--json"}), 2, "--json"},
        {sweeping({"--solution"}), 2, "--solution"},
        {sweeping({"m.mps"}), 2, "MODEL"},
        {sweeping({"--report", "r.html"}), 2, "--report"},
        {sweeping({"--server", "@/nowhere"}), 3, "/nowhere: No such file"},
        {sweeping({"--server", "127.0.0.1:1"}), 5, "0 of 1 models are done; the same command"},
    };
    for (const auto &m : mistakes) {
        std::vector<std::string> arguments = m.arguments;
        if (arguments[0] == built("vntsolve")) arguments.erase(arguments.begin());
        const process_result result = vntsolve(arguments);
        EXPECT_EQ(result.status, m.status) << result.err;
        EXPECT_TRUE(has(result.err, m.says));
    }
    EXPECT_EQ(foreign.text(), "a file of the user\n");
    EXPECT_EQ(output.text(), "");
}

TEST_F(Sweep, AnInterruptKeepsWhatIsDone)
{
    copies("afiro.mps", 3);
    put("misc07.mps", "long.mps");
    process first(sweeping({"--local", "--jobs", "2"}));
    ASSERT_TRUE(eventually([&] { return count() == 3; })) << first.err();
    const process_result other = run(sweeping({"--local"}));
    EXPECT_EQ(other.status, 3);
    EXPECT_TRUE(has(other.err, "another sweep writes it"));
    first.kill(SIGINT);
    EXPECT_EQ(first.wait(seconds(10)), 9);
    EXPECT_TRUE(has(first.err(), "3 of 4 models are done; the same command goes on"));
    const process_result second = run(sweeping({"--local", "--time-limit", "0.2"}));
    EXPECT_EQ(second.status, 8) << second.err;
    EXPECT_EQ(ends()["long.mps"], 8);
}

class SlowSweep : public Sweep {};

// Its worker may use a second of the processor, which the model needs more than.
TEST_F(SlowSweep, AModelThatEndsItsWorkerThriceIsAFailure)
{
    server s({}, {}, {"prlimit", "--cpu=1"});
    copies("afiro.mps", 2);
    put("misc07.mps", "deadly.mps");
    const process_result result = run(sweeping({"--server", s.address(), "--jobs", "2"}));
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_EQ(ends(), (std::map<std::string, int>{
                          {"0afiro.mps", 0}, {"1afiro.mps", 0}, {"deadly.mps", 5}}));
    EXPECT_TRUE(has(output.text(), "its worker ended 3 times"));
}

// One of two servers is killed, and its workers with it; a third one joins.
TEST_F(Sweep, WhatALostServerHadIsSolvedByAnother)
{
    auto lost = std::make_unique<server>();
    server stays, joins;
    scratch pool(".pool", lost->address() + " # soon gone\n" + stays.address() + "\n");
    copies("afiro.mps", 60);
    put("misc07.mps", "long.mps"); // the largest is the first
    process sweep(sweeping({"--server", "@" + pool.name, "--jobs", "4", "--time-limit", "2"}));
    ASSERT_TRUE(eventually([&] { return count() > 0 && !lost->workers().empty(); }));
    for (pid_t worker : lost->workers())
        kill(worker, SIGKILL);
    lost->stop(SIGKILL);
    std::ofstream(pool.name) << stays.address() << "\n" << joins.address() << "\n";
    EXPECT_EQ(sweep.wait(seconds(60)), 8) << sweep.err();
    const std::map<std::string, int> all = ends();
    EXPECT_EQ(all.size(), 61u);
    for (const auto &[name, end] : all)
        EXPECT_EQ(end, name == "long.mps" ? 8 : 0) << name;
    EXPECT_TRUE(has(output.text(), joins.address()));
    EXPECT_TRUE(has(sweep.err(), lost->address() + " does not answer"));
}

} // namespace vnt
