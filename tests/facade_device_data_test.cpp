// The facade's device data: what each result leaves in the buffer, and whole transfers with the device simulator, the
// replies arriving whole, byte by byte and split at every point.
#include "analyzers/ProtoAnalyze3rd.h"
#include "devicesim/DeviceSimulator.h"
#include "protostub/ProtoStub.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/SplitRunner.h"
#include "support/TempPath.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>

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

const ST_MSGToHardDriverMatch kReply1{"", {{"AA55", 0}, {"1", 3}, {"0", 0}}};

// The fixture is the facade itself, so that tests reach its registry.
class FacadeDeviceDataTest : public LogCaptureTest, public ProtoStub
{
};

TEST_F(FacadeDeviceDataTest, EveryResultLeavesTheBufferAsDocumented)
{
    // Each call's result and a line it logs show, with the result, what the calls before left in the buffer.
    struct Call
    {
        std::string key = "3rd-proto", input;
        int scripted = 0, offset = 0;  // the analyzer's result and offset
        int result;
        em_LOG_LEVEL level;
        std::string log;
    };
    auto analyzer = std::make_shared<ScriptedAnalyzer>();
    m_mapProto["3rd-proto"] = analyzer;
    m_mapProto["empty"] = nullptr;
    const std::string a = hexBytes("aa 55 00 01 00 00 00 00 00 00 00 00 00 00 00 00 04 00 01 02 03 04 64 55");
    // The intake's lines, by the sizes they print.
    const auto waiting = [](int in, int all) {
        return "checkValidLength,tmpBuffe.size =[" + std::to_string(in) + "],m_buffer.size=[" + std::to_string(all) +
               "], (em_ProtoAnalyze)nCheck=[10].";
    };
    const auto badHead = [](int in, int all) {
        return "checkThridPackageHeaderFlag,tmpBuffe.size =[" + std::to_string(in) + "],m_buffer.size=[" +
               std::to_string(all) + "].";
    };
    const auto analysed = [](int result) {
        return "analyzeFromHardDriver, em_RequestType = 0,ProtoBase.analyzeFromHardDriver's nOpers(bool) = " +
               std::to_string(result) + ".";
    };
    const em_LOG_LEVEL info = ZORV_LOG_INFO, debug = ZORV_LOG_DEBUG, warn = ZORV_LOG_WARN;
    const Call calls[] = {
        {.input = a.substr(0, 10), .result = 6, .level = info, .log = waiting(10, 10)},
        {.key = "none", .result = 5, .level = warn, .log = "proto buffer is empty."},  // before the key is looked up
        {.key = "3RD-PROTO", .input = a, .result = 1, .level = warn, .log = "map proto is not contain match key."},
        {.key = "empty", .input = a, .result = 1, .level = warn, .log = "not found proto object."},
        // The 10 bytes were kept.
        {.input = a.substr(10) + a.substr(0, 5), .offset = 24, .result = 0, .level = debug, .log = analysed(0)},
        {.input = a.substr(5, 5), .result = 6, .level = info, .log = waiting(5, 10)},
        {.input = a.substr(10), .result = 255, .level = warn, .log = " end! clear buffer."},  // nothing used: failed
        {.input = a.substr(0, 22), .result = 6, .level = info, .log = waiting(22, 22)},
        {.input = a.substr(22), .scripted = 17, .offset = 3, .result = 255, .level = debug, .log = analysed(17)},
        // Byte 1 of a lone aa reads as the terminating zero.
        {.input = hexBytes("aa"), .result = 8, .level = info, .log = badHead(1, 1)},
        {.input = a.substr(1), .offset = 24, .result = 0, .level = debug, .log = analysed(0)},
        {.input = hexBytes("55 aa 00"), .result = 8, .level = info, .log = badHead(3, 3)},
        {.input = a, .result = 8, .level = info, .log = badHead(24, 27)},  // a wrong header stays
    };
    for (const Call& call : calls)
    {
        SCOPED_TRACE(&call - calls);
        clearLog();
        analyzer->m_result = call.scripted;
        analyzer->m_offset = call.offset;
        EXPECT_EQ(call.result, analyze_DeviceData(call.key, emRequestReadRegister, call.input, kReply1));
        EXPECT_TRUE(logged(call.level, call.log)) << testing::PrintToString(lines());
    }
}

