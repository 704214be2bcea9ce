// The stand-in logger: threshold (by call and by ZORV_LOG_LEVEL), the shape of
// each line, output to stderr or a file, the capture hook, and whole lines
// under concurrent logging.
#include "log/ZorvLogControl.h"
#include "support/LogCapture.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <thread>

#if defined(__unix__) || defined(__APPLE__)
#include <sys/mman.h>
#define ZORV_TEST_HAS_MMAP 1
#endif

namespace
{

ZorvSpdLog& logger()
{
    return *ZorvSpdLog::getLoger();
}

void setEnvironment(const char* name, const char* value)
{
#if defined(_WIN32)
    _putenv_s(name, value != nullptr ? value : "");
#else
    if (value != nullptr)
    {
        setenv(name, value, 1);
    }
    else
    {
        unsetenv(name);
    }
#endif
}

std::vector<std::string> fileLines(const std::string& path)
{
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

// "2024-01-31 12:34:56.789 " then the rest of the line.
std::string afterTimestamp(const std::string& line)
{
    static const std::regex stamp(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} )");
    const size_t width = 24;
    if (line.size() < width || !std::regex_match(line.substr(0, width), stamp))
    {
        return "no timestamp: " + line;
    }
    return line.substr(width);
}

class LoggerTest : public LogCaptureTest
{
protected:
    void TearDown() override
    {
        zorvlog::setOutputFile("");
        std::remove(m_path.c_str());
        LogCaptureTest::TearDown();
    }

    const std::string m_path = ::testing::TempDir() + "zorv_logger_test.log";
};

TEST(LoggerDeathTest, ThresholdComesFromTheEnvironmentWhenFirstUsed)
{
    // Each case runs in a fresh process, where the logger is not yet in use.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    struct Case
    {
        const char* value;
        int level;
    };
    const Case cases[] = {{nullptr, 2}, {"0", 0}, {"3", 3}, {"warn", 3}, {"Debug", 1},
                          {"OFF", 6},   {"7", 2}, {"", 2},  {"loud", 2}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.value != nullptr ? c.value : "(unset)");
        setEnvironment("ZORV_LOG_LEVEL", c.value);
        EXPECT_EXIT(std::exit(static_cast<int>(zorvlog::level())), ::testing::ExitedWithCode(c.level), "");
    }
    setEnvironment("ZORV_LOG_LEVEL", nullptr);
}

TEST_F(LoggerTest, OnlyLinesAtOrAboveTheThresholdReachTheHook)
{
    for (int threshold = ZORV_LOG_TRACE; threshold <= ZORV_LOG_OFF; ++threshold)
    {
        zorvlog::setLevel(static_cast<em_LOG_LEVEL>(threshold));
        EXPECT_EQ(threshold, zorvlog::level());
        for (int level = ZORV_LOG_TRACE; level <= ZORV_LOG_OFF; ++level)
        {
            SCOPED_TRACE("threshold " + std::to_string(threshold) + ", line " + std::to_string(level));
            clearLog();
            const auto lineLevel = static_cast<em_LOG_LEVEL>(level);
            logger().addLogtoZorvSpdLog(lineLevel, "sig", 1, "text %d", level);
            logger().add16StrLogtoList(lineLevel, "sig", 2, "\x01");
            const size_t expected = level >= threshold && level < ZORV_LOG_OFF ? 2 : 0;
            EXPECT_EQ(expected, records().size());
        }
    }
}

#if defined(ZORV_TEST_HAS_MMAP)
TEST_F(LoggerTest, FilteredLinesAreNeverFormatted)
{
    // Formatting "%s" would read an unreadable page and crash the test.
    void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, page);
    const char* unreadable = static_cast<const char*>(page);
    zorvlog::setLevel(ZORV_LOG_WARN);
    logger().addLogtoZorvSpdLog(ZORV_LOG_INFO, "sig", 1, "%s", unreadable);
    zorvlog::setLevel(ZORV_LOG_TRACE);
    logger().addLogtoZorvSpdLog(ZORV_LOG_OFF, "sig", 2, "%s", unreadable);
    munmap(page, 4096);
    EXPECT_TRUE(records().empty());
}
#endif

TEST_F(LoggerTest, HexLinesShowEveryByteAsTwoDigits)
{
    std::string longText = "80";
    for (int i = 1; i < 300; ++i)
    {
        longText += " 80";
    }
    struct Case
    {
        const char* name;
        std::string bytes;
        std::string text;
    };
    const Case cases[] = {
        {"empty", "", ""},
        {"zero byte", std::string(1, '\0'), "00"},
        {"frame start", std::string("\xAA\x55\x00\xFF\x0A", 5), "AA 55 00 FF 0A"},
        {"longer than a small buffer", std::string(300, '\x80'), longText},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        logger().add16StrLogtoList(ZORV_LOG_DEBUG, "sig", 9, c.bytes);
        ASSERT_EQ(1u, records().size());
        const zorvlog::LogRecord line = records()[0];
        EXPECT_EQ(ZORV_LOG_DEBUG, line.level);
        EXPECT_EQ(9, line.line);
        EXPECT_EQ("sig", line.signature);
        EXPECT_EQ(c.text, line.message);
    }
}

