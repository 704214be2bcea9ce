// The analyzer of the variant device family, key "3rdOrvane-proto". Its
// frames carry an 18-byte sub-header at the start of the data area (packet
// sum, sequence number, extension length); it checks reply labels at the
// position the request names, and it decodes and acknowledges pushed reports.
#pragma once

#include "protobase/ProtoBase.h"

#include <string>

namespace request_packets
{
class PacketSource;
}

// The key the variant analyzer is registered under; pushed reports go to it.
inline constexpr char kOrvaneProtoKey[] = "3rdOrvane-proto";

class ProtoAnalyze3rd_Orvane : public ProtoBase
{
public:
    ProtoAnalyze3rd_Orvane();
    ~ProtoAnalyze3rd_Orvane() override;

    // Dispatches on type like the standard analyzer; any other kind returns 20.
    em_ProtoAnalyze analyze_ClientData(const unsigned long long& nHwMaxRecvLen, const em_RequestType& type,
                                       void* request, std::list<ST_MSGToHardDriver>& out, const std::string& filePath,
                                       const bool& bIsRegisterAddrSelfIncreasing) override;

    // 0 one package accepted, 17 nothing accepted, 18 fewer than 2 match entries.
    em_ProtoAnalyze analyze_DeviceData(const em_RequestType& type, const std::string& protoBuffer,
                                       const ST_MSGToHardDriverMatch& match, int& offset) override;

    // Decodes the pushed frame at offset into a report with its 38-byte
    // acknowledgement and moves offset past the frame. Always 0.
    em_ProtoAnalyze analyze_DeviceReportPushData(std::vector<ST_DeviceAutoReportResponseInfo>& reports,
                                                 const std::string& buffer, unsigned long long& offset) override;

    // Register and file requests; the request data starts with the sub-header.
    // 13 address not 4 bytes, 16 length checks (also data shorter than the
    // sub-header), 22 null request, 7 bad read/write code; file write also
    // 23 file cannot be opened, 24 file read failed.
    em_ProtoAnalyze analyze_ReadRequest(const unsigned long long& nHwMaxRecvLen,
                                        INTER_ST::ThirdGenerationCommRequest_Data* request,
                                        std::list<ST_MSGToHardDriver>& out, const bool& bIsRegisterAddrSelfIncreasing);
    em_ProtoAnalyze analyze_WriteRequest(const unsigned long long& nHwMaxRecvLen,
                                         INTER_ST::ThirdGenerationCommRequest_Data* request,
                                         std::list<ST_MSGToHardDriver>& out, const bool& bIsRegisterAddrSelfIncreasing);
    em_ProtoAnalyze analyze_ReadFileRequest(const unsigned long long& nHwMaxRecvLen, const std::string& filePath,
                                            INTER_ST::ThirdGenerationCommRequest_Data* request,
                                            std::list<ST_MSGToHardDriver>& out,
                                            const bool& bIsRegisterAddrSelfIncreasing);
    em_ProtoAnalyze analyze_WriteFileRequest(const unsigned long long& nHwMaxRecvLen, const std::string& filePath,
                                             INTER_ST::ThirdGenerationCommRequest_Data* request,
                                             std::list<ST_MSGToHardDriver>& out,
                                             const bool& bIsRegisterAddrSelfIncreasing);

    // Builds one variant frame and its two-entry expected-reply list.
    em_ProtoAnalyze analyze_OnePackageRequst(const ST_RegisterAddrAndValid& pkg,
                                             INTER_ST::ThirdGenerationCommRequest_Data* request,
                                             ST_MSGToHardDriver& msg);
    // analyze_OnePackageRequst with the packet's data given as lead followed
    // by data (pkg.data is not read): the request builder's path, which hands
    // the bytes over where they lie.
    em_ProtoAnalyze buildOnePacket(const ST_RegisterAddrAndValid& pkg, std::string_view lead, std::string_view data,
                                   INTER_ST::ThirdGenerationCommRequest_Data* request, ST_MSGToHardDriver& msg);

    // Reads packet sum and sequence number from the sub-header and sets the
    // counters so that one reply completes the transfer. Returns 1.
    int getPacketSumSequeseNum(const unsigned long long& nHwMaxRecvLen,
                               INTER_ST::ThirdGenerationCommRequest_Data* request);

    // 0 accepted, 10 checksum wrong, 19 label differs, 255 head not found.
    em_ProtoAnalyze analyzeDeviceData_ByCommonProtocol(const std::string& package,
                                                       const std::vector<ST_MSGToHardDriverMatchOne>& matchList,
                                                       const em_RequestType& type, int& offset);

    // True if the package byte at the entry's posWanted equals atoi(key)
    // modulo 256; a position outside the package is a mismatch.
    bool isLabelAtWantedPosition(const std::string& package, const ST_MSGToHardDriverMatchOne& matchOne);

    // Writes the 38-byte acknowledgement of a pushed report into *answer.
    void getResponseDataFromDeviceReport(const std::string& package, unsigned char flag,
                                         std::shared_ptr<std::string> answer);

protected:
    // analyzeDeviceData_ByCommonProtocol with the match list's keys read.
    em_ProtoAnalyze analyzePackage(std::string_view package, const std::vector<ST_MSGToHardDriverMatchOne>& matchList,
                                   const em_RequestType& type, int& offset);
    static bool labelAtWantedPosition(std::string_view package, int posWanted, unsigned char label);
    // The sub-header length (18 plus its extension) of a request.
    struct SubHeader
    {
        unsigned int lenExp = 0;
        unsigned int lenHead = 0;
    };
    // checkLength: the request's valid length must be non-zero and cover the sub-header.
    bool checkSubHeader(const char* sig, const INTER_ST::ThirdGenerationCommRequest_Data* request, SubHeader& head,
                        em_ProtoAnalyze& rejected, bool checkLength);
    // A read in one packet; a file read names its output file, which starts afresh.
    em_ProtoAnalyze readRequest(const char* sig, const unsigned long long& nHwMaxRecvLen,
                                INTER_ST::ThirdGenerationCommRequest_Data* request, std::list<ST_MSGToHardDriver>& out,
                                const std::string* outputFile);
    unsigned int sequenceNumber(const INTER_ST::ThirdGenerationCommRequest_Data& request) const;
    // Cuts payload bytes from source into write packets of at most
    // nHwMaxRecvLen data bytes each, sub-header included. logLength: the
    // register write's per-packet line, which also names the packet's length.
    em_ProtoAnalyze writePackets(const char* sig, unsigned long long nHwMaxRecvLen,
                                 INTER_ST::ThirdGenerationCommRequest_Data* request, std::list<ST_MSGToHardDriver>& out,
                                 bool selfIncreasing, const SubHeader& head, unsigned long long payload,
                                 request_packets::PacketSource& source, bool logLength);

    unsigned char m_ucLabel = 0;
    unsigned int m_nSendCount = 0;
    unsigned int m_nAlreadyRecievedCount = 0;
    int m_nDataCount = 0;
    unsigned char m_nLenExp = 0;
    std::string m_strFilePath;
};
