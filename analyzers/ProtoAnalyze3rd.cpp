// The standard analyzer: requests become 20-byte-overhead frames with a
// three-entry expected-reply list (head, label, checksum); replies are
// checked, counted and gathered into the reply record and, for a file read,
// into the output file. Standard devices push no reports.
#include "ProtoAnalyze3rd.h"

#include "RequestPackets.h"
#include "log/LogCall.h"
#include "log/LogSignature.h"
#include "protobase/FrameCodec.h"

#include <cerrno>

// ---- Constants and signature texts ----------------------------------------

namespace
{
#define SIG_CLASS "ProtoAnalyze3rd::"
#define SIG_FILE_PARAMS \
    "(const unsigned __int64 &,const " ZSIG_STRING " &," ZSIG_REQUEST_PTR "," ZSIG_MSG_LIST " &,const bool &)"
const char* const SIG_analyze_ClientData = ZSIG_RESULT SIG_CLASS
    "analyze_ClientData(const unsigned __int64 &,const enum em_RequestType &,void *," ZSIG_MSG_LIST
    " &,const " ZSIG_STRING " &,const bool &)";
const char* const SIG_analyze_ReadRequest = ZSIG_RESULT SIG_CLASS
    "analyze_ReadRequest(const unsigned __int64 &," ZSIG_REQUEST_PTR "," ZSIG_MSG_LIST " &,const bool &)";
const char* const SIG_analyze_WriteRequest = ZSIG_RESULT SIG_CLASS
    "analyze_WriteRequest(const unsigned __int64 &," ZSIG_REQUEST_PTR "," ZSIG_MSG_LIST " &,const bool &)";
const char* const SIG_analyze_ReadFileRequest = ZSIG_RESULT SIG_CLASS "analyze_ReadFileRequest" SIG_FILE_PARAMS;
const char* const SIG_analyze_WriteFileRequest = ZSIG_RESULT SIG_CLASS "analyze_WriteFileRequest" SIG_FILE_PARAMS;
const char* const SIG_analyze_OnePackageRequst = ZSIG_RESULT SIG_CLASS
    "analyze_OnePackageRequst(const struct ST_RegisterAddrAndValid &," ZSIG_REQUEST_PTR ",struct ST_MSGToHardDriver &)";
const char* const SIG_analyze_DeviceData =
    ZSIG_RESULT SIG_CLASS "analyze_DeviceData(const enum em_RequestType &,const " ZSIG_STRING
                          " &,const struct ST_MSGToHardDriverMatch &,int &)";
const char* const SIG_analyzeDeviceData_ByCommonProtocol =
    ZSIG_RESULT SIG_CLASS "analyzeDeviceData_ByCommonProtocol(const " ZSIG_STRING " &,const " ZSIG_MATCH_VECTOR
                          " &,const enum em_RequestType &,int &)";
#undef SIG_FILE_PARAMS
#undef SIG_CLASS

const char* const kReplyHeadKey = "AA55";
constexpr int kLabelPosition = 3;
constexpr size_t kFrameOverhead = frame::kOverhead;
}  // namespace

using namespace request_packets;

// ---- Dispatch ------------------------------------------------------------------

ProtoAnalyze3rd::ProtoAnalyze3rd() : ProtoBase(kStandardProtoKey)
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
        ZLOG(WARN, SIG_analyze_ClientData, "em_RequestType :%d is unknown !", static_cast<int>(type));
        return emProtoUnknownRequest;
    }
}

// ---- Register requests ------------------------------------------------------------

em_ProtoAnalyze ProtoAnalyze3rd::analyze_ReadRequest(const unsigned long long& nHwMaxRecvLen,
                                                     INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                     std::list<ST_MSGToHardDriver>& out,
                                                     const bool& bIsRegisterAddrSelfIncreasing)
{
    const char* const sig = SIG_analyze_ReadRequest;
    em_ProtoAnalyze rejected = emProtoSuccess;
    if (!checkRead(sig, request, nHwMaxRecvLen, rejected))
    {
        return rejected;
    }
    const unsigned long long len = request->validLength;
    const unsigned int addr = startAddress(*request);
    const PacketPlan plan(len, nHwMaxRecvLen);
    m_nSendCount = plan.count();
    m_nAlreadyRecievedCount = 0;
    ZLOG(TRACE, sig,
         "register address[0x%0x], valid length[%d], size package[%d],bIsRegisterAddrSelfIncreasing(bool):%d", addr,
         static_cast<int>(len), static_cast<int>(plan.count()), bIsRegisterAddrSelfIncreasing ? 1 : 0);
    initReplyRecord(request);
    return buildPackets(*this, sig, planReads(sig, plan, addr, bIsRegisterAddrSelfIncreasing), request, out);
}

