// Frames devices send of their own accord: classified, split into reports, decoded and acknowledged.
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "protostub/ProtoStub.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/TestDevice.h"
#include "support/Throws.h"

#include <random>

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

}  // namespace

// The fixture is the facade itself, so that tests reach its registry.
struct FacadePushTest : LogCaptureTest, ProtoStub
{
};

TEST_F(FacadePushTest, FramesAreClassifiedAndPushedReportsAcknowledgedAsTheDeviceExpects)
{
    const char *ord = "aa 55", *pu = "55 aa";
    const std::string at11 = "1 buffer.at(11) == 0x32!|", pc = "1 recv a package code :";
    const std::string decoded = at11 + "1 valiadLength >= 18!|" + pc;
    // isGeneralThirdPackage's frameLen; isAutoPushThirdPackage's result, frameLen, flag (-1: untouched), log.
    // clang-format off
    const std::tuple<const char*, std::string, size_t, em_ProtoAnalyze, size_t, int, std::string> cases[] = {
        {"one byte", hexBytes("55"), 7, emProtoBadHeader, 7, -1, ""},
        {"ordinary, 80 01 is 128", frame(ord, 150, 0, 0, 0x180), 148, emProtoNotAutoPush, 0, -1, ""},
        {"ordinary, one byte short", frame(ord, 147, 0, 0, 0x180), 0, emProtoNotAutoPush, 0, -1, ""},
        {"pushed, 19 bytes", frame(pu, 19, 0x10, 0x32, 1), 0, emProtoBadHeader, 0, -1, ""},
        {"pushed, length 0", frame(pu, 20, 0x10, 0x32), 0, emProtoNotAutoPush, 0, -1, ""},
        {"pushed, 80 00 is 65408", frame(pu, 400, 0x10, 0x32, 0x80), 0, emProtoFrameShort, 0, -1, ""},
        {"type f0", frame(pu, 21, 0x10, 0xF0, 1), 0, emProtoSuccess, 0, 1, "1 Packet Type = -16!|" + pc + "16 !|"},
        {"L 17", frame(pu, 37, 0x10, 0x32, 17), 0, emProtoSuccess, 0, 1, at11 + "1 valiadLength < 18!|" + pc + "16 !|"},
        {"code 18, a byte more", frame(pu, 339, 0x18, 0x32, 318), 0, emProtoSuccess, 338, 0, decoded + "24 !|"},
        {"report, 80 01 is 128", frame(pu, 150, 0x10, 0x32, 0x180), 0, emProtoSuccess, 148, 1, decoded + "16 !|"},
        {"code 90", frame(pu, 38, 0x90, 0x32, 18), 0, emProtoFailed, 38, -1,
         decoded + "-112 !|3 recv a error code :144 !|"},
    };
    // clang-format on
    for (const auto& [name, buffer, generalLen, code, pushLen, pushFlag, log] : cases)
    {
        SCOPED_TRACE(name);
        clearLog();
        unsigned long long general = 7, frameLen = 7;
        bool flag = pushFlag != 1;  // the opposite of what a write would store
        Reports reports;
        EXPECT_EQ(generalLen >= 20, ProtoStub::isGeneralThirdPackage(buffer, general));
        EXPECT_EQ(generalLen, general);
        EXPECT_EQ(code, isAutoPushThirdPackage(buffer, frameLen, flag, reports));
        EXPECT_EQ(pushLen, frameLen);
        EXPECT_EQ(pushFlag != 0, flag);
        EXPECT_EQ(log, transcript("ProtoStub::"));
        ASSERT_EQ(pushLen >= 20 ? 1u : 0u, reports.size());
        EXPECT_TRUE(pushLen < 20 || reports[0].answer->compare(0, 5, hexBytes("aa 55 00 00 00")) == 0);
    }
}

