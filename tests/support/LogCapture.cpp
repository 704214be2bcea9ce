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

std::vector<std::string> LogCaptureTest::lines(const char* signature, em_LOG_LEVEL min) const
{
    std::vector<std::string> out;
    for (const zorvlog::LogRecord& r : records())
        if (r.level >= min && r.signature.find(signature) != std::string::npos)
            out.push_back(std::to_string(r.level) + ' ' + r.message);
    return out;
}

bool LogCaptureTest::logged(em_LOG_LEVEL level, const std::string& text) const
{
    const std::vector<std::string> all = lines();
    return std::find(all.begin(), all.end(), std::to_string(level) + ' ' + text) != all.end();
}

void LogCaptureTest::clearLog()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_records.clear();
}
