#include "support/TestDevice.h"

#include "support/Bytes.h"

#include <cstdint>

namespace
{

// Frame offsets as the frame table gives them; kept here so that the device
// does not lean on the library's own layout header.
constexpr size_t kLabel = 3;
constexpr size_t kFirstAddr = 4;
constexpr size_t kSecondAddr = 5;
constexpr size_t kCode = 10;
constexpr size_t kPacketType = 11;
constexpr size_t kRegister = 12;
constexpr size_t kLength = 16;
constexpr size_t kData = 18;
constexpr size_t kSubHeader = 18;
constexpr size_t kLenExp = 35;
constexpr size_t kAckLength = 38;

unsigned char at(const std::string& s, size_t i)
{
    return i < s.size() ? static_cast<unsigned char>(s[i]) : 0;
}

unsigned int word(const std::string& s, size_t i)
{
    return at(s, i) | (static_cast<unsigned int>(at(s, i + 1)) << 8);
}

unsigned int dword(const std::string& s, size_t i)
{
    return word(s, i) | (word(s, i + 2) << 16);
}

void putWord(std::string& s, size_t i, unsigned int v)
{
    s[i] = static_cast<char>(v & 0xFF);
    s[i + 1] = static_cast<char>((v >> 8) & 0xFF);
}

void putDword(std::string& s, size_t i, unsigned int v)
{
    putWord(s, i, v & 0xFFFF);
    putWord(s, i + 2, v >> 16);
}

// Frame bytes 18 .. size-2 (empty for a frame without data area).
std::string dataArea(const std::string& frame)
{
    return frame.size() > kData + 2 ? frame.substr(kData, frame.size() - kData - 2) : std::string();
}

// Header bytes 0..15 of a device frame, the length field and data appended,
// sealed.
std::string sealed(std::string header, const std::string& data)
{
    header.resize(kData);
    putWord(header, kLength, static_cast<unsigned int>(data.size()));
    std::string frame = header + data + std::string(2, '\0');
    sealFrame(frame);
    return frame;
}

}  // namespace

TestDevice::TestDevice(Flavor flavor, size_t registerSpace) : m_flavor(flavor), m_registers(registerSpace, '\0')
{
    std::uint32_t x = 0x12345678u;
    for (char& c : m_registers)
    {
        x = x * 1664525u + 1013904223u;
        c = static_cast<char>(x >> 24);
    }
}

std::string& TestDevice::registers()
{
    return m_registers;
}

std::string TestDevice::readRegisters(unsigned int addr, size_t count) const
{
    std::string out(count, '\0');
    for (size_t i = 0; i < count; ++i)
    {
        out[i] = m_registers[(addr + i) % m_registers.size()];
    }
    return out;
}

void TestDevice::writeRegisters(unsigned int addr, const std::string& bytes)
{
    for (size_t i = 0; i < bytes.size(); ++i)
    {
        m_registers[(addr + i) % m_registers.size()] = bytes[i];
    }
}

std::string TestDevice::answer(const std::string& request)
{
    // The reply's header: AA 55, ack 0, the request's label, the address bytes
    // crossed, everything else echoed.
    std::string header = request.substr(0, kData);
    header.resize(kData, '\0');
    header[0] = static_cast<char>(0xAA);
    header[1] = static_cast<char>(0x55);
    header[2] = 0;
    header[kFirstAddr] = static_cast<char>(at(request, kSecondAddr));
    header[kSecondAddr] = static_cast<char>(at(request, kFirstAddr));
    const unsigned int addr = dword(request, kRegister);
    const bool read = at(request, kCode) == 0;
    const bool write = at(request, kCode) == 1;
    const std::string area = dataArea(request);
    if (m_flavor == Flavor::Standard)
    {
        if (write)
        {
            writeRegisters(addr, area.substr(0, word(request, kLength)));
        }
        return sealed(header, read ? readRegisters(addr, word(request, kLength)) : std::string());
    }
    // Variant: the sub-header and its extension bytes lead the data area.
    if (read)
    {
        // The length field counts the data area and the bytes asked for.
        const size_t total = word(request, kLength);
        const size_t wanted = total > area.size() ? total - area.size() : 0;
        return sealed(header, area + readRegisters(addr, wanted));
    }
    const size_t lenHead = kSubHeader + at(request, kLenExp);
    if (write)
    {
        writeRegisters(addr, area.size() > lenHead ? area.substr(lenHead) : std::string());
    }
    return sealed(header, area.substr(0, lenHead));
}

std::vector<std::string> TestDevice::answerAll(const std::list<ST_MSGToHardDriver>& msgs)
{
    std::vector<std::string> out;
    for (const ST_MSGToHardDriver& msg : msgs)
    {
        out.push_back(answer(*msg.frame));
    }
    return out;
}

std::string TestDevice::pushReport(unsigned char label, unsigned char packageCode, unsigned int packetSum,
                                   unsigned int sequence, const std::string& data)
{
    std::string header(kData, '\0');
    header[0] = 0x55;
    header[1] = static_cast<char>(0xAA);
    header[kLabel] = static_cast<char>(label);
    header[kFirstAddr] = 0x01;
    header[kSecondAddr] = 0x02;
    header[kCode] = static_cast<char>(packageCode);
    header[kPacketType] = 0x32;
    std::string sub(kSubHeader, '\0');
    putDword(sub, 3, packetSum);
    putDword(sub, 7, sequence);
    return sealed(header, sub + data);
}

std::string TestDevice::report(unsigned char label, const std::string& data, bool seal)
{
    std::string header(kData, '\0');
    header[0] = 0x55;
    header[1] = static_cast<char>(0xAA);
    header[kLabel] = static_cast<char>(label);
    header[kFirstAddr] = 0x01;
    header[kSecondAddr] = 0x02;
    std::string frame = sealed(header, data);
    if (!seal)
    {
        frame[frame.size() - 2] = static_cast<char>(frame[frame.size() - 2] ^ 0x01);
    }
    return frame;
}

bool TestDevice::acceptsPushAcknowledgement(const std::string& pushed, const std::string& ack) const
{
    if (ack.size() != kAckLength || pushed.size() < kAckLength)
    {
        return false;
    }
    std::string expected = pushed.substr(0, kAckLength);
    expected[0] = static_cast<char>(0xAA);
    expected[1] = 0x55;
    expected[2] = 0;
    expected[kFirstAddr] = pushed[kSecondAddr];
    expected[kSecondAddr] = pushed[kFirstAddr];
    putWord(expected, kLength, kSubHeader);
    sealFrame(expected);
    return ack == expected;
}
