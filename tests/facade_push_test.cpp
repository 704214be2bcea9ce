// Frames devices send of their own accord: classified, split into reports, decoded and acknowledged.
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "protostub/ProtoStub.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/SplitRunner.h"
#include "support/Throws.h"

#include <ostream>

namespace
{
using Reports = std::vector<ST_DeviceAutoReportResponseInfo>;
const char* const kR1 = "55 aa 00 07 01 02 03 04 05 06 00 00 10 00 00 00 00 00 81 55";
const char* const kR2 = "55 aa 05 20 11 22 33 44 55 66 00 01 10 20 30 40 02 00 ab cd fa 58";
const char* const kBroken = "55 aa 00 09 01 02 03 04 05 06 00 00 10 00 00 00 00 00 00 00";
// Pushed: label 42, addresses 0a 0b, code 10, type 32, length 20: sub-header (sum 1, sequence 0), 5a 6b.
const std::string kPush = hexBytes("55 aa 00 42 0a 0b 0c 0d 0e 0f 10 32 01 02 03 04 14 00 02 00 77 01 00 00 00 00 00 "
                                   "00 00 88 00 00 00 00 99 00 5a 6b a2 58");
const char* const kPushAck = "aa 55 00 42 0b 0a 0c 0d 0e 0f 10 32 01 02 03 04 12 00 02 00 77 01 00 00 00 00 00 00 00 "
                             "88 00 00 00 00 99 00 db 57";
const char* const kPushError = "aa 55 02 00 fe ff 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                               "00 00 00 00 00 00 00 00 55 57";
// Two blanks after "recv a", a full-width comma (U+FF0C) before nPacketSum.
const std::string kCount = "1 recv a  auto report package!\uFF0CnPacketSum =";

// size bytes: the head, then zeros but the code (byte 10), the packet type (11) and the length (16, 17).
std::string frame(const char* head, size_t size, unsigned char code = 0, unsigned char type = 0, unsigned len = 0)
{
    return (hexBytes(head) + std::string(8, '\0') + char(code) + char(type) + std::string(4, '\0') + char(len & 0xFF) +
            char(len >> 8) + std::string(size, '\0'))
        .substr(0, size);
}

// What the two tests make of a buffer: isGeneralThirdPackage's answer and frameLen; isAutoPushThirdPackage's
// result, frameLen, flag (-1: untouched) and reports. Lengths start at 7.
struct Classified
{
    bool general = false;
    unsigned long long generalLen = 0;
    int code = 0;
    unsigned long long frameLen = 0;
    int flag = -1;
    size_t reports = 0;
    bool operator==(const Classified&) const = default;
    friend void PrintTo(const Classified& c, std::ostream* os)
    {
        *os << "general " << c.general << " " << c.generalLen << ", pushed: result " << c.code << ", frameLen "
            << c.frameLen << ", flag " << c.flag << ", reports " << c.reports;
    }
};

// The fixture is the facade itself, so that tests reach its registry.
struct FacadePushTest : LogCaptureTest, ProtoStub
{
    // The flag is untouched when it keeps both false and true.
    Classified classify(const std::string& buffer, bool twice = true)
    {
        Classified c;
        unsigned long long frameLen = 7, again = 7;
        bool flag = false, other = true;
        Reports reports, more;
        c.generalLen = 7;
        c.general = isGeneralThirdPackage(buffer, c.generalLen);
        c.code = isAutoPushThirdPackage(buffer, frameLen, flag, reports);
        if (twice)
            isAutoPushThirdPackage(buffer, again, other, more);
        c.frameLen = frameLen;
        c.flag = !twice || flag == other ? static_cast<int>(flag) : -1;
        c.reports = reports.size();
        return c;
    }
};

TEST_F(FacadePushTest, FramesAreClassifiedOnlyOnceWholeAndPushedReportsDecoded)
{
    struct Case
    {
        const char* name;
        std::string buffer;
        size_t whole;  // from this many bytes on, the outcome is that of the whole buffer
        Classified classified;
        Lines log;
    };
    const char *ord = "aa 55", *pu = "55 aa";
    const std::string at11 = "1 buffer.at(11) == 0x32!", pc = "1 recv a package code :", big = "1 valiadLength >= 18!";
    const Case cases[] = {
        {"one byte", hexBytes("55"), 2, {false, 7, 8, 7}},
        {"ordinary, 80 01 is 128", frame(ord, 150, 0, 0, 0x180), 148, {true, 148, 25}},
        {"ordinary, one byte short", frame(ord, 147, 0, 0, 0x180), 148, {false, 0, 25}},
        {"pushed, 19 bytes", frame(pu, 19, 0x10, 0x32, 1), 21, {false, 0, 8}},
        {"pushed, length 0", frame(pu, 20, 0x10, 0x32), 20, {false, 0, 25}},
        {"pushed, 80 00 is 65408", frame(pu, 400, 0x10, 0x32, 0x80), 65428, {false, 0, 10}},
        {"type f0", frame(pu, 21, 0x10, 0xF0, 1), 21, {false, 0, 0, 0, 1}, {"1 Packet Type = -16!", pc + "16 !"}},
        {"L 17", frame(pu, 37, 0x10, 0x32, 17), 37, {false, 0, 0, 0, 1}, {at11, "1 valiadLength < 18!", pc + "16 !"}},
        {"code 18, a byte more",
         frame(pu, 339, 0x18, 0x32, 318),
         338,
         {false, 0, 0, 338, 0, 1},
         {at11, big, pc + "24 !"}},
        {"report, 80 01 is 128",
         frame(pu, 150, 0x10, 0x32, 0x180),
         148,
         {false, 0, 0, 148, 1, 1},
         {at11, big, pc + "16 !"}},
        {"code 90",
         frame(pu, 38, 0x90, 0x32, 18),
         38,
         {false, 0, 255, 38, -1, 1},
         {at11, big, pc + "-112 !", "3 recv a error code :144 !"}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        // A frame not yet whole: too short for the tests (8), not pushed (25), or longer than the bytes (10).
        const auto expected = [&](size_t fed) {
            if (fed >= c.whole)
                return c.classified;
            const bool pushed = c.buffer.compare(0, 2, hexBytes(pu)) == 0;
            return fed < 2 ? Classified{false, 7, 8, 7} : Classified{false, 0, !pushed ? 25 : fed < 20 ? 8 : 10};
        };
        runSplits(
            c.buffer,
            [this] {
                return [this, bytes = std::string()](const std::string& piece) mutable {
                    return classify(bytes += piece);
                };
            },
            expected);
        clearLog();
        classify(c.buffer, false);
        EXPECT_EQ(c.log, lines("ProtoStub::"));
    }
}

TEST_F(FacadePushTest, ReportStreamGivesGoodReportsFirstAndAnEmptyMatchListThrows)
{
    // Each report's 20-byte acknowledgement, its ack and its record's; the buffer is always emptied.
    const auto acks = [this](std::string buffer) {
        clearLog();
        Reports reports;
        analyze_DeviceReportData(buffer, "3rd-proto", reports);
        Lines out;
        for (const ST_DeviceAutoReportResponseInfo& info : reports)
            out.push_back(toHex(*info.answer) + ", ack " + std::to_string(info.ack) + ", record ack " +
                          std::to_string(info.response->ack));
        EXPECT_TRUE(buffer.empty());
        return out;
    };
    EXPECT_EQ(Lines({"aa 55 00 07 02 01 03 04 05 06 00 00 10 00 00 00 00 00 81 55, ack 0, record ack 0",
                     "aa 55 02 20 22 11 33 44 55 66 00 01 10 20 30 40 00 00 7d 57, ack 5, record ack 5",
                     "aa 55 00 09 02 01 03 04 05 06 00 00 10 00 00 00 00 00 83 55, ack 0, record ack 0"}),
              acks(hexBytes("ee" + std::string(kR1) + kBroken + kR2)));
    // No head at all: the whole buffer is one failed report, too short to decode (the record keeps its defaults).
    EXPECT_EQ(Lines({"aa 55 02 00 fe ff 00 00 00 00 01 00 00 00 00 00 00 00 55 57, ack 255, record ack 2"}), acks(""));
    EXPECT_EQ(Lines({"3  invalid package , size is [0] ", "3  invalid package , size is [0] "}),
              lines("", ZORV_LOG_WARN));
    EXPECT_TRUE(logged(ZORV_LOG_TRACE, "convertDeviceReportDataToProtoResponse end. "));
    std::string buffer = hexBytes(kR1);
    std::vector<std::string> ok, failed;
    EXPECT_THROW_MSG(ProtoAnalyze3rd_Orvane().upPackageListWithoutLabelMatching(buffer, {}, ok, failed),
                     std::out_of_range, "invalid vector<T> subscript");
    EXPECT_EQ(kR1, toHex(buffer));
}

TEST_F(FacadePushTest, ReplyHolderKeepsTheOldRecordAndMissingEntriesThrowOrLog)
{
    const auto before = getReplyPackage("3rd-proto");
    INTER_ST::ThirdGenerationCommRequest_Data request{0, 0, 0, {}, 0, 0, {0, 0x10, 0, 0}, 8, {}, 0};
    std::list<ST_MSGToHardDriver> msgs;
    ASSERT_EQ(emProtoSuccess, analyze_ClientData(256, "3rd-proto", emRequestReadRegister, &request, msgs, "", false));
    const auto after = getReplyPackage("3rd-proto");
    ASSERT_TRUE(before && after && before != after);
    EXPECT_TRUE(before->registerAddr.empty() && after->registerAddr == std::vector<unsigned char>({0, 0x10, 0, 0}));
    clearLog();
    std::string buffer = hexBytes(kR1);
    Reports reports;
    unsigned long long frameLen = 7;
    bool flag = false;
    EXPECT_THROW_MSG(getReplyPackage("x"), std::out_of_range, "invalid map<K, T> key");
    EXPECT_THROW_MSG(analyze_DeviceReportData(buffer, "x", reports), std::out_of_range, "invalid map<K, T> key");
    m_mapProto["3rd-proto"] = nullptr;
    m_mapProto["3rdOrvane-proto"] = nullptr;
    EXPECT_EQ(emProtoSuccess, isAutoPushThirdPackage(kPush, frameLen, flag, reports));
    EXPECT_EQ(nullptr, getReplyPackage("3rd-proto"));
    m_mapProto.clear();
    analyze_DeviceReportData(buffer, "3rd-proto", reports);
    EXPECT_THROW_MSG(isAutoPushThirdPackage(kPush, frameLen, flag, reports), std::out_of_range,
                     "invalid map<K, T> key");
    EXPECT_TRUE(frameLen == 0 && !flag && reports.empty() && buffer == hexBytes(kR1));
    EXPECT_EQ(Lines({"1 buffer.at(11) == 0x32!", "1 valiadLength >= 18!", "3 not found proto object.",
                     "3 not found proto object.", "3  m_mapProto is empty !", "1 buffer.at(11) == 0x32!",
                     "1 valiadLength >= 18!"}),
              lines("ProtoStub::"));
}

TEST_F(FacadePushTest, VariantPushDataDecodesAcknowledgesAndWarnsButAlwaysSucceeds)
{
    struct Case
    {
        const char* name;
        std::string buffer;
        unsigned long long offset = 0, offsetAfter;
        const char *data, *checkout, *answer;
        Lines log;  // after the packet counts
    };
    const std::string seq1 = std::string(kPush).replace(25, 1, "\x01").substr(0, 30);
    const std::string op40 = "0 operation emCode[16], nLen:[20], nOffSet[40],recv nDataIndex";
    const Case cases[] = {
        {.name = "whole frame",
         .buffer = kPush,
         .offsetAfter = 40,
         .data = "02 00 77 01 00 00 00 00 00 00 00 88 00 00 00 00 99 00 5a 6b",
         .checkout = "a2 58",
         .answer = kPushAck,
         .log = {kCount + "1,nPacketSequeseNum:0", op40}},
        {.name = "sequence 1, cut short",
         .buffer = seq1,
         .offsetAfter = 40,
         .data = "02 00 77 01 00 00 00 01 00 00 00 88",
         .checkout = "",
         .answer = kPushError,
         .log = {kCount + "1,nPacketSequeseNum:1", "3 recv a error auto report package!",
                 "3  invalid package , size is [30] ", op40}},
        {.name = "20 bytes, sum 0",
         .buffer = frame("55 aa", 20),
         .offsetAfter = 20,
         .data = "",
         .checkout = "00 00",
         .answer = kPushError,
         .log = {kCount + "0,nPacketSequeseNum:0", "3 recv a error auto report package !",
                 "3  invalid package , size is [20] ", "0 operation emCode[0], nLen:[0], nOffSet[20],recv nDataIndex"}},
        // Counts and ack from the buffer, the length from package index 21 (01 00), the rest from the package.
        {.name = "length read at offset + 16",
         .buffer = hexBytes("01 02 09 03 04") + kPush,
         .offset = 5,
         .offsetAfter = 26,
         .data = "02",
         .checkout = "00 77",
         .answer = kPushAck,
         .log = {kCount + "131092,nPacketSequeseNum:375", "3 ack != 0 !",
                 "0 operation emCode[16], nLen:[1], nOffSet[26],recv nDataIndex"}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        Reports reports;
        unsigned long long offset = c.offset;
        EXPECT_EQ(emProtoSuccess, ProtoAnalyze3rd_Orvane().analyze_DeviceReportPushData(reports, c.buffer, offset));
        ASSERT_EQ(1u, reports.size());
        const auto& r = *reports[0].response;
        EXPECT_EQ(c.offsetAfter, offset);
        EXPECT_EQ(c.data, toHex({r.data.begin(), r.data.end()}));
        EXPECT_EQ(c.checkout, toHex({r.checkout.begin(), r.checkout.end()}));
        EXPECT_EQ(c.answer, toHex(*reports[0].answer));
        EXPECT_EQ(c.log, lines());
    }
}

}  // namespace
