// Variant analyzer: reports that variant devices push of their own accord,
// decoded into records and acknowledged with a 38-byte frame.
#include "ProtoAnalyze3rd_Orvane.h"

#include "log/LogCall.h"
#include "log/LogSignature.h"
#include "protobase/FrameCodec.h"

#include <algorithm>

namespace
{
const char* const SIG_analyze_DeviceReportPushData =
    ZSIG_RESULT "ProtoAnalyze3rd_Orvane::analyze_DeviceReportPushData(" ZSIG_REPORT_VECTOR " &,const " ZSIG_STRING
                " &,unsigned __int64 &)";
const char* const SIG_getResponseDataFromDeviceReport =
    "void __cdecl ProtoAnalyze3rd_Orvane::getResponseDataFromDeviceReport(const " ZSIG_STRING
    " &,unsigned char," ZSIG_STRING_PTR ")";

constexpr size_t kAnswerSize = frame::kVariantOverhead;  // 38 bytes
// Header bytes 0 to 17 of the acknowledgement for a package too short to answer.
const unsigned char kInvalidPackageAnswer[frame::kHeaderSize] = {0xAA, 0x55, 0x02, 0x00, 0xFE, 0xFF, 0x00, 0x00, 0x00,
                                                                 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};

// Appends package[first .. first+count) to out, stopping at the package's end.
void appendBytes(std::vector<unsigned char>& out, const std::string& package, size_t first, size_t count)
{
    if (first >= package.size())
    {
        return;
    }
    const size_t n = std::min(count, package.size() - first);
    const auto* bytes = reinterpret_cast<const unsigned char*>(package.data()) + first;
    out.insert(out.end(), bytes, bytes + n);
}
}  // namespace

em_ProtoAnalyze ProtoAnalyze3rd_Orvane::analyze_DeviceReportPushData(
    std::vector<ST_DeviceAutoReportResponseInfo>& reports, const std::string& buffer, unsigned long long& offset)
{
    const char* const sig = SIG_analyze_DeviceReportPushData;
    // Packet sum and sequence number are read from the buffer's start whatever
    // the offset; bytes a short buffer lacks read as zero.
    const unsigned int packetSum = frame::dwordAt(buffer, frame::kVariantPacketSum);
    const unsigned int sequence = frame::dwordAt(buffer, frame::kVariantSequence);
    // The text has two blanks after "recv a" and a full-width comma (U+FF0C).
    ZLOG(1, sig,
         "recv a  auto report package!"
         "\xEF\xBC\x8C"
         "nPacketSum =%d,nPacketSequeseNum:%d",
         static_cast<int>(packetSum), static_cast<int>(sequence));
    if (packetSum == 1 && sequence >= 1)
    {
        ZLOG(3, sig, "recv a error auto report package!");
    }
    if (packetSum == 0)
    {
        ZLOG(3, sig, "recv a error auto report package !");
    }
    std::string tail;
    if (offset != 0)
    {
        tail = offset < buffer.size() ? buffer.substr(static_cast<size_t>(offset)) : std::string();
    }
    const std::string& package = offset == 0 ? buffer : tail;
    if (frame::byteAt(buffer, frame::kAck) != 0)
    {
        ZLOG(3, sig, "ack != 0 !");
    }
    // The length is read at offset + 16 of the package, which itself starts at
    // offset: for a non-zero offset that is buffer index 2*offset + 16. Kept as
    // the devices' peers expect it; both readings agree at offset 0.
    const size_t lengthAt = offset < buffer.size() ? static_cast<size_t>(offset) + frame::kValidLength : buffer.size();
    const unsigned int validDataLength = frame::wordAt(package, lengthAt);

    auto record = std::make_shared<INTER_ST::ThirdGenerationCommResponse_Data>();
    record->head[0] = frame::kDeviceHead0;
    record->head[1] = frame::kDeviceHead1;
    record->ack = frame::byteAt(package, frame::kAck);
    record->label = frame::byteAt(package, frame::kLabel);
    record->firstAddr = frame::byteAt(package, frame::kFirstAddr);
    record->secondAddr = frame::byteAt(package, frame::kSecondAddr);
    record->deviceType = frame::byteAt(package, frame::kDeviceType);
    record->frameByte7 = frame::byteAt(package, frame::kByte7);
    record->scanBoardAddr = {frame::byteAt(package, frame::kScanBoard), frame::byteAt(package, frame::kScanBoard + 1)};
    record->readWriteCode = frame::byteAt(package, frame::kReadWriteCode);
    record->packetType = frame::byteAt(package, frame::kPacketType);
    record->registerAddr = {frame::byteAt(package, frame::kRegisterAddr),
                            frame::byteAt(package, frame::kRegisterAddr + 1),
                            frame::byteAt(package, frame::kRegisterAddr + 2),
                            frame::byteAt(package, frame::kRegisterAddr + 3)};
    record->validDataLength = validDataLength;
    // A declared length that runs past the package stops at its end.
    appendBytes(record->data, package, frame::kData, validDataLength);
    appendBytes(record->checkout, package, frame::kData + validDataLength, 2);

    ST_DeviceAutoReportResponseInfo info;
    info.response = record;
    info.answer = std::make_shared<std::string>();
    getResponseDataFromDeviceReport(package, 0, info.answer);
    reports.push_back(std::move(info));

    offset += validDataLength + frame::kOverhead;
    ZLOG(0, sig, "operation emCode[%d], nLen:[%d], nOffSet[%d],recv nDataIndex",
         static_cast<int>(static_cast<signed char>(record->readWriteCode)), static_cast<int>(validDataLength),
         static_cast<int>(offset));
    return emProtoSuccess;
}

void ProtoAnalyze3rd_Orvane::getResponseDataFromDeviceReport(const std::string& package, unsigned char flag,
                                                             std::shared_ptr<std::string> answer)
{
    if (!answer)
    {
        return;
    }
    std::string& out = *answer;
    out.assign(kAnswerSize, '\0');
    if (package.size() < kAnswerSize)
    {
        ZLOG(3, SIG_getResponseDataFromDeviceReport, " invalid package , size is [%d] ",
             static_cast<int>(package.size()));
        out.replace(0, frame::kHeaderSize, reinterpret_cast<const char*>(kInvalidPackageAnswer), frame::kHeaderSize);
    }
    else
    {
        out[frame::kHead0] = static_cast<char>(frame::kDeviceHead0);
        out[frame::kHead1] = static_cast<char>(frame::kDeviceHead1);
        out[frame::kAck] = static_cast<char>(flag != 0 ? 2 : 0);
        out[frame::kLabel] = package[frame::kLabel];
        // The two address bytes trade places in the answer, by design.
        out[frame::kFirstAddr] = package[frame::kSecondAddr];
        out[frame::kSecondAddr] = package[frame::kFirstAddr];
        out.replace(frame::kDeviceType, 10, package, frame::kDeviceType, 10);
        frame::putWord(out, frame::kValidLength, static_cast<unsigned int>(frame::kSubHeaderSize));
        out.replace(frame::kData, frame::kSubHeaderSize, package, frame::kData, frame::kSubHeaderSize);
    }
    storeCheckout(out);
}
