// The frame layer, in the order a reply travels: header and length checks,
// checksum, package search, response decoding, report splitting; then what
// the request side takes from it. Each operation is its log lines around
// calls into the frame codec.
#include "ProtoBase.h"

#include "FrameCodec.h"
#include "log/LogCall.h"
#include "log/LogSignature.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace
{
const char* const SIG_reviseOk = "bool __cdecl ProtoBase::reviseOk(const " ZSIG_STRING " &,int,unsigned __int64)";
const char* const SIG_findPackageList = "bool __cdecl ProtoBase::findPackageList(const " ZSIG_STRING
                                        " &,const " ZSIG_MATCH_VECTOR " &,int &," ZSIG_STRING_VECTOR " &)";
const char* const SIG_getThirdGenerationCommResponseData =
    "void __cdecl ProtoBase::getThirdGenerationCommResponseData(const " ZSIG_STRING
    " &,unsigned char &," ZSIG_RESPONSE_PTR ")";
const char* const SIG_getResponseDataFromDeviceReport =
    "void __cdecl ProtoBase::getResponseDataFromDeviceReport(const " ZSIG_STRING " &,unsigned char," ZSIG_STRING_PTR
    ")";
const char* const SIG_getDeviceReportDataToProtoResponse =
    "void __cdecl ProtoBase::getDeviceReportDataToProtoResponse(const " ZSIG_STRING
    " &,unsigned char,struct ST_DeviceAutoReportResponseInfo &)";
const char* const SIG_analyze_DeviceReportData =
    "void __cdecl ProtoBase::analyze_DeviceReportData(" ZSIG_STRING " &," ZSIG_REPORT_VECTOR " &)";
const char* const SIG_upPackageListWithoutLabelMatching =
    "void __cdecl ProtoBase::upPackageListWithoutLabelMatching(" ZSIG_STRING " &,const " ZSIG_MATCH_VECTOR
    " &," ZSIG_STRING_VECTOR " &," ZSIG_STRING_VECTOR " &)";

// Reports are split at the server head 0x55 0xAA. That is the key the
// devices' report streams are cut at, although the records decoded from them
// carry the device head: required as it stands.
const char kReportSplitHeadBytes[] = {static_cast<char>(frame::kServerHead0), static_cast<char>(frame::kServerHead1)};
const std::string_view kReportSplitHead(kReportSplitHeadBytes, sizeof kReportSplitHeadBytes);

// The acknowledgement is built from the decoder's ack, which starts at 255 so
// that a report too short to decode is answered as invalid.
constexpr unsigned char kUndecodedAck = 255;

// The most a read request reserves in its reply record ahead of the replies.
constexpr unsigned long long kReplyReserveCap = 16ULL << 20;

// A label in a match entry is decimal text that the request side wrote.
// Up to nine plain digits are read directly (atoi gives the same), anything
// else by atoi itself.
int labelOf(const ST_MSGToHardDriverMatchOne& one)
{
    const std::string& text = one.key;
    if (!text.empty() && text.size() <= 9)
    {
        int value = 0;
        for (const char c : text)
        {
            if (c < '0' || c > '9')
            {
                return std::atoi(text.c_str());  // NOLINT(cert-err34-c)
            }
            value = value * 10 + (c - '0');
        }
        return value;
    }
    return std::atoi(text.c_str());  // NOLINT(cert-err34-c)
}
}  // namespace

ProtoBase::ProtoBase(std::string protoKey)
    : m_strProtoKey(std::move(protoKey)), m_replyRecord(std::make_shared<INTER_ST::ThirdGenerationCommResponse_Data>())
{
}

ProtoBase::~ProtoBase() = default;

std::string ProtoBase::getProtoKey() const
{
    return m_strProtoKey;
}

std::shared_ptr<INTER_ST::ThirdGenerationCommResponse_Data> ProtoBase::getReplyRecord() const
{
    return m_replyRecord;
}

// ---- Header and length checks ----------------------------------------------

em_ProtoAnalyze ProtoBase::checkThridPackageHeaderFlag(const std::string& buffer)
{
    // A one-byte buffer lacks byte 1, so a lone 0xAA reads as a bad header.
    return frame::hasDeviceHead(buffer) ? emProtoHeaderOk : emProtoBadHeader;
}

