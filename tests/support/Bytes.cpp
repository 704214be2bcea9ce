#include "support/Bytes.h"

#include <cctype>
#include <stdexcept>

std::string hexBytes(const std::string& hex)
{
    std::string digits, out;
    for (char c : hex)
        digits += std::isxdigit(static_cast<unsigned char>(c)) ? std::string(1, c) : "";
    if (digits.size() % 2 != 0)
        throw std::invalid_argument("odd number of hex digits: " + hex);
    for (size_t i = 0; i < digits.size(); i += 2)
        out += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return out;
}

std::string toHex(const std::string& bytes)
{
    const char* const digits = "0123456789abcdef";
    std::string out;
    for (unsigned char b : bytes)
        out += std::string(out.empty() ? "" : " ") + digits[b >> 4] + digits[b & 15];
    return out;
}

void sealFrame(std::string& frame)
{
    unsigned int sum = 0x5555;
    for (size_t i = 2; i + 2 < frame.size(); ++i)
        sum += static_cast<unsigned char>(frame[i]);
    frame[frame.size() - 2] = static_cast<char>(sum & 0xFF);
    frame[frame.size() - 1] = static_cast<char>((sum >> 8) & 0xFF);
}

std::string makeFrame(const FrameFields& f)
{
    const unsigned int a = f.registerAddr, n = unsigned(f.validLength < 0 ? f.data.size() : size_t(f.validLength));
    std::string frame{char(f.head0),     char(f.head1),      char(f.ack),           char(f.label),
                      char(f.firstAddr), char(f.secondAddr), char(f.deviceType),    char(f.byte7),
                      char(f.scan0),     char(f.scan1),      char(f.readWriteCode), char(f.packetType),
                      char(a),           char(a >> 8),       char(a >> 16),         char(a >> 24),
                      char(n),           char(n >> 8)};
    frame += f.data + "..";
    sealFrame(frame);
    return frame;
}
