#include "test/folders.h"
#include "test/process.h"

#include <gtest/gtest.h>

namespace vnt {

TEST(CallsTable, InTheDocumentsIsTheOneOfTheListsAndAllIsTested)
{
    const std::string table = run({build_path("test/calls_table")}).out;
    EXPECT_TRUE(table == file_text(source_path("docs/calls.md")))
        << "build/test/calls_table > docs/calls.md";
    EXPECT_NE(table.find("444 requests, 444 tested."), std::string::npos);
}

} // namespace vnt
