// The facade: the registry of analyzers, client-request dispatch, the receive
// buffer for device bytes, pushed-frame recognition and reply hand-out.
#include "ProtoStub.h"

#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "log/LogCall.h"
#include "log/LogSignature.h"
#include "protobase/FrameCodec.h"

#include <stdexcept>

namespace
{
const char* const SIG_analyze_ClientData =
    ZSIG_RESULT "ProtoStub::analyze_ClientData(unsigned int,const " ZSIG_STRING
                " &,const enum em_RequestType &,void *," ZSIG_MSG_LIST " &,const " ZSIG_STRING " &,const bool &)";
const char* const SIG_analyze_DeviceData =
    ZSIG_RESULT "ProtoStub::analyze_DeviceData(const " ZSIG_STRING " &,const enum em_RequestType &,const " ZSIG_STRING
                " &,const struct ST_MSGToHardDriverMatch &)";
const char* const SIG_isAutoPushThirdPackage = ZSIG_RESULT "ProtoStub::isAutoPushThirdPackage(const " ZSIG_STRING
                                                           " &,unsigned __int64 &,bool &," ZSIG_REPORT_VECTOR " &)";
const char* const SIG_analyze_DeviceReportData = "void __cdecl ProtoStub::analyze_DeviceReportData(" ZSIG_STRING
                                                 " &,const " ZSIG_STRING " &," ZSIG_REPORT_VECTOR " &)";
const char* const SIG_getReplyPackage =
    "const " ZSIG_RESPONSE_PTR " __cdecl ProtoStub::getReplyPackage(const " ZSIG_STRING " &)";

// Pushed frames: packet type 0x32 is a report the variant analyzer decodes
// when it is at least a sub-header long; package codes 0x10 and 0x18 set bFlag.
constexpr unsigned char kReportPacketType = 0x32;
constexpr unsigned int kReportMinLength = frame::kSubHeaderSize;
constexpr unsigned char kPackageCodeTrue = 0x10;
constexpr unsigned char kPackageCodeFalse = 0x18;

// The map's bounds-checked look-up, with the exception text the server knows.
std::shared_ptr<ProtoBase> protoAt(const std::map<std::string, std::shared_ptr<ProtoBase>>& registry,
                                   const std::string& key)
{
    const auto it = registry.find(key);
    if (it == registry.end())
    {
        throw std::out_of_range("invalid map<K, T> key");
    }
    return it->second;
}

// Bytes analysed where they arrived that must wait in the receive buffer.
void keepReceived(std::string& buffer, bool direct, const std::string& received)
{
    if (direct)
    {
        buffer.assign(received);
    }
}
}  // namespace

ProtoStub::ProtoStub()
{
    std::shared_ptr<ProtoBase> standard(new ProtoAnalyze3rd());
    std::shared_ptr<ProtoBase> variant(new ProtoAnalyze3rd_Orvane());
    // Each analyzer is registered under the key it reports itself.
    m_mapProto.insert(std::make_pair(standard->getProtoKey(), standard));
    m_mapProto.insert(std::make_pair(variant->getProtoKey(), variant));
}

ProtoStub::~ProtoStub() = default;

em_ProtoAnalyze ProtoStub::analyze_ClientData(unsigned int nHwMaxRecvLen, const std::string& matchKey,
                                              const em_RequestType& type, void* request,
                                              std::list<ST_MSGToHardDriver>& msgs, const std::string& filePath,
                                              const bool& bIsRegisterAddrSelfIncreasing)
{
    const auto it = m_mapProto.find(matchKey);
    if (it == m_mapProto.end())
    {
        ZLOG(INFO, SIG_analyze_ClientData, "map proto is not contain match key.matchKey=[%s].", matchKey.c_str());
        return emProtoNotFound;
    }
    const std::shared_ptr<ProtoBase> proto = it->second;
    if (!proto)
    {
        ZLOG(INFO, SIG_analyze_ClientData, "not found proto object,matchKey=[%s].", matchKey.c_str());
        return emProtoNotFound;
    }
    const unsigned long long maxRecvLen = nHwMaxRecvLen;
    const em_ProtoAnalyze result =
        proto->analyze_ClientData(maxRecvLen, type, request, msgs, filePath, bIsRegisterAddrSelfIncreasing);
    ZLOG(DEBUG, SIG_analyze_ClientData, "end ---nHwMaxRecvLen = %d, match key = %s, type = %d, em_ProtoAnalyze = %d.",
         static_cast<int>(nHwMaxRecvLen), matchKey.c_str(), static_cast<int>(type), static_cast<int>(result));
    return result;
}

