// Stand-in for the host's logger library: thread-safe, with a level threshold,
// a timestamp on every line, output to stderr or a file, and a capture hook.
//
// A line below the threshold costs one atomic load: no formatting, no
// allocation, no lock. A line that passes is built whole in a buffer on the
// stack (on the heap only when longer than that buffer) before the lock is
// taken for writing it; a discarded line takes no lock at all.
#include "ZorvSpdLog.h"
#include "ZorvLogControl.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
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

// The threshold, the first thing every call reads: one atomic load from a
// fixed place. It starts as kUnread, which no level passes; the first call
// that finds it so reads ZORV_LOG_LEVEL.
constexpr int kUnread = INT_MAX;
std::atomic<int> g_threshold{kUnread};

int readThreshold()
{
    int expected = kUnread;
    // A level set meanwhile wins over the environment.
    g_threshold.compare_exchange_strong(expected, levelFromEnvironment(), std::memory_order_relaxed);
    return g_threshold.load(std::memory_order_relaxed);
}

int threshold()
{
    const int value = g_threshold.load(std::memory_order_relaxed);
    return value != kUnread ? value : readThreshold();
}

bool passes(em_LOG_LEVEL level)
{
    const int value = g_threshold.load(std::memory_order_relaxed);
    if (level < value && (value != kUnread || level < readThreshold()))
    {
        return false;
    }
    return level < ZORV_LOG_OFF && level >= 0;
}

// Everything else the logger keeps; ZorvSpdLog itself has no data members.
struct LoggerState
{
    // Copies of discard and of whether a hook is set, kept for reading
    // without the lock; both are changed under it.
    std::atomic<bool> discarding{false};
    std::atomic<bool> hooked{false};
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

// One line being built: on the stack, moved to the heap only if it outgrows
// the stack part.
class LineBuffer
{
public:
    LineBuffer() = default;
    LineBuffer(const LineBuffer&) = delete;
    LineBuffer& operator=(const LineBuffer&) = delete;

    const char* data() const { return m_data; }
    size_t size() const { return m_size; }

    // Room for count more bytes and a terminating zero, at the end.
    char* room(size_t count)
    {
        if (m_size + count + 1 > m_capacity)
        {
            const size_t capacity = std::max(m_capacity * 2, m_size + count + 1);
            auto heap = std::make_unique<char[]>(capacity);
            std::memcpy(heap.get(), m_data, m_size);
            m_heap = std::move(heap);
            m_data = m_heap.get();
            m_capacity = capacity;
        }
        return m_data + m_size;
    }
    void grow(size_t count) { m_size += count; }

    void append(const char* text, size_t count)
    {
        std::memcpy(room(count), text, count);
        grow(count);
    }
    void append(const char* text) { append(text, std::strlen(text)); }

