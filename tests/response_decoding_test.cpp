// Reply records: defaults, copies, preparation, decoding and acknowledgement.
#include "analyzers/ProtoAnalyze3rd.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <ostream>

namespace
{

using Record = INTER_ST::ThirdGenerationCommResponse_Data;
using ResponseDecodingTest = LogCaptureTest;

// Every member of a record, byte vectors in hex. The defaults are those of a record decoded from report() below
// into a record whose vectors held 01.
struct View
{
    std::string head = "aa 55";
    int ack = 7, label = 9, firstAddr = 0x11, secondAddr = 0x22, deviceType = 0x33, byte7 = 0x44, code = 0,
        packetType = 0x77;
    unsigned long long length = 0;
    std::string scan = "01 55 66", reg = "01 bb aa 99 88", data, checkout = "01";
    bool operator==(const View&) const = default;
    friend void PrintTo(const View& v, std::ostream* os)
    {
        *os << "head " << v.head << ", ack " << v.ack << ", label " << v.label << ", addr " << v.firstAddr << ","
            << v.secondAddr << ", device " << v.deviceType << ", byte 7 " << v.byte7 << ", code " << v.code
            << ", packet type " << v.packetType << ", length " << v.length << ", scan [" << v.scan << "], reg ["
            << v.reg << "], data [" << v.data << "], checkout [" << v.checkout << "]";
    }
};

View view(const Record& r)
{
    const auto hex = [](const std::vector<unsigned char>& v) { return toHex(std::string(v.begin(), v.end())); };
    return {toHex(std::string(r.head, r.head + 2)),
            r.ack,
            r.label,
            r.firstAddr,
            r.secondAddr,
            r.deviceType,
            r.frameByte7,
            r.readWriteCode,
            r.packetType,
            r.validDataLength,
            hex(r.scanBoardAddr),
            hex(r.registerAddr),
            hex(r.data),
            hex(r.checkout)};
}

// A sealed device report with distinct header bytes.
std::string report(unsigned char ack, unsigned char code, int length, const std::string& data)
{
    return makeFrame({0x55, 0xAA, ack, 9, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, code, 0x77, 0x8899aabb, data, length});
}

TEST_F(ResponseDecodingTest, InitReplyRecordStartsAFreshRecordWithTheAddressBytesCrossed)
{
    ProtoAnalyze3rd proto;
    const std::shared_ptr<Record> previous = proto.getReplyRecord();
    EXPECT_EQ((View{"00 00", 2, 0, 0, 0, 0, 0, 0, 0, 0, "", "", "", ""}), view(*previous));
    const INTER_ST::ThirdGenerationCommRequest_Data request{0x11, 0x22,         0x33, {0x55}, 0x44,
                                                            1,    {1, 2, 3, 4}, 40,   {9},    0x77};
    proto.initReplyRecord(&request);
    EXPECT_NE(previous, proto.getReplyRecord());
    EXPECT_EQ((View{"aa 55", 2, 0, 0x22, 0x11, 0x33, 0x44, 1, 0x77, 0, "55", "01 02 03 04", "", ""}),
              view(*proto.getReplyRecord()));
}

TEST_F(ResponseDecodingTest, DecodingAppendsTheFrameToTheRecordWithItsQuirksAndCopiesCarryEveryMember)
{
    struct Case
    {
        const char* name;
        std::string frame;
        View record;
        Lines log;
    };
    const std::string wide = report(7, 0x00, 0x180, std::string(384, 'x'));
    const char* const write = "3 unknown write package has no data! protoBuffer[10] code :1 ";
    const Case cases[] = {
        {"length beyond the frame copies what is there",
         report(7, 0x00, 0x0a, "abcde"),
         {.length = 10, .data = "61 62 63 64 65"}},
        {"write carries no data", report(7, 0x01, 0x03, "abc"), {.code = 1, .length = 3}, {write}},
        {"unknown code carries no data",
         report(7, 0x87, 0x03, "abc"),
         {.code = 0x87, .length = 3},
         {"3 unknown em_OperationCodeType :135 "}},
        {"low length byte 0x80 is taken signed", report(7, 0x01, 0x80, ""), {.code = 1, .length = 4294967168}, {write}},
        // 0x0180 states 128 under the signed rule while 384 bytes are copied,
        // the 8-bit position wrapping to the frame's start after 238 of them.
        {"payload past 238 bytes wraps",
         wide,
         {.length = 128, .data = toHex(wide.substr(18, 238) + wide.substr(0, 146))}},
        {"short frame leaves the default record",
         wide.substr(0, 19),
         {"00 00", 2, 0, 0, 0, 0, 0, 0, 0, 0, "01", "01", "", "01"},
         {"3  invalid package , size is [19] "}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        auto record = std::make_shared<Record>();
        record->scanBoardAddr = record->registerAddr = record->checkout = {1};
        unsigned char ack = 200;
        ProtoAnalyze3rd().getThirdGenerationCommResponseData(c.frame, ack, record);
        EXPECT_EQ(c.frame.size() < 20 ? 200 : 7, ack);
        Record copy(*record), assigned;
        assigned = copy;
        copy.data.clear();  // copies share no vector
        EXPECT_EQ(c.record, view(*record));
        EXPECT_EQ(c.record, view(assigned));
        EXPECT_EQ(c.log, lines());
    }
}

}  // namespace
