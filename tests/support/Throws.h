// EXPECT_THROW_MSG(statement, type, text): one assertion that statement throws
// an exception of type whose what() is text.
#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <string>

template <class Expected, class Call>
::testing::AssertionResult throwsWithMessage(Call&& call, const std::string& text)
{
    try
    {
        call();
    }
    catch (const Expected& e)
    {
        if (e.what() == text)
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "threw the type with the message \"" << e.what() << "\"";
    }
    catch (const std::exception& e)
    {
        return ::testing::AssertionFailure() << "threw another type, with \"" << e.what() << "\"";
    }
    return ::testing::AssertionFailure() << "threw nothing";
}

#define EXPECT_THROW_MSG(statement, type, text) \
    EXPECT_TRUE(throwsWithMessage<type>([&] { statement; }, text)) << #statement " should throw " #type ": " << text
