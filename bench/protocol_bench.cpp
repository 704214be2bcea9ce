// The library's hot paths, driven through ProtoStub, each beside a yardstick
// of the machine's own limits measured in the same run: a memcpy of the same
// bytes in the same pieces, or for the per-call case the least any per-call
// design pays (a map look-up, a shared_ptr copy, an uncontended lock and a
// one-byte append).
//
// Every case reports the transfer's data bytes and its frames per second;
// cases 1 to 5 also report heap allocations per frame (per report for report
// streams, per line for the logger's own rows). Work that only prepares the
// next iteration (issuing the request whose replies are measured, dropping
// the messages or reports of the last one) runs with the timer paused.
#include "AllocationCount.h"
#include "DeviceFrames.h"
#include "SummaryReporter.h"
#include "log/ZorvLogControl.h"
#include "protostub/ProtoStub.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace
{

using benchmark::Counter;
using benchmark::State;
using Request = INTER_ST::ThirdGenerationCommRequest_Data;

const std::string kStandard = "3rd-proto";
const std::string kVariant = "3rdOrvane-proto";
constexpr size_t kMiB = size_t{1} << 20;
constexpr size_t kSubHeader = 18;  // leads the variant's request data
constexpr unsigned int kLabels = 256;
const bool kSelfIncreasing = true;

Request registerRequest(unsigned char code, size_t length)
{
    Request r;
    r.firstAddr = 0x01;
    r.secondAddr = 0x02;
    r.deviceType = 0x03;
    r.scanBoardAddr = {0x10, 0x20};
    r.readWriteCode = code;
    r.registerAddr = {0x00, 0x00, 0x00, 0x00};
    r.validLength = length;
    if (code == 1)
    {
        const std::string data = bench::patternBytes(length, 1);
        r.data.assign(data.begin(), data.end());
    }
    return r;
}

// The variant's request data: an all-zero sub-header (no extension, no packet
// sum), then a write's payload.
Request variantRequest(unsigned char code, size_t payload)
{
    Request r = registerRequest(code, 0);
    r.data.assign(kSubHeader, 0);
    if (code == 1)
    {
        const std::string data = bench::patternBytes(payload, 1);
        r.data.insert(r.data.end(), data.begin(), data.end());
    }
    r.validLength = kSubHeader + payload;
    return r;
}

unsigned char labelOf(const ST_MSGToHardDriver& msg)
{
    return static_cast<unsigned char>((*msg.frame)[3]);
}

// Counts the allocations of the timed parts and sets each case's counters.
class Meter
{
public:
    explicit Meter(State& state) : m_state(state) {}

    void start() { m_mark = bench::allocationCount(); }
    void stop() { m_allocations += bench::allocationCount() - m_mark; }

    // bytes and frames of one iteration; calls where a case is measured per call.
    void finish(size_t bytes, size_t frames, size_t calls = 0, bool allocations = true)
    {
        const auto iterations = static_cast<double>(m_state.iterations());
        m_state.SetBytesProcessed(static_cast<int64_t>(bytes) * m_state.iterations());
        m_state.counters["frames"] = Counter(static_cast<double>(frames) * iterations, Counter::kIsRate);
        if (calls != 0)
        {
            m_state.counters["calls"] = Counter(static_cast<double>(calls) * iterations, Counter::kIsRate);
        }
        if (allocations && frames != 0 && iterations > 0)
        {
            m_state.counters["allocs/frame"] =
                Counter(static_cast<double>(m_allocations) / (static_cast<double>(frames) * iterations),
                        Counter::kAvgThreads);
        }
    }

private:
    State& m_state;
    std::uint64_t m_mark = 0;
    std::uint64_t m_allocations = 0;
};

// Sets the logger's threshold for one case and restores it after.
class LogLevelScope
{
public:
    explicit LogLevelScope(em_LOG_LEVEL level) : m_saved(zorvlog::level()) { zorvlog::setLevel(level); }
    ~LogLevelScope() { zorvlog::setLevel(m_saved); }
    LogLevelScope(const LogLevelScope&) = delete;
    LogLevelScope& operator=(const LogLevelScope&) = delete;

private:
    em_LOG_LEVEL m_saved;
};

// ---- yardsticks ----

// bytes copied in pieces of piece bytes, as the cases' frames carry them.
void memcpyPieces(State& state, size_t bytes, size_t piece)
{
    // The size is hidden from the compiler, which would otherwise inline a
    // constant 1 KiB copy as rep movsq (slow here): the library's copies have
    // run-time sizes and call the C library's memcpy.
    benchmark::DoNotOptimize(piece);
    const std::string source = bench::patternBytes(bytes, 2);
    std::string target(bytes, '\0');
    Meter meter(state);
    for (auto _ : state)
    {
        for (size_t at = 0; at < bytes; at += piece)
        {
            std::memcpy(&target[at], &source[at], piece);
        }
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    meter.finish(bytes, bytes / piece, 0, false);
}

// What every call of a per-call interface pays at least, for a reply of
// length bytes fed one byte a call.
void perCallFloor(State& state, size_t length)
{
    std::map<std::string, std::shared_ptr<int>> registry{{kStandard, std::make_shared<int>(1)},
                                                         {kVariant, std::make_shared<int>(2)}};
    std::mutex mutex;
    std::string buffer;
    const std::string reply = bench::patternBytes(length, 3);
    std::string key = kStandard;
    std::string piece(1, '\0');
    Meter meter(state);
    for (auto _ : state)
    {
        for (const char byte : reply)
        {
            piece[0] = byte;
            benchmark::DoNotOptimize(key);
            const auto it = registry.find(key);
            const std::shared_ptr<int> entry = it->second;
            std::lock_guard<std::mutex> lock(mutex);
            buffer.append(piece);
            benchmark::DoNotOptimize(entry.get());
        }
        benchmark::DoNotOptimize(buffer.data());
        buffer.clear();
    }
    meter.finish(length, 1, length, false);
}

// ---- 1. request building ----

// requests requests of the same kind per iteration; bytes: their data bytes.
void requestBuilding(State& state, const std::string& key, em_RequestType type, Request request,
                     unsigned int maxRecvLen, size_t requests, size_t bytes)
{
    ProtoStub stub;
    std::list<ST_MSGToHardDriver> msgs;
    Meter meter(state);
    for (auto _ : state)
    {
        state.PauseTiming();
        msgs.clear();
        state.ResumeTiming();
        meter.start();
        for (size_t i = 0; i < requests; ++i)
        {
            if (stub.analyze_ClientData(maxRecvLen, key, type, &request, msgs, std::string(), kSelfIncreasing) !=
                emProtoSuccess)
            {
                state.SkipWithError("request rejected");
                break;
            }
        }
        meter.stop();
    }
    meter.finish(bytes, msgs.size());
}

// ---- 2. the reply path ----

// A 1 MiB register read of the standard key in packets of packet bytes, and
// the device's replies to its frames. The packet count is a multiple of 256,
// so every issue of the request repeats the labels and the replies fit again.
class ReadTransfer
{
public:
    explicit ReadTransfer(unsigned int packet) : m_request(registerRequest(0, kMiB)), m_packet(packet)
    {
        issue();
        const std::string data = bench::patternBytes(kMiB, 4);
        size_t at = 0;
        for (const ST_MSGToHardDriver& msg : m_msgs)
        {
            m_replies.push_back(bench::replyTo(*msg.frame, data.substr(at, packet)));
            at += packet;
        }
    }

    // A fresh request: a fresh reply record and counters, the same frames.
    bool issue()
    {
        m_msgs.clear();
        return stub.analyze_ClientData(m_packet, kStandard, emRequestReadRegister, &m_request, m_msgs, std::string(),
                                       kSelfIncreasing) == emProtoSuccess &&
               m_msgs.size() % kLabels == 0;
    }

    // Feeds every reply, one frame a call; false at the first that fails.
    bool receive()
    {
        const em_RequestType type = emRequestReadRegister;
        size_t i = 0;
        for (const ST_MSGToHardDriver& msg : m_msgs)
        {
            if (stub.analyze_DeviceData(kStandard, type, m_replies[i++], msg) != emProtoSuccess)
            {
                return false;
            }
        }
        return true;
    }

    size_t frames() const { return m_replies.size(); }

    ProtoStub stub;

private:
    Request m_request;
    unsigned int m_packet;
    std::list<ST_MSGToHardDriver> m_msgs;
    std::vector<std::string> m_replies;
};

void replyPath(State& state, unsigned int packet)
{
    ReadTransfer transfer(packet);
    Meter meter(state);
    for (auto _ : state)
    {
        state.PauseTiming();
        const bool issued = transfer.issue();
        state.ResumeTiming();
        meter.start();
        const bool received = issued && transfer.receive();
        meter.stop();
        if (!received)
        {
            state.SkipWithError("a reply was not accepted");
            break;
        }
    }
    meter.finish(kMiB, transfer.frames());
}

// The variant reads one frame a request: 1024 transactions of a 1 KiB read
// and its reply. The device echoes the request's data area (the sub-header)
// before the bytes read.
void variantTransactions(State& state)
{
    constexpr size_t kRead = 1024;
    constexpr size_t kTransactions = kMiB / kRead;
    ProtoStub stub;
    Request request = variantRequest(0, kRead);
    const unsigned int maxRecvLen = kSubHeader + kRead;
    std::list<ST_MSGToHardDriver> msgs;
    std::vector<std::string> replyByLabel(kLabels);
    const std::string data = std::string(kSubHeader, '\0') + bench::patternBytes(kRead, 5);
    for (unsigned int i = 0; i < kLabels; ++i)
    {
        msgs.clear();
        stub.analyze_ClientData(maxRecvLen, kVariant, emRequestReadRegister, &request, msgs, std::string(), true);
        replyByLabel[labelOf(msgs.front())] = bench::replyTo(*msgs.front().frame, data);
    }
    const em_RequestType type = emRequestReadRegister;
    Meter meter(state);
    for (auto _ : state)
    {
        meter.start();
        for (size_t i = 0; i < kTransactions; ++i)
        {
            msgs.clear();
            if (stub.analyze_ClientData(maxRecvLen, kVariant, type, &request, msgs, std::string(), true) !=
                    emProtoSuccess ||
                stub.analyze_DeviceData(kVariant, type, replyByLabel[labelOf(msgs.front())], msgs.front()) !=
                    emProtoSuccess)
            {
                state.SkipWithError("a transaction failed");
                break;
            }
        }
        meter.stop();
    }
    meter.finish(kMiB, kTransactions);
}

// ---- 3. byte at a time ----

void byteAtATime(State& state)
{
    constexpr size_t kRead = 1024;
    ProtoStub stub;
    Request request = registerRequest(0, kRead);
    const em_RequestType type = emRequestReadRegister;
    std::list<ST_MSGToHardDriver> msgs;
    std::vector<std::string> replyByLabel(kLabels);
    const std::string data = bench::patternBytes(kRead, 6);
    for (unsigned int i = 0; i < kLabels; ++i)
    {
        msgs.clear();
        stub.analyze_ClientData(kRead, kStandard, type, &request, msgs, std::string(), true);
        replyByLabel[labelOf(msgs.front())] = bench::replyTo(*msgs.front().frame, data);
    }
    const size_t length = replyByLabel[0].size();
    std::string piece(1, '\0');
    Meter meter(state);
    for (auto _ : state)
    {
        state.PauseTiming();
        msgs.clear();
        stub.analyze_ClientData(kRead, kStandard, type, &request, msgs, std::string(), true);
        const std::string& reply = replyByLabel[labelOf(msgs.front())];
        state.ResumeTiming();
        meter.start();
        bool ok = true;
        for (size_t i = 0; i < length; ++i)
        {
            piece[0] = reply[i];
            // A lone first byte reads as a wrong head (8) and is kept; the
            // head is whole from the second byte on.
            const em_ProtoAnalyze wanted =
                i == 0 ? emProtoBadHeader : (i + 1 < length ? emProtoIncompleteFrame : emProtoSuccess);
            ok = ok && stub.analyze_DeviceData(kStandard, type, piece, msgs.front()) == wanted;
        }
        meter.stop();
        if (!ok)
        {
            state.SkipWithError("a byte was not taken as expected");
            break;
        }
    }
    meter.finish(length, 1, length);
}

// ---- 4. report streams ----

// 1 MiB of 64-byte reports carrying code at byte 10: 0 (a read) logs
// nothing, a package code such as 0x10 logs a warning for every report.
void reportStream(State& state, const std::string& key, unsigned char code)
{
    constexpr size_t kReport = 64;
    constexpr size_t kReports = kMiB / kReport;
    std::string stream;
    for (size_t i = 0; i < kReports; ++i)
    {
        stream += bench::report(static_cast<unsigned char>(i & 0x7F), code,
                                bench::patternBytes(kReport - 20, static_cast<unsigned int>(i)));
    }
    ProtoStub stub;
    std::string buffer = stream;
    std::vector<ST_DeviceAutoReportResponseInfo> reports;
    stub.analyze_DeviceReportData(buffer, key, reports);
    bool split = reports.size() == kReports;
    for (const ST_DeviceAutoReportResponseInfo& r : reports)
    {
        split = split && r.answer->size() == 20 && (code != 0 || r.response->data.size() == kReport - 20);
    }
    if (!split)
    {
        state.SkipWithError("the stream was not split into its reports");
        return;
    }
    Meter meter(state);
    for (auto _ : state)
    {
        state.PauseTiming();
        reports.clear();
        buffer.assign(stream);
        state.ResumeTiming();
        meter.start();
        stub.analyze_DeviceReportData(buffer, key, reports);
        meter.stop();
    }
    meter.finish(kMiB, kReports);
}

// ---- 5. logging ----

void replyPathLogged(State& state, em_LOG_LEVEL level)
{
    const LogLevelScope scope(level);
    replyPath(state, 1024);
}

// One line as the request builder writes it, at TRACE: filtered at WARN,
// formatted and discarded at TRACE.
void logLine(State& state, em_LOG_LEVEL threshold)
{
    const LogLevelScope scope(threshold);
    const char* const signature =
        "enum em_ProtoAnalyze __cdecl ProtoAnalyze3rd::analyze_OnePackageRequst(const struct "
        "ST_RegisterAddrAndValid &,class INTER_ST::ThirdGenerationCommRequest_Data *,struct ST_MSGToHardDriver &)";
    ZorvSpdLog* logger = ZorvSpdLog::getLoger();
    int label = 0;
    Meter meter(state);
    meter.start();
    for (auto _ : state)
    {
        label = (label + 1) & 0xFF;
        logger->addLogtoZorvSpdLog(ZORV_LOG_TRACE, signature, 87,
                                   "label[%d], datagramLength[%d], addrscr[0x%0x], scanBoardAddr[0x%0x], "
                                   "readWriteCode[%d], device type[%d].",
                                   label, 1044, 0x400u * static_cast<unsigned int>(label), 0x2010u, 0, 3);
    }
    meter.stop();
    meter.finish(0, 1, 1);
}

void registerCases(bench::SummaryReporter& summary)
{
    auto add = [&summary](const std::string& name, const std::string& yardstick, auto&& run) {
        summary.compare(name, yardstick);
        return benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMicrosecond);
    };
    auto yardstick = [](const char* name, auto&& run) {
        return benchmark::RegisterBenchmark(name, run)->Unit(benchmark::kMicrosecond);
    };
    const char* const kilo = "memcpy/1MiB-in-1KiB";

    // 1. Request building.
    yardstick(kilo, [](State& s) { memcpyPieces(s, kMiB, 1024); });
    add("request/write/3rd-proto/1MiB-in-1KiB", kilo, [](State& s) {
        requestBuilding(s, kStandard, emRequestWriteRegister, registerRequest(1, kMiB), 1024, 1, kMiB);
    });
    add("request/read/3rd-proto/1MiB-in-1KiB", kilo, [](State& s) {
        requestBuilding(s, kStandard, emRequestReadRegister, registerRequest(0, kMiB), 1024, 1, kMiB);
    });
    add("request/write/3rdOrvane-proto/1MiB-in-1KiB", kilo,
        [](State& s) { requestBuilding(s, kVariant, emRequestWriteRegister, variantRequest(1, kMiB), 1024, 1, kMiB); });
    // The variant's client splits its transfers itself: 1024 requests of 1 KiB.
    add("request/write/3rdOrvane-proto/1024x1KiB", kilo, [](State& s) {
        requestBuilding(s, kVariant, emRequestWriteRegister, variantRequest(1, 1024), kSubHeader + 1024, 1024, kMiB);
    });
    add("request/read/3rdOrvane-proto/1024x1KiB", kilo, [](State& s) {
        requestBuilding(s, kVariant, emRequestReadRegister, variantRequest(0, 1024), kSubHeader + 1024, 1024, kMiB);
    });

    // 2. The reply path.
    add("reply/3rd-proto/1MiB-in-1KiB", kilo, [](State& s) { replyPath(s, 1024); });
    yardstick("memcpy/1MiB-in-256B", [](State& s) { memcpyPieces(s, kMiB, 256); });
    add("reply/3rd-proto/1MiB-in-256B", "memcpy/1MiB-in-256B", [](State& s) { replyPath(s, 256); });
    add("reply/3rdOrvane-proto/1024x1KiB-transactions", kilo, [](State& s) { variantTransactions(s); });

    // 3. Byte at a time: 1044 bytes, the frame of a 1 KiB reply.
    yardstick("floor/1044-calls", [](State& s) { perCallFloor(s, 1024 + 20); });
    add("bytewise/3rd-proto/1KiB-reply", "floor/1044-calls", [](State& s) { byteAtATime(s); });

    // 4. Report streams.
    yardstick("memcpy/1MiB-in-64B", [](State& s) { memcpyPieces(s, kMiB, 64); });
    for (const std::string* key : {&kStandard, &kVariant})
    {
        add("reports/" + *key + "/64B-read", "memcpy/1MiB-in-64B", [key](State& s) { reportStream(s, *key, 0x00); });
        add("reports/" + *key + "/64B-package-code-warns", "memcpy/1MiB-in-64B",
            [key](State& s) { reportStream(s, *key, 0x10); });
    }

    // 5. Logging: the reply path at WARN and at TRACE (lines discarded), and
    // one line filtered and formatted.
    add("log/warn/reply/3rd-proto/1MiB-in-1KiB", kilo, [](State& s) { replyPathLogged(s, ZORV_LOG_WARN); });
    add("log/trace-discarded/reply/3rd-proto/1MiB-in-1KiB", kilo, [](State& s) { replyPathLogged(s, ZORV_LOG_TRACE); });
    add("log/line-filtered", "", [](State& s) { logLine(s, ZORV_LOG_WARN); });
    add("log/line-trace-discarded", "", [](State& s) { logLine(s, ZORV_LOG_TRACE); });

    // 6. Scaling: one ProtoStub per thread.
    yardstick("memcpy/1MiB-in-1KiB-threads", [](State& s) { memcpyPieces(s, kMiB, 1024); })
        ->Threads(1)
        ->Threads(2)
        ->UseRealTime();
    add("scaling/reply/3rd-proto/1MiB-in-1KiB", "memcpy/1MiB-in-1KiB-threads", [](State& s) { replyPath(s, 1024); })
        ->Threads(1)
        ->Threads(2)
        ->UseRealTime();
}

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
    {
        return 1;
    }
    // Lines that pass the threshold (the warnings of some report streams, every
    // line at TRACE) are formatted in full and then dropped.
    zorvlog::setDiscardOutput(true);
    zorvlog::setLevel(ZORV_LOG_WARN);
    bench::SummaryReporter summary;
    registerCases(summary);
    benchmark::RunSpecifiedBenchmarks(&summary);
    benchmark::Shutdown();
    return 0;
}
