// What goes wrong on the wire, as one exception type whose message is one
// line naming the peer, and whose kind lets a caller pick its exit status.
#pragma once

#include <stdexcept>
#include <string>

namespace zorv::wire
{

enum class WireErrc
{
    Unreachable,  // the host cannot be resolved or reached in time
    Refused,      // nothing listens on the port
    Closed,       // the peer closed (or reset) the connection
    Timeout,      // a deadline passed before the operation completed
    NoDevice,     // the serial device does not exist
    Failed        // any other failure of the system call underneath
};

class WireError : public std::runtime_error
{
public:
    WireError(WireErrc kind, const std::string& message) : std::runtime_error(message), m_kind(kind) {}
    WireErrc kind() const { return m_kind; }

private:
    WireErrc m_kind;
};

}  // namespace zorv::wire
