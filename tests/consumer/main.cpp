// Builds one register read through the installed library and copies the reply
// record, which needs the exported facade and the record's exported members.
#include "protostub/ProtoStub.h"

#include <cstdio>
#include <list>
#include <string>

int main()
{
    ProtoStub stub;
    INTER_ST::ThirdGenerationCommRequest_Data request;
    request.registerAddr = {0x00, 0x10, 0x00, 0x00};
    request.validLength = 8;
    std::list<ST_MSGToHardDriver> msgs;
    const em_ProtoAnalyze result =
        stub.analyze_ClientData(256, "3rd-proto", emRequestReadRegister, &request, msgs, std::string(), false);
    if (result != emProtoSuccess || msgs.size() != 1)
    {
        std::printf("consumer: request failed with result %d\n", static_cast<int>(result));
        return 1;
    }
    const std::string& frame = *msgs.front().frame;
    std::printf("consumer: TX %zu:", frame.size());
    for (char byte : frame)
    {
        std::printf(" %02x", static_cast<unsigned char>(byte));
    }
    std::printf("\n");
    const INTER_ST::ThirdGenerationCommResponse_Data reply = *stub.getReplyPackage("3rd-proto");
    unsigned long long frameLen = 0;
    const bool general = ProtoStub::isGeneralThirdPackage(frame, frameLen);
    const bool ok = frame.size() >= 20 && frame.compare(0, 2, "\x55\xAA") == 0 && !general && reply.data.empty();
    std::printf("consumer: %s\n", ok ? "ok" : "unexpected frame or reply record");
    return ok ? 0 : 1;
}
