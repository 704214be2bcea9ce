// The facade's device data: what each result leaves in the buffer; round trips through a test device, the
// replies fed in pieces of every size; cost, robustness and the lock.
#include "analyzers/ProtoAnalyze3rd.h"
#include "protostub/ProtoStub.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/TestDevice.h"
#include "support/Throws.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <thread>
#include <tuple>

namespace
{

struct ScriptedAnalyzer : ProtoAnalyze3rd  // its reply analysis returns what the test sets
{
    em_ProtoAnalyze analyze_DeviceData(const em_RequestType&, const std::string&, const ST_MSGToHardDriverMatch&,
                                       int& offset) override
    {
        offset = m_offset;
        return static_cast<em_ProtoAnalyze>(m_result);
    }
    int m_result = 0, m_offset = 0;
};

// Replies with label 1: 20 bytes without data, 24 with 01 02 03 04.
const std::string kEmpty = hexBytes("aa 55 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 56 55");
const std::string kReply = hexBytes("aa 55 00 01 00 00 00 00 00 00 00 00 00 00 00 00 04 00 01 02 03 04 64 55");

using MatchList = std::vector<ST_MSGToHardDriverMatchOne>;
const ST_MSGToHardDriverMatch kReply1{"", {{"AA55", 0}, {"1", 3}, {"0", 0}}};

const TestDevice kFresh(TestDevice::Flavor::Standard);
const auto fresh = [](unsigned int from, size_t n) { return kFresh.readRegisters(0x1000 + from, n); };

// Name, key, type, packet size, self-increasing addresses, data, length, output file, and the outcome: results
// of the calls that complete a frame, the record's ack and length, its data, the file, the registers from 0x1000.
using Case = std::tuple<const char*, const char*, em_RequestType, unsigned int, bool, std::string, unsigned long long,
                        std::string, std::vector<std::string>>;

// Replies are fed in pieces of step bytes; no piece spans two frames, which would glue them into one package.
std::vector<std::string> run(const Case& c, size_t step)
{
    const auto& [name, key, type, maxLen, selfIncreasing, data, length, path, outcome] = c;
    ProtoStub stub;
    TestDevice device(std::string(key) == "3rd-proto" ? TestDevice::Flavor::Standard : TestDevice::Flavor::Variant);
    const bool write = type == emRequestWriteRegister;
    INTER_ST::ThirdGenerationCommRequest_Data r{
        0, 0, 0, {}, 0, write, {0, 0x10, 0, 0}, length, {data.begin(), data.end()}, 0};
    std::list<ST_MSGToHardDriver> msgs;
    std::remove(path.c_str());
    EXPECT_EQ(emProtoSuccess, stub.analyze_ClientData(maxLen, key, type, &r, msgs, path, selfIncreasing));
    std::string results;
    for (const ST_MSGToHardDriver& msg : msgs)
    {
        const std::string reply = device.answer(*msg.frame);
        for (size_t done = 0, n = 0; done < reply.size(); done += n)
        {
            n = std::min(step, reply.size() - done);
            const int result = stub.analyze_DeviceData(key, type, reply.substr(done, n), msg);
            results += done + n == reply.size() ? std::to_string(result) + ' ' : "";
            // Until the frame is whole: 6, or 8 for a lone first 0xAA (byte 1 reads as the terminating zero).
            EXPECT_TRUE(done + n == reply.size() || result == (done + n == 1 ? 8 : 6)) << result << " at " << done;
        }
    }
    const auto record = stub.getReplyPackage(key);
    std::ifstream file(path, std::ios::binary);
    return {results, std::to_string(record->ack) + ' ' + std::to_string(record->validDataLength),
            std::string(record->data.begin(), record->data.end()),
            std::string(std::istreambuf_iterator<char>(file), {}), device.readRegisters(0x1000, 1024)};
}

// The fixture is the facade itself, so that tests reach its registry.
class FacadeDeviceDataTest : public LogCaptureTest, public ProtoStub
{
protected:
    // Frames and heads, extended or cut, up to three header bytes changed,
    // half of them sealed again. Each gets one of the facade's codes, or the
    // package search's exception for a short buffer with two heads. As a
    // server would, the buffer is cleared after all but an incomplete frame.
    void feedRandomBytes(unsigned int seed, const char* key)
    {
        std::mt19937 rng(seed);
        auto below = [&rng](size_t n) { return static_cast<size_t>(rng() % n); };
        // clang-format off
        const MatchList lists[] = {kReply1.matchList, {{"AA55", 0}, {"1", 3}}, {}, {{"AA55", 0}}, {{"", 0}, {"1", 3}},
            {{"AA55", 0}, {"1", 3}, {"1", 3}, {"1", 3}}, {{"AA55", -1}, {"1", -7}}, {{"AA55", 5000}, {"1", 5000}}};
        const std::string seeds[] = {hexBytes("aa 55"), kEmpty, kReply, kEmpty + kReply, kReply + hexBytes("aa 55 00")};
        // clang-format on
        for (int i = 0; i < 4000; ++i)
        {
            std::string s = seeds[below(5)] + std::string(below(3) == 0 ? below(40) : 0, static_cast<char>(rng()));
            s.resize(below(3) == 0 ? below(s.size() + 1) : s.size());
            for (size_t n = below(4); n > 0 && !s.empty(); --n)
                s[below(std::min<size_t>(s.size(), 24))] = static_cast<char>(rng());
            if (s.size() >= 20 && below(2) == 0)
                sealFrame(s);
            int result = -1;
            const std::string thrown = outOfRange([&] {
                result = analyze_DeviceData(key, static_cast<em_RequestType>(below(5)), s, {"", lists[below(8)]});
            });
            EXPECT_TRUE(thrown.empty() ? result == 0 || result == 5 || result == 6 || result == 8 || result == 255
                                       : thrown == "invalid string position")
                << result << " " << thrown << " " << toHex(s);
            if (result != emProtoIncompleteFrame || below(3) == 0)
                clearRecvDeviceData();
            clearLog();
        }
    }
};

}  // namespace

