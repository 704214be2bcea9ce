#include "RequestFields.h"

#include "log/LogCall.h"

namespace request_fields
{

namespace
{
constexpr size_t kRegisterAddrSize = 4;
}

void logMessageCount(const char* sig, const std::list<ST_MSGToHardDriver>& out)
{
    ZLOG(0, sig, "MSGToHardDriverLst.size :%d", static_cast<int>(out.size()));
}

em_ProtoAnalyze rejectNull(const char* sig)
{
    ZLOG(2, sig, "request is null,operation result[%d]", static_cast<int>(emProtoNullRequest));
    return emProtoNullRequest;
}

em_ProtoAnalyze rejectDataSize(const char* sig)
{
    ZLOG(2, sig, "sizeValidDataLen != valiadLen,operation result[%d]", static_cast<int>(emProtoBadLength));
    return emProtoBadLength;
}

em_ProtoAnalyze rejectDataExhausted(const char* sig)
{
    ZLOG(2, sig, "operation result[%d]", static_cast<int>(emProtoBadRegisterAddr));
    return emProtoBadRegisterAddr;
}

bool checkRequest(const char* sig, const INTER_ST::ThirdGenerationCommRequest_Data* request, em_ProtoAnalyze& rejected)
{
    if (request == nullptr)
    {
        rejected = rejectNull(sig);
        return false;
    }
    if (request->registerAddr.size() != kRegisterAddrSize)
    {
        ZLOG(2, sig, "operation result[%d]", static_cast<int>(emProtoBadRegisterAddr));
        rejected = emProtoBadRegisterAddr;
        return false;
    }
    return true;
}

bool checkMaxRecvLen(const char* sig, unsigned long long nHwMaxRecvLen, em_ProtoAnalyze& rejected)
{
    // Packets are sized by nHwMaxRecvLen: 0 leaves nothing to split by.
    if (nHwMaxRecvLen == 0)
    {
        ZLOG(2, sig, "nHwMaxRecvLen == 0,operation result[%d]", static_cast<int>(emProtoZeroMaxRecvLen));
        rejected = emProtoZeroMaxRecvLen;
        return false;
    }
    return true;
}

bool checkRead(const char* sig, const INTER_ST::ThirdGenerationCommRequest_Data* request,
               unsigned long long nHwMaxRecvLen, em_ProtoAnalyze& rejected)
{
    if (!checkRequest(sig, request, rejected))
    {
        return false;
    }
    if (request->validLength == 0)
    {
        ZLOG(2, sig, "sizeValidLen == 0,operation result[%d]", static_cast<int>(emProtoBadLength));
        rejected = emProtoBadLength;
        return false;
    }
    return checkMaxRecvLen(sig, nHwMaxRecvLen, rejected);
}

bool checkWrite(const char* sig, const INTER_ST::ThirdGenerationCommRequest_Data* request,
                unsigned long long nHwMaxRecvLen, em_ProtoAnalyze& rejected)
{
    if (!checkRequest(sig, request, rejected))
    {
        return false;
    }
    if (request->validLength == 0)
    {
        ZLOG(2, sig, "valiadLen == 0");
        rejected = emProtoBadLength;
        return false;
    }
    if (request->data.size() != request->validLength)
    {
        rejected = rejectDataSize(sig);
        return false;
    }
    return checkMaxRecvLen(sig, nHwMaxRecvLen, rejected);
}

unsigned int startAddress(const INTER_ST::ThirdGenerationCommRequest_Data& request)
{
    unsigned int addr = 0;
    for (size_t i = 0; i < request.registerAddr.size() && i < kRegisterAddrSize; ++i)
    {
        addr |= static_cast<unsigned int>(request.registerAddr[i]) << (8 * i);
    }
    return addr;
}

std::vector<ST_RegisterAddrAndValid> planReads(const char* sig, const PacketPlan& plan, unsigned int addr,
                                               bool selfIncreasing)
{
    std::vector<ST_RegisterAddrAndValid> packets(static_cast<size_t>(plan.count()));
    for (size_t i = 0; i < packets.size(); ++i)
    {
        ST_RegisterAddrAndValid& pkg = packets[i];
        pkg.readLen = static_cast<unsigned int>(plan.chunk(i));
        pkg.registerAddr = addr;
        if (packets.size() > 1)
        {
            ZLOG(0, sig, "len:%d,register address[0x%0x].", static_cast<int>(pkg.readLen), pkg.registerAddr);
            if (selfIncreasing)
            {
                addr += pkg.readLen;
            }
        }
    }
    return packets;
}

std::vector<ST_RegisterAddrAndValid> planWrites(const char* sig, const PacketPlan& plan, unsigned int addr,
                                                bool selfIncreasing, bool logEach)
{
    std::vector<ST_RegisterAddrAndValid> packets(static_cast<size_t>(plan.count()));
    for (size_t i = 0; i < packets.size(); ++i)
    {
        ST_RegisterAddrAndValid& pkg = packets[i];
        pkg.validLen = static_cast<unsigned int>(plan.chunk(i));
        pkg.registerAddr = addr;
        if (logEach)
        {
            ZLOG(0, sig, "register address[0x%0x], index[%d]", pkg.registerAddr, static_cast<int>(i));
        }
        if (selfIncreasing)
        {
            addr += pkg.validLen;
        }
    }
    return packets;
}

}  // namespace request_fields
