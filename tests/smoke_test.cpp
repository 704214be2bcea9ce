#include "protostub/ProtoStub.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

class SmokeTest : public LogCaptureTest
{
};

TEST_F(SmokeTest, StandardReadFrameMatchesTheFrameTable)
{
    ProtoStub stub;
    INTER_ST::ThirdGenerationCommRequest_Data request;
    request.registerAddr = {0, 0x10, 0, 0};
    request.validLength = 8;
    std::list<ST_MSGToHardDriver> msgs;
    ASSERT_EQ(emProtoSuccess, stub.analyze_ClientData(256, "3rd-proto", emRequestReadRegister, &request, msgs, "", false));
    ASSERT_EQ(1u, msgs.size());
    FrameFields f;
    f.head0 = 0x55;
    f.head1 = 0xAA;
    f.registerAddr = 0x1000;
    f.validLength = 8;
    std::string expected = makeFrame(f);
    EXPECT_EQ(toHex(expected), toHex(*msgs.front().frame));
    EXPECT_EQ(1u, count("end ---nHwMaxRecvLen = 256, match key = 3rd-proto, type = 0, em_ProtoAnalyze = 0."));
}
