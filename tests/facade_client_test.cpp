// The registry of analyzers, the facade's client-request dispatch and each
// analyzer's dispatch by request kind.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "protostub/ProtoStub.h"
#include "support/LogCapture.h"

#include <memory>

namespace
{

#define SIG_STRING "class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> >"
#define SIG_MSG_LIST "class std::list<struct ST_MSGToHardDriver,class std::allocator<struct ST_MSGToHardDriver> >"
const char* const kStubSig =
    "enum em_ProtoAnalyze __cdecl ProtoStub::analyze_ClientData(unsigned int,const " SIG_STRING
    " &,const enum em_RequestType &,void *," SIG_MSG_LIST " &,const " SIG_STRING " &,const bool &)";
const char* const kStandardSig =
    "enum em_ProtoAnalyze __cdecl ProtoAnalyze3rd::analyze_ClientData(const unsigned __int64 &,const enum "
    "em_RequestType &,void *," SIG_MSG_LIST " &,const " SIG_STRING " &,const bool &)";
const char* const kVariantSig =
    "enum em_ProtoAnalyze __cdecl ProtoAnalyze3rd_Orvane::analyze_ClientData(const unsigned __int64 &,const enum "
    "em_RequestType &,void *," SIG_MSG_LIST " &,const " SIG_STRING " &,const bool &)";
#undef SIG_STRING
#undef SIG_MSG_LIST

const char* const kStandardKey = "3rd-proto";
const char* const kVariantKey = "3rdOrvane-proto";

// Records what the facade hands to slot 1 and answers with a fixed code.
class RecordingAnalyzer : public ProtoBase
{
public:
    explicit RecordingAnalyzer(em_ProtoAnalyze result) : ProtoBase("recording"), m_result(result)
    {
    }

    em_ProtoAnalyze analyze_ClientData(const unsigned long long& nHwMaxRecvLen, const em_RequestType& type,
                                       void* request, std::list<ST_MSGToHardDriver>& out, const std::string& filePath,
                                       const bool& bIsRegisterAddrSelfIncreasing) override
    {
        ++calls;
        maxRecvLen = nHwMaxRecvLen;
        requestType = type;
        requestSeen = request;
        outSeen = &out;
        path = filePath;
        selfIncreasing = bIsRegisterAddrSelfIncreasing;
        out.emplace_back();
        return m_result;
    }
    em_ProtoAnalyze analyze_DeviceData(const em_RequestType&, const std::string&, const ST_MSGToHardDriverMatch&,
                                       int&) override
    {
        return emProtoSuccess;
    }
    em_ProtoAnalyze analyze_DeviceReportPushData(std::vector<ST_DeviceAutoReportResponseInfo>&, const std::string&,
                                                 unsigned long long&) override
    {
        return emProtoSuccess;
    }