em_ProtoAnalyze ProtoBase::checkValidLength(const std::string& buffer)
{
    switch (frame::declaredExtent(buffer))
    {
    case frame::Extent::Short:
        return emProtoFrameShort;
    case frame::Extent::Exact:
        return emProtoFrameExact;
    default:
        return emProtoFrameLonger;
    }
}

// ---- Checksum ----------------------------------------------------------------

namespace
{
bool reviseRange(std::string_view buffer, int offset, unsigned long long length)
{
    // Callers pass offset 0 and the buffer's own size. A range too short to
    // hold a checksum, or past the buffer, cannot verify. Two or three bytes
    // sum to the seed alone against the two bytes that end the range.
    const bool inRange =
        offset >= 0 && length >= 2 && static_cast<unsigned long long>(offset) + length <= buffer.size();
    bool ok = false;
    if (inRange)
    {
        const std::string_view range = buffer.substr(static_cast<size_t>(offset), static_cast<size_t>(length));
        const unsigned int computed = frame::frameChecksumSum(range) & 0xFFFF;
        const unsigned int stored = frame::storedChecksum(range);
        ZLOG(DEBUG, SIG_reviseOk, "cacl checkout[%d], from checkout[%d].", static_cast<int>(computed),
             static_cast<int>(stored));
        ok = computed == stored;
    }
    if (!ok && offset == 0)
    {
        ZLOG(WARN, SIG_reviseOk, "Checkout error!: len:%d,ay.size:%d", static_cast<int>(length),
             static_cast<int>(buffer.size()));
    }
    return ok;
}
}  // namespace

bool ProtoBase::reviseOk(const std::string& buffer, int offset, unsigned long long length)
{
    return reviseRange(buffer, offset, length);
}

bool ProtoBase::checksumOk(std::string_view package)
{
    return reviseRange(package, 0, package.size());
}

void ProtoBase::calcCheckout(const std::string& buffer, int first, int count, unsigned int& sum)
{
    sum = frame::kCheckoutSeed;
    if (first >= 0 && count > 0)
    {
        sum = frame::checksumSum(frame::slice(buffer, static_cast<size_t>(first), static_cast<size_t>(count)));
    }
}

unsigned short ProtoBase::makeWord(unsigned char high, unsigned char low)
{
    return static_cast<unsigned short>(high * 256 + low);
}

// ---- Package search ----------------------------------------------------------

bool ProtoBase::hexStringToBytes(const std::string& hex, std::string& bytes)
{
    frame::appendHexBytes(hex, bytes);
    return true;
}

void ProtoBase::cutPackages(std::string_view buffer, std::string_view head, unsigned char wantedLabel, int& offset,
                            std::vector<std::string_view>& out)
{
    const long long size = static_cast<long long>(buffer.size());
    // A later head is taken only for a frame with the wanted label that reaches
    // exactly to the buffer's end, by the search reading of its length.
    auto accept = [&](size_t found, size_t from) {
        long long pos = static_cast<long long>(found);
        // In a buffer of one frame or less a second head is not taken as found;
        // the label test below still runs, at pos + 3 = 2.
        if (from != 0 && size <= static_cast<long long>(frame::kOverhead))
        {
            pos = -1;
        }
        if (size < pos + 3)
        {
            ZLOG(INFO, SIG_findPackageList, "buffer length = %d, pos found = %d.", static_cast<int>(size),
                 static_cast<int>(pos + 3));
            return false;
        }
        // pos + 3 may equal the size: that reads the string's terminating
        // zero. With pos "none" (-1) the label is read at byte 2.
        const unsigned char label = frame::byteAt(buffer, static_cast<size_t>(pos + 3));
        if (label != wantedLabel)
        {
            ZLOG(INFO, SIG_findPackageList, "req label = %d, rsp label = %d.", static_cast<int>(wantedLabel),
                 static_cast<int>(label));
            return false;
        }
        if (pos < 0)
        {
            // Taking the remainder from "none" is out of range. Callers see
            // this exception; it is part of the behaviour.
            throw std::out_of_range("invalid string position");
        }
        const long long remainder = size - pos;
        if (remainder < static_cast<long long>(frame::kOverhead))
        {
            ZLOG(INFO, SIG_findPackageList, "subPackage len too less!");
            return false;
        }
        const unsigned int validLen = frame::searchLength(buffer.substr(found));
        if (remainder != static_cast<long long>(validLen) + static_cast<long long>(frame::kOverhead))
        {
            ZLOG(INFO, SIG_findPackageList, "subPackageLen != valiadLen+20 ,subPackageLen:%d,valiadLen:%d!",
                 static_cast<int>(remainder), static_cast<int>(validLen));
            return false;
        }
        return true;
    };
    // The first head's position is the offset, set before any later head is
    // weighed: a caller that catches the exception below still sees it.
    const size_t first = buffer.find(head);
    if (first != std::string_view::npos)
    {
        offset = static_cast<int>(first);
    }
    frame::cutAtHeads(buffer, head, accept, [&out](std::string_view piece) { out.push_back(piece); });
}

