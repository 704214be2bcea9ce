// Pushed reports of the variant devices: decoding into a record, the 38-byte
// acknowledgement, the packet-count warnings and the offset arithmetic.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

namespace
{
// A pushed report: label 42, addresses 0a 0b, code 10, packet type 32,
// length 20 (an 18-byte sub-header with packet sum 1 and sequence 0, then
// 5a 6b), checksum a2 58.
const char* const kPush = "55 aa 00 42 0a 0b 0c 0d 0e 0f 10 32 01 02 03 04 14 00"
                          " 02 00 77 01 00 00 00 00 00 00 00 88 00 00 00 00 99 00 5a 6b a2 58";
const char* const kPushAck = "aa 55 00 42 0b 0a 0c 0d 0e 0f 10 32 01 02 03 04 12 00"
                             " 02 00 77 01 00 00 00 00 00 00 00 88 00 00 00 00 99 00 db 57";
const char* const kInvalidAck = "aa 55 02 00 fe ff 00 00 00 00 01 00 00 00 00 00 00 00"
                                " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 55 57";
const char* const kSubHeader = "02 00 77 01 00 00 00 00 00 00 00 88 00 00 00 00 99 00";
// U+FF0C, the full-width comma of the count line.
const std::string kCountLine = "recv a  auto report package!\xEF\xBC\x8C" "nPacketSum =";

std::string countLine(const char* values)
{
    return kCountLine + values;
}

std::string withCounts(unsigned int packetSum, unsigned int sequence)
{
    std::string f = hexBytes(kPush);
    for (int i = 0; i < 4; ++i)
    {
        f[21 + i] = static_cast<char>(packetSum >> (8 * i));
        f[25 + i] = static_cast<char>(sequence >> (8 * i));
    }
    return f;
}

std::string bytesHex(const std::vector<unsigned char>& v)
{
    return toHex(std::string(v.begin(), v.end()));
}

using Lines = std::vector<std::pair<em_LOG_LEVEL, std::string>>;
} // namespace

class PushDataTest : public LogCaptureTest
{
protected:
    Lines lines() const
    {
        Lines out;
        for (const zorvlog::LogRecord& r : records())
        {
            out.emplace_back(r.level, r.message);
        }
        return out;
    }

    ProtoAnalyze3rd_Orvane variant;
};

TEST_F(PushDataTest, DecodesPushedFrameIntoRecordAndAcknowledgement)
{
    std::vector<ST_DeviceAutoReportResponseInfo> reports(1);
    unsigned long long offset = 0;
    EXPECT_EQ(emProtoSuccess, variant.analyze_DeviceReportPushData(reports, hexBytes(kPush), offset));
    EXPECT_EQ(40u, offset);
    ASSERT_EQ(2u, reports.size());
    ASSERT_TRUE(reports[1].response && reports[1].answer);
    EXPECT_EQ(kPushAck, toHex(*reports[1].answer));
    const INTER_ST::ThirdGenerationCommResponse_Data& r = *reports[1].response;
    EXPECT_EQ("aa 55 00 42 0a 0b 0c 0d", toHex(std::string{char(r.head[0]), char(r.head[1]), char(r.ack), char(r.label),
                                                         char(r.firstAddr), char(r.secondAddr), char(r.deviceType),
                                                         char(r.frameByte7)}));
    EXPECT_EQ("0e 0f", bytesHex(r.scanBoardAddr));
    EXPECT_EQ(0x10, r.readWriteCode);
    EXPECT_EQ(0x32, r.packetType);
    EXPECT_EQ("01 02 03 04", bytesHex(r.registerAddr));
    EXPECT_EQ(20u, r.validDataLength);
    EXPECT_EQ(std::string(kSubHeader) + " 5a 6b", bytesHex(r.data));
    EXPECT_EQ("a2 58", bytesHex(r.checkout));
    const Lines expected{{ZORV_LOG_DEBUG, countLine("1,nPacketSequeseNum:0")},
                         {ZORV_LOG_TRACE, "operation emCode[16], nLen:[20], nOffSet[40],recv nDataIndex"}};
    EXPECT_EQ(expected, lines());
}

