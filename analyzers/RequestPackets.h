// What both analyzers do alike with a client request: the checks that reject
// it (each with its log line and result code), the packet plan, and one packet
// source that hands out the write data of each packet in turn, from the
// request's bytes or from a local file.
#pragma once

#include "protostub/ProtoRecords.h"

#include <fstream>
#include <list>
#include <string>
#include <string_view>
#include <vector>

namespace request_packets
{

// ---- Checks: each logs the failure with the caller's signature text, sets
// rejected to its code and returns false.

// Null request and a register address other than 4 bytes: the checks that
// open every request kind.
bool checkRequest(const char* sig, const INTER_ST::ThirdGenerationCommRequest_Data* request, em_ProtoAnalyze& rejected);
bool checkMaxRecvLen(const char* sig, unsigned long long nHwMaxRecvLen, em_ProtoAnalyze& rejected);
bool checkRead(const char* sig, const INTER_ST::ThirdGenerationCommRequest_Data* request,
               unsigned long long nHwMaxRecvLen, em_ProtoAnalyze& rejected);
bool checkWrite(const char* sig, const INTER_ST::ThirdGenerationCommRequest_Data* request,
                unsigned long long nHwMaxRecvLen, em_ProtoAnalyze& rejected);
em_ProtoAnalyze rejectNull(const char* sig);
em_ProtoAnalyze rejectDataSize(const char* sig);

// The four register address bytes, first byte lowest.
unsigned int startAddress(const INTER_ST::ThirdGenerationCommRequest_Data& request);

// A file read's received data starts a new file: deletes any file at path.
void startOutputFile(const char* sig, const std::string& path);

// ---- The packet plan.

// How a request of some total length is cut into packets of at most a given
// number of data bytes: full packets, the last one carrying the remainder (or
// a full packet when the length divides evenly).
class PacketPlan
{
public:
    PacketPlan(unsigned long long total, unsigned long long perPacket);
    unsigned long long count() const { return m_count; }
    // Data bytes of packet i (0-based).
    unsigned long long chunk(unsigned long long i) const;

private:
    unsigned long long m_total;
    unsigned long long m_perPacket;
    unsigned long long m_count;
};

// Read packets: readLen per the plan, the address stepping by readLen when it
// self-increases. With more than one packet each logs "len:%d,register address[0x%0x].".
std::vector<ST_RegisterAddrAndValid> planReads(const char* sig, const PacketPlan& plan, unsigned int addr,
                                               bool selfIncreasing);
// Write packets (data not yet filled): validLen per the plan. Each logs
// "register address[0x%0x], index[%d]" when logEach is set.
std::vector<ST_RegisterAddrAndValid> planWrites(const char* sig, const PacketPlan& plan, unsigned int addr,
                                                bool selfIncreasing, bool logEach);

// ---- The packet source.

// Hands out the data bytes of write packets one packet at a time, so that
// no more than one packet's data is held: from bytes the caller keeps alive,
// or from a local file read as the packets are built.
class PacketSource
{
public:
    explicit PacketSource(std::string_view bytes);
    explicit PacketSource(const std::string& path);

    bool isOpen() const;
    // The number of bytes there are to hand out; 0 or less for an empty or
    // unreadable file.
    long long size();
    // Appends the next count bytes to into. 0, or 13 when the bytes run out,
    // 24 when the file ends early or fails (each logged with sig).
    em_ProtoAnalyze take(const char* sig, size_t count, std::string& into);
    // take without a copy: bytes sees the next count bytes where they lie
    // (the caller's, or this source's buffer, valid until the next call).
    em_ProtoAnalyze next(const char* sig, size_t count, std::string_view& bytes);

private:
    std::string_view m_bytes;
    size_t m_index = 0;
    bool m_fromFile = false;
    std::string m_path;
    std::ifstream m_file;
    std::string m_chunk;
};

// Logs the number of messages in out once a request's packets are all built.
void logMessageCount(const char* sig, const std::list<ST_MSGToHardDriver>& out);

// Builds one message per packet with the analyzer's buildOnePacket,
// appending each to out in order; stops at the first failure, keeping what
// was appended before it. 17 for no packets. With a source, each packet's
// data is prefix followed by the source's next bytes, up to its validLen.
template <class Analyzer>
em_ProtoAnalyze buildPackets(Analyzer& analyzer, const char* sig, const std::vector<ST_RegisterAddrAndValid>& packets,
                             INTER_ST::ThirdGenerationCommRequest_Data* request, std::list<ST_MSGToHardDriver>& out,
                             PacketSource* source = nullptr, std::string_view prefix = {})
{
    if (packets.empty())
    {
        return emProtoNoPackage;
    }
    for (const ST_RegisterAddrAndValid& pkg : packets)
    {
        std::string_view lead;
        std::string_view data;
        if (source != nullptr)
        {
            lead = prefix;
            const em_ProtoAnalyze taken = source->next(sig, pkg.validLen - prefix.size(), data);
            if (taken != emProtoSuccess)
            {
                return taken;
            }
        }
        out.emplace_back();
        const em_ProtoAnalyze result = analyzer.buildOnePacket(pkg, lead, data, request, out.back());
        if (result != emProtoSuccess)
        {
            out.pop_back();
            return result;
        }
    }
    logMessageCount(sig, out);
    return emProtoSuccess;
}

}  // namespace request_packets
