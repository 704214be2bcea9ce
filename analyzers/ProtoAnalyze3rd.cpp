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
ZSIG_ANALYZER_OPERATIONS("ProtoAnalyze3rd::");

const char* const kReplyHeadKey = "AA55";
constexpr int kLabelPosition = 3;
// The name an unknown read/write code is logged under.
const char* const kCodeName = "em_OperationCodeType";
constexpr size_t kFrameOverhead = frame::kOverhead;
// A wrong checksum gives 12; a wrong label fails the entry count (255).
const PackageCheckRules kPackageCheck{emProtoFrameExact, "match crc error, ", "", false, false};
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
    return readRequest(SIG_analyze_ReadRequest, nHwMaxRecvLen, request, out, bIsRegisterAddrSelfIncreasing, nullptr);
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
    PacketSource source(frame::bytesOf(request->data));
    return writePackets(sig, nHwMaxRecvLen, request, out, bIsRegisterAddrSelfIncreasing, request->validLength, source,
                        false);
}

em_ProtoAnalyze ProtoAnalyze3rd::readRequest(const char* sig, const unsigned long long& nHwMaxRecvLen,
                                             INTER_ST::ThirdGenerationCommRequest_Data* request,
                                             std::list<ST_MSGToHardDriver>& out, bool selfIncreasing,
                                             const std::string* outputFile)
{
    em_ProtoAnalyze rejected = emProtoSuccess;
    if (!checkRead(sig, request, nHwMaxRecvLen, rejected))
    {
        return rejected;
    }
    if (outputFile != nullptr)
    {
        // A transfer that never completed may still hold the last output file open.
        if (m_ofsFile.is_open())
        {
            m_ofsFile.close();
        }
        m_ofsFile.clear();
        m_strFilePath = *outputFile;
        startOutputFile(sig, *outputFile);
    }
    const unsigned long long len = request->validLength;
    const unsigned int addr = startAddress(*request);
    const PacketPlan plan(len, nHwMaxRecvLen);
    m_nSendCount = plan.count();
    m_nAlreadyRecievedCount = 0;
    if (outputFile == nullptr)
    {
        ZLOG(TRACE, sig,
             "register address[0x%0x], valid length[%d], size package[%d],bIsRegisterAddrSelfIncreasing(bool):%d", addr,
             static_cast<int>(len), static_cast<int>(plan.count()), selfIncreasing ? 1 : 0);
    }
    else
    {
        ZLOG(TRACE, sig, "register address[0x%0x], valid length[%d], size package[%d].", addr, static_cast<int>(len),
             static_cast<int>(plan.count()));
    }
    initReplyRecord(request);
    return buildPackets(*this, sig, planReads(sig, plan, addr, selfIncreasing), request, out);
}

em_ProtoAnalyze ProtoAnalyze3rd::writePackets(const char* sig, unsigned long long nHwMaxRecvLen,
                                              INTER_ST::ThirdGenerationCommRequest_Data* request,
                                              std::list<ST_MSGToHardDriver>& out, bool selfIncreasing,
                                              unsigned long long total, PacketSource& source, bool fromFile)
{
    const unsigned int addr = startAddress(*request);
    const PacketPlan plan(total, nHwMaxRecvLen);
    m_nSendCount = plan.count();
    m_nAlreadyRecievedCount = 0;
    initReplyRecord(request);
    if (fromFile)
    {
        ZLOG(TRACE, sig,
             " registerbase[0x%0x], MaxDataLengthPerPacket:[%d],nStreamOffSet(file totalsize):[%d],sizepackage[%d].",
             addr, static_cast<int>(nHwMaxRecvLen), static_cast<int>(total), static_cast<int>(plan.count()));
    }
    else
    {
        ZLOG(TRACE, sig,
             " write data ,register address[0x%0x], valid length[%d], size package[%d],"
             "bIsRegisterAddrSelfIncreasing[%d].",
             addr, static_cast<int>(total), static_cast<int>(plan.count()), selfIncreasing ? 1 : 0);
    }
    // A file write logs every packet, a register write only when there are several.
    const auto packets = planWrites(sig, plan, addr, selfIncreasing, fromFile || plan.count() > 1);
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
    return readRequest(SIG_analyze_ReadFileRequest, nHwMaxRecvLen, request, out, bIsRegisterAddrSelfIncreasing,
                       &filePath);
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
    return writePackets(sig, nHwMaxRecvLen, request, out, bIsRegisterAddrSelfIncreasing,
                        static_cast<unsigned long long>(size), source, true);
}

