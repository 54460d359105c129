#include "test/folders.h"
#include "test/process.h"

#include <gtest/gtest.h>
#include <regex>

namespace vnt {

TEST(CallsTable, InTheDocumentsIsTheOneOfTheListsAndAllIsTested)
{
    const std::string table = run({build_path("docs/calls_table")}).out;
    EXPECT_TRUE(table == file_text(source_path("docs/calls.md")))
        << "build/docs/calls_table > docs/calls.md";
    EXPECT_TRUE(std::regex_search(table, std::regex("\n(\\d+) requests, \\1 tested\\.")));
}

TEST(FunctionsTable, InTheDocumentsIsTheOneOfTheHeaderAndTheLibrary)
{
    const std::string table = run({build_path("docs/functions_table")}).out;
    EXPECT_TRUE(table == file_text(source_path("docs/functions.md")))
        << "build/docs/functions_table > docs/functions.md";
    EXPECT_FALSE(has(table, "missing"));
}

} // namespace vnt
