// Register and file requests of both analyzers: checks, packets and frames, counters, the local file.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/TempPath.h"

#include <cstdio>
#include <fstream>
#include <ostream>

namespace
{

constexpr unsigned int kAddr = 0x12345678;
constexpr em_RequestType RR = emRequestReadRegister, WR = emRequestWriteRegister, RF = emRequestReadFile,
                         WF = emRequestWriteFile;
// Variant sub-headers: packet sum 5, sequence 7, two extension bytes; packet sum 0, one extension byte.
const std::string kSub5 = "a0 a1 a2 05 00 00 00 07 00 00 00 ab ac ad ae af b0 02 e1 e2";
const std::string kSub0 = "a0 a1 a2 00 00 00 00 07 00 00 00 ab ac ad ae af b0 01 e1";

// One request: the analyzer, its kind and limits, its data in hex, and the local file's bytes (none if null).
struct Ask
{
    bool variant = false;
    em_RequestType type = RR;
    long long length = -1;  // -1: the data's size
    unsigned long long max = 256;
    bool selfIncreasing = true;
    std::string data;
    const char* file = "01";
    size_t addrSize = 4;
    bool null = false;  // no request at all
    int code = -1;      // the read/write code; -1: 1 for a write, else 0
};

// What a request leaves: its result, the frames in hex, the log lines (but the per-frame ones and the variant's
// begin and end), the transfer counters and whether a new reply record was started.
struct Sent
{
    int result = 0;
    Lines frames, log;
    unsigned long long sendCount = 0, receivedCount = 0;
    bool newRecord = true;
    bool operator==(const Sent&) const = default;
    friend void PrintTo(const Sent& s, std::ostream* os)
    {
        *os << "result " << s.result << ", frames " << testing::PrintToString(s.frames) << ", log "
            << testing::PrintToString(s.log) << ", sent " << s.sendCount << ", received " << s.receivedCount
            << (s.newRecord ? ", new record" : ", same record");
    }
};

Sent sent(Lines frames, Lines log, unsigned long long sendCount, unsigned long long receivedCount = 0)
{
    return {0, std::move(frames), std::move(log), sendCount, receivedCount};
}

// A rejection: nothing sent, counters and record untouched.
Sent rejected(em_ProtoAnalyze code, Lines log)
{
    return {code, {}, std::move(log), 0, 0, false};
}

// A request frame in hex; its data area given in hex.
std::string frame(bool write, int label, unsigned int addr, const std::string& data, int len = -1)
{
    return toHex(makeFrame({0x55, 0xAA, 0, static_cast<unsigned char>(label), 0x11, 0x22, 0x33, 0x66, 0x44, 0x55, write,
                            0x77, addr, hexBytes(data), len}));
}

// The analyzers' transfer counters.
template <class Analyzer>
struct Counted : Analyzer
{
    using Analyzer::m_nAlreadyRecievedCount, Analyzer::m_nSendCount;
};

class RequestsTest : public LogCaptureTest
{
protected:
    // Runs one request on a fresh analyzer.
    Sent run(const Ask& ask)
    {
        const std::string d = hexBytes(ask.data);
        INTER_ST::ThirdGenerationCommRequest_Data request{0x11, 0x22, 0x33, {0x44, 0x55}, 0x66};
        request.readWriteCode = static_cast<unsigned char>(ask.code >= 0 ? ask.code : ask.type == WR || ask.type == WF);
        request.registerAddr = {0x78, 0x56, 0x34, 0x12};
        request.validLength = ask.length < 0 ? d.size() : static_cast<unsigned long long>(ask.length);
        request.data.assign(d.begin(), d.end());
        request.packetType = 0x77;
        request.registerAddr.resize(ask.addrSize);
        std::remove(m_path.c_str());
        if (ask.file)
            std::ofstream(m_path, std::ios::binary) << hexBytes(ask.file);
        clearLog();
        Counted<ProtoAnalyze3rd> plain;
        Counted<ProtoAnalyze3rd_Orvane> orvane;
        ProtoBase& analyzer = ask.variant ? static_cast<ProtoBase&>(orvane) : plain;
        const auto record = analyzer.getReplyRecord();
        std::list<ST_MSGToHardDriver> out;
        Sent s{analyzer.analyze_ClientData(ask.max, ask.type, ask.null ? nullptr : &request, out, m_path,
                                           ask.selfIncreasing)};
        for (const ST_MSGToHardDriver& m : out)
            s.frames.push_back(toHex(*m.frame));
        for (const std::string& line : lines())
            if (line.rfind("0 label[", 0) != 0 && line.rfind("0 ProtoAnalyze3rd_Orvane ", 0) != 0)
                s.log.push_back(line);
        s.sendCount = ask.variant ? orvane.m_nSendCount : plain.m_nSendCount;
        s.receivedCount = ask.variant ? orvane.m_nAlreadyRecievedCount : plain.m_nAlreadyRecievedCount;
        s.newRecord = analyzer.getReplyRecord() != record;
        return s;
    }
    bool fileExists() const { return std::ifstream(m_path).good(); }
    void TearDown() override
    {
        std::remove(m_path.c_str());
        LogCaptureTest::TearDown();
    }
    const std::string m_path =
        tempPath(std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + ".bin");
};

struct Case
{
    const char* name;
    Ask ask;
    Sent sent;
};

TEST_F(RequestsTest, RequestIsSplitIntoFramesAndSetsTheTransferCounters)
{
    // Each packet of a variant write repeats the sub-header, its own data count in bytes 0 and 1.
    const std::string s0 = "a2 01 00 00 00 00 00 00 00 ab ac ad ae af b0 01 e1";
    const Case cases[] = {
        {"read 1000 by 256, address stepping",
         {.length = 1000},
         sent(
             {frame(0, 1, kAddr, "", 256), frame(0, 2, kAddr + 256, "", 256), frame(0, 3, kAddr + 512, "", 256),
              frame(0, 4, kAddr + 768, "", 232)},
             {"0 register address[0x12345678], valid length[1000], size package[4],bIsRegisterAddrSelfIncreasing(bool):1",
              "0 len:256,register address[0x12345678].", "0 len:256,register address[0x12345778].",
              "0 len:256,register address[0x12345878].", "0 len:232,register address[0x12345978].",
              "0 MSGToHardDriverLst.size :4"},
             4)},
        {"write 8 by 4 ends on a full packet, address repeated",
         {.type = WR, .max = 4, .selfIncreasing = false, .data = "00 01 02 03 04 05 06 07"},
         sent({frame(1, 1, kAddr, "00 01 02 03"), frame(1, 2, kAddr, "04 05 06 07")},
              {"0  write data ,register address[0x12345678], valid length[8], size package[2],"
               "bIsRegisterAddrSelfIncreasing[0].",
               "0 register address[0x12345678], index[0]", "0 register address[0x12345678], index[1]",
               "0 MSGToHardDriverLst.size :2"},
              2)},
        {"file read of one packet",
         {.type = RF, .length = 200},
         sent({frame(0, 1, kAddr, "", 200)},
              {"0 register address[0x12345678], valid length[200], size package[1].", "0 MSGToHardDriverLst.size :1"},
              1)},
        {"file write sends the file's bytes in order",
         {.type = WF, .max = 4, .file = "f0 f1 f2 f3 f4 f5"},
         sent({frame(1, 1, kAddr, "f0 f1 f2 f3"), frame(1, 2, kAddr + 4, "f4 f5")},
              {"0  registerbase[0x12345678], MaxDataLengthPerPacket:[4],nStreamOffSet(file totalsize):[6],"
               "sizepackage[2].",
               "0 register address[0x12345678], index[0]", "0 register address[0x1234567c], index[1]",
               "0 MSGToHardDriverLst.size :2"},
              2)},
        {"variant read, packet sum 5: one reply completes it",
         {.variant = true, .length = 120, .data = kSub5},
         sent({frame(0, 1, kAddr, kSub5, 120)},
              {"0 lenExplen [2].  valiadLen  [120]  ", "0 getPacketSumSequeseNum: PacketSum:5-PacketSequeseNum:7",
               "0 register address[0x12345678], valid length[120], size package[1].", "0 MSGToHardDriverLst.size :1"},
              5, 4)},
        {"variant write repeats the sub-header; packet sum 0 sends 1 with sequence 0",
         {.variant = true, .type = WR, .max = 22, .data = kSub0 + " 01 02 03 04 05"},
         sent({frame(1, 1, kAddr, "04 00 " + s0 + " 01 02 03", 23),
               frame(1, 2, kAddr + 3, "03 00 " + s0 + " 04 05", 22)},
              {"0 lenExplen [1].  valiadLen  [24]  ", "0 getPacketSumSequeseNum: PacketSum:0-PacketSequeseNum:7",
               "0 register address[0x12345678], valid length[24], size package[2].",
               "0 len:4,register address[0x12345678], index[0]", "0 len:3,register address[0x1234567b], index[1]",
               "0 MSGToHardDriverLst.size :2"},
              1)},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.sent, run(c.ask));
        EXPECT_EQ(c.ask.type != RF, fileExists());  // a file read starts its file afresh
    }
}

