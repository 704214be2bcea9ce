// One reply package checked, counted and appended to the reply record, by
// both analyzers.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

namespace
{

using MatchList = std::vector<ST_MSGToHardDriverMatchOne>;
using Logs = std::vector<std::pair<em_LOG_LEVEL, std::string>>;

class StandardProbe : public ProtoAnalyze3rd
{
public:
    using ProtoAnalyze3rd::m_nAlreadyRecievedCount;
    using ProtoAnalyze3rd::m_nSendCount;
};

class VariantProbe : public ProtoAnalyze3rd_Orvane
{
public:
    using ProtoAnalyze3rd_Orvane::m_nAlreadyRecievedCount;
    using ProtoAnalyze3rd_Orvane::m_nSendCount;
};

std::string package(unsigned char label, const std::string& dataHex, unsigned char code = 0, unsigned char ack = 0,
                    int validLength = -1)
{
    FrameFields f;
    f.label = label;
    f.data = hexBytes(dataHex);
    f.readWriteCode = code;
    f.ack = ack;
    f.validLength = validLength;
    return makeFrame(f);
}

std::string badChecksum(std::string frame)
{
    frame.back() = static_cast<char>(frame.back() ^ 0x01);
    return frame;
}

const MatchList kReply1 = {{"AA55", 0}, {"1", 3}, {"0", 0}};

// Each case starts from: offset 10, received 0 of sendCount, a record whose
// data is "ee", length 99 and ack 2.
struct Case
{
    const char* name;
    std::string package;
    MatchList match;
    unsigned int sendCount;
    int result;
    int offset;
    unsigned int received;
    std::string data;
    unsigned long long length;
    int ack;
    Logs logs;
    std::vector<std::string> absent;
};

class CommonProtocolTest : public LogCaptureTest
{
protected:
    template <class Probe>
    void run(const std::vector<Case>& cases)
    {
        for (const Case& c : cases)
        {
            SCOPED_TRACE(c.name);
            Probe probe;
            probe.m_nSendCount = c.sendCount;
            const auto record = probe.getReplyRecord();
            record->data = {0xEE};
            record->validDataLength = 99;
            clearLog();
            int offset = 10;
            EXPECT_EQ(c.result,
                      probe.analyzeDeviceData_ByCommonProtocol(c.package, c.match, emRequestReadRegister, offset));
            EXPECT_EQ(c.offset, offset);
            EXPECT_EQ(c.received, probe.m_nAlreadyRecievedCount);
            EXPECT_EQ(c.data, toHex(std::string(record->data.begin(), record->data.end())));
            EXPECT_EQ(c.length, record->validDataLength);
            EXPECT_EQ(c.ack, record->ack);
            for (const auto& log : c.logs)
            {
                EXPECT_TRUE(logged(log.first, log.second)) << log.second;
            }
            for (const std::string& text : c.absent)
            {
                EXPECT_EQ(0u, count(text)) << text;
            }
        }
    }
};

}  // namespace

