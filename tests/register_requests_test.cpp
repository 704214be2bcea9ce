// Register read and write requests of both analyzers: the checks and their
// order, splitting into packets, the frames built, the transfer counters and
// the reply record that each accepted request starts.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <utility>
#include <vector>

namespace
{

using Request = INTER_ST::ThirdGenerationCommRequest_Data;
using LogLines = std::vector<std::pair<em_LOG_LEVEL, std::string>>;

constexpr unsigned int kAddr = 0x12345678;

struct StdAnalyzer : ProtoAnalyze3rd
{
    using ProtoAnalyze3rd::m_nAlreadyRecievedCount;
    using ProtoAnalyze3rd::m_nSendCount;
};

struct VarAnalyzer : ProtoAnalyze3rd_Orvane
{
    using ProtoAnalyze3rd_Orvane::m_nAlreadyRecievedCount;
    using ProtoAnalyze3rd_Orvane::m_nLenExp;
    using ProtoAnalyze3rd_Orvane::m_nSendCount;
};

enum Op
{
    StdRead,
    StdWrite,
    VarRead,
    VarWrite
};

// Both analyzers of one test, with the transfer state readable.
struct Analyzers
{
    StdAnalyzer standard;
    VarAnalyzer variant;

    em_ProtoAnalyze run(Op op, unsigned long long max, Request* req, std::list<ST_MSGToHardDriver>& out, bool selfInc)
    {
        switch (op)
        {
        case StdRead:
            return standard.analyze_ReadRequest(max, req, out, selfInc);
        case StdWrite:
            return standard.analyze_WriteRequest(max, req, out, selfInc);
        case VarRead:
            return variant.analyze_ReadRequest(max, req, out, selfInc);
        default:
            return variant.analyze_WriteRequest(max, req, out, selfInc);
        }
    }
    bool isVariant(Op op) const { return op == VarRead || op == VarWrite; }
    unsigned long long sendCount(Op op) const { return isVariant(op) ? variant.m_nSendCount : standard.m_nSendCount; }
    unsigned long long receivedCount(Op op) const
    {
        return isVariant(op) ? variant.m_nAlreadyRecievedCount : standard.m_nAlreadyRecievedCount;
    }
    std::shared_ptr<INTER_ST::ThirdGenerationCommResponse_Data> record(Op op) const
    {
        return isVariant(op) ? variant.getReplyRecord() : standard.getReplyRecord();
    }
};

#if defined(__GNUC__) || defined(__clang__)
__attribute__((format(printf, 1, 2)))
#endif
std::string format(const char* fmt, ...)
{
    char text[256];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    return text;
}

Request baseRequest(unsigned char code)
{
    Request r;
    r.firstAddr = 0x11;
    r.secondAddr = 0x22;
    r.deviceType = 0x33;
    r.scanBoardAddr = {0x44, 0x55};
    r.frameByte7 = 0x66;
    r.readWriteCode = code;
    r.registerAddr = {0x78, 0x56, 0x34, 0x12};
    r.packetType = 0x77;
    return r;
}

// Sub-header A0 A1 A2, packet sum, sequence number, AB .. B0, extension
// length; then the given extension and payload bytes.
std::vector<unsigned char> variantData(unsigned int sum, unsigned int seq, const std::string& extension,
                                       const std::string& payload = "")
{
    std::vector<unsigned char> d = {0xA0, 0xA1, 0xA2};
    for (unsigned int v : {sum, seq})
    {
        for (int i = 0; i < 4; ++i)
        {
            d.push_back(static_cast<unsigned char>(v >> (8 * i)));
        }
    }
    for (unsigned char b = 0xAB; b <= 0xB0; ++b)
    {
        d.push_back(b);
    }
    d.push_back(static_cast<unsigned char>(extension.size()));
    d.insert(d.end(), extension.begin(), extension.end());
    d.insert(d.end(), payload.begin(), payload.end());
    return d;
}

// A valid request of each kind: 8 bytes for the standard analyzer; sub-header,
// two extension bytes and four payload bytes (24) for the variant.
Request validRequest(Op op)
{
    Request r = baseRequest(op == StdWrite || op == VarWrite ? 1 : 0);
    if (op == VarRead || op == VarWrite)
    {
        r.data = variantData(2, 1, hexBytes("e1 e2"), hexBytes("01 02 03 04"));
    }
    else if (op == StdWrite)
    {
        r.data = {0, 1, 2, 3, 4, 5, 6, 7};
    }
    r.validLength = op == VarRead || op == VarWrite ? 24 : 8;
    return r;
}

std::string requestFrame(unsigned char code, unsigned char label, unsigned int addr, const std::string& data,
                         int validLength)
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
    f.registerAddr = addr;
    f.data = data;
    f.validLength = validLength;
    return makeFrame(f);
}

