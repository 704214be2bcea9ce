#include "support/FeedRunner.h"

#include "support/Bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

namespace
{

std::string vectorHex(const std::vector<unsigned char>& v)
{
    return toHex(std::string(v.begin(), v.end()));
}

// The calls for one frame: chunk sizes that add up to the frame's size.
std::vector<size_t> chunks(size_t size, FeedMode mode, size_t splitAt)
{
    if (mode == FeedMode::ByteByByte)
    {
        return std::vector<size_t>(size, 1);
    }
    if (mode == FeedMode::Split && size > 1)
    {
        const size_t first = std::min(std::max<size_t>(splitAt, 1), size - 1);
        return {first, size - first};
    }
    return {size};
}

const char* modeName(FeedMode mode)
{
    switch (mode)
    {
    case FeedMode::Whole:
        return "whole";
    case FeedMode::ByteByByte:
        return "byte by byte";
    default:
        return "split";
    }
}

void expectSame(const FeedOutcome& expected, const FeedOutcome& actual)
{
    EXPECT_EQ(expected.results, actual.results);
    EXPECT_EQ(expected.record, actual.record);
    EXPECT_EQ(toHex(expected.file), toHex(actual.file));
    EXPECT_EQ(expected.extra, actual.extra);
}

}  // namespace

std::string recordText(const INTER_ST::ThirdGenerationCommResponse_Data& r)
{
    std::ostringstream out;
    out << "head " << int(r.head[0]) << ' ' << int(r.head[1]) << " ack " << int(r.ack) << " label " << int(r.label)
        << " addr " << int(r.firstAddr) << ' ' << int(r.secondAddr) << " type " << int(r.deviceType) << " scan ["
        << vectorHex(r.scanBoardAddr) << "] byte7 " << int(r.frameByte7) << " code " << int(r.readWriteCode)
        << " register [" << vectorHex(r.registerAddr) << "] length " << r.validDataLength << " data ["
        << vectorHex(r.data) << "] checkout [" << vectorHex(r.checkout) << "] packetType " << int(r.packetType);
    return out.str();
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

FeedOutcome feedSession(FeedSession& session, FeedMode mode, size_t splitAt)
{
    FeedOutcome outcome;
    for (size_t f = 0; f < session.frames.size(); ++f)
    {
        const FeedFrame& frame = session.frames[f];
        SCOPED_TRACE("frame " + std::to_string(f));
        size_t done = 0;
        for (const size_t n : chunks(frame.bytes.size(), mode, splitAt))
        {
            const int result =
                session.stub->analyze_DeviceData(session.key, session.type, frame.bytes.substr(done, n), frame.match);
            const bool lastCall = done + n == frame.bytes.size();
            if (lastCall)
            {
                outcome.results.push_back(result);
            }
            else
            {
                const int waiting = done == 0 && n == 1 ? emProtoBadHeader : emProtoIncompleteFrame;
                EXPECT_EQ(waiting, result) << "call after " << done << " bytes";
            }
            done += n;
        }
    }
    const auto record = session.stub->getReplyPackage(session.key);
    outcome.record = record ? recordText(*record) : "none";
    if (!session.outputFile.empty())
    {
        outcome.file = readFile(session.outputFile);
    }
    if (session.extra)
    {
        outcome.extra = session.extra();
    }
    return outcome;
}

FeedOutcome feedEveryWay(const std::function<FeedSession()>& makeSession)
{
    FeedSession whole = makeSession();
    FeedOutcome expected = feedSession(whole, FeedMode::Whole);
    size_t longest = 0;
    for (const FeedFrame& frame : whole.frames)
    {
        longest = std::max(longest, frame.bytes.size());
    }
    std::vector<std::pair<FeedMode, size_t>> runs{{FeedMode::ByteByByte, 0}};
    for (size_t at = 1; at < longest; ++at)
    {
        runs.emplace_back(FeedMode::Split, at);
    }
    const bool failedBefore = ::testing::Test::HasFailure();
    for (const auto& run : runs)
    {
        SCOPED_TRACE(std::string(modeName(run.first)) + " at " + std::to_string(run.second));
        FeedSession session = makeSession();
        expectSame(expected, feedSession(session, run.first, run.second));
        if (!failedBefore && ::testing::Test::HasFailure())
        {
            break;  // one failing mode is enough to read
        }
    }
    return expected;
}
