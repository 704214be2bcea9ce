// The variant analyzer: requests become 38-byte-overhead frames whose data
// area opens with the request's 18-byte sub-header, with a two-entry
// expected-reply list (head, label); the client numbers the packets of a
// transfer itself, so one reply completes a request. Replies are checked and
// gathered into the reply record (no output file); pushed reports are decoded
// and acknowledged with a 38-byte frame.
#include "ProtoAnalyze3rd_Orvane.h"

#include "RequestPackets.h"
#include "log/LogCall.h"
#include "log/LogSignature.h"
#include "protobase/FrameCodec.h"

#include <algorithm>

// ---- Constants and signature texts ----------------------------------------

namespace
{
#define SIG_CLASS "ProtoAnalyze3rd_Orvane::"
ZSIG_ANALYZER_OPERATIONS(SIG_CLASS);
const char* const SIG_getPacketSumSequeseNum =
    "int __cdecl " SIG_CLASS "getPacketSumSequeseNum(const unsigned __int64 &," ZSIG_REQUEST_PTR ")";
const char* const SIG_analyze_DeviceReportPushData = ZSIG_RESULT SIG_CLASS
    "analyze_DeviceReportPushData(" ZSIG_REPORT_VECTOR " &,const " ZSIG_STRING " &,unsigned __int64 &)";
const char* const SIG_getResponseDataFromDeviceReport =
    "void __cdecl " SIG_CLASS "getResponseDataFromDeviceReport(const " ZSIG_STRING " &,unsigned char," ZSIG_STRING_PTR
    ")";
#undef SIG_CLASS

const char* const kReplyHeadKey = "AA55";
constexpr int kLabelPosition = 3;
// The name an unknown read/write code is logged under.
const char* const kCodeName = "readWriteCode";
constexpr size_t kFrameOverhead = frame::kVariantOverhead;
// A wrong checksum gives 10, a wrong label 19 at once; a missing head logs the
// key's bytes too.
const PackageCheckRules kPackageCheck{emProtoFrameShort, "", ":", true, true};

// Reply data bytes 11 and 12: a device argument logged with every reply.
constexpr size_t kArgLowIndex = 11;
constexpr size_t kArgHighIndex = 12;
}  // namespace

using namespace request_packets;

// ---- Dispatch ------------------------------------------------------------------

ProtoAnalyze3rd_Orvane::ProtoAnalyze3rd_Orvane() : ProtoBase(kOrvaneProtoKey)
{
}

ProtoAnalyze3rd_Orvane::~ProtoAnalyze3rd_Orvane() = default;

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_ClientData(const unsigned long long& nHwMaxRecvLen,
                                                           const em_RequestType& type, void* request,
                                                           std::list<ST_MSGToHardDriver>& out,
                                                           const std::string& filePath,
                                                           const bool& bIsRegisterAddrSelfIncreasing)
{
    ZLOG(TRACE, SIG_analyze_ClientData, "ProtoAnalyze3rd_Orvane begin.");
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
        ZLOG(WARN, SIG_analyze_ClientData, "em_RequestType: %d", static_cast<int>(type));
        break;
    }
    ZLOG(TRACE, SIG_analyze_ClientData, "ProtoAnalyze3rd_Orvane end.");
    return result;
}

// ---- Register requests ------------------------------------------------------------

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_ReadRequest(const unsigned long long& nHwMaxRecvLen,
                                                            INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                            std::list<ST_MSGToHardDriver>& out, const bool&)
{
    return readRequest(SIG_analyze_ReadRequest, nHwMaxRecvLen, request, out, nullptr);
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
        return rejectDataSize(sig);
    }
    PacketSource source(frame::bytesOf(request->data).substr(head.lenHead));
    return writePackets(sig, nHwMaxRecvLen, request, out, bIsRegisterAddrSelfIncreasing, head,
                        request->validLength - head.lenHead, source, true);
}

