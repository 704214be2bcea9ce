// The stand-in logger: threshold, hex rendering, line shape, file output.
#include "log/ZorvLogControl.h"
#include "support/LogCapture.h"
#include "support/TempPath.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

using LoggerTest = LogCaptureTest;

TEST(LoggerDeathTest, ThresholdComesFromTheEnvironmentWhenFirstUsed)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // each case in a fresh process, where the logger is unused
    const std::pair<const char*, int> cases[] = {{"0", 0}, {"warn", 3}, {"Debug", 1}, {"OFF", 6}, {"7", 2}, {"", 2}};
    for (const auto& [text, level] : cases)
    {
#if defined(_WIN32)
        _putenv_s("ZORV_LOG_LEVEL", text);
#else
        setenv("ZORV_LOG_LEVEL", text, 1);
#endif
        EXPECT_EXIT(std::exit(static_cast<int>(zorvlog::level())), ::testing::ExitedWithCode(level), "") << text;
    }
}

TEST_F(LoggerTest, FilteredLinesNeverReachTheHook)
{
    zorvlog::setLevel(ZORV_LOG_WARN);
    for (const em_LOG_LEVEL level : {ZORV_LOG_TRACE, ZORV_LOG_INFO, ZORV_LOG_WARN, ZORV_LOG_FATAL, ZORV_LOG_OFF})
    {
        ZorvSpdLog::getLoger()->addLogtoZorvSpdLog(level, "sig", 1, "0%d", static_cast<int>(level));
        ZorvSpdLog::getLoger()->add16StrLogtoList(level, "sig", 2, std::string(1, static_cast<char>(level)));
    }
    EXPECT_EQ((std::vector<std::string>{"3 03", "3 03", "5 05", "5 05"}), lines());
}

TEST_F(LoggerTest, FileLinesCarryTimestampLevelSignatureLineAndMessage)
{
    ZorvSpdLog& logger = *ZorvSpdLog::getLoger();
    const std::string path = tempPath("logger_test.log");
    zorvlog::setCaptureHook(nullptr);
    ASSERT_TRUE(zorvlog::setOutputFile(path));
    logger.addLogtoZorvSpdLog(ZORV_LOG_WARN, "void __cdecl f(int)", 42, "hello %d", 7);
    logger.add16StrLogtoList(ZORV_LOG_TRACE, "hex", 9, std::string("\xAA\x55\x00\x0A", 4));
    logger.addLogtoZorvSpdLog(ZORV_LOG_FATAL, "s", 1, "%s", std::string(3000, 'x').c_str());  // past 2 KiB
    ASSERT_TRUE(zorvlog::setOutputFile(""));
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    std::remove(path.c_str());
    // Each line: timestamp (here <time>), level, signature:line, message.
    EXPECT_EQ("<time> [WARN] void __cdecl f(int):42 hello 7\n<time> [TRACE] hex:9 AA 55 00 0A\n<time> [FATAL] s:1 " +
                  std::string(3000, 'x') + "\n",
              std::regex_replace(text.str(), std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3})"), "<time>"));
}

TEST_F(LoggerTest, DiscardedLinesAreNotWrittenButStillReachAHook)
{
    ZorvSpdLog& logger = *ZorvSpdLog::getLoger();
    const std::string path = tempPath("logger_discard_test.log");
    zorvlog::setDiscardOutput(true);
    logger.addLogtoZorvSpdLog(ZORV_LOG_WARN, "sig", 1, "hooked %d", 1);
    zorvlog::setCaptureHook(nullptr);
    ASSERT_TRUE(zorvlog::setOutputFile(path));
    logger.addLogtoZorvSpdLog(ZORV_LOG_WARN, "sig", 2, "dropped %d", 2);
    logger.add16StrLogtoList(ZORV_LOG_WARN, "sig", 3, "\x01");
    zorvlog::setDiscardOutput(false);
    logger.addLogtoZorvSpdLog(ZORV_LOG_WARN, "sig", 4, "written %d", 4);
    ASSERT_TRUE(zorvlog::setOutputFile(""));
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    std::remove(path.c_str());
    EXPECT_EQ((std::vector<std::string>{"3 hooked 1"}), lines());
    EXPECT_EQ("<time> [WARN] sig:4 written 4\n",
              std::regex_replace(text.str(), std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3})"), "<time>"));
}
