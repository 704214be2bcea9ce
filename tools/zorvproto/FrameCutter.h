// Cutting a byte stream into frames for zorvproto decode, with the frame codec
// alone: no logging, no state, safe on any input.
//
// How long a frame is, by its head:
//  - AA 55 (a reply, or the server's acknowledgement of a report): 20 bytes
//    plus its length field, both bytes read unsigned.
//  - 55 AA with packet type 0x32 (a report the device pushes): the same.
//  - 55 AA otherwise (a request): a write is 20 bytes plus its length field.
//    A read is 20 bytes whatever its length field holds, for that field asks
//    for bytes instead of counting them. The variant's frames are longer by
//    their sub-header: a variant read is 38 bytes plus the sub-header's
//    extension length (its byte 17), a variant write 38 bytes plus the
//    sub-header's own length (its bytes 0 and 1).
// Whether a request is the variant's is told by --variant or --standard, or
// else by its checksum: the standard length is tried first, then the variant
// one, and the first whose checksum holds wins.
//
// Where the stated length and the stream disagree (a truncated frame, garbage
// behind a head), the cutter resynchronises: a frame whose checksum fails, or
// that runs past the input, is cut short at the first head inside it behind
// which a frame with a good checksum starts; the bytes before that head are
// reported as a truncated frame.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace zorvproto
{

enum class Variant
{
    Auto,      // by checksum for requests; the sub-header shown where its lengths agree with the frame
    Standard,  // no frame is the variant's
    Always     // every frame is the variant's
};

enum class PieceKind
{
    Request,    // 55 AA: from the server to the device
    Reply,      // AA 55: a reply, or the server's acknowledgement of a report
    Push,       // 55 AA with packet type 0x32: a report the device pushes
    Truncated,  // starts with a head but ends before its frame does
    Unframed    // bytes before the first head, or between frames
};
const char* kindName(PieceKind kind);

struct Piece
{
    PieceKind kind = PieceKind::Unframed;
    size_t offset = 0;  // in the input
    std::string_view bytes;
    bool checksumOk = false;  // frames only
    bool subHeader = false;   // frames only: the data opens with the variant's sub-header
};

// The input cut into pieces that together cover it, in order.
std::vector<Piece> cutFrames(std::string_view input, Variant variant);

}  // namespace zorvproto
