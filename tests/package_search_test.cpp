// Cutting received bytes into packages, and the hex keys that name the head.
#include "analyzers/ProtoAnalyze3rd.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <stdexcept>

namespace
{

using MatchList = std::vector<ST_MSGToHardDriverMatchOne>;
using Logs = std::vector<std::pair<em_LOG_LEVEL, std::string>>;

std::string frameWith(unsigned char label, const std::string& data, unsigned char scan0 = 0, unsigned char scan1 = 0,
                      unsigned char ack = 0)
{
    FrameFields f;
    f.label = label;
    f.ack = ack;
    f.scan0 = scan0;
    f.scan1 = scan1;
    f.data = data;
    return makeFrame(f);
}

MatchList replyMatch(const std::string& label)
{
    return {{"AA55", 0}, {label, 3}, {"0", 0}};
}

class PackageSearchTest : public LogCaptureTest
{
protected:
    ProtoAnalyze3rd m_proto;
};

}  // namespace

TEST_F(PackageSearchTest, FindPackageListCutsAtAcceptedHeads)
{
    const std::string f1 = frameWith(1, hexBytes("01 02 03 04"));     // 24 bytes
    const std::string f1b = frameWith(1, hexBytes("05 06"));          // 22 bytes
    const std::string f2 = frameWith(2, hexBytes("07"));              // 21 bytes
    const std::string long128 = frameWith(1, std::string(128, 'x'));  // length bytes 80 00
    const std::string long384 = frameWith(1, std::string(384, 'y'));  // length bytes 80 01
    const std::string short20 = frameWith(1, "", 0xAA, 0x55);         // a second head at byte 8
    struct Case
    {
        const char* name;
        std::string buffer;
        MatchList match;
        bool result;
        int offset;  // -99: not written
        std::vector<std::string> packages;
        Logs logs;
    };
    // clang-format off
    const Case cases[] = {
        {"garbage before one reply", hexBytes("00 ff") + f1, replyMatch("1"), true, 2, {f1},
         {{ZORV_LOG_TRACE, "findPackageList,bRet:1-strPackageVec.size:1"}}},
        {"two frames with the expected label", f1 + f1b, replyMatch("1"), true, 0, {f1, f1b},
         {{ZORV_LOG_TRACE, "findPackageList,bRet:1-strPackageVec.size:2"}}},
        {"second frame with another label", f1 + f2, replyMatch("1"), true, 0, {f1 + f2},
         {{ZORV_LOG_INFO, "req label = 1, rsp label = 2."}}},
        {"three frames stay one package", f1 + f1b + f1b, replyMatch("1"), true, 0, {f1 + f1b + f1b},
         {{ZORV_LOG_INFO, "subPackageLen != valiadLen+20 ,subPackageLen:44,valiadLen:2!"}}},
        {"signed low length byte 0x80, high 0", f1 + long128, replyMatch("1"), true, 0, {f1 + long128},
         {{ZORV_LOG_INFO, "subPackageLen != valiadLen+20 ,subPackageLen:148,valiadLen:65408!"}}},
        {"signed low length byte 0x80, high 1", f1 + long384, replyMatch("1"), true, 0, {f1 + long384},
         {{ZORV_LOG_INFO, "subPackageLen != valiadLen+20 ,subPackageLen:404,valiadLen:128!"}}},
        {"second head too close to the end", f1 + hexBytes("aa 55 00 01 00"), replyMatch("1"), true, 0,
         {f1 + hexBytes("aa 55 00 01 00")}, {{ZORV_LOG_INFO, "subPackage len too less!"}}},
        {"second head at the very end", f1 + hexBytes("aa 55"), replyMatch("1"), true, 0, {f1 + hexBytes("aa 55")},
         {{ZORV_LOG_INFO, "buffer length = 26, pos found = 27."}}},
        // Byte pos + 3 is the string's terminating zero, which matches label 0.
        {"label read past the end", f1 + hexBytes("aa 55 00"), replyMatch("0"), true, 0, {f1 + hexBytes("aa 55 00")},
         {{ZORV_LOG_INFO, "subPackage len too less!"}}},
        {"no head", hexBytes("00 01 02 03"), replyMatch("1"), false, -99, {},
         {{ZORV_LOG_TRACE, "findPackageList,bRet:0-strPackageVec.size:0"}}},
        // In a buffer of 20 bytes a second head is "none" and the label is
        // read at byte 2 (the ack, 0 here).
        {"short buffer with two heads", short20, replyMatch("1"), true, 0, {short20},
         {{ZORV_LOG_INFO, "req label = 1, rsp label = 0."}}},
        {"one match element", f1, {{"AA55", 0}}, false, -99, {}, {}},
    };
    // clang-format on
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        int offset = -99;
        std::vector<std::string> packages;
        EXPECT_EQ(c.result, m_proto.findPackageList(c.buffer, c.match, offset, packages));
        EXPECT_EQ(c.offset, offset);
        ASSERT_EQ(c.packages.size(), packages.size());
        for (size_t i = 0; i < packages.size(); ++i)
        {
            EXPECT_EQ(toHex(c.packages[i]), toHex(packages[i]));
        }
        for (const auto& log : c.logs)
        {
            EXPECT_TRUE(logged(log.first, log.second)) << log.second;
        }
        if (c.logs.empty())
        {
            EXPECT_TRUE(messages().empty());
        }
    }
}

