#include "FrameText.h"

#include "HexInput.h"
#include "protobase/FrameCodec.h"

#include <cstdio>

namespace zorvproto
{

namespace
{

constexpr int kNameWidth = 15;
constexpr size_t kBytesPerRow = 16;

// A field's value read low byte first.
unsigned int fieldValue(std::string_view f, const frame::Field& field)
{
    unsigned int value = 0;
    for (size_t i = 0; i < field.size; ++i)
    {
        value |= static_cast<unsigned int>(frame::byteAt(f, field.offset + i)) << (8 * i);
    }
    return value;
}

std::string padded(const std::string& text, size_t width)
{
    return text.size() >= width ? text + ' ' : text + std::string(width - text.size(), ' ');
}

// One field: its name, its bytes as sent, a note; names end in one column
// whatever the indent.
std::string fieldLine(const std::string& indent, const char* name, std::string_view bytes, const std::string& note)
{
    std::string line = indent + padded(name, kNameWidth + 2 - indent.size()) + padded(toSpacedHex(bytes), 13);
    line += note;
    while (!line.empty() && line.back() == ' ')
    {
        line.pop_back();
    }
    return line + '\n';
}

// Bytes in rows of 16 under a name, cut after limit bytes (0: no limit).
std::string bytesBlock(const std::string& indent, const char* name, std::string_view bytes, size_t limit)
{
    std::string out = indent + padded(name, kNameWidth);
    if (bytes.empty())
    {
        return out + "(none)\n";
    }
    const size_t shown = limit == 0 || bytes.size() <= limit ? bytes.size() : limit;
    out += std::to_string(bytes.size()) + (bytes.size() == 1 ? " byte\n" : " bytes\n");
    for (size_t i = 0; i < shown; i += kBytesPerRow)
    {
        out += indent + std::string(kNameWidth, ' ') + toSpacedHex(bytes.substr(i, std::min(kBytesPerRow, shown - i)));
        out += '\n';
    }
    if (shown < bytes.size())
    {
        out += indent + std::string(kNameWidth, ' ') + "... " + std::to_string(bytes.size() - shown) + " more\n";
    }
    return out;
}

const char* headText(PieceKind kind)
{
    switch (kind)
    {
    case PieceKind::Request:
        return "request 55 aa";
    case PieceKind::Reply:
        return "reply aa 55";
    case PieceKind::Push:
        return "push 55 aa (packet type 0x32)";
    case PieceKind::Truncated:
        return "truncated frame, no whole frame in";
    case PieceKind::Unframed:
        return "bytes that form no frame";
    }
    return "?";
}

std::string codeNote(PieceKind kind, unsigned int code)
{
    if (kind == PieceKind::Push)
    {
        return code == 0x10 || code == 0x18 ? "auto report" : code == 0 ? "report" : "package code";
    }
    return code == 0 ? "read" : code == 1 ? "write" : "neither read nor write";
}

std::string lengthNote(const Piece& piece, unsigned int declared)
{
    const bool readRequest = piece.kind == PieceKind::Request && frame::byteAt(piece.bytes, frame::kReadWriteCode) == 0;
    if (!readRequest)
    {
        return std::to_string(declared) + " data bytes";
    }
    return std::to_string(declared) + (piece.subHeader ? " bytes asked, sub-header included" : " bytes asked");
}

// The frame's data area, split into sub-header, extension and the rest.
struct DataParts
{
    std::string_view subHeader;
    std::string_view extension;
    std::string_view data;
};

DataParts dataParts(const Piece& piece)
{
    const std::string_view f = piece.bytes;
    DataParts parts;
    parts.data = f.size() > frame::kOverhead ? f.substr(frame::kData, f.size() - frame::kOverhead) : std::string_view();
    if (piece.subHeader)
    {
        parts.subHeader = parts.data.substr(0, frame::kSubHeaderSize);
        parts.data.remove_prefix(parts.subHeader.size());
        const size_t lenExp = frame::byteAt(parts.subHeader, frame::kSubLenExp);
        parts.extension = parts.data.substr(0, lenExp);
        parts.data.remove_prefix(parts.extension.size());
    }
    return parts;
}

bool isFrame(const Piece& piece)
{
    return piece.kind == PieceKind::Request || piece.kind == PieceKind::Reply || piece.kind == PieceKind::Push;
}

}  // namespace

// "0x" and value in hex, at least digits digits.
std::string hexNumber(unsigned int value, int digits)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*x", digits, value);
    return text;
}

