// Frame checks and the checksum, shared by every reader and writer of frames.
#include "ProtoBase.h"

#include "FrameCodec.h"
#include "log/LogCall.h"
#include "log/LogSignature.h"

#include <algorithm>
#include <utility>

namespace
{
const char* const SIG_reviseOk = "bool __cdecl ProtoBase::reviseOk(const " ZSIG_STRING " &,int,unsigned __int64)";
}

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

em_ProtoAnalyze ProtoBase::checkThridPackageHeaderFlag(const std::string& buffer)
{
    // Bytes 0 and 1 are read without a size check: for a one-byte buffer byte 1
    // is the string's terminating zero, so a lone 0xAA reads as a bad header.
    const unsigned char first = static_cast<unsigned char>(buffer[0]);
    const unsigned char second = !buffer.empty() ? static_cast<unsigned char>(buffer[1]) : 0;
    return first == frame::kDeviceHead0 && second == frame::kDeviceHead1 ? emProtoHeaderOk : emProtoBadHeader;
}

em_ProtoAnalyze ProtoBase::checkValidLength(const std::string& buffer)
{
    if (buffer.size() < frame::kOverhead)
    {
        return emProtoFrameShort;
    }
    const size_t frameLength = frame::wordAt(buffer, frame::kValidLength) + frame::kOverhead;
    if (frameLength > buffer.size())
    {
        return emProtoFrameShort;
    }
    return frameLength == buffer.size() ? emProtoFrameExact : emProtoFrameLonger;
}

bool ProtoBase::reviseOk(const std::string& buffer, int offset, unsigned long long length)
{
    // Callers pass offset 0 and the buffer's own size. A range too short to
    // hold a checksum, or past the buffer, cannot verify. Two or three bytes
    // sum to the seed alone against the two bytes that end the range.
    const bool inRange =
        offset >= 0 && length >= 2 && static_cast<unsigned long long>(offset) + length <= buffer.size();
    if (!inRange)
    {
        if (offset == 0)
        {
            ZLOG(3, SIG_reviseOk, "Checkout error!: len:%d,ay.size:%d", static_cast<int>(length),
                 static_cast<int>(buffer.size()));
        }
        return false;
    }
    unsigned int sum = 0;
    calcCheckout(buffer, offset + 2, length >= 4 ? static_cast<int>(length - 4) : 0, sum);
    const unsigned int computed = sum & 0xFFFF;
    const size_t end = static_cast<size_t>(offset) + static_cast<size_t>(length);
    const unsigned int stored =
        makeWord(static_cast<unsigned char>(buffer[end - 1]), static_cast<unsigned char>(buffer[end - 2]));
    ZLOG(1, SIG_reviseOk, "cacl checkout[%d], from checkout[%d].", static_cast<int>(computed),
         static_cast<int>(stored));
    if (computed == stored)
    {
        return true;
    }
    if (offset == 0)
    {
        ZLOG(3, SIG_reviseOk, "Checkout error!: len:%d,ay.size:%d", static_cast<int>(length),
             static_cast<int>(buffer.size()));
    }
    return false;
}

void ProtoBase::calcCheckout(const std::string& buffer, int first, int count, unsigned int& sum)
{
    sum = frame::kCheckoutSeed;
    if (first < 0 || count <= 0 || static_cast<size_t>(first) >= buffer.size())
    {
        return;
    }
    const size_t end = std::min(buffer.size(), static_cast<size_t>(first) + static_cast<size_t>(count));
    const auto* bytes = reinterpret_cast<const unsigned char*>(buffer.data());
    for (size_t i = static_cast<size_t>(first); i < end; ++i)
    {
        sum += bytes[i];
    }
}

unsigned short ProtoBase::makeWord(unsigned char high, unsigned char low)
{
    return static_cast<unsigned short>(high * 256 + low);
}

unsigned char ProtoBase::advancePacketLabel()
{
    return ++m_ucPacketLabel;
}

unsigned int ProtoBase::scanBoardWord(const std::vector<unsigned char>& scanBoardAddr)
{
    // Only the first two bytes fit the frame's two-byte field; more are ignored.
    unsigned int word = 0;
    if (!scanBoardAddr.empty())
    {
        word = scanBoardAddr[0];
    }
    if (scanBoardAddr.size() > 1)
    {
        word |= static_cast<unsigned int>(scanBoardAddr[1]) << 8;
    }
    return word;
}

std::shared_ptr<std::string> ProtoBase::newRequestFrame(size_t length, unsigned char label,
                                                        const INTER_ST::ThirdGenerationCommRequest_Data& request,
                                                        unsigned int registerAddr)
{
    auto out = std::make_shared<std::string>(length, '\0');
    std::string& f = *out;
    f[frame::kHead0] = static_cast<char>(frame::kServerHead0);
    f[frame::kHead1] = static_cast<char>(frame::kServerHead1);
    f[frame::kLabel] = static_cast<char>(label);
    f[frame::kFirstAddr] = static_cast<char>(request.firstAddr);
    f[frame::kSecondAddr] = static_cast<char>(request.secondAddr);
    f[frame::kDeviceType] = static_cast<char>(request.deviceType);
    f[frame::kByte7] = static_cast<char>(request.frameByte7);
    frame::putWord(f, frame::kScanBoard, scanBoardWord(request.scanBoardAddr));
    f[frame::kReadWriteCode] = static_cast<char>(request.readWriteCode);
    f[frame::kPacketType] = static_cast<char>(request.packetType);
    frame::putDword(f, frame::kRegisterAddr, registerAddr);
    return out;
}

unsigned int ProtoBase::storeCheckout(std::string& f)
{
    unsigned int sum = frame::kCheckoutSeed;
    const auto* bytes = reinterpret_cast<const unsigned char*>(f.data());
    for (size_t i = 2; i + 2 < f.size(); ++i)
    {
        sum += bytes[i];
    }
    frame::putWord(f, f.size() - 2, sum & 0xFFFF);
    return sum;
}
