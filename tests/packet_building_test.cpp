// One packet and the client's request into one frame and its expected replies, for both analyzers.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <tuple>

namespace
{

using Request = INTER_ST::ThirdGenerationCommRequest_Data;
constexpr unsigned int kAddr = 0x12345678;

// The request's data is a variant sub-header: 80 .. 91.
Request request(unsigned char code, std::vector<unsigned char> scan = {0x44, 0x55})
{
    const std::string sub = hexBytes("80 81 82 83 84 85 86 87 88 89 8a 8b 8c 8d 8e 8f 90 91");
    return {0x11, 0x22, 0x33, std::move(scan), 0x66, code, {}, 0, {sub.begin(), sub.end()}, 0x77};
}

std::string frame(unsigned char code, std::string data, int len, unsigned char s0 = 0x44, unsigned char s1 = 0x55)
{
    return makeFrame({0x55, 0xAA, 0, 1, 0x11, 0x22, 0x33, 0x66, s0, s1, code, 0x77, kAddr, data, len});
}

using PacketBuildingTest = LogCaptureTest;

TEST_F(PacketBuildingTest, PacketBecomesAFrameOrIsRejectedWith7AndTakesALabelEitherWay)
{
    // Name, variant, request, packet, frame, expected replies as key@posWanted, the last log line as "level text".
    using Case = std::tuple<const char*, bool, Request, ST_RegisterAddrAndValid, std::string, std::string, std::string>;
    const std::string ff(256, '\xff');
    const auto label = [](const char* length, const char* scan, const char* code) {
        return std::string("0 label[1], datagramLength[") + length + "], addrscr[0x12345678], scanBoardAddr[0x" + scan +
               "], readWriteCode[" + code + "], device type[51].";
    };
    // clang-format off
    const Case cases[] = {
        {"read of 256", false, request(0), {0, 0, 256, kAddr, "", 0},
         hexBytes("55 aa 00 01 11 22 33 66 44 55 00 77 78 56 34 12 00 01 47 58"), "AA55@0 1@3 22599@18",
         label("20", "5544", "0")},
        {"checksum key not cut to 16 bits, no scan-board byte", false, request(1, {}), {0, 0, 0, kAddr, ff, 256},
         frame(1, ff, -1, 0, 0), "AA55@0 1@3 87727@274", label("276", "0", "1")},
        {"variant write: own length, packet sum, sequence, extension length; one scan-board byte", true,
         request(1, {0x9A}), {0x0A0B0C0D, 18, 0, kAddr, hexBytes("ab cd ef"), 3},
         frame(1, hexBytes("03 00 82 00 00 00 00 0d 0c 0b 0a 8b 8c 8d 8e 8f 90 00 ab cd ef"), 21, 0x9A, 0),
         "AA55@0 1@3", label("41", "9a", "1")},
        {"unknown code", false, request(255), {0, 0, 4, kAddr, "", 0}, "", "", "3 error em_OperationCodeType:255"},
        {"variant, unknown code", true, request(2), {0, 18, 4, kAddr, "", 0}, "", "", "3 error readWriteCode:2"},
    };
    // clang-format on
    for (const auto& [name, variant, req, pkg, frame, expected, log] : cases)
    {
        SCOPED_TRACE(name);
        ProtoAnalyze3rd plain;
        ProtoAnalyze3rd_Orvane orvane;
        const auto build = [&, v = variant](Request r, const ST_RegisterAddrAndValid& p, ST_MSGToHardDriver& m) {
            return v ? orvane.analyze_OnePackageRequst(p, &r, m) : plain.analyze_OnePackageRequst(p, &r, m);
        };
        ST_MSGToHardDriver msg;
        msg.protoKey = "untouched";
        EXPECT_EQ(frame.empty() ? emProtoBadReadWriteCode : emProtoSuccess, build(req, pkg, msg));
        EXPECT_EQ(toHex(frame), msg.frame ? toHex(*msg.frame) : "");
        EXPECT_EQ(frame.empty() ? "untouched" : variant ? "3rdOrvane-proto" : "3rd-proto", msg.protoKey);
        std::string matches;
        for (const ST_MSGToHardDriverMatchOne& m : msg.matchList)
            matches += (matches.empty() ? "" : " ") + m.key + "@" + std::to_string(m.posWanted);
        EXPECT_EQ(expected, matches);
        const zorvlog::LogRecord last = records().back();
        EXPECT_EQ(log, std::to_string(last.level) + " " + last.message);
        EXPECT_EQ(std::string("enum em_ProtoAnalyze __cdecl ProtoAnalyze3rd") + (variant ? "_Orvane" : "") +
                      "::analyze_OnePackageRequst(const struct ST_RegisterAddrAndValid &,class "
                      "INTER_ST::ThirdGenerationCommRequest_Data *,struct ST_MSGToHardDriver &)",
                  last.signature);
        // Every packet takes a label, a rejected one too; the 256th carries label 0.
        for (int i = 2; i <= 256; ++i)
        {
            ST_MSGToHardDriver next;
            ASSERT_EQ(emProtoSuccess, build(request(0), {0, 18, 4, kAddr, "", 0}, next));
            ASSERT_EQ(i % 256, static_cast<unsigned char>((*next.frame)[3]));
            ASSERT_EQ(std::to_string(i % 256), next.matchList.at(1).key);
        }
    }
}

}  // namespace
