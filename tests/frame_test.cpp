// The frame checks: reviseOk with its log lines, the header and length checks.
#include "analyzers/ProtoAnalyze3rd.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

namespace
{

const char* const kReviseOkSig = "bool __cdecl ProtoBase::reviseOk(const class std::basic_string<char,struct "
                                 "std::char_traits<char>,class std::allocator<char> > &,int,unsigned __int64)";

using FrameTest = LogCaptureTest;

TEST_F(FrameTest, ReviseOkComparesTheLow16BitsWithTheStoredLowByteFirstValue)
{
    struct Case
    {
        const char* name;
        std::string buffer;
        int offset = 0;
        bool ok;
        std::vector<std::string> log;
    };
    const std::string zeros = hexBytes("aa 55") + std::string(16, '\0');
    const std::string ffs = zeros + std::string(300, '\xFF');  // 0x5555 + 300 * 0xff = 0x18029
    const std::string error = "3 Checkout error!: len:320,ay.size:320";
    const Case cases[] = {
        {.name = "zero header",
         .buffer = zeros + "\x55\x55",
         .ok = true,
         .log = {"1 cacl checkout[21845], from checkout[21845]."}},
        {.name = "sum past 16 bits",
         .buffer = ffs + "\x29\x80",
         .ok = true,
         .log = {"1 cacl checkout[32809], from checkout[32809]."}},
        {.name = "bytes exchanged",
         .buffer = ffs + "\x80\x29",
         .ok = false,
         .log = {"1 cacl checkout[32809], from checkout[10624].", error}},
        {.name = "at an offset",
         .buffer = "abc" + zeros + "\x55\x55",
         .offset = 3,
         .ok = true,
         .log = {"1 cacl checkout[21845], from checkout[21845]."}},
        {.name = "wrong at an offset: no error line",
         .buffer = "abc" + zeros + "\x55\x54",
         .offset = 3,
         .ok = false,
         .log = {"1 cacl checkout[21845], from checkout[21589]."}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        EXPECT_EQ(c.ok, ProtoAnalyze3rd().reviseOk(c.buffer, c.offset, c.buffer.size() - c.offset));
        EXPECT_EQ(c.log, lines());
        EXPECT_EQ(kReviseOkSig, records().at(0).signature);
    }
}

TEST(FrameChecksTest, HeaderMustBeAA55AndLengthReadsBothBytesUnsigned)
{
    struct Case
    {
        const char* head = "aa 55";
        const char* length = "00 00";
        size_t size;
        em_ProtoAnalyze header = emProtoHeaderOk, check;
    };
    const auto bad = emProtoBadHeader, few = emProtoFrameShort, exact = emProtoFrameExact, more = emProtoFrameLonger;
    const Case cases[] = {
        {.size = 0, .header = bad, .check = few},
        {.size = 1, .header = bad, .check = few},  // a lone aa: byte 1 reads as the terminating zero
        {.head = "55 aa", .size = 20, .header = bad, .check = exact},
        {.head = "aa 54", .size = 20, .header = bad, .check = exact},
        {.size = 19, .check = few},
        {.size = 21, .check = more},
        {.length = "01 00", .size = 20, .check = few},
        {.length = "80 00", .size = 147, .check = few},
        {.length = "80 00", .size = 148, .check = exact},
        {.length = "80 01", .size = 404, .check = exact},
        {.length = "80 01", .size = 405, .check = more},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(testing::Message() << c.head << ", length " << c.length << ", size " << c.size);
        std::string buffer = hexBytes(c.head) + std::string(14, '\x01') + hexBytes(c.length);
        buffer.resize(c.size, '\x5A');
        ProtoAnalyze3rd proto;
        EXPECT_EQ(c.header, proto.checkThridPackageHeaderFlag(buffer));
        EXPECT_EQ(c.check, proto.checkValidLength(buffer));
    }
}

}  // namespace
