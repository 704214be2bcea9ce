// Variant analyzer: file requests. The variant's reply analysis writes no
// file, so a file read differs from a register read only in naming the output
// path (and starting it afresh); a file write sends a local file's bytes
// behind the request's sub-header.
#include "ProtoAnalyze3rd_Orvane.h"

#include "RequestFields.h"
#include "log/LogCall.h"
#include "log/LogSignature.h"
#include "protobase/FrameLayout.h"

#include <cerrno>
#include <cstdio>
#include <fstream>

namespace
{
#define SIG_FILE_PARAMS \
    "(const unsigned __int64 &,const " ZSIG_STRING " &," ZSIG_REQUEST_PTR "," ZSIG_MSG_LIST " &,const bool &)"
const char* const SIG_analyze_ReadFileRequest =
    ZSIG_RESULT "ProtoAnalyze3rd_Orvane::analyze_ReadFileRequest" SIG_FILE_PARAMS;
const char* const SIG_analyze_WriteFileRequest =
    ZSIG_RESULT "ProtoAnalyze3rd_Orvane::analyze_WriteFileRequest" SIG_FILE_PARAMS;
#undef SIG_FILE_PARAMS
}  // namespace

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_ReadFileRequest(const unsigned long long& nHwMaxRecvLen,
                                                                const std::string& filePath,
                                                                INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                                std::list<ST_MSGToHardDriver>& out, const bool&)
{
    const char* const sig = SIG_analyze_ReadFileRequest;
    const em_ProtoAnalyze result = readRequest(sig, nHwMaxRecvLen, request, out, true);
    // Only a request that is going out names (and starts afresh) the output
    // file: a rejected one leaves the previous path and the file alone.
    if (result != emProtoSuccess)
    {
        return result;
    }
    m_strFilePath = filePath;
    if (std::remove(filePath.c_str()) != 0 && errno != ENOENT)
    {
        ZLOG(3, sig, "RequestReadFile delete file fail");
    }
    return emProtoSuccess;
}

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_WriteFileRequest(const unsigned long long& nHwMaxRecvLen,
                                                                 const std::string& filePath,
                                                                 INTER_ST::ThirdGenerationCommRequest_Data* request,
                                                                 std::list<ST_MSGToHardDriver>& out,
                                                                 const bool& bIsRegisterAddrSelfIncreasing)
{
    const char* const sig = SIG_analyze_WriteFileRequest;
    SubHeader head;
    em_ProtoAnalyze rejected = emProtoSuccess;
    // The payload's length is the file's: the request's valid length is not used.
    if (!checkSubHeader(sig, request, head, rejected, false))
    {
        return rejected;
    }
    if (request->data.size() < head.lenHead)
    {
        ZLOG(2, sig, "data shorter than sub-header,operation result[%d]", static_cast<int>(emProtoBadLength));
        return emProtoBadLength;
    }
    m_strFilePath = filePath;
    std::ifstream in(filePath, std::ios::in | std::ios::binary);
    // A directory opens for reading on some systems, then fails the first
    // read and reports a bogus size: it counts as a file that cannot be opened.
    if (!in.is_open() || (in.peek(), in.bad()))
    {
        ZLOG(3, sig, "open file failed , file path is [%s].", filePath.c_str());
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
    const unsigned long long perPacket = nHwMaxRecvLen > head.lenHead ? nHwMaxRecvLen - head.lenHead : 0;
    const PacketPlan plan(static_cast<unsigned long long>(size), perPacket);
    ZLOG(0, sig,
         " registerbase[0x%0x], MaxDataLengthPerPacket:[%u],nStreamOffSet(file totalsize):[%u],sizepackage[%u].", addr,
         static_cast<unsigned int>(nHwMaxRecvLen), static_cast<unsigned int>(size),
         static_cast<unsigned int>(plan.count()));
    return writePackets(sig, nHwMaxRecvLen, request, out, bIsRegisterAddrSelfIncreasing, head,
                        static_cast<unsigned long long>(size), [&](std::string& into, size_t count) {
                            const size_t start = into.size();
                            into.resize(start + count);
                            in.read(&into[start], static_cast<std::streamsize>(count));
                            if (static_cast<size_t>(in.gcount()) != count)
                            {
                                ZLOG(3, sig, "read file failed , file path is [%s].", filePath.c_str());
                                return emProtoFileReadFailed;
                            }
                            return emProtoSuccess;
                        });
}
