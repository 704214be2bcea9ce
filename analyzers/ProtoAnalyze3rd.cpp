// Standard analyzer: request dispatch, frame building and register requests.
#include "ProtoAnalyze3rd.h"

#include "RequestFields.h"
#include "log/LogCall.h"
#include "log/LogSignature.h"
#include "protobase/FrameCodec.h"

namespace
{
#define SIG_CLASS "ProtoAnalyze3rd::"
const char* const SIG_analyze_ClientData = ZSIG_RESULT SIG_CLASS
    "analyze_ClientData(const unsigned __int64 &,const enum em_RequestType &,void *," ZSIG_MSG_LIST
    " &,const " ZSIG_STRING " &,const bool &)";
const char* const SIG_analyze_OnePackageRequst = ZSIG_RESULT SIG_CLASS
    "analyze_OnePackageRequst(const struct ST_RegisterAddrAndValid &," ZSIG_REQUEST_PTR ",struct ST_MSGToHardDriver &)";
const char* const SIG_analyze_ReadRequest = ZSIG_RESULT SIG_CLASS
    "analyze_ReadRequest(const unsigned __int64 &," ZSIG_REQUEST_PTR "," ZSIG_MSG_LIST " &,const bool &)";
const char* const SIG_analyze_WriteRequest = ZSIG_RESULT SIG_CLASS
    "analyze_WriteRequest(const unsigned __int64 &," ZSIG_REQUEST_PTR "," ZSIG_MSG_LIST " &,const bool &)";
#undef SIG_CLASS

const char* const kProtoKey = "3rd-proto";
const char* const kReplyHeadKey = "AA55";
constexpr int kLabelPosition = 3;
}  // namespace

ProtoAnalyze3rd::ProtoAnalyze3rd() : ProtoBase(kProtoKey)
{
}

ProtoAnalyze3rd::~ProtoAnalyze3rd() = default;

em_ProtoAnalyze ProtoAnalyze3rd::analyze_ClientData(const unsigned long long& nHwMaxRecvLen, const em_RequestType& type,
                                                    void* request, std::list<ST_MSGToHardDriver>& out,
                                                    const std::string& filePath,
                                                    const bool& bIsRegisterAddrSelfIncreasing)
{
    auto* req = static_cast<INTER_ST::ThirdGenerationCommRequest_Data*>(request);
    switch (type)
    {
    case emRequestReadRegister:
        return analyze_ReadRequest(nHwMaxRecvLen, req, out, bIsRegisterAddrSelfIncreasing);
    case emRequestWriteRegister:
        return analyze_WriteRequest(nHwMaxRecvLen, req, out, bIsRegisterAddrSelfIncreasing);
    case emRequestReadFile:
        return analyze_ReadFileRequest(nHwMaxRecvLen, filePath, req, out, bIsRegisterAddrSelfIncreasing);
    case emRequestWriteFile:
        return analyze_WriteFileRequest(nHwMaxRecvLen, filePath, req, out, bIsRegisterAddrSelfIncreasing);
    default:
        ZLOG(3, SIG_analyze_ClientData, "em_RequestType :%d is unknown !", static_cast<int>(type));
        return emProtoUnknownRequest;
    }
}

em_ProtoAnalyze ProtoAnalyze3rd::analyze_DeviceReportPushData(std::vector<ST_DeviceAutoReportResponseInfo>&,
                                                              const std::string&, unsigned long long&)
{
    return emProtoSuccess;
}

