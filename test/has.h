// has.h: whether a text has a part, for tests; a failure shows both.

#pragma once

#include <gtest/gtest.h>
#include <string>

namespace vnt {

inline testing::AssertionResult has(const std::string &text, const std::string &part)
{
    const bool found = text.find(part) != std::string::npos;
    return (found ? testing::AssertionSuccess() : testing::AssertionFailure())
           << "'" << part << "' is " << (found ? "" : "not ") << "in\n"
           << text;
}

} // namespace vnt