class RegisterRequestsTest : public LogCaptureTest
{
protected:
    // Every line but the per-frame "label[...]" lines, in order.
    LogLines requestLines() const
    {
        LogLines lines;
        for (const zorvlog::LogRecord& r : records())
        {
            if (r.message.rfind("label[", 0) != 0)
            {
                lines.emplace_back(r.level, r.message);
            }
        }
        return lines;
    }
    static LogLines trace(const std::vector<std::string>& texts)
    {
        LogLines lines;
        for (const std::string& t : texts)
        {
            lines.emplace_back(ZORV_LOG_TRACE, t);
        }
        return lines;
    }
    static std::vector<std::string> frames(const std::list<ST_MSGToHardDriver>& out)
    {
        std::vector<std::string> hex;
        for (const ST_MSGToHardDriver& m : out)
        {
            hex.push_back(m.frame ? toHex(*m.frame) : "null");
        }
        return hex;
    }
    static std::vector<std::string> hexAll(const std::vector<std::string>& bytes)
    {
        std::vector<std::string> hex;
        for (const std::string& b : bytes)
        {
            hex.push_back(toHex(b));
        }
        return hex;
    }
};

TEST_F(RegisterRequestsTest, StandardRequestIsSplitIntoPacketsOfMaxRecvLen)
{
    struct Case
    {
        const char* name;
        Op op;
        unsigned long long len;
        bool selfInc;
        std::vector<int> chunks;
        std::vector<unsigned int> addrs;
    };
    const std::vector<unsigned int> stepping = {kAddr, kAddr + 256, kAddr + 512, kAddr + 768};
    const Case cases[] = {
        {"read 1000 by 256, address stepping", StdRead, 1000, true, {256, 256, 256, 232}, stepping},
        {"read 1000 by 256, address repeated", StdRead, 1000, false, {256, 256, 256, 232},
         {kAddr, kAddr, kAddr, kAddr}},
        {"read 512 by 256 ends on a full packet", StdRead, 512, true, {256, 256}, {kAddr, kAddr + 256}},
        {"read in one packet has no per-packet line", StdRead, 100, true, {100}, {kAddr}},
        {"write 1000 by 256, address stepping", StdWrite, 1000, true, {256, 256, 256, 232}, stepping},
        {"write 512 by 256, address repeated", StdWrite, 512, false, {256, 256}, {kAddr, kAddr}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        Analyzers a;
        a.standard.m_nAlreadyRecievedCount = 9;
        const bool write = c.op == StdWrite;
        Request req = baseRequest(write ? 1 : 0);
        req.validLength = c.len;
        std::string bytes;
        for (unsigned long long i = 0; write && i < c.len; ++i)
        {
            bytes += static_cast<char>((i * 7 + 3) & 0xFF);
        }
        req.data.assign(bytes.begin(), bytes.end());
        std::list<ST_MSGToHardDriver> out;
        ASSERT_EQ(emProtoSuccess, a.run(c.op, 256, &req, out, c.selfInc));
        const int n = static_cast<int>(c.chunks.size());
        const int flag = c.selfInc ? 1 : 0;
        const int len = static_cast<int>(c.len);
        std::vector<std::string> texts = {
            write ? format(" write data ,register address[0x12345678], valid length[%d], size "
                           "package[%d],bIsRegisterAddrSelfIncreasing[%d].", len, n, flag)
                  : format("register address[0x12345678], valid length[%d], size "
                           "package[%d],bIsRegisterAddrSelfIncreasing(bool):%d", len, n, flag)};
        std::vector<std::string> expected;
        for (size_t i = 0, offset = 0; i < c.chunks.size(); offset += static_cast<size_t>(c.chunks[i]), ++i)
        {
            const auto label = static_cast<unsigned char>(i + 1);
            expected.push_back(write ? requestFrame(1, label, c.addrs[i], bytes.substr(offset, c.chunks[i]), -1)
                                     : requestFrame(0, label, c.addrs[i], "", c.chunks[i]));
            if (write)
            {
                texts.push_back(format("register address[0x%x], index[%d]", c.addrs[i], static_cast<int>(i)));
            }
            else if (n > 1)
            {
                texts.push_back(format("len:%d,register address[0x%x].", c.chunks[i], c.addrs[i]));
            }
        }
        texts.push_back(format("MSGToHardDriverLst.size :%d", n));
        EXPECT_EQ(hexAll(expected), frames(out));
        EXPECT_EQ(trace(texts), requestLines());
        EXPECT_EQ(c.chunks.size(), a.sendCount(c.op));
        EXPECT_EQ(0u, a.receivedCount(c.op));
    }
}

TEST_F(RegisterRequestsTest, RejectedRequestLogsItsCheckAndChangesNothing)
{
    using Break = std::function<void(Request&, unsigned long long&)>;
    struct Case
    {
        const char* name;
        Op op;
        Break breakIt;
        bool nullRequest;
        em_ProtoAnalyze code;
        LogLines logs;
    };
    const auto none = [](Request&, unsigned long long&) {};
    const auto shortAddr = [](Request& r, unsigned long long&) { r.registerAddr.pop_back(); };
    const auto zeroLen = [](Request& r, unsigned long long&) { r.validLength = 0; };
    const auto zeroMax = [](Request&, unsigned long long& max) { max = 0; };
    const auto maxOf = [](unsigned long long value) {
        return [value](Request&, unsigned long long& max) { max = value; };
    };
    const auto dataOf = [](size_t size) { return [size](Request& r, unsigned long long&) { r.data.resize(size); }; };
    const std::pair<em_LOG_LEVEL, std::string> null = {ZORV_LOG_INFO, "request is null,operation result[22]"};
    const std::pair<em_LOG_LEVEL, std::string> addr = {ZORV_LOG_INFO, "operation result[13]"};
    const std::pair<em_LOG_LEVEL, std::string> readLen0 = {ZORV_LOG_INFO, "sizeValidLen == 0,operation result[16]"};
    const std::pair<em_LOG_LEVEL, std::string> max0 = {ZORV_LOG_INFO, "nHwMaxRecvLen == 0,operation result[21]"};
    const std::pair<em_LOG_LEVEL, std::string> dataSize = {ZORV_LOG_INFO,
                                                           "sizeValidDataLen != valiadLen,operation result[16]"};
    const std::pair<em_LOG_LEVEL, std::string> subHeader = {ZORV_LOG_INFO,
                                                            "data shorter than sub-header,operation result[16]"};
    const std::pair<em_LOG_LEVEL, std::string> belowHead = {ZORV_LOG_INFO, "valiadLen < lenHead,operation result[16]"};
    const std::pair<em_LOG_LEVEL, std::string> maxBelowHead = {ZORV_LOG_INFO, "length < lenHead,operation result[16]"};
    const std::pair<em_LOG_LEVEL, std::string> lenExp24 = {ZORV_LOG_TRACE, "lenExplen [2].  valiadLen  [24]  "};
    const Case cases[] = {
        {"standard read, null request", StdRead, none, true, emProtoNullRequest, {null}},
        {"standard read, address of 3 bytes", StdRead, shortAddr, false, emProtoBadRegisterAddr, {addr}},
        {"standard read, address of 5 bytes checked before length", StdRead,
         [](Request& r, unsigned long long&) { r.registerAddr.push_back(0); r.validLength = 0; }, false,
         emProtoBadRegisterAddr, {addr}},
        {"standard read, length 0 checked before max", StdRead,
         [](Request& r, unsigned long long& max) { r.validLength = 0; max = 0; }, false, emProtoBadLength, {readLen0}},
        {"standard read, max 0", StdRead, zeroMax, false, emProtoZeroMaxRecvLen, {max0}},
        {"standard write, null request", StdWrite, none, true, emProtoNullRequest, {null}},
        {"standard write, empty address", StdWrite, [](Request& r, unsigned long long&) { r.registerAddr.clear(); },
         false, emProtoBadRegisterAddr, {addr}},
        {"standard write, length 0", StdWrite, zeroLen, false, emProtoBadLength, {{ZORV_LOG_INFO, "valiadLen == 0"}}},
        {"standard write, data one byte short", StdWrite, dataOf(7), false, emProtoBadLength, {dataSize}},
        {"standard write, data one byte long", StdWrite, dataOf(9), false, emProtoBadLength, {dataSize}},
        {"standard write, max 0", StdWrite, zeroMax, false, emProtoZeroMaxRecvLen, {max0}},
        {"variant read, null request", VarRead, none, true, emProtoNullRequest, {null}},
        {"variant read, address of 3 bytes", VarRead, shortAddr, false, emProtoBadRegisterAddr, {addr}},
        {"variant read, length 0", VarRead, zeroLen, false, emProtoBadLength, {readLen0}},
        {"variant read, data shorter than the sub-header", VarRead, dataOf(17), false, emProtoBadLength, {subHeader}},
        {"variant read, length below lenHead", VarRead, [](Request& r, unsigned long long&) { r.validLength = 19; },
         false, emProtoBadLength, {{ZORV_LOG_TRACE, "lenExplen [2].  valiadLen  [19]  "}, belowHead}},
        {"variant read, max below lenHead", VarRead, maxOf(19), false, emProtoBadLength, {lenExp24, maxBelowHead}},
        {"variant read, max 0", VarRead, zeroMax, false, emProtoBadLength, {lenExp24, maxBelowHead}},
        {"variant read, extension bytes missing", VarRead, dataOf(19), false, emProtoBadLength, {lenExp24, subHeader}},
        {"variant write, null request", VarWrite, none, true, emProtoNullRequest, {null}},
        {"variant write, address of 3 bytes", VarWrite, shortAddr, false, emProtoBadRegisterAddr, {addr}},
        {"variant write, length 0", VarWrite, zeroLen, false, emProtoBadLength, {readLen0}},
        {"variant write, data shorter than the sub-header", VarWrite, dataOf(17), false, emProtoBadLength, {subHeader}},
        {"variant write, length below lenHead", VarWrite,
         [](Request& r, unsigned long long&) { r.validLength = 19; r.data.resize(19); }, false, emProtoBadLength,
         {{ZORV_LOG_TRACE, "lenExplen [2].  valiadLen  [19]  "}, belowHead}},
        {"variant write, data one byte short", VarWrite, dataOf(23), false, emProtoBadLength, {lenExp24, dataSize}},
        {"variant write, max below lenHead", VarWrite, maxOf(19), false, emProtoBadLength, {lenExp24, maxBelowHead}},
        {"variant write, max leaves no room for payload", VarWrite, maxOf(20), false, emProtoBadLength,
         {lenExp24, maxBelowHead}},
        {"variant write, max 0", VarWrite, zeroMax, false, emProtoBadLength, {lenExp24, maxBelowHead}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        Analyzers a;
        a.standard.m_nSendCount = a.variant.m_nSendCount = 99;
        a.standard.m_nAlreadyRecievedCount = a.variant.m_nAlreadyRecievedCount = 98;
        a.variant.m_nLenExp = 0x55;
        const auto recordBefore = a.record(c.op);
        Request req = validRequest(c.op);
        unsigned long long max = 256;
        c.breakIt(req, max);
        std::list<ST_MSGToHardDriver> out(1);
        EXPECT_EQ(c.code, a.run(c.op, max, c.nullRequest ? nullptr : &req, out, true));
        EXPECT_EQ(c.logs, requestLines());
        EXPECT_EQ(1u, out.size());
        EXPECT_EQ(99u, a.sendCount(c.op));
        EXPECT_EQ(98u, a.receivedCount(c.op));
        EXPECT_EQ(0x55, a.variant.m_nLenExp);
        EXPECT_EQ(recordBefore, a.record(c.op));
    }
}

TEST_F(RegisterRequestsTest, VariantReadIsOnePacketCarryingTheSubHeader)
{
    // Sub-header with sequence number 7 and two extension bytes; the request
    // reads 120 bytes in all, sub-header included.
    struct Case
    {
        const char* name;
        unsigned int packetSum;
        unsigned int sendCount;
        unsigned int receivedCount;
        const char* sumAndSequence;  // frame bytes 21 .. 28
    };
    const Case cases[] = {
        {"packet sum 5: one reply completes it", 5, 5, 4, "05 00 00 00 07 00 00 00"},
        {"packet sum 1", 1, 1, 0, "01 00 00 00 07 00 00 00"},
        {"packet sum 0: send count 1, sequence 0", 0, 1, 0, "01 00 00 00 00 00 00 00"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        Analyzers a;
        a.variant.m_nAlreadyRecievedCount = 50;
        Request req = baseRequest(0);
        req.data = variantData(c.packetSum, 7, hexBytes("e1 e2"));
        req.validLength = 120;
        std::list<ST_MSGToHardDriver> out;
        ASSERT_EQ(emProtoSuccess, a.run(VarRead, 256, &req, out, true));
        const std::string area =
            hexBytes(std::string("a0 a1 a2 ") + c.sumAndSequence + " ab ac ad ae af b0 02 e1 e2");
        EXPECT_EQ(hexAll({requestFrame(0, 1, kAddr, area, 120)}), frames(out));
        ASSERT_EQ(1u, out.size());
        EXPECT_EQ(2u, out.front().matchList.size());
        EXPECT_EQ(trace({"lenExplen [2].  valiadLen  [120]  ",
                         format("getPacketSumSequeseNum: PacketSum:%u-PacketSequeseNum:7", c.packetSum),
                         "register address[0x12345678], valid length[120], size package[1].",
                         "MSGToHardDriverLst.size :1"}),
                  requestLines());
        EXPECT_EQ(c.sendCount, a.sendCount(VarRead));
        EXPECT_EQ(c.receivedCount, a.receivedCount(VarRead));
        EXPECT_EQ(2, a.variant.m_nLenExp);
    }
}

TEST_F(RegisterRequestsTest, VariantWriteRepeatsTheSubHeaderInEveryPacket)
{
    // Packet sum 3, sequence 2, one extension byte E1 (lenHead 19). With
    // nHwMaxRecvLen 22 each packet carries at most 3 payload bytes; its frame
    // has the packet's own length (extension + payload) at bytes 18, 19 and
    // the extension length at byte 35.
    const std::string sub = "a2 03 00 00 00 02 00 00 00 ab ac ad ae af b0 01 e1";
    struct Case
    {
        const char* name;
        std::vector<unsigned char> data;
        unsigned long long max;
        bool selfInc;
        std::vector<std::string> frames;
        std::vector<std::string> texts;
        unsigned int sendCount;
        unsigned int receivedCount;
    };
    const auto payload5 = variantData(3, 2, hexBytes("e1"), hexBytes("01 02 03 04 05"));
    const auto lines5 = [](unsigned int second) -> std::vector<std::string> {
        return {"lenExplen [1].  valiadLen  [24]  ", "getPacketSumSequeseNum: PacketSum:3-PacketSequeseNum:2",
                "register address[0x12345678], valid length[24], size package[2].",
                "len:4,register address[0x12345678], index[0]",
                format("len:3,register address[0x%x], index[1]", second), "MSGToHardDriverLst.size :2"};
    };
    const Case cases[] = {
        {"5 payload bytes by 3, address stepping", payload5, 22, true,
         {requestFrame(1, 1, kAddr, hexBytes("04 00 " + sub + " 01 02 03"), 23),
          requestFrame(1, 2, kAddr + 3, hexBytes("03 00 " + sub + " 04 05"), 22)},
         lines5(kAddr + 3), 3, 2},
        {"5 payload bytes by 3, address repeated", payload5, 22, false,
         {requestFrame(1, 1, kAddr, hexBytes("04 00 " + sub + " 01 02 03"), 23),
          requestFrame(1, 2, kAddr, hexBytes("03 00 " + sub + " 04 05"), 22)},
         lines5(kAddr), 3, 2},
        {"sub-header only: one packet without payload", variantData(0, 9, ""), 256, true,
         {requestFrame(1, 1, kAddr, hexBytes("00 00 a2 01 00 00 00 00 00 00 00 ab ac ad ae af b0 00"), 18)},
         {"lenExplen [0].  valiadLen  [18]  ", "getPacketSumSequeseNum: PacketSum:0-PacketSequeseNum:9",
          "register address[0x12345678], valid length[18], size package[1].",
          "len:0,register address[0x12345678], index[0]", "MSGToHardDriverLst.size :1"},
         1, 0},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        Analyzers a;
        Request req = baseRequest(1);
        req.data = c.data;
        req.validLength = c.data.size();
        std::list<ST_MSGToHardDriver> out;
        ASSERT_EQ(emProtoSuccess, a.run(VarWrite, c.max, &req, out, c.selfInc));
        EXPECT_EQ(hexAll(c.frames), frames(out));
        EXPECT_EQ(trace(c.texts), requestLines());
        EXPECT_EQ(c.sendCount, a.sendCount(VarWrite));
        EXPECT_EQ(c.receivedCount, a.receivedCount(VarWrite));
    }
}

TEST_F(RegisterRequestsTest, AcceptedRequestStartsAReplyRecordFromTheRequest)
{
    for (Op op : {StdRead, StdWrite, VarRead, VarWrite})
    {
        SCOPED_TRACE(op);
        Analyzers a;
        const auto before = a.record(op);
        Request req = validRequest(op);
        std::list<ST_MSGToHardDriver> out;
        ASSERT_EQ(emProtoSuccess, a.run(op, 256, &req, out, true));
        const auto rec = a.record(op);
        ASSERT_TRUE(rec);
        EXPECT_NE(before, rec);
        EXPECT_EQ(0xAA, rec->head[0]);
        EXPECT_EQ(0x55, rec->head[1]);
        EXPECT_EQ(2, rec->ack);
        EXPECT_EQ(0, rec->label);
        EXPECT_EQ(0x22, rec->firstAddr);
        EXPECT_EQ(0x11, rec->secondAddr);
        EXPECT_EQ(0x33, rec->deviceType);
        EXPECT_EQ(0x66, rec->frameByte7);
        EXPECT_EQ(req.readWriteCode, rec->readWriteCode);
        EXPECT_EQ(0x77, rec->packetType);
        EXPECT_EQ((std::vector<unsigned char>{0x44, 0x55}), rec->scanBoardAddr);
        EXPECT_EQ((std::vector<unsigned char>{0x78, 0x56, 0x34, 0x12}), rec->registerAddr);
        EXPECT_EQ(0u, rec->validDataLength);
        EXPECT_TRUE(rec->data.empty());
    }
}

TEST_F(RegisterRequestsTest, UnknownReadWriteCodeStopsTheRequestWith7)
{
    struct Case
    {
        Op op;
        const char* error;
    };
    const Case cases[] = {{StdRead, "error em_OperationCodeType:2"},
                          {StdWrite, "error em_OperationCodeType:2"},
                          {VarRead, "error readWriteCode:2"},
                          {VarWrite, "error readWriteCode:2"}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.error);
        clearLog();
        Analyzers a;
        Request req = validRequest(c.op);
        req.readWriteCode = 2;
        std::list<ST_MSGToHardDriver> out(1);
        // Two packets for the standard analyzer: the first failure ends the request.
        EXPECT_EQ(emProtoBadReadWriteCode, a.run(c.op, a.isVariant(c.op) ? 256 : 4, &req, out, true));
        EXPECT_EQ(1u, out.size());
        EXPECT_TRUE(logged(ZORV_LOG_WARN, c.error));
        EXPECT_EQ(1u, count(c.error));
        EXPECT_EQ(0u, count("MSGToHardDriverLst.size :1"));
    }
}

} // namespace
