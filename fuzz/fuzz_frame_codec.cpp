// Every decoder of the frame codec on one buffer, each checked against what
// its header promises: the header fields are the bytes they name, the views
// lie inside the buffer where they say, the three length readings agree with
// one another, acknowledgements are 20 or 38 sealed bytes, the reply data
// wraps as documented and the pieces cut at a head cover the buffer from it.
//
// Input: the ack (1 byte), the count the reply data is taken with (2 bytes,
// the low 12 bits: the copy wraps at any count past 239, larger ones only
// repeat it more slowly),
// the acceptance bits for cutAtHeads (4 bytes, one per later head, cycling),
// the head's length (1 byte, taken modulo 4) and its bytes, then the buffer.
#include "FuzzSupport.h"
#include "protobase/FrameCodec.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace
{

bool inside(std::string_view part, std::string_view whole)
{
    return part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

unsigned int at(std::string_view f, size_t i)
{
    return i < f.size() ? static_cast<unsigned char>(f[i]) : 0;
}

void checkHeader(std::string_view f)
{
    const frame::Header h = frame::decodeHeader(f);
    const unsigned char fields[] = {h.head[0],         h.head[1],         h.ack,
                                    h.label,           h.firstAddr,       h.secondAddr,
                                    h.deviceType,      h.byte7,           h.scanBoard[0],
                                    h.scanBoard[1],    h.readWriteCode,   h.packetType,
                                    h.registerAddr[0], h.registerAddr[1], h.registerAddr[2],
                                    h.registerAddr[3]};
    for (size_t i = 0; i < sizeof fields; ++i)
    {
        FUZZ_CHECK(fields[i] == at(f, i));
    }
    const unsigned int low = at(f, frame::kValidLength);
    const unsigned int declared = low | at(f, frame::kValidLength + 1) << 8;
    FUZZ_CHECK(h.validLength == declared && frame::declaredLength(f) == declared);
    FUZZ_CHECK(frame::declaredFrameLength(f) == declared + frame::kOverhead);
    // The signed readings state 256 less when the low byte is 0x80 or more.
    const unsigned int less = low >= 0x80 ? 256u : 0u;
    FUZZ_CHECK(frame::searchLength(f) == ((declared - less) & 0xFFFFu));
    FUZZ_CHECK(frame::recordLength(f) == declared - less);

    const frame::Decoded d = frame::decode(f);
    FUZZ_CHECK(d.header.validLength == declared && d.header.label == h.label && d.header.head[1] == h.head[1]);
    FUZZ_CHECK(inside(d.data, f) && inside(d.checksum, f));
    const size_t dataRoom = f.size() > frame::kData ? f.size() - frame::kData : 0;
    FUZZ_CHECK(d.data.size() == std::min<size_t>(declared, dataRoom));
    FUZZ_CHECK(d.data.empty() || d.data.data() == f.data() + frame::kData);
    FUZZ_CHECK(d.checksum.size() <= frame::kChecksumSize);
    FUZZ_CHECK(d.checksum.empty() || d.checksum.data() == f.data() + frame::kData + declared);

    const frame::PushedExtent extent = frame::pushedExtent(f);
    FUZZ_CHECK(extent.headerPresent == (f.size() >= frame::kOverhead));
    if (extent.headerPresent)
    {
        FUZZ_CHECK(extent.dataLength == frame::searchLength(f));
        FUZZ_CHECK(extent.frameLength == extent.dataLength + frame::kOverhead);
        FUZZ_CHECK(extent.complete == (extent.frameLength <= f.size()));
    }
    else
    {
        FUZZ_CHECK(extent.dataLength == 0 && extent.frameLength == 0 && !extent.complete);
    }

    const frame::SubHeader sub = frame::frameSubHeader(f);
    const size_t s = frame::kData;
    FUZZ_CHECK(sub.validLen == (at(f, s) | at(f, s + 1) << 8));
    FUZZ_CHECK(sub.packetSum == (at(f, s + 3) | at(f, s + 4) << 8 | at(f, s + 5) << 16 | at(f, s + 6) << 24));
    FUZZ_CHECK(sub.sequence == (at(f, s + 7) | at(f, s + 8) << 8 | at(f, s + 9) << 16 | at(f, s + 10) << 24));
    FUZZ_CHECK(sub.lenExp == at(f, s + frame::kSubLenExp));
}

void checkChecksum(std::string_view f)
{
    unsigned int sum = frame::kCheckoutSeed;
    for (size_t i = 2; i + 2 < f.size(); ++i)
    {
        sum += static_cast<unsigned char>(f[i]);
    }
    FUZZ_CHECK(frame::frameChecksumSum(f) == sum);
    FUZZ_CHECK(frame::storedChecksum(f) == (f.size() < 2 ? 0u : at(f, f.size() - 2) | at(f, f.size() - 1) << 8));
    std::string sealed(f);
    FUZZ_CHECK(frame::seal(sealed) == sum);
    if (f.size() >= 4)
    {
        FUZZ_CHECK(fuzz::sealedFrame(sealed));
        FUZZ_CHECK(sealed.compare(0, f.size() - 2, f, 0, f.size() - 2) == 0);
    }
    FUZZ_CHECK(sealed.size() == f.size());
}

void checkReplyData(std::string_view f, unsigned int count)
{
    const std::string_view data = frame::replyData(f, count);
    FUZZ_CHECK(inside(data, f));
    const size_t room = f.size() > frame::kOverhead ? f.size() - frame::kOverhead : 0;
    FUZZ_CHECK(data.size() == std::min<size_t>(count, room));
    FUZZ_CHECK(data.empty() || data.data() == f.data() + frame::kData);

    // The record copy: nothing from a buffer shorter than a frame; up to the
    // checksum in frames of up to 257 bytes; past that the 8-bit position
    // wraps and all count bytes come, byte k from (18 + k) mod 256.
    std::vector<unsigned char> out(3, 0xEE);
    frame::appendRecordData(f, count, out);
    size_t expected = 0;
    if (f.size() >= frame::kOverhead)
    {
        expected = f.size() <= 257 ? std::min<size_t>(count, f.size() - frame::kOverhead) : count;
    }
    FUZZ_CHECK(out.size() == 3 + expected);
    FUZZ_CHECK(out[0] == 0xEE && out[1] == 0xEE && out[2] == 0xEE);
    for (size_t k = 0; k < expected; ++k)
    {
        FUZZ_CHECK(out[3 + k] == at(f, (frame::kData + k) % 256));
    }
}

void checkAcknowledgements(std::string_view report, unsigned char ack)
{
    for (const size_t sub : {size_t{0}, frame::kSubHeaderSize})
    {
        const size_t size = frame::kOverhead + sub;
        std::string out = "left over";
        if (sub == 0)
        {
            frame::acknowledge(report, ack, out);
        }
        else
        {
            frame::acknowledgeVariant(report, ack, out);
        }
        FUZZ_CHECK(out.size() == size && fuzz::sealedFrame(out));
        FUZZ_CHECK(frame::hasDeviceHead(out));
        if (report.size() < size)
        {
            FUZZ_CHECK(std::memcmp(out.data(), frame::kInvalidPackageAnswer, frame::kHeaderSize) == 0);
            FUZZ_CHECK(sub == 0 || out.compare(frame::kData, sub, std::string(sub, '\0')) == 0);
            continue;
        }
        FUZZ_CHECK(at(out, frame::kAck) == (ack != 0 ? 2u : 0u));
        FUZZ_CHECK(out[frame::kLabel] == report[frame::kLabel]);
        FUZZ_CHECK(out[frame::kFirstAddr] == report[frame::kSecondAddr]);
        FUZZ_CHECK(out[frame::kSecondAddr] == report[frame::kFirstAddr]);
        FUZZ_CHECK(out.compare(frame::kDeviceType, 10, report.substr(frame::kDeviceType, 10)) == 0);
        FUZZ_CHECK(frame::declaredLength(out) == sub);
        FUZZ_CHECK(out.compare(frame::kData, sub, report.substr(frame::kData, sub)) == 0);
    }
}

void checkHex(std::string_view text)
{
    std::string out = "x";
    frame::appendHexBytes(text, out);
    FUZZ_CHECK(out.size() == 1 + text.size() / 2 && out[0] == 'x');
}

void checkCut(std::string_view buf, std::string_view head, uint32_t acceptBits)
{
    size_t calls = 0;
    size_t lastPos = 0;
    std::string joined;
    std::vector<std::string_view> pieces;
    const size_t first = frame::cutAtHeads(
        buf, head,
        [&](size_t pos, size_t from) {
            FUZZ_CHECK(pos >= from && pos < buf.size() + (head.empty() ? 1 : 0));
            FUZZ_CHECK(buf.compare(pos, head.size(), head) == 0);
            FUZZ_CHECK(calls == 0 || pos >= lastPos);
            lastPos = pos;
            return ((acceptBits >> (calls++ % 32)) & 1) != 0;
        },
        [&](std::string_view piece) { pieces.push_back(piece); });
    FUZZ_CHECK(first == buf.find(head));
    if (first == std::string_view::npos)
    {
        FUZZ_CHECK(pieces.empty());
        return;
    }
    FUZZ_CHECK(!pieces.empty());
    const char* next = buf.data() + first;
    for (const std::string_view piece : pieces)
    {
        // In order, back to back, each at a head, all inside the buffer.
        FUZZ_CHECK(inside(piece, buf) && piece.data() == next);
        FUZZ_CHECK(piece.substr(0, head.size()) == head);
        next += piece.size();
    }
    FUZZ_CHECK(next == buf.data() + buf.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input in(data, size);
    const unsigned char ack = in.byte();
    const unsigned int count = in.word() & 0x0FFFu;
    const uint32_t acceptBits = in.dword();
    const std::string head = in.bytes(in.byte() % 4);
    const std::string buffer = in.rest();

    checkHeader(buffer);
    checkChecksum(buffer);
    checkReplyData(buffer, count);
    checkAcknowledgements(buffer, ack);
    checkHex(buffer);
    checkCut(buffer, head, acceptBits);
    return 0;
}
