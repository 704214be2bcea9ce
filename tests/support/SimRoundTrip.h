// The server's side of a round trip with the device simulator: one client
// request through ProtoStub, each of its frames sent to a
// zorv::DeviceSimulator (itself in pieces), the replies fed back to
// analyze_DeviceData in the pieces in which the device delivers them.
//
// The driver acts as a server does. It waits for more bytes on 6 and 8 (a
// lone first 0xAA gives 8 and is completed by the next piece); a 0 ends the
// message, and a reply record with a non-zero ack then ends the request as
// refused by the device; 255 ends the request as failed; a wire that runs dry
// before the reply ends it as timed out. Bytes that arrive after a message
// has ended wait on the wire for the next message, as they would on a socket.
#pragma once

#include "devicesim/DeviceSimulator.h"
#include "protostub/ProtoStub.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

// A facade whose receive buffer the tests can measure.
class ServerStub : public ProtoStub
{
public:
    std::size_t buffered();
};

enum class Ending
{
    Success,
    Failed,    // 255: the reply analysis failed and the buffer was emptied
    Refused,   // a reply was consumed but carried a non-zero ack
    TimedOut,  // the wire ran dry before a reply was consumed (nothing came, or only 6 and 8)
    Rejected   // analyze_ClientData did not succeed
};
const char* endingName(Ending ending);

struct MessageExchange
{
    std::vector<zorv::Fault> faults;  // what the device did to its reply
    std::size_t delivered = 0;        // reply bytes the device sent for this message
    std::vector<int> results;         // analyze_DeviceData's result for each piece fed
    std::size_t lastPiece = 0;        // size of the last piece fed
};

struct RoundTripOutcome
{
    Ending ending = Ending::Rejected;
    std::vector<MessageExchange> messages;  // those sent, in order
    std::size_t buffered = 0;               // bytes left in the receive buffer at the end
    std::size_t onWire = 0;                 // bytes left on the wire at the end
};

struct ClientRequest
{
    em_RequestType type = emRequestReadRegister;
    INTER_ST::ThirdGenerationCommRequest_Data record = {};
    std::string path = {};
    unsigned int maxLen = 256;
    bool selfIncreasing = true;
};

class SimServer
{
public:
    SimServer(ServerStub& stub, zorv::DeviceSimulator& device, std::string key);

    RoundTripOutcome run(ClientRequest request);
    // What a server does after a request that left bytes behind: drops what
    // is still on the wire and empties the receive buffer.
    void recover();

    // Called after each message whose reply was consumed with ack 0, with
    // the frame that was sent (a big transfer hashes what arrived here).
    std::function<void(const std::string& frame)> onAnswered;

private:
    ServerStub& m_stub;
    zorv::DeviceSimulator& m_device;
    std::string m_key;
    std::deque<std::string> m_wire;
    std::size_t m_onWire = 0;
};

// A request for len bytes at addr: for the variant key the data (and length)
// start with an 18-byte sub-header of zeros, as the server puts it there.
INTER_ST::ThirdGenerationCommRequest_Data makeRequest(bool variant, bool write, unsigned int addr,
                                                      const std::string& payload, unsigned long long len);
