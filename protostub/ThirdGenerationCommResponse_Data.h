// The reply record an analyzer builds from device frames and hands to the
// server. Its special members are defined in the library and exported, so a
// server that copies or destroys records links against them.
#pragma once

#include "ProtoExport.h"

#include <vector>

namespace INTER_ST
{

class ZORV_PROTO_API ThirdGenerationCommResponse_Data
{
public:
    ThirdGenerationCommResponse_Data();
    ThirdGenerationCommResponse_Data(const ThirdGenerationCommResponse_Data& other);
    ThirdGenerationCommResponse_Data(ThirdGenerationCommResponse_Data&& other) noexcept;
    ThirdGenerationCommResponse_Data& operator=(const ThirdGenerationCommResponse_Data& other);
    ThirdGenerationCommResponse_Data& operator=(ThirdGenerationCommResponse_Data&& other) noexcept;
    virtual ~ThirdGenerationCommResponse_Data();

    unsigned char head[2];                     // 0xAA 0x55 once filled from a reply
    unsigned char ack;                         // frame byte 2; 2 until a reply sets it
    unsigned char label;                       // frame byte 3
    unsigned char firstAddr;                   // frame byte 4
    unsigned char secondAddr;                  // frame byte 5
    unsigned char deviceType;                  // frame byte 6
    std::vector<unsigned char> scanBoardAddr;  // frame bytes 8 and 9
    unsigned char frameByte7;                  // frame byte 7
    unsigned char readWriteCode;               // frame byte 10
    std::vector<unsigned char> registerAddr;   // frame bytes 12 to 15
    unsigned long long validDataLength;
    std::vector<unsigned char> data;
    std::vector<unsigned char> checkout;  // checksum bytes of a pushed report, frame order
    unsigned char packetType;             // frame byte 11
};

}  // namespace INTER_ST
