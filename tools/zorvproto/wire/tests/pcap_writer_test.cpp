// The pcap file read back field by field; the checksums are verified the
// way a receiver does (the ones' complement sum over the covered bytes,
// checksum included, is 0xFFFF).
#include "PcapWriter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

using zorv::wire::Direction;
using zorv::wire::PcapWriter;

namespace
{

struct Packet
{
    std::string bytes;  // from the Ethernet header on
    unsigned int be16(size_t at) const
    {
        return static_cast<unsigned char>(bytes[at]) << 8 | static_cast<unsigned char>(bytes[at + 1]);
    }
    unsigned int be32(size_t at) const { return be16(at) << 16 | be16(at + 2); }
    unsigned int srcPort() const { return be16(34); }
    unsigned int dstPort() const { return be16(36); }
    unsigned int seq() const { return be32(38); }
    unsigned int ack() const { return be32(42); }
    unsigned int flags() const { return static_cast<unsigned char>(bytes[47]); }
    std::string payload() const { return bytes.substr(54); }
};

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

unsigned int le32(const std::string& s, size_t at)
{
    unsigned int v = 0;
    for (int i = 3; i >= 0; --i)
        v = v << 8 | static_cast<unsigned char>(s[at + static_cast<size_t>(i)]);
    return v;
}

std::vector<Packet> packetsOf(const std::string& file)
{
    std::vector<Packet> packets;
    for (size_t at = 24; at + 16 <= file.size();)
    {
        const unsigned int stored = le32(file, at + 8);
        EXPECT_EQ(le32(file, at + 12), stored) << "record at " << at << " is cut";
        packets.push_back({file.substr(at + 16, stored)});
        at += 16 + stored;
    }
    return packets;
}

unsigned int onesComplementSum(const std::string& bytes, size_t first, size_t count, unsigned int sum = 0)
{
    for (size_t i = 0; i < count; i += 2)
    {
        sum += static_cast<unsigned char>(bytes[first + i]) << 8;
        if (i + 1 < count)
            sum += static_cast<unsigned char>(bytes[first + i + 1]);
    }
    while (sum >> 16)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return sum;
}

void expectChecksumsHold(const Packet& p)
{
    EXPECT_EQ(onesComplementSum(p.bytes, 14, 20), 0xFFFFu) << "IPv4 header checksum";
    const size_t tcpLength = p.bytes.size() - 34;
    const unsigned int pseudo = onesComplementSum(p.bytes, 26, 8) + 6 + static_cast<unsigned int>(tcpLength);
    EXPECT_EQ(onesComplementSum(p.bytes, 34, tcpLength, pseudo), 0xFFFFu) << "TCP checksum";
}

class PcapWriterTest : public ::testing::Test
{
protected:
    void TearDown() override { std::remove(m_path.c_str()); }
    // One file per test: ctest runs the tests of this program in parallel.
    std::string m_path =
        ::testing::TempDir() + "zorv_pcap_" + ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".pcap";
};

constexpr unsigned int kSyn = 0x02, kFin = 0x01, kAck = 0x10, kPshAck = 0x18;

}  // namespace

