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

// Exit statuses: 0 all well, 1 a check failed (a reply rejected), 2 bad input
// or usage, 3 the wire failed (host unreachable, connection refused or
// closed, no such serial device), 4 a frame went unanswered, 5 the device
// answered with a non-zero ack.
constexpr int kExitOk = 0;
constexpr int kExitCheckFailed = 1;
constexpr int kExitBadInput = 2;
constexpr int kExitWire = 3;
constexpr int kExitUnanswered = 4;
constexpr int kExitNonZeroAck = 5;

// The text of the exit statuses, for --help and the README.
constexpr const char* kExitStatusText =
    "Exit status: 0 all well, 1 a check failed or a reply was rejected, 2 bad input or usage,\n"
    "3 the wire failed (unreachable, refused, closed, no such serial device), 4 a frame went\n"
    "unanswered, 5 the device answered with a non-zero ack.";

// Input or options a command cannot work with; main prints it after the
// command's name and exits 2.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// A command that cannot go on: main prints the message after the command's
// name and exits with status.
class CommandFailure : public std::runtime_error
{
public:
    CommandFailure(int status, const std::string& message) : std::runtime_error(message), m_status(status) {}
    int status() const { return m_status; }

private:
    int m_status;
};

void addEncodeCommand(CLI::App& app, int& status);
void addDecodeCommand(CLI::App& app, int& status);
void addDemoCommand(CLI::App& app, int& status);
void addClientCommands(CLI::App& app, int& status);  // read, write, read-file, write-file
void addWatchCommand(CLI::App& app, int& status);
void addSimulateCommand(CLI::App& app, int& status);

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
