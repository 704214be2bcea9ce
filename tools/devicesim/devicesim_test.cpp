#include "devicesim/DeviceSimulator.h"
#include "protostub/ProtoStub.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

using zorv::DeviceSimulator;
using zorv::Dropped;
using zorv::Fault;
using zorv::Faults;
using Flavor = DeviceSimulator::Flavor;

namespace
{

std::string bytes(const std::string& hex)
{
    std::istringstream in(hex);
    std::string out;
    for (unsigned int b = 0; in >> std::hex >> b;)
        out += static_cast<char>(b);
    return out;
}

std::string hex(std::string_view b)
{
    std::string out;
    for (unsigned char c : b)
        out += (out.empty() ? "" : " ") + std::string{"0123456789abcdef"[c >> 4], "0123456789abcdef"[c & 15]};
    return out;
}

// Requests and their replies, labels 1 to 4; registers 0x1000.. unwritten (10 93 16 99 ...).
const std::string kRead = bytes("55 aa 00 01 11 22 33 44 66 77 00 05 00 10 00 00 04 00 f6 56");
const std::string kReadReply = bytes("aa 55 00 01 22 11 33 44 66 77 00 05 00 10 00 00 04 00 10 93 16 99 48 58");
const std::string kWrite = bytes("55 aa 00 02 11 22 33 44 66 77 01 05 45 23 01 89 03 00 a1 b2 c3 ef 59");
const std::string kWriteReply = bytes("aa 55 00 02 22 11 33 44 66 77 01 05 45 23 01 89 00 00 d6 57");
// Variant: sub-header (packet sum at 3, sequence at 7, extension length at 17), extension, payload.
const std::string kVariantRead = bytes("55 aa 00 03 11 22 33 44 66 77 00 05 00 10 00 00 18 00 "
                                       "00 00 00 02 00 00 00 01 00 00 00 00 00 00 00 00 00 02 e1 e2 d4 58");
const std::string kVariantReadReply = bytes("aa 55 00 03 22 11 33 44 66 77 00 05 00 10 00 00 18 00 "
                                            "00 00 00 02 00 00 00 01 00 00 00 00 00 00 00 00 00 02 e1 e2 "
                                            "10 93 16 99 26 5a");
const std::string kVariantWrite = bytes("55 aa 00 04 11 22 33 44 66 77 01 05 45 23 01 89 17 00 "
                                        "04 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 01 e1 a1 b2 c3 ec 5a");
const std::string kVariantWriteReply = bytes("aa 55 00 04 22 11 33 44 66 77 01 05 45 23 01 89 13 00 "
                                             "04 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 01 e1 d2 58");

// Feeds a stream whole, one byte per call and split at every point; checks each run's simulator and the
// replies to its pieces.
template <typename Check>
void feedEveryWay(Flavor flavor, const std::string& stream, Check check)
{
    std::vector<std::vector<size_t>> runs{{}, {}};
    for (size_t i = 1; i < stream.size(); ++i)
    {
        runs[1].push_back(i);
        runs.push_back({i});
    }
    for (const std::vector<size_t>& cuts : runs)
    {
        SCOPED_TRACE(testing::Message() << cuts.size() << " cuts from " << (cuts.empty() ? 0 : cuts[0]));
        DeviceSimulator sim(flavor);
        std::vector<std::string> replies;
        size_t from = 0;
        for (size_t to : cuts)
        {
            replies.push_back(sim.receive(stream.substr(from, to - from)));
            from = to;
        }
        replies.push_back(sim.receive(stream.substr(from)));
        check(sim, replies);
    }
}

TEST(DeviceSimulator, RepliesCrossTheAddressEchoTheHeaderAndCarryTheData)
{
    struct Case
    {
        const char* name;
        Flavor flavor;
        std::string request, reply;
        std::string written = {};  // at 0x89012345
    };
    const Case cases[] = {
        {.name = "read", .flavor = Flavor::Standard, .request = kRead, .reply = kReadReply},
        {.name = "write",
         .flavor = Flavor::Standard,
         .request = kWrite,
         .reply = kWriteReply,
         .written = "\xa1\xb2\xc3"},
        {.name = "variant read", .flavor = Flavor::Variant, .request = kVariantRead, .reply = kVariantReadReply},
        {.name = "variant write",
         .flavor = Flavor::Variant,
         .request = kVariantWrite,
         .reply = kVariantWriteReply,
         .written = "\xa1\xb2\xc3"},
    };
    const DeviceSimulator fresh(Flavor::Standard);
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        feedEveryWay(c.flavor, c.request, [&](DeviceSimulator& sim, const std::vector<std::string>& replies) {
            // Nothing until the request is whole, then the reply.
            EXPECT_EQ(std::vector<std::string>(replies.size() - 1), std::vector(replies.begin(), replies.end() - 1));
            EXPECT_EQ(hex(c.reply), hex(replies.back()));
            EXPECT_TRUE(sim.idle());
            const std::string registers = c.written.empty() ? fresh.readRegisters(0x89012345, 3) : c.written;
            EXPECT_EQ(hex(registers), hex(sim.readRegisters(0x89012345, 3)));
        });
        DeviceSimulator sim(c.flavor);
        EXPECT_EQ(hex(c.reply), hex(sim.answer(c.request)));
        EXPECT_EQ("", sim.answer(c.request + "x"));  // answer() takes exactly one frame
    }
}

