// The facade around frames that devices send of their own accord: recognising
// ordinary and pushed frames, report streams, and handing out reply records.
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "protostub/ProtoStub.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/TestDevice.h"

#include <functional>
#include <random>
#include <stdexcept>

namespace
{
const char* const kStandardKey = "3rd-proto";
const char* const kVariantKey = "3rdOrvane-proto";

// Reports (head 55 AA) and their 20-byte acknowledgements, worked out by hand.
const char* const kR1 = "55 aa 00 07 01 02 03 04 05 06 00 00 10 00 00 00 00 00 81 55";
const char* const kAck1 = "aa 55 00 07 02 01 03 04 05 06 00 00 10 00 00 00 00 00 81 55";
const char* const kR2 = "55 aa 05 20 11 22 33 44 55 66 00 01 10 20 30 40 02 00 ab cd fa 58";
const char* const kAck2 = "aa 55 02 20 22 11 33 44 55 66 00 01 10 20 30 40 00 00 7d 57";
const char* const kBroken = "55 aa 00 09 01 02 03 04 05 06 00 00 10 00 00 00 00 00 00 00";
const char* const kAckBroken = "aa 55 00 09 02 01 03 04 05 06 00 00 10 00 00 00 00 00 83 55";

// A buffer of size zero bytes with the given head, code (byte 10), packet type
// (byte 11) and length bytes 16, 17.
std::string frameOf(size_t size, unsigned char h0, unsigned char h1, unsigned char code, unsigned char type,
                    unsigned char len16, unsigned char len17)
{
    std::string f(size, '\0');
    const unsigned char bytes[] = {h0, h1, 0, 0, 0, 0, 0, 0, 0, 0, code, type, 0, 0, 0, 0, len16, len17};
    for (size_t i = 0; i < sizeof bytes && i < size; ++i)
    {
        f[i] = static_cast<char>(bytes[i]);
    }
    return f;
}

std::string push(size_t size, unsigned char code, unsigned char type, unsigned char len16, unsigned char len17 = 0)
{
    return frameOf(size, 0x55, 0xAA, code, type, len16, len17);
}

std::string general(size_t size, unsigned char len16, unsigned char len17 = 0)
{
    return frameOf(size, 0xAA, 0x55, 0, 0, len16, len17);
}

using Lines = std::vector<std::pair<em_LOG_LEVEL, std::string>>;

// A facade whose registry a test can change, for the empty-entry paths.
class EditableStub : public ProtoStub
{
public:
    void setEntry(const std::string& key, std::shared_ptr<ProtoBase> proto) { m_mapProto[key] = std::move(proto); }
    void eraseEntry(const std::string& key) { m_mapProto.erase(key); }
    void clearRegistry() { m_mapProto.clear(); }
};
} // namespace

class FacadePushTest : public LogCaptureTest
{
protected:
    // The lines the facade operation with this name logged.
    Lines linesOf(const std::string& function) const
    {
        Lines out;
        for (const zorvlog::LogRecord& r : records())
        {
            if (r.signature.find("ProtoStub::" + function + "(") != std::string::npos)
            {
                out.emplace_back(r.level, r.message);
            }
        }
        return out;
    }

    EditableStub stub;
};

TEST_F(FacadePushTest, GeneralPackageNeedsAWholeDeviceFrame)
{
    struct Case
    {
        const char* name;
        std::string buffer;
        bool result;
        unsigned long long frameLen;  // 7: untouched
    };
    const Case cases[] = {
        {"empty", "", false, 7},
        {"one byte", hexBytes("aa"), false, 7},
        {"two bytes", hexBytes("aa 55"), false, 0},
        {"pushed head", push(20, 0, 0, 0), false, 0},
        {"19 bytes", general(19, 0), false, 0},
        {"header only", general(20, 0), true, 20},
        {"extra bytes do not matter", general(30, 2), true, 22},
        {"length 0x1234 past the buffer", general(20, 0x34, 0x12), false, 0},
        {"80 01 is 128, not 384", general(148, 0x80, 0x01), true, 148},
        {"80 01 one byte short", general(147, 0x80, 0x01), false, 0},
        {"80 00 is 65408", general(400, 0x80, 0x00), false, 0},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        unsigned long long frameLen = 7;
        EXPECT_EQ(c.result, ProtoStub::isGeneralThirdPackage(c.buffer, frameLen));
        EXPECT_EQ(c.frameLen, frameLen);
    }
    EXPECT_TRUE(records().empty());
}

