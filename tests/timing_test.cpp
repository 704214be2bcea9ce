// What the facade's intake costs: feeding a reply one byte per call stays linear in the reply's size.
#include "devicesim/DeviceSimulator.h"
#include "log/ZorvLogControl.h"
#include "protostub/ProtoStub.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

namespace
{

// One read of length bytes in one packet, its reply fed byte by byte, times over.
std::chrono::steady_clock::duration readByteByByte(unsigned long long length, int times)
{
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < times; ++i)
    {
        ProtoStub stub;
        zorv::DeviceSimulator device(zorv::DeviceSimulator::Flavor::Standard);
        INTER_ST::ThirdGenerationCommRequest_Data request{0, 0, 0, {}, 0, 0, {0, 0x10, 0, 0}, length, {}, 0};
        std::list<ST_MSGToHardDriver> msgs;
        EXPECT_EQ(emProtoSuccess,
                  stub.analyze_ClientData(65535, "3rd-proto", emRequestReadRegister, &request, msgs, "", true));
        for (char byte : device.answer(*msgs.front().frame))
            stub.analyze_DeviceData("3rd-proto", emRequestReadRegister, std::string(1, byte), msgs.front());
        EXPECT_EQ(length, stub.getReplyPackage("3rd-proto")->data.size());
    }
    return std::chrono::steady_clock::now() - start;
}

TEST(TimingTest, ByteByByteFeedingIsLinear)
{
    // One 60 KiB read against ten of 6 KiB, best of five, with a loose bound.
    zorvlog::setLevel(ZORV_LOG_WARN);
    auto small = std::chrono::steady_clock::duration::max(), large = small;
    for (int round = 0; round < 5; ++round)
    {
        small = std::min(small, readByteByByte(6 * 1024, 10));
        large = std::min(large, readByteByByte(60 * 1024, 1));
    }
    EXPECT_LT(large.count(), 3 * small.count()) << "60 KiB against ten times 6 KiB";
}

}  // namespace
