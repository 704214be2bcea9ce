// What every fuzz target shares: a reader that takes typed values from the
// fuzzer's bytes, the one rule for exceptions, the checks that report a
// finding, the logger's run mode and a scratch directory for file requests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace fuzz
{

// Reads the input front to back. Values are little-endian; past the end every
// read gives zeros (or fewer bytes), so any input is a valid one.
class Input
{
public:
    Input(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}

    uint8_t byte() { return m_pos < m_size ? m_data[m_pos++] : 0; }
    uint16_t word() { return static_cast<uint16_t>(byte() | byte() << 8); }
    uint32_t dword() { return word() | static_cast<uint32_t>(word()) << 16; }
    uint64_t qword() { return dword() | static_cast<uint64_t>(dword()) << 32; }
    std::string bytes(size_t count);
    std::string rest() { return bytes(left()); }
    size_t left() const { return m_size - m_pos; }
    bool empty() const { return m_pos == m_size; }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_pos = 0;
};

// Prints what went wrong and aborts, so that the fuzzer keeps the input.
[[noreturn]] void finding(const char* file, int line, const std::string& what);

#define FUZZ_CHECK(condition)                                                 \
    do                                                                        \
    {                                                                         \
        if (!(condition))                                                     \
        {                                                                     \
            ::fuzz::finding(__FILE__, __LINE__, "check failed: " #condition); \
        }                                                                     \
    } while (false)

// Runs call. The library lets out only std::out_of_range, each with its one
// text where it can escape: a call may throw allowed (nullptr: nothing), and
// anything else is a finding. Returns true if the call returned.
template <class Call>
bool survives(const char* allowed, Call&& call)
{
    try
    {
        call();
        return true;
    }
    catch (const std::out_of_range& e)
    {
        if (allowed != nullptr && std::string(e.what()) == allowed)
        {
            return false;
        }
        finding(__FILE__, __LINE__, std::string("unexpected std::out_of_range: ") + e.what());
    }
    catch (const std::exception& e)
    {
        finding(__FILE__, __LINE__, std::string("unexpected exception: ") + e.what());
    }
    catch (...)
    {
        finding(__FILE__, __LINE__, "unexpected exception of unknown type");
    }
}

// A directory of this process's own, removed at exit, for the files of file
// requests.
const std::string& scratchDir();

// The checksum a frame ends with (0x5555 plus bytes 2 .. size-3, low byte
// first), computed here apart from the library's own code.
bool sealedFrame(const std::string& frame);

}  // namespace fuzz

// Defined once per target. For the targets that link the protocol library
// (FuzzInit.cpp) it sets the logger's run mode (silent, or TRACE into a
// discarding sink when ZORV_FUZZ_LOG=trace) and makes the scratch directory;
// for those that link the codec or the decode library alone (FuzzInitAlone.cpp)
// it does nothing. The fuzzing engine calls it first, as does the replay main.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
