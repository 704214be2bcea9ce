// Faults on the line: round trips through the device simulator with each of
// its faults switched on, alone and mixed, for both protocol keys. Each fault
// gives its result code, log line and buffer state; a success never carries
// wrong data; the next request succeeds once the server has cleared what the
// fault left behind.
//
// ZORV_ROUND_TRIPS sets the number of randomised round trips (10000 by
// default); ZORV_SEED replays one of them with the full log.
#include "devicesim/DeviceSimulator.h"
#include "support/LogCapture.h"
#include "support/SimRoundTrip.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <map>
#include <random>
#include <sstream>

using zorv::DeviceSimulator;
using zorv::Fault;
using zorv::Faults;

namespace
{

const char* const kKeys[] = {"3rd-proto", "3rdOrvane-proto"};

unsigned long envNumber(const char* name, unsigned long fallback)
{
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? std::strtoul(value, nullptr, 10) : fallback;
}

bool has(const std::vector<Fault>& faults, Fault fault)
{
    return std::find(faults.begin(), faults.end(), fault) != faults.end();
}

std::string faultNames(const std::vector<Fault>& faults)
{
    std::string out;
    for (Fault f : faults)
        out += (out.empty() ? "" : "+") + std::string(zorv::faultName(f));
    return out.empty() ? "none" : out;
}

// One device and one server on one facade, as a test sees them.
struct Line
{
    Line(const char* key, const Faults& faults)
        : variant(std::string(key) == kKeys[1]),
          device(variant ? DeviceSimulator::Flavor::Variant : DeviceSimulator::Flavor::Standard, faults),
          server(stub, device, key), key(key)
    {
    }

    ClientRequest request(bool write, unsigned int addr, const std::string& payload) const
    {
        return {.type = write ? emRequestWriteRegister : emRequestReadRegister,
                .record = makeRequest(variant, write, addr, payload, payload.size())};
    }

    // Whether the request's effect is exact: a read's record holds the registers (behind the variant's echoed
    // sub-header), a write's registers hold its data.
    bool exact(bool write, unsigned int addr, const std::string& payload)
    {
        if (write)
            return device.readRegisters(addr, payload.size()) == payload;
        const auto record = stub.getReplyPackage(key);
        const std::string data(record->data.begin(), record->data.end());
        return data.size() == payload.size() + (variant ? 18 : 0) &&
               data.substr(variant ? 18 : 0) == device.readRegisters(addr, payload.size());
    }

    bool variant;
    ServerStub stub;
    DeviceSimulator device;
    SimServer server;
    std::string key;
};

class FaultRoundTrips : public LogCaptureTest
{
};

// What a fault leaves in the receive buffer, and so whether the next request needs clearRecvDeviceData first.
enum class Left
{
    Nothing,
    Delivery,  // every byte delivered for the message
    OneReply   // the second copy of a duplicated reply
};

struct Seen
{
    bool variant;
    bool write;
    const MessageExchange& message;
};

}  // namespace

