// The example programs do what the documents say.
#include "test/folders.h"
#include "test/server.h"
#include "test/vntsolve.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace vnt {

static const std::string folder = build_path("examples/");

TEST(Examples, AConductedSolveFindsTheOptimum)
{
    server s;
    process_result conduct = run({folder + "conduct", s.address(), model("p0201.mps")});
    EXPECT_EQ(conduct.status, 0) << conduct.err << s.log();
    EXPECT_TRUE(has(conduct.out, "7615, found by player "));
}

// A client in another language, written from the document of the wire format.
TEST(Examples, TheProtocolIsSpokenByItsDocumentAlone)
{
    if (access("/usr/bin/python3", X_OK) != 0) GTEST_SKIP() << "there is no python3";
    server s;
    process_result talk = run({source_path("examples/protocol.py"), s.address()});
    EXPECT_EQ(talk.status, 0) << talk.err << s.log();
    EXPECT_EQ(talk.out, "solved: x = 3 y = 1\nsolved while away: x = 0 y = 2\n");
}

} // namespace vnt