em_ProtoAnalyze ProtoStub::analyze_DeviceAutoReportData(const std::string&, const std::vector<std::string>&)
{
    return emProtoSuccess;
}

em_ProtoAnalyze ProtoStub::analyze_DeviceData(const std::string& matchKey, const em_RequestType& type,
                                              const std::string& protoBuffer, const ST_MSGToHardDriverMatch& match)
{
    const char* const sig = SIG_analyze_DeviceData;
    ZLOG(TRACE, sig, "enter, matchKey = %s", matchKey.c_str());
    if (protoBuffer.empty())
    {
        ZLOG(WARN, sig, "proto buffer is empty.");
        return emProtoEmptyInput;
    }
    const auto it = m_mapProto.find(matchKey);
    if (it == m_mapProto.end())
    {
        ZLOG(WARN, sig, "map proto is not contain match key.");
        return emProtoNotFound;
    }
    // The registry is fixed once built: its entry serves without a copy.
    const std::shared_ptr<ProtoBase>& proto = it->second;
    if (!proto)
    {
        ZLOG(WARN, sig, "not found proto object.");
        return emProtoNotFound;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    // With nothing kept from earlier pieces the received bytes are the buffer:
    // they are checked and analysed where they are, and only what must wait
    // (a wrong head, a partial frame, what the analysis left) is copied in.
    const bool direct = m_buffer.empty();
    if (!direct)
    {
        m_buffer.append(protoBuffer);
    }
    const std::string& buffer = direct ? protoBuffer : m_buffer;
    // ProtoBase's header and length checks, read inline.
    if (!frame::hasDeviceHead(buffer))
    {
        // A wrong header stays in the buffer until the server clears it.
        keepReceived(m_buffer, direct, protoBuffer);
        ZLOG(INFO, sig, "checkThridPackageHeaderFlag,tmpBuffe.size =[%d],m_buffer.size=[%d].",
             static_cast<int>(protoBuffer.size()), static_cast<int>(m_buffer.size()));
        return emProtoBadHeader;
    }
    if (frame::declaredExtent(buffer) == frame::Extent::Short)
    {
        keepReceived(m_buffer, direct, protoBuffer);
        ZLOG(INFO, sig, "checkValidLength,tmpBuffe.size =[%d],m_buffer.size=[%d], (em_ProtoAnalyze)nCheck=[%d].",
             static_cast<int>(protoBuffer.size()), static_cast<int>(m_buffer.size()),
             static_cast<int>(emProtoFrameShort));
        return emProtoIncompleteFrame;
    }
    int offset = 0;
    em_ProtoAnalyze result = emProtoFailed;
    try
    {
        result = proto->analyze_DeviceData(type, buffer, match, offset);
    }
    catch (...)
    {
        // An analysis that throws leaves the received bytes in the buffer.
        keepReceived(m_buffer, direct, protoBuffer);
        throw;
    }
    ZLOG(DEBUG, sig, "analyzeFromHardDriver, em_RequestType = %d,ProtoBase.analyzeFromHardDriver's nOpers(bool) = %d.",
         static_cast<int>(type), static_cast<int>(result));
    if (result == emProtoSuccess && offset != 0)
    {
        // The offset is taken sign-extended as a count from the start: a
        // negative one, or one past the end, empties the buffer.
        const auto consumed = static_cast<size_t>(static_cast<long long>(offset));
        if (!direct)
        {
            m_buffer.erase(0, consumed);
        }
        else if (consumed < protoBuffer.size())
        {
            m_buffer.assign(protoBuffer, consumed, std::string::npos);
        }
        return emProtoSuccess;
    }
    // Every failure of the analysis reaches the caller as 255, by design.
    m_buffer.clear();
    ZLOG(WARN, sig, " end! clear buffer.");
    return emProtoFailed;
}

void ProtoStub::clearRecvDeviceData()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_buffer.clear();
}

