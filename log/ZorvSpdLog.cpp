// Stand-in for the host's logger library: thread-safe, with a level threshold,
// a timestamp on every line, output to stderr or a file, and a capture hook.
#include "ZorvSpdLog.h"
#include "ZorvLogControl.h"

#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>

#if defined(__GNUC__) || defined(__clang__)
#define ZORV_PRINTF_LIKE(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define ZORV_PRINTF_LIKE(fmt, args)
#endif

namespace
{

const char* const kLevelNames[] = {"TRACE", "DEBUG", "INFO", "WARN", "ERROR", "FATAL", "OFF"};

em_LOG_LEVEL levelFromEnvironment()
{
    em_LOG_LEVEL level = ZORV_LOG_INFO;
    const char* text = std::getenv("ZORV_LOG_LEVEL");
    if (text != nullptr)
    {
        zorvlog::parseLevel(text, level);
    }
    return level;
}

// Everything the logger keeps; ZorvSpdLog itself has no data members.
struct LoggerState
{
    std::atomic<int> threshold{levelFromEnvironment()};
    std::mutex mutex;
    std::FILE* file = nullptr;
    bool discard = false;
    zorvlog::CaptureHook hook;
};

// Never destroyed: objects that log from their own static destructors must
// still find the logger. Every line is flushed, so nothing is lost at exit.
LoggerState& state()
{
    static LoggerState* const instance = new LoggerState;
    return *instance;
}

bool passes(em_LOG_LEVEL level)
{
    return level >= state().threshold.load(std::memory_order_relaxed) && level < ZORV_LOG_OFF && level >= 0;
}

std::string timestamp()
{
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(now);
    const auto millis = static_cast<int>(duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000);
    std::tm parts{};
#if defined(_WIN32)
    localtime_s(&parts, &seconds);
#else
    localtime_r(&seconds, &parts);
#endif
    char text[32];
    const size_t used = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    std::snprintf(text + used, sizeof text - used, ".%03d", millis);
    return text;
}

ZORV_PRINTF_LIKE(2, 0) void formatInto(std::string& out, const char* format, va_list args)
{
    va_list copy;
    va_copy(copy, args);
    char small[256];
    const int needed = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (needed < 0)
    {
        out = "(bad log format)";
    }
    else if (static_cast<size_t>(needed) < sizeof small)
    {
        out.assign(small, static_cast<size_t>(needed));
    }
    else
    {
        out.resize(static_cast<size_t>(needed) + 1);
        std::vsnprintf(&out[0], out.size(), format, args);
        out.resize(static_cast<size_t>(needed));
    }
}

void emit(em_LOG_LEVEL level, const char* signature, int line, std::string message)
{
    LoggerState& logger = state();
    std::lock_guard<std::mutex> lock(logger.mutex);
    if (logger.hook)
    {
        logger.hook(zorvlog::LogRecord{level, signature != nullptr ? signature : "", line, std::move(message)});
        return;
    }
    if (logger.discard)
    {
        std::snprintf(nullptr, 0, "%s [%s] %s:%d %s\n", timestamp().c_str(), kLevelNames[level],
                      signature != nullptr ? signature : "", line, message.c_str());
        return;
    }
    std::FILE* out = logger.file != nullptr ? logger.file : stderr;
    std::fprintf(out, "%s [%s] %s:%d %s\n", timestamp().c_str(), kLevelNames[level],
                 signature != nullptr ? signature : "", line, message.c_str());
    std::fflush(out);
}

}  // namespace

ZorvSpdLog* ZorvSpdLog::getLoger()
{
    static ZorvSpdLog logger;
    state();
    return &logger;
}

// The interface header must match the host's and carries no format attribute;
// the definition carries it (argument 1 is this), so the format handed on to
// formatInto counts as a checked format.
ZORV_PRINTF_LIKE(5, 6)
void ZorvSpdLog::addLogtoZorvSpdLog(em_LOG_LEVEL level, const char* signature, int line, const char* format, ...)
{
    if (!passes(level) || format == nullptr)
    {
        return;
    }
    std::string message;
    va_list args;
    va_start(args, format);
    formatInto(message, format, args);
    va_end(args);
    emit(level, signature, line, std::move(message));
}

void ZorvSpdLog::add16StrLogtoList(em_LOG_LEVEL level, const char* signature, int line, const std::string& bytes)
{
    if (!passes(level))
    {
        return;
    }
    static const char digits[] = "0123456789ABCDEF";
    std::string message;
    message.reserve(bytes.size() * 3);
    for (size_t i = 0; i < bytes.size(); ++i)
    {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (i != 0)
        {
            message += ' ';
        }
        message += digits[byte >> 4];
        message += digits[byte & 0x0F];
    }
    emit(level, signature, line, std::move(message));
}

namespace zorvlog
{

void setLevel(em_LOG_LEVEL level)
{
    state().threshold.store(level, std::memory_order_relaxed);
}

em_LOG_LEVEL level()
{
    return static_cast<em_LOG_LEVEL>(state().threshold.load(std::memory_order_relaxed));
}

bool parseLevel(const std::string& text, em_LOG_LEVEL& level)
{
    if (text.size() == 1 && text[0] >= '0' && text[0] <= '6')
    {
        level = static_cast<em_LOG_LEVEL>(text[0] - '0');
        return true;
    }
    std::string upper;
    for (char c : text)
    {
        upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    for (int i = ZORV_LOG_TRACE; i <= ZORV_LOG_OFF; ++i)
    {
        if (upper == kLevelNames[i])
        {
            level = static_cast<em_LOG_LEVEL>(i);
            return true;
        }
    }
    return false;
}

const char* levelName(em_LOG_LEVEL level)
{
    return level >= ZORV_LOG_TRACE && level <= ZORV_LOG_OFF ? kLevelNames[level] : "?";
}

bool setOutputFile(const std::string& path)
{
    std::FILE* file = nullptr;
    if (!path.empty())
    {
        file = std::fopen(path.c_str(), "a");
        if (file == nullptr)
        {
            return false;
        }
    }
    LoggerState& logger = state();
    std::lock_guard<std::mutex> lock(logger.mutex);
    if (logger.file != nullptr)
    {
        std::fclose(logger.file);
    }
    logger.file = file;
    return true;
}

void setDiscardOutput(bool discard)
{
    LoggerState& logger = state();
    std::lock_guard<std::mutex> lock(logger.mutex);
    logger.discard = discard;
}

void setCaptureHook(CaptureHook hook)
{
    LoggerState& logger = state();
    std::lock_guard<std::mutex> lock(logger.mutex);
    logger.hook = std::move(hook);
}

}  // namespace zorvlog