TEST_F(PcapWriterTest, SessionIsOneTcpConnectionWithConsistentNumbers)
{
    {
        PcapWriter pcap(m_path);
        pcap.record(Direction::ToDevice, "ab");
        pcap.record(Direction::FromDevice, "xyz");
        pcap.record(Direction::FromDevice, "");  // writes nothing
    }
    const std::string file = readFile(m_path);
    // Magic, version 2.4, zone 0, accuracy 0, snap length 262144, Ethernet.
    EXPECT_EQ(file.substr(0, 24), std::string("\xD4\xC3\xB2\xA1\x02\x00\x04\x00\x00\x00\x00\x00\x00\x00\x00\x00"
                                              "\x00\x00\x04\x00\x01\x00\x00\x00",
                                              24));
    const std::vector<Packet> p = packetsOf(file);
    ASSERT_EQ(p.size(), 8u);  // handshake, two segments, FIN, FIN, ACK

    struct Expected
    {
        unsigned int src, dst, seq, ack, flags;
        std::string payload;
    };
    const Expected expected[] = {
        {49152, 5020, 0x10000000, 0, kSyn, ""},
        {5020, 49152, 0x20000000, 0x10000001, kSyn | kAck, ""},
        {49152, 5020, 0x10000001, 0x20000001, kAck, ""},
        {49152, 5020, 0x10000001, 0x20000001, kPshAck, "ab"},
        {5020, 49152, 0x20000001, 0x10000003, kPshAck, "xyz"},
        {49152, 5020, 0x10000003, 0x20000004, kFin | kAck, ""},
        {5020, 49152, 0x20000004, 0x10000004, kFin | kAck, ""},
        {49152, 5020, 0x10000004, 0x20000005, kAck, ""},
    };
    for (size_t i = 0; i < p.size(); ++i)
    {
        SCOPED_TRACE("packet " + std::to_string(i + 1));
        const bool toDevice = expected[i].dst == 5020;
        // Ethernet: destination MAC, source MAC, IPv4; then 10.0.0.1 <-> 10.0.0.2.
        EXPECT_EQ(p[i].bytes.substr(0, 14), toDevice ? std::string("\x02\0\0\0\0\x02\x02\0\0\0\0\x01\x08\0", 14)
                                                     : std::string("\x02\0\0\0\0\x01\x02\0\0\0\0\x02\x08\0", 14));
        EXPECT_EQ(p[i].bytes.substr(26, 8),
                  toDevice ? std::string("\x0A\0\0\x01\x0A\0\0\x02", 8) : std::string("\x0A\0\0\x02\x0A\0\0\x01", 8));
        EXPECT_EQ(p[i].be16(16), 40 + expected[i].payload.size()) << "IPv4 total length";
        EXPECT_EQ(p[i].srcPort(), expected[i].src);
        EXPECT_EQ(p[i].dstPort(), expected[i].dst);
        EXPECT_EQ(p[i].seq(), expected[i].seq);
        EXPECT_EQ(p[i].ack(), expected[i].ack);
        EXPECT_EQ(p[i].flags(), expected[i].flags);
        EXPECT_EQ(p[i].payload(), expected[i].payload);
        expectChecksumsHold(p[i]);
    }
}

TEST_F(PcapWriterTest, ClientPortsAreSeparateConnectionsAndBigPiecesSplitAtTheIpv4Limit)
{
    const std::string big(70000, '\x5A');
    {
        PcapWriter pcap(m_path, 7700);
        pcap.record(Direction::ToDevice, "a", 40001);
        pcap.record(Direction::FromDevice, big, 40002);
        pcap.closeConnection(40001);
    }
    const std::vector<Packet> p = packetsOf(readFile(m_path));
    // 40001: SYN, SYN-ACK, ACK, "a"; 40002: SYN, SYN-ACK, ACK, two segments;
    // 40001 closed (3); 40002 closed by the destructor (3).
    ASSERT_EQ(p.size(), 15u);
    EXPECT_EQ(p[3].srcPort(), 40001u);
    EXPECT_EQ(p[3].dstPort(), 7700u);
    EXPECT_EQ(p[7].srcPort(), 7700u);
    EXPECT_EQ(p[7].dstPort(), 40002u);
    EXPECT_EQ(p[7].payload().size(), 65495u);
    EXPECT_EQ(p[8].payload().size(), 70000u - 65495u);
    EXPECT_EQ(p[8].seq(), 0x20000001u + 65495u);
    EXPECT_EQ(p[9].dstPort(), 7700u);
    EXPECT_EQ(p[9].srcPort(), 40001u);
    EXPECT_EQ(p[9].flags(), kFin | kAck);
    EXPECT_EQ(p[12].srcPort(), 40002u);
    EXPECT_EQ(p[12].ack(), 0x20000001u + 70000u);
    expectChecksumsHold(p[7]);
    expectChecksumsHold(p[8]);
}

TEST(PcapWriter, UnwritablePathIsNamed)
{
    try
    {
        PcapWriter pcap("/nonexistent-dir/x.pcap");
        FAIL() << "no error";
    }
    catch (const std::runtime_error& e)
    {
        EXPECT_STREQ(e.what(), "cannot create pcap file /nonexistent-dir/x.pcap: No such file or directory");
    }
}
