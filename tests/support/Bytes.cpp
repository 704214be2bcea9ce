#include "support/Bytes.h"

#include <cctype>
#include <cstdio>
#include <stdexcept>

std::string hexBytes(const std::string& hex)
{
    std::string digits;
    for (char c : hex)
    {
        if (std::isxdigit(static_cast<unsigned char>(c)))
        {
            digits += c;
        }
    }
    if (digits.size() % 2 != 0)
    {
        throw std::invalid_argument("odd number of hex digits: " + hex);
    }
    std::string out;
    for (size_t i = 0; i < digits.size(); i += 2)
    {
        out += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return out;
}

std::string toHex(const std::string& bytes)
{
    std::string out;
    char text[4];
    for (size_t i = 0; i < bytes.size(); ++i)
    {
        std::snprintf(text, sizeof text, "%02x", static_cast<unsigned char>(bytes[i]));
        if (i != 0)
        {
            out += ' ';
        }
        out += text;
    }
    return out;
}

void sealFrame(std::string& frame)
{
    unsigned int sum = 0x5555;
    for (size_t i = 2; i + 2 < frame.size(); ++i)
    {
        sum += static_cast<unsigned char>(frame[i]);
    }
    frame[frame.size() - 2] = static_cast<char>(sum & 0xFF);
    frame[frame.size() - 1] = static_cast<char>((sum >> 8) & 0xFF);
}

std::string makeFrame(const FrameFields& f)
{
    std::string frame(18, '\0');
    frame[0] = static_cast<char>(f.head0);
    frame[1] = static_cast<char>(f.head1);
    frame[2] = static_cast<char>(f.ack);
    frame[3] = static_cast<char>(f.label);
    frame[4] = static_cast<char>(f.firstAddr);
    frame[5] = static_cast<char>(f.secondAddr);
    frame[6] = static_cast<char>(f.deviceType);
    frame[7] = static_cast<char>(f.byte7);
    frame[8] = static_cast<char>(f.scan0);
    frame[9] = static_cast<char>(f.scan1);
    frame[10] = static_cast<char>(f.readWriteCode);
    frame[11] = static_cast<char>(f.packetType);
    for (int i = 0; i < 4; ++i)
    {
        frame[12 + i] = static_cast<char>((f.registerAddr >> (8 * i)) & 0xFF);
    }
    const unsigned int length =
        f.validLength < 0 ? static_cast<unsigned int>(f.data.size()) : static_cast<unsigned int>(f.validLength);
    frame[16] = static_cast<char>(length & 0xFF);
    frame[17] = static_cast<char>((length >> 8) & 0xFF);
    frame += f.data;
    frame += std::string(2, '\0');
    sealFrame(frame);
    return frame;
}
