// The client request that the server hands to analyze_ClientData (as void*).
#pragma once

#include <vector>

namespace INTER_ST
{

class ThirdGenerationCommRequest_Data
{
public:
    unsigned char firstAddr = 0;               // frame byte 4
    unsigned char secondAddr = 0;              // frame byte 5
    unsigned char deviceType = 0;              // frame byte 6
    std::vector<unsigned char> scanBoardAddr;  // its first two bytes: frame bytes 8 and 9
    unsigned char frameByte7 = 0;              // frame byte 7
    unsigned char readWriteCode = 0;           // frame byte 10: 0 read, 1 write
    std::vector<unsigned char> registerAddr;   // four bytes, little-endian start address
    unsigned long long validLength = 0;        // total data bytes of the request
    std::vector<unsigned char> data;           // write data; for the variant, sub-header first
    unsigned char packetType = 0;              // frame byte 11
};

}  // namespace INTER_ST
