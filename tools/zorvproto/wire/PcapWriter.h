// Records a session's bytes as a classic pcap file (Ethernet link type) that
// Wireshark opens without capture privileges: each recorded piece becomes
// one TCP segment between a client at 10.0.0.1 and the device at 10.0.0.2,
// wrapped in synthetic Ethernet, IPv4 and TCP headers with consistent
// sequence and acknowledgement numbers and right checksums. Each client port
// is its own TCP connection, opened with a three-way handshake on its first
// segment and closed with FINs by closeConnection or when the writer closes.
#pragma once

#include "DevicePort.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

namespace zorv::wire
{

enum class Direction
{
    ToDevice,   // client (server of the device) to device
    FromDevice  // device to client
};

class PcapWriter
{
public:
    static constexpr std::uint16_t kDefaultClientPort = 49152;

    // Creates (or truncates) path and writes the file header. Throws
    // std::runtime_error naming the file when it cannot be written.
    explicit PcapWriter(const std::string& path, std::uint16_t devicePort = kDefaultDevicePort);
    ~PcapWriter();
    PcapWriter(const PcapWriter&) = delete;
    PcapWriter& operator=(const PcapWriter&) = delete;

    // Writes bytes as one TCP segment (several when more than an IPv4 packet
    // holds) of the connection from clientPort, stamped with the current
    // time. Every record is flushed, so a session cut short leaves a
    // readable file. Empty bytes write nothing.
    void record(Direction direction, const std::string& bytes, std::uint16_t clientPort = kDefaultClientPort);

    // Closes the connection from clientPort with a FIN each way; a later
    // record on that port opens a new connection.
    void closeConnection(std::uint16_t clientPort = kDefaultClientPort);

    // Closes every connection and the file. Throws like the constructor.
    void close();

private:
    struct Connection
    {
        std::uint32_t clientSeq = 0;  // the next sequence number each side sends
        std::uint32_t deviceSeq = 0;
    };

    Connection& open(std::uint16_t clientPort);
    void segment(Direction direction, std::uint16_t clientPort, Connection& c, std::uint8_t flags,
                 const std::string& payload);
    void writeRaw(const std::string& bytes);

    std::string m_path;
    std::FILE* m_file = nullptr;
    std::uint16_t m_devicePort;
    std::uint16_t m_ipId = 1;
    std::chrono::microseconds m_lastStamp{0};
    std::map<std::uint16_t, Connection> m_connections;
};

}  // namespace zorv::wire
