#include "devicesim/DeviceSimulator.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace zorv
{
namespace
{

// The frame as the device reads and writes it: an 18-byte header, the data,
// a two-byte checksum. Multi-byte fields are little-endian.
namespace wire
{
constexpr std::size_t kAck = 2;
constexpr std::size_t kLabel = 3;
constexpr std::size_t kFirstAddr = 4;
constexpr std::size_t kSecondAddr = 5;
constexpr std::size_t kCode = 10;  // read/write code of a request, package code of an auto report
constexpr std::size_t kPacketType = 11;
constexpr std::size_t kRegisterAddr = 12;
constexpr std::size_t kLength = 16;
constexpr std::size_t kData = 18;
constexpr std::size_t kOverhead = 20;  // header and checksum

// The variant's sub-header leads the data area.
constexpr std::size_t kSubHeader = 18;
constexpr std::size_t kVariantOverhead = kOverhead + kSubHeader;
constexpr std::size_t kSubLength = 18;     // frame bytes 18, 19: a write's payload length
constexpr std::size_t kSubPacketSum = 21;  // frame bytes 21 to 24
constexpr std::size_t kSubSequence = 25;   // frame bytes 25 to 28
constexpr std::size_t kSubLenExp = 35;     // frame byte 35: extension bytes after the sub-header

constexpr unsigned char kRead = 0;
constexpr unsigned char kWrite = 1;
constexpr unsigned char kReportPacketType = 0x32;
constexpr unsigned int kChecksumSeed = 0x5555;
constexpr std::size_t kMaxLength = 0xFFFF;

// Requests (and the device's own pushes) start 55 AA, replies AA 55.
constexpr std::string_view kRequestHead("\x55\xAA", 2);
constexpr std::string_view kReplyHead("\xAA\x55", 2);

// The device's own header bytes 4 to 9 and register address, in its pushes.
constexpr std::string_view kPushIdentity("\x0A\x0B\x0C\x0D\x0E\x0F", 6);
constexpr std::uint32_t kPushRegister = 0x04030201;

unsigned char byteAt(std::string_view f, std::size_t i)
{
    return static_cast<unsigned char>(f[i]);
}

std::uint32_t wordAt(std::string_view f, std::size_t i)
{
    return static_cast<std::uint32_t>(byteAt(f, i) | byteAt(f, i + 1) << 8);
}

std::uint32_t dwordAt(std::string_view f, std::size_t i)
{
    return wordAt(f, i) | wordAt(f, i + 2) << 16;
}

void putWord(std::string& f, std::size_t i, std::uint32_t v)
{
    f[i] = static_cast<char>(v & 0xFF);
    f[i + 1] = static_cast<char>(v >> 8 & 0xFF);
}

void putDword(std::string& f, std::size_t i, std::uint32_t v)
{
    putWord(f, i, v & 0xFFFF);
    putWord(f, i + 2, v >> 16);
}

// 0x5555 plus bytes 2 to size-3 of a frame of at least 4 bytes.
std::uint32_t checksum(std::string_view f)
{
    std::uint32_t sum = kChecksumSeed;
    for (std::size_t i = 2; i + 2 < f.size(); ++i)
    {
        sum += byteAt(f, i);
    }
    return sum & 0xFFFF;
}

bool checksumHolds(std::string_view f)
{
    return f.size() >= kOverhead && wordAt(f, f.size() - 2) == checksum(f);
}

// The checksum goes into the last two bytes, low byte first.
void seal(std::string& f)
{
    putWord(f, f.size() - 2, checksum(f));
}

// The header bytes 0 to 15 with the length, data and room for the checksum.
std::string frame(std::string_view head16, std::string_view data)
{
    std::string f(head16);
    f.resize(kData);
    putWord(f, kLength, static_cast<std::uint32_t>(data.size()));
    f.append(data);
    f.append(2, '\0');
    seal(f);
    return f;
}

// What the header of a request tells about its length.
constexpr std::size_t kNeedMore = 0;
constexpr std::size_t kBadCode = static_cast<std::size_t>(-1);

// The length of the request frame at the start of f (which starts 55 AA),
// kNeedMore while the bytes that tell it have not all arrived, kBadCode for a
// read/write code that is neither read nor write. A standard read asks for
// its length field's bytes and carries none; a variant read carries its
// sub-header and extension, a variant write also its payload, whose length
// the sub-header holds (the length field counts the extension twice there).
std::size_t requestLength(DeviceSimulator::Flavor flavor, std::string_view f)
{
    if (f.size() < kData)
    {
        return kNeedMore;
    }
    const unsigned char code = byteAt(f, kCode);
    if (code != kRead && code != kWrite)
    {
        return kBadCode;
    }
    if (flavor == DeviceSimulator::Flavor::Standard)
    {
        return code == kRead ? kOverhead : kOverhead + wordAt(f, kLength);
    }
    if (code == kRead)
    {
        return f.size() > kSubLenExp ? kVariantOverhead + byteAt(f, kSubLenExp) : kNeedMore;
    }
    return f.size() >= kSubLength + 2 ? kVariantOverhead + wordAt(f, kSubLength) : kNeedMore;
}

std::string pushHeader(unsigned char label, unsigned char code)
{
    std::string h(kRequestHead);
    h += '\0';
    h += static_cast<char>(label);
    h += kPushIdentity;
    h += static_cast<char>(code);
    h += static_cast<char>(kReportPacketType);
    h.resize(kLength);
    putDword(h, kRegisterAddr, kPushRegister);
    return h;
}

// The answer's header: AA 55, the ack, the label, the address bytes crossed,
// bytes 6 to 15 as they were.
std::string answerHeader(std::string_view f, unsigned char ack)
{
    std::string h(kReplyHead);
    h += static_cast<char>(ack);
    h += f.substr(kLabel, kLength - kLabel);
    std::swap(h[kFirstAddr], h[kSecondAddr]);
    return h;
}

bool fires(double probability, std::uint32_t draw)
{
    return probability >= 1 || static_cast<double>(draw) < probability * 4294967296.0;
}

}  // namespace wire
}  // namespace

const char* faultName(Fault fault)
{
    static const char* const names[kFaultKinds] = {"dropped reply", "non-zero ack", "wrong label", "bad checksum",
                                                   "truncated",     "garbage",      "duplicated",  "pieces"};
    const auto i = static_cast<std::size_t>(fault);
    return i < kFaultKinds ? names[i] : "unknown";
}

const char* droppedName(Dropped reason)
{
    static const char* const names[kDropReasons] = {"garbage", "bad checksum", "bad code", "malformed", "incomplete"};
    const auto i = static_cast<std::size_t>(reason);
    return i < kDropReasons ? names[i] : "unknown";
}

std::vector<std::string> cutIntoPieces(std::string_view bytes, std::size_t maxPiece, std::mt19937& rng)
{
    std::vector<std::string> out;
    for (std::size_t at = 0; at < bytes.size();)
    {
        const std::size_t size = maxPiece == 0 ? bytes.size() : 1 + rng() % maxPiece;
        out.emplace_back(bytes.substr(at, size));
        at += out.back().size();
    }
    return out;
}

DeviceSimulator::DeviceSimulator(Flavor flavor, const Faults& faults) : m_flavor(flavor)
{
    setFaults(faults);
}

unsigned char DeviceSimulator::pattern(std::uint32_t addr)
{
    return static_cast<unsigned char>((addr * 131u + (addr >> 8)) & 0xFF);
}

std::string DeviceSimulator::readRegisters(std::uint32_t addr, std::size_t count) const
{
    std::string out;
    out.reserve(count);
    // Page by page; the address wraps at 2^32.
    while (out.size() < count)
    {
        const std::uint32_t a = addr + static_cast<std::uint32_t>(out.size());
        const std::size_t offset = a % kPageSize;
        const std::size_t n = std::min(kPageSize - offset, count - out.size());
        const auto page = m_pages.find(a / kPageSize);
        for (std::size_t j = 0; j < n; ++j)
        {
            const std::uint32_t at = a + static_cast<std::uint32_t>(j);
            out += static_cast<char>(page == m_pages.end() ? pattern(at) : page->second[offset + j]);
        }
    }
    return out;
}

bool DeviceSimulator::writeRegisters(std::uint32_t addr, std::string_view bytes)
{
    if (bytes.empty())
    {
        return true;
    }
    // Count the pages that the write would add before touching any.
    constexpr std::size_t kPages = std::size_t{1} << 20;  // of the 2^32-byte space
    const std::size_t spanned = std::min((addr % kPageSize + bytes.size() - 1) / kPageSize + 1, kPages);
    std::size_t added = 0;
    for (std::size_t k = 0; k < spanned; ++k)
    {
        added += m_pages.count(static_cast<std::uint32_t>((addr / kPageSize + k) % kPages)) == 0 ? 1 : 0;
    }
    if ((m_pages.size() + added) * kPageSize > kMaxStoredBytes)
    {
        return false;
    }
    for (std::size_t done = 0; done < bytes.size();)
    {
        const std::uint32_t a = addr + static_cast<std::uint32_t>(done);
        const std::size_t offset = a % kPageSize;
        const std::size_t n = std::min(kPageSize - offset, bytes.size() - done);
        auto page = m_pages.find(a / kPageSize);
        if (page == m_pages.end())
        {
            // A new page holds the pattern until written.
            Page fresh;
            const std::uint32_t base = a - static_cast<std::uint32_t>(offset);
            for (std::size_t j = 0; j < kPageSize; ++j)
            {
                fresh[j] = pattern(base + static_cast<std::uint32_t>(j));
            }
            page = m_pages.emplace(a / kPageSize, fresh).first;
        }
        std::copy_n(bytes.data() + done, n, page->second.begin() + static_cast<std::ptrdiff_t>(offset));
        done += n;
    }
    return true;
}

void DeviceSimulator::setFaults(const Faults& faults)
{
    m_faults = faults;
    m_replyIndex = 0;
    std::seed_seq seq{faults.seed};
    m_pieceRng.seed(seq);
}

void DeviceSimulator::drop(Dropped reason, std::size_t bytes)
{
    m_stats.droppedBytes[static_cast<std::size_t>(reason)] += bytes;
}

std::string DeviceSimulator::sent(std::string frame) const
{
    ++m_stats.pushes;
    m_stats.bytesOut += frame.size();
    return frame;
}

std::string DeviceSimulator::answer(std::string_view requestFrame)
{
    m_stats.bytesIn += requestFrame.size();
    if (requestFrame.size() < wire::kOverhead || requestFrame.substr(0, 2) != wire::kRequestHead)
    {
        drop(Dropped::Malformed, requestFrame.size());
        return {};
    }
    const std::size_t length = wire::requestLength(m_flavor, requestFrame);
    if (length == wire::kBadCode)
    {
        drop(Dropped::BadCode, requestFrame.size());
        return {};
    }
    if (length != requestFrame.size())
    {
        drop(Dropped::Malformed, requestFrame.size());
        return {};
    }
    if (!wire::checksumHolds(requestFrame))
    {
        drop(Dropped::BadChecksum, requestFrame.size());
        return {};
    }
    return respond(requestFrame);
}

std::string DeviceSimulator::receive(std::string_view bytes)
{
    m_stats.bytesIn += bytes.size();
    m_inbox.append(bytes);
    const std::string_view inbox(m_inbox);
    std::string out;
    std::size_t at = 0;
    while (at < inbox.size())
    {
        const std::size_t head = inbox.find(wire::kRequestHead, at);
        if (head == std::string_view::npos)
        {
            // A last 0x55 may be the first byte of a head.
            const std::size_t keep = static_cast<unsigned char>(inbox.back()) == 0x55 ? 1 : 0;
            drop(Dropped::Garbage, inbox.size() - at - keep);
            at = inbox.size() - keep;
            break;
        }
        drop(Dropped::Garbage, head - at);
        at = head;
        const std::string_view rest = inbox.substr(at);
        const std::size_t length = wire::requestLength(m_flavor, rest);
        if (length == wire::kBadCode)
        {
            drop(Dropped::BadCode, wire::kRequestHead.size());
            at += wire::kRequestHead.size();
            continue;
        }
        if (length == wire::kNeedMore || rest.size() < length)
        {
            break;
        }
        const std::string_view request = rest.substr(0, length);
        if (!wire::checksumHolds(request))
        {
            const std::size_t next = request.find(wire::kRequestHead, wire::kRequestHead.size());
            const std::size_t skip = next == std::string_view::npos ? length : next;
            drop(Dropped::BadChecksum, skip);
            at += skip;
            continue;
        }
        out += respond(request);
        at += length;
    }
    m_inbox.erase(0, at);
    return out;
}

void DeviceSimulator::reset()
{
    drop(Dropped::Incomplete, m_inbox.size());
    m_inbox.clear();
}

std::string DeviceSimulator::respond(std::string_view request)
{
    const bool read = wire::byteAt(request, wire::kCode) == wire::kRead;
    ++m_stats.requests;
    ++(read ? m_stats.reads : m_stats.writes);

    std::seed_seq seq{m_faults.seed, m_replyIndex++};
    std::mt19937 rng(seq);
    const std::array<bool, kFaultKinds> fired = drawFaults(rng);

    // The variant echoes its sub-header and extension: a read's whole data
    // area, a write's up to its payload.
    const std::string_view area = request.substr(wire::kData, request.size() - wire::kOverhead);
    std::size_t echo = 0;
    if (m_flavor == Flavor::Variant)
    {
        echo = read ? area.size() : std::min(area.size(), wire::kSubHeader + wire::byteAt(request, wire::kSubLenExp));
    }
    unsigned char ack = fired[static_cast<std::size_t>(Fault::NonZeroAck)] ? m_faults.ackCode : m_ack;
    std::string data(area.substr(0, echo));
    const std::uint32_t addr = wire::dwordAt(request, wire::kRegisterAddr);
    if (ack == 0 && read)
    {
        const std::size_t asked = wire::wordAt(request, wire::kLength);
        data += readRegisters(addr, asked > echo ? asked - echo : 0);
    }
    else if (ack == 0 && !writeRegisters(addr, area.substr(echo)))
    {
        ack = kAckStoreFull;
    }
    return applyFaults(wire::frame(wire::answerHeader(request, ack), data), rng, fired);
}

std::array<bool, kFaultKinds> DeviceSimulator::drawFaults(std::mt19937& rng) const
{
    const double chances[] = {m_faults.droppedReply, m_faults.nonZeroAck, m_faults.wrongLabel, m_faults.badChecksum,
                              m_faults.truncated,    m_faults.garbage,    m_faults.duplicated};
    std::array<bool, kFaultKinds> fired{};
    for (std::size_t i = 0; i < std::size(chances); ++i)
    {
        fired[i] = wire::fires(chances[i], static_cast<std::uint32_t>(rng()));
    }
    return fired;
}

std::string DeviceSimulator::applyFaults(std::string reply, std::mt19937& rng,
                                         const std::array<bool, kFaultKinds>& fired)
{
    m_lastFaults.clear();
    for (std::size_t i = 0; i < fired.size(); ++i)
    {
        if (fired[i])
        {
            m_lastFaults.push_back(static_cast<Fault>(i));
            ++m_stats.faults[i];
        }
    }
    const auto has = [&fired](Fault f) { return fired[static_cast<std::size_t>(f)]; };
    if (has(Fault::DroppedReply))
    {
        return {};
    }
    if (has(Fault::WrongLabel))
    {
        reply[wire::kLabel] = static_cast<char>(wire::byteAt(reply, wire::kLabel) + 1);
        wire::seal(reply);
    }
    if (has(Fault::BadChecksum))
    {
        wire::putWord(reply, reply.size() - 2, (wire::checksum(reply) + 1) & 0xFFFF);
    }
    if (has(Fault::Truncated))
    {
        reply.resize(1 + rng() % (reply.size() - 1));
    }
    if (has(Fault::Garbage))
    {
        std::string garbage(1 + rng() % 16, '\0');
        for (char& c : garbage)
        {
            // No 0xAA: the garbage holds no reply head.
            const auto b = static_cast<unsigned char>(rng() % 255);
            c = static_cast<char>(b >= 0xAA ? b + 1 : b);
        }
        reply.insert(0, garbage);
    }
    const std::size_t copies = has(Fault::Duplicated) ? 2 : 1;
    m_stats.replies += copies;
    m_stats.bytesOut += reply.size() * copies;
    return copies == 2 ? reply + reply : reply;
}

std::vector<std::string> DeviceSimulator::pieces(std::string_view bytes)
{
    std::vector<std::string> out = cutIntoPieces(bytes, m_faults.maxPiece, m_pieceRng);
    if (out.size() > 1)
    {
        ++m_stats.faults[static_cast<std::size_t>(Fault::Pieces)];
    }
    return out;
}

std::string DeviceSimulator::pushReport(unsigned char label, unsigned char code, std::uint32_t sum, std::uint32_t seq,
                                        std::string_view data) const
{
    if (data.size() > wire::kMaxLength - wire::kSubHeader)
    {
        throw std::length_error("an auto report carries at most 65517 data bytes");
    }
    std::string sub(wire::kSubHeader, '\0');
    // Packet sum and sequence number at frame bytes 21 and 25, 3 and 7 into the sub-header.
    wire::putDword(sub, wire::kSubPacketSum - wire::kData, sum);
    wire::putDword(sub, wire::kSubSequence - wire::kData, seq);
    return sent(wire::frame(wire::pushHeader(label, code), sub.append(data)));
}

std::string DeviceSimulator::report(unsigned char label, std::string_view data) const
{
    if (data.size() > wire::kMaxLength)
    {
        throw std::length_error("a report carries at most 65535 data bytes");
    }
    return sent(wire::frame(wire::pushHeader(label, wire::kRead), data));
}

std::string DeviceSimulator::reportStream(unsigned char firstLabel, const std::vector<std::string>& data) const
{
    std::string stream;
    unsigned char label = firstLabel;
    for (const std::string& d : data)
    {
        stream += report(label++, d);
    }
    return stream;
}

bool DeviceSimulator::acceptsPushAcknowledgement(std::string_view pushed, std::string_view ack)
{
    constexpr std::size_t kAckLength = wire::kVariantOverhead;
    if (pushed.size() < kAckLength || ack.size() != kAckLength)
    {
        return false;
    }
    std::string expected = wire::frame(wire::answerHeader(pushed, 0), pushed.substr(wire::kData, wire::kSubHeader));
    return ack == expected;
}

bool DeviceSimulator::acceptsReportAcknowledgement(std::string_view report, std::string_view ack)
{
    if (report.size() < wire::kOverhead || ack.size() != wire::kOverhead)
    {
        return false;
    }
    const unsigned char reportAck = wire::byteAt(report, wire::kAck) == 0 ? 0 : 2;
    return ack == wire::frame(wire::answerHeader(report, reportAck), {});
}

bool DeviceSimulator::takePushAcknowledgement(std::string_view pushed, std::string_view ack)
{
    const bool accepted = acceptsPushAcknowledgement(pushed, ack);
    ++(accepted ? m_stats.acknowledgementsAccepted : m_stats.acknowledgementsRejected);
    return accepted;
}

bool DeviceSimulator::takeReportAcknowledgement(std::string_view report, std::string_view ack)
{
    const bool accepted = acceptsReportAcknowledgement(report, ack);
    ++(accepted ? m_stats.acknowledgementsAccepted : m_stats.acknowledgementsRejected);
    return accepted;
}

}  // namespace zorv
