// The third-generation frame: an 18-byte header, the data, and a two-byte
// checksum stored low byte first. All multi-byte fields are little-endian.
#pragma once

#include <cstddef>
#include <string>

namespace frame
{

constexpr size_t kHead0 = 0;
constexpr size_t kHead1 = 1;
constexpr size_t kAck = 2;
constexpr size_t kLabel = 3;
constexpr size_t kFirstAddr = 4;
constexpr size_t kSecondAddr = 5;
constexpr size_t kDeviceType = 6;
constexpr size_t kByte7 = 7;
constexpr size_t kScanBoard = 8;
constexpr size_t kReadWriteCode = 10;
constexpr size_t kPacketType = 11;
constexpr size_t kRegisterAddr = 12;
constexpr size_t kValidLength = 16;
constexpr size_t kData = 18;

constexpr size_t kHeaderSize = 18;
constexpr size_t kOverhead = 20;  // header plus checksum: the shortest frame
constexpr unsigned int kCheckoutSeed = 0x5555;

// Device-to-server frames start AA 55, server-to-device frames 55 AA.
constexpr unsigned char kDeviceHead0 = 0xAA;
constexpr unsigned char kDeviceHead1 = 0x55;
constexpr unsigned char kServerHead0 = 0x55;
constexpr unsigned char kServerHead1 = 0xAA;

// The variant's 18-byte sub-header at the start of the data area.
constexpr size_t kSubHeaderSize = 18;
constexpr size_t kVariantOverhead = kOverhead + kSubHeaderSize;
constexpr size_t kVariantSubValidLen = 18;  // frame bytes 18, 19
constexpr size_t kVariantPacketSum = 21;    // frame bytes 21 to 24
constexpr size_t kVariantSequence = 25;     // frame bytes 25 to 28
constexpr size_t kVariantLenExp = 35;       // frame byte 35
constexpr size_t kVariantPayload = 36;

// Byte i of buf, or 0 when buf is shorter: for reading fields of packages that
// a device may have cut short, without reading past their end.
inline unsigned char byteAt(const std::string& buf, size_t i)
{
    return i < buf.size() ? static_cast<unsigned char>(buf[i]) : 0;
}

// The 16-bit little-endian value at i, both bytes unsigned.
inline unsigned int wordAt(const std::string& buf, size_t i)
{
    return static_cast<unsigned int>(byteAt(buf, i)) | (static_cast<unsigned int>(byteAt(buf, i + 1)) << 8);
}

// The valid length as some readers take it on purpose: byte 16 as a signed
// byte, so that a low byte of 0x80 or more makes the length 256 too small,
// kept to 16 bits. Both readings are observable behaviour; keep each where it
// is used.
inline unsigned int signedWordAt(const std::string& buf, size_t i)
{
    const int low = static_cast<signed char>(byteAt(buf, i));  // NOLINT(bugprone-signed-char-misuse)
    return static_cast<unsigned int>((static_cast<int>(byteAt(buf, i + 1)) << 8) + low) & 0xFFFFu;
}

// The 32-bit little-endian value at i.
inline unsigned int dwordAt(const std::string& buf, size_t i)
{
    return wordAt(buf, i) | (wordAt(buf, i + 2) << 16);
}

inline void putWord(std::string& buf, size_t i, unsigned int value)
{
    buf[i] = static_cast<char>(value & 0xFF);
    buf[i + 1] = static_cast<char>((value >> 8) & 0xFF);
}

inline void putDword(std::string& buf, size_t i, unsigned int value)
{
    putWord(buf, i, value & 0xFFFF);
    putWord(buf, i + 2, value >> 16);
}

}  // namespace frame
