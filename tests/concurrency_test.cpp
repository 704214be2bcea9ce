// The facade's one lock: device data for both keys and clearing, from three threads at once.
#include "log/ZorvLogControl.h"
#include "protostub/ProtoStub.h"
#include "support/Bytes.h"

#include <gtest/gtest.h>

#include <thread>

namespace
{

TEST(ConcurrencyTest, DeviceDataAndClearingFromSeveralThreadsShareTheBufferSafely)
{
    zorvlog::setLevel(ZORV_LOG_WARN);
    ProtoStub stub;
    const ST_MSGToHardDriverMatch match{"", {{"AA55", 0}, {"1", 3}, {"0", 0}}};
    const std::string reply = hexBytes("aa 55 00 01 00 00 00 00 00 00 00 00 00 00 00 00 04 00 01 02 03 04 64 55");
    // Whole replies, replies in two pieces, a wrong header: every result the intake has but 1 and 5.
    const std::string pieces[] = {reply, reply.substr(0, 10), reply.substr(10), hexBytes("55 aa 00"), reply + reply};
    const auto feed = [&](const char* key) {
        for (int i = 0; i < 300; ++i)
            for (const std::string& piece : pieces)
            {
                const em_ProtoAnalyze result = stub.analyze_DeviceData(key, emRequestReadRegister, piece, match);
                EXPECT_TRUE(result == 0 || result == 6 || result == 8 || result == 255) << result;
                if (result == emProtoBadHeader)
                    stub.clearRecvDeviceData();
            }
    };
    std::thread standard(feed, "3rd-proto"), variant(feed, "3rdOrvane-proto");
    std::thread clearing([&] {
        for (int i = 0; i < 1000; ++i)
            stub.clearRecvDeviceData();
    });
    standard.join();
    variant.join();
    clearing.join();
    stub.clearRecvDeviceData();  // alone again, a cleared buffer takes a whole reply
    EXPECT_EQ(emProtoSuccess, stub.analyze_DeviceData("3rd-proto", emRequestReadRegister, reply, match));
}

}  // namespace
