// Variant analyzer: analysis of the device's replies to a request.
#include "ProtoAnalyze3rd_Orvane.h"

#include "log/LogCall.h"
#include "log/LogSignature.h"
#include "protobase/FrameCodec.h"

#include <cstdlib>

namespace
{
const char* const SIG_analyze_DeviceData =
    ZSIG_RESULT "ProtoAnalyze3rd_Orvane::analyze_DeviceData(const enum em_RequestType &,const " ZSIG_STRING
                " &,const struct ST_MSGToHardDriverMatch &,int &)";
const char* const SIG_analyzeDeviceData_ByCommonProtocol =
    ZSIG_RESULT "ProtoAnalyze3rd_Orvane::analyzeDeviceData_ByCommonProtocol(const " ZSIG_STRING
                " &,const " ZSIG_MATCH_VECTOR " &,const enum em_RequestType &,int &)";

constexpr size_t kArgLowIndex = 11;
constexpr size_t kArgHighIndex = 12;
}  // namespace

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_DeviceData(const em_RequestType& type, const std::string& protoBuffer,
                                                           const ST_MSGToHardDriverMatch& match, int& offset)
{
    const char* const sig = SIG_analyze_DeviceData;
    ZLOG(0, sig, "analyze_DeviceData-type:%d,protoBuffer.size:%d-offset:%d", static_cast<int>(type),
         static_cast<int>(protoBuffer.size()), offset);
    const std::vector<ST_MSGToHardDriverMatchOne>& matchList = match.matchList;
    if (matchList.size() < 2)
    {
        return emProtoShortMatchList;
    }
    std::vector<std::string> packages;
    const bool found = findPackageList(protoBuffer, matchList, offset, packages);
    ZLOG(0, sig, "findPackageList result[%d], offset[%d], strPackageVec[%d].", found ? 1 : 0, offset,
         static_cast<int>(packages.size()));
    if (!found)
    {
        return emProtoNoPackage;
    }
    for (const std::string& package : packages)
    {
        const bool labelFound = isLabelAtWantedPosition(package, matchList[1]);
        ZLOG(0, sig, "find package list bFind[%d], type[%d], buffer size[%d], match size[%d], offset[%d].",
             labelFound ? 1 : 0, static_cast<int>(type), static_cast<int>(protoBuffer.size()),
             static_cast<int>(matchList.size()), offset);
        if (!labelFound)
        {
            ZLOG(3, sig, "err when analyze common package result[%d], offset[%d].", 0, offset);
            continue;
        }
        const em_ProtoAnalyze result = analyzeDeviceData_ByCommonProtocol(package, matchList, type, offset);
        // bRet is logged as the constant 0: no flag is carried there.
        ZLOG(0, sig, "analyze common package opeResTmp[%d],bRet[%d], offset[%d].", static_cast<int>(result), 0, offset);
        if (result == emProtoSuccess)
        {
            return emProtoSuccess;
        }
        ZLOG(3, sig, "analyzeDeviceData_ByCommonProtocol has error!");
    }
    return emProtoNoPackage;
}

bool ProtoAnalyze3rd_Orvane::isLabelAtWantedPosition(const std::string& package,
                                                     const ST_MSGToHardDriverMatchOne& matchOne)
{
    if (matchOne.posWanted < 0 || static_cast<size_t>(matchOne.posWanted) >= package.size())
    {
        return false;
    }
    const auto label = static_cast<unsigned char>(std::atoi(matchOne.key.c_str()));  // NOLINT(cert-err34-c)
    return static_cast<unsigned char>(package[static_cast<size_t>(matchOne.posWanted)]) == label;
}

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyzeDeviceData_ByCommonProtocol(
    const std::string& package, const std::vector<ST_MSGToHardDriverMatchOne>& matchList, const em_RequestType& type,
    int& offset)
{
    const char* const sig = SIG_analyzeDeviceData_ByCommonProtocol;
    const unsigned char ack = frame::byteAt(package, frame::kAck);
    m_replyRecord->ack = ack;
    if (!reviseOk(package, 0, package.size()))
    {
        ZLOG(2, sig, "msgType[%d], offset valid[%d].", static_cast<int>(type), offset);
        return emProtoFrameShort;
    }
    // As in the standard analysis only entries 0 and 1 are checked and never
    // the last entry; a wrong label fails at once.
    const size_t count = matchList.size();
    size_t matchCount = 0;
    for (size_t i = 0; i + 1 < count; ++i)
    {
        const ST_MSGToHardDriverMatchOne& one = matchList[i];
        if (i == 0)
        {
            std::string byteKey;
            if (!headKeyFound(package, one, byteKey))
            {
                ZLOG(2, sig, "rawDatagramBuf:,byteKey:,posWanted:%d", one.posWanted);
                ZLOG_HEX(0, sig, byteKey);
            }
            else
            {
                ++matchCount;
            }
        }
        else if (i == 1)
        {
            const int label = std::atoi(one.key.c_str());  // NOLINT(cert-err34-c): decimal text
            const unsigned char got = frame::byteAt(package, frame::kLabel);
            ZLOG(0, sig, "label[%d], (unsigned char)rawDatagramBuf3[%d].", label, static_cast<int>(got));
            if (label != got)
            {
                ZLOG(3, sig, "label != (unsigned char)rawDatagramBuf[3]");
                return emProtoLabelMismatch;
            }
            ++matchCount;
        }
    }
    if (matchCount != count - 1)
    {
        ZLOG(2, sig, "msgType[%d], matchCount[%d].", static_cast<int>(type), static_cast<int>(matchCount));
        return emProtoFailed;
    }
    offset += static_cast<int>(package.size());
    ++m_nAlreadyRecievedCount;
    const unsigned int validDataLength = frame::wordAt(package, frame::kValidLength);
    // Byte 10 is read as a signed byte: 0xFF logs as -1.
    // NOLINTNEXTLINE(bugprone-signed-char-misuse)
    const int code = static_cast<signed char>(frame::byteAt(package, frame::kReadWriteCode));
    // Every package's data is appended, whatever its read/write code; the
    // counter holds how many bytes this package gave.
    m_nDataCount = static_cast<int>(appendReplyData(package, validDataLength));
    const std::vector<unsigned char>& data = m_replyRecord->data;
    if (data.size() > kArgHighIndex)
    {
        // Each byte is read as a signed char, so 0x80 and above print
        // sign-extended (FFFFFF80): kept by design.
        ZLOG(0, sig, "\n Arg1:%02X%02X\n", static_cast<unsigned int>(static_cast<signed char>(data[kArgHighIndex])),
             static_cast<unsigned int>(static_cast<signed char>(data[kArgLowIndex])));
    }
    // The length becomes the last package's byte count alone, although the
    // data holds every package of the transfer: kept as it stands.
    if (m_nAlreadyRecievedCount == m_nSendCount)
    {
        m_replyRecord->validDataLength = static_cast<unsigned int>(m_nDataCount);
        m_nDataCount = 0;
    }
    ZLOG(0, sig, "operation code[%d], validDataLength[%d], recv count[%d], send count[%d], ack[%d]", code,
         static_cast<int>(validDataLength), static_cast<int>(m_nAlreadyRecievedCount), static_cast<int>(m_nSendCount),
         static_cast<int>(ack));
    return emProtoSuccess;
}