em_ProtoAnalyze ProtoAnalyze3rd::analyze_WriteRequest(const unsigned long long& nHwMaxRecvLen,
                                                      INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                      std::list<ST_MSGToHardDriver>& out,
                                                      const bool& bIsRegisterAddrSelfIncreasing)
{
    const char* const sig = SIG_analyze_WriteRequest;
    em_ProtoAnalyze rejected = emProtoSuccess;
    if (!checkWrite(sig, request, nHwMaxRecvLen, rejected))
    {
        return rejected;
    }
    const unsigned long long len = request->validLength;
    const unsigned int addr = startAddress(*request);
    const PacketPlan plan(len, nHwMaxRecvLen);
    m_nSendCount = plan.count();
    m_nAlreadyRecievedCount = 0;
    initReplyRecord(request);
    ZLOG(TRACE, sig,
         " write data ,register address[0x%0x], valid length[%d], size package[%d],bIsRegisterAddrSelfIncreasing[%d].",
         addr, static_cast<int>(len), static_cast<int>(plan.count()), bIsRegisterAddrSelfIncreasing ? 1 : 0);
    const auto packets = planWrites(sig, plan, addr, bIsRegisterAddrSelfIncreasing, plan.count() > 1);
    PacketSource source(frame::bytesOf(request->data));
    return buildPackets(*this, sig, packets, request, out, &source);
}

// ---- File requests ------------------------------------------------------------------

// A file read is a register read whose replies the reply analysis appends to
// a local file.
em_ProtoAnalyze ProtoAnalyze3rd::analyze_ReadFileRequest(const unsigned long long& nHwMaxRecvLen,
                                                         const std::string& filePath,
                                                         INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                         std::list<ST_MSGToHardDriver>& out,
                                                         const bool& bIsRegisterAddrSelfIncreasing)
{
    const char* const sig = SIG_analyze_ReadFileRequest;
    em_ProtoAnalyze rejected = emProtoSuccess;
    if (!checkRead(sig, request, nHwMaxRecvLen, rejected))
    {
        return rejected;
    }
    // A transfer that never completed may still hold the last output file open.
    if (m_ofsFile.is_open())
    {
        m_ofsFile.close();
    }
    m_ofsFile.clear();
    m_strFilePath = filePath;
    startOutputFile(sig, filePath);
    const unsigned long long len = request->validLength;
    const unsigned int addr = startAddress(*request);
    const PacketPlan plan(len, nHwMaxRecvLen);
    m_nSendCount = plan.count();
    m_nAlreadyRecievedCount = 0;
    ZLOG(TRACE, sig, "register address[0x%0x], valid length[%d], size package[%d].", addr, static_cast<int>(len),
         static_cast<int>(plan.count()));
    initReplyRecord(request);
    return buildPackets(*this, sig, planReads(sig, plan, addr, bIsRegisterAddrSelfIncreasing), request, out);
}

// A file write sends a local file's bytes as register write data, read one
// packet at a time.
em_ProtoAnalyze ProtoAnalyze3rd::analyze_WriteFileRequest(const unsigned long long& nHwMaxRecvLen,
                                                          const std::string& filePath,
                                                          INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                          std::list<ST_MSGToHardDriver>& out,
                                                          const bool& bIsRegisterAddrSelfIncreasing)
{
    const char* const sig = SIG_analyze_WriteFileRequest;
    em_ProtoAnalyze rejected = emProtoSuccess;
    if (!checkRequest(sig, request, rejected) || !checkMaxRecvLen(sig, nHwMaxRecvLen, rejected))
    {
        return rejected;
    }
    m_strFilePath = filePath;
    errno = 0;
    PacketSource source(filePath);
    if (!source.isOpen())
    {
        ZLOG(WARN, sig, "open file failed , file path is [%s]. exception code :  %d ", filePath.c_str(), errno);
        return emProtoFileOpenFailed;
    }
    const long long size = source.size();
    if (size <= 0)
    {
        ZLOG(INFO, sig, "valiadLen == 0");
        return emProtoBadLength;
    }
    const unsigned int addr = startAddress(*request);
    const PacketPlan plan(static_cast<unsigned long long>(size), nHwMaxRecvLen);
    m_nSendCount = plan.count();
    m_nAlreadyRecievedCount = 0;
    initReplyRecord(request);
    ZLOG(TRACE, sig,
         " registerbase[0x%0x], MaxDataLengthPerPacket:[%d],nStreamOffSet(file totalsize):[%d],sizepackage[%d].", addr,
         static_cast<int>(nHwMaxRecvLen), static_cast<int>(size), static_cast<int>(plan.count()));
    const auto packets = planWrites(sig, plan, addr, bIsRegisterAddrSelfIncreasing, true);
    return buildPackets(*this, sig, packets, request, out, &source);
}

