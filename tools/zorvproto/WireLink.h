// The device end of the wire commands (read, write, read-file, write-file,
// watch): the options that name it (--connect or --serial, --baud,
// --timeout, --pcap, -v), and a link that sends and receives through the
// transport, records every piece in the pcap file and, with -v, prints each
// piece as TX/RX hex with its frames' decoded fields.
#pragma once

#include "FrameCutter.h"
#include "Transport.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

namespace zorv::wire
{
class PcapWriter;
}

namespace zorvproto
{

struct LinkOptions
{
    std::string connect;  // HOST:PORT
    std::string serial;   // a serial device
    unsigned int baud = 115200;
    double timeout = 1.0;  // seconds
    std::string pcap;
    bool verbose = false;
};

// Declares the options above on command; timeoutHelp says what --timeout bounds.
void addLinkOptions(CLI::App& command, LinkOptions& options, const std::string& timeoutHelp);

// A WireError as the failure main reports: status 3, or 4 for a timeout.
[[noreturn]] void throwWireFailure(const zorv::wire::WireError& error, const std::string& context = "");

class Link
{
public:
    // Opens the transport (throws CommandFailure when it cannot) and the pcap
    // file (UsageError). variant says how -v decodes frames.
    Link(const LinkOptions& options, bool variant);
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    zorv::wire::Timeout timeout() const { return m_timeout; }
    const std::string& peer() const { return m_peer; }

    // Sends bytes. Throws WireError.
    void send(const std::string& bytes);
    // The bytes that arrived within timeout, at least one. Throws WireError.
    std::string receive(zorv::wire::Timeout timeout);
    // With -v: the frames of bytes received since the last call, decoded.
    void showReceived(const std::string& bytes);

private:
    void show(const char* direction, const std::string& bytes, bool decode);

    std::unique_ptr<zorv::wire::Transport> m_transport;
    std::unique_ptr<zorv::wire::PcapWriter> m_pcap;
    zorv::wire::Timeout m_timeout;
    std::string m_peer;
    Variant m_variant;
    bool m_verbose;
    size_t m_frames = 0;
};

}  // namespace zorvproto
