#include "Commands.h"

#include "log/ZorvLogControl.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

namespace zorvproto
{

CLI::Validator numberUpTo(std::uint64_t max)
{
    return CLI::Validator(
        [max](std::string& text) -> std::string {
            const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
            const std::string digits = hex ? text.substr(2) : text;
            if (digits.empty() || digits.size() > 20)
            {
                return "'" + text + "' is not a number";
            }
            std::uint64_t value = 0;
            for (const char c : digits)
            {
                int d = -1;
                if (c >= '0' && c <= '9')
                {
                    d = c - '0';
                }
                else if (hex && c >= 'a' && c <= 'f')
                {
                    d = c - 'a' + 10;
                }
                else if (hex && c >= 'A' && c <= 'F')
                {
                    d = c - 'A' + 10;
                }
                const std::uint64_t base = hex ? 16 : 10;
                if (d < 0)
                {
                    return "'" + text + "' is not a number (decimal, or hex after 0x)";
                }
                if (value > (max - static_cast<std::uint64_t>(d)) / base)
                {
                    return "'" + text + "' is more than " + std::to_string(max);
                }
                value = value * base + static_cast<std::uint64_t>(d);
            }
            text = std::to_string(value);
            return {};
        },
        max == 0xFF ? "BYTE" : "NUMBER");
}

void addLogLevelOption(CLI::App& command, std::string& level)
{
    command
        .add_option("--log-level", level,
                    "the library's log lines from this level on: trace, debug, info, warn, error, fatal, off or 0..6")
        ->check([](const std::string& text) -> std::string {
            em_LOG_LEVEL parsed = ZORV_LOG_WARN;
            return zorvlog::parseLevel(text, parsed) ? std::string() : "'" + text + "' names no log level";
        })
        ->capture_default_str();
}

void applyLogLevel(const std::string& level, const std::string& logFile)
{
    em_LOG_LEVEL parsed = ZORV_LOG_WARN;
    zorvlog::parseLevel(level, parsed);
    zorvlog::setLevel(parsed);
    if (!logFile.empty() && !zorvlog::setOutputFile(logFile))
    {
        throw UsageError("cannot open the log file " + logFile + ": " + std::strerror(errno));
    }
}

std::string readInput(const std::string& path)
{
    if (path == "-")
    {
        std::ostringstream all;
        all << std::cin.rdbuf();
        return all.str();
    }
    std::ifstream file(path, std::ios::binary);
    if (!file)
    {
        throw UsageError("cannot open " + path + ": " + std::strerror(errno));
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

}  // namespace zorvproto
