// The analyzer of the standard third-generation devices, key "3rd-proto".
#pragma once

#include "protobase/ProtoBase.h"

#include <fstream>
#include <string>

namespace request_packets
{
class PacketSource;
}

// The key the standard analyzer is registered under.
inline constexpr char kStandardProtoKey[] = "3rd-proto";

class ProtoAnalyze3rd : public ProtoBase
{
public:
    ProtoAnalyze3rd();
    ~ProtoAnalyze3rd() override;

    // Dispatches on type: 0 register read, 1 register write, 2 file read,
    // 3 file write; any other kind returns 15.
    em_ProtoAnalyze analyze_ClientData(const unsigned long long& nHwMaxRecvLen, const em_RequestType& type,
                                       void* request, std::list<ST_MSGToHardDriver>& out, const std::string& filePath,
                                       const bool& bIsRegisterAddrSelfIncreasing) override;

    // 0 one package accepted, 1 empty match list, 17 nothing accepted.
    em_ProtoAnalyze analyze_DeviceData(const em_RequestType& type, const std::string& protoBuffer,
                                       const ST_MSGToHardDriverMatch& match, int& offset) override;

    // Standard devices push no reports: does nothing, returns 0.
    em_ProtoAnalyze analyze_DeviceReportPushData(std::vector<ST_DeviceAutoReportResponseInfo>& reports,
                                                 const std::string& buffer, unsigned long long& offset) override;

    // Register requests: 13 address not 4 bytes, 16 length checks, 21
    // nHwMaxRecvLen of 0, 22 null request, 7 bad read/write code.
    em_ProtoAnalyze analyze_ReadRequest(const unsigned long long& nHwMaxRecvLen,
                                        INTER_ST::ThirdGenerationCommRequest_Data* request,
                                        std::list<ST_MSGToHardDriver>& out, const bool& bIsRegisterAddrSelfIncreasing);
    em_ProtoAnalyze analyze_WriteRequest(const unsigned long long& nHwMaxRecvLen,
                                         INTER_ST::ThirdGenerationCommRequest_Data* request,
                                         std::list<ST_MSGToHardDriver>& out, const bool& bIsRegisterAddrSelfIncreasing);

    // File read: the replies' data is appended to filePath, which is deleted
    // first. Codes as the register read.
    em_ProtoAnalyze analyze_ReadFileRequest(const unsigned long long& nHwMaxRecvLen, const std::string& filePath,
                                            INTER_ST::ThirdGenerationCommRequest_Data* request,
                                            std::list<ST_MSGToHardDriver>& out,
                                            const bool& bIsRegisterAddrSelfIncreasing);
    // File write: the file's bytes go out as write data. Codes as the register
    // write, plus 23 file cannot be opened and 24 file read failed.
    em_ProtoAnalyze analyze_WriteFileRequest(const unsigned long long& nHwMaxRecvLen, const std::string& filePath,
                                             INTER_ST::ThirdGenerationCommRequest_Data* request,
                                             std::list<ST_MSGToHardDriver>& out,
                                             const bool& bIsRegisterAddrSelfIncreasing);

    // Builds one frame and its expected-reply list. 0, or 7 for a read/write
    // code other than 0 and 1 (msg untouched); the label advances either way.
    em_ProtoAnalyze analyze_OnePackageRequst(const ST_RegisterAddrAndValid& pkg,
                                             INTER_ST::ThirdGenerationCommRequest_Data* request,
                                             ST_MSGToHardDriver& msg);
    // analyze_OnePackageRequst with the packet's data given as lead followed
    // by data (pkg.data is not read): the request builder's path, which hands
    // the bytes over where they lie.
    em_ProtoAnalyze buildOnePacket(const ST_RegisterAddrAndValid& pkg, std::string_view lead, std::string_view data,
                                   INTER_ST::ThirdGenerationCommRequest_Data* request, ST_MSGToHardDriver& msg);

    // Checks and counts one reply package. 0 accepted, 7 bad read/write code
    // (already counted), 12 checksum wrong, 255 expected replies not matched.
    em_ProtoAnalyze analyzeDeviceData_ByCommonProtocol(const std::string& package,
                                                       const std::vector<ST_MSGToHardDriverMatchOne>& matchList,
                                                       const em_RequestType& type, int& offset);

protected:
    // A read in packets of at most nHwMaxRecvLen data bytes; a file read names
    // its output file, which starts afresh.
    em_ProtoAnalyze readRequest(const char* sig, const unsigned long long& nHwMaxRecvLen,
                                INTER_ST::ThirdGenerationCommRequest_Data* request, std::list<ST_MSGToHardDriver>& out,
                                bool selfIncreasing, const std::string* outputFile);
    // Cuts total bytes from source into write packets of at most
    // nHwMaxRecvLen data bytes each. fromFile: the file write's log lines.
    em_ProtoAnalyze writePackets(const char* sig, unsigned long long nHwMaxRecvLen,
                                 INTER_ST::ThirdGenerationCommRequest_Data* request, std::list<ST_MSGToHardDriver>& out,
                                 bool selfIncreasing, unsigned long long total, request_packets::PacketSource& source,
                                 bool fromFile);
    // Appends a read reply's data to the output file of a file read.
    // analyzeDeviceData_ByCommonProtocol with the match list's keys read.
    em_ProtoAnalyze analyzePackage(std::string_view package, const std::vector<ST_MSGToHardDriverMatchOne>& matchList,
                                   const em_RequestType& type, int& offset);
    void appendToOutputFile(std::string_view package, size_t first, size_t count);

    unsigned char m_ucLabel = 0;
    unsigned long long m_nSendCount = 0;
    unsigned long long m_nAlreadyRecievedCount = 0;
    std::string m_strFilePath;
    std::ofstream m_ofsFile;
};
