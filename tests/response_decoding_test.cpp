// Reply records from requests and device frames, and the acknowledgement of a
// device report: initReplyRecord, getThirdGenerationCommResponseData,
// getResponseDataFromDeviceReport and getDeviceReportDataToProtoResponse.
#include "analyzers/ProtoAnalyze3rd.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <cstdio>

namespace
{

using Record = INTER_ST::ThirdGenerationCommResponse_Data;

const char* const kDecodeSig =
    "void __cdecl ProtoBase::getThirdGenerationCommResponseData(const class std::basic_string<char,struct "
    "std::char_traits<char>,class std::allocator<char> > &,unsigned char &,class std::shared_ptr<class "
    "INTER_ST::ThirdGenerationCommResponse_Data>)";
const char* const kAnswerSig =
    "void __cdecl ProtoBase::getResponseDataFromDeviceReport(const class std::basic_string<char,struct "
    "std::char_traits<char>,class std::allocator<char> > &,unsigned char,class std::shared_ptr<class "
    "std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> > >)";
const char* const kReportSig =
    "void __cdecl ProtoBase::getDeviceReportDataToProtoResponse(const class std::basic_string<char,struct "
    "std::char_traits<char>,class std::allocator<char> > &,unsigned char,struct ST_DeviceAutoReportResponseInfo &)";

std::string bytesOf(const std::vector<unsigned char>& v)
{
    return toHex(std::string(v.begin(), v.end()));
}

// Every member of a record on one line, for comparing whole records.
std::string describe(const Record& r)
{
    char head[160];
    std::snprintf(head, sizeof head, "%02x%02x ack=%u label=%u addr=%02x,%02x dev=%02x b7=%02x rw=%u pt=%02x len=%llu",
                  r.head[0], r.head[1], r.ack, r.label, r.firstAddr, r.secondAddr, r.deviceType, r.frameByte7,
                  r.readWriteCode, r.packetType, r.validDataLength);
    return std::string(head) + " scan=[" + bytesOf(r.scanBoardAddr) + "] reg=[" + bytesOf(r.registerAddr) + "] data=[" +
           bytesOf(r.data) + "] chk=[" + bytesOf(r.checkout) + "]";
}

// A device report with every header byte distinct.
FrameFields reportFields(unsigned char ack, unsigned char readWriteCode, const std::string& data)
{
    FrameFields f;
    f.head0 = 0x55;
    f.head1 = 0xAA;
    f.ack = ack;
    f.label = 0x09;
    f.firstAddr = 0x11;
    f.secondAddr = 0x22;
    f.deviceType = 0x33;
    f.byte7 = 0x44;
    f.scan0 = 0x55;
    f.scan1 = 0x66;
    f.readWriteCode = readWriteCode;
    f.packetType = 0x77;
    f.registerAddr = 0x8899AABB;
    f.data = data;
    return f;
}

class ResponseDecodingTest : public LogCaptureTest
{
protected:
    ProtoAnalyze3rd proto;
};

TEST_F(ResponseDecodingTest, InitReplyRecordStartsAFreshRecordWithTheAddressBytesCrossed)
{
    const std::shared_ptr<Record> previous = proto.getReplyRecord();
    previous->label = 99;
    INTER_ST::ThirdGenerationCommRequest_Data request;
    request.firstAddr = 0x11;
    request.secondAddr = 0x22;
    request.deviceType = 0x33;
    request.frameByte7 = 0x44;
    request.readWriteCode = 1;
    request.packetType = 0x77;
    request.scanBoardAddr = {0x55, 0x66, 0x67};
    request.registerAddr = {1, 2, 3, 4};
    request.validLength = 40;
    request.data = {9, 9};
    proto.initReplyRecord(&request);
    const std::shared_ptr<Record> fresh = proto.getReplyRecord();
    ASSERT_NE(previous, fresh);
    EXPECT_EQ(99, previous->label);
    EXPECT_EQ("aa55 ack=2 label=0 addr=22,11 dev=33 b7=44 rw=1 pt=77 len=0 scan=[55 66 67] reg=[01 02 03 04] data=[] "
              "chk=[]",
              describe(*fresh));
}

TEST_F(ResponseDecodingTest, DecodingFillsTheRecordFromTheFrame)
{
    // A read whose payload outgrows the 8-bit byte position: after 238 bytes
    // the copy goes on from the frame's first bytes.
    std::string payload;
    for (int i = 0; i < 384; ++i)
    {
        payload += static_cast<char>(i);
    }
    const std::string wide = makeFrame(reportFields(7, 0, payload));
    const std::string wrapped = wide.substr(18, 238) + wide.substr(0, 146);
    FrameFields shortOfLength = reportFields(7, 0, "abcde");
    shortOfLength.validLength = 10;
    FrameFields signedLow = reportFields(7, 1, "");
    signedLow.validLength = 0x80;
    struct Case
    {
        const char* name;
        std::string frame;
        const char* record; // the members after b7=
        std::string data;
        const char* warning;
    };
    const Case cases[] = {
        {"read with data", makeFrame(reportFields(7, 0, "abc")), "rw=0 pt=77 len=3", "abc", nullptr},
        {"length beyond the frame copies what is there", makeFrame(shortOfLength), "rw=0 pt=77 len=10", "abcde",
         nullptr},
        {"write carries no data", makeFrame(reportFields(7, 1, "abc")), "rw=1 pt=77 len=3", "",
         "unknown write package has no data! protoBuffer[10] code :1 "},
        {"unknown code carries no data", makeFrame(reportFields(7, 0x87, "abc")), "rw=135 pt=77 len=3", "",
         "unknown em_OperationCodeType :135 "},
        {"low length byte 0x80 is taken signed", makeFrame(signedLow), "rw=1 pt=77 len=4294967168", "",
         "unknown write package has no data! protoBuffer[10] code :1 "},
        // 384 is 0x0180: the stated length is 128 under the signed rule,
        // while the copy runs to the unsigned 384.
        {"payload past 238 bytes wraps", wide, "rw=0 pt=77 len=128", wrapped, nullptr},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        auto record = std::make_shared<Record>();
        unsigned char ack = 200;
        proto.getThirdGenerationCommResponseData(c.frame, ack, record);
        EXPECT_EQ(7, ack);
        const std::string expected = std::string("aa55 ack=7 label=9 addr=11,22 dev=33 b7=44 ") + c.record +
                                     " scan=[55 66] reg=[bb aa 99 88] data=[" + toHex(c.data) + "] chk=[]";
        EXPECT_EQ(expected, describe(*record));
        ASSERT_EQ(c.warning ? 1u : 0u, records().size());
        if (c.warning)
        {
            EXPECT_TRUE(logged(ZORV_LOG_WARN, c.warning));
            EXPECT_EQ(kDecodeSig, records()[0].signature);
        }
    }
}

TEST_F(ResponseDecodingTest, DecodingAppendsToTheRecordsVectors)
{
    auto record = std::make_shared<Record>();
    record->scanBoardAddr = {1};
    record->registerAddr = {2};
    unsigned char ack = 0;
    proto.getThirdGenerationCommResponseData(makeFrame(reportFields(0, 0, "")), ack, record);
    EXPECT_EQ("01 55 66", bytesOf(record->scanBoardAddr));
    EXPECT_EQ("02 bb aa 99 88", bytesOf(record->registerAddr));
}

TEST_F(ResponseDecodingTest, ShortFrameLeavesRecordAndAckUntouched)
{
    auto record = std::make_shared<Record>();
    unsigned char ack = 200;
    proto.getThirdGenerationCommResponseData(makeFrame(reportFields(7, 0, "")).substr(0, 19), ack, record);
    EXPECT_EQ(200, ack);
    EXPECT_EQ(describe(Record()), describe(*record));
    const zorvlog::LogRecord line = find(" invalid package , size is [19] ");
    EXPECT_EQ(ZORV_LOG_WARN, line.level);
    EXPECT_EQ(kDecodeSig, line.signature);
}

TEST_F(ResponseDecodingTest, AcknowledgementEchoesTheReportWithAddressBytesCrossed)
{
    const std::string report = makeFrame(reportFields(7, 0, "abc"));
    struct Case
    {
        const char* name;
        std::string report;
        unsigned char ack;
        const char* answer;
    };
    const Case cases[] = {
        {"ack 0", report, 0, "aa 55 00 09 22 11 33 44 55 66 00 77 bb aa 99 88 00 00 c0 59"},
        {"non-zero ack sends 2", report, 5, "aa 55 02 09 22 11 33 44 55 66 00 77 bb aa 99 88 00 00 c2 59"},
        {"short report", report.substr(0, 19), 0, "aa 55 02 00 fe ff 00 00 00 00 01 00 00 00 00 00 00 00 55 57"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        auto answer = std::make_shared<std::string>(30, 'x');
        proto.getResponseDataFromDeviceReport(c.report, c.ack, answer);
        EXPECT_EQ(c.answer, toHex(*answer));
        const bool isShort = c.report.size() < 20;
        ASSERT_EQ(isShort ? 1u : 0u, records().size());
        if (isShort)
        {
            EXPECT_TRUE(logged(ZORV_LOG_WARN, " invalid package , size is [19] "));
            EXPECT_EQ(kAnswerSig, records()[0].signature);
        }
    }
}

TEST_F(ResponseDecodingTest, ReportInfoTakesItsAckFromTheReport)
{
    const std::string report = makeFrame(reportFields(0, 0, ""));
    struct Case
    {
        const char* name;
        std::string report;
        int ack;
        std::string record;
        const char* answer;
    };
    const Case cases[] = {
        {"whole report replaces the caller's 255", report, 0,
         "aa55 ack=0 label=9 addr=11,22 dev=33 b7=44 rw=0 pt=77 len=0 scan=[55 66] reg=[bb aa 99 88] data=[] chk=[]",
         "aa 55 00 09 22 11 33 44 55 66 00 77 bb aa 99 88 00 00 c0 59"},
        {"short report keeps 255", report.substr(0, 19), 255, describe(Record()),
         "aa 55 02 00 fe ff 00 00 00 00 01 00 00 00 00 00 00 00 55 57"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        ST_DeviceAutoReportResponseInfo info;
        const auto stale = std::make_shared<Record>();
        info.response = stale;
        proto.getDeviceReportDataToProtoResponse(c.report, 255, info);
        EXPECT_EQ(c.ack, info.ack);
        ASSERT_TRUE(info.response && info.answer);
        EXPECT_NE(stale, info.response);
        EXPECT_EQ(c.record, describe(*info.response));
        EXPECT_EQ(c.answer, toHex(*info.answer));
        EXPECT_TRUE(info.reserved.empty());
        ASSERT_FALSE(records().empty());
        const zorvlog::LogRecord last = records().back();
        EXPECT_EQ(ZORV_LOG_TRACE, last.level);
        EXPECT_EQ("convertDeviceReportDataToProtoResponse end. ", last.message);
        EXPECT_EQ(kReportSig, last.signature);
    }
}

} // namespace
