// Standard analyzer: analysis of the device's replies to a request.
#include "ProtoAnalyze3rd.h"

#include "log/LogCall.h"
#include "log/LogSignature.h"
#include "protobase/FrameCodec.h"

#include <cstdlib>

namespace
{
const char* const SIG_analyze_DeviceData =
    ZSIG_RESULT "ProtoAnalyze3rd::analyze_DeviceData(const enum em_RequestType &,const " ZSIG_STRING
                " &,const struct ST_MSGToHardDriverMatch &,int &)";
const char* const SIG_analyzeDeviceData_ByCommonProtocol =
    ZSIG_RESULT "ProtoAnalyze3rd::analyzeDeviceData_ByCommonProtocol(const " ZSIG_STRING " &,const " ZSIG_MATCH_VECTOR
                " &,const enum em_RequestType &,int &)";

}  // namespace

em_ProtoAnalyze ProtoAnalyze3rd::analyze_DeviceData(const em_RequestType& type, const std::string& protoBuffer,
                                                    const ST_MSGToHardDriverMatch& match, int& offset)
{
    const char* const sig = SIG_analyze_DeviceData;
    const std::vector<ST_MSGToHardDriverMatchOne>& matchList = match.matchList;
    if (matchList.empty())
    {
        ZLOG(3, sig, "msg match size is 0.");
        return emProtoNotFound;
    }
    ZLOG(0, sig, "find package list begin, buffer size:%d, match size:%d, offset:%d.",
         static_cast<int>(protoBuffer.size()), static_cast<int>(matchList.size()), offset);
    std::vector<std::string> packages;
    const bool found = findPackageList(protoBuffer, matchList, offset, packages);
    ZLOG(0, sig, "find package list ret(bool):%d, type:%d, buffer size:%d, match size:%d, offset:%d, package size:%d.",
         found ? 1 : 0, static_cast<int>(type), static_cast<int>(protoBuffer.size()),
         static_cast<int>(matchList.size()), offset, static_cast<int>(packages.size()));
    if (found)
    {
        for (const std::string& package : packages)
        {
            const em_ProtoAnalyze result = analyzeDeviceData_ByCommonProtocol(package, matchList, type, offset);
            ZLOG(0, sig, "analyze common package opeResTmp[%d],offset[%d].", static_cast<int>(result), offset);
            if (result == emProtoSuccess)
            {
                return emProtoSuccess;
            }
            ZLOG(3, sig, "analyzeDeviceData_ByCommonProtocol has error!");
        }
    }
    return emProtoNoPackage;
}

em_ProtoAnalyze ProtoAnalyze3rd::analyzeDeviceData_ByCommonProtocol(
    const std::string& package, const std::vector<ST_MSGToHardDriverMatchOne>& matchList, const em_RequestType& type,
    int& offset)
{
    const char* const sig = SIG_analyzeDeviceData_ByCommonProtocol;
    // The ack is recorded before any check: a rejected package leaves its ack
    // in the reply record, by design.
    const unsigned char ack = frame::byteAt(package, frame::kAck);
    m_replyRecord->ack = ack;
    if (!reviseOk(package, 0, package.size()))
    {
        ZLOG(2, sig, "match crc error, msgType[%d], offset valid[%d].", static_cast<int>(type), offset);
        return emProtoFrameExact;
    }
    // Only entries 0 and 1 are checked, and never the last entry of the list:
    // one entry always passes, two check the head only, three check head and
    // label, four or more can never pass. That asymmetry is required.
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
                ZLOG(2, sig, "rawDatagramBuf,byteKey,posWanted:%d", one.posWanted);
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
            }
            else
            {
                ++matchCount;
            }
        }
    }
    if (matchCount != count - 1)
    {
        ZLOG(2, sig, "msgType[%d], matchCount[%d].", static_cast<int>(type), static_cast<int>(matchCount));
        return emProtoFailed;
    }
    // Counted and consumed before the read/write code is looked at: a package
    // rejected for its code below still counts.
    offset += static_cast<int>(package.size());
    ++m_nAlreadyRecievedCount;
    ZLOG(0, sig, "m_nAlreadyRecievedCount: %d", static_cast<int>(m_nAlreadyRecievedCount));
    const unsigned int validDataLength = frame::wordAt(package, frame::kValidLength);
    // Byte 10 is read as a signed byte: 0xFF logs as -1.
    // NOLINTNEXTLINE(bugprone-signed-char-misuse)
    const int code = static_cast<signed char>(frame::byteAt(package, frame::kReadWriteCode));
    std::vector<unsigned char>& data = m_replyRecord->data;
    if (code == emOperationWrite)
    {
        data.clear();
    }
    else if (code == emOperationRead)
    {
        // The copy stops at the declared length or before the checksum,
        // whichever comes first.
        const size_t copied = appendReplyData(package, validDataLength);
        if (type == emRequestReadFile)
        {
            appendToOutputFile(package, frame::kData, copied);
        }
    }
    else
    {
        ZLOG(3, sig, "error ReadWrite Type :%d", code);
        return emProtoBadReadWriteCode;
    }
    m_replyRecord->validDataLength = data.size();
    if (m_nAlreadyRecievedCount == m_nSendCount)
    {
        ZLOG(1, sig, "all sub package is received !");
        if (m_ofsFile.is_open())
        {
            m_ofsFile.flush();
            m_ofsFile.close();
        }
    }
    ZLOG(0, sig, "end ! emReadWriteCode[%d], validDataLength[%d], recv count[%d], send count[%d], ack[%d]]", code,
         static_cast<int>(validDataLength), static_cast<int>(m_nAlreadyRecievedCount), static_cast<int>(m_nSendCount),
         static_cast<int>(ack));
    return emProtoSuccess;
}

void ProtoAnalyze3rd::appendToOutputFile(const std::string& package, size_t first, size_t count)
{
    // Opened lazily on the first data of a file read, closed when it completes.
    if (!m_ofsFile.is_open())
    {
        m_ofsFile.clear();
        m_ofsFile.open(m_strFilePath, std::ios::out | std::ios::app | std::ios::binary);
    }
    if (!m_ofsFile.is_open())
    {
        ZLOG(3, SIG_analyzeDeviceData_ByCommonProtocol, "filepath:[%s] open failed ...", m_strFilePath.c_str());
        return;
    }
    if (count != 0)
    {
        m_ofsFile.write(package.data() + first, static_cast<std::streamsize>(count));
    }
}
