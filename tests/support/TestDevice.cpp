#include "support/TestDevice.h"

#include "support/Bytes.h"

#include <algorithm>

namespace
{

// AA 55, ack 0, the request's header echoed with the address bytes crossed, the length, data, checksum.
std::string reply(const std::string& request, const std::string& data)
{
    std::string frame = hexBytes("aa 55 00") + request.substr(3, 13) + static_cast<char>(data.size()) +
                        static_cast<char>(data.size() >> 8) + data + "..";
    std::swap(frame[4], frame[5]);
    sealFrame(frame);
    return frame;
}

}  // namespace

TestDevice::TestDevice(Flavor flavor) : m_flavor(flavor), m_registers(1u << 16, '\0')
{
    for (size_t i = 0; i < m_registers.size(); ++i)
        m_registers[i] = static_cast<char>(i * 131 + (i >> 8));
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

std::string TestDevice::pushReport(unsigned char label, unsigned char code, unsigned int sum, unsigned int seq,
                                   const std::string& data) const
{
    std::string sub(18, '\0');
    for (int i = 0; i < 4; ++i)
    {
        sub[3 + i] = static_cast<char>(sum >> (8 * i));
        sub[7 + i] = static_cast<char>(seq >> (8 * i));
    }
    FrameFields f{0x55, 0xAA, 0, label, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, code, 0x32, 0x04030201, sub + data};
    return makeFrame(f);
}

bool TestDevice::acceptsPushAcknowledgement(const std::string& pushed, const std::string& ack)
{
    if (pushed.size() < 38 || ack.size() != 38)
    {
        return false;
    }
    std::string expected = hexBytes("aa 55 00") + pushed[3] + pushed[5] + pushed[4] + pushed.substr(6, 10) +
                           hexBytes("12 00") + pushed.substr(18, 18) + "..";
    sealFrame(expected);
    return ack == expected;
}
