// Every command of the documents is run as it is shown, and prints what is shown.
//
// A page's ```console blocks are one session of a shell, in a folder with the models and examples.
// Lines that begin with "$ " are commands, continued behind a backslash; the lines below are what
// they print.  "..." stands for anything: alone on a line for any number of lines.  Port 4000 is
// replaced by a free one.
#include "test/folders.h"
#include "test/process.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <unistd.h>

namespace vnt {

namespace {

struct shown_command {
    std::string command, output;
};

std::vector<shown_command> commands_of(const std::string &page)
{
    std::vector<shown_command> all;
    bool inside = false, continued = false;
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("```", 0) == 0) {
            inside = line == "```console";
        } else if (inside && (line.rfind("$ ", 0) == 0 || continued)) {
            if (!continued) all.push_back({});
            all.back().command += (continued ? line : line.substr(2)) + "\n";
            continued = line.back() == '\\';
        } else if (inside && !all.empty()) {
            all.back().output += line + "\n";
        }
    }
    return all;
}

// What is shown as a regular expression.
std::string pattern_of(const std::string &shown)
{
    std::string out;
    std::istringstream lines(shown);
    for (std::string line; std::getline(lines, line);) {
        if (line == "...") {
            out += "(?:[^\n]*\n)*?";
            continue;
        }
        std::string text = std::regex_replace(line, std::regex("[.\\\\(){}\\[\\]*+?^$|]"), "\\$&");
        out += std::regex_replace(text, std::regex("\\\\.\\\\.\\\\."), "[^\n]*") + "\n";
    }
    return out;
}

// The whole session: a mark goes before what each command prints.  A server in the background has
// said that it listens before the next command runs.
std::string script_of(const std::vector<shown_command> &commands, const std::string &folder)
{
    std::string script =
        "exec 2>&1\ncd " + folder + "\ntrap 'kill $(jobs -p) 2>/dev/null; wait' EXIT\n";
    for (const shown_command &c : commands) {
        script += "echo @@@\n" + c.command;
        if (has(c.command, " &\n"))
            script +=
                "for i in $(seq 600); do cat /proc/$$/fd/1 | grep -q '^Server started' && break; "
                "sleep 0.05; done\n";
    }
    return script + "echo @@@\n";
}

std::vector<std::string> environment(void)
{
    return {"PATH=" + build_path("bin") + ":" + getenv("PATH"), "CPATH=" + source_path("include"),
            "LIBRARY_PATH=" + build_path("lib"), "LD_LIBRARY_PATH=" + build_path("lib"),
            "LC_ALL=C"};
}

std::vector<std::string> printed_by(const std::string &output)
{
    std::vector<std::string> parts;
    for (size_t at = output.find("@@@\n"); at != std::string::npos;) {
        size_t next = output.find("@@@\n", at + 4);
        if (next != std::string::npos) parts.push_back(output.substr(at + 4, next - at - 4));
        at = next;
    }
    return parts;
}

class Documents : public testing::TestWithParam<std::string> {};

} // namespace

TEST_P(Documents, DoWhatTheyShow)
{
    if (SANITIZED) GTEST_SKIP() << "programs of the documents are built without the sanitizer";
    std::string page = file_text(source_path(GetParam())), port = free_port();
    page = std::regex_replace(page, std::regex("\\b4000\\b"), port);
    EXPECT_FALSE(has(page, "```c\n")) << "take code from examples/";
    static const std::regex taken("\\{\\{ (\\S+) \\}\\}");
    for (std::sregex_iterator i(page.begin(), page.end(), taken), end; i != end; ++i)
        EXPECT_NE(file_text(source_path((*i)[1])), "") << (*i)[1];
    std::vector<shown_command> commands = commands_of(page);
    scratch_folder folder;
    for (const char *from : {"test/models", "examples"})
        std::filesystem::copy(source_path(from), folder.path);
    process_result all = run({"/bin/bash", "-c", script_of(commands, folder.path)}, environment());
    std::vector<std::string> printed = printed_by(all.out);
    ASSERT_EQ(printed.size(), commands.size()) << all.out;
    for (size_t i = 0; i < commands.size(); i++) {
        EXPECT_TRUE(std::regex_match(printed[i], std::regex(pattern_of(commands[i].output))))
            << "$ " << commands[i].command << printed[i] << "is not\n"
            << commands[i].output;
    }
}

static std::vector<std::string> pages(void)
{
    std::vector<std::string> all = {"README.md", "docs/vendor.md"};
    for (const auto &file : std::filesystem::directory_iterator(source_path("docs/site")))
        if (file.path().extension() == ".md")
            all.push_back("docs/site/" + file.path().filename().string());
    std::sort(all.begin(), all.end());
    return all;
}

static std::string page_name(const testing::TestParamInfo<std::string> &page)
{
    std::string name = std::filesystem::path(page.param).stem();
    return std::regex_replace(name, std::regex("[^A-Za-z]"), "");
}

INSTANTIATE_TEST_SUITE_P(Pages, Documents, testing::ValuesIn(pages()), page_name);

// Where MkDocs is: a broken link or a page without a place fails the build.
TEST(SlowSite, IsBuiltWithoutAWarning)
{
    if (access("/usr/bin/mkdocs", X_OK) != 0) GTEST_SKIP() << "there is no mkdocs";
    process_result built = run({source_path("scripts/site"), build_path("")});
    EXPECT_EQ(built.status, 0) << built.out << built.err;
}

} // namespace vnt