TEST_F(RequestsTest, RejectedRequestReturnsItsCodeLogsItsCheckAndChangesNothing)
{
    // Each case breaks one thing in a valid request: 8 bytes; variant: the sub-header kSub5 and 4 bytes.
    const std::string open = "3 open file failed , file path is [" + m_path + "].";
    const char* const lenExp24 = "0 lenExplen [2].  valiadLen  [24]  ";
    const Case cases[] = {
        {"null request", {.null = true}, rejected(emProtoNullRequest, {"2 request is null,operation result[22]"})},
        {"address checked before length",
         {.length = 0, .addrSize = 5},
         rejected(emProtoBadRegisterAddr, {"2 operation result[13]"})},
        {"length checked before max",
         {.length = 0, .max = 0},
         rejected(emProtoBadLength, {"2 sizeValidLen == 0,operation result[16]"})},
        {"write of length 0", {.type = WR, .length = 0}, rejected(emProtoBadLength, {"2 valiadLen == 0"})},
        {"write data one byte short",
         {.type = WR, .length = 9},
         rejected(emProtoBadLength, {"2 sizeValidDataLen != valiadLen,operation result[16]"})},
        {"unopenable file",
         {.type = WF, .file = nullptr},
         rejected(emProtoFileOpenFailed, {open + " exception code :  2 "})},
        {"empty file", {.type = WF, .file = ""}, rejected(emProtoBadLength, {"2 valiadLen == 0"})},
        {"variant, data shorter than the sub-header",
         {.variant = true, .length = 24, .data = kSub5.substr(0, 50)},
         rejected(emProtoBadLength, {"2 data shorter than sub-header,operation result[16]"})},
        {"variant, length below lenHead",
         {.variant = true, .length = 19},
         rejected(emProtoBadLength,
                  {"0 lenExplen [2].  valiadLen  [19]  ", "2 valiadLen < lenHead,operation result[16]"})},
        {"variant write, max leaves no room for data",
         {.variant = true, .type = WR, .max = 20},
         rejected(emProtoBadLength, {lenExp24, "2 length < lenHead,operation result[16]"})},
        {"variant, unopenable file",
         {.variant = true, .type = WF, .file = nullptr},
         rejected(emProtoFileOpenFailed, {lenExp24, open})},
        {"variant, empty file",
         {.variant = true, .type = WF, .file = ""},
         rejected(emProtoBadLength, {lenExp24, "2 valiadLen == 0"})},
    };
    for (Case c : cases)
    {
        SCOPED_TRACE(c.name);
        if (c.ask.data.empty())
            c.ask.data = c.ask.variant ? kSub5 + " 01 02 03 04" : "00 01 02 03 04 05 06 07";
        EXPECT_EQ(c.sent, run(c.ask));
    }
}

