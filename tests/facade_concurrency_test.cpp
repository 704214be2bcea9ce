// The receive buffer under its lock: device data for both analyzers and the
// clearing of the buffer, from three threads at once.
#include "protostub/ProtoStub.h"
#include "support/LogCapture.h"
#include "support/TestDevice.h"

#include <atomic>
#include <stdexcept>
#include <thread>

namespace
{

class FacadeConcurrencyTest : public LogCaptureTest
{
};

struct Transfer
{
    std::string key;
    std::list<ST_MSGToHardDriver> msgs;
    std::string reply;
};

Transfer prepare(ProtoStub& stub, const std::string& key, TestDevice::Flavor flavor, const std::string& data)
{
    INTER_ST::ThirdGenerationCommRequest_Data request;
    request.registerAddr = {0, 0, 0, 0};
    request.data.assign(data.begin(), data.end());
    request.validLength = data.size() + 32;
    Transfer t{key, {}, {}};
    EXPECT_EQ(emProtoSuccess, stub.analyze_ClientData(256, key, emRequestReadRegister, &request, t.msgs, "", false));
    t.reply = TestDevice(flavor, 1u << 12).answer(*t.msgs.front().frame);
    return t;
}

}  // namespace

TEST_F(FacadeConcurrencyTest, DeviceDataAndClearingFromSeveralThreadsDoNotRace)
{
    ProtoStub stub;
    const Transfer standard = prepare(stub, "3rd-proto", TestDevice::Flavor::Standard, "");
    const Transfer variant = prepare(stub, "3rdOrvane-proto", TestDevice::Flavor::Variant, std::string(18, '\0'));
    std::atomic<bool> stop{false};
    std::atomic<int> unexpected{0};
    // Each feeder sends its reply in two pieces; another thread may clear the
    // buffer or mix its own bytes in between, so any of the facade's codes may
    // come back, but nothing else.
    auto feed = [&](const Transfer& t) {
        for (int i = 0; i < 1500; ++i)
        {
            const size_t cut = 1 + static_cast<size_t>(i) % (t.reply.size() - 1);
            for (const std::string& piece : {t.reply.substr(0, cut), t.reply.substr(cut)})
            {
                try
                {
                    const int r = stub.analyze_DeviceData(t.key, emRequestReadRegister, piece, t.msgs.front());
                    if (r != 0 && r != 6 && r != 8 && r != 255)
                    {
                        ++unexpected;
                    }
                }
                catch (const std::out_of_range&)
                {
                    // A mix of both replies may form a short buffer that the
                    // package search rejects this way; it is not a race.
                }
            }
        }
    };
    std::thread clearer([&] {
        while (!stop)
        {
            stub.clearRecvDeviceData();
            std::this_thread::yield();
        }
    });
    std::thread first(feed, std::cref(standard));
    std::thread second(feed, std::cref(variant));
    first.join();
    second.join();
    stop = true;
    clearer.join();
    EXPECT_EQ(0, unexpected.load());
    // Alone again, the buffer behaves: a cleared buffer takes a whole reply.
    stub.clearRecvDeviceData();
    EXPECT_EQ(emProtoSuccess,
              stub.analyze_DeviceData("3rd-proto", emRequestReadRegister, standard.reply, standard.msgs.front()));
}