TEST_F(PushDataTest, PacketCountWarningsOnlyLog)
{
    struct Case
    {
        unsigned int packetSum;
        unsigned int sequence;
        const char* values;
        const char* warning;  // or nullptr
    };
    const Case cases[] = {
        {1, 0, "1,nPacketSequeseNum:0", nullptr},
        {1, 1, "1,nPacketSequeseNum:1", "recv a error auto report package!"},
        {1, 0x01000000, "1,nPacketSequeseNum:16777216", "recv a error auto report package!"},
        {0, 0, "0,nPacketSequeseNum:0", "recv a error auto report package !"},
        {0, 3, "0,nPacketSequeseNum:3", "recv a error auto report package !"},
        {2, 5, "2,nPacketSequeseNum:5", nullptr},
        {0xFFFFFFFF, 2, "-1,nPacketSequeseNum:2", nullptr},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.values);
        clearLog();
        std::vector<ST_DeviceAutoReportResponseInfo> reports;
        unsigned long long offset = 0;
        const std::string buffer = withCounts(c.packetSum, c.sequence);
        EXPECT_EQ(emProtoSuccess, variant.analyze_DeviceReportPushData(reports, buffer, offset));
        EXPECT_EQ(1u, reports.size());
        EXPECT_EQ(40u, offset);
        Lines expected{{ZORV_LOG_DEBUG, countLine(c.values)}};
        if (c.warning)
        {
            expected.emplace_back(ZORV_LOG_WARN, c.warning);
        }
        expected.emplace_back(ZORV_LOG_TRACE, "operation emCode[16], nLen:[20], nOffSet[40],recv nDataIndex");
        EXPECT_EQ(expected, lines());
    }
}

