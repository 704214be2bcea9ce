// Bytes arrive in pieces of any size. runSplits feeds an input to a fresh
// subject three ways: whole, one byte per call, and in two pieces split at
// every point. After every call the subject's outcome must equal
// expected(bytes fed so far), so that every prefix's result is checked, not
// only the last.
//
// make() returns the subject: a callable that takes the next piece and returns
// an outcome comparable with ==. A subject without state of its own (a search
// over a buffer) keeps the bytes fed so far and works on all of them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

template <class Make, class Expected>
void runSplits(const std::string& input, Make make, Expected expected)
{
    std::vector<std::pair<std::string, std::vector<size_t>>> ways = {{"whole", {input.size()}}, {"byte by byte", {}}};
    for (size_t end = 1; end <= input.size(); ++end)
        ways[1].second.push_back(end);
    for (size_t cut = 1; cut < input.size(); ++cut)
        ways.push_back({"split at " + std::to_string(cut), {cut, input.size()}});
    for (const auto& [way, ends] : ways)
    {
        auto feed = make();
        size_t fed = 0;
        for (size_t end : ends)
        {
            const auto outcome = feed(input.substr(fed, end - fed));
            fed = end;
            ASSERT_EQ(expected(fed), outcome) << way << ", " << fed << " of " << input.size() << " bytes fed";
        }
    }
}