// After each call: the result; after the last reply also the reply record and the output file.
struct Received
{
    int result = 0, ack = 0;
    unsigned long long length = 0;
    std::string data, file;
    bool operator==(const Received&) const = default;
    friend void PrintTo(const Received& r, std::ostream* os)
    {
        *os << "result " << r.result << ", ack " << r.ack << ", length " << r.length << ", data [" << toHex(r.data)
            << "], file [" << toHex(r.file) << "]";
    }
};

const zorv::DeviceSimulator kFresh(zorv::DeviceSimulator::Flavor::Standard);
std::string fresh(unsigned int from, size_t n)
{
    return kFresh.readRegisters(0x1000 + from, n);
}

// One request; after the last reply, the record and the file; the device's 256 bytes from 0x1000.
struct Ask
{
    bool variant = false;
    em_RequestType type = emRequestReadRegister;
    bool selfIncreasing = true;
    std::string data;
    unsigned long long length = 0;
    std::string fileBefore;  // what the local file holds before the request
};

struct Transfer
{
    const char* name;
    Ask ask;
    Received end;
    std::string registers;
};

Received ended(unsigned long long length, std::string data, std::string file = "")
{
    return {0, 0, length, std::move(data), std::move(file)};
}

// The request goes out on a fresh facade; the device's replies, one stream, are fed in the pieces the split
// runner chooses. A piece that spans two replies is cut where the first ends, as a server must do: the facade
// would glue the partial frame to the first.
void transfer(const Transfer& t, const std::string& path)
{
    const Ask& ask = t.ask;
    const char* const key = ask.variant ? "3rdOrvane-proto" : "3rd-proto";
    zorv::DeviceSimulator device(ask.variant ? zorv::DeviceSimulator::Flavor::Variant
                                             : zorv::DeviceSimulator::Flavor::Standard);
    INTER_ST::ThirdGenerationCommRequest_Data request;
    request.readWriteCode = ask.type == emRequestWriteRegister || ask.type == emRequestWriteFile;
    request.registerAddr = {0, 0x10, 0, 0};
    request.validLength = ask.length;
    request.data.assign(ask.data.begin(), ask.data.end());
    std::remove(path.c_str());
    if (!ask.fileBefore.empty())
        std::ofstream(path, std::ios::binary) << ask.fileBefore;
    const auto send = [&](ProtoStub& stub, std::vector<ST_MSGToHardDriver>& sent) {
        std::list<ST_MSGToHardDriver> msgs;
        EXPECT_EQ(emProtoSuccess, stub.analyze_ClientData(64, key, ask.type, &request, msgs, path, ask.selfIncreasing));
        sent.assign(msgs.begin(), msgs.end());
    };
    ProtoStub first;
    std::vector<ST_MSGToHardDriver> sent;
    send(first, sent);
    std::string replies;
    std::vector<size_t> ends;  // where each reply ends in the stream
    for (const ST_MSGToHardDriver& msg : sent)
        ends.push_back((replies += device.answer(*msg.frame)).size());
    EXPECT_EQ(t.registers, device.readRegisters(0x1000, 256));

    const auto make = [&] {
        auto stub = std::make_shared<ProtoStub>();
        auto msgs = std::make_shared<std::vector<ST_MSGToHardDriver>>();
        send(*stub, *msgs);
        return [&, stub, msgs, fed = size_t(0), j = size_t(0)](const std::string& piece) mutable {
            Received r;
            for (size_t done = 0; done < piece.size(); j += fed == ends[j])
            {
                const size_t n = std::min(piece.size() - done, ends[j] - fed);
                r.result = stub->analyze_DeviceData(key, ask.type, piece.substr(done, n), (*msgs)[j]);
                done += n;
                fed += n;
            }
            if (fed < replies.size())
                return r;
            const auto record = stub->getReplyPackage(key);
            std::ifstream file(path, std::ios::binary);  // read while the facade lives: closed means complete
            r.ack = record->ack;
            r.length = record->validDataLength;
            r.data.assign(record->data.begin(), record->data.end());
            r.file.assign(std::istreambuf_iterator<char>(file), {});
            return r;
        };
    };
    // Within a reply: 8 for its lone first byte 0xAA (byte 1 reads as the terminating zero), else 6.
    const auto expected = [&](size_t fed) {
        if (fed == replies.size())
            return t.end;
        const auto end = std::lower_bound(ends.begin(), ends.end(), fed);
        const size_t start = end == ends.begin() ? 0 : *(end - 1);
        return Received{fed == *end ? 0 : fed - start == 1 ? 8 : 6};
    };
    runSplits(replies, make, expected);
}

