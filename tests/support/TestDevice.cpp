#include "support/TestDevice.h"

#include "support/Bytes.h"

#include <algorithm>

namespace
{

// 16 header bytes, the length field, data and the checksum.
std::string sealed(std::string header, const std::string& data)
{
    header += std::string{static_cast<char>(data.size()), static_cast<char>(data.size() >> 8)} + data + "..";
    sealFrame(header);
    return header;
}

std::string reply(const std::string& frame, const std::string& data)
{
    std::string header = hexBytes("aa 55 00") + frame.substr(3, 13);
    std::swap(header[4], header[5]);
    return sealed(header, data);
}

}  // namespace

TestDevice::TestDevice(Flavor flavor) : m_flavor(flavor), m_registers(1u << 16, '\0')
{
    for (size_t i = 0; i < m_registers.size(); ++i)
    {
        m_registers[i] = static_cast<char>(i * 131 + (i >> 8));
    }
}

std::string TestDevice::answer(const std::string& request)
{
    auto at = [&request](size_t i) { return static_cast<unsigned int>(static_cast<unsigned char>(request.at(i))); };
    const bool read = at(10) == 0;
    const unsigned int addr = at(12) | at(13) << 8 | at(14) << 16;
    const size_t length = at(16) | at(17) << 8;
    const std::string area = request.substr(18, request.size() - 20);
    const size_t lead =
        m_flavor == Flavor::Standard ? 0 : std::min<size_t>(area.size(), read ? area.size() : 18 + at(35));
    const std::string written = at(10) == 1 ? area.substr(lead) : "";
    m_registers.replace(addr, written.size(), written);
    return reply(request, area.substr(0, lead) + (read ? readRegisters(addr, length > lead ? length - lead : 0) : ""));
}

std::string TestDevice::pushReport(unsigned char label, unsigned char packageCode, unsigned int packetSum,
                                   unsigned int sequence, const std::string& data)
{
    std::string header = hexBytes("55 aa 00 00 01 02 00 00 00 00 00 32 00 00 00 00"), sub(18, '\0');
    header[3] = static_cast<char>(label);
    header[10] = static_cast<char>(packageCode);
    for (unsigned int i = 0; i < 8; ++i)
    {
        sub[3 + i] = static_cast<char>((i < 4 ? packetSum : sequence) >> 8 * (i % 4));
    }
    return sealed(header, sub + data);
}

std::string TestDevice::report(unsigned char label, const std::string& data, bool seal)
{
    std::string header = hexBytes("55 aa 00 00 01 02 00 00 00 00 00 00 00 00 00 00");
    header[3] = static_cast<char>(label);
    std::string frame = sealed(header, data);
    frame[frame.size() - 2] = static_cast<char>(frame[frame.size() - 2] ^ (seal ? 0 : 1));
    return frame;
}

bool TestDevice::acceptsPushAcknowledgement(const std::string& pushed, const std::string& ack) const
{
    return pushed.size() >= 38 && ack == reply(pushed, pushed.substr(18, 18));
}