TEST(DeviceSimulator, RegistersSpanPagesAndWrapAtTheTopOfTheAddressSpace)
{
    const DeviceSimulator fresh(Flavor::Standard);
    DeviceSimulator sim(Flavor::Standard);
    EXPECT_TRUE(sim.writeRegisters(0xFFFFFFFD, "abcdef") && sim.writeRegisters(0x2FFE, "wxyz"));
    EXPECT_EQ("def", sim.readRegisters(0, 3));
    EXPECT_EQ(fresh.readRegisters(0xFFFFF000, 0xFFD) + "abcdef", sim.readRegisters(0xFFFFF000, 0x1003));
    EXPECT_EQ(fresh.readRegisters(0x2000, 0xFFE) + "wxyz" + fresh.readRegisters(0x3002, 0xFFE),
              sim.readRegisters(0x2000, 0x2000));
}

TEST(DeviceSimulator, StreamDropsWhatIsNoRequestAndAnswersTheRest)
{
    std::string damaged = kWrite;
    damaged[19] = '\x00';
    const std::string badCode = bytes("55 aa 00 09 11 22 33 44 66 77 07 05 00 10 00 00 00 00");
    const std::string stream = bytes("01 02 55") + kRead + damaged + badCode + kWrite + bytes("55");
    feedEveryWay(Flavor::Standard, stream, [&](DeviceSimulator& sim, const std::vector<std::string>& replies) {
        std::string all;
        for (const std::string& r : replies)
            all += r;
        EXPECT_EQ(hex(kReadReply + kWriteReply), hex(all));
        const zorv::Stats& s = sim.stats();
        // The head of the bad-code request goes as such, the rest of it as garbage; a last 0x55 waits for more.
        EXPECT_EQ(3u + 16u, s.dropped(Dropped::Garbage));
        EXPECT_EQ(damaged.size(), s.dropped(Dropped::BadChecksum));
        EXPECT_EQ(2u, s.dropped(Dropped::BadCode));
        EXPECT_EQ(1u, sim.pending());
        EXPECT_EQ(2u, s.requests);
        EXPECT_EQ(stream.size(), s.bytesIn);
        sim.reset();
        EXPECT_TRUE(sim.idle() && sim.stats().dropped(Dropped::Incomplete) == 1);
    });
}

