// Variant analyzer: request dispatch, frame building and register requests.
#include "ProtoAnalyze3rd_Orvane.h"

#include "RequestFields.h"
#include "log/LogCall.h"
#include "log/LogSignature.h"
#include "protobase/FrameCodec.h"

#include <algorithm>

namespace
{
#define SIG_CLASS "ProtoAnalyze3rd_Orvane::"
const char* const SIG_analyze_ClientData = ZSIG_RESULT SIG_CLASS
    "analyze_ClientData(const unsigned __int64 &,const enum em_RequestType &,void *," ZSIG_MSG_LIST
    " &,const " ZSIG_STRING " &,const bool &)";
const char* const SIG_analyze_OnePackageRequst = ZSIG_RESULT SIG_CLASS
    "analyze_OnePackageRequst(const struct ST_RegisterAddrAndValid &," ZSIG_REQUEST_PTR ",struct ST_MSGToHardDriver &)";
const char* const SIG_analyze_ReadRequest = ZSIG_RESULT SIG_CLASS
    "analyze_ReadRequest(const unsigned __int64 &," ZSIG_REQUEST_PTR "," ZSIG_MSG_LIST " &,const bool &)";
const char* const SIG_analyze_WriteRequest = ZSIG_RESULT SIG_CLASS
    "analyze_WriteRequest(const unsigned __int64 &," ZSIG_REQUEST_PTR "," ZSIG_MSG_LIST " &,const bool &)";
const char* const SIG_getPacketSumSequeseNum =
    "int __cdecl " SIG_CLASS "getPacketSumSequeseNum(const unsigned __int64 &," ZSIG_REQUEST_PTR ")";
#undef SIG_CLASS

const char* const kProtoKey = "3rdOrvane-proto";
const char* const kReplyHeadKey = "AA55";
constexpr int kLabelPosition = 3;

// Sub-header fields, as offsets into the request's data.
constexpr size_t kSubPacketSum = 3;
constexpr size_t kSubSequence = 7;
constexpr size_t kSubLenExp = 17;

unsigned char dataByte(const std::vector<unsigned char>& data, size_t i)
{
    return i < data.size() ? data[i] : 0;
}

unsigned int dataDword(const std::vector<unsigned char>& data, size_t i)
{
    return static_cast<unsigned int>(dataByte(data, i)) | static_cast<unsigned int>(dataByte(data, i + 1)) << 8 |
           static_cast<unsigned int>(dataByte(data, i + 2)) << 16 |
           static_cast<unsigned int>(dataByte(data, i + 3)) << 24;
}
}  // namespace

ProtoAnalyze3rd_Orvane::ProtoAnalyze3rd_Orvane() : ProtoBase(kProtoKey)
{
}

