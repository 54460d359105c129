// vntworker's command line: a server that listens could serve its clients.
#include "test/folders.h"
#include "test/server.h"

#include <gtest/gtest.h>

namespace vnt {

static process_result refused(std::vector<std::string> arguments,
                              const std::vector<std::string> &environment = {})
{
    arguments.insert(arguments.begin(), built("vntworker"));
    arguments.push_back("-port=0");
    return run(arguments, environment, seconds(20));
}

TEST(Vntworker, RefusesAtTheStartWhatWouldEndEachWorker)
{
    const std::string path = "-libpath=" + build_path("examples");
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
        EXPECT_NE(result.err.find(m.says), std::string::npos) << m.says << ": " << result.err;
        EXPECT_EQ(result.err.find("Server started"), std::string::npos);
    }
}

TEST(Vntworker, DoesNotServeByAClientsLibrary)
{
    process_result result = refused({}, {"LD_PRELOAD=" + build_path("lib/libvantoclient.so")});
    EXPECT_EQ(result.status, 255);
    EXPECT_NE(result.err.find("LD_PRELOAD"), std::string::npos) << result.err;
}

TEST(Vntworker, TellsItsOptionsAndItsVersion)
{
    const process_result help = run({built("vntworker"), "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("-action-timeout=SECONDS"), std::string::npos);
    EXPECT_EQ(run({built("vntworker"), "--version"}).out.rfind("vntworker ", 0), 0u);
    EXPECT_NE(run({built("vntworker"), "-help"}).err.find("Usage: "), std::string::npos);
}

} // namespace vnt
