#include "test/record/table.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

TEST(CallsTable, InTheDocumentsIsTheOneOfTheLists)
{
    std::ifstream in(VNT_SOURCE_DIR "/docs/calls.md");
    const std::string written(std::istreambuf_iterator<char>(in), {});
    EXPECT_TRUE(written == calls_table()) << "build/test/calls_table > docs/calls.md";
}

TEST(CallsTable, HasEveryRequestAndATestForIt)
{
    EXPECT_NE(calls_table().find("444 requests, 444 tested."), std::string::npos);
}