// One message per request (100 bytes), every reply faulty. Requests are fed whole and in pieces of up to 5
// bytes, except duplicates: a piece that holds the end of the first copy and the start of the second glues them
// into one failing package, which the randomised round trips below allow for.
TEST_F(FaultRoundTrips, EachFaultGivesItsCodeLogAndBufferAndTheNextRequestSucceeds)
{
    struct Case
    {
        const char* name;
        Faults faults;
        Ending ending;
        Left left;
        int lastResult;  // -1: nothing was fed
        std::string (*log)(const Seen&);
        bool inPieces = true;
    };
    // clang-format off
    const Case cases[] = {
        {.name = "dropped reply", .faults = {.droppedReply = 1}, .ending = Ending::TimedOut, .left = Left::Nothing,
         .lastResult = -1, .log = [](const Seen&) { return std::string(); }},
        {.name = "non-zero ack", .faults = {.nonZeroAck = 1, .ackCode = 7}, .ending = Ending::Refused,
         .left = Left::Nothing, .lastResult = 0, .log = [](const Seen& s) {
             return s.variant ? "0 operation code[" + std::to_string(s.write) + "], validDataLength[18], recv count[1], "
                                "send count[1], ack[7]"
                              : "0 end ! emReadWriteCode[" + std::to_string(s.write) + "], validDataLength[0], recv "
                                "count[1], send count[1], ack[7]]"; }},
        {.name = "wrong label", .faults = {.wrongLabel = 1}, .ending = Ending::Failed, .left = Left::Nothing,
         .lastResult = 255, .log = [](const Seen& s) {
             return std::string(s.variant ? "3 err when analyze common package result[0], offset[0]."
                                          : "3 label != (unsigned char)rawDatagramBuf[3]"); }},
        {.name = "bad checksum", .faults = {.badChecksum = 1}, .ending = Ending::Failed, .left = Left::Nothing,
         .lastResult = 255, .log = [](const Seen& s) {
             return (s.variant ? "2 msgType[" : "2 match crc error, msgType[") + std::to_string(s.write) +
                    "], offset valid[0]."; }},
        // A lone first 0xAA reads as a wrong header (its byte 1 is the string's terminating zero).
        {.name = "truncated", .faults = {.truncated = 1}, .ending = Ending::TimedOut, .left = Left::Delivery,
         .lastResult = 6, .log = [](const Seen& s) {
             const std::string sizes = "tmpBuffe.size =[" + std::to_string(s.message.lastPiece) + "],m_buffer.size=[" +
                                       std::to_string(s.message.delivered) + "].";
             return s.message.delivered == 1 ? "2 checkThridPackageHeaderFlag," + sizes
                                             : "2 checkValidLength," + sizes.substr(0, sizes.size() - 1) +
                                                   ", (em_ProtoAnalyze)nCheck=[10]."; }},
        {.name = "garbage before the head", .faults = {.garbage = 1}, .ending = Ending::TimedOut,
         .left = Left::Delivery, .lastResult = 8, .log = [](const Seen& s) {
             return "2 checkThridPackageHeaderFlag,tmpBuffe.size =[" + std::to_string(s.message.lastPiece) +
                    "],m_buffer.size=[" + std::to_string(s.message.delivered) + "]."; }},
        // Both copies in one piece: two packages, the first consumed, the second kept.
        {.name = "duplicated", .faults = {.duplicated = 1}, .ending = Ending::Success, .left = Left::OneReply,
         .lastResult = 0, .log = [](const Seen& s) {
             return "1 analyzeFromHardDriver, em_RequestType = " + std::to_string(s.write) +
                    ",ProtoBase.analyzeFromHardDriver's nOpers(bool) = 0."; }, .inPieces = false},
    };
    // clang-format on
    const std::string payload = DeviceSimulator(DeviceSimulator::Flavor::Standard).readRegisters(0x9000, 100);
    for (const Case& c : cases)
        for (const char* key : kKeys)
            for (const bool write : {false, true})
                for (const std::size_t maxPiece : {0, 5})
                    for (const std::uint32_t seed : {1u, 2u, 3u})
                    {
                        if (maxPiece > 0 && !c.inPieces)
                            continue;
                        SCOPED_TRACE(::testing::Message() << c.name << ", " << key << (write ? ", write" : ", read")
                                                          << ", pieces of up to " << maxPiece << ", seed " << seed);
                        clearLog();
                        Faults faults = c.faults;
                        faults.maxPiece = maxPiece;
                        faults.seed = seed;
                        Line line(key, faults);
                        const RoundTripOutcome out = line.server.run(line.request(write, 0x2000, payload));
                        ASSERT_EQ(1u, out.messages.size());
                        const MessageExchange& m = out.messages[0];
                        EXPECT_EQ(endingName(c.ending), endingName(out.ending)) << "faults " << faultNames(m.faults);
                        const int last = m.results.empty() ? -1 : m.results.back();
                        EXPECT_EQ(c.name == std::string("truncated") && m.delivered == 1 ? 8 : c.lastResult, last);
                        const std::size_t left[] = {0, m.delivered, m.delivered / 2};
                        EXPECT_EQ(left[static_cast<int>(c.left)], out.buffered);
                        EXPECT_EQ(0u, out.onWire);
                        const std::string log = c.log({line.variant, write, m});
                        const Lines logLines = lines();
                        EXPECT_TRUE(log.empty() || std::find(logLines.begin(), logLines.end(), log) != logLines.end())
                            << "expected \"" << log << "\" in\n"
                            << ::testing::PrintToString(lines("", ZORV_LOG_DEBUG));
                        if (c.ending == Ending::Refused)
                        {
                            EXPECT_EQ(7, line.stub.getReplyPackage(key)->ack);
                            EXPECT_FALSE(line.exact(write, 0x2000, payload));  // a refused request is not carried out
                        }
                        if (c.ending == Ending::Success)
                        {
                            EXPECT_TRUE(line.exact(write, 0x2000, payload));
                        }

                        // Where bytes were left behind the server clears them; then a clean request succeeds.
                        if (c.left != Left::Nothing)
                            line.server.recover();
                        line.device.setFaults({.maxPiece = maxPiece, .seed = seed});
                        const std::string next = payload.substr(0, 60);
                        EXPECT_EQ(endingName(Ending::Success),
                                  endingName(line.server.run(line.request(write, 0x3000, next)).ending));
                        EXPECT_TRUE(line.exact(write, 0x3000, next));
                    }
}

