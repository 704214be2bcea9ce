// The TCP port a device (or the simulator) listens on unless told otherwise.
// The Wireshark dissector registers on the same port by default.
#pragma once

#include <cstdint>

namespace zorv::wire
{

constexpr std::uint16_t kDefaultDevicePort = 5020;

}  // namespace zorv::wire
