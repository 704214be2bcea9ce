// Extras of the stand-in logger: threshold, output target and a capture hook.
// The host's own logger has none of these; only tools, tests and examples use
// them, never the protocol library itself.
#pragma once

#include "ZorvSpdLog.h"

#include <functional>
#include <string>

namespace zorvlog
{

// One log line as the stand-in logger emits it, before it is written out.
struct LogRecord
{
    em_LOG_LEVEL level;
    std::string signature;
    int line;
    std::string message;
};

using CaptureHook = std::function<void(const LogRecord&)>;

// Lines below the threshold are dropped before any formatting. The default is
// INFO, or what the environment variable ZORV_LOG_LEVEL says (a number 0..6 or
// a level name such as "debug"), read when the logger is first used.
void setLevel(em_LOG_LEVEL level);
em_LOG_LEVEL level();

// Parses "0".."6" or a level name (any letter case); false if neither.
bool parseLevel(const std::string& text, em_LOG_LEVEL& level);

// The level's name as it appears in each line ("TRACE" ... "OFF").
const char* levelName(em_LOG_LEVEL level);

// Output goes to stderr unless a file is set; an empty path returns to stderr.
// Returns false (and keeps the previous target) when the file cannot be opened.
bool setOutputFile(const std::string& path);

// While set, each line that passes the threshold is formatted in full, as
// for a file, and then dropped: the logger's own cost without that of the
// output. A capture hook still takes the lines.
void setDiscardOutput(bool discard);

// While a hook is set, each line that passes the threshold goes to the hook
// instead of the output. The hook runs under the logger's lock: it must not
// log itself. Pass an empty hook to remove it.
void setCaptureHook(CaptureHook hook);

}  // namespace zorvlog