TEST_F(CommonProtocolTest, StandardChecksMatchesCountsAndCopies)
{
    const std::string ok = package(1, "01 02 03 04");  // 24 bytes
    const std::string done = "end ! emReadWriteCode[0], validDataLength[4], recv count[1], send count[1], ack[0]]";
    // clang-format off
    const std::vector<Case> cases = {
        {"one element: nothing but the checksum is checked", package(9, "01 02 03 04", 0, 3), {{"FFFF", 5}}, 1, 0, 34,
         1, "ee 01 02 03 04", 5, 3,
         {{ZORV_LOG_TRACE, "m_nAlreadyRecievedCount: 1"},
          {ZORV_LOG_DEBUG, "all sub package is received !"},
          {ZORV_LOG_TRACE, "end ! emReadWriteCode[0], validDataLength[4], recv count[1], send count[1], ack[3]]"}},
         {"label[9], (unsigned char)rawDatagramBuf3[9]."}},
        {"two elements: the label is never compared", ok, {{"AA55", 0}, {"9", 3}}, 1, 0, 34, 1, "ee 01 02 03 04", 5, 0,
         {{ZORV_LOG_TRACE, done}}, {"label[9], (unsigned char)rawDatagramBuf3[1]."}},
        {"three elements: head and label", ok, kReply1, 1, 0, 34, 1, "ee 01 02 03 04", 5, 0,
         {{ZORV_LOG_TRACE, "label[1], (unsigned char)rawDatagramBuf3[1]."}, {ZORV_LOG_TRACE, done}}, {}},
        {"label differs: the other check still runs", ok, {{"AA55", 0}, {"2", 3}, {"0", 0}}, 1, 255, 10, 0, "ee", 99,
         0,
         {{ZORV_LOG_TRACE, "label[2], (unsigned char)rawDatagramBuf3[1]."},
          {ZORV_LOG_WARN, "label != (unsigned char)rawDatagramBuf[3]"},
          {ZORV_LOG_INFO, "msgType[0], matchCount[1]."}},
         {"m_nAlreadyRecievedCount: 1"}},
        {"four elements never pass", ok, {{"AA55", 0}, {"1", 3}, {"x", 0}, {"y", 0}}, 1, 255, 10, 0, "ee", 99, 0,
         {{ZORV_LOG_INFO, "msgType[0], matchCount[2]."}}, {}},
        {"head only before posWanted", ok, {{"AA55", 1}, {"1", 3}, {"0", 0}}, 1, 255, 10, 0, "ee", 99, 0,
         {{ZORV_LOG_INFO, "rawDatagramBuf,byteKey,posWanted:1"}, {ZORV_LOG_INFO, "msgType[0], matchCount[1]."}}, {}},
        {"key found after posWanted", ok, {{"0304", 5}, {"1", 3}, {"0", 0}}, 1, 0, 34, 1, "ee 01 02 03 04", 5, 0, {},
         {"rawDatagramBuf,byteKey,posWanted:5"}},
        {"checksum wrong, ack kept", badChecksum(package(1, "01", 0, 6)), kReply1, 1, 12, 10, 0, "ee", 99, 6,
         {{ZORV_LOG_INFO, "match crc error, msgType[0], offset valid[10]."}},
         {"label[1], (unsigned char)rawDatagramBuf3[1]."}},
        {"code 2 is counted before it is rejected", package(1, "01", 2), kReply1, 1, 7, 31, 1, "ee", 99, 0,
         {{ZORV_LOG_TRACE, "m_nAlreadyRecievedCount: 1"}, {ZORV_LOG_WARN, "error ReadWrite Type :2"}},
         {"all sub package is received !"}},
        {"code 0xff reads as -1", package(1, "", 0xFF), kReply1, 1, 7, 30, 1, "ee", 99, 0,
         {{ZORV_LOG_WARN, "error ReadWrite Type :-1"}}, {}},
        {"write reply empties the data", package(1, "", 1), kReply1, 1, 0, 30, 1, "", 0, 0,
         {{ZORV_LOG_TRACE, "end ! emReadWriteCode[1], validDataLength[0], recv count[1], send count[1], ack[0]]"}}, {}},
        {"declared length beyond the data", package(1, "01 02 03 04 05", 0, 0, 10), kReply1, 1, 0, 35, 1,
         "ee 01 02 03 04 05", 6, 0,
         {{ZORV_LOG_TRACE, "end ! emReadWriteCode[0], validDataLength[10], recv count[1], send count[1], ack[0]]"}},
         {}},
        {"zero length read", package(1, ""), kReply1, 1, 0, 30, 1, "ee", 1, 0, {}, {}},
        {"transfer not yet complete", ok, kReply1, 2, 0, 34, 1, "ee 01 02 03 04", 5, 0,
         {{ZORV_LOG_TRACE, "end ! emReadWriteCode[0], validDataLength[4], recv count[1], send count[2], ack[0]]"}},
         {"all sub package is received !"}},
    };
    // clang-format on
    run<StandardProbe>(cases);
}