TEST(DeviceSimulator, EachFaultSpoilsTheReplyItsOwnWay)
{
    struct Case
    {
        const char* name;
        Faults faults;
        Fault fault;
        std::string reply = {};  // none when only its shape is checked
        bool written = true;
    };
    const Case cases[] = {
        {.name = "dropped", .faults = {.droppedReply = 1}, .fault = Fault::DroppedReply, .reply = ""},
        // A request answered with a non-zero ack is not carried out.
        {.name = "ack",
         .faults = {.nonZeroAck = 1, .ackCode = 7},
         .fault = Fault::NonZeroAck,
         .reply = bytes("aa 55 07 02 22 11 33 44 66 77 01 05 45 23 01 89 00 00 dd 57"),
         .written = false},
        {.name = "label",
         .faults = {.wrongLabel = 1},
         .fault = Fault::WrongLabel,
         .reply = bytes("aa 55 00 03 22 11 33 44 66 77 01 05 45 23 01 89 00 00 d7 57")},
        {.name = "checksum",
         .faults = {.badChecksum = 1},
         .fault = Fault::BadChecksum,
         .reply = bytes("aa 55 00 02 22 11 33 44 66 77 01 05 45 23 01 89 00 00 d7 57")},
        {.name = "duplicated",
         .faults = {.duplicated = 1},
         .fault = Fault::Duplicated,
         .reply = kWriteReply + kWriteReply},
        {.name = "truncated", .faults = {.truncated = 1}, .fault = Fault::Truncated},
        {.name = "garbage", .faults = {.garbage = 1}, .fault = Fault::Garbage},
    };
    const DeviceSimulator fresh(Flavor::Standard);
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        for (uint32_t seed = 1; seed <= 20; ++seed)
        {
            Faults faults = c.faults;
            faults.seed = seed;
            DeviceSimulator sim(Flavor::Standard, faults);
            const std::string reply = sim.answer(kWrite);
            EXPECT_EQ(std::vector<Fault>{c.fault}, sim.lastFaults());
            EXPECT_EQ(1u, sim.stats().injected(c.fault));
            EXPECT_EQ(c.written ? "\xa1\xb2\xc3" : fresh.readRegisters(0x89012345, 3),
                      sim.readRegisters(0x89012345, 3));
            const size_t extra = reply.size() - std::min(reply.size(), kWriteReply.size());
            if (c.fault == Fault::Truncated)
                EXPECT_TRUE(!reply.empty() && reply.size() < kWriteReply.size() && kWriteReply.find(reply) == 0);
            else if (c.fault == Fault::Garbage)
                EXPECT_TRUE(extra >= 1 && extra <= 16 && reply.substr(extra) == kWriteReply &&
                            reply.substr(0, extra).find('\xaa') == std::string::npos)
                    << hex(reply);
            else
                EXPECT_EQ(hex(c.reply), hex(reply));
        }
    }
}

TEST(DeviceSimulator, FaultsReplayFromTheirSeedAndDoNotDisturbEachOther)
{
    const Faults half{.droppedReply = .5,
                      .nonZeroAck = .5,
                      .wrongLabel = .5,
                      .badChecksum = .5,
                      .truncated = .5,
                      .garbage = .5,
                      .duplicated = .5,
                      .seed = 42};
    Faults noDuplicates = half;
    noDuplicates.duplicated = 0;
    DeviceSimulator a(Flavor::Standard, half), b(Flavor::Standard, half), c(Flavor::Standard, noDuplicates);
    for (int i = 0; i < 50; ++i)
    {
        EXPECT_EQ(hex(a.answer(kRead)), hex(b.answer(kRead))) << "reply " << i;
        c.answer(kRead);
        std::vector<Fault> expected = a.lastFaults();
        std::erase(expected, Fault::Duplicated);
        EXPECT_EQ(expected, c.lastFaults()) << "reply " << i;
    }
    EXPECT_TRUE(a.stats().injected(Fault::Garbage) > 10 && a.stats().injected(Fault::Garbage) < 40);
}