std::string describe(const Piece& piece, size_t index, const TextOptions& options)
{
    const std::string_view f = piece.bytes;
    std::string out = "frame " + std::to_string(index) + " at offset " + std::to_string(piece.offset) + ": " +
                      headText(piece.kind) + ", " + std::to_string(f.size()) + (f.size() == 1 ? " byte" : " bytes");
    if (!isFrame(piece))
    {
        return out + '\n' + bytesBlock("  ", "bytes", f, options.dataBytes);
    }
    out += piece.checksumOk ? ", checksum ok\n" : ", CHECKSUM WRONG\n";
    const std::string indent = "  ";
    for (const frame::Field& field : frame::kHeaderFields)
    {
        const std::string_view bytes = frame::slice(f, field.offset, field.size);
        const unsigned int value = fieldValue(f, field);
        std::string note;
        if (field.offset == frame::kReadWriteCode)
        {
            note = codeNote(piece.kind, value);
        }
        else if (field.offset == frame::kScanBoard)
        {
            note = hexNumber(value, 4);
        }
        else if (field.offset == frame::kRegisterAddr)
        {
            note = hexNumber(value, 8);
        }
        else if (field.offset == frame::kValidLength)
        {
            note = lengthNote(piece, value);
        }
        out += fieldLine(indent, field.name, bytes, note);
    }
    const DataParts parts = dataParts(piece);
    if (piece.subHeader)
    {
        out += indent + "sub-header\n";
        for (const frame::Field& field : frame::kSubHeaderFields)
        {
            const unsigned int value = fieldValue(parts.subHeader, field);
            out += fieldLine(indent + "  ", field.name, frame::slice(parts.subHeader, field.offset, field.size),
                             field.size > 1 ? std::to_string(value) : "");
        }
        out += fieldLine(indent + "  ", "other bytes",
                         std::string(parts.subHeader.substr(2, 1)) + std::string(frame::slice(parts.subHeader, 11, 6)),
                         "(bytes 2, 11 to 16)");
        if (!parts.extension.empty())
        {
            out += bytesBlock(indent, "extension", parts.extension, options.dataBytes);
        }
    }
    out += bytesBlock(indent, "data", parts.data, options.dataBytes);
    const unsigned int sum = frame::frameChecksumSum(f) & 0xFFFF;
    out += fieldLine(indent, "checksum", frame::slice(f, f.size() - frame::kChecksumSize, frame::kChecksumSize),
                     piece.checksumOk ? "ok" : "wrong: the bytes sum to " + hexNumber(sum, 4));
    return out;
}

std::string toJson(const Piece& piece, size_t index, size_t line)
{
    const std::string_view f = piece.bytes;
    std::string out = "{\"index\":" + std::to_string(index);
    if (line != 0)
    {
        out += ",\"line\":" + std::to_string(line);
    }
    out += ",\"offset\":" + std::to_string(piece.offset) + ",\"length\":" + std::to_string(f.size()) + ",\"kind\":\"" +
           kindName(piece.kind) + "\"";
    if (!isFrame(piece))
    {
        return out + ",\"bytes\":\"" + toHex(f) + "\"}";
    }
    out += std::string(",\"checksumOk\":") + (piece.checksumOk ? "true" : "false") + ",\"header\":{";
    bool first = true;
    for (const frame::Field& field : frame::kHeaderFields)
    {
        out += first ? "\"" : ",\"";
        first = false;
        out += field.name;
        out += "\":";
        if (field.offset == frame::kHead0)
        {
            out += "\"" + toHex(frame::slice(f, 0, 2)) + "\"";
        }
        else
        {
            out += std::to_string(fieldValue(f, field));
        }
    }
    out += "},\"subHeader\":";
    const DataParts parts = dataParts(piece);
    if (piece.subHeader)
    {
        out += "{";
        for (const frame::Field& field : frame::kSubHeaderFields)
        {
            out += std::string("\"") + field.name + "\":" + std::to_string(fieldValue(parts.subHeader, field)) + ",";
        }
        out += "\"bytes\":\"" + toHex(parts.subHeader) + "\",\"extension\":\"" + toHex(parts.extension) + "\"}";
    }
    else
    {
        out += "null";
    }
    out += ",\"data\":\"" + toHex(parts.data) + "\",\"checksum\":\"" +
           toHex(frame::slice(f, f.size() - frame::kChecksumSize, frame::kChecksumSize)) + "\"}";
    return out;
}

}  // namespace zorvproto