TEST_F(PackageSearchTest, ShortBufferWithTheLabelAtByteTwoThrows)
{
    // As above, but byte 2 carries the expected label: the remainder is taken
    // from position "none", which is out of range.
    const std::string buffer = frameWith(1, "", 0xAA, 0x55, 1);
    int offset = 0;
    std::vector<std::string> packages;
    try
    {
        m_proto.findPackageList(buffer, replyMatch("1"), offset, packages);
        ADD_FAILURE() << "no exception";
    }
    catch (const std::out_of_range& e)
    {
        EXPECT_STREQ("invalid string position", e.what());
    }
}

TEST_F(PackageSearchTest, ResultCountsPackagesTheCallerAlreadyHeld)
{
    int offset = 7;
    std::vector<std::string> packages{"held"};
    EXPECT_TRUE(m_proto.findPackageList(hexBytes("00 01"), replyMatch("1"), offset, packages));
    EXPECT_EQ(7, offset);
    EXPECT_EQ(1u, packages.size());
}

TEST_F(PackageSearchTest, HexStringToBytesReadsPairsAsStrtolDoes)
{
    struct Case
    {
        const char* text;
        const char* bytes;
    };
    // clang-format off
    const Case cases[] = {
        {"AA55", "aa 55"}, {"aA5f", "aa 5f"}, {"AA5", "aa"},  // an odd last digit is dropped
        {"", ""},          {"G1", "00"},      {"1G", "01"},   // strtol stops at the first non-digit
        {" 1", "00"},      {"1 ", "01"},      {"-1", "00"},   {"0x", "00"}, {"x5", "00"},
    };
    // clang-format on
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.text);
        std::string bytes;
        EXPECT_TRUE(m_proto.hexStringToBytes(c.text, bytes));
        EXPECT_EQ(c.bytes, toHex(bytes));
    }
    std::string held = hexBytes("01");
    m_proto.hexStringToBytes("ff", held);
    EXPECT_EQ("01 ff", toHex(held));
}

TEST_F(PackageSearchTest, LogsCarryTheFullSignature)
{
    int offset = 0;
    std::vector<std::string> packages;
    m_proto.findPackageList(frameWith(1, ""), replyMatch("1"), offset, packages);
    EXPECT_EQ("bool __cdecl ProtoBase::findPackageList(const class std::basic_string<char,struct "
              "std::char_traits<char>,class std::allocator<char> > &,const class std::vector<struct "
              "ST_MSGToHardDriverMatchOne,class std::allocator<struct ST_MSGToHardDriverMatchOne> > &,int &,class "
              "std::vector<class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> "
              ">,class std::allocator<class std::basic_string<char,struct std::char_traits<char>,class "
              "std::allocator<char> > > > &)",
              find("findPackageList,bRet:1-strPackageVec.size:1").signature);
}
