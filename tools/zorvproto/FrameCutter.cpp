#include "FrameCutter.h"

#include "protobase/FrameCodec.h"

#include <cstdint>

namespace zorvproto
{

namespace
{

constexpr unsigned char kPacketTypeReport = 0x32;
constexpr unsigned char kAutoReportCodes[] = {0x10, 0x18};

bool isHeadAt(std::string_view in, size_t p)
{
    const std::string_view rest = frame::slice(in, p, 2);
    return rest.size() == 2 && (frame::hasDeviceHead(rest) || frame::hasServerHead(rest));
}

size_t nextHead(std::string_view in, size_t from)
{
    for (size_t p = from; p + 1 < in.size(); ++p)
    {
        if (isHeadAt(in, p))
        {
            return p;
        }
    }
    return std::string_view::npos;
}

struct Candidate
{
    size_t length = 0;
    bool variant = false;
};

// The lengths a frame starting at the head at p may have, in the order tried.
size_t candidates(std::string_view f, Variant variant, Candidate (&out)[2])
{
    const size_t declared = frame::declaredFrameLength(f);
    if (frame::hasDeviceHead(f) || frame::byteAt(f, frame::kPacketType) == kPacketTypeReport)
    {
        out[0] = {declared, false};
        return 1;
    }
    // A request. A read's length field asks for bytes rather than counting
    // them, so its length comes from the kind of request alone.
    const bool read = frame::byteAt(f, frame::kReadWriteCode) == 0;
    const Candidate standard{read ? frame::kOverhead : declared, false};
    const Candidate varied{frame::kVariantOverhead + (read ? frame::byteAt(f, frame::kVariantLenExp)
                                                           : frame::wordAt(f, frame::kVariantSubValidLen)),
                           true};
    switch (variant)
    {
    case Variant::Standard:
        out[0] = standard;
        return 1;
    case Variant::Always:
        out[0] = varied;
        return 1;
    case Variant::Auto:
        break;
    }
    out[0] = standard;
    out[1] = varied;
    return 2;
}

// Whether the data of a frame taken at its stated length opens with the
// variant's sub-header (see FrameCutter.h).
bool hasSubHeader(std::string_view f, PieceKind kind, bool variantLength, Variant variant)
{
    if (variant == Variant::Standard || f.size() < frame::kVariantOverhead)
    {
        return false;
    }
    if (variant == Variant::Always || variantLength)
    {
        return true;
    }
    const unsigned int declared = frame::declaredLength(f);
    const frame::SubHeader sub = frame::frameSubHeader(f);
    const unsigned int echo = static_cast<unsigned int>(frame::kSubHeaderSize) + sub.lenExp;
    switch (kind)
    {
    case PieceKind::Push:
        for (const unsigned char code : kAutoReportCodes)
        {
            if (frame::byteAt(f, frame::kReadWriteCode) == code)
            {
                return true;
            }
        }
        return false;
    case PieceKind::Request:
        // A variant write states its payload in the sub-header and the same
        // bytes again, sub-header and extension added, in the header.
        return declared == echo + sub.validLen;
    case PieceKind::Reply:
        // The device echoes the sub-header and extension, then the data read.
        return declared == echo || declared == echo + sub.validLen;
    default:
        return false;
    }
}

class Cutter
{
public:
    Cutter(std::string_view in, Variant variant) : m_in(in), m_variant(variant), m_sums(in.size() + 1, 0)
    {
        // Running byte sums, so that a checksum test costs the same for any
        // length: the resynchronisation below tries many.
        for (size_t i = 0; i < in.size(); ++i)
        {
            m_sums[i + 1] = m_sums[i] + static_cast<unsigned char>(in[i]);
        }
    }

    std::vector<Piece> run()
    {
        size_t p = 0;
        while (p < m_in.size())
        {
            const size_t head = isHeadAt(m_in, p) ? p : nextHead(m_in, p);
            if (head == std::string_view::npos)
            {
                emit(PieceKind::Unframed, p, m_in.size() - p);
                break;
            }
            if (head > p)
            {
                emit(PieceKind::Unframed, p, head - p);
            }
            p = takeFrame(head);
        }
        return std::move(m_pieces);
    }

private:
    bool fits(size_t p, size_t length) const { return length <= m_in.size() - p; }

    bool checksumHolds(size_t p, size_t length) const
    {
        const std::uint64_t sum = frame::kCheckoutSeed + m_sums[p + length - 2] - m_sums[p + 2];
        return (sum & 0xFFFF) == frame::storedChecksum(m_in.substr(p, length));
    }

    // The first candidate at p that fits and whose checksum holds.
    bool goodFrameAt(size_t p, Candidate& found) const
    {
        Candidate tried[2];
        const size_t count = candidates(m_in.substr(p), m_variant, tried);
        for (size_t i = 0; i < count; ++i)
        {
            if (fits(p, tried[i].length) && checksumHolds(p, tried[i].length))
            {
                found = tried[i];
                return true;
            }
        }
        return false;
    }

    // Takes the frame at the head at p; returns where the next piece starts.
    size_t takeFrame(size_t p)
    {
        Candidate found;
        if (goodFrameAt(p, found))
        {
            emitFrame(p, found);
            return p + found.length;
        }
        Candidate tried[2];
        candidates(m_in.substr(p), m_variant, tried);
        const Candidate stated = tried[0];
        const bool whole = fits(p, stated.length);
        const size_t end = whole ? p + stated.length : m_in.size();
        // A good frame starting inside this one means this one was cut short.
        for (size_t h = nextHead(m_in, p + 2); h != std::string_view::npos && h < end; h = nextHead(m_in, h + 1))
        {
            if (goodFrameAt(h, found))
            {
                emit(PieceKind::Truncated, p, h - p);
                return h;
            }
        }
        if (whole)
        {
            emitFrame(p, stated);
            return end;
        }
        emit(PieceKind::Truncated, p, end - p);
        return end;
    }

    void emitFrame(size_t p, const Candidate& c)
    {
        const std::string_view f = m_in.substr(p, c.length);
        PieceKind kind = PieceKind::Request;
        if (frame::hasDeviceHead(f))
        {
            kind = PieceKind::Reply;
        }
        else if (frame::byteAt(f, frame::kPacketType) == kPacketTypeReport)
        {
            kind = PieceKind::Push;
        }
        Piece piece;
        piece.kind = kind;
        piece.offset = p;
        piece.bytes = f;
        piece.checksumOk = (frame::frameChecksumSum(f) & 0xFFFF) == frame::storedChecksum(f);
        piece.subHeader = hasSubHeader(f, kind, c.variant, m_variant);
        m_pieces.push_back(piece);
    }

    void emit(PieceKind kind, size_t p, size_t count)
    {
        Piece piece;
        piece.kind = kind;
        piece.offset = p;
        piece.bytes = m_in.substr(p, count);
        m_pieces.push_back(piece);
    }

    std::string_view m_in;
    Variant m_variant;
    std::vector<std::uint64_t> m_sums;
    std::vector<Piece> m_pieces;
};

}  // namespace

const char* kindName(PieceKind kind)
{
    switch (kind)
    {
    case PieceKind::Request:
        return "request";
    case PieceKind::Reply:
        return "reply";
    case PieceKind::Push:
        return "push";
    case PieceKind::Truncated:
        return "truncated";
    case PieceKind::Unframed:
        return "unframed";
    }
    return "?";
}

std::vector<Piece> cutFrames(std::string_view input, Variant variant)
{
    return Cutter(input, variant).run();
}

}  // namespace zorvproto