TEST_F(FacadePushTest, ReportStreamGivesGoodReportsFirstAndAnEmptyMatchListThrows)
{
    // Each report's acknowledgement and ack; the buffer is always emptied.
    const auto acks = [this](std::string buffer) {
        Reports reports;
        analyze_DeviceReportData(buffer, "3rd-proto", reports);
        std::string out = buffer.empty() ? "" : "buffer kept|";
        for (const ST_DeviceAutoReportResponseInfo& info : reports)
            out += toHex(*info.answer) + " " + std::to_string(info.ack) + "|";
        return out;
    };
    EXPECT_EQ("aa 55 00 07 02 01 03 04 05 06 00 00 10 00 00 00 00 00 81 55 0|"
              "aa 55 02 20 22 11 33 44 55 66 00 01 10 20 30 40 00 00 7d 57 5|"
              "aa 55 00 09 02 01 03 04 05 06 00 00 10 00 00 00 00 00 83 55 0|",
              acks(hexBytes("ee" + std::string(kR1) + kBroken + kR2)));
    EXPECT_EQ("aa 55 02 00 fe ff 00 00 00 00 01 00 00 00 00 00 00 00 55 57 255|", acks(""));
    std::string buffer = hexBytes(kR1);
    std::vector<std::string> ok, failed;
    EXPECT_EQ("invalid vector<T> subscript",
              outOfRange([&] { ProtoAnalyze3rd_Orvane().upPackageListWithoutLabelMatching(buffer, {}, ok, failed); }));
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
    EXPECT_EQ("invalid map<K, T> key", outOfRange([&] { getReplyPackage("x"); }));
    EXPECT_EQ("invalid map<K, T> key", outOfRange([&] { analyze_DeviceReportData(buffer, "x", reports); }));
    m_mapProto["3rd-proto"] = nullptr;
    m_mapProto["3rdOrvane-proto"] = nullptr;
    EXPECT_EQ(emProtoSuccess, isAutoPushThirdPackage(kPush, frameLen, flag, reports));
    EXPECT_EQ(nullptr, getReplyPackage("3rd-proto"));
    m_mapProto.clear();
    analyze_DeviceReportData(buffer, "3rd-proto", reports);
    EXPECT_EQ("invalid map<K, T> key", outOfRange([&] { isAutoPushThirdPackage(kPush, frameLen, flag, reports); }));
    EXPECT_TRUE(frameLen == 0 && !flag && reports.empty() && buffer == hexBytes(kR1));
    const std::string decoding = "1 buffer.at(11) == 0x32!|1 valiadLength >= 18!|";
    EXPECT_EQ(decoding + "3 not found proto object.|3 not found proto object.|3  m_mapProto is empty !|" + decoding,
              transcript("ProtoStub::"));
}

TEST_F(FacadePushTest, RandomAndMutatedInputsNeverCrash)
{
    std::mt19937 rng(0x5EED1234u);
    const std::string seeds[] = {hexBytes(kR2), kPush, frame("55 aa", 150, 24, 0x32, 384), frame("aa 55", 30, 0, 0, 9)};
    for (int i = 0; i < 3000; ++i)
    {
        std::string in = seeds[rng() % 4] + (i % 4 ? "" : seeds[rng() % 4]);  // one or two seeds, mutated, cut
        in[rng() % in.size()] = static_cast<char>(rng());
        in.resize(i % 2 ? rng() % (in.size() + 1) : in.size());
        SCOPED_TRACE(toHex(in));
        unsigned long long len = 0, offset = rng() % (in.size() + 4);
        bool flag = false;
        Reports reports;
        ASSERT_TRUE(!isGeneralThirdPackage(in, len) || len <= in.size());
        const int code = isAutoPushThirdPackage(in, len, flag, reports);
        ASSERT_TRUE(code == 0 || code == 8 || code == 10 || code == 25 || code == 255) << code;
        ASSERT_TRUE(len <= in.size() && reports.size() == (len != 0 ? 1u : 0u));
        ASSERT_EQ(emProtoSuccess, ProtoAnalyze3rd_Orvane().analyze_DeviceReportPushData(reports, in, offset));
        ASSERT_EQ(38u, reports.back().answer->size());
        analyze_DeviceReportData(in, i % 3 ? "3rd-proto" : "3rdOrvane-proto", reports);
        ASSERT_TRUE(in.empty() && reports.size() > (len != 0 ? 2u : 1u));
    }
}