TEST_F(FacadeDeviceDataTest, TransfersEndTheSameHoweverTheRepliesArrive)
{
    const std::string w = fresh(0x6000, 150), file = tempPath("transfer.bin");
    const std::string unopenable = tempPath("no-such-dir/zorv.bin");
    // Variant sub-header: packet sum 0, two extension bytes; a reply echoes its frame's, bytes 0-1 the packet's
    // data count, 3-6 the send count.
    const std::string sub = hexBytes("a0 a1 a2 00000000 00000000 ab ac ad ae af b0 02 e1 e2");
    const std::string echo = hexBytes("a2 01000000 00000000 ab ac ad ae af b0 02 e1 e2");
    const std::string read = hexBytes("a0 a1") + echo;
    const std::string full = hexBytes("2e 00") + echo, last = hexBytes("0e 00") + echo;
    const em_RequestType write = emRequestWriteRegister, readFile = emRequestReadFile, writeFile = emRequestWriteFile;
    const Transfer transfers[] = {
        {"read, three packets, address repeated",
         {.selfIncreasing = false, .length = 150},
         ended(150, fresh(0, 64) + fresh(0, 64) + fresh(0, 22)),
         fresh(0, 256)},
        {"write, three packets, address repeated",
         {.type = write, .selfIncreasing = false, .data = w, .length = 150},
         {},
         w.substr(128) + w.substr(86, 42) + fresh(64, 192)},
        // Read while the facade lives, the file is whole: it was closed when the last reply arrived.
        {"file read",
         {.type = readFile, .length = 150, .fileBefore = "old"},
         ended(150, fresh(0, 150), fresh(0, 150)),
         fresh(0, 256)},
        {"file write", {.type = writeFile, .fileBefore = w}, ended(0, "", w), w + fresh(150, 106)},
        {"variant file read",
         {.variant = true, .type = readFile, .data = sub, .length = 60, .fileBefore = "old"},
         ended(60, read + fresh(0, 40)),
         fresh(0, 256)},
        // At most 44 payload bytes a packet; the length is the count of the reply that completed the transfer.
        {"variant write, four packets",
         {.variant = true, .type = write, .data = sub + w, .length = 170},
         ended(20, full + full + full + hexBytes("14 00") + echo),
         w + fresh(150, 106)},
        {"variant file write, three packets",
         {.variant = true, .type = writeFile, .data = sub, .fileBefore = w.substr(0, 100)},
         ended(20, full + full + last, w.substr(0, 100)),
         w.substr(0, 100) + fresh(100, 156)},
    };
    for (const Transfer& t : transfers)
    {
        SCOPED_TRACE(t.name);
        transfer(t, file);
        clearLog();
    }
    // Logged, the reply still completes.
    transfer({"file read into a path that cannot be opened",
              {.type = readFile, .length = 100},
              ended(100, fresh(0, 100)),
              fresh(0, 256)},
             unopenable);
    EXPECT_TRUE(logged(ZORV_LOG_WARN, "filepath:[" + unopenable + "] open failed ..."));
    std::remove(file.c_str());
}

}  // namespace
