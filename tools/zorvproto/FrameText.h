// Frames as zorvproto prints them: every header field named (the codec's
// field tables), the variant's sub-header when the frame has one, the data and
// the checksum; as readable text or as one JSON object per line.
#pragma once

#include "FrameCutter.h"

#include <cstddef>
#include <string>

namespace zorvproto
{

struct TextOptions
{
    size_t dataBytes = 64;  // data bytes shown before "..."; 0 shows all
};

// The piece as an indented block of lines, each ending in a newline, headed
//   frame 1 at offset 0: request 55 aa, 20 bytes, checksum ok
// Bytes that form no frame get the heading alone and their bytes.
std::string describe(const Piece& piece, size_t index, const TextOptions& options);

// The piece as one line of JSON (no newline), all of it:
//   {"index":1,"offset":0,"length":20,"kind":"request","checksumOk":true,
//    "header":{"head":"55aa","ack":0,...,"registerAddr":8192,"validLength":256},
//    "subHeader":null,"data":"","checksum":"5e5a"}
// Multi-byte fields are numbers, read low byte first; "head" is hex text.
// Pieces that are no frame carry "bytes" (hex) in place of header, data and
// checksum. line is the log line the bytes came from, 0 for none.
std::string toJson(const Piece& piece, size_t index, size_t line);

// "0x" and value in hex, at least digits digits ("0x00002000" for 8).
std::string hexNumber(unsigned int value, int digits);

}  // namespace zorvproto
