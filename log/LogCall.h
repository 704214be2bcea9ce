// The protocol library's one way to log: each call site reads like the line it
// writes, passes the calling function's signature text and its source line,
// and has its printf arguments checked against the format at compile time.
// Whether a line is formatted at all is the logger's decision (by level).
#pragma once

#include "ZorvSpdLog.h"

#if defined(__GNUC__) || defined(__clang__)
__attribute__((format(printf, 1, 2)))
#endif
inline void
zorvCheckLogFormat(const char*, ...)
{
}

// ZLOG(level, signature, format, args...), level one of TRACE, DEBUG, INFO,
// WARN, ERROR, FATAL (the host logger's ZORV_LOG_ levels).
#define ZLOG(level, signature, ...)                                                                     \
    do                                                                                                  \
    {                                                                                                   \
        if (false)                                                                                      \
        {                                                                                               \
            zorvCheckLogFormat(__VA_ARGS__);                                                            \
        }                                                                                               \
        ZorvSpdLog::getLoger()->addLogtoZorvSpdLog(ZORV_LOG_##level, signature, __LINE__, __VA_ARGS__); \
    } while (false)

// ZLOG_HEX(level, signature, bytes): the bytes as hexadecimal text.
#define ZLOG_HEX(level, signature, bytes) \
    ZorvSpdLog::getLoger()->add16StrLogtoList(ZORV_LOG_##level, signature, __LINE__, bytes)
