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

struct FrameFields
{
    unsigned char head0 = 0xAA;
    unsigned char head1 = 0x55;
    unsigned char ack = 0;
    unsigned char label = 1;
    unsigned char firstAddr = 0;
    unsigned char secondAddr = 0;
    unsigned char deviceType = 0;
    unsigned char byte7 = 0;
    unsigned char scan0 = 0;
    unsigned char scan1 = 0;
    unsigned char readWriteCode = 0;
    unsigned char packetType = 0;
    unsigned int registerAddr = 0;
    std::string data;
    // The length field; by default the data's size.
    int validLength = -1;
};

// A sealed frame: 18 header bytes, the data, two checksum bytes.
std::string makeFrame(const FrameFields& fields);
