// Builds one register read through the installed library and copies the reply
// record, which needs the exported facade and the record's exported members.
#include "protostub/ProtoStub.h"

#include <cstdio>

int main()
{
    ProtoStub stub;
    INTER_ST::ThirdGenerationCommRequest_Data request;
    request.registerAddr = {0x00, 0x10, 0x00, 0x00};
    request.validLength = 8;
    std::list<ST_MSGToHardDriver> msgs;
    const em_ProtoAnalyze result =
        stub.analyze_ClientData(256, "3rd-proto", emRequestReadRegister, &request, msgs, "", false);
    const INTER_ST::ThirdGenerationCommResponse_Data reply = *stub.getReplyPackage("3rd-proto");
    const bool ok = result == emProtoSuccess && msgs.size() == 1 &&
                    msgs.front().frame->compare(0, 2, "\x55\xAA") == 0 && reply.registerAddr == request.registerAddr;
    std::printf("consumer: %s\n", ok ? "ok" : "request failed or reply record not copied");
    return ok ? 0 : 1;
}
