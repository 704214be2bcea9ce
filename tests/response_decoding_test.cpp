// Reply records: defaults, copies, preparation, decoding and acknowledgement.
#include "analyzers/ProtoAnalyze3rd.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <cstdio>

using Record = INTER_ST::ThirdGenerationCommResponse_Data;
using ResponseDecodingTest = LogCaptureTest;

// Every member of a record on one line.
static std::string describe(const Record& r)
{
    const auto hex = [](const std::vector<unsigned char>& v) { return toHex(std::string(v.begin(), v.end())); };
    char head[160];
    std::snprintf(head, sizeof head, "%02x%02x ack=%u label=%u addr=%02x,%02x dev=%02x b7=%02x rw=%u pt=%02x len=%llu",
                  r.head[0], r.head[1], r.ack, r.label, r.firstAddr, r.secondAddr, r.deviceType, r.frameByte7,
                  r.readWriteCode, r.packetType, r.validDataLength);
    return std::string(head) + " scan=[" + hex(r.scanBoardAddr) + "] reg=[" + hex(r.registerAddr) + "] data=[" +
           hex(r.data) + "] chk=[" + hex(r.checkout) + "]";
}

// A sealed device report with distinct header bytes.
static std::string report(unsigned char ack, unsigned char code, int length, const std::string& data)
{
    return makeFrame({0x55, 0xAA, ack, 9, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, code, 0x77, 0x8899aabb, data, length});
}

TEST_F(ResponseDecodingTest, InitReplyRecordStartsAFreshRecordWithTheAddressBytesCrossed)
{
    ProtoAnalyze3rd proto;
    const std::shared_ptr<Record> previous = proto.getReplyRecord();
    const INTER_ST::ThirdGenerationCommRequest_Data request{0x11, 0x22,         0x33, {0x55}, 0x44,
                                                            1,    {1, 2, 3, 4}, 40,   {9},    0x77};
    proto.initReplyRecord(&request);
    EXPECT_NE(previous, proto.getReplyRecord());
    EXPECT_EQ("aa55 ack=2 label=0 addr=22,11 dev=33 b7=44 rw=1 pt=77 len=0 scan=[55] reg=[01 02 03 04] data=[] chk=[]",
              describe(*proto.getReplyRecord()));
}

TEST_F(ResponseDecodingTest, DecodingAppendsTheFrameToTheRecordWithItsQuirksAndCopiesCarryEveryMember)
{
    const std::string wide = report(7, 0x00, 0x180, std::string(384, 'x'));
    const std::string head = "aa55 ack=7 label=9 addr=11,22 dev=33 b7=44 rw=";
    const std::string tail = " scan=[01 55 66] reg=[01 bb aa 99 88] data=[";
    const std::string noData = "] chk=[01]";
    // clang-format off
    const std::tuple<const char*, std::string, std::string, std::string> cases[] = {
        {"length beyond the frame copies what is there", report(7, 0x00, 0x0a, "abcde"),
         head + "0 pt=77 len=10" + tail + "61 62 63 64 65" + noData, ""},
        {"write carries no data", report(7, 0x01, 0x03, "abc"), head + "1 pt=77 len=3" + tail + noData,
         "unknown write package has no data! protoBuffer[10] code :1 "},
        {"unknown code carries no data", report(7, 0x87, 0x03, "abc"), head + "135 pt=77 len=3" + tail + noData,
         "unknown em_OperationCodeType :135 "},
        {"low length byte 0x80 is taken signed", report(7, 0x01, 0x80, ""),
         head + "1 pt=77 len=4294967168" + tail + noData,
         "unknown write package has no data! protoBuffer[10] code :1 "},
        // 0x0180 states 128 under the signed rule while 384 bytes are copied,
        // the 8-bit position wrapping to the frame's start after 238 of them.
        {"payload past 238 bytes wraps", wide,
         head + "0 pt=77 len=128" + tail + toHex(wide.substr(18, 238) + wide.substr(0, 146)) + noData, ""},
        {"short frame leaves the default record", wide.substr(0, 19),
         "0000 ack=2 label=0 addr=00,00 dev=00 b7=00 rw=0 pt=00 len=0 scan=[01] reg=[01] data=[] chk=[01]",
         " invalid package , size is [19] "},
    };
    // clang-format on
    for (const auto& [name, frame, expected, warning] : cases)
    {
        SCOPED_TRACE(name);
        clearLog();
        auto record = std::make_shared<Record>();
        record->scanBoardAddr = record->registerAddr = record->checkout = {1};
        unsigned char ack = 200;
        ProtoAnalyze3rd().getThirdGenerationCommResponseData(frame, ack, record);
        EXPECT_EQ(frame.size() < 20 ? 200 : 7, ack);
        Record copy(*record), assigned;
        assigned = copy;
        copy.data.clear();  // copies share no vector
        EXPECT_EQ(expected, describe(*record));
        EXPECT_EQ(expected, describe(assigned));
        EXPECT_TRUE(warning.empty() ? records().empty() : records().size() == 1 && logged(ZORV_LOG_WARN, warning));
    }
}

TEST_F(ResponseDecodingTest, ReportInfoCarriesTheReportsAckAndTheTwentyByteAcknowledgement)
{
    const std::string bad = "3  invalid package , size is [19] |",
                      end = "0 convertDeviceReportDataToProtoResponse end. |";
    // clang-format off
    const std::tuple<std::string, int, const char*> cases[] = {
        {report(0, 0x00, 0x00, ""), 0, "aa 55 00 09 22 11 33 44 55 66 00 77 bb aa 99 88 00 00 c0 59"},
        {report(5, 0x00, 0x00, ""), 5, "aa 55 02 09 22 11 33 44 55 66 00 77 bb aa 99 88 00 00 c2 59"},
        {report(0, 0x00, 0x00, "").substr(0, 19), 255,
         "aa 55 02 00 fe ff 00 00 00 00 01 00 00 00 00 00 00 00 55 57"},
    };
    // clang-format on
    for (const auto& [frame, ack, answer] : cases)
    {
        SCOPED_TRACE(answer);
        clearLog();
        ST_DeviceAutoReportResponseInfo info;
        ProtoAnalyze3rd().getDeviceReportDataToProtoResponse(frame, 255, info);
        ASSERT_TRUE(info.response && info.answer);
        EXPECT_EQ(std::make_tuple(ack, ack == 255 ? 2 : ack, std::string(answer)),
                  std::make_tuple(info.ack, static_cast<int>(info.response->ack), toHex(*info.answer)));
        EXPECT_EQ((ack == 255 ? bad + bad : "") + end, transcript());
    }
}