bool ProtoBase::findPackageList(const std::string& buffer, const std::vector<ST_MSGToHardDriverMatchOne>& match,
                                int& offset, std::vector<std::string>& strPackageVec)
{
    if (match.size() < 2)
    {
        return false;
    }
    std::string head;
    hexStringToBytes(match[0].key, head);
    std::vector<std::string_view> pieces;
    cutPackages(buffer, head, static_cast<unsigned char>(labelOf(match[1])), offset, pieces);
    strPackageVec.insert(strPackageVec.end(), pieces.begin(), pieces.end());
    const bool found = !strPackageVec.empty();
    ZLOG(TRACE, SIG_findPackageList, "findPackageList,bRet:%d-strPackageVec.size:%d", found ? 1 : 0,
         static_cast<int>(strPackageVec.size()));
    return found;
}

void ProtoBase::readReplyKeys(const std::vector<ST_MSGToHardDriverMatchOne>& match)
{
    static const std::string kNoKey;
    const std::string& headText = match.empty() ? kNoKey : match[0].key;
    if (!m_replyKeys.headRead || m_replyKeys.headText != headText)
    {
        m_replyKeys.head.clear();
        frame::appendHexBytes(headText, m_replyKeys.head);
        m_replyKeys.headText = headText;
        m_replyKeys.headRead = true;
    }
    m_replyKeys.label = match.size() > 1 ? labelOf(match[1]) : 0;
}

bool ProtoBase::findPackages(std::string_view buffer, const std::vector<ST_MSGToHardDriverMatchOne>& match, int& offset)
{
    m_packages.clear();
    if (match.size() < 2)
    {
        return false;
    }
    cutPackages(buffer, m_replyKeys.head, static_cast<unsigned char>(m_replyKeys.label), offset, m_packages);
    const bool found = !m_packages.empty();
    ZLOG(TRACE, SIG_findPackageList, "findPackageList,bRet:%d-strPackageVec.size:%d", found ? 1 : 0,
         static_cast<int>(m_packages.size()));
    return found;
}

bool ProtoBase::headKeyFound(std::string_view package, std::string_view byteKey, int posWanted)
{
    const auto pos = static_cast<unsigned int>(package.find(byteKey, static_cast<size_t>(posWanted)));
    return pos != 0xFFFFFFFFu;
}

bool ProtoBase::labelMatches(const char* sig, std::string_view package, int label)
{
    const unsigned char got = frame::byteAt(package, frame::kLabel);
    ZLOG(TRACE, sig, "label[%d], (unsigned char)rawDatagramBuf3[%d].", label, static_cast<int>(got));
    if (label != got)
    {
        ZLOG(WARN, sig, "label != (unsigned char)rawDatagramBuf[3]");
        return false;
    }
    return true;
}

em_ProtoAnalyze ProtoBase::checkReplyPackage(const char* sig, std::string_view package,
                                             const std::vector<ST_MSGToHardDriverMatchOne>& matchList,
                                             const em_RequestType& type, int& offset, const PackageCheckRules& rules)
{
    m_replyRecord->ack = frame::byteAt(package, frame::kAck);
    if (!checksumOk(package))
    {
        ZLOG(INFO, sig, "%smsgType[%d], offset valid[%d].", rules.checksumLogLead, static_cast<int>(type), offset);
        return rules.checksumWrong;
    }
    const size_t count = matchList.size();
    size_t matchCount = 0;
    const std::string& byteKey = m_replyKeys.head;
    if (count > 1 && !headKeyFound(package, byteKey, matchList[0].posWanted))
    {
        ZLOG(INFO, sig, "rawDatagramBuf%s,byteKey%s,posWanted:%d", rules.keyMark, rules.keyMark,
             matchList[0].posWanted);
        if (rules.logKeyBytes)
        {
            ZLOG_HEX(TRACE, sig, byteKey);
        }
    }
    else if (count > 1)
    {
        ++matchCount;
    }
    if (count > 2)
    {
        if (labelMatches(sig, package, m_replyKeys.label))
        {
            ++matchCount;
        }
        else if (rules.labelFailsAtOnce)
        {
            return emProtoLabelMismatch;
        }
    }
    if (matchCount != count - 1)
    {
        ZLOG(INFO, sig, "msgType[%d], matchCount[%d].", static_cast<int>(type), static_cast<int>(matchCount));
        return emProtoFailed;
    }
    offset += static_cast<int>(package.size());
    return emProtoSuccess;
}

