// A fixture that captures every log line (TRACE and up) for the duration of a
// test, so that tests can assert texts, levels and signatures.
#pragma once

#include "log/ZorvLogControl.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

// Log lines as "level message", in order.
using Lines = std::vector<std::string>;

class LogCaptureTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    std::vector<zorvlog::LogRecord> records() const;
    // The lines at or above min whose signature contains signature.
    Lines lines(const char* signature = "", em_LOG_LEVEL min = ZORV_LOG_TRACE) const;
    // True if a line with this level and exact message was logged.
    bool logged(em_LOG_LEVEL level, const std::string& text) const;
    void clearLog();

private:
    mutable std::mutex m_mutex;
    std::vector<zorvlog::LogRecord> m_records;
    em_LOG_LEVEL m_savedLevel = ZORV_LOG_INFO;
};
