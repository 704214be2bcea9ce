// The third-generation frame codec: the byte work of the protocol with no
// logging and no state, for the protocol library and for tools, fuzzers and
// benchmarks that link it alone (target zorv::codec).
//
// A frame is an 18-byte header, the data, and a two-byte checksum stored low
// byte first; all multi-byte fields are little-endian. Device-to-server frames
// start AA 55, server-to-device frames 55 AA. Every function here is safe on
// any input: a byte that a short buffer lacks reads as 0, and nothing is read
// or written past a buffer's end.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace frame
{

// Header fields, as offsets into the frame.
constexpr size_t kHead0 = 0;
constexpr size_t kHead1 = 1;
constexpr size_t kAck = 2;
constexpr size_t kLabel = 3;
constexpr size_t kFirstAddr = 4;
constexpr size_t kSecondAddr = 5;
constexpr size_t kDeviceType = 6;
constexpr size_t kByte7 = 7;
constexpr size_t kScanBoard = 8;  // two bytes
constexpr size_t kReadWriteCode = 10;
constexpr size_t kPacketType = 11;
constexpr size_t kRegisterAddr = 12;  // four bytes
constexpr size_t kValidLength = 16;   // two bytes: the number of data bytes
constexpr size_t kData = 18;

constexpr size_t kHeaderSize = 18;
constexpr size_t kChecksumSize = 2;
constexpr size_t kOverhead = kHeaderSize + kChecksumSize;  // the shortest frame
constexpr unsigned int kCheckoutSeed = 0x5555;

constexpr unsigned char kDeviceHead0 = 0xAA;
constexpr unsigned char kDeviceHead1 = 0x55;
constexpr unsigned char kServerHead0 = 0x55;
constexpr unsigned char kServerHead1 = 0xAA;

// The variant's 18-byte sub-header at the start of the data area, as offsets
// into the sub-header; its extension bytes (lenExp of them) follow it.
constexpr size_t kSubHeaderSize = 18;
constexpr size_t kSubValidLen = 0;   // two bytes: payload bytes of this packet
constexpr size_t kSubPacketSum = 3;  // four bytes: packets in the transfer
constexpr size_t kSubSequence = 7;   // four bytes: this packet's number
constexpr size_t kSubLenExp = 17;    // one byte: extension bytes after the sub-header
constexpr size_t kVariantOverhead = kOverhead + kSubHeaderSize;
// The same fields as offsets into a variant frame.
constexpr size_t kVariantSubValidLen = kData + kSubValidLen;
constexpr size_t kVariantPacketSum = kData + kSubPacketSum;
constexpr size_t kVariantSequence = kData + kSubSequence;
constexpr size_t kVariantLenExp = kData + kSubLenExp;
constexpr size_t kVariantPayload = kData + kSubHeaderSize;

// A named field, for tools that print frames.
struct Field
{
    const char* name;
    size_t offset;
    size_t size;
};
constexpr Field kHeaderFields[] = {
    {"head", kHead0, 2},
    {"ack", kAck, 1},
    {"label", kLabel, 1},
    {"firstAddr", kFirstAddr, 1},
    {"secondAddr", kSecondAddr, 1},
    {"deviceType", kDeviceType, 1},
    {"byte7", kByte7, 1},
    {"scanBoard", kScanBoard, 2},
    {"readWriteCode", kReadWriteCode, 1},
    {"packetType", kPacketType, 1},
    {"registerAddr", kRegisterAddr, 4},
    {"validLength", kValidLength, 2},
};
constexpr Field kSubHeaderFields[] = {
    {"subValidLen", kSubValidLen, 2},
    {"packetSum", kSubPacketSum, 4},
    {"sequence", kSubSequence, 4},
    {"lenExp", kSubLenExp, 1},
};

// ---- Reading and writing fields -------------------------------------------

// Byte i of buf, or 0 past its end.
inline unsigned char byteAt(std::string_view buf, size_t i)
{
    return i < buf.size() ? static_cast<unsigned char>(buf[i]) : 0;
}
// The 16-bit value at i, both bytes unsigned.
inline unsigned int wordAt(std::string_view buf, size_t i)
{
    return static_cast<unsigned int>(byteAt(buf, i)) | (static_cast<unsigned int>(byteAt(buf, i + 1)) << 8);
}
// The 32-bit value at i.
unsigned int dwordAt(std::string_view buf, size_t i);
// buf[first .. first+count) cut to what buf holds (empty past its end).
std::string_view slice(std::string_view buf, size_t first, size_t count);
// Store a value low byte first; bytes past the buffer's end are not written.
void putWord(std::string& buf, size_t i, unsigned int value);
void putDword(std::string& buf, size_t i, unsigned int value);

// A byte vector seen as bytes, without a copy.
inline std::string_view bytesOf(const std::vector<unsigned char>& v)
{
    return {reinterpret_cast<const char*>(v.data()), v.size()};
}

// ---- Heads and lengths ----------------------------------------------------

// starts AA 55
inline bool hasDeviceHead(std::string_view buf)
{
    return byteAt(buf, kHead0) == kDeviceHead0 && byteAt(buf, kHead1) == kDeviceHead1;
}
// starts 55 AA
inline bool hasServerHead(std::string_view buf)
{
    return byteAt(buf, kHead0) == kServerHead0 && byteAt(buf, kHead1) == kServerHead1;
}

// The length field is read three ways, each by its own readers, and every
// one of them is observable behaviour that the server and the devices' peers
// rely on; none may be "fixed" into another.
//  - declaredLength: bytes 16 and 17 both unsigned. The frame checks, the
//    reply analysis and the pushed-report decoder read it so.
//  - searchLength: byte 16 as a signed byte, so that a low byte of 0x80 or
//    more states 256 less, kept to 16 bits. The package search and the
//    facade's pushed-frame probes read it so.
//  - recordLength: the same signed sum kept to 32 bits (a low byte of 0x80 or
//    more with byte 17 zero reads near 2^32). The reply-record decoder stores
//    it in the record's validDataLength.
inline unsigned int declaredLength(std::string_view f)
{
    return wordAt(f, kValidLength);
}
unsigned int searchLength(std::string_view f);
unsigned int recordLength(std::string_view f);

// The length of the frame at the buffer's start by its declared length.
inline size_t declaredFrameLength(std::string_view f)
{
    return declaredLength(f) + kOverhead;
}

// How much of a frame by its declared length a buffer holds: less (or less
// than 20 bytes), exactly the frame, or more.
enum class Extent
{
    Short,
    Exact,
    Longer
};
inline Extent declaredExtent(std::string_view buf)
{
    if (buf.size() < kOverhead)
    {
        return Extent::Short;
    }
    const size_t frameLength = declaredFrameLength(buf);
    if (frameLength > buf.size())
    {
        return Extent::Short;
    }
    return frameLength == buf.size() ? Extent::Exact : Extent::Longer;
}

// Where a frame at the buffer's start ends, by searchLength: what the pushed
// frame probes need. headerPresent is false for a buffer shorter than 20
// bytes; complete when the whole frame is in the buffer.
struct PushedExtent
{
    bool headerPresent = false;
    unsigned int dataLength = 0;
    size_t frameLength = 0;
    bool complete = false;
};
PushedExtent pushedExtent(std::string_view buf);

// ---- Checksum ---------------------------------------------------------------

// 0x5555 plus every byte of bytes: the one checksum sum of the protocol.
unsigned int checksumSum(std::string_view bytes);
// The sum a frame's checksum covers: its bytes from 2 up to the checksum
// (0x5555 alone for frames of four bytes or fewer).
unsigned int frameChecksumSum(std::string_view f);
// The checksum stored in the frame's last two bytes, low byte first (0 for
// a frame shorter than two bytes).
unsigned int storedChecksum(std::string_view f);
// Stores the checksum (low byte first) in the frame's last two bytes and
// returns the full sum, not cut to 16 bits.
unsigned int seal(std::string& f);
// The same for a frame planned as length bytes whose data came out longer or
// shorter than planned: a shorter frame is first padded with zero bytes to
// its planned length, then the sum of bytes 2 to length-3 is stored at
// length-2 and length-1. The request builders seal so: the checksum stays
// where the frame's length field puts it (over the data's last bytes when the
// data ran long), and a short frame still ends in its checksum.
unsigned int sealPlanned(std::string& f, size_t length);

// ---- Request frames ---------------------------------------------------------

// The header fields of a server-to-device frame; byte 2 is always 0.
struct RequestHeader
{
    unsigned char label = 0;
    unsigned char firstAddr = 0;
    unsigned char secondAddr = 0;
    unsigned char deviceType = 0;
    unsigned char byte7 = 0;
    unsigned int scanBoard = 0;  // low 16 bits are sent
    unsigned char readWriteCode = 0;
    unsigned char packetType = 0;
    unsigned int registerAddr = 0;
    unsigned int validLength = 0;  // low 16 bits are sent
};
// A zero-filled frame of length bytes (at least 20) carrying the header; the
// caller fills the data and seals it.
std::string encodeRequest(const RequestHeader& header, size_t length);
// Appends the 18 header bytes of a request frame to out.
void appendRequestHeader(const RequestHeader& header, std::string& out);

// ---- Reply and report frames -------------------------------------------------

// The header fields of a device frame, bytes a short frame lacks read as 0.
struct Header
{
    unsigned char head[2] = {0, 0};
    unsigned char ack = 0;
    unsigned char label = 0;
    unsigned char firstAddr = 0;
    unsigned char secondAddr = 0;
    unsigned char deviceType = 0;
    unsigned char byte7 = 0;
    unsigned char scanBoard[2] = {0, 0};
    unsigned char readWriteCode = 0;
    unsigned char packetType = 0;
    unsigned char registerAddr[4] = {0, 0, 0, 0};
    unsigned int validLength = 0;  // declaredLength
};
Header decodeHeader(std::string_view f);

// A device frame cut into its parts: data is the declared number of bytes
// from byte 18 and checksum the two bytes after them, both cut to the frame.
struct Decoded
{
    Header header;
    std::string_view data;
    std::string_view checksum;
};
Decoded decode(std::string_view f);

// The data of a reply package as the reply analysis takes it: at most the
// declared count, never the checksum, never past the package.
std::string_view replyData(std::string_view f, unsigned int declared);

// The data of a reply as the reply-record decoder copies it: count bytes from
// byte 18 while the position is before the checksum. The position is an
// 8-bit counter, so in a frame of more than 257 bytes it wraps from 255 to 0
// and the copy goes on from the frame's first bytes; the server's records
// have always been built so, and it stays.
void appendRecordData(std::string_view f, unsigned int count, std::vector<unsigned char>& out);

// ---- The variant's sub-header --------------------------------------------------

struct SubHeader
{
    unsigned int validLen = 0;
    unsigned int packetSum = 0;
    unsigned int sequence = 0;
    unsigned char lenExp = 0;
};
// Reads a sub-header from its first byte (a request's data, or frame bytes
// 18 on); missing bytes read as 0.
SubHeader readSubHeader(std::string_view sub);
inline SubHeader frameSubHeader(std::string_view f)
{
    return readSubHeader(slice(f, kData, kSubHeaderSize));
}

// ---- Acknowledgements -----------------------------------------------------------

// The acknowledgement of a device report, written into out: 20 bytes for the
// standard form, 38 for the variant's, which echoes the report's sub-header
// with length 18. Head AA 55, byte 2 = 2 when ack is non-zero else 0, the
// report's label, its address bytes trading places, bytes 6 to 15 copied.
// A report shorter than the answer gets the invalid-package answer instead.
void acknowledge(std::string_view report, unsigned char ack, std::string& out);
void acknowledgeVariant(std::string_view report, unsigned char ack, std::string& out);
// Header bytes 0 to 17 of the answer to a report too short to answer.
extern const unsigned char kInvalidPackageAnswer[kHeaderSize];

// ---- Keys and cutting at heads ---------------------------------------------------

// The value of one hexadecimal digit (either case), or -1.
int hexDigit(char c);

// Hex text to bytes, two digits at a time, appended to out. Each pair is
// read as base-16 strtol reads "0x" and the two characters: a bad first
// digit gives 0, a bad second one the first digit alone; an odd last
// character is dropped. Match keys have always been converted so.
void appendHexBytes(std::string_view hex, std::string& out);

// Cuts buf into pieces, each starting at an occurrence of head and running to
// the next accepted one or the buffer's end. The first occurrence is always
// taken; a later one at pos is taken when accept(pos, from) is true, from
// being where its search started, else the cutting stops there. An empty head
// found again where the last one was stops the cutting too. emit(piece)
// receives the pieces in order. Returns the first head's position, or npos
// (nothing emitted).
template <class Accept, class Emit>
size_t cutAtHeads(std::string_view buf, std::string_view head, Accept&& accept, Emit&& emit)
{
    const size_t first = buf.find(head);
    size_t prev = first;
    size_t from = first == std::string_view::npos ? 0 : first + head.size();
    while (prev != std::string_view::npos)
    {
        const size_t pos = buf.find(head, from);
        if (pos == std::string_view::npos || !accept(pos, from) || pos == prev)
        {
            break;
        }
        emit(buf.substr(prev, pos - prev));
        prev = pos;
        from = pos + head.size();
    }
    if (prev != std::string_view::npos)
    {
        emit(buf.substr(prev));
    }
    return first;
}

}  // namespace frame
