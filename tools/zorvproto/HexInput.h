// Turning text into bytes for zorvproto: hex as people paste it, and the hex
// byte runs that the logger's byte-string call writes into a log file. Safe on
// any input; bad hex is reported by position, never guessed at.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zorvproto
{

// Input that cannot be read, with the 1-based line and column of the first
// bad character. what() reads "line 3, column 7: 'g' is not a hex digit".
class BadInput : public std::runtime_error
{
public:
    BadInput(size_t line, size_t column, const std::string& message);
    size_t line() const { return m_line; }
    size_t column() const { return m_column; }

private:
    size_t m_line;
    size_t m_column;
};

// Hex text to bytes. Digits in either case, two per byte; blanks, tabs,
// newlines, colons and commas separate, and so does a "0x" or "0X" in front
// of a run of digits ("55aa", "55 AA", "55:aa", "0x55 0xaa", "0x55aa" are the
// same two bytes). '#' starts a comment that runs to the end of the line. A
// run with an odd number of digits is an error at its first digit, any other
// character an error at itself.
std::string parseHex(std::string_view text);

// Lowercase hex, no separators: what `xxd -p` writes, without its wrapping.
std::string toHex(std::string_view bytes);
// Lowercase hex, one blank between bytes.
std::string toSpacedHex(std::string_view bytes);

// One hex byte run found in a log: the line it stands on (1-based) and its bytes.
struct LogRun
{
    size_t line = 0;
    std::string bytes;
};

// The byte runs of a log written by the host's logger. Its byte-string call
// writes one line per run,
//   2024-05-01 10:00:00.123 [DEBUG] <signature>:<source line> AA 55 00 01 ...
// the bytes as two uppercase digits each, one blank apart; a line counts when,
// after its "] " level tag, some ":<digits> " is followed by such a run and
// nothing else. The signature may hold blanks, colons and digits of its own
// (return types, "::", "__int64"); other lines are skipped, and so is a run
// cut off in the middle of a byte.
std::vector<LogRun> hexRunsFromLog(std::string_view log);

}  // namespace zorvproto