TEST_F(FacadePushTest, AutoPushCodesFrameLenAndFlag)
{
    struct Case
    {
        const char* name;
        std::string buffer;
        em_ProtoAnalyze result;
        unsigned long long frameLen;  // 7: untouched
        int flag;                     // -1: untouched
        size_t reports;
        Lines log;
    };
    const std::pair<em_LOG_LEVEL, std::string> is32{ZORV_LOG_DEBUG, "buffer.at(11) == 0x32!"};
    const std::pair<em_LOG_LEVEL, std::string> atLeast18{ZORV_LOG_DEBUG, "valiadLength >= 18!"};
    const Case cases[] = {
        {"empty", "", emProtoBadHeader, 7, -1, 0, {}},
        {"one byte", hexBytes("55"), emProtoBadHeader, 7, -1, 0, {}},
        {"ordinary frame", general(20, 0), emProtoNotAutoPush, 0, -1, 0, {}},
        {"pushed head, 19 bytes", push(19, 0x10, 0x32, 1), emProtoBadHeader, 0, -1, 0, {}},
        {"length 0", push(20, 0x10, 0x32, 0), emProtoNotAutoPush, 0, -1, 0, {}},
        {"frame longer than buffer", push(20, 0x10, 0x32, 1), emProtoFrameShort, 0, -1, 0, {}},
        {"80 00 is 65408", push(300, 0x10, 0x32, 0x80, 0x00), emProtoFrameShort, 0, -1, 0, {}},
        {"other packet type, code 10",
         push(21, 0x10, 0x31, 1),
         emProtoSuccess, 0, 1, 0,
         {{ZORV_LOG_DEBUG, "Packet Type = 49!"}, {ZORV_LOG_DEBUG, "recv a package code :16 !"}}},
        {"negative packet type, code 18",
         push(21, 0x18, 0xF0, 1),
         emProtoSuccess, 0, 0, 0,
         {{ZORV_LOG_DEBUG, "Packet Type = -16!"}, {ZORV_LOG_DEBUG, "recv a package code :24 !"}}},
        {"report shorter than a sub-header",
         push(37, 0x10, 0x32, 17),
         emProtoSuccess, 0, 1, 0,
         {is32, {ZORV_LOG_DEBUG, "valiadLength < 18!"}, {ZORV_LOG_DEBUG, "recv a package code :16 !"}}},
        {"report decoded, code 18",
         push(38, 0x18, 0x32, 18),
         emProtoSuccess, 38, 0, 1,
         {is32, atLeast18, {ZORV_LOG_DEBUG, "recv a package code :24 !"}}},
        {"report with bytes after it",
         push(60, 0x10, 0x32, 18),
         emProtoSuccess, 38, 1, 1,
         {is32, atLeast18, {ZORV_LOG_DEBUG, "recv a package code :16 !"}}},
        // The analyzer reads 80 01 as 384 and moves its offset to 404; the
        // facade's own length wins.
        {"80 01 is 128",
         push(148, 0x10, 0x32, 0x80, 0x01),
         emProtoSuccess, 148, 1, 1,
         {is32, atLeast18, {ZORV_LOG_DEBUG, "recv a package code :16 !"}}},
        {"decoded report, unknown code",
         push(38, 0x20, 0x32, 18),
         emProtoFailed, 38, -1, 1,
         {is32, atLeast18, {ZORV_LOG_DEBUG, "recv a package code :32 !"}, {ZORV_LOG_WARN, "recv a error code :32 !"}}},
        {"code 90",
         push(21, 0x90, 0x00, 1),
         emProtoFailed, 0, -1, 0,
         {{ZORV_LOG_DEBUG, "Packet Type = 0!"},
          {ZORV_LOG_DEBUG, "recv a package code :-112 !"},
          {ZORV_LOG_WARN, "recv a error code :144 !"}}},
    };
    for (const Case& c : cases)
    {
        for (const bool before : {false, true})
        {
            SCOPED_TRACE(std::string(c.name) + (before ? ", flag was true" : ", flag was false"));
            clearLog();
            unsigned long long frameLen = 7;
            bool flag = before;
            std::vector<ST_DeviceAutoReportResponseInfo> reports;
            EXPECT_EQ(c.result, stub.isAutoPushThirdPackage(c.buffer, frameLen, flag, reports));
            EXPECT_EQ(c.frameLen, frameLen);
            EXPECT_EQ(c.flag < 0 ? before : c.flag == 1, flag);
            ASSERT_EQ(c.reports, reports.size());
            for (const ST_DeviceAutoReportResponseInfo& info : reports)
            {
                EXPECT_EQ(38u, info.answer->size());
            }
            EXPECT_EQ(c.log, linesOf("isAutoPushThirdPackage"));
        }
    }
}

