#include "RequestPackets.h"

#include "log/LogCall.h"

#include <cerrno>
#include <cstdio>

namespace request_packets
{

namespace
{
constexpr size_t kRegisterAddrSize = 4;
}

// ---- Checks.

em_ProtoAnalyze rejectNull(const char* sig)
{
    ZLOG(INFO, sig, "request is null,operation result[%d]", static_cast<int>(emProtoNullRequest));
    return emProtoNullRequest;
}

em_ProtoAnalyze rejectDataSize(const char* sig)
{
    ZLOG(INFO, sig, "sizeValidDataLen != valiadLen,operation result[%d]", static_cast<int>(emProtoBadLength));
    return emProtoBadLength;
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
        ZLOG(INFO, sig, "operation result[%d]", static_cast<int>(emProtoBadRegisterAddr));
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
        ZLOG(INFO, sig, "nHwMaxRecvLen == 0,operation result[%d]", static_cast<int>(emProtoZeroMaxRecvLen));
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
        ZLOG(INFO, sig, "sizeValidLen == 0,operation result[%d]", static_cast<int>(emProtoBadLength));
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
        ZLOG(INFO, sig, "valiadLen == 0");
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

void startOutputFile(const char* sig, const std::string& path)
{
    if (std::remove(path.c_str()) != 0 && errno != ENOENT)
    {
        ZLOG(WARN, sig, "RequestReadFile delete file fail");
    }
}

// ---- The packet plan.

PacketPlan::PacketPlan(unsigned long long total, unsigned long long perPacket)
    : m_total(total), m_perPacket(perPacket),
      m_count(perPacket == 0 ? 0 : total / perPacket + (total % perPacket != 0 ? 1 : 0))
{
}

unsigned long long PacketPlan::chunk(unsigned long long i) const
{
    if (i + 1 < m_count)
    {
        return m_perPacket;
    }
    const unsigned long long rest = m_total % m_perPacket;
    return rest == 0 ? m_perPacket : rest;
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
            ZLOG(TRACE, sig, "len:%d,register address[0x%0x].", static_cast<int>(pkg.readLen), pkg.registerAddr);
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
            ZLOG(TRACE, sig, "register address[0x%0x], index[%d]", pkg.registerAddr, static_cast<int>(i));
        }
        if (selfIncreasing)
        {
            addr += pkg.validLen;
        }
    }
    return packets;
}

// ---- The packet source.

PacketSource::PacketSource(std::string_view bytes) : m_bytes(bytes)
{
}

PacketSource::PacketSource(const std::string& path)
    : m_fromFile(true), m_path(path), m_file(path, std::ios::in | std::ios::binary)
{
    // A directory opens for reading on some systems, then fails the first
    // read and reports a bogus size: it counts as a file that cannot be opened.
    if (m_file.is_open() && (m_file.peek(), m_file.bad()))
    {
        m_file.close();
    }
}

bool PacketSource::isOpen() const
{
    return !m_fromFile || m_file.is_open();
}

long long PacketSource::size()
{
    if (!m_fromFile)
    {
        return static_cast<long long>(m_bytes.size());
    }
    m_file.seekg(0, std::ios::end);
    const std::streamoff size = m_file.tellg();
    m_file.seekg(0, std::ios::beg);
    return static_cast<long long>(size);
}

em_ProtoAnalyze PacketSource::take(const char* sig, size_t count, std::string& into)
{
    if (!m_fromFile)
    {
        if (count > m_bytes.size() - m_index)
        {
            ZLOG(INFO, sig, "operation result[%d]", static_cast<int>(emProtoBadRegisterAddr));
            return emProtoBadRegisterAddr;
        }
        into.append(m_bytes.substr(m_index, count));
        m_index += count;
        return emProtoSuccess;
    }
    const size_t start = into.size();
    into.resize(start + count);
    m_file.read(&into[start], static_cast<std::streamsize>(count));
    if (static_cast<size_t>(m_file.gcount()) != count)
    {
        ZLOG(WARN, sig, "read file failed , file path is [%s].", m_path.c_str());
        return emProtoFileReadFailed;
    }
    return emProtoSuccess;
}

em_ProtoAnalyze PacketSource::next(const char* sig, size_t count, std::string_view& bytes)
{
    if (!m_fromFile)
    {
        if (count > m_bytes.size() - m_index)
        {
            ZLOG(INFO, sig, "operation result[%d]", static_cast<int>(emProtoBadRegisterAddr));
            return emProtoBadRegisterAddr;
        }
        bytes = m_bytes.substr(m_index, count);
        m_index += count;
        return emProtoSuccess;
    }
    m_chunk.clear();
    const em_ProtoAnalyze taken = take(sig, count, m_chunk);
    bytes = m_chunk;
    return taken;
}

void logMessageCount(const char* sig, const std::list<ST_MSGToHardDriver>& out)
{
    ZLOG(TRACE, sig, "MSGToHardDriverLst.size :%d", static_cast<int>(out.size()));
}

}  // namespace request_packets
