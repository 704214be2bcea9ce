// One packet and the client's request into one frame and its expected replies, for both analyzers.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <ostream>

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
    return toHex(makeFrame({0x55, 0xAA, 0, 1, 0x11, 0x22, 0x33, 0x66, s0, s1, code, 0x77, kAddr, data, len}));
}

// What one call leaves: the result, the message (frame in hex, key, expected replies as key@posWanted) and the
// analyzer's log lines.
struct Built
{
    int result = 0;
    std::string frame, key;
    Lines matches, log;
    bool operator==(const Built&) const = default;
    friend void PrintTo(const Built& b, std::ostream* os)
    {
        *os << "result " << b.result << ", frame [" << b.frame << "], key " << b.key << ", matches "
            << testing::PrintToString(b.matches) << ", log " << testing::PrintToString(b.log);
    }
};

class PacketBuildingTest : public LogCaptureTest
{
protected:
    Built build(ProtoBase& analyzer, Request r, const ST_RegisterAddrAndValid& p)
    {
        clearLog();
        ST_MSGToHardDriver msg;
        msg.protoKey = "untouched";
        auto* variant = dynamic_cast<ProtoAnalyze3rd_Orvane*>(&analyzer);
        Built b{variant ? variant->analyze_OnePackageRequst(p, &r, msg)
                        : static_cast<ProtoAnalyze3rd&>(analyzer).analyze_OnePackageRequst(p, &r, msg)};
        b.frame = msg.frame ? toHex(*msg.frame) : "";
        b.key = msg.protoKey;
        for (const ST_MSGToHardDriverMatchOne& m : msg.matchList)
            b.matches.push_back(m.key + "@" + std::to_string(m.posWanted));
        b.log = lines(variant ? "ProtoAnalyze3rd_Orvane::analyze_OnePackageRequst(const struct "
                                "ST_RegisterAddrAndValid &,class INTER_ST::ThirdGenerationCommRequest_Data *,struct "
                                "ST_MSGToHardDriver &)"
                              : "ProtoAnalyze3rd::analyze_OnePackageRequst(const struct ST_RegisterAddrAndValid "
                                "&,class INTER_ST::ThirdGenerationCommRequest_Data *,struct ST_MSGToHardDriver &)");
        return b;
    }
};

// A message built: its frame, key by the expected replies' count, expected replies, the label line logged.
Built made(std::string frame, Lines matches, std::string log)
{
    const char* const key = matches.size() == 3 ? "3rd-proto" : "3rdOrvane-proto";
    return {0, std::move(frame), key, std::move(matches), {std::move(log)}};
}

std::string labelLine(const char* length, const char* scan, const char* code)
{
    return std::string("0 label[1], datagramLength[") + length + "], addrscr[0x12345678], scanBoardAddr[0x" + scan +
           "], readWriteCode[" + code + "], device type[51].";
}

TEST_F(PacketBuildingTest, PacketBecomesAFrameOrIsRejectedWith7AndTakesALabelEitherWay)
{
    struct Case
    {
        const char* name;
        bool variant = false;
        Request request;
        ST_RegisterAddrAndValid packet;
        Built built;
    };
    const std::string ff(256, '\xff');
    const std::string sub = "80 81 82 00 00 00 00 02 00 00 00 8b 8c 8d 8e 8f 90 91";
    const Case cases[] = {
        {.name = "read of 256",
         .request = request(0),
         .packet = {.readLen = 256, .registerAddr = kAddr},
         .built = made("55 aa 00 01 11 22 33 66 44 55 00 77 78 56 34 12 00 01 47 58", {"AA55@0", "1@3", "22599@18"},
                       labelLine("20", "5544", "0"))},
        {.name = "checksum key not cut to 16 bits, no scan-board byte",
         .request = request(1, {}),
         .packet = {.registerAddr = kAddr, .data = ff, .validLen = 256},
         .built = made(frame(1, ff, -1, 0, 0), {"AA55@0", "1@3", "87727@274"}, labelLine("276", "0", "1"))},
        {.name = "variant write: own length, packet sum, sequence, extension length; one scan-board byte",
         .variant = true,
         .request = request(1, {0x9A}),
         .packet = {.nPacketSequeseNum = 0x0A0B0C0D,
                    .lenHead = 18,
                    .registerAddr = kAddr,
                    .data = hexBytes("ab cd ef"),
                    .validLen = 3},
         .built =
             made(frame(1, hexBytes("03 00 82 00 00 00 00 0d 0c 0b 0a 8b 8c 8d 8e 8f 90 00 ab cd ef"), 21, 0x9A, 0),
                  {"AA55@0", "1@3"}, labelLine("41", "9a", "1"))},
        {.name = "variant read: length field readLen + lenHead, byte 35 from the sub-header",
         .variant = true,
         .request = request(0),
         .packet = {.nPacketSequeseNum = 2, .lenHead = 18, .readLen = 5, .registerAddr = kAddr},
         .built = made(frame(0, hexBytes(sub), 23), {"AA55@0", "1@3"}, labelLine("38", "5544", "0"))},
        {.name = "unknown code",
         .request = request(255),
         .packet = {.readLen = 4, .registerAddr = kAddr},
         .built = {7, "", "untouched", {}, {labelLine("20", "5544", "255"), "3 error em_OperationCodeType:255"}}},
        {.name = "variant, unknown code",
         .variant = true,
         .request = request(2),
         .packet = {.lenHead = 18, .readLen = 4, .registerAddr = kAddr},
         .built = {7, "", "untouched", {}, {labelLine("38", "5544", "2"), "3 error readWriteCode:2"}}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        ProtoAnalyze3rd plain;
        ProtoAnalyze3rd_Orvane orvane;
        ProtoBase& analyzer = c.variant ? static_cast<ProtoBase&>(orvane) : plain;
        EXPECT_EQ(c.built, build(analyzer, c.request, c.packet));
        // Every packet takes a label, a rejected one too; the 256th carries label 0.
        for (int i = 2; i <= 256; ++i)
        {
            const Built next = build(analyzer, request(0), {.lenHead = 18, .readLen = 4, .registerAddr = kAddr});
            ASSERT_EQ(std::to_string(i % 256) + "@3", next.matches.at(1));
            ASSERT_EQ(std::to_string(i % 256), std::to_string(std::stoi(next.frame.substr(9, 2), nullptr, 16)));
        }
    }
}

TEST_F(PacketBuildingTest, OnePacketFailsOnlyOnAnUnknownCodeEvenWhenItsDataDiffersFromValidLen)
{
    // The data replaces validLen bytes as a string would, so longer data grows the frame; the checksum
    // still covers validLen + 16 bytes and is stored at validLen + 18: over the fourth data byte of longer data;
    // shorter data leaves zero bytes up to the checksum, so the frame still ends in it.
    struct Case
    {
        const char* name;
        const char* data;
        const char* frame;
        const char* checksumMatch;
    };
    const Case cases[] = {
        {"one byte more", "ab cd ef 01", "55 aa 00 01 11 22 33 66 44 55 01 77 78 56 34 12 03 00 ab cd ef b1 5a 00",
         "23217@21"},
        {"one byte less", "ab cd", "55 aa 00 01 11 22 33 66 44 55 01 77 78 56 34 12 03 00 ab cd 00 c2 59", "22978@21"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        ProtoAnalyze3rd plain;
        const Built built = build(plain, request(1), {.registerAddr = kAddr, .data = hexBytes(c.data), .validLen = 3});
        EXPECT_EQ(made(c.frame, {"AA55@0", "1@3", c.checksumMatch}, labelLine("23", "5544", "1")), built);
    }
}

}  // namespace
