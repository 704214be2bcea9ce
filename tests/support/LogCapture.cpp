#include "support/LogCapture.h"

#include <algorithm>

void LogCaptureTest::SetUp()
{
    m_savedLevel = zorvlog::level();
    zorvlog::setLevel(ZORV_LOG_TRACE);
    zorvlog::setCaptureHook([this](const zorvlog::LogRecord& record) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_records.push_back(record);
    });
}

void LogCaptureTest::TearDown()
{
    zorvlog::setCaptureHook(nullptr);
    zorvlog::setLevel(m_savedLevel);
}

std::vector<zorvlog::LogRecord> LogCaptureTest::records() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_records;
}

std::vector<std::string> LogCaptureTest::messages() const
{
    std::vector<std::string> out;
    for (const zorvlog::LogRecord& r : records())
    {
        out.push_back(r.message);
    }
    return out;
}

bool LogCaptureTest::logged(em_LOG_LEVEL level, const std::string& text) const
{
    const auto all = records();
    return std::any_of(all.begin(), all.end(),
                       [&](const zorvlog::LogRecord& r) { return r.level == level && r.message == text; });
}

void LogCaptureTest::clearLog()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_records.clear();
}
