// The library's one exported class. The server creates one ProtoStub and
// drives everything through it: client requests become device-bound frames,
// device bytes become reply records, pushed frames are decoded and answered.
//
// Threads: analyze_DeviceData and clearRecvDeviceData share one lock and may
// be called from different threads. Everything else takes no lock: drive one
// analyzer from one thread at a time, and never overlap a client request with
// the analysis of device data for the same analyzer.
#pragma once

#include "ProtoExport.h"
#include "ProtoRecords.h"

#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class ProtoBase;

class ZORV_PROTO_API ProtoStub
{
public:
    // Registers one standard analyzer ("3rd-proto") and one variant analyzer
    // ("3rdOrvane-proto"), each under the key it reports itself.
    ProtoStub();
    ~ProtoStub();
    ProtoStub(const ProtoStub&) = delete;
    ProtoStub& operator=(const ProtoStub&) = delete;

    // Turns one client request into device-bound messages appended to msgs.
    // request points to an INTER_ST::ThirdGenerationCommRequest_Data.
    // Returns the analyzer's result, or 1 when matchKey names no analyzer.
    em_ProtoAnalyze analyze_ClientData(unsigned int nHwMaxRecvLen, const std::string& matchKey,
                                       const em_RequestType& type, void* request, std::list<ST_MSGToHardDriver>& msgs,
                                       const std::string& filePath, const bool& bIsRegisterAddrSelfIncreasing);

    // Exported without effect: returns 0.
    em_ProtoAnalyze analyze_DeviceAutoReportData(const std::string&, const std::vector<std::string>&);

    // Appends newly received device bytes to the receive buffer and, once it
    // holds a whole frame, has the analyzer check them against match.
    // 0 analysed (consumed bytes dropped), 1 unknown key, 5 no bytes given,
    // 6 frame incomplete (bytes kept), 8 buffer does not start 0xAA 0x55 (kept
    // until clearRecvDeviceData), 255 analysis failed (buffer emptied).
    em_ProtoAnalyze analyze_DeviceData(const std::string& matchKey, const em_RequestType& type,
                                       const std::string& protoBuffer, const ST_MSGToHardDriverMatch& match);

    // Empties the receive buffer.
    void clearRecvDeviceData();

    // The analyzer's current reply record, shared; an empty pointer if the
    // registry entry is empty. Throws std::out_of_range for an unknown key.
    const std::shared_ptr<INTER_ST::ThirdGenerationCommResponse_Data> getReplyPackage(const std::string& matchKey);

    // Classifies a frame pushed by a device (head 0x55 0xAA). Report frames
    // (packet type 0x32) are decoded by the variant analyzer into reports and
    // frameLen is set. bFlag: true for package code 0x10, false for 0x18.
    // 0 known package code, 8 too short, 10 frame longer than buffer,
    // 25 not a pushed frame, 255 unknown package code.
    em_ProtoAnalyze isAutoPushThirdPackage(const std::string& buffer, unsigned long long& frameLen, bool& bFlag,
                                           std::vector<ST_DeviceAutoReportResponseInfo>& reports);

    // True if buffer begins with a whole device frame (head 0xAA 0x55);
    // frameLen receives its length.
    static bool isGeneralThirdPackage(const std::string& buffer, unsigned long long& frameLen);

    // Splits a stream of device reports into decoded reports with their
    // acknowledgements; empties buffer. Throws std::out_of_range for an
    // unknown key.
    void analyze_DeviceReportData(std::string& buffer, const std::string& matchKey,
                                  std::vector<ST_DeviceAutoReportResponseInfo>& reports);

protected:
    std::map<std::string, std::shared_ptr<ProtoBase>> m_mapProto;
    std::string m_buffer;
    std::mutex m_mutex;
};
