// A device on the other end of the wire, for round trips: it answers request
// frames as a device does and pushes reports of its own accord.
#pragma once

#include "protostub/ProtoRecords.h"

#include <list>
#include <string>
#include <vector>

class TestDevice
{
public:
    enum class Flavor
    {
        Standard,  // answers "3rd-proto" frames
        Variant    // answers "3rdOrvane-proto" frames (18-byte sub-header)
    };

    // The register space starts filled with a fixed pseudo-random pattern.
    explicit TestDevice(Flavor flavor, size_t registerSpace = 1u << 20);

    std::string& registers();
    // count register bytes from addr on; addresses wrap at the end of the space.
    std::string readRegisters(unsigned int addr, size_t count) const;

    // The reply to one request frame: head AA 55, ack 0, the request's label,
    // the two address bytes crossed, the other header bytes echoed; a read
    // carries the requested bytes from the register space (the variant echoes
    // its sub-header and extension bytes first); a write stores its data and
    // carries none (the variant echoes its sub-header). Checksum sealed.
    std::string answer(const std::string& requestFrame);

    // The replies to every message, in order.
    std::vector<std::string> answerAll(const std::list<ST_MSGToHardDriver>& msgs);

    // A pushed variant report: head 55 AA, packet type 0x32, the package code
    // at byte 10, an 18-byte sub-header with packet sum (bytes 21-24) and
    // sequence number (bytes 25-28), then data. Checksum sealed.
    std::string pushReport(unsigned char label, unsigned char packageCode, unsigned int packetSum,
                           unsigned int sequence, const std::string& data);

    // A device report (head 55 AA, packet type 0) carrying data; seal=false
    // leaves a wrong checksum.
    std::string report(unsigned char label, const std::string& data, bool seal = true);

    // True if ack is the acknowledgement this device expects for a pushed
    // report: 38 bytes, AA 55, ack 0, the report's label, the address bytes
    // crossed back, bytes 6-15 echoed, length 18, the report's sub-header at
    // 18-35, a right checksum. A report shorter than 38 bytes has no
    // sub-header to echo, so no acknowledgement of it is accepted.
    bool acceptsPushAcknowledgement(const std::string& pushed, const std::string& ack) const;

private:
    void writeRegisters(unsigned int addr, const std::string& bytes);

    Flavor m_flavor;
    std::string m_registers;
};
