// The reply analysis drivers: match-list checks, the candidate loop and the
// variant's label-at-position check.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <functional>
#include <memory>

namespace
{

using MatchList = std::vector<ST_MSGToHardDriverMatchOne>;
using Logs = std::vector<std::pair<em_LOG_LEVEL, std::string>>;

std::string frame(unsigned char label, const std::string& data = "", unsigned char secondAddr = 0)
{
    FrameFields f;
    f.label = label;
    f.secondAddr = secondAddr;
    f.data = data;
    return makeFrame(f);
}

ST_MSGToHardDriverMatch matchOf(MatchList list)
{
    ST_MSGToHardDriverMatch m;
    m.protoKey = "ignored";
    m.matchList = std::move(list);
    return m;
}

// Three candidates: a 20-byte frame with a wrong checksum, then a 24-byte
// frame whose length field (24) reaches over a third 20-byte frame to the
// end, so that both later heads pass the search's length test.
std::string threeCandidates()
{
    std::string first = frame(1);
    first.back() = static_cast<char>(first.back() ^ 0x01);
    std::string second = frame(1, hexBytes("01 02 03 04"));
    second[16] = 24;
    sealFrame(second);
    return first + second + frame(1);
}

struct Case
{
    const char* name;
    bool variant;
    std::string buffer;
    MatchList match;
    int result;
    int offset;
    Logs logs;
    size_t lines;  // total log lines expected, 0: not checked
};

class ReplyDriverTest : public LogCaptureTest
{
};

}  // namespace

TEST_F(ReplyDriverTest, DriversCheckTheListAndStopAtTheFirstSuccess)
{
    const std::string reply = frame(1, hexBytes("01 02 03 04"));
    const std::string three = threeCandidates();
    const MatchList standard3 = {{"AA55", 0}, {"1", 3}, {"0", 0}};
    const MatchList variant2 = {{"AA55", 0}, {"1", 3}};
    // clang-format off
    const Case cases[] = {
        {"standard, empty list", false, reply, {}, 1, 0, {{ZORV_LOG_WARN, "msg match size is 0."}}, 1},
        // The search needs two elements, so one element finds nothing.
        {"standard, one element", false, reply, {{"AA55", 0}}, 17, 0,
         {{ZORV_LOG_TRACE, "find package list begin, buffer size:24, match size:1, offset:0."},
          {ZORV_LOG_TRACE,
           "find package list ret(bool):0, type:0, buffer size:24, match size:1, offset:0, package size:0."}},
         2},
        {"standard, no head", false, hexBytes("00 01 02"), standard3, 17, 0,
         {{ZORV_LOG_TRACE,
           "find package list ret(bool):0, type:0, buffer size:3, match size:3, offset:0, package size:0."}},
         0},
        {"standard, second of three candidates", false, three, standard3, 0, 24,
         {{ZORV_LOG_TRACE,
           "find package list ret(bool):1, type:0, buffer size:64, match size:3, offset:0, package size:3."},
          {ZORV_LOG_TRACE, "analyze common package opeResTmp[12],offset[0]."},
          {ZORV_LOG_WARN, "analyzeDeviceData_ByCommonProtocol has error!"},
          {ZORV_LOG_TRACE, "analyze common package opeResTmp[0],offset[24]."}},
         0},
        {"variant, empty list", true, reply, {}, 18, 0,
         {{ZORV_LOG_TRACE, "analyze_DeviceData-type:0,protoBuffer.size:24-offset:0"}}, 1},
        {"variant, one element", true, reply, {{"AA55", 0}}, 18, 0, {}, 1},
        {"variant, no head", true, hexBytes("00 01 02"), variant2, 17, 0,
         {{ZORV_LOG_TRACE, "findPackageList result[0], offset[0], strPackageVec[0]."}}, 0},
        {"variant, second of three candidates", true, three, variant2, 0, 24,
         {{ZORV_LOG_TRACE, "findPackageList result[1], offset[0], strPackageVec[3]."},
          {ZORV_LOG_TRACE, "find package list bFind[1], type[0], buffer size[64], match size[2], offset[0]."},
          {ZORV_LOG_TRACE, "analyze common package opeResTmp[10],bRet[0], offset[0]."},
          {ZORV_LOG_WARN, "analyzeDeviceData_ByCommonProtocol has error!"},
          {ZORV_LOG_TRACE, "analyze common package opeResTmp[0],bRet[0], offset[24]."}},
         0},
    };
    // clang-format on
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::unique_ptr<ProtoBase> proto;
        if (c.variant)
        {
            proto = std::make_unique<ProtoAnalyze3rd_Orvane>();
        }
        else
        {
            proto = std::make_unique<ProtoAnalyze3rd>();
        }
        clearLog();
        int offset = 0;
        EXPECT_EQ(c.result, proto->analyze_DeviceData(emRequestReadRegister, c.buffer, matchOf(c.match), offset));
        EXPECT_EQ(c.offset, offset);
        for (const auto& log : c.logs)
        {
            EXPECT_TRUE(logged(log.first, log.second)) << log.second;
        }
        if (c.lines != 0)
        {
            EXPECT_EQ(c.lines, records().size());
        }
        // Only the second candidate of three is analysed after the first.
        EXPECT_GE(1u, count("analyzeDeviceData_ByCommonProtocol has error!"));
    }
}

TEST_F(ReplyDriverTest, VariantSkipsCandidatesWithoutTheLabelAtItsPosition)
{
    const std::string reply = frame(1, hexBytes("01 02 03 04"), 1);  // byte 5 is 1 as well
    const std::string skipped = "err when analyze common package result[0], offset[0].";
    struct LabelCase
    {
        const char* name;
        ST_MSGToHardDriverMatchOne label;
        int result;
        bool skip;
    };
    // clang-format off
    const LabelCase cases[] = {
        {"label at its position", {"1", 5}, 0, false},
        {"other byte at the position", {"2", 5}, 17, true},
        {"position at the package's end", {"1", 24}, 17, true},
        {"negative position", {"1", -1}, 17, true},
        // 257 matches byte 3 modulo 256; with two elements the package analysis
        // does not look at the label again.
        {"label compared modulo 256", {"257", 3}, 0, false},
    };
    // clang-format on
    for (const LabelCase& c : cases)
    {
        SCOPED_TRACE(c.name);
        ProtoAnalyze3rd_Orvane proto;
        clearLog();
        int offset = 0;
        EXPECT_EQ(c.result,
                  proto.analyze_DeviceData(emRequestReadRegister, reply, matchOf({{"AA55", 0}, c.label}), offset));
        EXPECT_EQ(c.skip, logged(ZORV_LOG_WARN, skipped));
        EXPECT_EQ(c.skip ? 0u : 1u,
                  count("find package list bFind[1], type[0], buffer size[24], match size[2], offset[0]."));
        EXPECT_EQ(c.skip, logged(ZORV_LOG_TRACE,
                                 "find package list bFind[0], type[0], buffer size[24], match size[2], offset[0]."));
    }
}
