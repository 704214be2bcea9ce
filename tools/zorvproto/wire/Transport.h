// A byte stream to a device: a TCP connection or a serial line. Every wait
// has a deadline; failures throw WireError with a one-line message.
#pragma once

#include "WireError.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace zorv::wire
{

using Timeout = std::chrono::milliseconds;

class Transport
{
public:
    virtual ~Transport() = default;

    // Opens the connection or the device. Throws Unreachable, Refused,
    // Timeout, NoDevice or Failed.
    virtual void connect(Timeout timeout) = 0;

    // Sends all of bytes. Throws Closed, Timeout or Failed.
    virtual void send(const std::string& bytes, Timeout timeout) = 0;

    // Returns the bytes that have arrived, at least one, waiting up to timeout
    // for the first. Throws Timeout when none came, Closed when the peer
    // closed, Failed otherwise.
    virtual std::string receive(Timeout timeout) = 0;

    // Closes the connection; safe to call more than once.
    virtual void close() noexcept = 0;

    // The peer as messages name it: "127.0.0.1:5020" or "/dev/ttyUSB0".
    virtual std::string peerName() const = 0;
};

// A TCP client for host:port; connect() resolves and connects.
std::unique_ptr<Transport> makeTcpTransport(const std::string& host, std::uint16_t port);

// A serial line at baud, 8 data bits, no parity, one stop bit, no flow
// control; connect() opens the device.
std::unique_ptr<Transport> makeSerialTransport(const std::string& device, unsigned int baud);

struct HostPort
{
    std::string host;
    std::uint16_t port = 0;
};

// Splits "HOST:PORT" ("[::1]:PORT" for an IPv6 address; "HOST" alone takes
// defaultPort). Throws std::invalid_argument naming the text.
HostPort parseHostPort(const std::string& text, std::uint16_t defaultPort);

}  // namespace zorv::wire
