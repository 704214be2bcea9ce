#include "DeviceFrames.h"

namespace bench
{

namespace
{
constexpr size_t kHeader = 18;
constexpr unsigned char kReportPacketType = 0x32;

void putWord(std::string& f, size_t at, unsigned int value)
{
    f[at] = static_cast<char>(value & 0xFF);
    f[at + 1] = static_cast<char>((value >> 8) & 0xFF);
}

// The checksum is 0x5555 plus bytes 2 to len-3, stored low byte first in the
// last two bytes.
void seal(std::string& f)
{
    unsigned int sum = 0x5555;
    for (size_t i = 2; i + 2 < f.size(); ++i)
    {
        sum += static_cast<unsigned char>(f[i]);
    }
    putWord(f, f.size() - 2, sum & 0xFFFF);
}

std::string frameWithData(const std::string& data)
{
    std::string f(kHeader, '\0');
    putWord(f, 16, static_cast<unsigned int>(data.size()));
    f += data;
    f.append(2, '\0');
    return f;
}
}  // namespace

std::string patternBytes(size_t count, unsigned int seed)
{
    std::string out(count, '\0');
    for (size_t i = 0; i < count; ++i)
    {
        out[i] = static_cast<char>((i * 37 + seed * 11 + 5) & 0x7F);
    }
    return out;
}

std::string replyTo(const std::string& request, const std::string& data)
{
    std::string f = frameWithData(data);
    f[0] = static_cast<char>(0xAA);
    f[1] = static_cast<char>(0x55);
    f[3] = request[3];
    f[4] = request[5];
    f[5] = request[4];
    f.replace(6, 10, request, 6, 10);
    seal(f);
    return f;
}

std::string report(unsigned char label, unsigned char code, const std::string& data)
{
    std::string f = frameWithData(data);
    f[0] = static_cast<char>(0x55);
    f[1] = static_cast<char>(0xAA);
    f[3] = static_cast<char>(label);
    f[4] = 0x01;
    f[5] = 0x02;
    f[6] = 0x03;
    f[10] = static_cast<char>(code);
    f[11] = static_cast<char>(kReportPacketType);
    seal(f);
    return f;
}

}  // namespace bench