const std::shared_ptr<INTER_ST::ThirdGenerationCommResponse_Data> ProtoStub::getReplyPackage(
    const std::string& matchKey)
{
    const std::shared_ptr<ProtoBase> proto = protoAt(m_mapProto, matchKey);
    if (!proto)
    {
        ZLOG(WARN, SIG_getReplyPackage, "not found proto object.");
        return nullptr;
    }
    return proto->getReplyRecord();
}

bool ProtoStub::isGeneralThirdPackage(const std::string& buffer, unsigned long long& frameLen)
{
    if (buffer.size() < 2)
    {
        return false;
    }
    frameLen = 0;
    // Byte 16 is taken signed here (the search reading of the length), unlike
    // checkValidLength: kept on purpose.
    const frame::PushedExtent extent = frame::pushedExtent(buffer);
    if (!frame::hasDeviceHead(buffer) || !extent.headerPresent)
    {
        return false;
    }
    if (extent.dataLength != 0 && !extent.complete)
    {
        return false;
    }
    frameLen = extent.frameLength;
    return true;
}

em_ProtoAnalyze ProtoStub::isAutoPushThirdPackage(const std::string& buffer, unsigned long long& frameLen, bool& bFlag,
                                                  std::vector<ST_DeviceAutoReportResponseInfo>& reports)
{
    const char* const sig = SIG_isAutoPushThirdPackage;
    if (buffer.size() < 2)
    {
        return emProtoBadHeader;
    }
    frameLen = 0;
    if (!frame::hasServerHead(buffer))
    {
        return emProtoNotAutoPush;
    }
    const frame::PushedExtent extent = frame::pushedExtent(buffer);
    if (!extent.headerPresent)
    {
        return emProtoBadHeader;
    }
    if (extent.dataLength == 0)
    {
        return emProtoNotAutoPush;
    }
    if (!extent.complete)
    {
        return emProtoFrameShort;
    }
    const unsigned int length = extent.dataLength;
    const auto packetType = static_cast<unsigned char>(buffer[frame::kPacketType]);
    if (packetType == kReportPacketType)
    {
        ZLOG(DEBUG, sig, "buffer.at(11) == 0x32!");
        if (length < kReportMinLength)
        {
            ZLOG(DEBUG, sig, "valiadLength < 18!");
        }
        else
        {
            ZLOG(DEBUG, sig, "valiadLength >= 18!");
            // Pushed reports always go to the variant analyzer, whoever sent them.
            const std::shared_ptr<ProtoBase> proto = protoAt(m_mapProto, kOrvaneProtoKey);
            if (!proto)
            {
                ZLOG(WARN, sig, "not found proto object.");
                return emProtoSuccess;
            }
            proto->analyze_DeviceReportPushData(reports, buffer, frameLen);
            frameLen = extent.frameLength;
        }
    }
    else
    {
        ZLOG(DEBUG, sig, "Packet Type = %d!", static_cast<int>(static_cast<signed char>(packetType)));
    }
    const auto code = static_cast<unsigned char>(buffer[frame::kReadWriteCode]);
    ZLOG(DEBUG, sig, "recv a package code :%d !", static_cast<int>(static_cast<signed char>(code)));
    if (code == kPackageCodeTrue)
    {
        bFlag = true;
        return emProtoSuccess;
    }
    if (code == kPackageCodeFalse)
    {
        bFlag = false;
        return emProtoSuccess;
    }
    ZLOG(WARN, sig, "recv a error code :%d !", static_cast<int>(code));
    return emProtoFailed;
}

void ProtoStub::analyze_DeviceReportData(std::string& buffer, const std::string& matchKey,
                                         std::vector<ST_DeviceAutoReportResponseInfo>& reports)
{
    if (m_mapProto.empty())
    {
        ZLOG(WARN, SIG_analyze_DeviceReportData, " m_mapProto is empty !");
        return;
    }
    // No test for an empty entry here, unlike the other operations.
    const std::shared_ptr<ProtoBase> proto = protoAt(m_mapProto, matchKey);
    proto->analyze_DeviceReportData(buffer, reports);
}