ProtoAnalyze3rd_Orvane::~ProtoAnalyze3rd_Orvane() = default;

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_ClientData(const unsigned long long& nHwMaxRecvLen,
                                                           const em_RequestType& type, void* request,
                                                           std::list<ST_MSGToHardDriver>& out,
                                                           const std::string& filePath,
                                                           const bool& bIsRegisterAddrSelfIncreasing)
{
    ZLOG(0, SIG_analyze_ClientData, "ProtoAnalyze3rd_Orvane begin.");
    auto* req = static_cast<INTER_ST::ThirdGenerationCommRequest_Data*>(request);
    em_ProtoAnalyze result = emProtoUnknownRequestVariant;
    switch (type)
    {
    case emRequestReadRegister:
        result = analyze_ReadRequest(nHwMaxRecvLen, req, out, bIsRegisterAddrSelfIncreasing);
        break;
    case emRequestWriteRegister:
        result = analyze_WriteRequest(nHwMaxRecvLen, req, out, bIsRegisterAddrSelfIncreasing);
        break;
    case emRequestReadFile:
        result = analyze_ReadFileRequest(nHwMaxRecvLen, filePath, req, out, bIsRegisterAddrSelfIncreasing);
        break;
    case emRequestWriteFile:
        result = analyze_WriteFileRequest(nHwMaxRecvLen, filePath, req, out, bIsRegisterAddrSelfIncreasing);
        break;
    default:
        ZLOG(3, SIG_analyze_ClientData, "em_RequestType: %d", static_cast<int>(type));
        break;
    }
    ZLOG(0, SIG_analyze_ClientData, "ProtoAnalyze3rd_Orvane end.");
    return result;
}

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_OnePackageRequst(const ST_RegisterAddrAndValid& pkg,
                                                                 INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                                 ST_MSGToHardDriver& msg)
{
    m_ucLabel = advancePacketLabel();
    if (request == nullptr)
    {
        return request_fields::rejectNull(SIG_analyze_OnePackageRequst);
    }
    const size_t length = pkg.validLen + frame::kVariantOverhead;
    const unsigned int code = request->readWriteCode;
    ZLOG(0, SIG_analyze_OnePackageRequst,
         "label[%d], datagramLength[%d], addrscr[0x%0x], scanBoardAddr[0x%0x], readWriteCode[%d], device type[%d].",
         static_cast<int>(m_ucLabel), static_cast<int>(length), pkg.registerAddr, scanBoardWord(request->scanBoardAddr),
         static_cast<int>(code), static_cast<int>(request->deviceType));
    if (code != emOperationRead && code != emOperationWrite)
    {
        ZLOG(3, SIG_analyze_OnePackageRequst, "error readWriteCode:%d", static_cast<int>(code));
        return emProtoBadReadWriteCode;
    }
    if (code == emOperationWrite && pkg.validLen > 0 && pkg.data.size() != pkg.validLen)
    {
        return request_fields::rejectDataSize(SIG_analyze_OnePackageRequst);
    }
    auto out = newRequestFrame(length, m_ucLabel, *request, pkg.registerAddr);
    std::string& f = *out;
    // The sub-header (and its extension bytes) leads the data area. The copy
    // is bounded by the frame and by the request's data.
    const size_t head =
        std::min({static_cast<size_t>(std::max(pkg.lenHead, 0)), length - frame::kData, request->data.size()});
    std::copy_n(request->data.begin(), head, f.begin() + frame::kData);
    if (code == emOperationRead)
    {
        frame::putWord(f, frame::kValidLength, (pkg.readLen + static_cast<unsigned int>(pkg.lenHead)) & 0xFFFF);
    }
    else
    {
        frame::putWord(f, frame::kValidLength, (pkg.validLen + static_cast<unsigned int>(pkg.lenHead)) & 0xFFFF);
        frame::putWord(f, frame::kVariantSubValidLen, pkg.validLen & 0xFFFF);
        f[frame::kVariantLenExp] = static_cast<char>(m_nLenExp);
        if (pkg.validLen > 0)
        {
            f.replace(frame::kVariantPayload, pkg.validLen, pkg.data);
        }
    }
    frame::putDword(f, frame::kVariantPacketSum, m_nSendCount);
    frame::putDword(f, frame::kVariantSequence, pkg.nPacketSequeseNum);
    storeCheckout(f);
    msg.protoKey = m_strProtoKey;
    msg.matchList = {{kReplyHeadKey, 0}, {std::to_string(m_ucLabel), kLabelPosition}};
    msg.frame = std::move(out);
    return emProtoSuccess;
}

int ProtoAnalyze3rd_Orvane::getPacketSumSequeseNum(const unsigned long long&,
                                                   INTER_ST::ThirdGenerationCommRequest_Data* request)
{
    if (request == nullptr)
    {
        return 0;
    }
    const unsigned int packetSum = dataDword(request->data, kSubPacketSum);
    const unsigned int sequence = dataDword(request->data, kSubSequence);
    ZLOG(0, SIG_getPacketSumSequeseNum, "getPacketSumSequeseNum: PacketSum:%d-PacketSequeseNum:%u",
         static_cast<int>(packetSum), sequence);
    m_nLenExp = dataByte(request->data, kSubLenExp);
    // The client numbers the packets of a transfer itself: with a packet sum
    // the counters start one short of it, so one reply completes this packet.
    if (packetSum >= 2)
    {
        m_nSendCount = packetSum;
        m_nAlreadyRecievedCount = packetSum - 1;
    }
    else
    {
        m_nSendCount = 1;
        m_nAlreadyRecievedCount = 0;
    }
    return 1;
}

