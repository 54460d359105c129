// The libraries as the loader and other programs see them.
#include "test/folders.h"
#include "test/server.h"

#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <sstream>

namespace vnt {

static std::string library(const std::string &name)
{
    return build_path("lib/" + name);
}

// The words that a command prints.
static std::set<std::string> words(const std::string &command)
{
    std::istringstream in(run({"sh", "-c", command}).out);
    return {std::istream_iterator<std::string>(in), {}};
}

// The names that a library exports.
static std::set<std::string> exported(const std::string &name)
{
    return words("nm -D --defined-only " + library(name) + " | cut -d' ' -f3");
}

// The functions that a header declares: names of that kind before a parenthesis, outside of
// comments.
static std::set<std::string> declared(const std::string &header, const std::string &kind)
{
    return words("sed 's,//.*,,' " + source_path("include/" + header) + " | grep -oE '\\<" + kind +
                 "[A-Za-z0-9_]+\\(' | tr -d '('");
}

TEST(Library, ExportsItsEntryPointsAlone)
{
    std::set<std::string> expected = {"VNTWORKERtcpip", "tcpiptransport_getfactory"};
    for (std::string prefix : {"VNT", "VNTS", "VNTL"}) {
        for (std::string type : {"byte", "short", "int", "long", "double"})
            expected.insert(prefix + "sendinfo" + type);
        expected.insert(prefix + "setuserfunction");
        expected.insert(prefix + "getuserfunction");
    }
    EXPECT_EQ(exported("libvntremote.so"), expected);

    expected = declared("vanto.h", "VNT[LE]");
    EXPECT_EQ(expected.size(), 441u);
    expected.merge(declared("vanto_client.h", "vntclient_"));
    EXPECT_EQ(exported("libvantoclient.so"), expected);
}

TEST(Library, NeedsOnlyTheLanguageAndTheSystem)
{
    const std::string needed = "ldd " + library("libvntremote.so") + " | cut -d' ' -f1";
    EXPECT_EQ(words(needed).count("libc.so.6"), 1u);
    // The last are there with sanitizers.
    const std::string system = "linux-vdso|libstdc\\+\\+|libm|libgcc_s|libc|/lib64/ld-.*|lib.*san";
    EXPECT_EQ(words(needed + " | grep -vE '^\\s*(" + system + ")\\.'"), std::set<std::string>());
}

// A report of a fault begins with what is installed.
TEST(Library, EveryProgramTellsTheVersion)
{
    const std::string version = run({built("vntworker"), "--version"}).out.substr(9);
    EXPECT_EQ(std::count(version.begin(), version.end(), '.'), 2) << version;
    for (const std::string program : {"vntsolve", "vnttop", "vntpool", "vntremote-run"})
        EXPECT_EQ(run({built(program), "--version"}).out, program + version);
}

// A program that would solve in its own process after all is not run.
TEST(Library, APreloadThatWouldDoNothingIsRefused)
{
    server remote({"-loglevel=4"});
    auto run_with = [&](const std::vector<std::string> &arguments) {
        return run(joined({built("vntremote-run")}, arguments), {}, seconds(60));
    };
    const std::string plain = build_path("test/plain"),
                      afiro = source_path("test/models/afiro.mps");
    process_result solved = run_with({"--server", remote.address(), plain, afiro});
    EXPECT_EQ(solved.out.substr(0, 10), "1 -464.753") << solved.err;
    EXPECT_TRUE(has(remote.log(), " started\n")) << "a worker did it";
    process_result away = run_with({"--server", "127.0.0.1:1", plain, afiro});
    EXPECT_NE(away.status, 0) << "it has solved without a server";
    for (const std::vector<std::string> &refused : {std::vector<std::string>{},
                                                    {"/nowhere/program"},
                                                    {"/bin/true"},
                                                    {"python3"},
                                                    {source_path("demo.sh")},
                                                    {"--serve"},
                                                    {"--server", "unix:"},
                                                    {"--server", "here"}}) {
        process_result result = run_with(refused);
        EXPECT_EQ(result.status, 126) << result.err;
        EXPECT_EQ(result.err.rfind("vntremote-run: ", 0), 0u) << result.err;
    }
}

} // namespace vnt