// ---- Response decoding ---------------------------------------------------------

void ProtoBase::initReplyRecord(const INTER_ST::ThirdGenerationCommRequest_Data* request)
{
    auto record = std::make_shared<INTER_ST::ThirdGenerationCommResponse_Data>();
    record->head[0] = frame::kDeviceHead0;
    record->head[1] = frame::kDeviceHead1;
    if (request != nullptr)
    {
        // The answer comes from the other end, so the address bytes trade places.
        record->firstAddr = request->secondAddr;
        record->secondAddr = request->firstAddr;
        record->deviceType = request->deviceType;
        record->frameByte7 = request->frameByte7;
        record->readWriteCode = request->readWriteCode;
        record->packetType = request->packetType;
        record->scanBoardAddr = request->scanBoardAddr;
        record->registerAddr = request->registerAddr;
    }
    // A read's replies gather about its length in the record: the first reply
    // makes room for it once, rather than growth step by step as replies come.
    const bool read = request != nullptr && request->readWriteCode == emOperationRead;
    m_replyReserve =
        read ? static_cast<size_t>(std::min<unsigned long long>(request->validLength, kReplyReserveCap)) : 0;
    record->validDataLength = 0;
    m_replyRecord = std::move(record);
}

void ProtoBase::getThirdGenerationCommResponseData(const std::string& f, unsigned char& ack,
                                                   std::shared_ptr<INTER_ST::ThirdGenerationCommResponse_Data> record)
{
    if (!record)
    {
        return;
    }
    decodeResponse(f, ack, *record);
}

void ProtoBase::decodeResponse(std::string_view f, unsigned char& ack,
                               INTER_ST::ThirdGenerationCommResponse_Data& record)
{
    if (f.size() < frame::kOverhead)
    {
        ZLOG(WARN, SIG_getThirdGenerationCommResponseData, " invalid package , size is [%d] ",
             static_cast<int>(f.size()));
        return;
    }
    copyHeader(f, record);
    ack = record.ack;
    record.validDataLength = frame::recordLength(f);
    if (record.readWriteCode == emOperationWrite)
    {
        ZLOG(WARN, SIG_getThirdGenerationCommResponseData,
             "unknown write package has no data! protoBuffer[10] code :%d ", 1);
        return;
    }
    if (record.readWriteCode != emOperationRead)
    {
        ZLOG(WARN, SIG_getThirdGenerationCommResponseData, "unknown em_OperationCodeType :%d ",
             static_cast<int>(record.readWriteCode));
        return;
    }
    frame::appendRecordData(f, frame::declaredLength(f), record.data);
}

void ProtoBase::copyHeader(std::string_view f, INTER_ST::ThirdGenerationCommResponse_Data& record)
{
    const frame::Header h = frame::decodeHeader(f);
    record.head[0] = frame::kDeviceHead0;
    record.head[1] = frame::kDeviceHead1;
    record.ack = h.ack;
    record.label = h.label;
    record.firstAddr = h.firstAddr;
    record.secondAddr = h.secondAddr;
    record.deviceType = h.deviceType;
    record.frameByte7 = h.byte7;
    record.readWriteCode = h.readWriteCode;
    record.packetType = h.packetType;
    record.scanBoardAddr.insert(record.scanBoardAddr.end(), std::begin(h.scanBoard), std::end(h.scanBoard));
    record.registerAddr.insert(record.registerAddr.end(), std::begin(h.registerAddr), std::end(h.registerAddr));
}

void ProtoBase::getResponseDataFromDeviceReport(const std::string& report, unsigned char ack,
                                                std::shared_ptr<std::string> answer)
{
    writeAcknowledgement(SIG_getResponseDataFromDeviceReport, report, ack, answer.get(), false);
}

