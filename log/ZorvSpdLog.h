// The host logger's interface. The protocol library calls these three
// functions and nothing else of the logger, so that the host's own logger
// library can be linked in place of the stand-in that ships with this project.
#pragma once

#include <string>

enum em_LOG_LEVEL
{
    ZORV_LOG_TRACE = 0,
    ZORV_LOG_DEBUG = 1,
    ZORV_LOG_INFO = 2,
    ZORV_LOG_WARN = 3,
    ZORV_LOG_ERROR = 4,
    ZORV_LOG_FATAL = 5,
    ZORV_LOG_OFF = 6
};

class ZorvSpdLog
{
public:
    static ZorvSpdLog* getLoger();
    void addLogtoZorvSpdLog(em_LOG_LEVEL level, const char* signature, int line, const char* format, ...);
    void add16StrLogtoList(em_LOG_LEVEL level, const char* signature, int line, const std::string& bytes);
};
