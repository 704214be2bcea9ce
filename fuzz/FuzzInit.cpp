#include "FuzzSupport.h"

#include "log/ZorvLogControl.h"

#include <cstdlib>
#include <string>

// The logger is silent while fuzzing, so that runs go fast. ZORV_FUZZ_LOG=trace
// formats every line at TRACE into a sink that drops it: the log calls'
// formatting is then fuzzed too.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    const char* mode = std::getenv("ZORV_FUZZ_LOG");
    if (mode != nullptr && std::string(mode) == "trace")
    {
        zorvlog::setLevel(ZORV_LOG_TRACE);
        zorvlog::setCaptureHook([](const zorvlog::LogRecord&) {});
    }
    else
    {
        zorvlog::setLevel(ZORV_LOG_OFF);
    }
    fuzz::scratchDir();
    return 0;
}
