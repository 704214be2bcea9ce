// Reply records: starting one for a request, filling one from a device frame,
// and the 20-byte acknowledgement of a device report.
#include "ProtoBase.h"

#include "FrameCodec.h"
#include "log/LogCall.h"
#include "log/LogSignature.h"

#include <algorithm>

namespace
{
const char* const SIG_getThirdGenerationCommResponseData =
    "void __cdecl ProtoBase::getThirdGenerationCommResponseData(const " ZSIG_STRING
    " &,unsigned char &," ZSIG_RESPONSE_PTR ")";
const char* const SIG_getResponseDataFromDeviceReport =
    "void __cdecl ProtoBase::getResponseDataFromDeviceReport(const " ZSIG_STRING " &,unsigned char," ZSIG_STRING_PTR
    ")";
const char* const SIG_getDeviceReportDataToProtoResponse =
    "void __cdecl ProtoBase::getDeviceReportDataToProtoResponse(const " ZSIG_STRING
    " &,unsigned char,struct ST_DeviceAutoReportResponseInfo &)";

// Header bytes 0 to 17 of the acknowledgement sent for a report too short to decode.
const unsigned char kInvalidPackageAnswer[frame::kHeaderSize] = {0xAA, 0x55, 0x02, 0x00, 0xFE, 0xFF, 0x00, 0x00, 0x00,
                                                                 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
}  // namespace

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
    if (f.size() < frame::kOverhead)
    {
        ZLOG(3, SIG_getThirdGenerationCommResponseData, " invalid package , size is [%d] ", static_cast<int>(f.size()));
        return;
    }
    auto at = [&f](size_t i) { return static_cast<unsigned char>(f[i]); };
    const unsigned int length = frame::wordAt(f, frame::kValidLength);
    record->head[0] = frame::kDeviceHead0;
    record->head[1] = frame::kDeviceHead1;
    ack = at(frame::kAck);
    record->ack = at(frame::kAck);
    record->label = at(frame::kLabel);
    record->firstAddr = at(frame::kFirstAddr);
    record->secondAddr = at(frame::kSecondAddr);
    record->deviceType = at(frame::kDeviceType);
    record->frameByte7 = at(frame::kByte7);
    record->packetType = at(frame::kPacketType);
    record->scanBoardAddr.push_back(at(frame::kScanBoard));
    record->scanBoardAddr.push_back(at(frame::kScanBoard + 1));
    for (size_t i = 0; i < 4; ++i)
    {
        record->registerAddr.push_back(at(frame::kRegisterAddr + i));
    }
    // Byte 16 taken as a signed byte and the sum kept to 32 bits: a low byte of
    // 0x80 or more states 256 less (near 2^32 when byte 17 is 0). Kept as is.
    const int signedLength = at(frame::kValidLength + 1) * 256 + static_cast<signed char>(at(frame::kValidLength));
    record->validDataLength = static_cast<unsigned int>(signedLength);
    record->readWriteCode = at(frame::kReadWriteCode);
    if (record->readWriteCode == emOperationWrite)
    {
        ZLOG(3, SIG_getThirdGenerationCommResponseData, "unknown write package has no data! protoBuffer[10] code :%d ",
             1);
        return;
    }
    if (record->readWriteCode != emOperationRead)
    {
        ZLOG(3, SIG_getThirdGenerationCommResponseData, "unknown em_OperationCodeType :%d ",
             static_cast<int>(record->readWriteCode));
        return;
    }
    // The byte position is an 8-bit counter: past 255 it wraps to 0 and the copy
    // goes on from the frame's first bytes. A limit of the decoder kept as is.
    unsigned char p = frame::kData;
    for (unsigned int i = 0; i < length; ++i)
    {
        if (p >= f.size() - 2)
        {
            break;
        }
        record->data.push_back(at(p));
        ++p;
    }
}

void ProtoBase::getResponseDataFromDeviceReport(const std::string& report, unsigned char ack,
                                                std::shared_ptr<std::string> answer)
{
    if (!answer)
    {
        return;
    }
    std::string& out = *answer;
    out.assign(frame::kOverhead, '\0');
    if (report.size() >= frame::kOverhead)
    {
        out[frame::kHead0] = static_cast<char>(frame::kDeviceHead0);
        out[frame::kHead1] = static_cast<char>(frame::kDeviceHead1);
        out[frame::kAck] = static_cast<char>(ack != 0 ? 2 : 0);
        out[frame::kLabel] = report[frame::kLabel];
        out[frame::kFirstAddr] = report[frame::kSecondAddr];
        out[frame::kSecondAddr] = report[frame::kFirstAddr];
        out.replace(frame::kDeviceType, 10, report, frame::kDeviceType, 10);
    }
    else
    {
        ZLOG(3, SIG_getResponseDataFromDeviceReport, " invalid package , size is [%d] ",
             static_cast<int>(report.size()));
        out.replace(0, frame::kHeaderSize, reinterpret_cast<const char*>(kInvalidPackageAnswer), frame::kHeaderSize);
    }
    storeCheckout(out);
}

void ProtoBase::getDeviceReportDataToProtoResponse(const std::string& report, unsigned char ack,
                                                   ST_DeviceAutoReportResponseInfo& info)
{
    auto record = std::make_shared<INTER_ST::ThirdGenerationCommResponse_Data>();
    // ack is the decoder's out-parameter: a report of 20 bytes or more replaces
    // the caller's value with its byte 2, and the acknowledgement follows that.
    getThirdGenerationCommResponseData(report, ack, record);
    info.response = std::move(record);
    auto answer = std::make_shared<std::string>();
    getResponseDataFromDeviceReport(report, ack, answer);
    info.answer = std::move(answer);
    info.ack = ack;
    ZLOG(0, SIG_getDeviceReportDataToProtoResponse, "convertDeviceReportDataToProtoResponse end. ");
}

size_t ProtoBase::appendReplyData(const std::string& package, unsigned int validDataLength)
{
    const size_t available = package.size() > frame::kData + 2 ? package.size() - 2 - frame::kData : 0;
    const size_t count = std::min<size_t>(validDataLength, available);
    const auto* first = reinterpret_cast<const unsigned char*>(package.data()) + frame::kData;
    m_replyRecord->data.insert(m_replyRecord->data.end(), first, first + count);
    return count;
}
