// Register and file requests of both analyzers: checks, packets and frames, counters, the local file.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <cstdio>
#include <fstream>
#include <ostream>

namespace
{

using Request = INTER_ST::ThirdGenerationCommRequest_Data;
using Lines = std::vector<std::string>;
constexpr unsigned int kAddr = 0x12345678;
constexpr em_RequestType RR = emRequestReadRegister, WR = emRequestWriteRegister, RF = emRequestReadFile,
                         WF = emRequestWriteFile;

// The analyzers' transfer counters.
template <class Analyzer>
struct Counted : Analyzer
{
    using Analyzer::m_nAlreadyRecievedCount, Analyzer::m_nSendCount;
};

Request request(em_RequestType type, unsigned long long len, const std::string& dataHex = "")
{
    const std::string d = hexBytes(dataHex);
    return {0x11,
            0x22,
            0x33,
            {0x44, 0x55},
            0x66,
            type == WR || type == WF,
            {0x78, 0x56, 0x34, 0x12},
            len,
            {d.begin(), d.end()},
            0x77};
}

// A request frame in hex; its data area given in hex.
std::string frame(bool write, int label, unsigned int addr, const std::string& data, int len = -1)
{
    return toHex(makeFrame({0x55, 0xAA, 0, static_cast<unsigned char>(label), 0x11, 0x22, 0x33, 0x66, 0x44, 0x55, write,
                            0x77, addr, hexBytes(data), len}));
}

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

// A rejection: nothing sent, counters and record untouched.
Sent rejected(em_ProtoAnalyze code, Lines log)
{
    return {.result = code, .log = std::move(log), .newRecord = false};
}

class RequestsTest : public LogCaptureTest
{
protected:
    // Runs one request on a fresh analyzer, the local file holding fileHex first (none if null).
    Sent run(bool variant, em_RequestType type, Request* req, unsigned long long max, const char* fileHex,
             bool selfIncreasing = true)
    {
        std::remove(m_path.c_str());
        if (fileHex)
            std::ofstream(m_path, std::ios::binary) << hexBytes(fileHex);
        clearLog();
        Counted<ProtoAnalyze3rd> plain;
        Counted<ProtoAnalyze3rd_Orvane> orvane;
        ProtoBase& analyzer = variant ? static_cast<ProtoBase&>(orvane) : plain;
        const auto record = analyzer.getReplyRecord();
        std::list<ST_MSGToHardDriver> out;
        Sent sent{analyzer.analyze_ClientData(max, type, req, out, m_path, selfIncreasing)};
        for (const ST_MSGToHardDriver& m : out)
            sent.frames.push_back(toHex(*m.frame));
        for (const std::string& line : lines())
            if (line.rfind("0 label[", 0) != 0 && line.rfind("0 ProtoAnalyze3rd_Orvane ", 0) != 0)
                sent.log.push_back(line);
        sent.sendCount = variant ? orvane.m_nSendCount : plain.m_nSendCount;
        sent.receivedCount = variant ? orvane.m_nAlreadyRecievedCount : plain.m_nAlreadyRecievedCount;
        sent.newRecord = analyzer.getReplyRecord() != record;
        return sent;
    }
    bool fileExists() const { return std::ifstream(m_path).good(); }
    void TearDown() override
    {
        std::remove(m_path.c_str());
        LogCaptureTest::TearDown();
    }
    const std::string m_path =
        ::testing::TempDir() + "zorv_" + ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".bin";
};

// Variant sub-headers: packet sum 5, sequence 7, two extension bytes; packet sum 0, one extension byte.
const std::string kSub5 = "a0 a1 a2 05 00 00 00 07 00 00 00 ab ac ad ae af b0 02 e1 e2";
const std::string kSub0 = "a0 a1 a2 00 00 00 00 07 00 00 00 ab ac ad ae af b0 01 e1";

TEST_F(RequestsTest, RequestIsSplitIntoFramesAndSetsTheTransferCounters)
{
    struct Case
    {
        const char* name;
        bool variant = false;
        em_RequestType type = RR;
        unsigned long long length = 0, max = 256;
        bool selfIncreasing = true;
        std::string data;
        const char* file = "01";
        Sent sent;
    };
    // Each packet of a variant write repeats the sub-header, its own data count in bytes 0 and 1.
    const std::string s0 = "a2 01 00 00 00 00 00 00 00 ab ac ad ae af b0 01 e1";
    const Case cases[] = {
        {.name = "read 1000 by 256, address stepping",
         .length = 1000,
         .sent = {.frames = {frame(0, 1, kAddr, "", 256), frame(0, 2, kAddr + 256, "", 256),
                             frame(0, 3, kAddr + 512, "", 256), frame(0, 4, kAddr + 768, "", 232)},
                  .log = {"0 register address[0x12345678], valid length[1000], size "
                          "package[4],bIsRegisterAddrSelfIncreasing(bool):1",
                          "0 len:256,register address[0x12345678].", "0 len:256,register address[0x12345778].",
                          "0 len:256,register address[0x12345878].", "0 len:232,register address[0x12345978].",
                          "0 MSGToHardDriverLst.size :4"},
                  .sendCount = 4}},
        {.name = "write 8 by 4 ends on a full packet, address repeated",
         .type = WR,
         .length = 8,
         .max = 4,
         .selfIncreasing = false,
         .data = "00 01 02 03 04 05 06 07",
         .sent = {.frames = {frame(1, 1, kAddr, "00 01 02 03"), frame(1, 2, kAddr, "04 05 06 07")},
                  .log = {"0  write data ,register address[0x12345678], valid length[8], size "
                          "package[2],bIsRegisterAddrSelfIncreasing[0].",
                          "0 register address[0x12345678], index[0]", "0 register address[0x12345678], index[1]",
                          "0 MSGToHardDriverLst.size :2"},
                  .sendCount = 2}},
        {.name = "file read of one packet",
         .type = RF,
         .length = 200,
         .sent = {.frames = {frame(0, 1, kAddr, "", 200)},
                  .log = {"0 register address[0x12345678], valid length[200], size package[1].",
                          "0 MSGToHardDriverLst.size :1"},
                  .sendCount = 1}},
        {.name = "file write sends the file's bytes in order",
         .type = WF,
         .max = 4,
         .file = "f0 f1 f2 f3 f4 f5",
         .sent = {.frames = {frame(1, 1, kAddr, "f0 f1 f2 f3"), frame(1, 2, kAddr + 4, "f4 f5")},
                  .log = {"0  registerbase[0x12345678], MaxDataLengthPerPacket:[4],nStreamOffSet(file "
                          "totalsize):[6],sizepackage[2].",
                          "0 register address[0x12345678], index[0]", "0 register address[0x1234567c], index[1]",
                          "0 MSGToHardDriverLst.size :2"},
                  .sendCount = 2}},
        {.name = "variant read, packet sum 5: one reply completes it",
         .variant = true,
         .length = 120,
         .data = kSub5,
         .sent = {.frames = {frame(0, 1, kAddr, kSub5, 120)},
                  .log = {"0 lenExplen [2].  valiadLen  [120]  ",
                          "0 getPacketSumSequeseNum: PacketSum:5-PacketSequeseNum:7",
                          "0 register address[0x12345678], valid length[120], size package[1].",
                          "0 MSGToHardDriverLst.size :1"},
                  .sendCount = 5,
                  .receivedCount = 4}},
        {.name = "variant write repeats the sub-header; packet sum 0 sends 1 with sequence 0",
         .variant = true,
         .type = WR,
         .length = 24,
         .max = 22,
         .data = kSub0 + " 01 02 03 04 05",
         .sent = {.frames = {frame(1, 1, kAddr, "04 00 " + s0 + " 01 02 03", 23),
                             frame(1, 2, kAddr + 3, "03 00 " + s0 + " 04 05", 22)},
                  .log = {"0 lenExplen [1].  valiadLen  [24]  ",
                          "0 getPacketSumSequeseNum: PacketSum:0-PacketSequeseNum:7",
                          "0 register address[0x12345678], valid length[24], size package[2].",
                          "0 len:4,register address[0x12345678], index[0]",
                          "0 len:3,register address[0x1234567b], index[1]", "0 MSGToHardDriverLst.size :2"},
                  .sendCount = 1}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        Request req = request(c.type, c.length, c.data);
        EXPECT_EQ(c.sent, run(c.variant, c.type, &req, c.max, c.file, c.selfIncreasing));
        EXPECT_EQ(c.type != RF, fileExists());  // a file read starts its file afresh
    }
}

TEST_F(RequestsTest, RejectedRequestReturnsItsCodeLogsItsCheckAndChangesNothing)
{
    // Each case breaks one thing in a valid request: 8 bytes; variant: the sub-header kSub5 and 4 bytes.
    struct Case
    {
        const char* name;
        bool variant = false;
        em_RequestType type = RR;
        int addrSize = 4;       // -1: no request at all
        int dataSize = -1;      // -1: all of the data
        long long length = -1;  // -1: the data's
        unsigned long long max = 256;
        const char* file = "f0";  // the local file's bytes, none if null
        Sent sent;
    };
    const std::string open = "3 open file failed , file path is [" + m_path + "].";
    const char* const lenExp24 = "0 lenExplen [2].  valiadLen  [24]  ";
    const char* const zero = "2 nHwMaxRecvLen == 0,operation result[21]";
    const char* const noRoom = "2 length < lenHead,operation result[16]";
    const Case cases[] = {
        {.name = "null request",
         .addrSize = -1,
         .sent = rejected(emProtoNullRequest, {"2 request is null,operation result[22]"})},
        {.name = "address checked before length",
         .addrSize = 5,
         .length = 0,
         .sent = rejected(emProtoBadRegisterAddr, {"2 operation result[13]"})},
        {.name = "length checked before max",
         .length = 0,
         .max = 0,
         .sent = rejected(emProtoBadLength, {"2 sizeValidLen == 0,operation result[16]"})},
        {.name = "write of length 0",
         .type = WR,
         .length = 0,
         .sent = rejected(emProtoBadLength, {"2 valiadLen == 0"})},
        {.name = "write data one byte short",
         .type = WR,
         .dataSize = 7,
         .sent = rejected(emProtoBadLength, {"2 sizeValidDataLen != valiadLen,operation result[16]"})},
        {.name = "unopenable file",
         .type = WF,
         .file = nullptr,
         .sent = rejected(emProtoFileOpenFailed, {open + " exception code :  2 "})},
        {.name = "empty file", .type = WF, .file = "", .sent = rejected(emProtoBadLength, {"2 valiadLen == 0"})},
        {.name = "read, max 0", .max = 0, .sent = rejected(emProtoZeroMaxRecvLen, {zero})},
        {.name = "write, max 0", .type = WR, .max = 0, .sent = rejected(emProtoZeroMaxRecvLen, {zero})},
        {.name = "file read, max 0", .type = RF, .max = 0, .sent = rejected(emProtoZeroMaxRecvLen, {zero})},
        {.name = "file write, max 0", .type = WF, .max = 0, .sent = rejected(emProtoZeroMaxRecvLen, {zero})},
        {.name = "variant, data shorter than the sub-header",
         .variant = true,
         .dataSize = 17,
         .sent = rejected(emProtoBadLength, {"2 data shorter than sub-header,operation result[16]"})},
        {.name = "variant, length below lenHead",
         .variant = true,
         .length = 19,
         .sent = rejected(emProtoBadLength,
                          {"0 lenExplen [2].  valiadLen  [19]  ", "2 valiadLen < lenHead,operation result[16]"})},
        {.name = "variant write, max leaves no room for data",
         .variant = true,
         .type = WR,
         .max = 20,
         .sent = rejected(emProtoBadLength, {lenExp24, noRoom})},
        {.name = "variant, unopenable file",
         .variant = true,
         .type = WF,
         .file = nullptr,
         .sent = rejected(emProtoFileOpenFailed, {lenExp24, open})},
        {.name = "variant, empty file",
         .variant = true,
         .type = WF,
         .file = "",
         .sent = rejected(emProtoBadLength, {lenExp24, "2 valiadLen == 0"})},
        {.name = "variant read, max 0",
         .variant = true,
         .max = 0,
         .sent = rejected(emProtoBadLength, {lenExp24, noRoom})},
        {.name = "variant write, max 0",
         .variant = true,
         .type = WR,
         .max = 0,
         .sent = rejected(emProtoBadLength, {lenExp24, noRoom})},
        {.name = "variant file read, max 0",
         .variant = true,
         .type = RF,
         .max = 0,
         .sent = rejected(emProtoBadLength, {lenExp24, noRoom})},
        {.name = "variant file write, max 0",
         .variant = true,
         .type = WF,
         .max = 0,
         .sent = rejected(emProtoBadLength, {lenExp24,
                                             "0  registerbase[0x12345678], MaxDataLengthPerPacket:[0],nStreamOffSet("
                                             "file totalsize):[1],sizepackage[0].",
                                             noRoom})},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        const std::string data = hexBytes(c.variant ? kSub5 + " 01 02 03 04" : "00 01 02 03 04 05 06 07");
        Request req = request(c.type, c.length < 0 ? data.size() : static_cast<unsigned long long>(c.length),
                              toHex(data.substr(0, c.dataSize < 0 ? data.size() : static_cast<size_t>(c.dataSize))));
        req.registerAddr.resize(c.addrSize < 0 ? 4 : static_cast<size_t>(c.addrSize));
        EXPECT_EQ(c.sent, run(c.variant, c.type, c.addrSize < 0 ? nullptr : &req, c.max, c.file));
    }
}

TEST_F(RequestsTest, PacketSumOfTwoOrMoreLeavesOneReplyToCompleteTheTransfer)
{
    struct Case
    {
        const char* sum;  // sub-header bytes 3 to 6
        unsigned long long sendCount, receivedCount;
        const char* log;
    };
    const Case cases[] = {
        {"00 00 00 00", 1, 0, "0 getPacketSumSequeseNum: PacketSum:0-PacketSequeseNum:7"},
        {"01 00 00 00", 1, 0, "0 getPacketSumSequeseNum: PacketSum:1-PacketSequeseNum:7"},
        {"02 00 00 00", 2, 1, "0 getPacketSumSequeseNum: PacketSum:2-PacketSequeseNum:7"},
        {"ff ff ff ff", 4294967295u, 4294967294u, "0 getPacketSumSequeseNum: PacketSum:-1-PacketSequeseNum:7"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.sum);
        clearLog();
        Counted<ProtoAnalyze3rd_Orvane> orvane;
        Request req = request(RR, 18, std::string("a0 a1 a2 ") + c.sum + " 07 00 00 00 ab ac ad ae af b0 00");
        EXPECT_EQ(1, orvane.getPacketSumSequeseNum(256, &req));
        EXPECT_EQ(c.sendCount, orvane.m_nSendCount);
        EXPECT_EQ(c.receivedCount, orvane.m_nAlreadyRecievedCount);
        EXPECT_EQ(Lines{c.log}, lines());
    }
}

// The per-packet lines of a file request's log, those naming an index or a packet length.
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
    Request req = request(WF, 0, kSub5);
    const Sent sent = run(true, WF, &req, 30, "f0 f1 f2 f3 f4 f5 f6 f7 f8 f9 fa fb fc fd");
    const std::string sub = "a2 05 00 00 00 07 00 00 00 ab ac ad ae af b0 02 e1 e2";
    EXPECT_EQ(Lines({frame(1, 1, kAddr, "0c 00 " + sub + " f0 f1 f2 f3 f4 f5 f6 f7 f8 f9", 32),
                     frame(1, 2, kAddr + 10, "06 00 " + sub + " fa fb fc fd", 26)}),
              sent.frames);
    EXPECT_EQ(5u, sent.sendCount);
    EXPECT_EQ(4u, sent.receivedCount);
    EXPECT_EQ(Lines({"0 register address[0x12345678], index[0]", "0 register address[0x12345682], index[1]"}),
              packetLines(sent.log));
}

TEST_F(RequestsTest, FileReadsLogEachPacketOnlyWhenThereAreSeveral)
{
    struct Case
    {
        const char* name;
        bool variant;
        unsigned long long length;
        std::string data;
        Lines frames, packetLog;
    };
    const Case cases[] = {
        {"one packet", false, 200, "", {frame(0, 1, kAddr, "", 200)}, {}},
        {"two packets",
         false,
         300,
         "",
         {frame(0, 1, kAddr, "", 256), frame(0, 2, kAddr + 256, "", 44)},
         {"0 len:256,register address[0x12345678].", "0 len:44,register address[0x12345778]."}},
        {"variant, always one packet", true, 120, kSub5, {frame(0, 1, kAddr, kSub5, 120)}, {}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        Request req = request(RF, c.length, c.data);
        const Sent sent = run(c.variant, RF, &req, 256, "01");
        EXPECT_EQ(c.frames, sent.frames);
        EXPECT_EQ(c.packetLog, packetLines(sent.log));
        EXPECT_FALSE(fileExists());
    }
}

TEST_F(RequestsTest, FileReadDeletesTheOldFileBeforeBuildingPackets)
{
    for (bool variant : {false, true})
    {
        SCOPED_TRACE(variant ? "variant" : "standard");
        Request req = request(RF, 120, kSub5);
        req.readWriteCode = 2;  // every packet fails
        EXPECT_EQ(emProtoBadReadWriteCode, run(variant, RF, &req, 256, "01").result);
        EXPECT_FALSE(fileExists());
    }
}

}  // namespace
