// Standard analyzer: file requests. A file read is a register read whose
// replies the reply analysis appends to a local file; a file write sends a
// local file's bytes as register write data.
#include "ProtoAnalyze3rd.h"

#include "RequestFields.h"
#include "log/LogCall.h"
#include "log/LogSignature.h"

#include <cerrno>
#include <cstdio>

namespace
{
#define SIG_FILE_PARAMS \
    "(const unsigned __int64 &,const " ZSIG_STRING " &," ZSIG_REQUEST_PTR "," ZSIG_MSG_LIST " &,const bool &)"
const char* const SIG_analyze_ReadFileRequest = ZSIG_RESULT "ProtoAnalyze3rd::analyze_ReadFileRequest" SIG_FILE_PARAMS;
const char* const SIG_analyze_WriteFileRequest =
    ZSIG_RESULT "ProtoAnalyze3rd::analyze_WriteFileRequest" SIG_FILE_PARAMS;
#undef SIG_FILE_PARAMS
}  // namespace

em_ProtoAnalyze ProtoAnalyze3rd::analyze_ReadFileRequest(const unsigned long long& nHwMaxRecvLen,
                                                         const std::string& filePath,
                                                         INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                         std::list<ST_MSGToHardDriver>& out,
                                                         const bool& bIsRegisterAddrSelfIncreasing)
{
    const char* const sig = SIG_analyze_ReadFileRequest;
    em_ProtoAnalyze rejected = emProtoSuccess;
    if (!request_fields::checkRead(sig, request, nHwMaxRecvLen, rejected))
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
    // The received data starts a new file.
    if (std::remove(filePath.c_str()) != 0 && errno != ENOENT)
    {
        ZLOG(3, sig, "RequestReadFile delete file fail");
    }
    const unsigned long long len = request->validLength;
    const unsigned int addr = request_fields::startAddress(*request);
    const PacketPlan plan(len, nHwMaxRecvLen);
    m_nSendCount = plan.count();
    m_nAlreadyRecievedCount = 0;
    ZLOG(0, sig, "register address[0x%0x], valid length[%d], size package[%d].", addr, static_cast<int>(len),
         static_cast<int>(plan.count()));
    initReplyRecord(request);
    const std::vector<ST_RegisterAddrAndValid> packets =
        request_fields::planReads(sig, plan, addr, bIsRegisterAddrSelfIncreasing);
    return request_fields::buildPackets(*this, sig, packets, request, out);
}

em_ProtoAnalyze ProtoAnalyze3rd::analyze_WriteFileRequest(const unsigned long long& nHwMaxRecvLen,
                                                          const std::string& filePath,
                                                          INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                          std::list<ST_MSGToHardDriver>& out,
                                                          const bool& bIsRegisterAddrSelfIncreasing)
{
    const char* const sig = SIG_analyze_WriteFileRequest;
    em_ProtoAnalyze rejected = emProtoSuccess;
    if (!request_fields::checkRequest(sig, request, rejected) ||
        !request_fields::checkMaxRecvLen(sig, nHwMaxRecvLen, rejected))
    {
        return rejected;
    }
    m_strFilePath = filePath;
    errno = 0;
    std::ifstream in(filePath, std::ios::in | std::ios::binary);
    // A directory opens for reading on some systems, then fails the first
    // read and reports a bogus size: it counts as a file that cannot be opened.
    if (!in.is_open() || (in.peek(), in.bad()))
    {
        ZLOG(3, sig, "open file failed , file path is [%s]. exception code :  %d ", filePath.c_str(), errno);
        return emProtoFileOpenFailed;
    }
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    in.seekg(0, std::ios::beg);
    if (size <= 0)
    {
        ZLOG(2, sig, "valiadLen == 0");
        return emProtoBadLength;
    }
    const unsigned int addr = request_fields::startAddress(*request);
    const PacketPlan plan(static_cast<unsigned long long>(size), nHwMaxRecvLen);
    m_nSendCount = plan.count();
    m_nAlreadyRecievedCount = 0;
    initReplyRecord(request);
    ZLOG(0, sig,
         " registerbase[0x%0x], MaxDataLengthPerPacket:[%d],nStreamOffSet(file totalsize):[%d],sizepackage[%d].", addr,
         static_cast<int>(nHwMaxRecvLen), static_cast<int>(size), static_cast<int>(plan.count()));
    const std::vector<ST_RegisterAddrAndValid> packets =
        request_fields::planWrites(sig, plan, addr, bIsRegisterAddrSelfIncreasing, true);
    return request_fields::buildWritePackets(*this, sig, packets, request, out, [&](std::string& chunk, size_t count) {
        chunk.resize(count);
        in.read(&chunk[0], static_cast<std::streamsize>(count));
        if (static_cast<size_t>(in.gcount()) != count)
        {
            ZLOG(3, sig, "read file failed , file path is [%s].", filePath.c_str());
            return emProtoFileReadFailed;
        }
        return emProtoSuccess;
    });
}