TEST_F(LoggerTest, FileLinesCarryTimestampLevelSignatureLineAndMessage)
{
    zorvlog::setCaptureHook(nullptr);
    ASSERT_TRUE(zorvlog::setOutputFile(m_path));
    const std::string longText(1000, 'x');
    logger().addLogtoZorvSpdLog(ZORV_LOG_WARN, "void __cdecl f(int)", 42, "hello %d", 7);
    logger().add16StrLogtoList(ZORV_LOG_TRACE, "hexsig", 9, "\xAA\x55");
    logger().addLogtoZorvSpdLog(ZORV_LOG_FATAL, "s", 1, "%s", longText.c_str());
    ASSERT_TRUE(zorvlog::setOutputFile(""));
    ::testing::internal::CaptureStderr();
    logger().addLogtoZorvSpdLog(ZORV_LOG_ERROR, "s", 2, "back on stderr");
    EXPECT_EQ("[ERROR] s:2 back on stderr\n", afterTimestamp(::testing::internal::GetCapturedStderr()));
    const std::vector<std::string> lines = fileLines(m_path);
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ("[WARN] void __cdecl f(int):42 hello 7", afterTimestamp(lines[0]));
    EXPECT_EQ("[TRACE] hexsig:9 AA 55", afterTimestamp(lines[1]));
    EXPECT_EQ("[FATAL] s:1 " + longText, afterTimestamp(lines[2]));
}

TEST_F(LoggerTest, LinesGoToStderrUnlessAFileIsSet)
{
    zorvlog::setCaptureHook(nullptr);
    EXPECT_FALSE(zorvlog::setOutputFile(::testing::TempDir() + "no-such-dir/zorv.log"));
    ::testing::internal::CaptureStderr();
    logger().addLogtoZorvSpdLog(ZORV_LOG_ERROR, "sig", 5, "to %s", "stderr");
    const std::string text = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ("[ERROR] sig:5 to stderr\n", afterTimestamp(text));
}

TEST_F(LoggerTest, LevelsParseFromNumbersAndNamesInAnyCase)
{
    struct Case
    {
        const char* text;
        bool ok;
        em_LOG_LEVEL level;
    };
    const Case cases[] = {
        {"0", true, ZORV_LOG_TRACE},        {"6", true, ZORV_LOG_OFF},       {"trace", true, ZORV_LOG_TRACE},
        {"Debug", true, ZORV_LOG_DEBUG},    {"INFO", true, ZORV_LOG_INFO},   {"wArN", true, ZORV_LOG_WARN},
        {"error", true, ZORV_LOG_ERROR},    {"fatal", true, ZORV_LOG_FATAL}, {"off", true, ZORV_LOG_OFF},
        {"7", false, ZORV_LOG_FATAL},       {"-1", false, ZORV_LOG_FATAL},   {"", false, ZORV_LOG_FATAL},
        {"warning", false, ZORV_LOG_FATAL}, {"2 ", false, ZORV_LOG_FATAL},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.text);
        em_LOG_LEVEL level = ZORV_LOG_FATAL;
        EXPECT_EQ(c.ok, zorvlog::parseLevel(c.text, level));
        EXPECT_EQ(c.level, level);
    }
    const char* const names[] = {"TRACE", "DEBUG", "INFO", "WARN", "ERROR", "FATAL", "OFF"};
    for (int i = ZORV_LOG_TRACE; i <= ZORV_LOG_OFF; ++i)
    {
        EXPECT_STREQ(names[i], zorvlog::levelName(static_cast<em_LOG_LEVEL>(i)));
    }
}

TEST_F(LoggerTest, ConcurrentLinesStayWholeAndInOrderPerThread)
{
    constexpr int kThreads = 8;
    constexpr int kLines = 250;
    auto run = [] {
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
        {
            threads.emplace_back([t] {
                for (int i = 0; i < kLines; ++i)
                {
                    logger().addLogtoZorvSpdLog(ZORV_LOG_INFO, "sig", t, "thread %d line %d", t, i);
                }
            });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
    };
    auto checkOrder = [](const std::vector<std::string>& messages) {
        ASSERT_EQ(static_cast<size_t>(kThreads * kLines), messages.size());
        std::vector<int> next(kThreads, 0);
        for (const std::string& message : messages)
        {
            int t = -1;
            int i = -1;
            ASSERT_EQ(2, std::sscanf(message.c_str(), "thread %d line %d", &t, &i)) << message;
            ASSERT_TRUE(t >= 0 && t < kThreads) << message;
            EXPECT_EQ(next[t]++, i) << message;
        }
    };
    run();
    checkOrder(messages());

    zorvlog::setCaptureHook(nullptr);
    ASSERT_TRUE(zorvlog::setOutputFile(m_path));
    run();
    ASSERT_TRUE(zorvlog::setOutputFile(""));
    std::vector<std::string> messages;
    for (const std::string& line : fileLines(m_path))
    {
        const std::string rest = afterTimestamp(line);
        const size_t prefix = std::string("[INFO] sig:0 ").size();
        EXPECT_EQ(0u, rest.find("[INFO] sig:")) << line;
        messages.push_back(rest.size() > prefix ? rest.substr(prefix) : rest);
    }
    checkOrder(messages);
}

} // namespace