TEST(DeviceSimulator, PushesAndTheAcknowledgementsItAccepts)
{
    const DeviceSimulator sim(Flavor::Variant);
    struct Case
    {
        const char* name;
        std::string frame, expected, ack;
        bool (*accepts)(std::string_view, std::string_view);
    };
    const Case cases[] = {
        {.name = "auto report",
         .frame = sim.pushReport(0x21, 0x10, 2, 1, "abc"),
         .expected = "55 aa 00 21 0a 0b 0c 0d 0e 0f 10 32 01 02 03 04 15 00 "
                     "00 00 00 02 00 00 00 01 00 00 00 00 00 00 00 00 00 00 61 62 63 4b 57",
         .ack = bytes("aa 55 00 21 0b 0a 0c 0d 0e 0f 10 32 01 02 03 04 12 00 "
                      "00 00 00 02 00 00 00 01 00 00 00 00 00 00 00 00 00 00 22 56"),
         .accepts = &DeviceSimulator::acceptsPushAcknowledgement},
        {.name = "report of a stream",
         .frame = sim.reportStream(0x22, {"xy"}),
         .expected = "55 aa 00 22 0a 0b 0c 0d 0e 0f 00 32 01 02 03 04 02 00 78 79 f1 56",
         .ack = bytes("aa 55 00 22 0b 0a 0c 0d 0e 0f 00 32 01 02 03 04 00 00 fe 55"),
         .accepts = &DeviceSimulator::acceptsReportAcknowledgement},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.expected, hex(c.frame));
        EXPECT_TRUE(c.accepts(c.frame, c.ack));
        EXPECT_FALSE(c.accepts(c.frame, c.ack + '\0') || c.accepts(c.frame.substr(0, 19), c.ack));
        for (size_t i = 0; i < c.ack.size(); ++i)
        {
            std::string wrong = c.ack;
            wrong[i] ^= 0x01;
            EXPECT_FALSE(c.accepts(c.frame, wrong)) << "byte " << i;
        }
    }
    EXPECT_EQ(2u, sim.stats().pushes);
}

// Bytes from outside: random runs with request heads sprinkled in never break it. A false head may announce a
// long request; once that many bytes have come, its checksum fails and the request behind it is found.
TEST(DeviceSimulator, ArbitraryBytesAreDroppedAndTheRequestBehindThemAnswered)
{
    for (const auto& [flavor, request, reply] : {std::tuple(Flavor::Standard, kRead, kReadReply),
                                                 std::tuple(Flavor::Variant, kVariantRead, kVariantReadReply)})
    {
        DeviceSimulator sim(flavor, Faults{.maxPiece = 300, .seed = 9});
        std::mt19937 rng(5);
        std::string stream;
        while (stream.size() < 20000)
            stream += rng() % 8 == 0 ? std::string("\x55\xaa") : std::string(1, static_cast<char>(rng()));
        stream += std::string(70000, '\0') + request;
        std::string replies;
        for (const std::string& piece : sim.pieces(stream))
        {
            EXPECT_TRUE(!piece.empty() && piece.size() <= 300);
            replies += sim.receive(piece);
        }
        ASSERT_GE(replies.size(), reply.size());
        EXPECT_EQ(hex(reply), hex(replies.substr(replies.size() - reply.size())));
        EXPECT_TRUE(sim.idle() && sim.stats().dropped(Dropped::BadChecksum) > 0);
    }
}

// Round trips: the library's requests answered by the simulator, fed in pieces, its replies fed back whole.
class RoundTrip : public testing::TestWithParam<const char*>
{
protected:
    bool variant() const { return std::string(GetParam()) == "3rdOrvane-proto"; }

    // A request for 0x2000 and len bytes; the variant's data starts with a sub-header.
    INTER_ST::ThirdGenerationCommRequest_Data request(bool write, unsigned long long len, const std::string& payload)
    {
        const std::string data = (variant() ? std::string(18, '\0') : "") + payload;
        return {.firstAddr = 0x11,
                .secondAddr = 0x22,
                .scanBoardAddr = {},
                .readWriteCode = write,
                .registerAddr = {0x00, 0x20, 0x00, 0x00},
                .validLength = len + (variant() ? 18 : 0),
                .data = {data.begin(), data.end()}};
    }

