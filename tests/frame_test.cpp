// The frame checks and the checksum: calcCheckout, makeWord, reviseOk with its
// log lines, checkThridPackageHeaderFlag and checkValidLength.
#include "analyzers/ProtoAnalyze3rd.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

namespace
{

const char* const kReviseOkSig = "bool __cdecl ProtoBase::reviseOk(const class std::basic_string<char,struct "
                                 "std::char_traits<char>,class std::allocator<char> > &,int,unsigned __int64)";

// A 20-byte device frame: head AA 55, bytes 2..17 zero, then the two stored checksum bytes.
std::string emptyFrame(const std::string& checkout)
{
    return hexBytes("aa 55 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 " + checkout);
}

std::string dataFrame(const std::string& data, int validLength = -1)
{
    FrameFields f;
    f.data = data;
    f.validLength = validLength;
    return makeFrame(f);
}

class FrameTest : public LogCaptureTest
{
protected:
    ProtoAnalyze3rd proto;
};

TEST_F(FrameTest, CalcCheckoutStartsAt0x5555AndAddsTheRangeWithoutTruncating)
{
    struct Case
    {
        const char* name;
        std::string buffer;
        int first;
        int count;
        unsigned int sum;
    };
    const Case cases[] = {
        {"empty range", hexBytes("01 02 03"), 1, 0, 0x5555},
        {"middle bytes", hexBytes("01 02 03 04 05"), 1, 3, 0x5555 + 2 + 3 + 4},
        {"bytes are unsigned", hexBytes("ff 80"), 0, 2, 0x5555 + 0xFF + 0x80},
        {"wider than 16 bits", std::string(300, '\xFF'), 0, 300, 0x5555 + 300 * 0xFF},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        unsigned int sum = 12345; // overwritten, not added to
        proto.calcCheckout(c.buffer, c.first, c.count, sum);
        EXPECT_EQ(c.sum, sum);
    }
}

TEST_F(FrameTest, MakeWordPutsTheFirstByteHigh)
{
    EXPECT_EQ(0x1234, proto.makeWord(0x12, 0x34));
    EXPECT_EQ(0x00FF, proto.makeWord(0x00, 0xFF));
    EXPECT_EQ(0xFFFF, proto.makeWord(0xFF, 0xFF));
}

TEST_F(FrameTest, ReviseOkComparesTheLow16BitsWithTheStoredLowByteFirstValue)
{
    // 0x5555 + label 1 + length bytes 0x2C, 0x01 + 300 * 0xFF = 98391; its low 16 bits are 32855 (0x8057).
    const std::string big = dataFrame(std::string(300, '\xFF'));
    std::string bigSwapped = big;
    std::swap(bigSwapped[bigSwapped.size() - 1], bigSwapped[bigSwapped.size() - 2]);
    struct Case
    {
        const char* name;
        std::string frame;
        bool ok;
        const char* compared;
    };
    const Case cases[] = {
        {"zero header seals as 55 55", emptyFrame("55 55"), true, "cacl checkout[21845], from checkout[21845]."},
        {"zero header, high byte off", emptyFrame("55 56"), false, "cacl checkout[21845], from checkout[22101]."},
        {"zero header, zero stored", emptyFrame("00 00"), false, "cacl checkout[21845], from checkout[0]."},
        {"sum wider than 16 bits", big, true, "cacl checkout[32855], from checkout[32855]."},
        {"checksum bytes exchanged", bigSwapped, false, "cacl checkout[32855], from checkout[22400]."},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        EXPECT_EQ(c.ok, proto.reviseOk(c.frame, 0, c.frame.size()));
        const std::vector<zorvlog::LogRecord> lines = records();
        ASSERT_EQ(c.ok ? 1u : 2u, lines.size());
        EXPECT_EQ(ZORV_LOG_DEBUG, lines[0].level);
        EXPECT_EQ(c.compared, lines[0].message);
        for (const zorvlog::LogRecord& line : lines)
        {
            EXPECT_EQ(kReviseOkSig, line.signature);
        }
        if (!c.ok)
        {
            const std::string size = std::to_string(c.frame.size());
            EXPECT_EQ(ZORV_LOG_WARN, lines[1].level);
            EXPECT_EQ("Checkout error!: len:" + size + ",ay.size:" + size, lines[1].message);
        }
    }
}

TEST_F(FrameTest, ReviseOkAtANonZeroOffsetFailsWithoutTheErrorLine)
{
    const std::string good = hexBytes("01 02 03") + emptyFrame("55 55");
    const std::string bad = hexBytes("01 02 03") + emptyFrame("55 54");
    EXPECT_TRUE(proto.reviseOk(good, 3, 20));
    clearLog();
    EXPECT_FALSE(proto.reviseOk(bad, 3, 20));
    ASSERT_EQ(1u, records().size());
    EXPECT_TRUE(logged(ZORV_LOG_DEBUG, "cacl checkout[21845], from checkout[21589]."));
}

TEST_F(FrameTest, HeaderFlagIsNineOnlyForAA55)
{
    struct Case
    {
        const char* name;
        std::string buffer;
        em_ProtoAnalyze result;
    };
    const Case cases[] = {
        {"empty", "", emProtoBadHeader},
        {"lone AA reads the terminating zero", hexBytes("aa"), emProtoBadHeader},
        {"AA 55", hexBytes("aa 55"), emProtoHeaderOk},
        {"AA 55 and more", hexBytes("aa 55 00 01"), emProtoHeaderOk},
        {"push head 55 AA", hexBytes("55 aa 00"), emProtoBadHeader},
        {"AA 54", hexBytes("aa 54"), emProtoBadHeader},
        {"garbage before the head", hexBytes("00 aa 55"), emProtoBadHeader},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.result, proto.checkThridPackageHeaderFlag(c.buffer));
    }
}

TEST_F(FrameTest, ValidLengthReadsBothLengthBytesUnsigned)
{
    // Length bytes 16 (low) and 17 (high); the frame is that plus 20 bytes.
    auto withLength = [](const std::string& lengthBytes, size_t size) {
        std::string buffer = hexBytes("aa 55 00 01 00 00 00 00 00 00 00 00 00 00 00 00") + hexBytes(lengthBytes);
        buffer.resize(size, '\x5A');
        return buffer;
    };
    struct Case
    {
        const char* name;
        std::string buffer;
        em_ProtoAnalyze result;
    };
    const Case cases[] = {
        {"19 bytes", withLength("00 00", 19), emProtoFrameShort},
        {"exactly 20, length 0", withLength("00 00", 20), emProtoFrameExact},
        {"21, length 0", withLength("00 00", 21), emProtoFrameLonger},
        {"20, length 1", withLength("01 00", 20), emProtoFrameShort},
        {"low byte 0x80 is 128", withLength("80 00", 148), emProtoFrameExact},
        {"low byte 0x80, one byte short", withLength("80 00", 147), emProtoFrameShort},
        {"high byte counts 256", withLength("00 01", 276), emProtoFrameExact},
        {"0x0180 is 384", withLength("80 01", 404), emProtoFrameExact},
        {"0x0180, one byte more", withLength("80 01", 405), emProtoFrameLonger},
        {"0xFFFF, one byte short", withLength("ff ff", 65554), emProtoFrameShort},
        {"0xFFFF exactly", withLength("ff ff", 65555), emProtoFrameExact},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.result, proto.checkValidLength(c.buffer));
    }
}

} // namespace
