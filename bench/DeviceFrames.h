// Frames as a device sends them, built here without the library, so that the
// benchmarks feed the library bytes it did not produce itself.
#pragma once

#include <string>

namespace bench
{

// count bytes of a fixed pattern. Every byte is below 0x80, so neither head
// (AA 55, 55 AA) can occur inside the data and cut a frame short.
std::string patternBytes(size_t count, unsigned int seed);

// The device's reply to a request frame: head AA 55, ack 0, the request's
// label, the address bytes 4 and 5 crossed, bytes 6 to 15 echoed, the length
// of data at bytes 16 and 17, data, and the checksum.
std::string replyTo(const std::string& request, const std::string& data);

// A report as a device streams it: head 55 AA, the label, the read/write or
// package code at byte 10, packet type 0x32, data, and the checksum.
std::string report(unsigned char label, unsigned char code, const std::string& data);

}  // namespace bench
