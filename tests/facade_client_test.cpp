// The registry of analyzers and the facade's client-request dispatch.
#include "analyzers/ProtoAnalyze3rd.h"
#include "protostub/ProtoStub.h"
#include "support/LogCapture.h"

#define SIG_STRING "class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> >"
const char* const kStubSig = "enum em_ProtoAnalyze __cdecl ProtoStub::analyze_ClientData(unsigned int,const " SIG_STRING
                             " &,const enum em_RequestType &,void *,class std::list<struct ST_MSGToHardDriver,class "
                             "std::allocator<struct ST_MSGToHardDriver> > &,const " SIG_STRING " &,const bool &)";

// The fixture is the facade itself, so that tests reach its registry.
struct FacadeClientTest : LogCaptureTest, ProtoStub
{
    em_ProtoAnalyze call(const std::string& key, unsigned int maxRecvLen, int type)
    {
        clearLog();
        return analyze_ClientData(maxRecvLen, key, static_cast<em_RequestType>(type), &request, msgs, "", true);
    }
    std::list<ST_MSGToHardDriver> msgs = std::list<ST_MSGToHardDriver>(1);  // the caller's own: never removed
    INTER_ST::ThirdGenerationCommRequest_Data request;
};

TEST_F(FacadeClientTest, KeyWithoutAnAnalyzerReturnsOne)
{
    EXPECT_EQ(emProtoNotFound, call("3RD-PROTO", 256, 0));
    EXPECT_EQ(Lines{"2 map proto is not contain match key.matchKey=[3RD-PROTO]."}, lines());
    EXPECT_EQ(kStubSig, records().at(0).signature);
    m_mapProto["3rd-proto"].reset();
    EXPECT_EQ(emProtoNotFound, call("3rd-proto", 256, 0));
    EXPECT_EQ(Lines{"2 not found proto object,matchKey=[3rd-proto]."}, lines());
}

TEST_F(FacadeClientTest, LengthReachesTheAnalyzerZeroExtended)
{
    // 2^32 bytes take two packets of at most 4294967295 bytes; sign-extended, the limit would allow one.
    request.registerAddr = {0, 0, 0, 0};
    request.validLength = 1ULL << 32;
    EXPECT_EQ(emProtoSuccess, call("3rd-proto", 4294967295u, 0));
    EXPECT_EQ(3u, msgs.size());
    EXPECT_TRUE(
        logged(ZORV_LOG_DEBUG, "end ---nHwMaxRecvLen = -1, match key = 3rd-proto, type = 0, em_ProtoAnalyze = 0."));
}

TEST_F(FacadeClientTest, EachKeyReachesItsOwnAnalyzerWhichRejectsAnUnknownKindWithItsOwnCode)
{
    EXPECT_EQ(2u, m_mapProto.size());
    EXPECT_EQ(emProtoUnknownRequest, call("3rd-proto", 256, 4));
    EXPECT_EQ((Lines{"3 em_RequestType :4 is unknown !",
                     "1 end ---nHwMaxRecvLen = 256, match key = 3rd-proto, type = 4, em_ProtoAnalyze = 15."}),
              lines());
    EXPECT_EQ(emProtoUnknownRequestVariant, call("3rdOrvane-proto", 256, 4));
    EXPECT_EQ((Lines{"0 ProtoAnalyze3rd_Orvane begin.", "3 em_RequestType: 4", "0 ProtoAnalyze3rd_Orvane end.",
                     "1 end ---nHwMaxRecvLen = 256, match key = 3rdOrvane-proto, type = 4, em_ProtoAnalyze = 20."}),
              lines());
    EXPECT_EQ(1u, msgs.size());
    // The device auto-report entry point does nothing.
    clearLog();
    EXPECT_EQ(emProtoSuccess, analyze_DeviceAutoReportData("", {}));
    EXPECT_EQ(emProtoSuccess, analyze_DeviceAutoReportData("3rd-proto", {"\xAA\x55", ""}));
    EXPECT_TRUE(records().empty());
}
