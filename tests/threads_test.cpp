// Threads: facades driven side by side, and one facade whose receive buffer
// is cleared from another thread while replies are analysed. The tsan lane
// runs these.
#include "devicesim/DeviceSimulator.h"
#include "log/ZorvLogControl.h"
#include "support/SimRoundTrip.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <random>
#include <thread>
#include <vector>

using zorv::DeviceSimulator;

namespace
{

class Concurrency : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_level = zorvlog::level();
        zorvlog::setLevel(ZORV_LOG_WARN);
    }
    void TearDown() override { zorvlog::setLevel(m_level); }

    em_LOG_LEVEL m_level = ZORV_LOG_INFO;
};

// A random write and the read that checks it, on one line; false if either did not give the device's bytes.
bool writeAndReadBack(SimServer& server, ServerStub& stub, const DeviceSimulator& device, const char* key,
                      std::mt19937& rng)
{
    const bool variant = std::string(key) == "3rdOrvane-proto";
    const unsigned int addr = 0x1000u * (1 + rng() % 64) + rng() % 256;
    std::string payload(1 + rng() % 600, '\0');
    for (char& b : payload)
        b = static_cast<char>(rng());
    const RoundTripOutcome wrote = server.run(
        {.type = emRequestWriteRegister, .record = makeRequest(variant, true, addr, payload, payload.size())});
    const RoundTripOutcome read =
        server.run({.type = emRequestReadRegister, .record = makeRequest(variant, false, addr, "", payload.size())});
    const auto record = stub.getReplyPackage(key);
    const std::string data(record->data.begin(), record->data.end());
    return wrote.ending == Ending::Success && read.ending == Ending::Success &&
           device.readRegisters(addr, payload.size()) == payload && data.substr(variant ? 18 : 0) == payload;
}

}  // namespace

// Each thread has its own facade and device, with both protocol keys in use at once.
TEST_F(Concurrency, OneFacadePerThreadGivesEachThreadItsOwnResults)
{
    constexpr int kThreads = 4, kRounds = 150;
    std::vector<int> exact(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t, &exact] {
            const char* key = t % 2 == 0 ? "3rd-proto" : "3rdOrvane-proto";
            ServerStub stub;
            DeviceSimulator device(t % 2 == 0 ? DeviceSimulator::Flavor::Standard : DeviceSimulator::Flavor::Variant,
                                   {.maxPiece = 16, .seed = static_cast<std::uint32_t>(t + 1)});
            SimServer server(stub, device, key);
            std::mt19937 rng(static_cast<std::uint32_t>(t + 100));
            for (int i = 0; i < kRounds; ++i)
                exact[static_cast<std::size_t>(t)] += writeAndReadBack(server, stub, device, key, rng) ? 1 : 0;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(std::vector<int>(kThreads, kRounds), exact);
}

// One thread runs requests while another clears the receive buffer at random moments. The buffer's lock makes
// the two safe together: a request that no clearing overlapped succeeds, a success is always exact, and after a
// clearing has spoilt one the next succeeds once the server has recovered.
TEST_F(Concurrency, ClearingFromAnotherThreadNeverSpoilsAReplyItDoesNotOverlap)
{
    constexpr int kRounds = 600;
    ServerStub stub;
    DeviceSimulator device(DeviceSimulator::Flavor::Standard, {.maxPiece = 8, .seed = 5});
    SimServer server(stub, device, "3rd-proto");
    // Odd while a clearing is under way: a request that sees the same even number before and after was not
    // overlapped by one.
    std::atomic<unsigned> clearings{0};
    std::atomic<bool> done{false};
    std::thread clearer([&] {
        std::mt19937 rng(9);
        while (!done)
        {
            std::this_thread::sleep_for(std::chrono::microseconds(rng() % 400));
            ++clearings;
            stub.clearRecvDeviceData();
            ++clearings;
        }
    });
    int untouched = 0, overlapped = 0, spoilt = 0;
    std::mt19937 rng(11);
    for (int i = 0; i < kRounds; ++i)
    {
        const unsigned int addr = 0x4000u + 0x400u * (rng() % 16);
        const std::size_t length = 1 + rng() % 700;
        const unsigned before = clearings;
        const RoundTripOutcome out =
            server.run({.type = emRequestReadRegister, .record = makeRequest(false, false, addr, "", length)});
        const bool alone = before % 2 == 0 && clearings == before;
        (alone ? untouched : overlapped) += 1;
        SCOPED_TRACE(::testing::Message() << "request " << i << ", ended " << endingName(out.ending));
        if (alone)
        {
            EXPECT_STREQ(endingName(Ending::Success), endingName(out.ending));
        }
        if (out.ending == Ending::Success)
        {
            const auto record = stub.getReplyPackage("3rd-proto");
            EXPECT_EQ(device.readRegisters(addr, length), std::string(record->data.begin(), record->data.end()));
        }
        else
        {
            ++spoilt;
            server.recover();
        }
    }
    done = true;
    clearer.join();
    EXPECT_GT(untouched, 0);
    std::cout << kRounds << " requests: " << untouched << " alone, " << overlapped << " overlapped by a clearing, "
              << spoilt << " spoilt and recovered\n";
}