    int calls = 0;
    unsigned long long maxRecvLen = 0;
    int requestType = -1;
    void* requestSeen = nullptr;
    const std::list<ST_MSGToHardDriver>* outSeen = nullptr;
    std::string path;
    bool selfIncreasing = false;

private:
    em_ProtoAnalyze m_result;
};

// A facade whose registry the test can inspect and rearrange.
class OpenStub : public ProtoStub
{
public:
    using ProtoStub::m_mapProto;
};

class FacadeClientTest : public LogCaptureTest
{
protected:
    // One message already in the caller's list: the facade must keep it.
    std::list<ST_MSGToHardDriver> msgs = std::list<ST_MSGToHardDriver>(1);
    INTER_ST::ThirdGenerationCommRequest_Data request;
    const bool flag = true;
};

TEST_F(FacadeClientTest, RegistryHoldsOneAnalyzerOfEachKindUnderItsOwnKey)
{
    auto stub = std::make_unique<OpenStub>();
    const auto& registry = stub->m_mapProto;
    ASSERT_EQ(2u, registry.size());
    EXPECT_EQ(kStandardKey, registry.begin()->first);
    EXPECT_EQ(kVariantKey, registry.rbegin()->first);
    EXPECT_NE(nullptr, dynamic_cast<ProtoAnalyze3rd*>(registry.at(kStandardKey).get()));
    EXPECT_NE(nullptr, dynamic_cast<ProtoAnalyze3rd_Orvane*>(registry.at(kVariantKey).get()));
    std::vector<std::weak_ptr<ProtoBase>> analyzers;
    for (const auto& entry : registry)
    {
        SCOPED_TRACE(entry.first);
        EXPECT_EQ(entry.first, entry.second->getProtoKey());
        EXPECT_EQ(1, entry.second.use_count()) << "the registry is the only owner";
        analyzers.push_back(entry.second);
    }
    stub.reset();
    for (const auto& analyzer : analyzers)
    {
        EXPECT_TRUE(analyzer.expired());
    }
    EXPECT_TRUE(records().empty());
}

TEST_F(FacadeClientTest, KeyWithoutAnAnalyzerReturnsOne)
{
    struct Case
    {
        const char* key;
        bool emptyEntry; // registered, but the entry holds no analyzer
    };
    const Case cases[] = {{"3RD-PROTO", false},  {"3rdorvane-proto", false}, {"", false},
                          {"3rd-proto ", false}, {kStandardKey, true},       {kVariantKey, true}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.key);
        clearLog();
        OpenStub stub;
        if (c.emptyEntry)
        {
            stub.m_mapProto[c.key].reset();
        }
        EXPECT_EQ(emProtoNotFound,
                  stub.analyze_ClientData(256, c.key, emRequestReadRegister, &request, msgs, "", flag));
        EXPECT_EQ(1u, msgs.size());
        const std::vector<zorvlog::LogRecord> lines = records();
        ASSERT_EQ(1u, lines.size());
        EXPECT_EQ(ZORV_LOG_INFO, lines[0].level);
        const std::string text =
            c.emptyEntry ? "not found proto object,matchKey=[" : "map proto is not contain match key.matchKey=[";
        EXPECT_EQ(text + c.key + "].", lines[0].message);
        EXPECT_EQ(kStubSig, lines[0].signature);
    }
}

TEST_F(FacadeClientTest, ArgumentsReachTheAnalyzerAndItsResultComesBackUnchanged)
{
    struct Case
    {
        const char* name;
        unsigned int maxRecvLen;
        em_RequestType type;
        em_ProtoAnalyze result;
        const char* endLog;
    };
    const Case cases[] = {
        {"largest length is zero-extended", 4294967295u, emRequestWriteFile, static_cast<em_ProtoAnalyze>(42),
         "end ---nHwMaxRecvLen = -1, match key = 3rd-proto, type = 3, em_ProtoAnalyze = 42."},
        {"failure code", 256, static_cast<em_RequestType>(9), emProtoFailed,
         "end ---nHwMaxRecvLen = 256, match key = 3rd-proto, type = 9, em_ProtoAnalyze = 255."},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        OpenStub stub;
        auto analyzer = std::make_shared<RecordingAnalyzer>(c.result);
        stub.m_mapProto[kStandardKey] = analyzer;
        EXPECT_EQ(c.result,
                  stub.analyze_ClientData(c.maxRecvLen, kStandardKey, c.type, &request, msgs, "/tmp/file.bin", flag));
        EXPECT_EQ(1, analyzer->calls);
        EXPECT_EQ(static_cast<unsigned long long>(c.maxRecvLen), analyzer->maxRecvLen);
        EXPECT_EQ(static_cast<int>(c.type), analyzer->requestType);
        EXPECT_EQ(&request, analyzer->requestSeen);
        EXPECT_EQ(&msgs, analyzer->outSeen);
        EXPECT_EQ("/tmp/file.bin", analyzer->path);
        EXPECT_TRUE(analyzer->selfIncreasing);
        EXPECT_EQ(2u, msgs.size()) << "the analyzer's message follows the caller's own";
        msgs.pop_back();
        const std::vector<zorvlog::LogRecord> lines = records();
        ASSERT_EQ(1u, lines.size());
        EXPECT_EQ(ZORV_LOG_DEBUG, lines[0].level);
        EXPECT_EQ(c.endLog, lines[0].message);
        EXPECT_EQ(kStubSig, lines[0].signature);
    }
}