int ProtoAnalyze3rd_Orvane::getPacketSumSequeseNum(const unsigned long long&,
                                                   INTER_ST::ThirdGenerationCommRequest_Data* request)
{
    if (request == nullptr)
    {
        return 0;
    }
    const frame::SubHeader sub = frame::readSubHeader(frame::bytesOf(request->data));
    ZLOG(TRACE, SIG_getPacketSumSequeseNum, "getPacketSumSequeseNum: PacketSum:%d-PacketSequeseNum:%u",
         static_cast<int>(sub.packetSum), sub.sequence);
    m_nLenExp = sub.lenExp;
    // The client numbers the packets of a transfer itself: with a packet sum
    // the counters start one short of it, so one reply completes this packet.
    if (sub.packetSum >= 2)
    {
        m_nSendCount = sub.packetSum;
        m_nAlreadyRecievedCount = sub.packetSum - 1;
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
    const frame::SubHeader sub = frame::readSubHeader(frame::bytesOf(request.data));
    return sub.packetSum == 0 ? 0 : sub.sequence;
}

bool ProtoAnalyze3rd_Orvane::checkSubHeader(const char* sig, const INTER_ST::ThirdGenerationCommRequest_Data* request,
                                            SubHeader& head, em_ProtoAnalyze& rejected, bool checkLength)
{
    if (!checkRequest(sig, request, rejected))
    {
        return false;
    }
    if (checkLength && request->validLength == 0)
    {
        ZLOG(INFO, sig, "sizeValidLen == 0,operation result[%d]", static_cast<int>(emProtoBadLength));
        rejected = emProtoBadLength;
        return false;
    }
    if (request->data.size() < frame::kSubHeaderSize)
    {
        ZLOG(INFO, sig, "data shorter than sub-header,operation result[%d]", static_cast<int>(emProtoBadLength));
        rejected = emProtoBadLength;
        return false;
    }
    head.lenExp = frame::readSubHeader(frame::bytesOf(request->data)).lenExp;
    head.lenHead = head.lenExp + static_cast<unsigned int>(frame::kSubHeaderSize);
    ZLOG(TRACE, sig, "lenExplen [%d].  valiadLen  [%d]  ", static_cast<int>(head.lenExp),
         static_cast<int>(request->validLength));
    if (checkLength && request->validLength < head.lenHead)
    {
        ZLOG(INFO, sig, "valiadLen < lenHead,operation result[%d]", static_cast<int>(emProtoBadLength));
        rejected = emProtoBadLength;
        return false;
    }
    return true;
}

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::readRequest(const char* sig, const unsigned long long& nHwMaxRecvLen,
                                                    INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                    std::list<ST_MSGToHardDriver>& out, const std::string* outputFile)
{
    SubHeader head;
    em_ProtoAnalyze rejected = emProtoSuccess;
    if (!checkSubHeader(sig, request, head, rejected, true))
    {
        return rejected;
    }
    if (nHwMaxRecvLen < head.lenHead)
    {
        ZLOG(INFO, sig, "length < lenHead,operation result[%d]", static_cast<int>(emProtoBadLength));
        return emProtoBadLength;
    }
    if (request->data.size() < head.lenHead)
    {
        ZLOG(INFO, sig, "data shorter than sub-header,operation result[%d]", static_cast<int>(emProtoBadLength));
        return emProtoBadLength;
    }
    if (outputFile != nullptr)
    {
        m_strFilePath = *outputFile;
        startOutputFile(sig, *outputFile);
    }
    getPacketSumSequeseNum(nHwMaxRecvLen, request);
    const unsigned int addr = startAddress(*request);
    // The variant reads in one packet: the client splits its transfers itself.
    ZLOG(TRACE, sig, "register address[0x%0x], valid length[%d], size package[%d].", addr,
         static_cast<int>(request->validLength), 1);
    initReplyRecord(request);
    std::vector<ST_RegisterAddrAndValid> packets(1);
    ST_RegisterAddrAndValid& pkg = packets.front();
    pkg.nPacketSequeseNum = sequenceNumber(*request);
    pkg.lenHead = static_cast<int>(head.lenHead);
    pkg.readLen = static_cast<unsigned int>(request->validLength - head.lenHead);
    pkg.registerAddr = addr;
    pkg.validLen = head.lenExp;
    return buildPackets(*this, sig, packets, request, out);
}

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::writePackets(const char* sig, unsigned long long nHwMaxRecvLen,
                                                     INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                     std::list<ST_MSGToHardDriver>& out, bool selfIncreasing,
                                                     const SubHeader& head, unsigned long long payload,
                                                     PacketSource& source, bool logLength)
{
    // Every packet repeats the sub-header and its extension, so each carries
    // at most nHwMaxRecvLen - lenHead payload bytes.
    if (nHwMaxRecvLen < head.lenHead || (payload != 0 && nHwMaxRecvLen == head.lenHead))
    {
        ZLOG(INFO, sig, "length < lenHead,operation result[%d]", static_cast<int>(emProtoBadLength));
        return emProtoBadLength;
    }
    const PacketPlan plan(payload, nHwMaxRecvLen - head.lenHead);
    const unsigned long long count = payload == 0 ? 1 : plan.count();
    getPacketSumSequeseNum(nHwMaxRecvLen, request);
    unsigned int addr = startAddress(*request);
    ZLOG(TRACE, sig, "register address[0x%0x], valid length[%d], size package[%d].", addr,
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
        if (logLength)
        {
            ZLOG(TRACE, sig, "len:%u,register address[0x%0x], index[%d]", pkg.validLen, pkg.registerAddr,
                 static_cast<int>(i));
        }
        else
        {
            ZLOG(TRACE, sig, "register address[0x%0x], index[%d]", pkg.registerAddr, static_cast<int>(i));
        }
        if (selfIncreasing)
        {
            addr += chunk;
        }
    }
    // The extension bytes lead each packet's data, then its payload.
    const std::string_view extension = frame::bytesOf(request->data).substr(frame::kSubHeaderSize, head.lenExp);
    return buildPackets(*this, sig, packets, request, out, &source, extension);
}

// ---- File requests ------------------------------------------------------------------

// The variant's reply analysis writes no file, so a file read differs from a
// register read only in naming the output path and starting it afresh.
em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_ReadFileRequest(const unsigned long long& nHwMaxRecvLen,
                                                                const std::string& filePath,
                                                                INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                                std::list<ST_MSGToHardDriver>& out, const bool&)
{
    return readRequest(SIG_analyze_ReadFileRequest, nHwMaxRecvLen, request, out, &filePath);
}

// A file write sends a local file's bytes, read one packet at a time, behind
// the request's sub-header; the payload's length is the file's, the request's
// valid length is not used.
em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_WriteFileRequest(const unsigned long long& nHwMaxRecvLen,
                                                                 const std::string& filePath,
                                                                 INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                                 std::list<ST_MSGToHardDriver>& out,
                                                                 const bool& bIsRegisterAddrSelfIncreasing)
{
    const char* const sig = SIG_analyze_WriteFileRequest;
    SubHeader head;
    em_ProtoAnalyze rejected = emProtoSuccess;
    if (!checkSubHeader(sig, request, head, rejected, false))
    {
        return rejected;
    }
    if (request->data.size() < head.lenHead)
    {
        ZLOG(INFO, sig, "data shorter than sub-header,operation result[%d]", static_cast<int>(emProtoBadLength));
        return emProtoBadLength;
    }
    m_strFilePath = filePath;
    PacketSource source(filePath);
    if (!source.isOpen())
    {
        ZLOG(WARN, sig, "open file failed , file path is [%s].", filePath.c_str());
        return emProtoFileOpenFailed;
    }
    const long long size = source.size();
    if (size <= 0)
    {
        ZLOG(INFO, sig, "valiadLen == 0");
        return emProtoBadLength;
    }
    const unsigned int addr = startAddress(*request);
    const unsigned long long perPacket = nHwMaxRecvLen > head.lenHead ? nHwMaxRecvLen - head.lenHead : 0;
    const PacketPlan plan(static_cast<unsigned long long>(size), perPacket);
    ZLOG(TRACE, sig,
         " registerbase[0x%0x], MaxDataLengthPerPacket:[%u],nStreamOffSet(file totalsize):[%u],sizepackage[%u].", addr,
         static_cast<unsigned int>(nHwMaxRecvLen), static_cast<unsigned int>(size),
         static_cast<unsigned int>(plan.count()));
    return writePackets(sig, nHwMaxRecvLen, request, out, bIsRegisterAddrSelfIncreasing, head,
                        static_cast<unsigned long long>(size), source, false);
}

// ---- One packet -------------------------------------------------------------------------

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_OnePackageRequst(const ST_RegisterAddrAndValid& pkg,
                                                                 INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                                 ST_MSGToHardDriver& msg)
{
    return buildOnePacket(pkg, {}, pkg.data, request, msg);
}

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::buildOnePacket(const ST_RegisterAddrAndValid& pkg, std::string_view lead,
                                                       std::string_view data,
                                                       INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                       ST_MSGToHardDriver& msg)
{
    std::shared_ptr<std::string> out;
    const em_ProtoAnalyze begun =
        beginRequestFrame(SIG_analyze_OnePackageRequst, pkg, request, kFrameOverhead, kCodeName, m_ucLabel, out);
    if (begun != emProtoSuccess)
    {
        return begun;
    }
    std::string& f = *out;
    const size_t length = static_cast<size_t>(pkg.validLen) + kFrameOverhead;
    // The sub-header (and its extension bytes) leads the data area. The copy
    // is bounded by the frame and by the request's data.
    const size_t head =
        std::min({static_cast<size_t>(std::max(pkg.lenHead, 0)), length - frame::kData, request->data.size()});
    const std::string_view requestHead = frame::bytesOf(request->data).substr(0, head);
    const bool payload = request->readWriteCode != emOperationRead && pkg.validLen > 0;
    if (payload)
    {
        // The packet's data fills the payload area, whatever its length: data
        // of another length than validLen changes the frame's length. What the
        // sub-header copy wrote there is replaced.
        f.append(requestHead.substr(0, frame::kSubHeaderSize));
        f.append(frame::kVariantPayload - f.size(), '\0');
        f.append(lead);
        f.append(data);
        f.append(frame::kChecksumSize, '\0');
    }
    else
    {
        f.append(requestHead);
        f.append(length - f.size(), '\0');
    }
    if (request->readWriteCode == emOperationRead)
    {
        frame::putWord(f, frame::kValidLength, (pkg.readLen + static_cast<unsigned int>(pkg.lenHead)) & 0xFFFF);
    }
    else
    {
        frame::putWord(f, frame::kValidLength, (pkg.validLen + static_cast<unsigned int>(pkg.lenHead)) & 0xFFFF);
        frame::putWord(f, frame::kVariantSubValidLen, pkg.validLen & 0xFFFF);
        f[frame::kVariantLenExp] = static_cast<char>(m_nLenExp);
    }
    frame::putDword(f, frame::kVariantPacketSum, m_nSendCount);
    frame::putDword(f, frame::kVariantSequence, pkg.nPacketSequeseNum);
    storeCheckout(f, length);
    msg.protoKey = m_strProtoKey;
    msg.matchList.clear();
    msg.matchList.reserve(2);
    msg.matchList.push_back({kReplyHeadKey, 0});
    msg.matchList.push_back({std::to_string(m_ucLabel), kLabelPosition});
    msg.frame = std::move(out);
    return emProtoSuccess;
}

// ---- Reply driver ------------------------------------------------------------------------

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_DeviceData(const em_RequestType& type, const std::string& protoBuffer,
                                                           const ST_MSGToHardDriverMatch& match, int& offset)
{
    const char* const sig = SIG_analyze_DeviceData;
    ZLOG(TRACE, sig, "analyze_DeviceData-type:%d,protoBuffer.size:%d-offset:%d", static_cast<int>(type),
         static_cast<int>(protoBuffer.size()), offset);
    const std::vector<ST_MSGToHardDriverMatchOne>& matchList = match.matchList;
    if (matchList.size() < 2)
    {
        return emProtoShortMatchList;
    }
    readReplyKeys(matchList);
    const bool found = findPackages(protoBuffer, matchList, offset);
    const std::vector<std::string_view>& packages = m_packages;
    ZLOG(TRACE, sig, "findPackageList result[%d], offset[%d], strPackageVec[%d].", found ? 1 : 0, offset,
         static_cast<int>(packages.size()));
    if (!found)
    {
        return emProtoNoPackage;
    }
    for (const std::string_view package : packages)
    {
        const bool labelFound =
            labelAtWantedPosition(package, matchList[1].posWanted, static_cast<unsigned char>(m_replyKeys.label));
        ZLOG(TRACE, sig, "find package list bFind[%d], type[%d], buffer size[%d], match size[%d], offset[%d].",
             labelFound ? 1 : 0, static_cast<int>(type), static_cast<int>(protoBuffer.size()),
             static_cast<int>(matchList.size()), offset);
        if (!labelFound)
        {
            ZLOG(WARN, sig, "err when analyze common package result[%d], offset[%d].", 0, offset);
            continue;
        }
        const em_ProtoAnalyze result = analyzePackage(package, matchList, type, offset);
        // bRet is logged as the constant 0: no flag is carried there.
        ZLOG(TRACE, sig, "analyze common package opeResTmp[%d],bRet[%d], offset[%d].", static_cast<int>(result), 0,
             offset);
        if (result == emProtoSuccess)
        {
            return emProtoSuccess;
        }
        ZLOG(WARN, sig, "analyzeDeviceData_ByCommonProtocol has error!");
    }
    return emProtoNoPackage;
}

bool ProtoAnalyze3rd_Orvane::isLabelAtWantedPosition(const std::string& package,
                                                     const ST_MSGToHardDriverMatchOne& matchOne)
{
    const auto label = static_cast<unsigned char>(std::atoi(matchOne.key.c_str()));  // NOLINT(cert-err34-c)
    return labelAtWantedPosition(package, matchOne.posWanted, label);
}

bool ProtoAnalyze3rd_Orvane::labelAtWantedPosition(std::string_view package, int posWanted, unsigned char label)
{
    if (posWanted < 0 || static_cast<size_t>(posWanted) >= package.size())
    {
        return false;
    }
    return static_cast<unsigned char>(package[static_cast<size_t>(posWanted)]) == label;
}

// ---- Package check -------------------------------------------------------------------------

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyzeDeviceData_ByCommonProtocol(
    const std::string& package, const std::vector<ST_MSGToHardDriverMatchOne>& matchList, const em_RequestType& type,
    int& offset)
{
    readReplyKeys(matchList);
    return analyzePackage(package, matchList, type, offset);
}

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyzePackage(std::string_view package,
                                                       const std::vector<ST_MSGToHardDriverMatchOne>& matchList,
                                                       const em_RequestType& type, int& offset)
{
    const char* const sig = SIG_analyzeDeviceData_ByCommonProtocol;
    const em_ProtoAnalyze checked = checkReplyPackage(sig, package, matchList, type, offset, kPackageCheck);
    if (checked != emProtoSuccess)
    {
        return checked;
    }
    ++m_nAlreadyRecievedCount;
    const unsigned int validDataLength = frame::declaredLength(package);
    // Byte 10 is read as a signed byte: 0xFF logs as -1.
    // NOLINTNEXTLINE(bugprone-signed-char-misuse)
    const int code = static_cast<signed char>(frame::byteAt(package, frame::kReadWriteCode));
    // Every package's data is appended, whatever its read/write code; the
    // counter holds how many bytes this package gave.
    m_nDataCount = static_cast<int>(appendReplyData(package, validDataLength));
    const std::vector<unsigned char>& data = m_replyRecord->data;
    if (data.size() > kArgHighIndex)
    {
        // Each byte is read as a signed char, so 0x80 and above print
        // sign-extended (FFFFFF80): kept by design.
        ZLOG(TRACE, sig, "\n Arg1:%02X%02X\n", static_cast<unsigned int>(static_cast<signed char>(data[kArgHighIndex])),
             static_cast<unsigned int>(static_cast<signed char>(data[kArgLowIndex])));
    }
    // The length becomes the last package's byte count alone, although the
    // data holds every package of the transfer: kept as it stands.
    if (m_nAlreadyRecievedCount == m_nSendCount)
    {
        m_replyRecord->validDataLength = static_cast<unsigned int>(m_nDataCount);
        m_nDataCount = 0;
    }
    ZLOG(TRACE, sig, "operation code[%d], validDataLength[%d], recv count[%d], send count[%d], ack[%d]", code,
         static_cast<int>(validDataLength), static_cast<int>(m_nAlreadyRecievedCount), static_cast<int>(m_nSendCount),
         static_cast<int>(m_replyRecord->ack));
    return emProtoSuccess;
}

// ---- Push ------------------------------------------------------------------------------------

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_DeviceReportPushData(
    std::vector<ST_DeviceAutoReportResponseInfo>& reports, const std::string& buffer, unsigned long long& offset)
{
    const char* const sig = SIG_analyze_DeviceReportPushData;
    // Packet sum and sequence number are read from the buffer's start whatever
    // the offset; bytes a short buffer lacks read as zero.
    const frame::SubHeader sub = frame::frameSubHeader(buffer);
    // The text has two blanks after "recv a" and a full-width comma (U+FF0C).
    ZLOG(DEBUG, sig,
         "recv a  auto report package!"
         "\xEF\xBC\x8C"
         "nPacketSum =%d,nPacketSequeseNum:%d",
         static_cast<int>(sub.packetSum), static_cast<int>(sub.sequence));
    if (sub.packetSum == 1 && sub.sequence >= 1)
    {
        ZLOG(WARN, sig, "recv a error auto report package!");
    }
    if (sub.packetSum == 0)
    {
        ZLOG(WARN, sig, "recv a error auto report package !");
    }
    const std::string_view package =
        offset < buffer.size() ? std::string_view(buffer).substr(static_cast<size_t>(offset)) : std::string_view();
    if (frame::byteAt(buffer, frame::kAck) != 0)
    {
        ZLOG(WARN, sig, "ack != 0 !");
    }
    // The length is read at offset + 16 of the package, which itself starts at
    // offset: for a non-zero offset that is buffer index 2*offset + 16. Kept as
    // the devices' peers expect it; both readings agree at offset 0.
    const size_t lengthAt = offset < buffer.size() ? static_cast<size_t>(offset) + frame::kValidLength : buffer.size();
    const unsigned int validDataLength = frame::wordAt(package, lengthAt);

    auto record = std::make_shared<INTER_ST::ThirdGenerationCommResponse_Data>();
    copyHeader(package, *record);
    record->validDataLength = validDataLength;
    // A declared length that runs past the package stops at its end.
    const std::string_view data = frame::slice(package, frame::kData, validDataLength);
    const std::string_view checkout = frame::slice(package, frame::kData + validDataLength, frame::kChecksumSize);
    record->data.assign(data.begin(), data.end());
    record->checkout.assign(checkout.begin(), checkout.end());

    ST_DeviceAutoReportResponseInfo info;
    info.response = record;
    info.answer = std::make_shared<std::string>();
    getResponseDataFromDeviceReport(std::string(package), 0, info.answer);
    reports.push_back(std::move(info));

    offset += validDataLength + frame::kOverhead;
    ZLOG(TRACE, sig, "operation emCode[%d], nLen:[%d], nOffSet[%d],recv nDataIndex",
         static_cast<int>(static_cast<signed char>(record->readWriteCode)), static_cast<int>(validDataLength),
         static_cast<int>(offset));
    return emProtoSuccess;
}

void ProtoAnalyze3rd_Orvane::getResponseDataFromDeviceReport(const std::string& package, unsigned char flag,
                                                             std::shared_ptr<std::string> answer)
{
    writeAcknowledgement(SIG_getResponseDataFromDeviceReport, package, flag, answer.get(), true);
}
