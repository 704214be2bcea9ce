// A device on the other end of the wire: it answers requests from its registers.
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
    // A report it pushes of its own accord: 55 AA, packet type 0x32, the package code at byte 10, then an
    // 18-byte sub-header with packet sum (frame bytes 21-24) and sequence number (25-28), then data.
    std::string pushReport(unsigned char label, unsigned char code, unsigned int sum, unsigned int seq,
                           const std::string& data) const;
    // Whether ack is the 38-byte acknowledgement it expects for pushed: AA 55, ack 0, the label, the address
    // bytes crossed back, bytes 6-15 echoed, length 18, the sub-header echoed, a right checksum.
    static bool acceptsPushAcknowledgement(const std::string& pushed, const std::string& ack);

private:
    Flavor m_flavor;
    std::string m_registers;
};
