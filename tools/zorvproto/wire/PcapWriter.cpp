#include "PcapWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace zorv::wire
{
namespace
{

// Classic pcap: microsecond timestamps, version 2.4, Ethernet frames.
constexpr std::uint32_t kPcapMagic = 0xA1B2C3D4;
constexpr std::uint32_t kSnapLength = 262144;
constexpr std::uint32_t kLinkTypeEthernet = 1;

constexpr std::size_t kEthernetSize = 14;
constexpr std::size_t kIpv4Size = 20;
constexpr std::size_t kTcpSize = 20;
// The largest payload one IPv4 packet carries.
constexpr std::size_t kMaxSegment = 65535 - kIpv4Size - kTcpSize;

constexpr std::uint8_t kFin = 0x01;
constexpr std::uint8_t kSyn = 0x02;
constexpr std::uint8_t kPsh = 0x08;
constexpr std::uint8_t kAck = 0x10;

// Client 10.0.0.1 with MAC 02:00:00:00:00:01, device 10.0.0.2 with MAC
// 02:00:00:00:00:02: locally administered addresses no real host has.
constexpr std::uint8_t kClientIp[4] = {10, 0, 0, 1};
constexpr std::uint8_t kDeviceIp[4] = {10, 0, 0, 2};
constexpr std::uint8_t kClientMac[6] = {0x02, 0, 0, 0, 0, 0x01};
constexpr std::uint8_t kDeviceMac[6] = {0x02, 0, 0, 0, 0, 0x02};

// Initial sequence numbers; fixed, so that files are reproducible.
constexpr std::uint32_t kClientIsn = 0x10000000;
constexpr std::uint32_t kDeviceIsn = 0x20000000;

// pcap headers are in the writer's byte order, which the magic number tells
// a reader; little-endian here on every platform, written out byte by byte.
void putLe32(std::string& out, std::uint32_t v)
{
    for (int i = 0; i < 4; ++i)
    {
        out += static_cast<char>((v >> (8 * i)) & 0xFF);
    }
}

void putLe16(std::string& out, std::uint16_t v)
{
    out += static_cast<char>(v & 0xFF);
    out += static_cast<char>(v >> 8);
}

// Network headers are big-endian.
void putBe16(std::string& out, std::uint32_t v)
{
    out += static_cast<char>((v >> 8) & 0xFF);
    out += static_cast<char>(v & 0xFF);
}

void putBe32(std::string& out, std::uint32_t v)
{
    putBe16(out, v >> 16);
    putBe16(out, v & 0xFFFF);
}

void putBytes(std::string& out, const std::uint8_t* bytes, std::size_t n)
{
    out.append(reinterpret_cast<const char*>(bytes), n);
}

// The Internet checksum's running sum: 16-bit big-endian words, a last odd
// byte padded with zero.
std::uint32_t sumWords(const std::string& bytes, std::size_t first, std::size_t count, std::uint32_t sum = 0)
{
    for (std::size_t i = 0; i < count; i += 2)
    {
        const auto hi = static_cast<std::uint8_t>(bytes[first + i]);
        const auto lo = i + 1 < count ? static_cast<std::uint8_t>(bytes[first + i + 1]) : 0;
        sum += static_cast<std::uint32_t>(hi << 8 | lo);
    }
    return sum;
}

std::uint16_t foldComplement(std::uint32_t sum)
{
    while (sum >> 16)
    {
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<std::uint16_t>(~sum & 0xFFFF);
}

void storeBe16(std::string& out, std::size_t at, std::uint16_t v)
{
    out[at] = static_cast<char>(v >> 8);
    out[at + 1] = static_cast<char>(v & 0xFF);
}

}  // namespace

PcapWriter::PcapWriter(const std::string& path, std::uint16_t devicePort) : m_path(path), m_devicePort(devicePort)
{
    m_file = std::fopen(path.c_str(), "wb");
    if (m_file == nullptr)
    {
        throw std::runtime_error("cannot create pcap file " + path + ": " + std::strerror(errno));
    }
    std::string header;
    putLe32(header, kPcapMagic);
    putLe16(header, 2);  // version 2.4
    putLe16(header, 4);
    putLe32(header, 0);  // time zone offset
    putLe32(header, 0);  // timestamp accuracy
    putLe32(header, kSnapLength);
    putLe32(header, kLinkTypeEthernet);
    writeRaw(header);
}

PcapWriter::~PcapWriter()
{
    try
    {
        close();
    }
    catch (const std::exception&)
    {
        // A destructor cannot report it; close() does, for callers who ask.
    }
}

void PcapWriter::record(Direction direction, const std::string& bytes, std::uint16_t clientPort)
{
    Connection& c = open(clientPort);
    for (std::size_t at = 0; at < bytes.size(); at += kMaxSegment)
    {
        segment(direction, clientPort, c, kPsh | kAck, bytes.substr(at, kMaxSegment));
    }
}

void PcapWriter::closeConnection(std::uint16_t clientPort)
{
    const auto it = m_connections.find(clientPort);
    if (it == m_connections.end() || m_file == nullptr)
    {
        return;
    }
    Connection& c = it->second;
    segment(Direction::ToDevice, clientPort, c, kFin | kAck, "");
    segment(Direction::FromDevice, clientPort, c, kFin | kAck, "");
    segment(Direction::ToDevice, clientPort, c, kAck, "");
    m_connections.erase(it);
}

void PcapWriter::close()
{
    if (m_file == nullptr)
    {
        return;
    }
    while (!m_connections.empty())
    {
        closeConnection(m_connections.begin()->first);
    }
    const bool failed = std::fclose(m_file) != 0;
    m_file = nullptr;
    if (failed)
    {
        throw std::runtime_error("cannot write pcap file " + m_path + ": " + std::strerror(errno));
    }
}

PcapWriter::Connection& PcapWriter::open(std::uint16_t clientPort)
{
    if (m_file == nullptr)
    {
        throw std::runtime_error("pcap file " + m_path + " is closed");
    }
    const auto found = m_connections.find(clientPort);
    if (found != m_connections.end())
    {
        return found->second;
    }
    Connection& c = m_connections[clientPort];
    c.clientSeq = kClientIsn;
    c.deviceSeq = kDeviceIsn;
    segment(Direction::ToDevice, clientPort, c, kSyn, "");
    segment(Direction::FromDevice, clientPort, c, kSyn | kAck, "");
    segment(Direction::ToDevice, clientPort, c, kAck, "");
    return c;
}

void PcapWriter::segment(Direction direction, std::uint16_t clientPort, Connection& c, std::uint8_t flags,
                         const std::string& payload)
{
    const bool toDevice = direction == Direction::ToDevice;
    std::uint32_t& seq = toDevice ? c.clientSeq : c.deviceSeq;
    const std::uint32_t peerSeq = toDevice ? c.deviceSeq : c.clientSeq;

    std::string packet;
    packet.reserve(kEthernetSize + kIpv4Size + kTcpSize + payload.size());
    putBytes(packet, toDevice ? kDeviceMac : kClientMac, 6);
    putBytes(packet, toDevice ? kClientMac : kDeviceMac, 6);
    putBe16(packet, 0x0800);  // IPv4

    const std::size_t ip = packet.size();
    packet += static_cast<char>(0x45);  // version 4, 5 words of header
    packet += '\0';
    putBe16(packet, static_cast<std::uint32_t>(kIpv4Size + kTcpSize + payload.size()));
    putBe16(packet, m_ipId++);
    putBe16(packet, 0x4000);          // don't fragment
    packet += static_cast<char>(64);  // TTL
    packet += static_cast<char>(6);   // TCP
    putBe16(packet, 0);               // header checksum, filled in below
    putBytes(packet, toDevice ? kClientIp : kDeviceIp, 4);
    putBytes(packet, toDevice ? kDeviceIp : kClientIp, 4);
    storeBe16(packet, ip + 10, foldComplement(sumWords(packet, ip, kIpv4Size)));

    const std::size_t tcp = packet.size();
    putBe16(packet, toDevice ? clientPort : m_devicePort);
    putBe16(packet, toDevice ? m_devicePort : clientPort);
    putBe32(packet, seq);
    // A SYN acknowledges nothing; every later segment acknowledges all the
    // peer has sent.
    putBe32(packet, flags == kSyn ? 0 : peerSeq);
    packet += static_cast<char>(0x50);  // 5 words of header
    packet += static_cast<char>(flags);
    putBe16(packet, 65535);  // window
    putBe16(packet, 0);      // checksum, filled in below
    putBe16(packet, 0);      // urgent pointer
    packet += payload;

    // The TCP checksum covers a pseudo-header: both addresses, the protocol
    // and the TCP length.
    const std::size_t tcpLength = kTcpSize + payload.size();
    std::uint32_t sum = sumWords(packet, ip + 12, 8);
    sum += 6 + static_cast<std::uint32_t>(tcpLength);
    storeBe16(packet, tcp + 16, foldComplement(sumWords(packet, tcp, tcpLength, sum)));

    // SYN and FIN take one sequence number each, like a byte of data.
    seq += static_cast<std::uint32_t>(payload.size()) + ((flags & (kSyn | kFin)) != 0 ? 1 : 0);

    // Timestamps never go backwards, so that readers keep the order.
    const auto now =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch());
    m_lastStamp = std::max(now, m_lastStamp);
    std::string record;
    putLe32(record, static_cast<std::uint32_t>(m_lastStamp.count() / 1000000));
    putLe32(record, static_cast<std::uint32_t>(m_lastStamp.count() % 1000000));
    putLe32(record, static_cast<std::uint32_t>(packet.size()));  // bytes stored
    putLe32(record, static_cast<std::uint32_t>(packet.size()));  // bytes on the wire
    writeRaw(record + packet);
}

void PcapWriter::writeRaw(const std::string& bytes)
{
    if (std::fwrite(bytes.data(), 1, bytes.size(), m_file) != bytes.size() || std::fflush(m_file) != 0)
    {
        throw std::runtime_error("cannot write pcap file " + m_path + ": " + std::strerror(errno));
    }
}

}  // namespace zorv::wire
