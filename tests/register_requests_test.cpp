// Register and file requests of both analyzers: checks, packets and frames, counters, the local file.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <cstdio>
#include <fstream>
#include <tuple>

namespace
{

using Request = INTER_ST::ThirdGenerationCommRequest_Data;
using Texts = std::vector<std::string>;
constexpr unsigned int kAddr = 0x12345678;
constexpr em_RequestType RR = emRequestReadRegister, WR = emRequestWriteRegister, RF = emRequestReadFile,
                         WF = emRequestWriteFile;

template <class Analyzer>
struct Open : Analyzer
{
    using Analyzer::m_nSendCount, Analyzer::m_nAlreadyRecievedCount;
};

Request request(bool write, unsigned long long len, std::string d = "")
{
    return {0x11, 0x22, 0x33, {0x44, 0x55}, 0x66, write, {0x78, 0x56, 0x34, 0x12}, len, {d.begin(), d.end()}, 0x77};
}

// A request frame in hex; its data area given in hex.
std::string frame(bool write, int label, unsigned int addr, const std::string& data, int len = -1)
{
    return toHex(makeFrame({0x55, 0xAA, 0, static_cast<unsigned char>(label), 0x11, 0x22, 0x33, 0x66, 0x44, 0x55, write,
                            0x77, addr, hexBytes(data), len}));
}

class RegisterRequestsTest : public LogCaptureTest
{
protected:
    // Runs one request on fresh analyzers; checks its result and that only an accepted one starts a reply record.
    // Gives frames, log lines as "level text" (not the per-frame ones) and counters.
    Texts run(em_ProtoAnalyze want, bool variant, em_RequestType type, Request* req, unsigned long long max,
              bool selfInc = true)
    {
        clearLog();
        Open<ProtoAnalyze3rd> plain;
        Open<ProtoAnalyze3rd_Orvane> var;
        ProtoBase& a = variant ? static_cast<ProtoBase&>(var) : plain;
        const auto record = a.getReplyRecord();
        std::list<ST_MSGToHardDriver> out;
        EXPECT_EQ(want, a.analyze_ClientData(max, type, req, out, m_path, selfInc));
        EXPECT_EQ(want == emProtoSuccess, a.getReplyRecord() != record);
        Texts texts;
        for (const ST_MSGToHardDriver& m : out)
            texts.push_back(toHex(*m.frame));
        for (const zorvlog::LogRecord& r : records())
            if (r.message.rfind("label[", 0) != 0 && r.message.rfind("ProtoAnalyze3rd_Orvane ", 0) != 0)
                texts.push_back(std::to_string(r.level) + " " + r.message);
        texts.push_back("sent " + std::to_string(variant ? var.m_nSendCount : plain.m_nSendCount) + ", received " +
                        std::to_string(variant ? var.m_nAlreadyRecievedCount : plain.m_nAlreadyRecievedCount));
        return texts;
    }
    const std::string m_path =
        ::testing::TempDir() + "zorv_" + ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".bin";
};

TEST_F(RegisterRequestsTest, RequestIsSplitIntoFramesAndSetsTheTransferCounters)
{
    // Name, variant, self-increasing, type, length, max, data and file content in hex, frames, logs, counters.
    using Case = std::tuple<const char*, bool, bool, em_RequestType, unsigned long long, unsigned long long,
                            std::string, std::string, Texts>;
    const std::string s5 = "a0 a1 a2 05 00 00 00 07 00 00 00 ab ac ad ae af b0 02 e1 e2";
    const std::string s0 = "a2 01 00 00 00 00 00 00 00 ab ac ad ae af b0 01 e1";
    // clang-format off
    const Case cases[] = {
        {"read 1000 by 256, address stepping", false, true, RR, 1000, 256, "", "",
         {frame(0, 1, kAddr, "", 256), frame(0, 2, kAddr + 256, "", 256), frame(0, 3, kAddr + 512, "", 256),
          frame(0, 4, kAddr + 768, "", 232),
          "0 register address[0x12345678], valid length[1000], size package[4],bIsRegisterAddrSelfIncreasing(bool):1",
          "0 len:256,register address[0x12345678].", "0 len:256,register address[0x12345778].",
          "0 len:256,register address[0x12345878].", "0 len:232,register address[0x12345978].",
          "0 MSGToHardDriverLst.size :4", "sent 4, received 0"}},
        {"write 8 by 4 ends on a full packet, address repeated", false, false, WR, 8, 4, "00 01 02 03 04 05 06 07", "",
         {frame(1, 1, kAddr, "00 01 02 03"), frame(1, 2, kAddr, "04 05 06 07"),
          "0  write data ,register address[0x12345678], valid length[8], size "
          "package[2],bIsRegisterAddrSelfIncreasing[0].",
          "0 register address[0x12345678], index[0]", "0 register address[0x12345678], index[1]",
          "0 MSGToHardDriverLst.size :2", "sent 2, received 0"}},
        {"file read deletes the old file", false, true, RF, 200, 256, "", "01",
         {frame(0, 1, kAddr, "", 200), "0 register address[0x12345678], valid length[200], size package[1].",
          "0 MSGToHardDriverLst.size :1", "sent 1, received 0"}},
        {"file write sends the file's bytes in order", false, true, WF, 0, 4, "", "f0 f1 f2 f3 f4 f5",
         {frame(1, 1, kAddr, "f0 f1 f2 f3"), frame(1, 2, kAddr + 4, "f4 f5"),
          "0  registerbase[0x12345678], MaxDataLengthPerPacket:[4],nStreamOffSet(file totalsize):[6],sizepackage[2].",
          "0 register address[0x12345678], index[0]", "0 register address[0x1234567c], index[1]",
          "0 MSGToHardDriverLst.size :2", "sent 2, received 0"}},
        {"variant read, packet sum 5: one reply completes it", true, true, RR, 120, 256, s5, "",
         {frame(0, 1, kAddr, s5, 120), "0 lenExplen [2].  valiadLen  [120]  ",
          "0 getPacketSumSequeseNum: PacketSum:5-PacketSequeseNum:7",
          "0 register address[0x12345678], valid length[120], size package[1].", "0 MSGToHardDriverLst.size :1",
          "sent 5, received 4"}},
        {"variant write repeats the sub-header; packet sum 0 sends 1 with sequence 0", true, true, WR, 24, 22,
         "a0 a1 a2 00 00 00 00 07 00 00 00 ab ac ad ae af b0 01 e1 01 02 03 04 05", "",
         {frame(1, 1, kAddr, "04 00 " + s0 + " 01 02 03", 23), frame(1, 2, kAddr + 3, "03 00 " + s0 + " 04 05", 22),
          "0 lenExplen [1].  valiadLen  [24]  ", "0 getPacketSumSequeseNum: PacketSum:0-PacketSequeseNum:7",
          "0 register address[0x12345678], valid length[24], size package[2].",
          "0 len:4,register address[0x12345678], index[0]", "0 len:3,register address[0x1234567b], index[1]",
          "0 MSGToHardDriverLst.size :2", "sent 1, received 0"}},
    };
    // clang-format on
    for (const auto& [name, variant, selfInc, type, len, max, data, file, expected] : cases)
    {
        SCOPED_TRACE(name);
        std::ofstream(m_path, std::ios::binary) << hexBytes(file);
        Request req = request(type == WR || type == WF, len, hexBytes(data));
        EXPECT_EQ(expected, run(emProtoSuccess, variant, type, &req, max, selfInc));
        EXPECT_EQ(type != RF, std::ifstream(m_path).good());
    }
    std::remove(m_path.c_str());
}

TEST_F(RegisterRequestsTest, RejectedRequestReturnsItsCodeLogsItsCheckAndChangesNothing)
{
    // Each case breaks one thing in a valid request: 8 bytes; variant: sub-header, extension E1 E2, 4 bytes.
    // Name, variant, type, address size (-1: no request at all), data size and length (-1: unchanged), max,
    // result, logs.
    using Case =
        std::tuple<const char*, bool, em_RequestType, int, int, int, unsigned long long, em_ProtoAnalyze, Texts>;
    const char* const exp24 = "0 lenExplen [2].  valiadLen  [24]  ";
    const std::string open = "3 open file failed , file path is [" + m_path + "].";
    const char* const v24 = "a0 a1 a2 02 00 00 00 01 00 00 00 ab ac ad ae af b0 02 e1 e2 01 02 03 04";
    // clang-format off
    const Case cases[] = {
        {"null request", false, RR, -1, -1, -1, 256, emProtoNullRequest, {"2 request is null,operation result[22]"}},
        {"address checked before length", false, RR, 5, -1, 0, 256, emProtoBadRegisterAddr, {"2 operation result[13]"}},
        {"length checked before max", false, RR, 4, -1, 0, 0, emProtoBadLength,
         {"2 sizeValidLen == 0,operation result[16]"}},
        {"write of length 0", false, WR, 4, -1, 0, 256, emProtoBadLength, {"2 valiadLen == 0"}},
        {"write data one byte short", false, WR, 4, 7, -1, 256, emProtoBadLength,
         {"2 sizeValidDataLen != valiadLen,operation result[16]"}},
        {"unopenable file", false, WF, 4, -1, -1, 256, emProtoFileOpenFailed, {open + " exception code :  2 "}},
        {"variant, data shorter than the sub-header", true, RR, 4, 17, -1, 256, emProtoBadLength,
         {"2 data shorter than sub-header,operation result[16]"}},
        {"variant, length below lenHead", true, RR, 4, -1, 19, 256, emProtoBadLength,
         {"0 lenExplen [2].  valiadLen  [19]  ", "2 valiadLen < lenHead,operation result[16]"}},
        {"variant write, max leaves no room for data", true, WR, 4, -1, -1, 20, emProtoBadLength,
         {exp24, "2 length < lenHead,operation result[16]"}},
        {"variant, unopenable file", true, WF, 4, -1, -1, 256, emProtoFileOpenFailed, {exp24, open}},
    };
    // clang-format on
    for (auto [name, variant, type, addrSize, dataSize, len, max, code, logs] : cases)
    {
        SCOPED_TRACE(name);
        const std::string data = hexBytes(variant ? v24 : type == WR ? "00 01 02 03 04 05 06 07" : "");
        Request req = request(type == WR || type == WF, len < 0 ? (variant ? 24 : 8) : len,
                              data.substr(0, dataSize < 0 ? data.size() : static_cast<size_t>(dataSize)));
        req.registerAddr.resize(addrSize < 0 ? 4 : static_cast<size_t>(addrSize));
        logs.push_back("sent 0, received 0");
        EXPECT_EQ(logs, run(code, variant, type, addrSize < 0 ? nullptr : &req, max));
    }
}

}  // namespace
