// Writes the sample captures that the dissector test reads with tshark, one
// file per case, into the directory given. The frames are written out byte
// by byte, checksums included.
#include "PcapWriter.h"

#include <cstdio>
#include <exception>
#include <string>

namespace
{

using zorv::wire::Direction;
using zorv::wire::PcapWriter;

std::string hex(const char* text)
{
    std::string bytes;
    int high = -1;
    for (const char* p = text; *p != '\0'; ++p)
    {
        const char c = *p;
        int v = -1;
        if (c >= '0' && c <= '9')
            v = c - '0';
        else if (c >= 'a' && c <= 'f')
            v = c - 'a' + 10;
        if (v < 0)
            continue;
        if (high < 0)
        {
            high = v;
        }
        else
        {
            bytes += static_cast<char>(high << 4 | v);
            high = -1;
        }
    }
    return bytes;
}

constexpr Direction kTx = Direction::ToDevice;
constexpr Direction kRx = Direction::FromDevice;

// Standard: read 4 bytes at 0x1000 (the request asks for 4 and carries none),
// then write 3 bytes there.
const std::string kReadRequest = hex("55 aa 00 01 01 02 03 00 05 00 00 01 00 10 00 00 04 00 76 55");
const std::string kReadReply = hex("aa 55 00 01 02 01 03 00 05 00 00 01 00 10 00 00 04 00 de ad be ef ae 58");
const std::string kWriteRequest = hex("55 aa 00 02 01 02 03 00 05 00 01 01 00 10 00 00 03 00 01 02 03 7d 55");
const std::string kWriteReply = hex("aa 55 00 02 02 01 03 00 05 00 01 01 00 10 00 00 00 00 74 55");

void standard(const std::string& dir)
{
    PcapWriter pcap(dir + "/standard.pcap");
    pcap.record(kTx, kReadRequest);
    pcap.record(kRx, kReadReply);
    pcap.record(kTx, kWriteRequest);
    pcap.record(kRx, kWriteReply);
}

// The same transfer on a port the dissector is not registered on.
void heuristic(const std::string& dir)
{
    PcapWriter pcap(dir + "/heuristic.pcap", 7700);
    pcap.record(kTx, kReadRequest);
    pcap.record(kRx, kReadReply);
}

// Variant: a write of 4 payload bytes behind the sub-header and 2 extension
// bytes (44 bytes: its valid length, 26, counts the extension twice), the
// device's reply echoing sub-header and extension; a read asking for 8 bytes
// (38 bytes: the sub-header only) and its reply; a pushed report with 2 data
// bytes and its 38-byte acknowledgement.
void variant(const std::string& dir)
{
    PcapWriter pcap(dir + "/variant.pcap");
    pcap.record(kTx, hex("55 aa 00 07 01 02 03 00 05 00 01 01 00 20 00 00 1a 00 "
                         "06 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 02 aa bb 11 22 33 44 bb 57"));
    pcap.record(kRx, hex("aa 55 00 07 02 01 03 00 05 00 01 01 00 20 00 00 14 00 "
                         "06 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 02 aa bb 0b 57"));
    pcap.record(kTx, hex("55 aa 00 08 01 02 03 00 05 00 00 01 00 20 00 00 1a 00 "
                         "08 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ac 55"));
    pcap.record(kRx, hex("aa 55 00 08 02 01 03 00 05 00 00 01 00 20 00 00 1a 00 "
                         "08 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 11 22 33 44 55 66 77 88 10 58"));
    pcap.record(kRx, hex("55 aa 00 09 0a 0b 0c 0d 0e 0f 10 32 01 02 03 04 14 00 "
                         "00 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 5a 5b bf 56"));
    pcap.record(kTx, hex("aa 55 00 09 0b 0a 0c 0d 0e 0f 10 32 01 02 03 04 12 00 "
                         "00 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 08 56"));
}

// The read reply in two segments, cut inside its header.
void split(const std::string& dir)
{
    PcapWriter pcap(dir + "/split.pcap");
    pcap.record(kTx, kReadRequest);
    pcap.record(kRx, kReadReply.substr(0, 10));
    pcap.record(kRx, kReadReply.substr(10));
}

// A read of 8 bytes in two packets: both requests in one segment, both
// replies in the next.
void twoInOne(const std::string& dir)
{
    PcapWriter pcap(dir + "/two_in_one.pcap");
    pcap.record(kTx, hex("55 aa 00 03 01 02 03 00 05 00 00 01 00 10 00 00 04 00 78 55"
                         "55 aa 00 04 01 02 03 00 05 00 00 01 04 10 00 00 04 00 7d 55"));
    pcap.record(kRx, hex("aa 55 00 03 02 01 03 00 05 00 00 01 00 10 00 00 04 00 01 02 03 04 82 55"
                         "aa 55 00 04 02 01 03 00 05 00 00 01 04 10 00 00 04 00 05 06 07 08 97 55"));
}

// The read reply with its checksum's high byte changed (0x58 to 0x59).
void badChecksum(const std::string& dir)
{
    PcapWriter pcap(dir + "/bad_checksum.pcap");
    pcap.record(kTx, kReadRequest);
    pcap.record(kRx, hex("aa 55 00 01 02 01 03 00 05 00 00 01 00 10 00 00 04 00 de ad be ef ae 59"));
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: zorv_pcap_samples DIRECTORY\n");
        return 2;
    }
    try
    {
        const std::string dir = argv[1];
        standard(dir);
        heuristic(dir);
        variant(dir);
        split(dir);
        twoInOne(dir);
        badChecksum(dir);
    }
    catch (const std::exception& e)
    {
        std::fprintf(stderr, "zorv_pcap_samples: %s\n", e.what());
        return 1;
    }
    return 0;
}
