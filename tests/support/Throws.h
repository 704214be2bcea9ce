// What a call throws as std::out_of_range: the message, or "" if it returns.
#pragma once

#include <stdexcept>
#include <string>

template <class Call>
std::string outOfRange(Call&& call)
{
    try
    {
        call();
    }
    catch (const std::out_of_range& e)
    {
        return e.what();
    }
    return "";
}