unsigned int ProtoAnalyze3rd_Orvane::sequenceNumber(const INTER_ST::ThirdGenerationCommRequest_Data& request) const
{
    const unsigned int packetSum = dataDword(request.data, kSubPacketSum);
    const unsigned int sequence = dataDword(request.data, kSubSequence);
    return packetSum == 0 ? 0 : sequence;
}

bool ProtoAnalyze3rd_Orvane::checkSubHeader(const char* sig, const INTER_ST::ThirdGenerationCommRequest_Data* request,
                                            SubHeader& head, em_ProtoAnalyze& rejected, bool checkLength)
{
    if (!request_fields::checkRequest(sig, request, rejected))
    {
        return false;
    }
    if (checkLength && request->validLength == 0)
    {
        ZLOG(2, sig, "sizeValidLen == 0,operation result[%d]", static_cast<int>(emProtoBadLength));
        rejected = emProtoBadLength;
        return false;
    }
    if (request->data.size() < frame::kSubHeaderSize)
    {
        ZLOG(2, sig, "data shorter than sub-header,operation result[%d]", static_cast<int>(emProtoBadLength));
        rejected = emProtoBadLength;
        return false;
    }
    head.lenExp = request->data[kSubLenExp];
    head.lenHead = head.lenExp + static_cast<unsigned int>(frame::kSubHeaderSize);
    ZLOG(0, sig, "lenExplen [%d].  valiadLen  [%d]  ", static_cast<int>(head.lenExp),
         static_cast<int>(request->validLength));
    if (checkLength && request->validLength < head.lenHead)
    {
        ZLOG(2, sig, "valiadLen < lenHead,operation result[%d]", static_cast<int>(emProtoBadLength));
        rejected = emProtoBadLength;
        return false;
    }
    return true;
}

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_ReadRequest(const unsigned long long& nHwMaxRecvLen,
                                                            INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                            std::list<ST_MSGToHardDriver>& out, const bool&)
{
    return readRequest(SIG_analyze_ReadRequest, nHwMaxRecvLen, request, out, false);
}

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::readRequest(const char* sig, const unsigned long long& nHwMaxRecvLen,
                                                    INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                    std::list<ST_MSGToHardDriver>& out, bool logPacket)
{
    SubHeader head;
    em_ProtoAnalyze rejected = emProtoSuccess;
    if (!checkSubHeader(sig, request, head, rejected, true))
    {
        return rejected;
    }
    if (nHwMaxRecvLen < head.lenHead)
    {
        ZLOG(2, sig, "length < lenHead,operation result[%d]", static_cast<int>(emProtoBadLength));
        return emProtoBadLength;
    }
    if (request->data.size() < head.lenHead)
    {
        ZLOG(2, sig, "data shorter than sub-header,operation result[%d]", static_cast<int>(emProtoBadLength));
        return emProtoBadLength;
    }
    getPacketSumSequeseNum(nHwMaxRecvLen, request);
    const unsigned int addr = request_fields::startAddress(*request);
    // The variant reads in one packet: the client splits its transfers itself.
    ZLOG(0, sig, "register address[0x%0x], valid length[%d], size package[%d].", addr,
         static_cast<int>(request->validLength), 1);
    initReplyRecord(request);
    std::vector<ST_RegisterAddrAndValid> packets(1);
    ST_RegisterAddrAndValid& pkg = packets.front();
    pkg.nPacketSequeseNum = sequenceNumber(*request);
    pkg.lenHead = static_cast<int>(head.lenHead);
    pkg.readLen = static_cast<unsigned int>(request->validLength - head.lenHead);
    pkg.registerAddr = addr;
    pkg.validLen = head.lenExp;
    if (logPacket)
    {
        ZLOG(0, sig, "len:%d,register address[0x%0x].", static_cast<int>(pkg.readLen), pkg.registerAddr);
    }
    return request_fields::buildPackets(*this, sig, packets, request, out);
}

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_WriteRequest(const unsigned long long& nHwMaxRecvLen,
                                                             INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                             std::list<ST_MSGToHardDriver>& out,
                                                             const bool& bIsRegisterAddrSelfIncreasing)
{
    const char* const sig = SIG_analyze_WriteRequest;
    SubHeader head;
    em_ProtoAnalyze rejected = emProtoSuccess;
    if (!checkSubHeader(sig, request, head, rejected, true))
    {
        return rejected;
    }
    if (request->data.size() != request->validLength)
    {
        return request_fields::rejectDataSize(sig);
    }
    const std::vector<unsigned char>& data = request->data;
    size_t index = head.lenHead;
    return writePackets(sig, nHwMaxRecvLen, request, out, bIsRegisterAddrSelfIncreasing, head,
                        request->validLength - head.lenHead, [&](std::string& into, size_t count) {
                            into.append(reinterpret_cast<const char*>(data.data()) + index, count);
                            index += count;
                            return emProtoSuccess;
                        });
}

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::writePackets(const char* sig, unsigned long long nHwMaxRecvLen,
                                                     INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                     std::list<ST_MSGToHardDriver>& out, bool selfIncreasing,
                                                     const SubHeader& head, unsigned long long payload,
                                                     const PayloadSource& source)
{
    // Every packet repeats the sub-header and its extension, so each carries
    // at most nHwMaxRecvLen - lenHead payload bytes.
    if (nHwMaxRecvLen < head.lenHead || (payload != 0 && nHwMaxRecvLen == head.lenHead))
    {
        ZLOG(2, sig, "length < lenHead,operation result[%d]", static_cast<int>(emProtoBadLength));
        return emProtoBadLength;
    }
    const PacketPlan plan(payload, nHwMaxRecvLen - head.lenHead);
    const unsigned long long count = payload == 0 ? 1 : plan.count();
    getPacketSumSequeseNum(nHwMaxRecvLen, request);
    unsigned int addr = request_fields::startAddress(*request);
    ZLOG(0, sig, "register address[0x%0x], valid length[%d], size package[%d].", addr,
         static_cast<int>(payload + head.lenHead), static_cast<int>(count));
    initReplyRecord(request);
    std::vector<ST_RegisterAddrAndValid> packets(static_cast<size_t>(count));
    for (size_t i = 0; i < packets.size(); ++i)
    {
        ST_RegisterAddrAndValid& pkg = packets[i];
        const unsigned int chunk = payload == 0 ? 0 : static_cast<unsigned int>(plan.chunk(i));
        pkg.nPacketSequeseNum = sequenceNumber(*request);
        pkg.lenHead = static_cast<int>(head.lenHead);
        pkg.registerAddr = addr;
        pkg.validLen = head.lenExp + chunk;
        ZLOG(0, sig, "len:%u,register address[0x%0x], index[%d]", pkg.validLen, pkg.registerAddr, static_cast<int>(i));
        if (selfIncreasing)
        {
            addr += chunk;
        }
    }
    const std::vector<unsigned char>& data = request->data;
    return request_fields::buildWritePackets(*this, sig, packets, request, out, [&](std::string& into, size_t count) {
        // The extension bytes lead each packet's data, then its payload.
        into.assign(reinterpret_cast<const char*>(data.data()) + frame::kSubHeaderSize, head.lenExp);
        return source(into, count - head.lenExp);
    });
}
