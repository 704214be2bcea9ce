// Requests through the facade, answered by the test device, the replies fed
// back whole, byte by byte and split at every point.
#include "protostub/ProtoStub.h"
#include "support/Bytes.h"
#include "support/FeedRunner.h"
#include "support/LogCapture.h"
#include "support/TestDevice.h"

#include <cstdio>

namespace
{

constexpr size_t kRegisterSpace = 1u << 16;
constexpr unsigned int kAddr = 0x1000;

INTER_ST::ThirdGenerationCommRequest_Data makeRequest(unsigned char code, unsigned long long length,
                                                      const std::string& data = "")
{
    INTER_ST::ThirdGenerationCommRequest_Data r;
    r.firstAddr = 0x11;
    r.secondAddr = 0x22;
    r.deviceType = 0x03;
    r.scanBoardAddr = {0x01, 0x02};
    r.frameByte7 = 0x07;
    r.readWriteCode = code;
    r.registerAddr = {0x00, 0x10, 0x00, 0x00};  // kAddr
    r.validLength = length;
    r.data.assign(data.begin(), data.end());
    r.packetType = 0x05;
    return r;
}

// The record a completed transfer of makeRequest leaves: the request's header
// fields with the address bytes crossed, ack 0 from the replies.
INTER_ST::ThirdGenerationCommResponse_Data expectedRecord(unsigned char code, const std::string& data,
                                                          unsigned long long length)
{
    INTER_ST::ThirdGenerationCommResponse_Data r;
    r.head[0] = 0xAA;
    r.head[1] = 0x55;
    r.ack = 0;
    r.firstAddr = 0x22;
    r.secondAddr = 0x11;
    r.deviceType = 0x03;
    r.scanBoardAddr = {0x01, 0x02};
    r.frameByte7 = 0x07;
    r.readWriteCode = code;
    r.registerAddr = {0x00, 0x10, 0x00, 0x00};
    r.validDataLength = length;
    r.data.assign(data.begin(), data.end());
    r.packetType = 0x05;
    return r;
}

std::string pattern(size_t n, unsigned char seed)
{
    std::string out(n, '\0');
    for (size_t i = 0; i < n; ++i)
    {
        out[i] = static_cast<char>(seed + i * 7);
    }
    return out;
}

// A fresh stub and device; the request is encoded and every frame answered.
FeedSession roundTrip(const char* key, TestDevice::Flavor flavor, em_RequestType type, unsigned int maxLen,
                      bool selfIncreasing, INTER_ST::ThirdGenerationCommRequest_Data request,
                      const std::string& file = "")
{
    FeedSession s;
    s.stub = std::make_shared<ProtoStub>();
    s.key = key;
    s.type = type;
    s.outputFile = file;
    auto device = std::make_shared<TestDevice>(flavor, kRegisterSpace);
    std::list<ST_MSGToHardDriver> msgs;
    EXPECT_EQ(emProtoSuccess, s.stub->analyze_ClientData(maxLen, key, type, &request, msgs, file, selfIncreasing));
    for (const ST_MSGToHardDriver& msg : msgs)
    {
        s.frames.push_back({device->answer(*msg.frame), msg});
    }
    s.extra = [device] { return toHex(device->readRegisters(kAddr, 1024)); };
    return s;
}

class RoundTripTest : public LogCaptureTest
{
protected:
    const TestDevice m_fresh{TestDevice::Flavor::Standard, kRegisterSpace};
};

}  // namespace

