// What both analyzers do alike with a client request: the checks that reject
// it (each with its log line and result code), the start address, the packet
// plan, and building one message per packet into the caller's list.
#pragma once

#include "PacketPlan.h"
#include "protostub/ProtoRecords.h"

#include <list>
#include <string>
#include <vector>

namespace request_fields
{

// Each check logs the failure with the caller's signature text, sets rejected
// to its code and returns false.
bool checkRead(const char* sig, const INTER_ST::ThirdGenerationCommRequest_Data* request,
               unsigned long long nHwMaxRecvLen, em_ProtoAnalyze& rejected);
bool checkWrite(const char* sig, const INTER_ST::ThirdGenerationCommRequest_Data* request,
                unsigned long long nHwMaxRecvLen, em_ProtoAnalyze& rejected);
// Null request and a register address other than 4 bytes: the checks that
// open every request kind.
bool checkRequest(const char* sig, const INTER_ST::ThirdGenerationCommRequest_Data* request, em_ProtoAnalyze& rejected);
bool checkMaxRecvLen(const char* sig, unsigned long long nHwMaxRecvLen, em_ProtoAnalyze& rejected);

em_ProtoAnalyze rejectNull(const char* sig);
em_ProtoAnalyze rejectDataSize(const char* sig);
em_ProtoAnalyze rejectDataExhausted(const char* sig);

// The four register address bytes, first byte lowest.
unsigned int startAddress(const INTER_ST::ThirdGenerationCommRequest_Data& request);

// Read packets: readLen per the plan, the address stepping by readLen when it
// self-increases. With more than one packet each logs "len:%d,register address[0x%0x].".
std::vector<ST_RegisterAddrAndValid> planReads(const char* sig, const PacketPlan& plan, unsigned int addr,
                                               bool selfIncreasing);
// Write packets (data not yet filled): validLen per the plan. Each logs
// "register address[0x%0x], index[%d]" when logEach is set.
std::vector<ST_RegisterAddrAndValid> planWrites(const char* sig, const PacketPlan& plan, unsigned int addr,
                                                bool selfIncreasing, bool logEach);

// Builds one message per packet, appending each to out in order; stops at the
// first failure, keeping what was appended before it. sig: the caller's
// signature text for the closing log line.
// Logs the number of messages in out once a request's packets are all built.
void logMessageCount(const char* sig, const std::list<ST_MSGToHardDriver>& out);

template <class Analyzer>
em_ProtoAnalyze buildPackets(Analyzer& analyzer, const char* sig, const std::vector<ST_RegisterAddrAndValid>& packets,
                             INTER_ST::ThirdGenerationCommRequest_Data* request, std::list<ST_MSGToHardDriver>& out)
{
    if (packets.empty())
    {
        return emProtoNoPackage;
    }
    for (const ST_RegisterAddrAndValid& pkg : packets)
    {
        out.emplace_back();
        const em_ProtoAnalyze result = analyzer.analyze_OnePackageRequst(pkg, request, out.back());
        if (result != emProtoSuccess)
        {
            out.pop_back();
            return result;
        }
    }
    logMessageCount(sig, out);
    return emProtoSuccess;
}

// As buildPackets for write packets whose data comes from fill(chunk, count),
// which returns 0 or the code to fail with. One packet's data is held at a time.
template <class Analyzer, class Fill>
em_ProtoAnalyze buildWritePackets(Analyzer& analyzer, const char* sig,
                                  const std::vector<ST_RegisterAddrAndValid>& packets,
                                  INTER_ST::ThirdGenerationCommRequest_Data* request,
                                  std::list<ST_MSGToHardDriver>& out, Fill&& fill)
{
    if (packets.empty())
    {
        return emProtoNoPackage;
    }
    ST_RegisterAddrAndValid current;
    for (const ST_RegisterAddrAndValid& pkg : packets)
    {
        current.nPacketSequeseNum = pkg.nPacketSequeseNum;
        current.lenHead = pkg.lenHead;
        current.readLen = pkg.readLen;
        current.registerAddr = pkg.registerAddr;
        current.validLen = pkg.validLen;
        const em_ProtoAnalyze filled = fill(current.data, static_cast<size_t>(pkg.validLen));
        if (filled != emProtoSuccess)
        {
            return filled;
        }
        out.emplace_back();
        const em_ProtoAnalyze result = analyzer.analyze_OnePackageRequst(current, request, out.back());
        if (result != emProtoSuccess)
        {
            out.pop_back();
            return result;
        }
    }
    logMessageCount(sig, out);
    return emProtoSuccess;
}

}  // namespace request_fields
