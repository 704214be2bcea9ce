// The facade analyses a piece in place when its buffer is empty: whatever the
// analysis does, the buffer must end as if the piece had been appended first.
#include "analyzers/ProtoAnalyze3rd.h"
#include "protostub/ProtoStub.h"
#include "support/Bytes.h"
#include "support/Throws.h"

#include <gtest/gtest.h>

namespace
{

struct ScriptedAnalyzer : ProtoAnalyze3rd  // sets the offset and result it is told, or throws
{
    em_ProtoAnalyze analyze_DeviceData(const em_RequestType&, const std::string& buffer, const ST_MSGToHardDriverMatch&,
                                       int& offset) override
    {
        seen = buffer;
        if (doThrow)
        {
            throw std::out_of_range("invalid string position");
        }
        offset = m_offset;
        return static_cast<em_ProtoAnalyze>(m_result);
    }
    std::string seen;
    int m_result = 0, m_offset = 0;
    bool doThrow = false;
};

const std::string kReply = hexBytes("aa 55 00 01 00 00 00 00 00 00 00 00 00 00 00 00 04 00 01 02 03 04 64 55");
const ST_MSGToHardDriverMatch kReply1{"", {{"AA55", 0}, {"1", 3}, {"0", 0}}};

class FacadeDirectPathTest : public ::testing::Test, public ProtoStub
{
protected:
    FacadeDirectPathTest() { m_mapProto["3rd-proto"] = analyzer; }

    // Feeds prefix (too short to be analysed, so it waits in the buffer) and
    // then piece; returns the result for piece.
    int feed(const std::string& prefix, const std::string& piece)
    {
        clearRecvDeviceData();
        if (!prefix.empty())
        {
            EXPECT_EQ(emProtoIncompleteFrame, analyze_DeviceData("3rd-proto", emRequestReadRegister, prefix, kReply1));
        }
        return analyze_DeviceData("3rd-proto", emRequestReadRegister, piece, kReply1);
    }

    std::shared_ptr<ScriptedAnalyzer> analyzer = std::make_shared<ScriptedAnalyzer>();
};

}  // namespace

TEST_F(FacadeDirectPathTest, WhatTheAnalysisLeavesIsKeptAsFromTheBuffer)
{
    // A reply and a trailing frame start: the analysis sees all 27 bytes and
    // keeps what lies past its offset, however the bytes arrived.
    const std::string bytes = kReply + hexBytes("aa 55 00");
    struct Outcome
    {
        int result, offset;
        std::string kept;
    };
    const Outcome outcomes[] = {
        {0, 24, hexBytes("aa 55 00")},
        {0, 5, bytes.substr(5)},
        {0, 27, ""},
        {0, 400, ""},
        {0, -1, ""},
        {0, 0, ""},
        {17, 24, ""},
    };
    for (const Outcome& o : outcomes)
    {
        for (const size_t split : {size_t{0}, size_t{10}})
        {
            SCOPED_TRACE(std::to_string(o.result) + " " + std::to_string(o.offset) + " split " + std::to_string(split));
            analyzer->m_result = o.result;
            analyzer->m_offset = o.offset;
            const int result = feed(bytes.substr(0, split), bytes.substr(split));
            EXPECT_EQ(o.result == 0 && o.offset != 0 ? 0 : 255, result);
            EXPECT_EQ(bytes, analyzer->seen);
            EXPECT_EQ(toHex(o.kept), toHex(m_buffer));
        }
    }
}

TEST_F(FacadeDirectPathTest, PiecesThatMustWaitAndAThrowingAnalysisStayInTheBuffer)
{
    analyzer->doThrow = false;
    EXPECT_EQ(emProtoBadHeader, feed("", hexBytes("55 aa 00")));
    EXPECT_EQ(hexBytes("55 aa 00"), m_buffer);
    EXPECT_EQ(emProtoIncompleteFrame, feed("", kReply.substr(0, 21)));
    EXPECT_EQ(kReply.substr(0, 21), m_buffer);
    for (const size_t split : {size_t{0}, size_t{7}})
    {
        SCOPED_TRACE(split);
        clearRecvDeviceData();
        const std::string prefix = kReply.substr(0, split);
        if (!prefix.empty())
        {
            EXPECT_EQ(emProtoIncompleteFrame, feed("", prefix));
        }
        analyzer->doThrow = true;
        EXPECT_THROW_MSG(analyze_DeviceData("3rd-proto", emRequestReadRegister, kReply.substr(split), kReply1),
                         std::out_of_range, "invalid string position");
        EXPECT_EQ(kReply, m_buffer);
        analyzer->doThrow = false;
    }
}