TEST_F(RoundTripTest, StandardReadsGatherEveryPacketInOrder)
{
    struct Case
    {
        const char* name;
        unsigned long long length;
        unsigned int maxLen;
        bool selfIncreasing;
        std::vector<size_t> chunks;  // bytes each reply carries, read from kAddr on or all from kAddr
    };
    const Case cases[] = {
        {"one packet", 100, 256, true, {100}},
        {"four packets, address increasing", 1000, 256, true, {1000}},
        {"three packets, address repeated", 600, 256, false, {256, 256, 88}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::string expected;
        for (size_t n : c.chunks)
        {
            expected += m_fresh.readRegisters(kAddr, n);
        }
        const FeedOutcome outcome = feedEveryWay([&] {
            return roundTrip("3rd-proto", TestDevice::Flavor::Standard, emRequestReadRegister, c.maxLen,
                             c.selfIncreasing, makeRequest(0, c.length));
        });
        const size_t packets = (c.length + c.maxLen - 1) / c.maxLen;
        EXPECT_EQ(std::vector<int>(packets, emProtoSuccess), outcome.results);
        EXPECT_EQ(recordText(expectedRecord(0, expected, expected.size())), outcome.record);
    }
}

TEST_F(RoundTripTest, StandardWritesStoreEveryPacket)
{
    const std::string data = pattern(700, 0x30);
    struct Case
    {
        const char* name;
        bool selfIncreasing;
        std::string registers;  // kAddr .. kAddr+1024 afterwards
    };
    const std::string rest = m_fresh.readRegisters(kAddr + 700, 324);
    const std::string untouched = m_fresh.readRegisters(kAddr + 256, 768);
    const Case cases[] = {
        {"address increasing", true, data + rest},
        // Every packet goes to kAddr: the last (188 bytes) over the second.
        {"address repeated", false, data.substr(512) + data.substr(444, 68) + untouched},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        const FeedOutcome outcome = feedEveryWay([&] {
            return roundTrip("3rd-proto", TestDevice::Flavor::Standard, emRequestWriteRegister, 256, c.selfIncreasing,
                             makeRequest(1, data.size(), data));
        });
        EXPECT_EQ((std::vector<int>{0, 0, 0}), outcome.results);
        EXPECT_EQ(recordText(expectedRecord(1, "", 0)), outcome.record);
        EXPECT_EQ(toHex(c.registers), outcome.extra);
    }
}

TEST_F(RoundTripTest, FileReadWritesTheDeviceDataToTheFile)
{
    const std::string path = ::testing::TempDir() + "zorv_round_trip_read.bin";
    const std::string expected = m_fresh.readRegisters(kAddr, 1000);
    const FeedOutcome outcome = feedEveryWay([&] {
        return roundTrip("3rd-proto", TestDevice::Flavor::Standard, emRequestReadFile, 256, true, makeRequest(0, 1000),
                         path);
    });
    EXPECT_EQ((std::vector<int>{0, 0, 0, 0}), outcome.results);
    EXPECT_EQ(toHex(expected), toHex(outcome.file));
    EXPECT_EQ(recordText(expectedRecord(0, expected, 1000)), outcome.record);
    std::remove(path.c_str());
}

TEST_F(RoundTripTest, FileReadIntoAnUnopenablePathStillCompletesTheReply)
{
    const std::string path = ::testing::TempDir() + "no-such-dir/zorv.bin";
    FeedSession s =
        roundTrip("3rd-proto", TestDevice::Flavor::Standard, emRequestReadFile, 256, true, makeRequest(0, 300), path);
    const FeedOutcome outcome = feedSession(s, FeedMode::Whole);
    EXPECT_EQ((std::vector<int>{0, 0}), outcome.results);
    EXPECT_EQ(2u, count("filepath:[" + path + "] open failed ..."));
    EXPECT_TRUE(logged(ZORV_LOG_WARN, "filepath:[" + path + "] open failed ..."));
    EXPECT_TRUE(logged(ZORV_LOG_DEBUG, "all sub package is received !"));
    EXPECT_EQ(recordText(expectedRecord(0, m_fresh.readRegisters(kAddr, 300), 300)), outcome.record);
}

TEST_F(RoundTripTest, VariantReadIsOnePacketThatCompletesTheTransfer)
{
    // Sub-header: packet sum at bytes 3-6, sequence number at 7-10, extension
    // length 2 at byte 17, then the two extension bytes. The request frame
    // carries the send count and the sequence number (0 without a packet sum),
    // and the device echoes that data area before the register bytes.
    struct Case
    {
        const char* name;
        std::string subHeader;
        std::string echoed;
    };
    const Case cases[] = {
        {"no packet sum", "a0 a1 a2 00000000 05000000 ab ac ad ae af b0 02 e1 e2",
         "a0 a1 a2 01000000 00000000 ab ac ad ae af b0 02 e1 e2"},
        {"packet sum 1", "a0 a1 a2 01000000 00000000 ab ac ad ae af b0 02 e1 e2",
         "a0 a1 a2 01000000 00000000 ab ac ad ae af b0 02 e1 e2"},
        {"packet 2 of 3", "a0 a1 a2 03000000 02000000 ab ac ad ae af b0 02 e1 e2",
         "a0 a1 a2 03000000 02000000 ab ac ad ae af b0 02 e1 e2"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        const std::string sub = hexBytes(c.subHeader);
        const std::string expected = hexBytes(c.echoed) + m_fresh.readRegisters(kAddr, 100);
        const FeedOutcome outcome = feedEveryWay([&] {
            return roundTrip("3rdOrvane-proto", TestDevice::Flavor::Variant, emRequestReadRegister, 256, true,
                             makeRequest(0, sub.size() + 100, sub));
        });
        EXPECT_EQ(std::vector<int>{0}, outcome.results);
        // The length is written only when the transfer completes.
        EXPECT_EQ(recordText(expectedRecord(0, expected, 120)), outcome.record);
    }
}

TEST_F(RoundTripTest, VariantWriteSplitsThePayloadAndEchoesTheSubHeader)
{
    // Extension length 2: every packet carries the 20 header bytes and at most
    // 44 payload bytes, so 150 bytes take four packets. Without a packet sum
    // the first reply completes the transfer; the length is that reply's.
    const std::string sub = hexBytes("a0 a1 a2 00000000 00000000 ab ac ad ae af b0 02 e1 e2");
    const std::string payload = pattern(150, 0x41);
    const FeedOutcome outcome = feedEveryWay([&] {
        return roundTrip("3rdOrvane-proto", TestDevice::Flavor::Variant, emRequestWriteRegister, 64, true,
                         makeRequest(1, sub.size() + payload.size(), sub + payload));
    });
    EXPECT_EQ((std::vector<int>{0, 0, 0, 0}), outcome.results);
    EXPECT_EQ(toHex(payload + m_fresh.readRegisters(kAddr + 150, 1024 - 150)), outcome.extra);
    // Each reply echoes its frame's sub-header: bytes 0-1 the packet's data
    // count (extension plus payload), 3-6 the send count, byte 17 the extension
    // length, then the extension bytes.
    const std::string full = hexBytes("2e 00 a2 01000000 00000000 ab ac ad ae af b0 02 e1 e2");
    const std::string last = hexBytes("14 00 a2 01000000 00000000 ab ac ad ae af b0 02 e1 e2");
    EXPECT_EQ(recordText(expectedRecord(1, full + full + full + last, 20)), outcome.record);
}