// ---- One packet -------------------------------------------------------------------------

em_ProtoAnalyze ProtoAnalyze3rd::analyze_OnePackageRequst(const ST_RegisterAddrAndValid& pkg,
                                                          INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                          ST_MSGToHardDriver& msg)
{
    const char* const sig = SIG_analyze_OnePackageRequst;
    m_ucLabel = advancePacketLabel();
    if (request == nullptr)
    {
        return rejectNull(sig);
    }
    const size_t length = pkg.validLen + kFrameOverhead;
    const unsigned int code = request->readWriteCode;
    ZLOG(TRACE, sig,
         "label[%d], datagramLength[%d], addrscr[0x%0x], scanBoardAddr[0x%0x], readWriteCode[%d], device type[%d].",
         static_cast<int>(m_ucLabel), static_cast<int>(length), pkg.registerAddr, scanBoardWord(request->scanBoardAddr),
         static_cast<int>(code), static_cast<int>(request->deviceType));
    if (code != emOperationRead && code != emOperationWrite)
    {
        ZLOG(WARN, sig, "error em_OperationCodeType:%d", static_cast<int>(code));
        return emProtoBadReadWriteCode;
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
        // The packet's data replaces the data area (string replace: data of
        // another length than validLen changes the frame's length).
        if (pkg.validLen > 0)
        {
            f.replace(frame::kData, pkg.validLen, pkg.data);
        }
    }
    const unsigned int sum = storeCheckout(f);
    msg.protoKey = m_strProtoKey;
    // The checksum entry holds the full 32-bit sum, not cut to 16 bits.
    msg.matchList = {{kReplyHeadKey, 0},
                     {std::to_string(m_ucLabel), kLabelPosition},
                     {std::to_string(sum), static_cast<int>(length - 2)}};
    msg.frame = std::move(out);
    return emProtoSuccess;
}

// ---- Reply driver ------------------------------------------------------------------------

em_ProtoAnalyze ProtoAnalyze3rd::analyze_DeviceData(const em_RequestType& type, const std::string& protoBuffer,
                                                    const ST_MSGToHardDriverMatch& match, int& offset)
{
    const char* const sig = SIG_analyze_DeviceData;
    const std::vector<ST_MSGToHardDriverMatchOne>& matchList = match.matchList;
    if (matchList.empty())
    {
        ZLOG(WARN, sig, "msg match size is 0.");
        return emProtoNotFound;
    }
    ZLOG(TRACE, sig, "find package list begin, buffer size:%d, match size:%d, offset:%d.",
         static_cast<int>(protoBuffer.size()), static_cast<int>(matchList.size()), offset);
    std::vector<std::string> packages;
    const bool found = findPackageList(protoBuffer, matchList, offset, packages);
    ZLOG(TRACE, sig,
         "find package list ret(bool):%d, type:%d, buffer size:%d, match size:%d, offset:%d, package size:%d.",
         found ? 1 : 0, static_cast<int>(type), static_cast<int>(protoBuffer.size()),
         static_cast<int>(matchList.size()), offset, static_cast<int>(packages.size()));
    for (const std::string& package : packages)
    {
        const em_ProtoAnalyze result = analyzeDeviceData_ByCommonProtocol(package, matchList, type, offset);
        ZLOG(TRACE, sig, "analyze common package opeResTmp[%d],offset[%d].", static_cast<int>(result), offset);
        if (result == emProtoSuccess)
        {
            return emProtoSuccess;
        }
        ZLOG(WARN, sig, "analyzeDeviceData_ByCommonProtocol has error!");
    }
    return emProtoNoPackage;
}

// ---- Package check -------------------------------------------------------------------------