TEST_F(CommonProtocolTest, VariantDiffersInCodesCopyAndLength)
{
    const std::string ok = package(1, "01 02 03 04");
    // clang-format off
    const std::vector<Case> cases = {
        {"checksum wrong", badChecksum(package(1, "01", 0, 6)), kReply1, 1, 10, 10, 0, "ee", 99, 6,
         {{ZORV_LOG_INFO, "msgType[0], offset valid[10]."}}, {}},
        {"label differs fails at once", ok, {{"AA55", 0}, {"2", 3}, {"0", 0}}, 1, 19, 10, 0, "ee", 99, 0,
         {{ZORV_LOG_WARN, "label != (unsigned char)rawDatagramBuf[3]"}}, {"msgType[0], matchCount[1]."}},
        {"head not found", ok, {{"AA55", 1}, {"1", 3}, {"0", 0}}, 1, 255, 10, 0, "ee", 99, 0,
         {{ZORV_LOG_INFO, "rawDatagramBuf:,byteKey:,posWanted:1"},
          {ZORV_LOG_TRACE, "AA 55"},
          {ZORV_LOG_INFO, "msgType[0], matchCount[1]."}},
         {}},
        {"any read/write code is copied", package(1, "01 02 03 04", 2), kReply1, 1, 0, 34, 1, "ee 01 02 03 04", 4, 0,
         {{ZORV_LOG_TRACE, "operation code[2], validDataLength[4], recv count[1], send count[1], ack[0]"}},
         {"m_nAlreadyRecievedCount: 1", "all sub package is received !"}},
        {"a write reply keeps the data", package(1, "01 02", 1), kReply1, 1, 0, 32, 1, "ee 01 02", 2, 0, {}, {}},
        {"declared length beyond the data", package(1, "01 02 03", 0, 0, 10), kReply1, 1, 0, 33, 1, "ee 01 02 03", 3,
         0, {{ZORV_LOG_TRACE, "operation code[0], validDataLength[10], recv count[1], send count[1], ack[0]"}}, {}},
        {"length is written only on completion", ok, kReply1, 2, 0, 34, 1, "ee 01 02 03 04", 99, 0, {}, {}},
        // Data bytes 12 and 11 of the record, each sign-extended.
        {"argument bytes sign-extended", package(1, "00 01 02 03 04 05 06 07 08 09 0a 80"), kReply1, 1, 0, 42, 1,
         "ee 00 01 02 03 04 05 06 07 08 09 0a 80", 12, 0, {{ZORV_LOG_TRACE, "\n Arg1:FFFFFF800A\n"}}, {}},
        {"argument bytes below 0x80", package(1, "00 01 02 03 04 05 06 07 08 09 34 12"), kReply1, 1, 0, 42, 1,
         "ee 00 01 02 03 04 05 06 07 08 09 34 12", 12, 0, {{ZORV_LOG_TRACE, "\n Arg1:1234\n"}}, {}},
        {"twelve data bytes, no argument line", package(1, "00 01 02 03 04 05 06 07 08 09 0a"), kReply1, 1, 0, 41, 1,
         "ee 00 01 02 03 04 05 06 07 08 09 0a", 11, 0, {}, {"\n Arg1:0A09\n"}},
    };
    // clang-format on
    run<VariantProbe>(cases);
}

TEST_F(CommonProtocolTest, VariantLengthIsTheLastPackageOfTheTransfer)
{
    VariantProbe probe;
    probe.m_nSendCount = 3;
    const auto record = probe.getReplyRecord();
    const char* const parts[] = {"01 02 03 04", "05 06 07 08 09", "0a 0b"};
    const unsigned long long lengths[] = {0, 0, 2};
    int offset = 0;
    for (int i = 0; i < 3; ++i)
    {
        SCOPED_TRACE(i);
        EXPECT_EQ(emProtoSuccess, probe.analyzeDeviceData_ByCommonProtocol(package(1, parts[i]), kReply1,
                                                                           emRequestReadRegister, offset));
        EXPECT_EQ(lengths[i], record->validDataLength);
    }
    EXPECT_EQ(71, offset);
    EXPECT_EQ("01 02 03 04 05 06 07 08 09 0a 0b", toHex(std::string(record->data.begin(), record->data.end())));
}