em_ProtoAnalyze ProtoAnalyze3rd::analyze_OnePackageRequst(const ST_RegisterAddrAndValid& pkg,
                                                          INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                          ST_MSGToHardDriver& msg)
{
    m_ucLabel = advancePacketLabel();
    if (request == nullptr)
    {
        return request_fields::rejectNull(SIG_analyze_OnePackageRequst);
    }
    const size_t length = pkg.validLen + frame::kOverhead;
    const unsigned int code = request->readWriteCode;
    ZLOG(0, SIG_analyze_OnePackageRequst,
         "label[%d], datagramLength[%d], addrscr[0x%0x], scanBoardAddr[0x%0x], readWriteCode[%d], device type[%d].",
         static_cast<int>(m_ucLabel), static_cast<int>(length), pkg.registerAddr, scanBoardWord(request->scanBoardAddr),
         static_cast<int>(code), static_cast<int>(request->deviceType));
    if (code != emOperationRead && code != emOperationWrite)
    {
        ZLOG(3, SIG_analyze_OnePackageRequst, "error em_OperationCodeType:%d", static_cast<int>(code));
        return emProtoBadReadWriteCode;
    }
    if (code == emOperationWrite && pkg.validLen > 0 && pkg.data.size() != pkg.validLen)
    {
        // The data must fill the frame's data area exactly; a packet without
        // data bytes ignores pkg.data.
        return request_fields::rejectDataSize(SIG_analyze_OnePackageRequst);
    }
    auto out = newRequestFrame(length, m_ucLabel, *request, pkg.registerAddr);
    std::string& f = *out;
    if (code == emOperationRead)
    {
        frame::putWord(f, frame::kValidLength, pkg.readLen & 0xFFFF);
    }
    else
    {
        frame::putWord(f, frame::kValidLength, pkg.validLen & 0xFFFF);
        if (pkg.validLen > 0)
        {
            f.replace(frame::kData, pkg.validLen, pkg.data);
        }
    }
    const unsigned int sum = storeCheckout(f);
    msg.protoKey = m_strProtoKey;
    msg.matchList = {{kReplyHeadKey, 0},
                     {std::to_string(m_ucLabel), kLabelPosition},
                     {std::to_string(sum), static_cast<int>(length - 2)}};
    msg.frame = std::move(out);
    return emProtoSuccess;
}

em_ProtoAnalyze ProtoAnalyze3rd::analyze_ReadRequest(const unsigned long long& nHwMaxRecvLen,
                                                     INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                     std::list<ST_MSGToHardDriver>& out,
                                                     const bool& bIsRegisterAddrSelfIncreasing)
{
    const char* const sig = SIG_analyze_ReadRequest;
    em_ProtoAnalyze rejected = emProtoSuccess;
    if (!request_fields::checkRead(sig, request, nHwMaxRecvLen, rejected))
    {
        return rejected;
    }
    const unsigned long long len = request->validLength;
    const unsigned int addr = request_fields::startAddress(*request);
    const PacketPlan plan(len, nHwMaxRecvLen);
    m_nSendCount = plan.count();
    m_nAlreadyRecievedCount = 0;
    ZLOG(0, sig, "register address[0x%0x], valid length[%d], size package[%d],bIsRegisterAddrSelfIncreasing(bool):%d",
         addr, static_cast<int>(len), static_cast<int>(plan.count()), bIsRegisterAddrSelfIncreasing ? 1 : 0);
    initReplyRecord(request);
    const std::vector<ST_RegisterAddrAndValid> packets =
        request_fields::planReads(sig, plan, addr, bIsRegisterAddrSelfIncreasing);
    return request_fields::buildPackets(*this, sig, packets, request, out);
}

em_ProtoAnalyze ProtoAnalyze3rd::analyze_WriteRequest(const unsigned long long& nHwMaxRecvLen,
                                                      INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                      std::list<ST_MSGToHardDriver>& out,
                                                      const bool& bIsRegisterAddrSelfIncreasing)
{
    const char* const sig = SIG_analyze_WriteRequest;
    em_ProtoAnalyze rejected = emProtoSuccess;
    if (!request_fields::checkWrite(sig, request, nHwMaxRecvLen, rejected))
    {
        return rejected;
    }
    const unsigned long long len = request->validLength;
    const unsigned int addr = request_fields::startAddress(*request);
    const PacketPlan plan(len, nHwMaxRecvLen);
    m_nSendCount = plan.count();
    m_nAlreadyRecievedCount = 0;
    initReplyRecord(request);
    ZLOG(0, sig,
         " write data ,register address[0x%0x], valid length[%d], size package[%d],bIsRegisterAddrSelfIncreasing[%d].",
         addr, static_cast<int>(len), static_cast<int>(plan.count()), bIsRegisterAddrSelfIncreasing ? 1 : 0);
    const std::vector<ST_RegisterAddrAndValid> packets =
        request_fields::planWrites(sig, plan, addr, bIsRegisterAddrSelfIncreasing, plan.count() > 1);
    const std::vector<unsigned char>& data = request->data;
    size_t index = 0;
    return request_fields::buildWritePackets(*this, sig, packets, request, out, [&](std::string& chunk, size_t count) {
        if (count > data.size() - index)
        {
            return request_fields::rejectDataExhausted(sig);
        }
        chunk.assign(reinterpret_cast<const char*>(data.data()) + index, count);
        index += count;
        return emProtoSuccess;
    });
}
