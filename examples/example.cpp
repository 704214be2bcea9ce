// Builds a register read and a register write for both protocol keys and
// prints the frames in hex, as the server would send them.
#include "protostub/ProtoStub.h"

#include <cstdio>
#include <list>
#include <string>

namespace
{

void printFrames(const char* what, const std::list<ST_MSGToHardDriver>& msgs)
{
    for (const ST_MSGToHardDriver& msg : msgs)
    {
        std::printf("%s %s TX %zu:", what, msg.protoKey.c_str(), msg.frame->size());
        for (unsigned char byte : *msg.frame)
        {
            std::printf(" %02x", byte);
        }
        std::printf("\n");
    }
}

INTER_ST::ThirdGenerationCommRequest_Data makeRequest(unsigned char code, const std::vector<unsigned char>& data)
{
    INTER_ST::ThirdGenerationCommRequest_Data request;
    request.firstAddr = 0x01;
    request.secondAddr = 0x02;
    request.deviceType = 0x03;
    request.scanBoardAddr = {0x10, 0x20};
    request.readWriteCode = code;
    request.registerAddr = {0x00, 0x10, 0x00, 0x00};
    request.data = data;
    request.validLength = data.empty() ? 8 : data.size();
    return request;
}

}  // namespace

int main()
{
    ProtoStub stub;
    const bool selfIncreasing = true;
    const std::vector<unsigned char> payload = {0xDE, 0xAD, 0xBE, 0xEF};
    // The variant's data starts with an 18-byte sub-header.
    std::vector<unsigned char> variantRead(18, 0);
    std::vector<unsigned char> variantWrite(18, 0);
    variantWrite.insert(variantWrite.end(), payload.begin(), payload.end());

    struct Case
    {
        const char* what;
        const char* key;
        em_RequestType type;
        INTER_ST::ThirdGenerationCommRequest_Data request;
    };
    Case cases[] = {
        {"read ", "3rd-proto", emRequestReadRegister, makeRequest(0, {})},
        {"write", "3rd-proto", emRequestWriteRegister, makeRequest(1, payload)},
        {"read ", "3rdOrvane-proto", emRequestReadRegister, makeRequest(0, variantRead)},
        {"write", "3rdOrvane-proto", emRequestWriteRegister, makeRequest(1, variantWrite)},
    };
    cases[2].request.validLength = 18 + 8;
    int failures = 0;
    for (Case& c : cases)
    {
        std::list<ST_MSGToHardDriver> msgs;
        const em_ProtoAnalyze result =
            stub.analyze_ClientData(256, c.key, c.type, &c.request, msgs, std::string(), selfIncreasing);
        if (result != emProtoSuccess)
        {
            std::printf("%s %s failed with result %d\n", c.what, c.key, static_cast<int>(result));
            ++failures;
        }
        printFrames(c.what, msgs);
    }
    return failures == 0 ? 0 : 1;
}