em_ProtoAnalyze ProtoAnalyze3rd::analyzeDeviceData_ByCommonProtocol(
    const std::string& package, const std::vector<ST_MSGToHardDriverMatchOne>& matchList, const em_RequestType& type,
    int& offset)
{
    const char* const sig = SIG_analyzeDeviceData_ByCommonProtocol;
    // The ack is recorded before any check: a rejected package leaves its ack
    // in the reply record, by design.
    const unsigned char ack = frame::byteAt(package, frame::kAck);
    m_replyRecord->ack = ack;
    if (!reviseOk(package, 0, package.size()))
    {
        ZLOG(INFO, sig, "match crc error, msgType[%d], offset valid[%d].", static_cast<int>(type), offset);
        return emProtoFrameExact;
    }
    // Only entries 0 (head) and 1 (label) are checked, and never the last
    // entry of the list: one entry always passes, two check the head only,
    // three check head and label, four or more can never pass. That asymmetry
    // is required.
    const size_t count = matchList.size();
    size_t matchCount = 0;
    std::string byteKey;
    if (count > 1 && !headKeyFound(package, matchList[0], byteKey))
    {
        ZLOG(INFO, sig, "rawDatagramBuf,byteKey,posWanted:%d", matchList[0].posWanted);
    }
    else if (count > 1)
    {
        ++matchCount;
    }
    if (count > 2 && labelMatches(sig, package, matchList[1]))
    {
        ++matchCount;
    }
    if (matchCount != count - 1)
    {
        ZLOG(INFO, sig, "msgType[%d], matchCount[%d].", static_cast<int>(type), static_cast<int>(matchCount));
        return emProtoFailed;
    }
    // Counted and consumed before the read/write code is looked at: a package
    // rejected for its code below still counts.
    offset += static_cast<int>(package.size());
    ++m_nAlreadyRecievedCount;
    ZLOG(TRACE, sig, "m_nAlreadyRecievedCount: %d", static_cast<int>(m_nAlreadyRecievedCount));
    const unsigned int validDataLength = frame::declaredLength(package);
    // Byte 10 is read as a signed byte: 0xFF logs as -1.
    // NOLINTNEXTLINE(bugprone-signed-char-misuse)
    const int code = static_cast<signed char>(frame::byteAt(package, frame::kReadWriteCode));
    std::vector<unsigned char>& data = m_replyRecord->data;
    if (code == emOperationWrite)
    {
        data.clear();
    }
    else if (code == emOperationRead)
    {
        // The copy stops at the declared length or before the checksum,
        // whichever comes first.
        const size_t copied = appendReplyData(package, validDataLength);
        if (type == emRequestReadFile)
        {
            appendToOutputFile(package, frame::kData, copied);
        }
    }
    else
    {
        ZLOG(WARN, sig, "error ReadWrite Type :%d", code);
        return emProtoBadReadWriteCode;
    }
    m_replyRecord->validDataLength = data.size();
    if (m_nAlreadyRecievedCount == m_nSendCount)
    {
        ZLOG(DEBUG, sig, "all sub package is received !");
        if (m_ofsFile.is_open())
        {
            m_ofsFile.flush();
            m_ofsFile.close();
        }
    }
    ZLOG(TRACE, sig, "end ! emReadWriteCode[%d], validDataLength[%d], recv count[%d], send count[%d], ack[%d]]", code,
         static_cast<int>(validDataLength), static_cast<int>(m_nAlreadyRecievedCount), static_cast<int>(m_nSendCount),
         static_cast<int>(ack));
    return emProtoSuccess;
}

void ProtoAnalyze3rd::appendToOutputFile(const std::string& package, size_t first, size_t count)
{
    // Opened lazily on the first data of a file read, closed when it completes.
    if (!m_ofsFile.is_open())
    {
        m_ofsFile.clear();
        m_ofsFile.open(m_strFilePath, std::ios::out | std::ios::app | std::ios::binary);
    }
    if (!m_ofsFile.is_open())
    {
        ZLOG(WARN, SIG_analyzeDeviceData_ByCommonProtocol, "filepath:[%s] open failed ...", m_strFilePath.c_str());
        return;
    }
    if (count != 0)
    {
        m_ofsFile.write(package.data() + first, static_cast<std::streamsize>(count));
    }
}

// ---- Push ------------------------------------------------------------------------------------

em_ProtoAnalyze ProtoAnalyze3rd::analyze_DeviceReportPushData(std::vector<ST_DeviceAutoReportResponseInfo>&,
                                                              const std::string&, unsigned long long&)
{
    return emProtoSuccess;
}