TEST_F(RequestsTest, ZeroMaxRecvLenIsRejectedForEveryRequestKind)
{
    // The standard analyzer says so; the variant finds no room for its sub-header (after, for a file write, its
    // summary line).
    const char* const noRoom = "2 length < lenHead,operation result[16]";
    for (const em_RequestType type : {RR, WR, RF, WF})
    {
        SCOPED_TRACE(type);
        EXPECT_EQ(rejected(emProtoZeroMaxRecvLen, {"2 nHwMaxRecvLen == 0,operation result[21]"}),
                  run({.type = type, .max = 0, .data = "00 01 02 03 04 05 06 07"}));
        Lines variant = {"0 lenExplen [2].  valiadLen  [24]  ", noRoom};
        if (type == WF)
            variant.insert(variant.begin() + 1, "0  registerbase[0x12345678], MaxDataLengthPerPacket:[0],nStreamOffSet("
                                                "file totalsize):[1],sizepackage[0].");
        EXPECT_EQ(rejected(emProtoBadLength, variant),
                  run({.variant = true, .type = type, .max = 0, .data = kSub5 + " 01 02 03 04"}));
    }
}

TEST_F(RequestsTest, PacketSumOfTwoOrMoreLeavesOneReplyToCompleteTheTransfer)
{
    struct Sum
    {
        const char* bytes;  // sub-header bytes 3 to 6
        unsigned long long sendCount, receivedCount;
        const char* log;
    };
    const Sum sums[] = {
        {"00 00 00 00", 1, 0, "0 getPacketSumSequeseNum: PacketSum:0-PacketSequeseNum:7"},
        {"01 00 00 00", 1, 0, "0 getPacketSumSequeseNum: PacketSum:1-PacketSequeseNum:7"},
        {"02 00 00 00", 2, 1, "0 getPacketSumSequeseNum: PacketSum:2-PacketSequeseNum:7"},
        {"ff ff ff ff", 4294967295u, 4294967294u, "0 getPacketSumSequeseNum: PacketSum:-1-PacketSequeseNum:7"},
    };
    for (const Sum& sum : sums)
    {
        SCOPED_TRACE(sum.bytes);
        clearLog();
        Counted<ProtoAnalyze3rd_Orvane> orvane;
        const std::string sub = hexBytes(std::string("a0 a1 a2 ") + sum.bytes + " 07 00 00 00 ab ac ad ae af b0 00");
        INTER_ST::ThirdGenerationCommRequest_Data request{.data = {sub.begin(), sub.end()}};
        EXPECT_EQ(1, orvane.getPacketSumSequeseNum(256, &request));
        EXPECT_EQ(sum.sendCount, orvane.m_nSendCount);
        EXPECT_EQ(sum.receivedCount, orvane.m_nAlreadyRecievedCount);
        EXPECT_EQ(Lines{sum.log}, lines());
    }
}

