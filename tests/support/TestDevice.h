// A device on the other end of the wire: it answers requests and sends reports of its own accord.
#pragma once

#include <string>

class TestDevice
{
public:
    enum class Flavor
    {
        Standard,
        Variant  // echoes the sub-header of "3rdOrvane-proto" requests
    };

    explicit TestDevice(Flavor flavor);  // 64 KiB of registers in a fixed pattern
    std::string readRegisters(unsigned int addr, size_t count) const { return m_registers.substr(addr, count); }
    // The reply: AA 55, ack 0, address bytes crossed, the header echoed. A read carries the bytes asked for,
    // a write stores its data; the variant's reply first echoes a read's data area, a write's sub-header.
    std::string answer(const std::string& requestFrame);
    // 55 AA, type 0x32, code at byte 10, sub-header with packet sum and sequence at its bytes 3 and 7, data.
    std::string pushReport(unsigned char label, unsigned char packageCode, unsigned int packetSum,
                           unsigned int sequence, const std::string& data);
    // A device report (packet type 0); seal=false spoils the checksum.
    std::string report(unsigned char label, const std::string& data, bool seal = true);
    // True if ack is the reply that echoes a pushed report's sub-header.
    bool acceptsPushAcknowledgement(const std::string& pushed, const std::string& ack) const;

private:
    Flavor m_flavor;
    std::string m_registers;
};
