// Feeds device output to ProtoStub::analyze_DeviceData three ways: each frame
// whole, one byte per call, and each frame split into two calls at every
// point. The modes are per frame: a piece spanning two frames would glue them
// into one package and fail, so a frame is always finished before the next
// one starts.
#pragma once

#include "protostub/ProtoStub.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

// One frame the device sends, with the expected-reply description the server
// passes along with its bytes.
struct FeedFrame
{
    std::string bytes;
    ST_MSGToHardDriverMatch match;
};

// Everything one run needs, built fresh for every run.
struct FeedSession
{
    std::shared_ptr<ProtoStub> stub;
    std::string key;
    em_RequestType type = emRequestReadRegister;
    std::vector<FeedFrame> frames;
    std::string outputFile;              // read back after the run when set
    std::function<std::string()> extra;  // further state to compare, when set
};

// What a run leaves behind, compared across the modes.
struct FeedOutcome
{
    std::vector<int> results;  // of the calls that complete each frame
    std::string record;        // the reply record, as recordText prints it
    std::string file;          // the output file's bytes
    std::string extra;
};

enum class FeedMode
{
    Whole,
    ByteByByte,
    Split  // each frame in two calls, the first splitAt bytes long (capped at size - 1)
};

// One run. Calls before the one that completes a frame must give 6, or 8 for
// a lone first byte 0xAA (its byte 1 reads as the terminating zero); checked
// with gtest expectations.
FeedOutcome feedSession(FeedSession& session, FeedMode mode, size_t splitAt = 0);

// Runs fresh sessions whole, byte by byte and split at every point, expects
// every run to agree with the whole run, and returns the whole run's outcome.
FeedOutcome feedEveryWay(const std::function<FeedSession()>& makeSession);

// Every member of a reply record as one line of text, vectors in hex.
std::string recordText(const INTER_ST::ThirdGenerationCommResponse_Data& record);

// The bytes of a file, empty if it cannot be read.
std::string readFile(const std::string& path);
