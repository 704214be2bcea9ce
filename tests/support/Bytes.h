// Byte-string helpers for tests: hex text in, hex text out, and device frames
// laid out from the frame table with a checksum computed here, independently
// of the library.
#pragma once

#include <string>
#include <vector>

// "55 aa 00 ..." (blanks optional) to bytes.
std::string hexBytes(const std::string& hex);
// Bytes to "55 aa 00 ...".
std::string toHex(const std::string& bytes);

// 0x5555 plus bytes 2 .. size-3, stored low byte first in the last two bytes.
void sealFrame(std::string& frame);

// The header bytes in frame order, the register address (stored low byte
// first), the data, and the length field (by default the data's size).
struct FrameFields
{
    unsigned char head0 = 0xAA, head1 = 0x55, ack = 0, label = 1, firstAddr = 0, secondAddr = 0, deviceType = 0,
                  byte7 = 0, scan0 = 0, scan1 = 0, readWriteCode = 0, packetType = 0;
    unsigned int registerAddr = 0;
    std::string data;
    int validLength = -1;
};

// A sealed frame: 18 header bytes, the data, two checksum bytes.
std::string makeFrame(const FrameFields& fields);
