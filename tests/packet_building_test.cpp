// One request packet into one frame and its expected-reply list, for both
// analyzers: header fields, length field, data area, checksum, labels and the
// rejection of unknown read/write codes.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <memory>
#include <vector>

namespace
{

const char* const kStdSig =
    "enum em_ProtoAnalyze __cdecl ProtoAnalyze3rd::analyze_OnePackageRequst(const struct ST_RegisterAddrAndValid &,"
    "class INTER_ST::ThirdGenerationCommRequest_Data *,struct ST_MSGToHardDriver &)";
const char* const kVarSig =
    "enum em_ProtoAnalyze __cdecl ProtoAnalyze3rd_Orvane::analyze_OnePackageRequst(const struct "
    "ST_RegisterAddrAndValid &,class INTER_ST::ThirdGenerationCommRequest_Data *,struct ST_MSGToHardDriver &)";

// The variant's transfer state is set by its request operations; packets
// built directly need it set by hand.
struct VariantAnalyzer : ProtoAnalyze3rd_Orvane
{
    using ProtoAnalyze3rd_Orvane::m_nLenExp;
    using ProtoAnalyze3rd_Orvane::m_nSendCount;
};

// The sub-header used by the variant cases: bytes 0x80 .. 0x91.
std::vector<unsigned char> subHeader()
{
    std::vector<unsigned char> bytes;
    for (unsigned char b = 0x80; b <= 0x91; ++b)
    {
        bytes.push_back(b);
    }
    return bytes;
}

INTER_ST::ThirdGenerationCommRequest_Data request(unsigned char code, std::vector<unsigned char> scan = {0x44, 0x55})
{
    INTER_ST::ThirdGenerationCommRequest_Data r;
    r.firstAddr = 0x11;
    r.secondAddr = 0x22;
    r.deviceType = 0x33;
    r.scanBoardAddr = std::move(scan);
    r.frameByte7 = 0x66;
    r.readWriteCode = code;
    r.packetType = 0x77;
    r.data = subHeader();
    return r;
}

ST_RegisterAddrAndValid packet(unsigned int readLen, unsigned int validLen, const std::string& data = "",
                               int lenHead = 0, unsigned int sequence = 0)
{
    ST_RegisterAddrAndValid p;
    p.nPacketSequeseNum = sequence;
    p.lenHead = lenHead;
    p.readLen = readLen;
    p.registerAddr = 0x12345678;
    p.data = data;
    p.validLen = validLen;
    return p;
}

// The header the shared request gives, with the server's head 55 AA.
FrameFields header(unsigned char code, const std::string& data, int validLength, unsigned char label = 1)
{
    FrameFields f;
    f.head0 = 0x55;
    f.head1 = 0xAA;
    f.label = label;
    f.firstAddr = 0x11;
    f.secondAddr = 0x22;
    f.deviceType = 0x33;
    f.byte7 = 0x66;
    f.scan0 = 0x44;
    f.scan1 = 0x55;
    f.readWriteCode = code;
    f.packetType = 0x77;
    f.registerAddr = 0x12345678;
    f.data = data;
    f.validLength = validLength;
    return f;
}

FrameFields withScan(FrameFields f, unsigned char scan0, unsigned char scan1)
{
    f.scan0 = scan0;
    f.scan1 = scan1;
    return f;
}

// 0x5555 plus bytes 2 .. size-3, not cut to 16 bits.
unsigned int fullSum(const std::string& frame)
{
    unsigned int sum = 0x5555;
    for (size_t i = 2; i + 2 < frame.size(); ++i)
    {
        sum += static_cast<unsigned char>(frame[i]);
    }
    return sum;
}

void expectMatchList(const ST_MSGToHardDriver& msg, const std::vector<ST_MSGToHardDriverMatchOne>& want)
{
    ASSERT_EQ(want.size(), msg.matchList.size());
    for (size_t i = 0; i < want.size(); ++i)
    {
        EXPECT_EQ(want[i].key, msg.matchList[i].key) << "entry " << i;
        EXPECT_EQ(want[i].posWanted, msg.matchList[i].posWanted) << "entry " << i;
    }
}

class PacketBuildingTest : public LogCaptureTest
{
};

TEST_F(PacketBuildingTest, StandardFrameCarriesRequestFieldsLengthDataAndChecksum)
{
    struct Case
    {
        const char* name;
        unsigned char code;
        std::vector<unsigned char> scan;
        ST_RegisterAddrAndValid pkg;
        std::string expected;
    };
    const Case cases[] = {
        {"read of 256 asks 00 01, no data area", 0, {0x44, 0x55}, packet(256, 0),
         hexBytes("55 aa 00 01 11 22 33 66 44 55 00 77 78 56 34 12 00 01 47 58")},
        {"read length keeps its low 16 bits", 0, {0x44, 0x55}, packet(0x12345, 0), makeFrame(header(0, "", 0x2345))},
        {"write of three bytes", 1, {0x44, 0x55}, packet(0, 3, hexBytes("01 02 03")),
         hexBytes("55 aa 00 01 11 22 33 66 44 55 01 77 78 56 34 12 03 00 01 02 03 50 58")},
        {"write without data bytes ignores pkg.data", 1, {0x44, 0x55}, packet(9, 0, "xyz"),
         makeFrame(header(1, "", 0))},
        {"empty scan-board vector", 0, {}, packet(4, 0), makeFrame(withScan(header(0, "", 4), 0, 0))},
        {"one scan-board byte", 0, {0x9A}, packet(4, 0), makeFrame(withScan(header(0, "", 4), 0x9A, 0))},
        {"three scan-board bytes give the first two", 0, {0x9A, 0xBC, 0xDE}, packet(4, 0),
         makeFrame(withScan(header(0, "", 4), 0x9A, 0xBC))},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        ProtoAnalyze3rd analyzer;
        auto req = request(c.code, c.scan);
        ST_MSGToHardDriver msg;
        ASSERT_EQ(emProtoSuccess, analyzer.analyze_OnePackageRequst(c.pkg, &req, msg));
        ASSERT_TRUE(msg.frame);
        EXPECT_EQ(toHex(c.expected), toHex(*msg.frame));
        EXPECT_EQ("3rd-proto", msg.protoKey);
        expectMatchList(msg, {{"AA55", 0},
                              {"1", 3},
                              {std::to_string(fullSum(c.expected)), static_cast<int>(c.expected.size()) - 2}});
    }
}

TEST_F(PacketBuildingTest, StandardFrameLogsItsFields)
{
    ProtoAnalyze3rd analyzer;
    auto req = request(0);
    ST_MSGToHardDriver msg;
    ASSERT_EQ(emProtoSuccess, analyzer.analyze_OnePackageRequst(packet(256, 0), &req, msg));
    const auto lines = records();
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ(ZORV_LOG_TRACE, lines[0].level);
    EXPECT_EQ(kStdSig, lines[0].signature);
    EXPECT_EQ("label[1], datagramLength[20], addrscr[0x12345678], scanBoardAddr[0x5544], readWriteCode[0], device "
              "type[51].",
              lines[0].message);
}

TEST_F(PacketBuildingTest, VariantFrameCarriesSubHeaderPacketSumAndSequence)
{
    // Frame bytes 18 .. 35 start as the sub-header 80 .. 91; bytes 21 .. 24
    // become the send count 0x01020304 and 25 .. 28 the sequence number.
    struct Case
    {
        const char* name;
        unsigned char code;
        std::vector<unsigned char> requestData;
        ST_RegisterAddrAndValid pkg;
        std::string expected;
    };
    std::vector<unsigned char> withExtension = subHeader();
    withExtension.push_back(0xE1);
    withExtension.push_back(0xE2);
    const Case cases[] = {
        {"read keeps byte 35 of the sub-header", 0, subHeader(), packet(0x100, 0, "", 18, 0x0A0B0C0D),
         makeFrame(header(0, hexBytes("80 81 82 04 03 02 01 0d 0c 0b 0a 8b 8c 8d 8e 8f 90 91"), 0x112))},
        {"read copies the extension bytes", 0, withExtension, packet(10, 2, "", 20, 7),
         makeFrame(header(0, hexBytes("80 81 82 04 03 02 01 07 00 00 00 8b 8c 8d 8e 8f 90 91 e1 e2"), 30))},
        {"write: own length at 18, extension length at 35, data at 36", 1, subHeader(),
         packet(0, 3, hexBytes("ab cd ef"), 18, 5),
         makeFrame(header(1, hexBytes("03 00 82 04 03 02 01 05 00 00 00 8b 8c 8d 8e 8f 90 99 ab cd ef"), 21))},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        VariantAnalyzer analyzer;
        analyzer.m_nSendCount = 0x01020304;
        analyzer.m_nLenExp = 0x99;
        auto req = request(c.code);
        req.data = c.requestData;
        ST_MSGToHardDriver msg;
        ASSERT_EQ(emProtoSuccess, analyzer.analyze_OnePackageRequst(c.pkg, &req, msg));
        ASSERT_TRUE(msg.frame);
        EXPECT_EQ(toHex(c.expected), toHex(*msg.frame));
        EXPECT_EQ("3rdOrvane-proto", msg.protoKey);
        expectMatchList(msg, {{"AA55", 0}, {"1", 3}});
    }
    EXPECT_TRUE(logged(ZORV_LOG_TRACE, "label[1], datagramLength[38], addrscr[0x12345678], scanBoardAddr[0x5544], "
                                       "readWriteCode[0], device type[51]."));
    EXPECT_EQ(kVarSig, find("label[1], datagramLength[41], addrscr[0x12345678], scanBoardAddr[0x5544], "
                            "readWriteCode[1], device type[51].")
                           .signature);
}

TEST_F(PacketBuildingTest, LabelStartsAt1AndThe256thFrameCarriesLabel0)
{
    ProtoAnalyze3rd standard;
    ProtoAnalyze3rd_Orvane variant;
    auto req = request(0);
    for (int which = 0; which < 2; ++which)
    {
        SCOPED_TRACE(which == 0 ? "standard" : "variant");
        std::vector<ST_MSGToHardDriver> msgs(257);
        for (ST_MSGToHardDriver& msg : msgs)
        {
            const auto pkg = packet(4, 0, "", which == 0 ? 0 : 18);
            ASSERT_EQ(emProtoSuccess, which == 0 ? standard.analyze_OnePackageRequst(pkg, &req, msg)
                                                 : variant.analyze_OnePackageRequst(pkg, &req, msg));
        }
        const int labels[][2] = {{0, 1}, {254, 255}, {255, 0}, {256, 1}};
        for (const auto& l : labels)
        {
            EXPECT_EQ(l[1], static_cast<unsigned char>((*msgs[l[0]].frame)[3])) << "frame " << l[0] + 1;
            EXPECT_EQ(std::to_string(l[1]), msgs[l[0]].matchList.at(1).key) << "frame " << l[0] + 1;
        }
    }
}

TEST_F(PacketBuildingTest, UnknownReadWriteCodeReturns7AndLeavesMessageButTakesALabel)
{
    struct Case
    {
        const char* name;
        bool variant;
        unsigned char code;
        std::string error;
        const char* sig;
    };
    const Case cases[] = {
        {"standard, code 2", false, 2, "error em_OperationCodeType:2", kStdSig},
        {"standard, code 255", false, 255, "error em_OperationCodeType:255", kStdSig},
        {"variant, code 2", true, 2, "error readWriteCode:2", kVarSig},
        {"variant, code 128", true, 128, "error readWriteCode:128", kVarSig},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        ProtoAnalyze3rd standard;
        VariantAnalyzer variant;
        auto build = [&](INTER_ST::ThirdGenerationCommRequest_Data& req, ST_MSGToHardDriver& msg) {
            const auto pkg = packet(4, 0, "", c.variant ? 18 : 0);
            return c.variant ? variant.analyze_OnePackageRequst(pkg, &req, msg)
                             : standard.analyze_OnePackageRequst(pkg, &req, msg);
        };
        auto bad = request(c.code);
        ST_MSGToHardDriver msg;
        msg.protoKey = "untouched";
        msg.matchList = {{"k", 9}};
        auto frame = std::make_shared<std::string>("x");
        msg.frame = frame;
        EXPECT_EQ(emProtoBadReadWriteCode, build(bad, msg));
        EXPECT_EQ("untouched", msg.protoKey);
        EXPECT_EQ(frame, msg.frame);
        expectMatchList(msg, {{"k", 9}});
        const auto lines = records();
        ASSERT_EQ(2u, lines.size());
        EXPECT_EQ(ZORV_LOG_TRACE, lines[0].level);
        EXPECT_EQ(ZORV_LOG_WARN, lines[1].level);
        EXPECT_EQ(c.error, lines[1].message);
        EXPECT_EQ(c.sig, lines[1].signature);
        // The failed packet used label 1: the next frame carries 2.
        auto good = request(0);
        ST_MSGToHardDriver next;
        ASSERT_EQ(emProtoSuccess, build(good, next));
        EXPECT_EQ(2, (*next.frame)[3]);
    }
}

TEST_F(PacketBuildingTest, NullRequestIsRejectedWithoutFrame)
{
    ProtoAnalyze3rd standard;
    VariantAnalyzer variant;
    ST_MSGToHardDriver msg;
    EXPECT_EQ(emProtoNullRequest, standard.analyze_OnePackageRequst(packet(4, 0), nullptr, msg));
    EXPECT_EQ(emProtoNullRequest, variant.analyze_OnePackageRequst(packet(4, 0, "", 18), nullptr, msg));
    EXPECT_FALSE(msg.frame);
    EXPECT_TRUE(msg.matchList.empty());
    EXPECT_EQ(2u, count("request is null,operation result[22]"));
}

} // namespace
