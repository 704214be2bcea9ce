// A device on the other end of the wire, for tests and tools. It answers the
// server's request frames from a sparse 32-bit register space, pushes reports
// of its own, checks the acknowledgements that come back and, when asked, gets
// its replies wrong in seeded ways that replay. It reads and writes frames
// with its own code (nothing of the protocol library), so that a round trip
// checks the library against an independent device.
//
// Bytes from outside never make it throw: what it cannot answer is dropped
// and counted by reason. One simulator belongs to one thread at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace zorv
{

// What the simulator can get wrong in a reply, in the order in which it
// decides them for each reply.
enum class Fault
{
    DroppedReply,  // no reply at all; the request is still carried out
    NonZeroAck,    // ack Faults::ackCode; the request is not carried out (see DeviceSimulator::answer)
    WrongLabel,    // the label one more than the request's; the checksum fits the wrong label
    BadChecksum,   // the stored checksum one more than the right one
    Truncated,     // only the first 1 to size-1 bytes of the reply are sent
    Garbage,       // 1 to 16 bytes, none of them 0xAA, before the head
    Duplicated,    // the reply is sent twice, back to back
    Pieces,        // a delivery cut into pieces by DeviceSimulator::pieces
};
constexpr std::size_t kFaultKinds = 8;
const char* faultName(Fault fault);

// Why received bytes were not answered.
enum class Dropped
{
    Garbage,      // bytes outside any request frame
    BadChecksum,  // a request whose checksum is wrong (up to the next head inside it)
    BadCode,      // the head of a request whose read/write code is neither 0 nor 1
    Malformed,    // a frame handed to answer() that is not exactly one request frame
    Incomplete,   // the partial request that reset() threw away
};
constexpr std::size_t kDropReasons = 5;
const char* droppedName(Dropped reason);

// Fault switches: each a probability per reply, 0 never and 1 always.
//
// Replay: reply n (counted from 0 since construction or the last setFaults)
// draws from its own std::mt19937 seeded with std::seed_seq{seed, n}: first
// one 32-bit number per reply fault in the order of Fault, whether switched on
// or not (a fault fires when the number is below p * 2^32), then the sizes
// and bytes of those that fired. pieces() draws from one std::mt19937 seeded
// with std::seed_seq{seed}. Both engines and seed_seq are fixed by the C++
// standard, so the same seed gives the same faults on every platform, and
// switching one fault on or off leaves the others' decisions as they were.
struct Faults
{
    double droppedReply = 0;
    double nonZeroAck = 0;
    double wrongLabel = 0;
    double badChecksum = 0;
    double truncated = 0;
    double garbage = 0;
    double duplicated = 0;
    unsigned char ackCode = 1;  // the ack of a NonZeroAck reply
    std::size_t maxPiece = 0;   // pieces() cuts into pieces of 1 to maxPiece bytes; 0 leaves deliveries whole
    std::uint32_t seed = 1;
};

// What went over the wire. Request frames answered are counted whatever
// faults their replies got.
struct Stats
{
    std::uint64_t requests = 0;  // request frames answered (reads plus writes)
    std::uint64_t reads = 0;
    std::uint64_t writes = 0;
    std::uint64_t replies = 0;   // reply frames sent: a duplicate counts twice, a dropped reply not at all
    std::uint64_t pushes = 0;    // frames pushed: auto reports and the reports of report streams
    std::uint64_t bytesIn = 0;   // every byte handed to answer() or receive()
    std::uint64_t bytesOut = 0;  // bytes of replies and pushes
    std::uint64_t acknowledgementsAccepted = 0;
    std::uint64_t acknowledgementsRejected = 0;
    std::array<std::uint64_t, kFaultKinds> faults{};         // by Fault
    std::array<std::uint64_t, kDropReasons> droppedBytes{};  // by Dropped

    std::uint64_t injected(Fault fault) const { return faults[static_cast<std::size_t>(fault)]; }
    std::uint64_t dropped(Dropped reason) const { return droppedBytes[static_cast<std::size_t>(reason)]; }
};

// Cuts bytes into pieces of 1 to maxPiece bytes (sizes 1 + rng() % maxPiece),
// in order; maxPiece 0 gives the bytes as one piece. No piece is empty.
std::vector<std::string> cutIntoPieces(std::string_view bytes, std::size_t maxPiece, std::mt19937& rng);

class DeviceSimulator
{
public:
    enum class Flavor
    {
        Standard,
        Variant  // its frames carry an 18-byte sub-header, which it echoes before a reply's data
    };

    // The ack of a write that would need more register storage than the
    // simulator keeps (kMaxStoredBytes of written registers).
    static constexpr unsigned char kAckStoreFull = 0xF0;
    static constexpr std::size_t kMaxStoredBytes = std::size_t{64} << 20;

    explicit DeviceSimulator(Flavor flavor, const Faults& faults = {});

    Flavor flavor() const { return m_flavor; }

    // Registers. An address space of 2^32 bytes; a run that passes
    // 0xFFFFFFFF goes on at 0. A byte never written reads as pattern(addr).
    std::string readRegisters(std::uint32_t addr, std::size_t count) const;
    // False, and nothing written, when the storage limit would be passed.
    bool writeRegisters(std::uint32_t addr, std::string_view bytes);
    // The low byte of addr * 131 + (addr >> 8): no two neighbours equal, so
    // that a read from a wrong address shows.
    static unsigned char pattern(std::uint32_t addr);

    // The ack of every reply from now on (0, success, at construction). A
    // request answered with a non-zero ack is not carried out.
    void setAck(unsigned char ack) { m_ack = ack; }

    // The reply to one whole request frame, faults applied. A request starts
    // 55 AA and has a right checksum. Its length follows from its header: a
    // standard read is 20 bytes, a standard write 20 + its length field
    // (bytes 16, 17); a variant read 38 + byte 35 (the sub-header's extension
    // length), a variant write 38 + bytes 18, 19 (the sub-header's length).
    // The reply: AA 55, the ack, the request's label, its bytes 5 and 4
    // (crossed), bytes 6 to 15 echoed, the data length, the data, the
    // checksum (0x5555 plus bytes 2 to size-3, low byte first). A read's data
    // is the registers asked for (bytes 16, 17; for the variant, less its
    // sub-header and extension); a write stores its data at the address of
    // bytes 12 to 15 and returns none. The variant's data starts with the
    // request's sub-header and extension echoed. With a non-zero ack the
    // request is not carried out and only the variant's echo is returned.
    // Anything else than one request frame gets "" and counts as dropped.
    std::string answer(std::string_view requestFrame);

    // The same for a byte stream in pieces of any size: buffers them, cuts
    // out whole requests and returns their replies (faults applied), drops
    // and counts bytes that form no request. A request whose checksum is
    // wrong is dropped up to the next head inside it, so that a damaged
    // length cannot swallow the requests behind it.
    std::string receive(std::string_view bytes);
    bool idle() const { return m_inbox.empty(); }
    std::size_t pending() const { return m_inbox.size(); }
    // Throws the partial request away (counted as Dropped::Incomplete).
    void reset();

    // Faults from now on; restarts the replay (see Faults).
    void setFaults(const Faults& faults);
    const Faults& faults() const { return m_faults; }
    // The faults that the last reply got, in the order of Fault.
    const std::vector<Fault>& lastFaults() const { return m_lastFaults; }
    // Bytes as the device delivers them: in pieces of 1 to Faults::maxPiece
    // bytes, or whole when maxPiece is 0.
    std::vector<std::string> pieces(std::string_view bytes);

    // An auto report that the device pushes: 55 AA, ack 0, the label, the
    // device's bytes 4 to 9 (0A 0B 0C 0D 0E 0F), the package code at byte 10
    // (0x10 or 0x18), packet type 0x32, register address 0x04030201, then an
    // 18-byte sub-header with the packet sum at frame bytes 21 to 24 and the
    // sequence number at 25 to 28 (other sub-header bytes 0), then the data.
    // Throws std::length_error for more than 65517 data bytes.
    std::string pushReport(unsigned char label, unsigned char code, std::uint32_t sum, std::uint32_t seq,
                           std::string_view data) const;
    // One report of a report stream: the same header with read code 0 at byte
    // 10 (so that the data is decoded), no sub-header. The server splits a
    // stream at every 55 AA, so data and checksums that hold 55 AA split a
    // report; and it decodes at most 238 data bytes of a report in order.
    // Throws std::length_error for more than 65535 data bytes.
    std::string report(unsigned char label, std::string_view data) const;
    // Reports back to back, labelled firstLabel, firstLabel + 1, ...
    std::string reportStream(unsigned char firstLabel, const std::vector<std::string>& data) const;

    // Whether ack is the 38-byte acknowledgement the device expects for an
    // auto report: AA 55, ack 0, the label, the report's bytes 5 and 4, its
    // bytes 6 to 15, length 18 (12 00), its sub-header (bytes 18 to 35), the
    // checksum.
    static bool acceptsPushAcknowledgement(std::string_view pushed, std::string_view ack);
    // Whether ack is the 20-byte acknowledgement the device expects for a
    // report of a stream: AA 55, ack 0 (2 if the report's own ack was not
    // 0), the label, bytes 5 and 4, bytes 6 to 15, length 0, the checksum.
    static bool acceptsReportAcknowledgement(std::string_view report, std::string_view ack);
    // The same checks, counted in the statistics.
    bool takePushAcknowledgement(std::string_view pushed, std::string_view ack);
    bool takeReportAcknowledgement(std::string_view report, std::string_view ack);

    const Stats& stats() const { return m_stats; }

private:
    static constexpr std::size_t kPageSize = 4096;
    using Page = std::array<unsigned char, kPageSize>;

    std::string respond(std::string_view request);
    std::string applyFaults(std::string reply, std::mt19937& rng, const std::array<bool, kFaultKinds>& fired);
    std::array<bool, kFaultKinds> drawFaults(std::mt19937& rng) const;
    void drop(Dropped reason, std::size_t bytes);
    std::string sent(std::string frame) const;

    Flavor m_flavor;
    unsigned char m_ack = 0;
    std::map<std::uint32_t, Page> m_pages;  // by address / kPageSize; unwritten bytes of a page hold the pattern
    std::string m_inbox;                    // received bytes not yet answered or dropped
    Faults m_faults;
    std::uint32_t m_replyIndex = 0;
    std::mt19937 m_pieceRng;
    std::vector<Fault> m_lastFaults;
    // Counting what goes over the wire is no part of the device's state: a
    // const device still counts the reports it pushes.
    mutable Stats m_stats;
};

}  // namespace zorv