    // Sends the request's frames and returns the library's result for each reply.
    std::vector<int> exchange(em_RequestType type, INTER_ST::ThirdGenerationCommRequest_Data r,
                              const std::string& path = "")
    {
        std::list<ST_MSGToHardDriver> msgs;
        EXPECT_EQ(emProtoSuccess, stub.analyze_ClientData(256, GetParam(), type, &r, msgs, path, true));
        std::vector<int> results;
        for (const ST_MSGToHardDriver& msg : msgs)
        {
            std::string reply;
            for (const std::string& piece : sim.pieces(*msg.frame))
            {
                reply += sim.receive(piece);
            }
            results.push_back(stub.analyze_DeviceData(GetParam(), type, reply, msg));
        }
        return results;
    }

    // The reply record's data without the variant's echoed sub-header.
    std::string replyData()
    {
        const auto record = stub.getReplyPackage(GetParam());
        return std::string(record->data.begin(), record->data.end()).substr(variant() ? 18 : 0);
    }

    ProtoStub stub;
    DeviceSimulator sim{variant() ? Flavor::Variant : Flavor::Standard, Faults{.maxPiece = 7}};
    const std::string payload = DeviceSimulator(Flavor::Standard).readRegisters(0x7000, 1000);
};

// 1000 bytes in packets of 256, or 238 behind the variant's sub-header.
TEST_P(RoundTrip, RegistersWrittenInPacketsReadBack)
{
    EXPECT_EQ(std::vector<int>(variant() ? 5 : 4, 0), exchange(emRequestWriteRegister, request(true, 1000, payload)));
    EXPECT_EQ(hex(payload), hex(sim.readRegisters(0x2000, 1000)));
    EXPECT_EQ(std::vector<int>(variant() ? 1 : 4, 0), exchange(emRequestReadRegister, request(false, 1000, "")));
    EXPECT_EQ(hex(payload), hex(replyData()));
    EXPECT_TRUE(sim.idle() && sim.stats().requests == sim.stats().replies);
}

TEST_P(RoundTrip, AFileWrittenReadsBackTheSame)
{
    const std::string in = testing::TempDir() + "devicesim_in.bin", out = testing::TempDir() + "devicesim_out.bin";
    std::ofstream(in, std::ios::binary) << payload;
    EXPECT_EQ(std::vector<int>(variant() ? 5 : 4, 0), exchange(emRequestWriteFile, request(true, 0, ""), in));
    exchange(emRequestReadFile, request(false, 1000, ""), out);
    // The variant writes no file: its reply record holds what was read.
    std::ifstream file(out, std::ios::binary);
    const std::string read = variant() ? replyData() : std::string(std::istreambuf_iterator<char>(file), {});
    EXPECT_EQ(hex(payload), hex(read));
    std::remove(in.c_str());
    std::remove(out.c_str());
}

TEST_P(RoundTrip, PushedReportsAreAcknowledgedAsTheDeviceExpects)
{
    const std::string pushed = sim.pushReport(0x21, 0x10, 1, 0, "abc");
    std::vector<ST_DeviceAutoReportResponseInfo> reports;
    unsigned long long frameLen = 0;
    bool flag = false;
    EXPECT_EQ(emProtoSuccess, stub.isAutoPushThirdPackage(pushed, frameLen, flag, reports));
    ASSERT_EQ(1u, reports.size());
    EXPECT_TRUE(sim.takePushAcknowledgement(pushed, *reports[0].answer));

    // A report stream: split and acknowledged report by report.
    const std::string stream[] = {sim.report(0x30, "one"), sim.report(0x31, ""), sim.report(0x32, "three")};
    std::string buffer = stream[0] + stream[1] + stream[2];
    reports.clear();
    stub.analyze_DeviceReportData(buffer, GetParam(), reports);
    ASSERT_EQ(3u, reports.size());
    for (size_t i = 0; i < 3; ++i)
    {
        EXPECT_TRUE(sim.takeReportAcknowledgement(stream[i], *reports[i].answer)) << i;
    }
    EXPECT_TRUE(sim.stats().acknowledgementsAccepted == 4 && sim.stats().acknowledgementsRejected == 0);
}

INSTANTIATE_TEST_SUITE_P(BothDevices, RoundTrip, testing::Values("3rd-proto", "3rdOrvane-proto"));

}  // namespace
