#include "support/LogCapture.h"

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

size_t LogCaptureTest::count(const std::string& text) const
{
    size_t n = 0;
    for (const zorvlog::LogRecord& r : records())
    {
        n += r.message == text ? 1 : 0;
    }
    return n;
}

bool LogCaptureTest::logged(em_LOG_LEVEL level, const std::string& text) const
{
    for (const zorvlog::LogRecord& r : records())
    {
        if (r.level == level && r.message == text)
        {
            return true;
        }
    }
    return false;
}

zorvlog::LogRecord LogCaptureTest::find(const std::string& text) const
{
    for (const zorvlog::LogRecord& r : records())
    {
        if (r.message == text)
        {
            return r;
        }
    }
    return zorvlog::LogRecord{ZORV_LOG_OFF, "", -1, ""};
}

void LogCaptureTest::clearLog()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_records.clear();
}