void ProtoBase::writeAcknowledgement(const char* sig, std::string_view report, unsigned char ack, std::string* answer,
                                     bool variantForm)
{
    if (answer == nullptr)
    {
        return;
    }
    if (report.size() < (variantForm ? frame::kVariantOverhead : frame::kOverhead))
    {
        ZLOG(WARN, sig, " invalid package , size is [%d] ", static_cast<int>(report.size()));
    }
    if (variantForm)
    {
        frame::acknowledgeVariant(report, ack, *answer);
    }
    else
    {
        frame::acknowledge(report, ack, *answer);
    }
}

void ProtoBase::getDeviceReportDataToProtoResponse(const std::string& report, unsigned char ack,
                                                   ST_DeviceAutoReportResponseInfo& info)
{
    decodeReport(report, ack, info);
}

void ProtoBase::decodeReport(std::string_view report, unsigned char ack, ST_DeviceAutoReportResponseInfo& info)
{
    auto record = std::make_shared<INTER_ST::ThirdGenerationCommResponse_Data>();
    // ack is the decoder's out-parameter: a report of 20 bytes or more replaces
    // the caller's value with its byte 2, and the acknowledgement follows that.
    decodeResponse(report, ack, *record);
    info.response = std::move(record);
    auto answer = std::make_shared<std::string>();
    writeAcknowledgement(SIG_getResponseDataFromDeviceReport, report, ack, answer.get(), false);
    info.answer = std::move(answer);
    info.ack = ack;
    ZLOG(TRACE, SIG_getDeviceReportDataToProtoResponse, "convertDeviceReportDataToProtoResponse end. ");
}

size_t ProtoBase::appendReplyData(std::string_view package, unsigned int validDataLength)
{
    const std::string_view data = frame::replyData(package, validDataLength);
    std::vector<unsigned char>& out = m_replyRecord->data;
    if (out.capacity() == 0 && !data.empty())
    {
        out.reserve(std::max(m_replyReserve, data.size()));
    }
    // As unsigned bytes, so that the insert is one block copy.
    const auto* first = reinterpret_cast<const unsigned char*>(data.data());
    out.insert(out.end(), first, first + data.size());
    return data.size();
}

// ---- Report splitting ------------------------------------------------------------

void ProtoBase::upPackageListWithoutLabelMatching(std::string& buffer,
                                                  const std::vector<ST_MSGToHardDriverMatchOne>& match,
                                                  std::vector<std::string>& okList,
                                                  std::vector<std::string>& failedList)
{
    ZLOG(TRACE, SIG_upPackageListWithoutLabelMatching,
         "-----analyze_DeviceReportData ,upPackageListWithoutLabelMatching start ...");
    if (match.empty())
    {
        throw std::out_of_range("invalid vector<T> subscript");
    }
    std::string head;
    hexStringToBytes(match[0].key, head);
    std::vector<std::string_view> ok;
    std::vector<std::string_view> failed;
    splitReports(buffer, head, ok, failed);
    okList.insert(okList.end(), ok.begin(), ok.end());
    failedList.insert(failedList.end(), failed.begin(), failed.end());
    buffer.clear();
    ZLOG(TRACE, SIG_upPackageListWithoutLabelMatching,
         "-----analyze_DeviceReportData ,upPackageListWithoutLabelMatching end ...");
}

void ProtoBase::splitReports(std::string_view buffer, std::string_view head, std::vector<std::string_view>& okList,
                             std::vector<std::string_view>& failedList)
{
    // Every head is taken; good checksums go to okList, the rest to failedList.
    auto sort = [&okList, &failedList](std::string_view piece) {
        (checksumOk(piece) ? okList : failedList).push_back(piece);
    };
    const size_t first = frame::cutAtHeads(
        buffer, head, [](size_t, size_t) { return true; }, sort);
    if (first == std::string_view::npos)
    {
        failedList.push_back(buffer);
    }
}

