// The reply record an analyzer builds from device frames and hands to the
// server. Its special members are defined (defaulted) in the library and
// exported, so a server that copies or destroys records links against them;
// members added later are copied and moved with the rest.
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

    unsigned char head[2] = {0, 0};  // 0xAA 0x55 once filled from a reply
    // 2, not 0: a record that no reply has filled must not read as an
    // acknowledged success.
    unsigned char ack = 2;                     // frame byte 2
    unsigned char label = 0;                   // frame byte 3
    unsigned char firstAddr = 0;               // frame byte 4
    unsigned char secondAddr = 0;              // frame byte 5
    unsigned char deviceType = 0;              // frame byte 6
    std::vector<unsigned char> scanBoardAddr;  // frame bytes 8 and 9
    unsigned char frameByte7 = 0;              // frame byte 7
    unsigned char readWriteCode = 0;           // frame byte 10
    std::vector<unsigned char> registerAddr;   // frame bytes 12 to 15
    unsigned long long validDataLength = 0;
    std::vector<unsigned char> data;
    std::vector<unsigned char> checkout;  // checksum bytes of a pushed report, frame order
    unsigned char packetType = 0;         // frame byte 11
};

}  // namespace INTER_ST
