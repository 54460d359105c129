#include "test/folders.h"
#include "test/process.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vnt {

TEST(CallsTable, InTheDocumentsIsTheOneOfTheListsAndAllIsTested)
{
    const std::string table = run({build_path("test/calls_table")}).out;
    EXPECT_TRUE(table == file_text(source_path("docs/calls.md")))
        << "build/test/calls_table > docs/calls.md";
    EXPECT_NE(table.find("444 requests, 444 tested."), std::string::npos);
}

TEST(FunctionsTable, InTheDocumentsIsTheOneOfTheHeaderAndTheLibrary)
{
    const std::string table = run({build_path("test/functions_table")}).out;
    EXPECT_TRUE(table == file_text(source_path("docs/functions.md")))
        << "build/test/functions_table > docs/functions.md";
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 441 + 6) << "a row for each";
    EXPECT_EQ(table.find("missing"), std::string::npos);
}

} // namespace vnt
