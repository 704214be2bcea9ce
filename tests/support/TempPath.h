// Paths of scratch files in the test temporary directory, unique to this
// process: ctest runs test programs in parallel (and the memcheck lane runs
// the same programs again under valgrind), so two processes must never share
// a file.
#pragma once

#include <gtest/gtest.h>

#include <string>

#if defined(_WIN32)
#include <process.h>
#define ZORV_TEST_PID _getpid()
#else
#include <unistd.h>
#define ZORV_TEST_PID getpid()
#endif

inline std::string tempPath(const std::string& name)
{
    return ::testing::TempDir() + "zorv_" + std::to_string(ZORV_TEST_PID) + "_" + name;
}
