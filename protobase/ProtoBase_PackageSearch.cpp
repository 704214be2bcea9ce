// Cutting received bytes into packages at frame heads, and the hex-text keys
// that name those heads.
#include "ProtoBase.h"

#include "FrameCodec.h"
#include "log/LogCall.h"
#include "log/LogSignature.h"

#include <cstdlib>
#include <stdexcept>

namespace
{
const char* const SIG_findPackageList = "bool __cdecl ProtoBase::findPackageList(const " ZSIG_STRING
                                        " &,const " ZSIG_MATCH_VECTOR " &,int &," ZSIG_STRING_VECTOR " &)";

constexpr int kNone = -1;

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

// What base-16 strtol makes of "0x" followed by the two characters: it reads
// as far as the digits go, so a bad first character gives 0 and a bad second
// one gives the first digit alone.
unsigned char pairValue(char high, char low)
{
    const int h = hexDigit(high);
    if (h < 0)
    {
        return 0;
    }
    const int l = hexDigit(low);
    return static_cast<unsigned char>(l < 0 ? h : h * 16 + l);
}
}  // namespace

bool ProtoBase::hexStringToBytes(const std::string& hex, std::string& bytes)
{
    // Pairs are converted after each second character; an odd last one is dropped.
    for (size_t i = 1; i < hex.size(); i += 2)
    {
        bytes += static_cast<char>(pairValue(hex[i - 1], hex[i]));
    }
    return true;
}

bool ProtoBase::headKeyFound(const std::string& package, const ST_MSGToHardDriverMatchOne& one, std::string& byteKey)
{
    hexStringToBytes(one.key, byteKey);
    const auto pos = static_cast<unsigned int>(package.find(byteKey, static_cast<size_t>(one.posWanted)));
    return pos != 0xFFFFFFFFu;
}

int ProtoBase::findFrom(const std::string& haystack, const std::string& needle, size_t from)
{
    const size_t pos = haystack.find(needle, from);
    return pos == std::string::npos ? kNone : static_cast<int>(pos);
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
    // The label is decimal text that the request side wrote; atoi reads it.
    const auto wantedLabel = static_cast<unsigned char>(std::atoi(match[1].key.c_str()));  // NOLINT(cert-err34-c)
    const long long size = static_cast<long long>(buffer.size());

    int count = 0;
    size_t start = 0;
    int prev = kNone;
    for (;;)
    {
        int pos = findFrom(buffer, head, start);
        if (pos == kNone)
        {
            break;
        }
        // In a buffer of one frame or less a second head is not taken as found;
        // the label test below still runs, at pos + 3 = 2.
        if (start != 0 && size <= static_cast<long long>(frame::kOverhead))
        {
            pos = kNone;
        }
        if (prev != kNone)
        {
            if (size < static_cast<long long>(pos) + 3)
            {
                ZLOG(2, SIG_findPackageList, "buffer length = %d, pos found = %d.", static_cast<int>(size), pos + 3);
                break;
            }
            // pos + 3 may equal the size: that reads the string's terminating
            // zero. With pos "none" (-1) the label is read at byte 2.
            const auto label = static_cast<unsigned char>(buffer[static_cast<size_t>(pos) + 3]);
            if (label != wantedLabel)
            {
                ZLOG(2, SIG_findPackageList, "req label = %d, rsp label = %d.", static_cast<int>(wantedLabel),
                     static_cast<int>(label));
                pos = kNone;
            }
            else
            {
                if (pos == kNone)
                {
                    // Taking the remainder from "none" is out of range. Callers
                    // see this exception; it is part of the behaviour.
                    throw std::out_of_range("invalid string position");
                }
                const long long remainder = size - pos;
                if (remainder < static_cast<long long>(frame::kOverhead))
                {
                    ZLOG(2, SIG_findPackageList, "subPackage len too less!");
                    pos = kNone;
                }
                else
                {
                    const unsigned int validLen =
                        frame::searchLength(std::string_view(buffer).substr(static_cast<size_t>(pos)));
                    if (remainder != static_cast<long long>(validLen) + static_cast<long long>(frame::kOverhead))
                    {
                        ZLOG(2, SIG_findPackageList, "subPackageLen != valiadLen+20 ,subPackageLen:%d,valiadLen:%d!",
                             static_cast<int>(remainder), static_cast<int>(validLen));
                        pos = kNone;
                    }
                }
            }
        }
        // An empty head is found again where the last one was: stop there
        // rather than cut empty packages for ever.
        if (pos == kNone || pos == prev)
        {
            break;
        }
        if (prev != kNone)
        {
            strPackageVec.push_back(buffer.substr(static_cast<size_t>(prev), static_cast<size_t>(pos - prev)));
        }
        if (++count == 1)
        {
            offset = pos;
        }
        prev = pos;
        start = static_cast<size_t>(pos) + head.size();
    }
    if (prev != kNone)
    {
        strPackageVec.push_back(buffer.substr(static_cast<size_t>(prev)));
    }
    const bool found = !strPackageVec.empty();
    ZLOG(0, SIG_findPackageList, "findPackageList,bRet:%d-strPackageVec.size:%d", found ? 1 : 0,
         static_cast<int>(strPackageVec.size()));
    return found;
}
