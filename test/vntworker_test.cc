// vntworker's command line: a server that listens could serve its clients.
#include "test/folders.h"
#include "test/server.h"

#include <gtest/gtest.h>

namespace vnt {

static process_result refused(const std::vector<std::string> &arguments,
                              const std::vector<std::string> &environment = {})
{
    return run(joined({built("vntworker")}, arguments), environment, seconds(20));
}

TEST(Vntworker, RefusesAtTheStartWhatWouldEndEachWorker)
{
    const std::string path = "-libpath=" + build_path("examples");
    const scratch_folder folder;
    const std::string here = "-address=unix:" + folder.file("socket");
    const struct {
        std::vector<std::string> arguments;
        std::string says;
    } mistakes[] = {
        {{"--host=127.0.0.1"}, "'--host=127.0.0.1': write -host=ADDRESS"},
        {{"-prot=5000"}, "'-prot=5000'"},
        {{"-version=1"}, "'-version=1'"},
        {{"stray"}, "'stray': vntworker --help lists"},
        {{"-port=http"}, "-port=http: a number from 0 to 65535"},
        {{"-port=65536"}, "a number from 0 to 65535"},
        {{"-address=here:99999"}, "a number from 0 to 65535"},
        {{"-host=a b"}, "-host=a b: Name or service not known"},
        {{"-address=127.0.0.1:4000:5"}, "127.0.0.1:4000: Name or service not known"},
        {{"-address=unix:/nowhere/s"}, "/nowhere/s: No such file"},
        {{"-address=unix:" + source_path("README.md")}, "no socket is in the way"},
        {{"-address=unix:"}, "1 to 107 bytes"},
        {{"-address=unix:/" + std::string(107, 'x')}, "1 to 107 bytes"},
        {{here, "-port=0"}, "takes the place of a host and a port"},
        {{"-host=127.0.0.1", here}, "takes the place"},
        {{here, "-address=127.0.0.1:0"}, "takes the place"},
        {{here, "-allow=127.0.0.1"}, "-allow= is about network addresses"},
        {{here, "-socket-mode=688"}, "-socket-mode=688: a mode from 0"},
        {{here, "-socket-mode=01777"}, "a mode from 0 to 0777"},
        {{"-port=0", "-socket-mode=600"}, "-socket-mode= is for -address=unix:PATH"},
        {{"-allow=10.0.0.0/33"}, "-allow=10.0.0.0/33: an address is expected, or a range"},
        {{"-polling=1009"}, "base 9"},
        {{"-action-timeout=soon"}, "a number"},
        {{"-logfile=/nowhere/log"}, "/nowhere/log: No such file"},
        {{"-status=/nowhere/s"}, "/nowhere/s: No such file"},
        {{"-status=" + source_path("README.md")}, "no socket is in the way"},
        {{"-status=" + std::string(108, 's')}, "1 to 107 bytes"},
        {{"-libpath=/nowhere"}, "/nowhere: No such file"},
        {{"-library=nowhere"}, "-library=nowhere"},
        {{"-userfunction=nowhere=f"}, "libnowhere.so"},
        {{"-userfunction=f"}, "no library has a function f"},
        {{path, "-userfunction=nonzeros=wrong"}, "no library has a function wrong"},
    };
    for (const auto &m : mistakes) {
        process_result result = refused(m.arguments);
        EXPECT_EQ(result.status, 255) << m.says;
        EXPECT_EQ(result.err.rfind("vntworker: ", 0), 0u) << result.err;
        EXPECT_TRUE(has(result.err, m.says));
        EXPECT_FALSE(has(result.err, "Server started"));
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path));
}

TEST(Vntworker, DoesNotServeByAClientsLibrary)
{
    process_result result =
        refused({"-port=0"}, {"LD_PRELOAD=" + build_path("lib/libvantoclient.so")});
    EXPECT_EQ(result.status, 255);
    EXPECT_TRUE(has(result.err, "LD_PRELOAD"));
}

TEST(Vntworker, TellsItsOptionsAndItsVersion)
{
    const process_result help = run({built("vntworker"), "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(has(help.out, "-action-timeout=SECONDS"));
    EXPECT_EQ(run({built("vntworker"), "--version"}).out.rfind("vntworker ", 0), 0u);
    EXPECT_TRUE(has(run({built("vntworker"), "-help"}).err, "Usage: "));
}

static process_result checked(const std::string &library, const std::string &seconds = "60",
                              const std::string &environment = "PARTIAL_SOLVER=")
{
    return run({built("vntworker"), "--check-solver", library, seconds}, {environment});
}

TEST(CheckSolver, TriesALibraryInAProcessOfItsOwn)
{
    if (SANITIZED) GTEST_SKIP() << "the partial solver ends in the sanitizer's own ways";
    const std::string partial = build_path("test/libpartialsolver.so");
    const process_result open = checked(build_path("lib/libvanto.so"));
    EXPECT_EQ(open.status, 0) << open.out << open.err;
    EXPECT_TRUE(has(open.out, "440 of the 440 functions"));
    EXPECT_TRUE(has(open.out, "search with integers: ok"));

    const process_result fewer = checked(partial);
    EXPECT_EQ(fewer.status, 0) << fewer.out << fewer.err;
    EXPECT_TRUE(has(fewer.out, "8 of the 440 functions"));
    EXPECT_TRUE(has(fewer.out, "optional; without them solves do not pause: "
                               "VNTEsetpausecallbackfunc\n"));

    const struct {
        process_result result;
        std::string out, err;
    } cases[] = {
        {checked(partial, "60", "PARTIAL_SOLVER=crash"), "  solve: \n", "crashed: Segm"},
        {checked(partial, "1", "PARTIAL_SOLVER=hang"), "  solve: \n", "within 1 s"},
        {checked(partial, "60", "PARTIAL_SOLVER=wrong"), "it is 1, not 11.6", "cannot serve"},
        {checked(build_path("lib/libvntremote.so")), "needed; without them no worker", "serve"},
        {checked(build_path("lib/libvantoclient.so")), "library of remote calls", "cannot serve"},
        {checked(source_path("README.md")), "", "cannot be loaded"},
        {checked("/nowhere.so"), "", "/nowhere.so: No such file"},
        {checked(partial, "soon"), "", "soon: a number of seconds"},
        {run({built("vntworker"), "--check-solver"}), "", "takes the path"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(c.result.status, 1) << c.err;
        EXPECT_TRUE(has(c.result.out, c.out));
        EXPECT_TRUE(has(c.result.err, c.err));
    }
}

} // namespace vnt