TEST_F(PushDataTest, ShortOverlongAndOffsetFramesStayInBounds)
{
    std::string overlong = hexBytes(kPush);
    overlong[16] = 100;
    overlong.resize(25);
    std::string nonZeroAck = hexBytes(kPush);
    nonZeroAck[2] = 7;
    struct Case
    {
        const char* name;
        std::string buffer;
        unsigned long long offset;
        unsigned long long offsetAfter;
        const char* data;
        const char* checkout;
        const char* answer;
        Lines log;
    };
    const std::string op = "operation emCode[";
    const Case cases[] = {
        {"20-byte frame answers with the error frame",
         hexBytes("55 aa 00 05 00 00 00 00 00 00 00 00 00 00 00 00 00 00 5a 55"), 0, 20, "", "5a 55", kInvalidAck,
         {{ZORV_LOG_DEBUG, countLine("0,nPacketSequeseNum:0")},
          {ZORV_LOG_WARN, "recv a error auto report package !"},
          {ZORV_LOG_WARN, " invalid package , size is [20] "},
          {ZORV_LOG_TRACE, op + "0], nLen:[0], nOffSet[20],recv nDataIndex"}}},
        {"missing count bytes read as zero",
         hexBytes("55 aa 00 05 00 00 00 00 00 00 80 00 00 00 00 00 05 00 aa bb cc 05 01"), 0, 25, "aa bb cc 05 01", "",
         kInvalidAck,
         {{ZORV_LOG_DEBUG, countLine("261,nPacketSequeseNum:0")},
          {ZORV_LOG_WARN, " invalid package , size is [23] "},
          {ZORV_LOG_TRACE, op + "-128], nLen:[5], nOffSet[25],recv nDataIndex"}}},
        {"declared length past the end stops there", overlong, 0, 120, "02 00 77 01 00 00 00", "", kInvalidAck,
         {{ZORV_LOG_DEBUG, countLine("1,nPacketSequeseNum:0")},
          {ZORV_LOG_WARN, " invalid package , size is [25] "},
          {ZORV_LOG_TRACE, op + "16], nLen:[100], nOffSet[120],recv nDataIndex"}}},
        {"exactly 38 bytes are answered", hexBytes(kPush).substr(0, 38), 0, 40,
         "02 00 77 01 00 00 00 00 00 00 00 88 00 00 00 00 99 00 5a 6b", "", kPushAck,
         {{ZORV_LOG_DEBUG, countLine("1,nPacketSequeseNum:0")},
          {ZORV_LOG_TRACE, op + "16], nLen:[20], nOffSet[40],recv nDataIndex"}}},
        {"ack byte 7 only warns", nonZeroAck, 0, 40, "02 00 77 01 00 00 00 00 00 00 00 88 00 00 00 00 99 00 5a 6b",
         "a2 58", kPushAck,
         {{ZORV_LOG_DEBUG, countLine("1,nPacketSequeseNum:0")},
          {ZORV_LOG_WARN, "ack != 0 !"},
          {ZORV_LOG_TRACE, op + "16], nLen:[20], nOffSet[40],recv nDataIndex"}}},
        // Counts and ack come from the buffer's start, the length from package
        // index offset + 16 (buffer bytes 21, 22 = 01 00), the rest from the package.
        {"offset is counted twice for the length", hexBytes("01 02 09 03 04") + hexBytes(kPush), 5, 26, "02", "00 77",
         kPushAck,
         {{ZORV_LOG_DEBUG, countLine("131092,nPacketSequeseNum:375")},
          {ZORV_LOG_WARN, "ack != 0 !"},
          {ZORV_LOG_TRACE, op + "16], nLen:[1], nOffSet[26],recv nDataIndex"}}},
        {"offset past the end gives an empty package", hexBytes(kPush), 100, 120, "", "", kInvalidAck,
         {{ZORV_LOG_DEBUG, countLine("1,nPacketSequeseNum:0")},
          {ZORV_LOG_WARN, " invalid package , size is [0] "},
          {ZORV_LOG_TRACE, op + "0], nLen:[0], nOffSet[120],recv nDataIndex"}}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        std::vector<ST_DeviceAutoReportResponseInfo> reports;
        unsigned long long offset = c.offset;
        EXPECT_EQ(emProtoSuccess, variant.analyze_DeviceReportPushData(reports, c.buffer, offset));
        EXPECT_EQ(c.offsetAfter, offset);
        ASSERT_EQ(1u, reports.size());
        EXPECT_EQ(c.data, bytesHex(reports[0].response->data));
        EXPECT_EQ(c.checkout, bytesHex(reports[0].response->checkout));
        EXPECT_EQ(c.answer, toHex(*reports[0].answer));
        EXPECT_EQ(c.log, lines());
    }
}

TEST_F(PushDataTest, AcknowledgementFlagAndLengthBoundary)
{
    struct Case
    {
        const char* name;
        std::string package;
        unsigned char flag;
        const char* expected;
        size_t logLines;
    };
    const Case cases[] = {
        {"non-zero flag answers 2", hexBytes(kPush), 1,
         "aa 55 02 42 0b 0a 0c 0d 0e 0f 10 32 01 02 03 04 12 00"
         " 02 00 77 01 00 00 00 00 00 00 00 88 00 00 00 00 99 00 dd 57",
         0},
        {"38 bytes are enough", hexBytes(kPush).substr(0, 38), 0, kPushAck, 0},
        {"37 bytes are not", hexBytes(kPush).substr(0, 37), 0, kInvalidAck, 1},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        auto answer = std::make_shared<std::string>(50, '\x7f');
        variant.getResponseDataFromDeviceReport(c.package, c.flag, answer);
        EXPECT_EQ(c.expected, toHex(*answer));
        EXPECT_EQ(c.logLines, records().size());
    }
    EXPECT_TRUE(logged(ZORV_LOG_WARN, " invalid package , size is [37] "));
}

TEST_F(PushDataTest, StandardAnalyzerIgnoresPushedFrames)
{
    ProtoAnalyze3rd standard;
    std::vector<ST_DeviceAutoReportResponseInfo> reports(1);
    unsigned long long offset = 7;
    EXPECT_EQ(emProtoSuccess, standard.analyze_DeviceReportPushData(reports, hexBytes(kPush), offset));
    EXPECT_EQ(7u, offset);
    EXPECT_EQ(1u, reports.size());
    EXPECT_EQ(nullptr, reports[0].response);
    EXPECT_TRUE(records().empty());
}