// Random requests (1 to 700 bytes, up to three packets of 256; a variant read is one packet) against random
// faults, mixed. A success is always exact; a clean line always succeeds; the first faulty reply ends the request
// as its fault says, unless an earlier reply was duplicated (its copy then meets the next reply). After each
// request the server clears what is left, and a clean request must succeed.
TEST_F(FaultRoundTrips, RandomFaultsNeverCorruptASuccessAndTheLineRecovers)
{
    const unsigned long replay = envNumber("ZORV_SEED", 0);
    const unsigned long count = replay != 0 ? 1 : envNumber("ZORV_ROUND_TRIPS", 10000);
    if (replay == 0)
        zorvlog::setLevel(ZORV_LOG_WARN);
    const std::string program =
        ::testing::internal::GetArgvs().empty() ? "faults_test" : ::testing::internal::GetArgvs()[0];
    const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
    std::map<std::string, unsigned long> endings;
    std::array<std::uint64_t, zorv::kFaultKinds> injected{};
    const double chances[] = {0, 0, 0, 0.1, 0.4};
    const std::size_t pieceSizes[] = {0, 1, 3, 16, 64, 300};

    for (unsigned long i = 0; i < count && !HasFatalFailure(); ++i)
    {
        const auto seed = static_cast<std::uint32_t>(replay != 0 ? replay : 1000 + i);
        std::ostringstream replayLine;
        replayLine << "seed " << seed << "; replay: ZORV_SEED=" << seed << ' ' << program
                   << " --gtest_filter=" << test->test_suite_name() << '.' << test->name();
        SCOPED_TRACE(replayLine.str());
        clearLog();

        std::mt19937 rng(seed);
        const char* key = kKeys[rng() % 2];
        const bool write = rng() % 2 == 1;
        const unsigned int addr = 0x1000u * (1 + rng() % 16) + rng() % 64;
        Faults faults{.maxPiece = pieceSizes[rng() % 6], .seed = seed};
        double* const switches[] = {&faults.droppedReply, &faults.nonZeroAck, &faults.wrongLabel, &faults.badChecksum,
                                    &faults.truncated,    &faults.garbage,    &faults.duplicated};
        const unsigned int mode = rng() % 4;  // 0 a clean line, 1 one fault, 2 and 3 a mix
        const std::size_t one = rng() % 7;
        for (std::size_t f = 0; f < 7; ++f)
            *switches[f] = mode == 0   ? 0
                           : mode == 1 ? (f == one ? (rng() % 2 == 0 ? 1.0 : 0.3) : 0)
                                       : chances[rng() % 5];
        faults.ackCode = static_cast<unsigned char>(1 + rng() % 255);
        Line line(key, faults);
        std::string payload(1 + rng() % 700, '\0');
        for (char& b : payload)
            b = static_cast<char>(rng());

        const RoundTripOutcome out = line.server.run(line.request(write, addr, payload));
        ++endings[endingName(out.ending)];
        for (std::size_t f = 0; f < zorv::kFaultKinds; ++f)
            injected[f] += line.device.stats().faults[f];

        std::string story;
        bool clean = true, duplicatedBefore = false;
        for (std::size_t m = 0; m < out.messages.size(); ++m)
        {
            const std::vector<Fault>& f = out.messages[m].faults;
            story += " [" + faultNames(f) + "]";
            clean = clean && f.empty();
            if (m + 1 < out.messages.size())
                duplicatedBefore = duplicatedBefore || has(f, Fault::Duplicated);
        }
        SCOPED_TRACE(std::string(key) + (write ? " write " : " read ") + std::to_string(payload.size()) +
                     " bytes, pieces " + std::to_string(faults.maxPiece) + ", ended " + endingName(out.ending) +
                     ", faults per message:" + story);

        ASSERT_NE(Ending::Rejected, out.ending);
        EXPECT_TRUE(out.ending != Ending::Success || line.exact(write, addr, payload)) << "a success with wrong data";
        EXPECT_TRUE(out.ending != Ending::Failed || out.buffered == 0) << "255 empties the buffer";
        EXPECT_TRUE(!clean || (out.ending == Ending::Success && out.buffered == 0 && out.onWire == 0));
        if (!clean && !duplicatedBefore)
        {
            const MessageExchange& last = out.messages.back();
            const std::vector<Fault>& f = last.faults;
            const int result = last.results.empty() ? -1 : last.results.back();
            const bool dup = has(f, Fault::Duplicated);
            const Ending e = out.ending;
            bool expected = e == Ending::Success;  // a duplicate alone and what is left
            if (has(f, Fault::DroppedReply))
                expected = e == Ending::TimedOut && last.results.empty();
            else if (has(f, Fault::Garbage))
                expected = e == Ending::TimedOut && result == 8;
            else if (has(f, Fault::Truncated))
                expected = dup ? e == Ending::TimedOut || e == Ending::Failed
                               : e == Ending::TimedOut && (result == 6 || result == 8);
            else if (has(f, Fault::WrongLabel) || has(f, Fault::BadChecksum))
                expected = e == Ending::Failed;
            else if (has(f, Fault::NonZeroAck))
                expected = e == Ending::Refused || (dup && e == Ending::Failed);
            else if (dup)
                expected = e == Ending::Success || e == Ending::Failed;
            EXPECT_TRUE(expected) << "the last message's faults do not explain the ending (last result " << result
                                  << ")";
        }

        if (out.ending != Ending::Success || out.buffered != 0 || out.onWire != 0)
            line.server.recover();
        line.device.setFaults({.maxPiece = faults.maxPiece, .seed = seed});
        const std::string next = payload.substr(0, 1 + payload.size() / 2);
        EXPECT_EQ(endingName(Ending::Success), endingName(line.server.run(line.request(false, addr, next)).ending))
            << "the request after the faults";
        EXPECT_TRUE(line.exact(false, addr, next));
        if (replay != 0 && HasFailure())
            for (const std::string& logLine : lines())
                std::cout << logLine << '\n';
    }
    std::cout << count << " round trips:";
    for (const auto& [ending, n] : endings)
        std::cout << ' ' << ending << ' ' << n;
    std::cout << "; faults injected:";
    for (std::size_t f = 0; f < zorv::kFaultKinds; ++f)
        std::cout << ' ' << zorv::faultName(static_cast<Fault>(f)) << ' ' << injected[f];
    std::cout << '\n';
}