TEST_F(FacadeClientTest, UnknownRequestKindIsRejectedByEachAnalyzerWithItsOwnCode)
{
    struct Case
    {
        const char* key;
        em_ProtoAnalyze result;
        std::vector<std::pair<em_LOG_LEVEL, std::string>> analyzerLog;
        const char* sig;
    };
    const Case cases[] = {
        {kStandardKey, emProtoUnknownRequest, {{ZORV_LOG_WARN, "em_RequestType :4 is unknown !"}}, kStandardSig},
        {kVariantKey,
         emProtoUnknownRequestVariant,
         {{ZORV_LOG_TRACE, "ProtoAnalyze3rd_Orvane begin."},
          {ZORV_LOG_WARN, "em_RequestType: 4"},
          {ZORV_LOG_TRACE, "ProtoAnalyze3rd_Orvane end."}},
         kVariantSig},
    };
    const em_RequestType unknown = static_cast<em_RequestType>(4);
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.key);
        clearLog();
        ProtoStub stub;
        EXPECT_EQ(c.result, stub.analyze_ClientData(256, c.key, unknown, &request, msgs, "", flag));
        EXPECT_EQ(1u, msgs.size());
        const std::vector<zorvlog::LogRecord> lines = records();
        ASSERT_EQ(c.analyzerLog.size() + 1, lines.size());
        for (size_t i = 0; i < c.analyzerLog.size(); ++i)
        {
            EXPECT_EQ(c.analyzerLog[i].first, lines[i].level);
            EXPECT_EQ(c.analyzerLog[i].second, lines[i].message);
            EXPECT_EQ(c.sig, lines[i].signature);
        }
        EXPECT_EQ("end ---nHwMaxRecvLen = 256, match key = " + std::string(c.key) +
                      ", type = 4, em_ProtoAnalyze = " + std::to_string(c.result) + ".",
                  lines.back().message);
    }
}

TEST_F(FacadeClientTest, EachRequestKindReachesItsOwnOperation)
{
    // A request without register address bytes is turned down by every
    // operation, under the operation's own signature.
    const char* const operations[] = {"analyze_ReadRequest(", "analyze_WriteRequest(", "analyze_ReadFileRequest(",
                                      "analyze_WriteFileRequest("};
    ProtoAnalyze3rd standard;
    ProtoAnalyze3rd_Orvane variant;
    for (ProtoBase* analyzer : {static_cast<ProtoBase*>(&standard), static_cast<ProtoBase*>(&variant)})
    {
        const std::string prefix = analyzer == &standard ? "ProtoAnalyze3rd::" : "ProtoAnalyze3rd_Orvane::";
        for (int type = 0; type < 4; ++type)
        {
            const std::string operation = prefix + operations[type];
            SCOPED_TRACE(operation);
            clearLog();
            const unsigned long long maxRecvLen = 256;
            const em_RequestType kind = static_cast<em_RequestType>(type);
            EXPECT_NE(emProtoSuccess,
                      analyzer->analyze_ClientData(maxRecvLen, kind, &request, msgs, "/nonexistent/zorv-file", flag));
            EXPECT_EQ(1u, msgs.size());
            size_t reached = 0;
            for (const zorvlog::LogRecord& line : records())
            {
                const bool dispatcher = line.signature == kStandardSig || line.signature == kVariantSig;
                reached += line.signature.find(operation) != std::string::npos ? 1 : 0;
                EXPECT_TRUE(dispatcher || line.signature.find(operation) != std::string::npos) << line.signature;
            }
            EXPECT_NE(0u, reached);
        }
    }
}

TEST_F(FacadeClientTest, StandardSlotThreeDoesNothing)
{
    ProtoAnalyze3rd standard;
    std::vector<ST_DeviceAutoReportResponseInfo> reports(1);
    unsigned long long offset = 7;
    EXPECT_EQ(emProtoSuccess, standard.analyze_DeviceReportPushData(reports, std::string("\x55\xAA", 2), offset));
    EXPECT_EQ(1u, reports.size());
    EXPECT_EQ(7u, offset);
    EXPECT_TRUE(records().empty());
}

TEST_F(FacadeClientTest, DeviceAutoReportDataReturnsZeroAndLogsNothing)
{
    ProtoStub stub;
    EXPECT_EQ(emProtoSuccess, stub.analyze_DeviceAutoReportData("", {}));
    EXPECT_EQ(emProtoSuccess, stub.analyze_DeviceAutoReportData("3rd-proto", {"\xAA\x55", ""}));
    EXPECT_TRUE(records().empty());
}

} // namespace
