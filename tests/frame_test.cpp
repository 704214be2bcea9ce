// The frame checks: reviseOk with its log lines, the header and length checks.
#include "analyzers/ProtoAnalyze3rd.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

const char* const kReviseOkSig = "bool __cdecl ProtoBase::reviseOk(const class std::basic_string<char,struct "
                                 "std::char_traits<char>,class std::allocator<char> > &,int,unsigned __int64)";

using FrameTest = LogCaptureTest;

TEST_F(FrameTest, ReviseOkComparesTheLow16BitsWithTheStoredLowByteFirstValue)
{
    const std::string zeros = hexBytes("aa 55") + std::string(16, '\0');
    const std::string ffs = zeros + std::string(300, '\xFF');  // 0x5555 + 300 * 0xff = 0x18029
    // clang-format off
    const std::tuple<std::string, int, bool, const char*> cases[] = {
        {zeros + "\x55\x55", 0, true, "cacl checkout[21845], from checkout[21845]."},
        {ffs + "\x29\x80", 0, true, "cacl checkout[32809], from checkout[32809]."},
        {ffs + "\x80\x29", 0, false, "cacl checkout[32809], from checkout[10624]."},
        {"abc" + zeros + "\x55\x55", 3, true, "cacl checkout[21845], from checkout[21845]."},
        {"abc" + zeros + "\x55\x54", 3, false, "cacl checkout[21845], from checkout[21589]."},
    };
    // clang-format on
    for (const auto& [buffer, offset, ok, compared] : cases)
    {
        SCOPED_TRACE(compared);
        clearLog();
        EXPECT_EQ(ok, ProtoAnalyze3rd().reviseOk(buffer, offset, buffer.size() - offset));
        const std::string size = std::to_string(buffer.size());
        // Only a whole-buffer mismatch adds the error line.
        const std::string error = ok || offset ? "" : "3 Checkout error!: len:" + size + ",ay.size:" + size + "|";
        EXPECT_EQ("1 " + std::string(compared) + "|" + error, transcript());
        EXPECT_EQ(kReviseOkSig, records().at(0).signature);
    }
}

TEST_F(FrameTest, HeaderMustBeAA55AndLengthReadsBothBytesUnsigned)
{
    const auto bad = emProtoBadHeader, good = emProtoHeaderOk;
    const auto few = emProtoFrameShort, exact = emProtoFrameExact, more = emProtoFrameLonger;
    // Head, length bytes, buffer size; a lone aa reads the terminating zero.
    // clang-format off
    const std::tuple<const char*, const char*, size_t, em_ProtoAnalyze, em_ProtoAnalyze> cases[] = {
        {"aa 55", "00 00", 0, bad, few},      {"aa 55", "00 00", 1, bad, few},     {"55 aa", "00 00", 20, bad, exact},
        {"aa 54", "00 00", 20, bad, exact},   {"aa 55", "00 00", 19, good, few},   {"aa 55", "00 00", 21, good, more},
        {"aa 55", "01 00", 20, good, few},    {"aa 55", "80 00", 147, good, few},  {"aa 55", "80 00", 148, good, exact},
        {"aa 55", "80 01", 404, good, exact}, {"aa 55", "80 01", 405, good, more},
    };
    // clang-format on
    for (const auto& [head, length, size, header, check] : cases)
    {
        std::string buffer = hexBytes(head) + std::string(14, '\x01') + hexBytes(length);
        buffer.resize(size, '\x5A');
        ProtoAnalyze3rd proto;
        EXPECT_EQ(header, proto.checkThridPackageHeaderFlag(buffer)) << head << " " << length << ", size " << size;
        EXPECT_EQ(check, proto.checkValidLength(buffer)) << head << " " << length << ", size " << size;
    }
}