// ---- One packet -------------------------------------------------------------------------

em_ProtoAnalyze ProtoAnalyze3rd::analyze_OnePackageRequst(const ST_RegisterAddrAndValid& pkg,
                                                          INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                          ST_MSGToHardDriver& msg)
{
    return buildOnePacket(pkg, {}, pkg.data, request, msg);
}

em_ProtoAnalyze ProtoAnalyze3rd::buildOnePacket(const ST_RegisterAddrAndValid& pkg, std::string_view lead,
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
    // Where the checksum goes, as planned: it is stored there, and the reply
    // list names it so, even when the packet's data changed the frame's
    // length.
    const size_t checksumAt = static_cast<size_t>(pkg.validLen) + frame::kData;
    if (request->readWriteCode == emOperationRead)
    {
        frame::putWord(f, frame::kValidLength, pkg.readLen & 0xFFFF);
        f.append(pkg.validLen, '\0');
    }
    else
    {
        frame::putWord(f, frame::kValidLength, pkg.validLen & 0xFFFF);
        // The packet's data fills the data area, whatever its length: data of
        // another length than validLen changes the frame's length.
        if (pkg.validLen > 0)
        {
            f.append(lead);
            f.append(data);
        }
    }
    f.append(frame::kChecksumSize, '\0');
    const unsigned int sum = storeCheckout(f, checksumAt + frame::kChecksumSize);
    msg.protoKey = m_strProtoKey;
    // The checksum entry holds the full 32-bit sum, not cut to 16 bits.
    msg.matchList.clear();
    msg.matchList.reserve(3);
    msg.matchList.push_back({kReplyHeadKey, 0});
    msg.matchList.push_back({std::to_string(m_ucLabel), kLabelPosition});
    msg.matchList.push_back({std::to_string(sum), static_cast<int>(checksumAt)});
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
    readReplyKeys(matchList);
    const bool found = findPackages(protoBuffer, matchList, offset);
    const std::vector<std::string_view>& packages = m_packages;
    ZLOG(TRACE, sig,
         "find package list ret(bool):%d, type:%d, buffer size:%d, match size:%d, offset:%d, package size:%d.",
         found ? 1 : 0, static_cast<int>(type), static_cast<int>(protoBuffer.size()),
         static_cast<int>(matchList.size()), offset, static_cast<int>(packages.size()));
    for (const std::string_view package : packages)
    {
        const em_ProtoAnalyze result = analyzePackage(package, matchList, type, offset);
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
    readReplyKeys(matchList);
    return analyzePackage(package, matchList, type, offset);
}

em_ProtoAnalyze ProtoAnalyze3rd::analyzePackage(std::string_view package,
                                                const std::vector<ST_MSGToHardDriverMatchOne>& matchList,
                                                const em_RequestType& type, int& offset)
{
    const char* const sig = SIG_analyzeDeviceData_ByCommonProtocol;
    const em_ProtoAnalyze checked = checkReplyPackage(sig, package, matchList, type, offset, kPackageCheck);
    if (checked != emProtoSuccess)
    {
        return checked;
    }
    // Counted and consumed before the read/write code is looked at: a package
    // rejected for its code below still counts.
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
         static_cast<int>(m_replyRecord->ack));
    return emProtoSuccess;
}

void ProtoAnalyze3rd::appendToOutputFile(std::string_view package, size_t first, size_t count)
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