void ProtoBase::analyze_DeviceReportData(std::string& buffer, std::vector<ST_DeviceAutoReportResponseInfo>& reports)
{
    ZLOG(TRACE, SIG_analyze_DeviceReportData, "-----analyze_DeviceReportData ,analyze start ...");
    ZLOG(TRACE, SIG_upPackageListWithoutLabelMatching,
         "-----analyze_DeviceReportData ,upPackageListWithoutLabelMatching start ...");
    // The reports are decoded where they lie in buffer, which is emptied
    // once they are (also when decoding throws), as if it had been at once.
    struct ClearOnExit
    {
        explicit ClearOnExit(std::string& b) : buffer(b) {}
        ClearOnExit(const ClearOnExit&) = delete;
        ClearOnExit& operator=(const ClearOnExit&) = delete;
        ~ClearOnExit() { buffer.clear(); }
        std::string& buffer;
    } clearOnExit(buffer);
    std::vector<std::string_view> okList;
    std::vector<std::string_view> failedList;
    splitReports(buffer, kReportSplitHead, okList, failedList);
    ZLOG(TRACE, SIG_upPackageListWithoutLabelMatching,
         "-----analyze_DeviceReportData ,upPackageListWithoutLabelMatching end ...");
    reports.reserve(reports.size() + okList.size() + failedList.size());
    for (size_t i = 0; i < okList.size(); ++i)
    {
        ZLOG(TRACE, SIG_analyze_DeviceReportData, "-----analyze_DeviceReportData ,analyze strprotoOKPackageLst[%d] .",
             static_cast<int>(i));
        ST_DeviceAutoReportResponseInfo info;
        decodeReport(okList[i], kUndecodedAck, info);
        reports.push_back(std::move(info));
    }
    for (size_t i = 0; i < failedList.size(); ++i)
    {
        ZLOG(TRACE, SIG_analyze_DeviceReportData,
             "-----analyze_DeviceReportData ,analyze strprotoFailedPackageLst[%d] .", static_cast<int>(i));
        ST_DeviceAutoReportResponseInfo info;
        decodeReport(failedList[i], kUndecodedAck, info);
        reports.push_back(std::move(info));
    }
}

// ---- For the request side -----------------------------------------------------------

unsigned char ProtoBase::advancePacketLabel()
{
    return ++m_ucPacketLabel;
}

unsigned int ProtoBase::scanBoardWord(const std::vector<unsigned char>& scanBoardAddr)
{
    // Only the first two bytes fit the frame's two-byte field; more are ignored.
    return frame::wordAt(frame::slice(frame::bytesOf(scanBoardAddr), 0, 2), 0);
}

em_ProtoAnalyze ProtoBase::beginRequestFrame(const char* sig, const ST_RegisterAddrAndValid& pkg,
                                             const INTER_ST::ThirdGenerationCommRequest_Data* request, size_t overhead,
                                             const char* codeName, unsigned char& label,
                                             std::shared_ptr<std::string>& frame)
{
    // The label advances even for a packet that is not built: the next frame
    // then skips a label.
    label = advancePacketLabel();
    if (request == nullptr)
    {
        ZLOG(INFO, sig, "request is null,operation result[%d]", static_cast<int>(emProtoNullRequest));
        return emProtoNullRequest;
    }
    const size_t length = pkg.validLen + overhead;
    const unsigned int code = request->readWriteCode;
    ZLOG(TRACE, sig,
         "label[%d], datagramLength[%d], addrscr[0x%0x], scanBoardAddr[0x%0x], readWriteCode[%d], device type[%d].",
         static_cast<int>(label), static_cast<int>(length), pkg.registerAddr, scanBoardWord(request->scanBoardAddr),
         static_cast<int>(code), static_cast<int>(request->deviceType));
    if (code != emOperationRead && code != emOperationWrite)
    {
        ZLOG(WARN, sig, "error %s:%d", codeName, static_cast<int>(code));
        return emProtoBadReadWriteCode;
    }
    frame = newRequestFrame(length, label, *request, pkg.registerAddr);
    return emProtoSuccess;
}

std::shared_ptr<std::string> ProtoBase::newRequestFrame(size_t length, unsigned char label,
                                                        const INTER_ST::ThirdGenerationCommRequest_Data& request,
                                                        unsigned int registerAddr)
{
    frame::RequestHeader header;
    header.label = label;
    header.firstAddr = request.firstAddr;
    header.secondAddr = request.secondAddr;
    header.deviceType = request.deviceType;
    header.byte7 = request.frameByte7;
    header.scanBoard = scanBoardWord(request.scanBoardAddr);
    header.readWriteCode = request.readWriteCode;
    header.packetType = request.packetType;
    header.registerAddr = registerAddr;
    auto f = std::make_shared<std::string>();
    f->reserve(std::max(length, frame::kOverhead));
    frame::appendRequestHeader(header, *f);
    return f;
}

unsigned int ProtoBase::storeCheckout(std::string& f, size_t length)
{
    return frame::sealPlanned(f, length);
}