TEST_F(FacadePushTest, ReportStreamGivesGoodReportsFirstForEitherKey)
{
    for (const char* key : {kStandardKey, kVariantKey})
    {
        SCOPED_TRACE(key);
        std::string buffer = hexBytes("01 02 03") + hexBytes(kR1) + hexBytes(kBroken) + hexBytes(kR2);
        std::vector<ST_DeviceAutoReportResponseInfo> reports;
        stub.analyze_DeviceReportData(buffer, key, reports);
        EXPECT_TRUE(buffer.empty());
        ASSERT_EQ(3u, reports.size());
        const std::pair<const char*, int> expected[] = {{kAck1, 0}, {kAck2, 5}, {kAckBroken, 0}};
        for (size_t i = 0; i < 3; ++i)
        {
            EXPECT_EQ(expected[i].first, toHex(*reports[i].answer)) << i;
            EXPECT_EQ(expected[i].second, reports[i].ack) << i;
        }
    }
}

TEST_F(FacadePushTest, ReplyPackageHolderKeepsTheOldRecord)
{
    const auto before = stub.getReplyPackage(kStandardKey);
    ASSERT_NE(nullptr, before);
    EXPECT_EQ(before, stub.getReplyPackage(kStandardKey));
    INTER_ST::ThirdGenerationCommRequest_Data request;
    request.registerAddr = {0, 0x10, 0, 0};
    request.validLength = 8;
    std::list<ST_MSGToHardDriver> msgs;
    ASSERT_EQ(emProtoSuccess,
              stub.analyze_ClientData(256, kStandardKey, emRequestReadRegister, &request, msgs, "", false));
    const auto after = stub.getReplyPackage(kStandardKey);
    ASSERT_NE(nullptr, after);
    EXPECT_NE(before, after);
    EXPECT_EQ(0, before->head[0]);
    EXPECT_TRUE(before->registerAddr.empty());
    EXPECT_EQ(0xAA, after->head[0]);
    EXPECT_EQ((std::vector<unsigned char>{0, 0x10, 0, 0}), after->registerAddr);
    EXPECT_NE(nullptr, stub.getReplyPackage(kVariantKey));
}

TEST_F(FacadePushTest, UnknownKeysThrowMapKeyError)
{
    const std::string report = push(38, 0x10, 0x32, 18);
    struct Case
    {
        const char* name;
        std::function<void()> call;
    };
    std::string buffer = hexBytes(kR1);
    std::vector<ST_DeviceAutoReportResponseInfo> reports;
    unsigned long long frameLen = 0;
    bool flag = false;
    const Case cases[] = {
        {"reply package", [&] { stub.getReplyPackage("x"); }},
        {"report stream", [&] { stub.analyze_DeviceReportData(buffer, "x", reports); }},
        {"pushed report without the variant",
         [&] {
             stub.eraseEntry(kVariantKey);
             stub.isAutoPushThirdPackage(report, frameLen, flag, reports);
         }},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        try
        {
            c.call();
            ADD_FAILURE() << "no exception";
        }
        catch (const std::out_of_range& e)
        {
            EXPECT_STREQ("invalid map<K, T> key", e.what());
        }
    }
    EXPECT_EQ(kR1, toHex(buffer));
    EXPECT_TRUE(reports.empty());
    // Without the variant, frames that are not reports still pass.
    EXPECT_EQ(emProtoSuccess, stub.isAutoPushThirdPackage(push(21, 0x10, 0x31, 1), frameLen, flag, reports));
}