// The per-packet lines of a request's log, those naming an index or a packet length.
Lines packetLines(const Lines& log)
{
    Lines out;
    for (const std::string& line : log)
        if (line.find("index[") != std::string::npos || line.rfind("0 len:", 0) == 0)
            out.push_back(line);
    return out;
}

TEST_F(RequestsTest, VariantFileWriteLogsEachPacketAsTheStandardOneDoes)
{
    // 14 file bytes, at most 30 - 20 of them a packet behind the sub-header and its two extension bytes, which
    // lead each packet's data again.
    const Sent s = run(
        {.variant = true, .type = WF, .max = 30, .data = kSub5, .file = "f0 f1 f2 f3 f4 f5 f6 f7 f8 f9 fa fb fc fd"});
    const std::string sub = "a2 05 00 00 00 07 00 00 00 ab ac ad ae af b0 02 e1 e2";
    EXPECT_EQ(Lines({frame(1, 1, kAddr, "0c 00 " + sub + " f0 f1 f2 f3 f4 f5 f6 f7 f8 f9", 32),
                     frame(1, 2, kAddr + 10, "06 00 " + sub + " fa fb fc fd", 26)}),
              s.frames);
    EXPECT_EQ(5u, s.sendCount);
    EXPECT_EQ(4u, s.receivedCount);
    EXPECT_EQ(Lines({"0 register address[0x12345678], index[0]", "0 register address[0x12345682], index[1]"}),
              packetLines(s.log));
}

TEST_F(RequestsTest, FileReadsLogEachPacketOnlyWhenThereAreSeveral)
{
    const Case cases[] = {
        {"two packets",
         {.type = RF, .length = 300},
         sent({frame(0, 1, kAddr, "", 256), frame(0, 2, kAddr + 256, "", 44)},
              {"0 len:256,register address[0x12345678].", "0 len:44,register address[0x12345778]."}, 2)},
        {"variant, always one packet",
         {.variant = true, .type = RF, .length = 120, .data = kSub5},
         sent({frame(0, 1, kAddr, kSub5, 120)}, {}, 5, 4)},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        Sent s = run(c.ask);
        s.log = packetLines(s.log);
        EXPECT_EQ(c.sent, s);
        EXPECT_FALSE(fileExists());
    }
}

TEST_F(RequestsTest, FileReadDeletesTheOldFileBeforeBuildingPackets)
{
    // Every packet fails on its read/write code; the old file is gone all the same.
    for (bool variant : {false, true})
    {
        SCOPED_TRACE(variant ? "variant" : "standard");
        EXPECT_EQ(emProtoBadReadWriteCode,
                  run({.variant = variant, .type = RF, .length = 120, .data = kSub5, .code = 2}).result);
        EXPECT_FALSE(fileExists());
    }
}

}  // namespace