TEST_F(FacadeDeviceDataTest, EveryResultLeavesTheBufferAsDocumented)
{
    auto analyzer = std::make_shared<ScriptedAnalyzer>();
    m_mapProto["3rd-proto"] = analyzer;
    m_mapProto["empty"] = nullptr;
    const std::string a = kReply, a10 = a.substr(0, 10), k = "3rd-proto";
    const std::string header = "checkThridPackageHeaderFlag,tmpBuffe.size =[",
                      length = "checkValidLength,tmpBuffe.size =[";
    const std::string analysis =
        "analyzeFromHardDriver, em_RequestType = 0,ProtoBase.analyzeFromHardDriver's nOpers(bool) = ";
    // Key, input, the analyzer's result and offset, the call's result and a line it logs, which with the result
    // shows what the calls before left behind.
    using Call = std::tuple<std::string, std::string, int, int, int, em_LOG_LEVEL, std::string>;
    // clang-format off
    const Call calls[] = {
        {k, a10, 0, 0, 6, ZORV_LOG_INFO, length + "10],m_buffer.size=[10], (em_ProtoAnalyze)nCheck=[10]."},
        {"none", "", 0, 0, 5, ZORV_LOG_WARN, "proto buffer is empty."},  // before the key is looked up
        {"3RD-PROTO", a, 0, 0, 1, ZORV_LOG_WARN, "map proto is not contain match key."},
        {"empty", a, 0, 0, 1, ZORV_LOG_WARN, "not found proto object."},
        {k, a.substr(10) + a.substr(0, 5), 0, 24, 0, ZORV_LOG_DEBUG, analysis + "0."},  // the 10 bytes were kept
        {k, a.substr(5, 5), 0, 0, 6, ZORV_LOG_INFO, length + "5],m_buffer.size=[10], (em_ProtoAnalyze)nCheck=[10]."},
        {k, a.substr(10), 0, 0, 255, ZORV_LOG_WARN, " end! clear buffer."},  // success using nothing fails
        {k, a.substr(0, 22), 0, 0, 6, ZORV_LOG_INFO, length + "22],m_buffer.size=[22], (em_ProtoAnalyze)nCheck=[10]."},
        {k, a.substr(22), 17, 3, 255, ZORV_LOG_DEBUG, analysis + "17."},
        {k, hexBytes("aa"), 0, 0, 8, ZORV_LOG_INFO, header + "1],m_buffer.size=[1]."},  // byte 1 reads as the end zero
        {k, a.substr(1), 0, 24, 0, ZORV_LOG_DEBUG, analysis + "0."},
        {k, hexBytes("55 aa 00"), 0, 0, 8, ZORV_LOG_INFO, header + "3],m_buffer.size=[3]."},
        {k, a, 0, 0, 8, ZORV_LOG_INFO, header + "24],m_buffer.size=[27]."},  // a wrong header stays
    };
    // clang-format on
    for (const Call& call : calls)
    {
        const auto& [key, input, scripted, offset, result, level, log] = call;
        SCOPED_TRACE(&call - calls);
        clearLog();
        analyzer->m_result = scripted;
        analyzer->m_offset = offset;
        EXPECT_EQ(result, analyze_DeviceData(key, emRequestReadRegister, input, kReply1));
        EXPECT_TRUE(logged(level, log));
    }
}