TEST_F(FacadePushTest, EmptyRegistryEntriesAndEmptyRegistry)
{
    stub.setEntry(kVariantKey, nullptr);
    stub.setEntry(kStandardKey, nullptr);
    unsigned long long frameLen = 7;
    bool flag = true;
    std::vector<ST_DeviceAutoReportResponseInfo> reports;
    EXPECT_EQ(emProtoSuccess, stub.isAutoPushThirdPackage(push(38, 0x18, 0x32, 18), frameLen, flag, reports));
    EXPECT_EQ(0u, frameLen);
    EXPECT_TRUE(flag);
    EXPECT_TRUE(reports.empty());
    const Lines pushLines{{ZORV_LOG_DEBUG, "buffer.at(11) == 0x32!"},
                          {ZORV_LOG_DEBUG, "valiadLength >= 18!"},
                          {ZORV_LOG_WARN, "not found proto object."}};
    EXPECT_EQ(pushLines, linesOf("isAutoPushThirdPackage"));

    EXPECT_EQ(nullptr, stub.getReplyPackage(kStandardKey));
    EXPECT_EQ((Lines{{ZORV_LOG_WARN, "not found proto object."}}), linesOf("getReplyPackage"));

    stub.clearRegistry();
    std::string buffer = hexBytes(kR1);
    stub.analyze_DeviceReportData(buffer, kStandardKey, reports);
    EXPECT_EQ(kR1, toHex(buffer));
    EXPECT_TRUE(reports.empty());
    EXPECT_EQ((Lines{{ZORV_LOG_WARN, " m_mapProto is empty !"}}), linesOf("analyze_DeviceReportData"));
}

TEST_F(FacadePushTest, RandomAndMutatedInputsGiveResultsNeverCrashes)
{
    std::mt19937 rng(0x5EED1234u);
    auto below = [&rng](size_t n) { return n == 0 ? size_t{0} : static_cast<size_t>(rng() % n); };
    const std::vector<std::string> seeds{hexBytes(kR1),           hexBytes(kR2),
                                         hexBytes(kBroken),       push(38, 0x10, 0x32, 18),
                                         push(40, 0x18, 0x32, 20), push(148, 0x10, 0x32, 0x80, 0x01),
                                         general(20, 0),          general(300, 0x18, 0x01)};
    // Overwrite, cut, insert, append another seed, or set the length field.
    auto mutate = [&](std::string& s) {
        const size_t kind = below(5);
        if (kind == 0 && !s.empty())
        {
            s[below(s.size())] = static_cast<char>(rng());
        }
        else if (kind == 1)
        {
            s.resize(below(s.size() + 1));
        }
        else if (kind == 2)
        {
            s.insert(below(s.size() + 1), 1, static_cast<char>(rng()));
        }
        else if (kind == 3)
        {
            s += seeds[below(seeds.size())];
        }
        else if (s.size() > 17)
        {
            s[16] = static_cast<char>(rng());
            s[17] = static_cast<char>(rng() % 3);
        }
    };
    ProtoAnalyze3rd_Orvane variant;
    int wholeFrames = 0;
    int decodedPushes = 0;
    for (int i = 0; i < 3000; ++i)
    {
        std::string input;
        if (i % 3 == 0)
        {
            input.resize(below(i % 30 == 0 ? 400 : 64));
            for (char& ch : input)
            {
                ch = static_cast<char>(rng());
            }
            if (i % 6 == 0 && input.size() > 11)
            {
                input[0] = 0x55;
                input[1] = static_cast<char>(0xAA);
                input[11] = 0x32;
            }
        }
        else
        {
            input = seeds[below(seeds.size())];
            for (size_t m = below(4); m > 0; --m)
            {
                mutate(input);
            }
        }
        SCOPED_TRACE(toHex(input));
        clearLog();

        unsigned long long frameLen = 0;
        if (ProtoStub::isGeneralThirdPackage(input, frameLen))
        {
            ASSERT_LE(frameLen, input.size());
            ++wholeFrames;
        }
        bool flag = false;
        std::vector<ST_DeviceAutoReportResponseInfo> reports;
        const em_ProtoAnalyze code = stub.isAutoPushThirdPackage(input, frameLen, flag, reports);
        ASSERT_TRUE(code == 0 || code == 8 || code == 10 || code == 25 || code == 255) << code;
        ASSERT_LE(frameLen, input.size());
        ASSERT_EQ(frameLen != 0 ? 1u : 0u, reports.size());
        decodedPushes += frameLen != 0 ? 1 : 0;

        std::string buffer = input;
        reports.clear();
        stub.analyze_DeviceReportData(buffer, i % 2 ? kStandardKey : kVariantKey, reports);
        ASSERT_TRUE(buffer.empty());
        ASSERT_FALSE(reports.empty());
        for (const ST_DeviceAutoReportResponseInfo& info : reports)
        {
            ASSERT_EQ(20u, info.answer->size());
        }

        unsigned long long offset = below(input.size() + 4);
        reports.clear();
        ASSERT_EQ(emProtoSuccess, variant.analyze_DeviceReportPushData(reports, input, offset));
        ASSERT_EQ(38u, reports.at(0).answer->size());
    }
    // The inputs reach the decoders, not only the early rejections.
    EXPECT_GT(wholeFrames, 100) << wholeFrames;
    EXPECT_GT(decodedPushes, 100) << decodedPushes;
}

