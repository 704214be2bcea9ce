#include "FrameCodec.h"

#include <algorithm>

#if defined(__SSE2__) || defined(_M_X64) || defined(_M_AMD64)
#include <emmintrin.h>
#define ZORV_CHECKSUM_SSE2 1
#endif

namespace frame
{

namespace
{
// byte 17 * 256 plus byte 16 taken as a signed byte: the sum that both signed
// readings of the length field start from.
int signedLengthSum(std::string_view f)
{
    const int low = static_cast<signed char>(byteAt(f, kValidLength));  // NOLINT(bugprone-signed-char-misuse)
    return static_cast<int>(byteAt(f, kValidLength + 1)) * 256 + low;
}

unsigned char hexPair(char high, char low)
{
    const int h = hexDigit(high);
    if (h < 0)
    {
        return 0;
    }
    const int l = hexDigit(low);
    return static_cast<unsigned char>(l < 0 ? h : h * 16 + l);
}

// Both acknowledgement forms: subHeader is 0 (20 bytes) or 18 (38 bytes).
void buildAcknowledgement(std::string_view report, unsigned char ack, size_t subHeader, std::string& out)
{
    const size_t size = kOverhead + subHeader;
    out.assign(size, '\0');
    if (report.size() < size)
    {
        out.replace(0, kHeaderSize, reinterpret_cast<const char*>(kInvalidPackageAnswer), kHeaderSize);
    }
    else
    {
        out[kHead0] = static_cast<char>(kDeviceHead0);
        out[kHead1] = static_cast<char>(kDeviceHead1);
        out[kAck] = static_cast<char>(ack != 0 ? 2 : 0);
        out[kLabel] = report[kLabel];
        // The answer goes back the other way, so the address bytes trade places.
        out[kFirstAddr] = report[kSecondAddr];
        out[kSecondAddr] = report[kFirstAddr];
        out.replace(kDeviceType, kValidLength - kDeviceType, report.substr(kDeviceType, kValidLength - kDeviceType));
        if (subHeader != 0)
        {
            putWord(out, kValidLength, static_cast<unsigned int>(subHeader));
            out.replace(kData, subHeader, report.substr(kData, subHeader));
        }
    }
    seal(out);
}
}  // namespace

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
    {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f')
    {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F')
    {
        return c - 'A' + 10;
    }
    return -1;
}

// The answer to a report too short to answer: an error acknowledgement (ack
// 2) from address FE FF with read/write code 1, as the devices expect it.
const unsigned char kInvalidPackageAnswer[kHeaderSize] = {0xAA, 0x55, 0x02, 0x00, 0xFE, 0xFF, 0x00, 0x00, 0x00,
                                                          0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};

unsigned int dwordAt(std::string_view buf, size_t i)
{
    return wordAt(buf, i) | (wordAt(buf, i + 2) << 16);
}

std::string_view slice(std::string_view buf, size_t first, size_t count)
{
    return first < buf.size() ? buf.substr(first, count) : std::string_view();
}

void putWord(std::string& buf, size_t i, unsigned int value)
{
    // Low byte first.
    if (i < buf.size())
    {
        buf[i] = static_cast<char>(value & 0xFF);
    }
    if (i + 1 < buf.size())
    {
        buf[i + 1] = static_cast<char>((value >> 8) & 0xFF);
    }
}

void putDword(std::string& buf, size_t i, unsigned int value)
{
    putWord(buf, i, value & 0xFFFF);
    putWord(buf, i + 2, value >> 16);
}

unsigned int searchLength(std::string_view f)
{
    return static_cast<unsigned int>(signedLengthSum(f)) & 0xFFFFu;
}

unsigned int recordLength(std::string_view f)
{
    return static_cast<unsigned int>(signedLengthSum(f));
}

PushedExtent pushedExtent(std::string_view buf)
{
    PushedExtent extent;
    if (buf.size() < kOverhead)
    {
        return extent;
    }
    extent.headerPresent = true;
    extent.dataLength = searchLength(buf);
    extent.frameLength = extent.dataLength + kOverhead;
    extent.complete = extent.frameLength <= buf.size();
    return extent;
}

unsigned int checksumSum(std::string_view bytes)
{
    // The sum wraps at 32 bits like the byte-by-byte loop; only the order of
    // the additions differs.
    unsigned int sum = kCheckoutSeed;
    const char* p = bytes.data();
    size_t n = bytes.size();
#if defined(ZORV_CHECKSUM_SSE2)
    // psadbw against zero adds 16 bytes into two 64-bit lanes in one step.
    if (n >= 16)
    {
        const __m128i zero = _mm_setzero_si128();
        __m128i acc = zero;
        for (; n >= 16; p += 16, n -= 16)
        {
            const __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            acc = _mm_add_epi64(acc, _mm_sad_epu8(chunk, zero));
        }
        const __m128i high = _mm_unpackhi_epi64(acc, acc);
        sum += static_cast<unsigned int>(_mm_cvtsi128_si32(_mm_add_epi64(acc, high)));
    }
#endif
    for (; n != 0; ++p, --n)
    {
        sum += static_cast<unsigned char>(*p);
    }
    return sum;
}

unsigned int frameChecksumSum(std::string_view f)
{
    return f.size() > 4 ? checksumSum(f.substr(2, f.size() - 4)) : kCheckoutSeed;
}

unsigned int storedChecksum(std::string_view f)
{
    return f.size() < 2 ? 0 : wordAt(f, f.size() - 2);
}

unsigned int seal(std::string& f)
{
    return sealPlanned(f, f.size());
}

unsigned int sealPlanned(std::string& f, size_t length)
{
    if (f.size() < length)
    {
        f.resize(length, '\0');
    }
    const unsigned int sum = length > 4 ? checksumSum(slice(f, 2, length - 4)) : kCheckoutSeed;
    // Low byte first, in the planned frame's last two bytes.
    if (length >= 2)
    {
        putWord(f, length - 2, sum & 0xFFFF);
    }
    return sum;
}

std::string encodeRequest(const RequestHeader& header, size_t length)
{
    std::string f;
    f.reserve(std::max(length, kOverhead));
    appendRequestHeader(header, f);
    f.resize(std::max(length, kOverhead), '\0');
    return f;
}

void appendRequestHeader(const RequestHeader& header, std::string& out)
{
    char h[kHeaderSize] = {};
    h[kHead0] = static_cast<char>(kServerHead0);
    h[kHead1] = static_cast<char>(kServerHead1);
    h[kLabel] = static_cast<char>(header.label);
    h[kFirstAddr] = static_cast<char>(header.firstAddr);
    h[kSecondAddr] = static_cast<char>(header.secondAddr);
    h[kDeviceType] = static_cast<char>(header.deviceType);
    h[kByte7] = static_cast<char>(header.byte7);
    h[kScanBoard] = static_cast<char>(header.scanBoard & 0xFF);
    h[kScanBoard + 1] = static_cast<char>((header.scanBoard >> 8) & 0xFF);
    h[kReadWriteCode] = static_cast<char>(header.readWriteCode);
    h[kPacketType] = static_cast<char>(header.packetType);
    for (size_t i = 0; i < 4; ++i)
    {
        h[kRegisterAddr + i] = static_cast<char>((header.registerAddr >> (8 * i)) & 0xFF);
    }
    h[kValidLength] = static_cast<char>(header.validLength & 0xFF);
    h[kValidLength + 1] = static_cast<char>((header.validLength >> 8) & 0xFF);
    out.append(h, kHeaderSize);
}

Header decodeHeader(std::string_view f)
{
    Header h;
    h.head[0] = byteAt(f, kHead0);
    h.head[1] = byteAt(f, kHead1);
    h.ack = byteAt(f, kAck);
    h.label = byteAt(f, kLabel);
    h.firstAddr = byteAt(f, kFirstAddr);
    h.secondAddr = byteAt(f, kSecondAddr);
    h.deviceType = byteAt(f, kDeviceType);
    h.byte7 = byteAt(f, kByte7);
    h.scanBoard[0] = byteAt(f, kScanBoard);
    h.scanBoard[1] = byteAt(f, kScanBoard + 1);
    h.readWriteCode = byteAt(f, kReadWriteCode);
    h.packetType = byteAt(f, kPacketType);
    for (size_t i = 0; i < 4; ++i)
    {
        h.registerAddr[i] = byteAt(f, kRegisterAddr + i);
    }
    h.validLength = declaredLength(f);
    return h;
}

Decoded decode(std::string_view f)
{
    Decoded d;
    d.header = decodeHeader(f);
    d.data = slice(f, kData, d.header.validLength);
    d.checksum = slice(f, kData + d.header.validLength, kChecksumSize);
    return d;
}

std::string_view replyData(std::string_view f, unsigned int declared)
{
    const size_t available = f.size() > kOverhead ? f.size() - kOverhead : 0;
    return f.substr(std::min(f.size(), kData), std::min<size_t>(declared, available));
}

void appendRecordData(std::string_view f, unsigned int count, std::vector<unsigned char>& out)
{
    if (f.size() < kOverhead)
    {
        return;
    }
    const size_t end = f.size() - kChecksumSize;
    if (end <= 255)
    {
        // The 8-bit position reaches the checksum before it could wrap: one
        // block. (With the checksum at 256 it never does, and wraps.)
        const auto* first = reinterpret_cast<const unsigned char*>(f.data()) + kData;
        out.insert(out.end(), first, first + std::min<size_t>(count, end - kData));
        return;
    }
    unsigned char p = kData;
    for (unsigned int i = 0; i < count && p < end; ++i, ++p)
    {
        out.push_back(static_cast<unsigned char>(f[p]));
    }
}

SubHeader readSubHeader(std::string_view sub)
{
    SubHeader s;
    s.validLen = wordAt(sub, kSubValidLen);
    s.packetSum = dwordAt(sub, kSubPacketSum);
    s.sequence = dwordAt(sub, kSubSequence);
    s.lenExp = byteAt(sub, kSubLenExp);
    return s;
}

void acknowledge(std::string_view report, unsigned char ack, std::string& out)
{
    buildAcknowledgement(report, ack, 0, out);
}

void acknowledgeVariant(std::string_view report, unsigned char ack, std::string& out)
{
    buildAcknowledgement(report, ack, kSubHeaderSize, out);
}

void appendHexBytes(std::string_view hex, std::string& out)
{
    for (size_t i = 1; i < hex.size(); i += 2)
    {
        out += static_cast<char>(hexPair(hex[i - 1], hex[i]));
    }
}

}  // namespace frame