TEST_F(FacadePushTest, VariantPushDataDecodesAcknowledgesAndWarnsButAlwaysSucceeds)
{
    const std::string seq1 = std::string(kPush).replace(25, 1, "\x01").substr(0, 30);
    const std::string op40 = "0 operation emCode[16], nLen:[20], nOffSet[40],recv nDataIndex|";
    // clang-format off
    const std::tuple<const char*, std::string, size_t, size_t, std::string, std::string, std::string> cases[] = {
        {"whole frame", kPush, 0, 40, "02 00 77 01 00 00 00 00 00 00 00 88 00 00 00 00 99 00 5a 6b | a2 58", kPushAck,
         "1,nPacketSequeseNum:0|" + op40},
        {"sequence 1, cut short", seq1, 0, 40, "02 00 77 01 00 00 00 01 00 00 00 88 | ", kPushError,
         "1,nPacketSequeseNum:1|3 recv a error auto report package!|3  invalid package , size is [30] |" + op40},
        {"20 bytes, sum 0", frame("55 aa", 20), 0, 20, " | 00 00", kPushError,
         "0,nPacketSequeseNum:0|3 recv a error auto report package !|3  invalid package , size is [20] |"
         "0 operation emCode[0], nLen:[0], nOffSet[20],recv nDataIndex|"},
        // Counts and ack from the buffer, the length from package index 21 (01 00), the rest from the package.
        {"length read at offset + 16", hexBytes("01 02 09 03 04") + kPush, 5, 26, "02 | 00 77", kPushAck,
         "131092,nPacketSequeseNum:375|3 ack != 0 !|0 operation emCode[16], nLen:[1], nOffSet[26],recv nDataIndex|"},
    };
    // clang-format on
    for (const auto& [name, buffer, offsetBefore, offsetAfter, data, answer, log] : cases)
    {
        SCOPED_TRACE(name);
        clearLog();
        Reports reports;
        unsigned long long offset = offsetBefore;
        EXPECT_EQ(emProtoSuccess, ProtoAnalyze3rd_Orvane().analyze_DeviceReportPushData(reports, buffer, offset));
        ASSERT_EQ(1u, reports.size());
        const auto& r = *reports[0].response;
        EXPECT_EQ(offsetAfter, offset);
        EXPECT_EQ(data, toHex({r.data.begin(), r.data.end()}) + " | " + toHex({r.checkout.begin(), r.checkout.end()}));
        EXPECT_EQ(answer, toHex(*reports[0].answer));
        EXPECT_EQ(kCount + log, transcript());
    }
}

TEST_F(FacadePushTest, DevicePushesAreDecodedAndAcknowledgedAsTheDeviceExpects)
{
    const TestDevice device(TestDevice::Flavor::Variant);
    const std::string pushes[] = {device.pushReport(0x21, 0x10, 2, 0, "abc"), device.pushReport(0x22, 0x18, 2, 1, "")};
    Reports reports;
    for (const std::string& pushed : pushes)
    {
        unsigned long long frameLen = 0;
        bool flag = false;
        EXPECT_EQ(emProtoSuccess, isAutoPushThirdPackage(pushed + "tail", frameLen, flag, reports));
        EXPECT_TRUE(frameLen == pushed.size() && flag == (pushed[10] == 0x10));
        ASSERT_FALSE(reports.empty());
        EXPECT_TRUE(TestDevice::acceptsPushAcknowledgement(pushed, *reports.back().answer));
        EXPECT_EQ(pushed.substr(18, pushed.size() - 20),
                  std::string(reports.back().response->data.begin(), reports.back().response->data.end()));
    }
    // The same reports as a stream: split at their heads, both good.
    std::string stream = pushes[0] + pushes[1];
    reports.clear();
    analyze_DeviceReportData(stream, "3rdOrvane-proto", reports);
    ASSERT_EQ(2u, reports.size());
    EXPECT_TRUE(stream.empty() && reports[0].response->label == 0x21 && reports[1].response->label == 0x22);
}