TEST_F(FacadePushTest, DevicePushRoundTripIsAcknowledgedAsExpected)
{
    TestDevice device(TestDevice::Flavor::Variant);
    struct Case
    {
        const char* name;
        unsigned char code;
        unsigned int packetSum;
        unsigned int sequence;
        std::string data;
        bool flag;
    };
    const Case cases[] = {
        {"single packet, code 10", 0x10, 1, 0, hexBytes("de ad be ef"), true},
        {"second of three, code 18", 0x18, 3, 1, std::string(300, '\x5a'), false},
        {"sub-header only", 0x10, 1, 0, "", true},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        const std::string pushed = device.pushReport(0x33, c.code, c.packetSum, c.sequence, c.data);
        unsigned long long frameLen = 0;
        bool flag = !c.flag;
        std::vector<ST_DeviceAutoReportResponseInfo> reports;
        ASSERT_EQ(emProtoSuccess, stub.isAutoPushThirdPackage(pushed + hexBytes("55 aa"), frameLen, flag, reports));
        EXPECT_EQ(pushed.size(), frameLen);
        EXPECT_EQ(c.flag, flag);
        ASSERT_EQ(1u, reports.size());
        EXPECT_TRUE(device.acceptsPushAcknowledgement(pushed, *reports[0].answer)) << toHex(*reports[0].answer);
        const auto& record = *reports[0].response;
        EXPECT_EQ(0x33, record.label);
        EXPECT_EQ(pushed.substr(18, pushed.size() - 20), std::string(record.data.begin(), record.data.end()));
        EXPECT_EQ(pushed.substr(pushed.size() - 2), std::string(record.checkout.begin(), record.checkout.end()));
    }
    // Reports of the same device through the stream splitter: good before broken.
    std::string stream = device.report(1, hexBytes("01 02"), false) + device.report(2, hexBytes("03"));
    std::vector<ST_DeviceAutoReportResponseInfo> reports;
    stub.analyze_DeviceReportData(stream, kStandardKey, reports);
    ASSERT_EQ(2u, reports.size());
    EXPECT_EQ(2, reports[0].response->label);
    EXPECT_EQ((std::vector<unsigned char>{0x03}), reports[0].response->data);
    EXPECT_EQ(1, reports[1].response->label);
}
