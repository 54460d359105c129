#include "docs/reference/header.h"
#include "docs/reference/manual.h"

#include "test/folders.h"

#include <gtest/gtest.h>
#include <set>

namespace vnt {

static std::vector<header_function> functions_of(const char *path)
{
    std::vector<header_function> all;
    for (const header_group &g : header_read(source_path(path)).groups)
        all.insert(all.end(), g.functions.begin(), g.functions.end());
    return all;
}

TEST(Header, OfTheSolverSaysOfEachFunctionWhatItDoes)
{
    std::set<std::string> known;
    for (const header_function &f : functions_of("include/vanto.h")) {
        std::string said;
        for (const std::string &p : paragraphs(f.comment))
            said += p;
        EXPECT_TRUE(!said.empty() && isupper(said[0]) && said.back() == '.') << f.name;
        EXPECT_TRUE(known.insert(said).second) << f.name << " has another's comment: " << said;
    }
    EXPECT_GT(known.size(), 400u);
}

TEST(Header, OfTheClientSharesACommentAmongDeclarationsBelowIt)
{
    std::set<std::string> names;
    for (const header_function &f : functions_of("include/vanto_client.h")) {
        EXPECT_NE(first_sentence(f.comment), "") << f.name;
        names.insert(f.name);
    }
    EXPECT_EQ(names.count("vntclient_getnetworks"), 1u);
    EXPECT_EQ(names.count("vntclient_channelhandler"), 0u) << "is a type";
}

TEST(Header, OfTheServerSaysOfEachFunctionWhatItReturns)
{
    std::set<std::string> names;
    for (const header_function &f : functions_of("include/vanto_remote.h")) {
        bool told = false;
        for (const std::string &p : paragraphs(f.comment))
            told |= p.find("Returns ") != std::string::npos;
        EXPECT_TRUE(told) << f.name;
        EXPECT_EQ(result_text(f), "") << f.name << ": its comment says";
        names.insert(f.name);
    }
    EXPECT_EQ(names.size(), 23u);
}

} // namespace vnt
