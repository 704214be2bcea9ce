#include "WireLink.h"

#include "Commands.h"
#include "FrameText.h"
#include "HexInput.h"
#include "PcapWriter.h"

#include <cmath>
#include <iostream>

namespace zorvproto
{

using zorv::wire::Direction;
using zorv::wire::WireErrc;
using zorv::wire::WireError;

void addLinkOptions(CLI::App& command, LinkOptions& o, const std::string& timeoutHelp)
{
    const char* group = "Device";
    CLI::Option* connect =
        command.add_option("--connect", o.connect, "the device's TCP address, HOST:PORT (PORT default 5020)")
            ->group(group);
    CLI::Option* serial =
        command.add_option("--serial", o.serial, "the device's serial line, e.g. /dev/ttyUSB0")->group(group);
    connect->excludes(serial);
    command.add_option("--baud", o.baud, "serial line speed (8N1, no flow control)")
        ->check(CLI::Range(50u, 4000000u))
        ->capture_default_str()
        ->group(group);
    command.add_option("--timeout", o.timeout, timeoutHelp)->check(CLI::Range(0.0, 3600.0))->capture_default_str();
    command.add_option("--pcap", o.pcap, "record every frame sent and received as a pcap file for Wireshark");
    command.add_flag("-v,--verbose", o.verbose, "print each frame on standard error as TX/RX hex with its fields");
}

void throwWireFailure(const WireError& error, const std::string& context)
{
    const int status = error.kind() == WireErrc::Timeout ? kExitUnanswered : kExitWire;
    throw CommandFailure(status, error.what() + (context.empty() ? std::string() : " (" + context + ")"));
}

Link::Link(const LinkOptions& o, bool variant)
    : m_timeout(static_cast<long long>(std::llround(o.timeout * 1000))),
      m_variant(variant ? Variant::Always : Variant::Standard), m_verbose(o.verbose)
{
    if (o.connect.empty() == o.serial.empty())
    {
        throw UsageError("name the device with one of --connect HOST:PORT and --serial DEVICE");
    }
    if (!o.connect.empty())
    {
        zorv::wire::HostPort where;
        try
        {
            where = zorv::wire::parseHostPort(o.connect, zorv::wire::kDefaultDevicePort);
        }
        catch (const std::invalid_argument& e)
        {
            throw UsageError(e.what());
        }
        m_transport = zorv::wire::makeTcpTransport(where.host, where.port);
    }
    else
    {
        m_transport = zorv::wire::makeSerialTransport(o.serial, o.baud);
    }
    m_peer = m_transport->peerName();
    if (!o.pcap.empty())
    {
        try
        {
            m_pcap = std::make_unique<zorv::wire::PcapWriter>(o.pcap);
        }
        catch (const std::runtime_error& e)
        {
            throw UsageError(e.what());
        }
    }
    try
    {
        m_transport->connect(m_timeout.count() > 0 ? m_timeout : zorv::wire::Timeout(5000));
    }
    catch (const WireError& e)
    {
        throwWireFailure(e);
    }
}

Link::~Link()
{
    m_transport->close();
    if (m_pcap)
    {
        try
        {
            m_pcap->close();
        }
        catch (const std::exception& e)
        {
            std::cerr << "zorvproto: " << e.what() << '\n';
        }
    }
}

void Link::send(const std::string& bytes)
{
    if (m_pcap)
    {
        m_pcap->record(Direction::ToDevice, bytes);
    }
    show("TX", bytes, true);
    m_transport->send(bytes, m_timeout);
}

std::string Link::receive(zorv::wire::Timeout timeout)
{
    std::string bytes = m_transport->receive(timeout);
    if (m_pcap)
    {
        m_pcap->record(Direction::FromDevice, bytes);
    }
    show("RX", bytes, false);
    return bytes;
}

void Link::showReceived(const std::string& bytes)
{
    if (m_verbose && !bytes.empty())
    {
        for (const Piece& piece : cutFrames(bytes, m_variant))
        {
            std::cerr << describe(piece, ++m_frames, TextOptions{});
        }
    }
}

void Link::show(const char* direction, const std::string& bytes, bool decode)
{
    if (!m_verbose)
    {
        return;
    }
    std::cerr << direction << ' ' << bytes.size() << ": " << toSpacedHex(bytes) << '\n';
    if (decode)
    {
        showReceived(bytes);
    }
}

}  // namespace zorvproto
