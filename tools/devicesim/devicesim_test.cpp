#include "devicesim/DeviceSimulator.h"
#include "protostub/ProtoStub.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>

using zorv::DeviceSimulator;
using zorv::Dropped;
using zorv::Fault;
using zorv::Faults;
using Flavor = DeviceSimulator::Flavor;

namespace
{

std::string bytes(std::string_view hex)
{
    std::string out;
    for (size_t i = 0; i + 1 < hex.size();)
    {
        if (hex[i] == ' ')
        {
            ++i;
            continue;
        }
        out += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
        i += 2;
    }
    return out;
}

std::string hex(std::string_view b)
{
    std::string out;
    char two[4];
    for (unsigned char c : b)
    {
        std::snprintf(two, sizeof two, out.empty() ? "%02x" : " %02x", c);
        out += two;
    }
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

// The ways a byte stream is fed: the cut points of each run, for a stream of n bytes.
std::vector<std::vector<size_t>> runs(size_t n)
{
    std::vector<std::vector<size_t>> out{{}, {}};
    for (size_t i = 1; i < n; ++i)
    {
        out[1].push_back(i);  // one byte per call
        out.push_back({i});   // split at every point
    }
    return out;
}

// The replies to each piece of the stream cut at the given points.
std::vector<std::string> feed(DeviceSimulator& sim, const std::string& stream, const std::vector<size_t>& cuts)
{
    std::vector<std::string> out;
    size_t from = 0;
    for (size_t to : cuts)
    {
        out.push_back(sim.receive(stream.substr(from, to - from)));
        from = to;
    }
    out.push_back(sim.receive(stream.substr(from)));
    return out;
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
        for (const std::vector<size_t>& cuts : runs(c.request.size()))
        {
            SCOPED_TRACE(testing::Message() << cuts.size() << " cuts");
            DeviceSimulator sim(c.flavor);
            const std::vector<std::string> replies = feed(sim, c.request, cuts);
            // Nothing until the request is whole, then the reply.
            EXPECT_EQ(hex(c.reply), hex(replies.back()));
            for (size_t i = 0; i + 1 < replies.size(); ++i)
            {
                EXPECT_EQ("", replies[i]) << "piece " << i;
            }
            EXPECT_TRUE(sim.idle());
            const std::string registers = c.written.empty() ? fresh.readRegisters(0x89012345, 3) : c.written;
            EXPECT_EQ(hex(registers), hex(sim.readRegisters(0x89012345, 3)));
        }
        DeviceSimulator sim(c.flavor);
        EXPECT_EQ(hex(c.reply), hex(sim.answer(c.request)));
    }
}

TEST(DeviceSimulator, RegistersSpanPagesAndWrapAtTheTopOfTheAddressSpace)
{
    const DeviceSimulator fresh(Flavor::Standard);
    DeviceSimulator sim(Flavor::Standard);
    EXPECT_EQ("10 93 16 99", hex(sim.readRegisters(0x1000, 4)));
    EXPECT_TRUE(sim.writeRegisters(0xFFFFFFFD, "abcdef"));
    EXPECT_TRUE(sim.writeRegisters(0x2FFE, "wxyz"));
    EXPECT_EQ("abcdef", sim.readRegisters(0xFFFFFFFD, 6));
    EXPECT_EQ("def", sim.readRegisters(0, 3));
    EXPECT_EQ("wxyz", sim.readRegisters(0x2FFE, 4));
    // Neighbours keep the pattern.
    EXPECT_EQ(fresh.readRegisters(0x2000, 0xFFE) + "wxyz" + fresh.readRegisters(0x3002, 0xFFE),
              sim.readRegisters(0x2000, 0x2000));
    EXPECT_EQ(fresh.readRegisters(0xFFFFF000, 0xFFD), sim.readRegisters(0xFFFFF000, 0xFFD));
}

TEST(DeviceSimulator, StreamDropsWhatIsNoRequestAndAnswersTheRest)
{
    std::string damaged = kWrite;
    damaged[19] = '\x00';
    const std::string badCode = bytes("55 aa 00 09 11 22 33 44 66 77 07 05 00 10 00 00 00 00");
    const std::string stream = bytes("01 02 55") + kRead + damaged + badCode + kWrite + bytes("55");
    for (const std::vector<size_t>& cuts : runs(stream.size()))
    {
        SCOPED_TRACE(testing::Message() << cuts.size() << " cuts");
        DeviceSimulator sim(Flavor::Standard);
        std::string replies;
        for (const std::string& r : feed(sim, stream, cuts))
            replies += r;
        EXPECT_EQ(hex(kReadReply + kWriteReply), hex(replies));
        const zorv::Stats& s = sim.stats();
        // The head of the bad-code request goes as such, the rest of it as garbage; a last 0x55 waits for more.
        EXPECT_EQ(3u + 16u, s.dropped(Dropped::Garbage));
        EXPECT_EQ(damaged.size(), s.dropped(Dropped::BadChecksum));
        EXPECT_EQ(2u, s.dropped(Dropped::BadCode));
        EXPECT_EQ(1u, sim.pending());
        EXPECT_EQ(2u, s.requests);
        EXPECT_EQ(stream.size(), s.bytesIn);
        sim.reset();
        EXPECT_TRUE(sim.idle());
        EXPECT_EQ(1u, sim.stats().dropped(Dropped::Incomplete));
    }
}

TEST(DeviceSimulator, AnswerTakesExactlyOneRequest)
{
    DeviceSimulator sim(Flavor::Standard);
    EXPECT_EQ("", sim.answer(kRead.substr(0, 19)));
    EXPECT_EQ("", sim.answer(kRead + "x"));
    EXPECT_EQ("", sim.answer(kVariantRead));  // a variant frame is no standard request
    std::string damaged = kRead;
    damaged[18] ^= 1;
    EXPECT_EQ("", sim.answer(damaged));
    EXPECT_EQ(19u + 21u + 40u, sim.stats().dropped(Dropped::Malformed));
    EXPECT_EQ(20u, sim.stats().dropped(Dropped::BadChecksum));
    EXPECT_EQ(0u, sim.stats().requests);
}

TEST(DeviceSimulator, EachFaultSpoilsTheReplyItsOwnWay)
{
    struct Case
    {
        const char* name;
        Faults faults;
        Fault fault;
        std::string reply = {};  // none when only its shape is checked
    };
    const Case cases[] = {
        {.name = "dropped", .faults = {.droppedReply = 1}, .fault = Fault::DroppedReply, .reply = ""},
        {.name = "ack",
         .faults = {.nonZeroAck = 1, .ackCode = 7},
         .fault = Fault::NonZeroAck,
         .reply = bytes("aa 55 07 01 22 11 33 44 66 77 00 05 00 10 00 00 00 00 f9 56")},
        {.name = "label",
         .faults = {.wrongLabel = 1},
         .fault = Fault::WrongLabel,
         .reply = bytes("aa 55 00 02 22 11 33 44 66 77 00 05 00 10 00 00 04 00 10 93 16 99 49 58")},
        {.name = "checksum",
         .faults = {.badChecksum = 1},
         .fault = Fault::BadChecksum,
         .reply = bytes("aa 55 00 01 22 11 33 44 66 77 00 05 00 10 00 00 04 00 10 93 16 99 49 58")},
        {.name = "duplicated",
         .faults = {.duplicated = 1},
         .fault = Fault::Duplicated,
         .reply = kReadReply + kReadReply},
        {.name = "truncated", .faults = {.truncated = 1}, .fault = Fault::Truncated},
        {.name = "garbage", .faults = {.garbage = 1}, .fault = Fault::Garbage},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        for (uint32_t seed = 1; seed <= 20; ++seed)
        {
            Faults faults = c.faults;
            faults.seed = seed;
            DeviceSimulator sim(Flavor::Standard, faults);
            const std::string reply = sim.answer(kRead);
            EXPECT_EQ(std::vector<Fault>{c.fault}, sim.lastFaults());
            EXPECT_EQ(1u, sim.stats().injected(c.fault));
            if (c.fault == Fault::Truncated)
            {
                EXPECT_TRUE(!reply.empty() && reply.size() < kReadReply.size() && kReadReply.find(reply) == 0);
            }
            else if (c.fault == Fault::Garbage)
            {
                const size_t extra = reply.size() - kReadReply.size();
                EXPECT_TRUE(extra >= 1 && extra <= 16 && reply.substr(extra) == kReadReply) << hex(reply);
                EXPECT_EQ(std::string::npos, reply.substr(0, extra).find('\xaa'));
            }
            else
            {
                EXPECT_EQ(hex(c.reply), hex(reply));
            }
        }
    }
}

TEST(DeviceSimulator, ANonZeroAckLeavesTheRegistersAsTheyWere)
{
    DeviceSimulator sim(Flavor::Variant);
    const std::string before = sim.readRegisters(0x89012345, 3);
    sim.setAck(5);
    const std::string reply = sim.answer(kVariantWrite);
    // The sub-header and extension are still echoed.
    EXPECT_EQ(hex(bytes("aa 55 05 04 22 11 33 44 66 77 01 05 45 23 01 89 13 00 "
                        "04 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 01 e1 d7 58")),
              hex(reply));
    EXPECT_EQ(hex(before), hex(sim.readRegisters(0x89012345, 3)));
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
    Faults otherSeed = half;
    otherSeed.seed = 43;
    DeviceSimulator a(Flavor::Standard, half), b(Flavor::Standard, half), c(Flavor::Standard, noDuplicates),
        d(Flavor::Standard, otherSeed);
    std::string fromA, fromB, fromD;
    for (int i = 0; i < 50; ++i)
    {
        fromA += a.answer(kRead);
        fromB += b.answer(kRead);
        fromD += d.answer(kRead);
        c.answer(kRead);
        std::vector<Fault> expected = a.lastFaults();
        std::erase(expected, Fault::Duplicated);
        EXPECT_EQ(expected, c.lastFaults()) << "reply " << i;
    }
    EXPECT_EQ(fromA, fromB);
    EXPECT_NE(fromA, fromD);
    // A fault fires in about half of the replies.
    EXPECT_GT(a.stats().injected(Fault::Garbage), 10u);
    EXPECT_LT(a.stats().injected(Fault::Garbage), 40u);
}

TEST(DeviceSimulator, PiecesCoverTheBytesInOrder)
{
    const std::string stream = kRead + kWrite + kVariantRead;
    for (size_t maxPiece : {0, 1, 5, 200})
    {
        SCOPED_TRACE(maxPiece);
        std::mt19937 rng(maxPiece), again(maxPiece);
        const std::vector<std::string> pieces = zorv::cutIntoPieces(stream, maxPiece, rng);
        std::string joined;
        for (const std::string& p : pieces)
        {
            EXPECT_TRUE(!p.empty() && (maxPiece == 0 || p.size() <= maxPiece));
            joined += p;
        }
        EXPECT_EQ(stream, joined);
        EXPECT_EQ(pieces, zorv::cutIntoPieces(stream, maxPiece, again));
    }
}

TEST(DeviceSimulator, PushesAndTheAcknowledgementsItAccepts)
{
    const DeviceSimulator sim(Flavor::Variant);
    const std::string pushed = sim.pushReport(0x21, 0x10, 2, 1, "abc");
    EXPECT_EQ("55 aa 00 21 0a 0b 0c 0d 0e 0f 10 32 01 02 03 04 15 00 00 00 00 02 00 00 00 01 00 00 00 00 00 00 00 00 "
              "00 00 61 62 63 4b 57",
              hex(pushed));
    const std::string report = sim.report(0x22, "xy");
    EXPECT_EQ("55 aa 00 22 0a 0b 0c 0d 0e 0f 00 32 01 02 03 04 02 00 78 79 f1 56", hex(report));
    EXPECT_EQ(hex(report + sim.report(0x23, "")), hex(sim.reportStream(0x22, {"xy", ""})));

    struct Case
    {
        const char* name;
        bool (*accepts)(std::string_view, std::string_view);
        std::string frame, ack;
    };
    const Case cases[] = {
        {"push", &DeviceSimulator::acceptsPushAcknowledgement, pushed,
         bytes("aa 55 00 21 0b 0a 0c 0d 0e 0f 10 32 01 02 03 04 12 00 "
               "00 00 00 02 00 00 00 01 00 00 00 00 00 00 00 00 00 00 22 56")},
        {"report", &DeviceSimulator::acceptsReportAcknowledgement, report,
         bytes("aa 55 00 22 0b 0a 0c 0d 0e 0f 00 32 01 02 03 04 00 00 fe 55")},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        EXPECT_TRUE(c.accepts(c.frame, c.ack));
        EXPECT_FALSE(c.accepts(c.frame, c.ack + '\0'));
        EXPECT_FALSE(c.accepts(c.frame.substr(0, 19), c.ack));
        for (size_t i = 0; i < c.ack.size(); ++i)
        {
            std::string wrong = c.ack;
            wrong[i] ^= 0x01;
            EXPECT_FALSE(c.accepts(c.frame, wrong)) << "byte " << i;
        }
    }
    EXPECT_EQ(5u, sim.stats().pushes);
}

// Bytes from outside: random runs with request heads sprinkled in never break it. A false head may announce a
// long request; once that many bytes have come, its checksum fails and the request behind it is found.
TEST(DeviceSimulator, ArbitraryBytesAreDroppedAndTheRequestBehindThemAnswered)
{
    struct Case
    {
        Flavor flavor;
        std::string request, reply;
    };
    const Case cases[] = {{Flavor::Standard, kRead, kReadReply}, {Flavor::Variant, kVariantRead, kVariantReadReply}};
    for (const Case& c : cases)
    {
        DeviceSimulator sim(c.flavor, Faults{.maxPiece = 300, .seed = 9});
        std::mt19937 rng(5);
        std::string stream;
        while (stream.size() < 20000)
        {
            stream += rng() % 8 == 0 ? std::string("\x55\xaa") : std::string(1, static_cast<char>(rng()));
        }
        stream += std::string(70000, '\0') + c.request;
        std::string replies;
        for (const std::string& piece : sim.pieces(stream))
            replies += sim.receive(piece);
        ASSERT_GE(replies.size(), c.reply.size());
        EXPECT_EQ(hex(c.reply), hex(replies.substr(replies.size() - c.reply.size())));
        EXPECT_TRUE(sim.idle());
        EXPECT_GT(sim.stats().dropped(Dropped::BadChecksum), 0u);
    }
}

// Round trips: the library's requests answered by the simulator, fed in pieces, its replies fed back whole.
class RoundTrip : public testing::TestWithParam<const char*>
{
protected:
    bool variant() const { return std::string(GetParam()) == "3rdOrvane-proto"; }

