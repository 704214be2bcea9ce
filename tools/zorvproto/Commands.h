// The sub-commands of zorvproto and what they share: each add*Command
// declares one sub-command and its options on the tool's CLI11 app; its
// callback runs the command and leaves the exit status in status.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace zorvproto
{

// Exit statuses: 0 all well, 1 a check failed, 2 bad input or usage.
constexpr int kExitOk = 0;
constexpr int kExitCheckFailed = 1;
constexpr int kExitBadInput = 2;

// Input or options a command cannot work with; main prints it after the
// command's name and exits 2.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

void addEncodeCommand(CLI::App& app, int& status);
void addDecodeCommand(CLI::App& app, int& status);
void addDemoCommand(CLI::App& app, int& status);

// ---- Shared option helpers (Options.cpp) ----

// A number in decimal or, with 0x in front, in hex, no greater than max; the
// option's text is replaced by its decimal value for CLI11 to store.
CLI::Validator numberUpTo(std::uint64_t max);

// The stand-in logger's threshold from a level name or number, for the
// commands that run the protocol library (--log-level).
void addLogLevelOption(CLI::App& command, std::string& level);
void applyLogLevel(const std::string& level, const std::string& logFile = "");

// A file's whole contents, or standard input for "-"; binary-safe.
std::string readInput(const std::string& path);

}  // namespace zorvproto