    // Formats at the end; false (and nothing appended) for a bad format.
    ZORV_PRINTF_LIKE(2, 0) bool appendFormatted(const char* format, va_list args)
    {
        va_list copy;
        va_copy(copy, args);
        const size_t space = m_capacity - m_size;
        const int needed = std::vsnprintf(m_data + m_size, space, format, copy);
        va_end(copy);
        if (needed < 0)
        {
            return false;
        }
        if (static_cast<size_t>(needed) >= space)
        {
            std::vsnprintf(room(static_cast<size_t>(needed)), static_cast<size_t>(needed) + 1, format, args);
        }
        grow(static_cast<size_t>(needed));
        return true;
    }

private:
    static constexpr size_t kStackSize = 2048;
    char m_stack[kStackSize];
    std::unique_ptr<char[]> m_heap;
    char* m_data = m_stack;
    size_t m_capacity = kStackSize;
    size_t m_size = 0;
};

// Appends the local time as "YYYY-MM-DD hh:mm:ss.mmm".
void appendTimestamp(LineBuffer& out)
{
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(now);
    const auto millis = static_cast<int>(duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000);
    // The date and time change once a second: each thread keeps the text of
    // the last second it converted (a plain, trivially destroyed object, so
    // it also serves lines logged while the thread ends).
    struct Second
    {
        std::time_t seconds = -1;
        size_t length = 0;
        char text[32] = {};
    };
    thread_local Second last;
    if (last.seconds != seconds || last.length == 0)
    {
        std::tm parts{};
#if defined(_WIN32)
        localtime_s(&parts, &seconds);
#else
        localtime_r(&seconds, &parts);
#endif
        last.length = std::strftime(last.text, sizeof last.text, "%Y-%m-%d %H:%M:%S", &parts);
        last.seconds = seconds;
    }
    char* at = out.room(last.length + 4);
    std::memcpy(at, last.text, last.length);
    at += last.length;
    at[0] = '.';
    at[1] = static_cast<char>('0' + millis / 100);
    at[2] = static_cast<char>('0' + millis / 10 % 10);
    at[3] = static_cast<char>('0' + millis % 10);
    out.grow(last.length + 4);
}

// Appends "<timestamp> [<LEVEL>] <signature>:<line> ", what precedes the
// message on every line.
void appendPrefix(LineBuffer& out, em_LOG_LEVEL level, const char* signature, int line)
{
    appendTimestamp(out);
    out.append(" [");
    out.append(kLevelNames[level]);
    out.append("] ");
    out.append(signature != nullptr ? signature : "");
    char number[16];
    const int length = std::snprintf(number, sizeof number, ":%d ", line);
    out.append(number, static_cast<size_t>(length));
}

// Hands a built line to the hook or the output. The message is the text from
// messageAt to the end; the line written ends at the message's first zero
// byte, as printing it with "%s" does.
void emit(em_LOG_LEVEL level, const char* signature, int line, LineBuffer& text, size_t messageAt)
{
    LoggerState& logger = state();
    if (logger.discarding.load(std::memory_order_relaxed) && !logger.hooked.load(std::memory_order_acquire))
    {
        return;
    }
    std::lock_guard<std::mutex> lock(logger.mutex);
    if (logger.hook)
    {
        logger.hook(zorvlog::LogRecord{level, signature != nullptr ? signature : "", line,
                                       std::string(text.data() + messageAt, text.size() - messageAt)});
        return;
    }
    if (logger.discard)
    {
        return;
    }
    const size_t messageLength = strnlen(text.data() + messageAt, text.size() - messageAt);
    std::FILE* out = logger.file != nullptr ? logger.file : stderr;
    std::fwrite(text.data(), 1, messageAt + messageLength, out);
    std::fputc('\n', out);
    std::fflush(out);
}

}  // namespace

ZorvSpdLog* ZorvSpdLog::getLoger()
{
    static ZorvSpdLog logger;
    return &logger;
}

// The interface header must match the host's and carries no format attribute;
// the definition carries it (argument 1 is this), so the format handed on to
// appendFormatted counts as a checked format.
ZORV_PRINTF_LIKE(5, 6)
void ZorvSpdLog::addLogtoZorvSpdLog(em_LOG_LEVEL level, const char* signature, int line, const char* format, ...)
{
    if (!passes(level) || format == nullptr)
    {
        return;
    }
    LineBuffer text;
    appendPrefix(text, level, signature, line);
    const size_t messageAt = text.size();
    va_list args;
    va_start(args, format);
    const bool formatted = text.appendFormatted(format, args);
    va_end(args);
    if (!formatted)
    {
        text.append("(bad log format)");
    }
    emit(level, signature, line, text, messageAt);
}

void ZorvSpdLog::add16StrLogtoList(em_LOG_LEVEL level, const char* signature, int line, const std::string& bytes)
{
    if (!passes(level))
    {
        return;
    }
    static const char digits[] = "0123456789ABCDEF";
    LineBuffer text;
    appendPrefix(text, level, signature, line);
    const size_t messageAt = text.size();
    // Each byte as two digits, a blank between bytes.
    const size_t length = bytes.empty() ? 0 : bytes.size() * 3 - 1;
    char* at = text.room(length);
    for (size_t i = 0; i < bytes.size(); ++i)
    {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (i != 0)
        {
            *at++ = ' ';
        }
        *at++ = digits[byte >> 4];
        *at++ = digits[byte & 0x0F];
    }
    text.grow(length);
    emit(level, signature, line, text, messageAt);
}

namespace zorvlog
{

void setLevel(em_LOG_LEVEL level)
{
    g_threshold.store(level, std::memory_order_relaxed);
}

em_LOG_LEVEL level()
{
    return static_cast<em_LOG_LEVEL>(threshold());
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
    logger.discarding.store(discard, std::memory_order_relaxed);
}

void setCaptureHook(CaptureHook hook)
{
    LoggerState& logger = state();
    std::lock_guard<std::mutex> lock(logger.mutex);
    logger.hook = std::move(hook);
    logger.hooked.store(static_cast<bool>(logger.hook), std::memory_order_release);
}

}  // namespace zorvlog