    // A request for addr 0x2000 of len bytes; the variant's data starts with a sub-header.
    INTER_ST::ThirdGenerationCommRequest_Data request(bool write, unsigned long long len, const std::string& payload)
    {
        const std::string head = variant() ? std::string(18, '\0') : "";
        const std::string data = write ? head + payload : head;
        return {0x11,
                0x22,
                0x33,
                {0x66, 0x77},
                0x44,
                write,
                {0x00, 0x20, 0x00, 0x00},
                len + head.size(),
                {data.begin(), data.end()},
                0x05};
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
    const std::string payload = [] {
        std::string p(1000, '\0');
        for (size_t i = 0; i < p.size(); ++i)
            p[i] = static_cast<char>(i * 7 + 3);
        return p;
    }();
};

// 1000 bytes in packets of 256, or 238 behind the variant's sub-header.
TEST_P(RoundTrip, RegistersWrittenInPacketsReadBack)
{
    EXPECT_EQ(std::vector<int>(variant() ? 5 : 4, 0), exchange(emRequestWriteRegister, request(true, 1000, payload)));
    EXPECT_EQ(hex(payload), hex(sim.readRegisters(0x2000, 1000)));
    const std::vector<int> reads = exchange(emRequestReadRegister, request(false, 1000, ""));
    EXPECT_EQ(std::vector<int>(variant() ? 1 : 4, 0), reads);
    EXPECT_EQ(hex(payload), hex(replyData()));
    EXPECT_TRUE(sim.idle());
    EXPECT_EQ(sim.stats().requests, sim.stats().replies);
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
    EXPECT_EQ(4u, sim.stats().acknowledgementsAccepted);
    EXPECT_EQ(0u, sim.stats().acknowledgementsRejected);
}

INSTANTIATE_TEST_SUITE_P(BothDevices, RoundTrip, testing::Values("3rd-proto", "3rdOrvane-proto"));

}  // namespace