TEST_F(FacadeDeviceDataTest, RandomDeviceBytesNeverCrash)
{
    feedRandomBytes(20240611u, "3rd-proto");
    feedRandomBytes(20240612u, "3rdOrvane-proto");
}

TEST_F(FacadeDeviceDataTest, ConcurrentDeviceDataAndClearingDoNotRace)
{
    std::thread first([&] { feedRandomBytes(1, "3rd-proto"); });
    std::thread second([&] { feedRandomBytes(2, "3rdOrvane-proto"); });
    first.join();
    second.join();
    clearRecvDeviceData();  // alone again, a cleared buffer takes a whole reply
    EXPECT_EQ(emProtoSuccess, analyze_DeviceData("3rd-proto", emRequestReadRegister, kEmpty, kReply1));
}

TEST_F(FacadeDeviceDataTest, RoundTripsGiveTheSameOutcomeHoweverTheRepliesAreSplit)
{
    const std::string w = fresh(0x6000, 700), file = ::testing::TempDir() + "zorv_round_trip.bin";
    const std::string unopenable = ::testing::TempDir() + "no-such-dir/zorv.bin";
    // Each variant reply echoes its frame's sub-header: bytes 0-1 the packet's data count, 3-6 the send count.
    const std::string sub = hexBytes("a0 a1 a2 00000000 00000000 ab ac ad ae af b0 02 e1 e2");
    const std::string full = hexBytes("2e 00 a2 01000000 00000000 ab ac ad ae af b0 02 e1 e2");
    const std::string last = hexBytes("14 00 a2 01000000 00000000 ab ac ad ae af b0 02 e1 e2");
    const em_RequestType read = emRequestReadRegister, write = emRequestWriteRegister;
    // clang-format off
    const Case cases[] = {
        {"read, four packets, address increasing", "3rd-proto", read, 256, true, "", 1000, "",
         {"0 0 0 0 ", "0 1000", fresh(0, 1000), "", fresh(0, 1024)}},
        {"read, three packets, address repeated", "3rd-proto", read, 256, false, "", 600, "",
         {"0 0 0 ", "0 600", fresh(0, 256) + fresh(0, 256) + fresh(0, 88), "", fresh(0, 1024)}},
        {"write, three packets, address increasing", "3rd-proto", write, 256, true, w, 700, "",
         {"0 0 0 ", "0 0", "", "", w + fresh(700, 324)}},
        // Every packet goes to 0x1000: the last (188 bytes) over the second.
        {"write, three packets, address repeated", "3rd-proto", write, 256, false, w, 700, "",
         {"0 0 0 ", "0 0", "", "", w.substr(512) + w.substr(444, 68) + fresh(256, 768)}},
        {"file read", "3rd-proto", emRequestReadFile, 256, true, "", 1000, file,
         {"0 0 0 0 ", "0 1000", fresh(0, 1000), fresh(0, 1000), fresh(0, 1024)}},
        // Logged as below, the reply still completes.
        {"file read into a path that cannot be opened", "3rd-proto", emRequestReadFile, 256, true, "", 300, unopenable,
         {"0 0 ", "0 300", fresh(0, 300), "", fresh(0, 1024)}},
        // At most 44 payload bytes a packet; the length is the last reply's.
        {"variant write, four packets", "3rdOrvane-proto", write, 64, true, sub + w.substr(0, 150), 170, "",
         {"0 0 0 0 ", "0 20", full + full + full + last, "", w.substr(0, 150) + fresh(150, 874)}},
    };
    // clang-format on
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::get<0>(c));
        // One byte per call, every length of the first piece, whole frames.
        for (size_t step = 1; step <= std::get<3>(c) + 20 && !HasFailure(); ++step)
            EXPECT_EQ(std::get<8>(c), run(c, step)) << "pieces of " << step;
    }
    std::remove(file.c_str());
    EXPECT_TRUE(logged(ZORV_LOG_WARN, "filepath:[" + unopenable + "] open failed ..."));
}

TEST_F(FacadeDeviceDataTest, ByteByByteFeedingIsLinear)
{
    // One 60 KiB read against ten of 6 KiB, best of five, with a loose bound.
    zorvlog::setLevel(ZORV_LOG_WARN);
    auto timed = [](unsigned long long length, int times) {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < times; ++i)
            EXPECT_EQ(length,
                      run({"", "3rd-proto", emRequestReadRegister, 65535, true, "", length, "", {}}, 1)[2].size());
        return std::chrono::steady_clock::now() - start;
    };
    auto small = std::chrono::steady_clock::duration::max(), large = small;
    for (int round = 0; round < 5; ++round)
    {
        small = std::min(small, timed(6 * 1024, 10));
        large = std::min(large, timed(60 * 1024, 1));
    }
    EXPECT_LT(large.count(), 3 * small.count()) << "60 KiB against ten times 6 KiB";
}
