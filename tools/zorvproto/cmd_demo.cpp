// zorvproto demo: the server's side of real transfers, ProtoStub against the
// device simulator in one process, for both protocol keys. Every frame goes
// over a simulated wire and is shown (TX to the device, RX from it); every
// outcome is checked; one pass switches the simulator's faults on one at a
// time and shows what the library answers and how the server recovers.
#include "Commands.h"
#include "Digest.h"
#include "FrameCutter.h"
#include "FrameText.h"
#include "HexInput.h"
#include "Request.h"
#include "devicesim/DeviceSimulator.h"
#include "log/ZorvLogControl.h"
#include "protobase/FrameCodec.h"
#include "protostub/ProtoStub.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <list>
#include <memory>
#include <random>
#include <sstream>

#if defined(_WIN32)
#include <io.h>
#include <process.h>
#define ZORV_ISATTY _isatty
#define ZORV_GETPID _getpid
#else
#include <unistd.h>
#define ZORV_ISATTY isatty
#define ZORV_GETPID getpid
#endif

namespace zorvproto
{

namespace
{

using Clock = std::chrono::steady_clock;
using zorv::DeviceSimulator;
using zorv::Fault;
using zorv::Faults;

const char* const kKeys[] = {"3rd-proto", "3rdOrvane-proto"};
const char* const kSendSignature = "void __cdecl zorvproto::demo::send(const std::string &)";
const char* const kReceiveSignature = "void __cdecl zorvproto::demo::receive(const std::string &)";

constexpr std::uint32_t kRegisterBase = 0x00002000;
constexpr std::uint32_t kFileBase = 0x40000000;
constexpr size_t kMaxSize = size_t{16} << 20;
constexpr size_t kShownHead = 2;  // exchanges shown at the start of a transfer
constexpr size_t kShownTail = 1;  // and at its end; the rest are counted
constexpr size_t kDataShown = 8;  // data bytes shown in a TX or RX line

struct DemoOptions
{
    size_t size = 4096;
    std::uint64_t max = 1024;
    std::uint32_t seed = 1;
    std::string key;
    bool quiet = false;
    std::string logLevel = "warn";
    std::string logFile;
};

// ---- What was done, for the summary ----

struct Tally
{
    std::uint64_t requests = 0;  // client requests handed to the library
    std::uint64_t frames = 0;    // frames on the wire, both ways
    std::uint64_t bytes = 0;     // bytes on the wire, both ways
    std::uint64_t checks = 0;
    std::uint64_t passed = 0;
    double seconds = 0;
};

// ---- Output ----

// The transcript on standard output, with a progress bar drawn over its last
// line while a long transfer runs on a terminal.
class Transcript
{
public:
    explicit Transcript(bool quiet) : m_quiet(quiet), m_terminal(ZORV_ISATTY(1) != 0) {}

    bool quiet() const { return m_quiet; }

    void line(const std::string& text)
    {
        if (m_quiet)
        {
            return;
        }
        clearBar();
        std::cout << text << '\n';
    }

    // A line of the library's log, shown by the next flushLog.
    void logLine(std::string text) { m_log.push_back(std::move(text)); }
    void flushLog()
    {
        for (const std::string& text : m_log)
        {
            line("        log " + text);
        }
        m_log.clear();
    }

    // A transfer of total steps begins; the bar appears after a second.
    void startProgress(const std::string& what, size_t total)
    {
        m_what = what;
        m_total = total;
        m_started = Clock::now();
        m_drawn = m_started;
    }

    void progress(size_t done)
    {
        if (m_quiet || !m_terminal || m_total == 0)
        {
            return;
        }
        const auto now = Clock::now();
        if (now - m_started < std::chrono::seconds(1) || now - m_drawn < std::chrono::milliseconds(100))
        {
            return;
        }
        m_drawn = now;
        constexpr size_t width = 40;
        const size_t filled = done * width / m_total;
        std::cout << "\r  " << m_what << " [" << std::string(filled, '#') << std::string(width - filled, '.') << "] "
                  << done * 100 / m_total << "%" << std::flush;
        m_barShown = true;
    }

    void endProgress()
    {
        clearBar();
        m_total = 0;
    }

private:
    void clearBar()
    {
        if (m_barShown)
        {
            std::cout << "\r\033[K" << std::flush;
            m_barShown = false;
        }
    }

    bool m_quiet;
    bool m_terminal;
    bool m_barShown = false;
    std::vector<std::string> m_log;
    std::string m_what;
    size_t m_total = 0;
    Clock::time_point m_started;
    Clock::time_point m_drawn;
};

std::string hex32(std::uint32_t value)
{
    return hexNumber(value, 8);
}

std::string hex8(unsigned int value)
{
    char text[8];
    std::snprintf(text, sizeof text, "%02x", value & 0xFF);
    return text;
}

std::string rightAligned(const std::string& text, size_t width)
{
    return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

// One frame in a line: label, operation, address, length, ack for device
// frames, the first data bytes.
std::string frameFields(const Piece& piece)
{
    const std::string_view f = piece.bytes;
    if (piece.kind == PieceKind::Truncated)
    {
        return "a truncated frame (" + std::to_string(f.size()) + " bytes)";
    }
    if (piece.kind == PieceKind::Unframed)
    {
        return std::to_string(f.size()) + " bytes that form no frame";
    }
    const frame::Header h = frame::decodeHeader(f);
    const unsigned int code = h.readWriteCode;
    std::string text = "#" + hex8(h.label) + " ";
    if (piece.kind == PieceKind::Push)
    {
        text += "push code " + hex8(code);
    }
    else
    {
        text += code == 0 ? "read " : code == 1 ? "write" : "code " + hex8(code);
    }
    text += " " + hex32(frame::dwordAt(f, frame::kRegisterAddr)) + " len " + std::to_string(h.validLength);
    if (piece.kind != PieceKind::Request)
    {
        text += " ack " + std::to_string(h.ack);
    }
    std::string_view data = f.substr(frame::kData, f.size() - frame::kOverhead);
    if (piece.subHeader)
    {
        const frame::SubHeader sub = frame::frameSubHeader(f);
        text += " [sum " + std::to_string(sub.packetSum) + " seq " + std::to_string(sub.sequence) + "]";
        data.remove_prefix(std::min(data.size(), frame::kSubHeaderSize + sub.lenExp));
    }
    if (!data.empty())
    {
        text += " data " + toSpacedHex(data.substr(0, kDataShown)) + (data.size() > kDataShown ? " ..." : "");
    }
    if (!piece.checksumOk)
    {
        text += " CHECKSUM WRONG";
    }
    return text;
}

// "TX   20  #01 read  0x00002000 len 1024": each frame of bytes on a line of
// its own, the first beside the direction and the byte count.
std::string wireLine(const char* direction, std::string_view bytes, bool variant)
{
    std::string text = std::string("  ") + direction + rightAligned(std::to_string(bytes.size()), 6) + "  ";
    if (bytes.empty())
    {
        return text + "nothing";
    }
    bool first = true;
    for (const Piece& piece : cutFrames(bytes, variant ? Variant::Always : Variant::Standard))
    {
        text += first ? "" : "\n" + std::string(12, ' ');
        first = false;
        text += frameFields(piece);
    }
    return text;
}

// A result that stands for an exception thrown by the library.
constexpr int kThrew = -1;

std::string resultsText(const std::vector<int>& results)
{
    if (results.empty())
    {
        return "no reply: the server's wait runs out";
    }
    std::string text = "result";
    for (const int r : results)
    {
        text += r == kThrew ? std::string(" (exception)") : " " + std::to_string(r);
    }
    return text;
}

// ---- One protocol key ----

// What one request did.
struct Outcome
{
    em_ProtoAnalyze client = emProtoSuccess;  // analyze_ClientData
    std::vector<int> last;                    // analyze_DeviceData's results for the last message's pieces
    size_t messages = 0;
    size_t accepted = 0;  // messages whose reply was analysed (0) with ack 0
    unsigned int ack = 0;
    bool ok() const { return client == emProtoSuccess && messages != 0 && accepted == messages; }
};

// Which exchanges of a request the transcript shows.
enum class Show
{
    Ends,     // the first and last ones, and any that failed
    All,      // every one
    Failures  // only those that failed
};

class KeyRun
{
public:
    KeyRun(const std::string& key, const DemoOptions& options, Transcript& out)
        : m_key(key), m_variant(key == kKeys[1]), m_options(options), m_out(out),
          m_sim(m_variant ? DeviceSimulator::Flavor::Variant : DeviceSimulator::Flavor::Standard)
    {
    }

    Tally& tally() { return m_tally; }
    Transcript& out() { return m_out; }
    ProtoStub& stub() { return m_stub; }
    DeviceSimulator& sim() { return m_sim; }
    bool variant() const { return m_variant; }
    const std::string& key() const { return m_key; }
    // The payload a variant request carries behind its sub-header.
    size_t variantChunk() const { return static_cast<size_t>(m_options.max) - frame::kSubHeaderSize; }

    bool check(bool ok, const std::string& what)
    {
        ++m_tally.checks;
        m_tally.passed += ok ? 1 : 0;
        m_out.line(std::string(ok ? "  ok    " : "  FAIL  ") + what);
        return ok;
    }

    // A request record for addr with the header bytes a server fills and, for
    // the variant, a sub-header in front of the data (sum packets, this one seq).
    INTER_ST::ThirdGenerationCommRequest_Data record(bool write, std::uint32_t addr, const std::string& data,
                                                     size_t asked, std::uint32_t sum = 1, std::uint32_t seq = 0) const
    {
        INTER_ST::ThirdGenerationCommRequest_Data r;
        r.firstAddr = 0x01;
        r.secondAddr = 0x02;
        r.deviceType = 0x07;
        r.scanBoardAddr = {0x00, 0x01};
        r.readWriteCode = write ? emOperationWrite : emOperationRead;
        r.packetType = 0x05;
        for (size_t i = 0; i < 4; ++i)
        {
            r.registerAddr.push_back(static_cast<unsigned char>((addr >> (8 * i)) & 0xFF));
        }
        std::string bytes;
        if (m_variant)
        {
            bytes.assign(frame::kSubHeaderSize, '\0');
            frame::putWord(bytes, frame::kSubValidLen, static_cast<unsigned int>(write ? 0 : asked));
            frame::putDword(bytes, frame::kSubPacketSum, sum);
            frame::putDword(bytes, frame::kSubSequence, seq);
        }
        const size_t head = bytes.size();
        bytes += data;
        r.data.assign(bytes.begin(), bytes.end());
        r.validLength = write ? bytes.size() : head + asked;
        return r;
    }

    // Hands the request to the library, sends every frame it builds to the
    // device and feeds the reply back in the pieces the device delivers.
    // When the library throws on a reply, the server clears the receive
    // buffer and issues what is left of the request again: a write from the
    // packet that failed on (new labels give new replies), a read whole.
    Outcome exchange(em_RequestType type, INTER_ST::ThirdGenerationCommRequest_Data request,
                     const std::string& path = "", Show show = Show::Ends)
    {
        constexpr int kReissues = 2;  // in a row without progress
        const bool write = type == emRequestWriteRegister || type == emRequestWriteFile;
        Outcome total;
        std::string restPath;
        for (int reissue = 0, restNumber = 0;; ++reissue, ++restNumber)
        {
            size_t threwAt = 0;
            const Outcome outcome = exchangeOnce(type, request, restPath.empty() ? path : restPath, show, threwAt);
            total.client = outcome.client;
            total.last = outcome.last;
            total.ack = outcome.ack;
            total.messages += threwAt == 0 ? outcome.messages : threwAt - 1;
            total.accepted += outcome.accepted;
            if (threwAt > 1)
            {
                reissue = 0;  // a write went further this time
            }
            if (threwAt == 0 || reissue == kReissues)
            {
                if (!restPath.empty())
                {
                    std::remove(restPath.c_str());
                }
                return total;
            }
            if (!write || m_variant)
            {
                total = Outcome{};
                m_out.line("  the request issued again");
                continue;
            }
            // Messages before the one that failed were answered; it goes again.
            const size_t done = (threwAt - 1) * static_cast<size_t>(m_options.max);
            if (type == emRequestWriteFile)
            {
                std::ifstream in(restPath.empty() ? path : restPath, std::ios::binary);
                std::string bytes(std::istreambuf_iterator<char>(in), {});
                bytes.erase(0, std::min(done, bytes.size()));
                const std::string next = path + ".rest" + std::to_string(restNumber);
                std::ofstream(next, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
                if (!restPath.empty())
                {
                    std::remove(restPath.c_str());
                }
                restPath = next;
            }
            request = writeRemainder(request, done, true);
            std::uint32_t at = 0;
            for (size_t i = 0; i < request.registerAddr.size() && i < 4; ++i)
            {
                at |= static_cast<std::uint32_t>(request.registerAddr[i]) << (8 * i);
            }
            m_out.line("  the rest of the request issued again from byte " + std::to_string(done) + ", at " +
                       hex32(at));
        }
    }

    // One request; threwAt is the 1-based index of the message whose reply
    // the library threw on, 0 when none did.
    Outcome exchangeOnce(em_RequestType type, INTER_ST::ThirdGenerationCommRequest_Data request,
                         const std::string& path, Show show, size_t& threwAt)
    {
        Outcome outcome;
        std::list<ST_MSGToHardDriver> msgs;
        ++m_tally.requests;
        outcome.client = m_stub.analyze_ClientData(static_cast<unsigned int>(m_options.max), m_key, type, &request,
                                                   msgs, path, true);
        if (outcome.client != emProtoSuccess)
        {
            m_out.line("  analyze_ClientData: result " + std::to_string(static_cast<int>(outcome.client)));
            m_out.flushLog();
            return outcome;
        }
        outcome.messages = msgs.size();
        m_out.startProgress(m_key, msgs.size());
        size_t index = 0;
        size_t hidden = 0;
        for (const ST_MSGToHardDriver& msg : msgs)
        {
            const std::string& tx = *msg.frame;
            wire(kSendSignature, tx);
            const std::string reply = m_sim.answer(tx);
            wire(kReceiveSignature, reply);
            outcome.last.clear();
            std::string thrown;
            try
            {
                for (const std::string& piece : m_sim.pieces(reply))
                {
                    outcome.last.push_back(m_stub.analyze_DeviceData(m_key, type, piece, msg));
                }
            }
            catch (const std::exception& e)
            {
                // The package search throws for some replies (a head in the
                // checksum of a reply labelled 0): the server sees the
                // exception, and the buffer keeps the bytes until cleared.
                thrown = e.what();
                outcome.last.push_back(kThrew);
                m_stub.clearRecvDeviceData();
                threwAt = index + 1;
            }
            // The reply record's ack is the device's only when a reply was analysed.
            const auto record = m_stub.getReplyPackage(m_key);
            const bool analysed = !outcome.last.empty() && outcome.last.back() == emProtoSuccess;
            outcome.ack = analysed && record ? record->ack : 0;
            const bool accepted = !outcome.last.empty() && outcome.last.back() == emProtoSuccess && outcome.ack == 0;
            outcome.accepted += accepted ? 1 : 0;
            const bool atEnds = index < kShownHead || index + kShownTail >= msgs.size();
            if (show == Show::All || !accepted || (show == Show::Ends && atEnds))
            {
                if (hidden != 0)
                {
                    m_out.line("  ... " + std::to_string(hidden) +
                               (hidden == 1 ? " more exchange" : " more exchanges") + ", each reply accepted");
                    hidden = 0;
                }
                m_out.line(wireLine("TX", tx, m_variant));
                m_out.line(wireLine("RX", reply, m_variant) + "  -> " + resultsText(outcome.last));
                if (!thrown.empty())
                {
                    m_out.line("  analyze_DeviceData threw: " + thrown + "; clearRecvDeviceData");
                }
            }
            else
            {
                ++hidden;
            }
            m_out.flushLog();
            m_out.progress(++index);
            if (threwAt != 0)
            {
                break;
            }
        }
        m_out.endProgress();
        if (hidden != 0 && show == Show::Ends)
        {
            m_out.line("  ... " + std::to_string(hidden) + (hidden == 1 ? " more exchange" : " more exchanges") +
                       ", each reply accepted");
        }
        return outcome;
    }

    // A frame the device pushes, or the server's answer to one.
    void pushed(const std::string& bytes) { wire(kReceiveSignature, bytes); }
    void answered(const std::string& bytes) { wire(kSendSignature, bytes); }

    // The reply record's data, without the variant's echoed sub-header.
    std::string replyData()
    {
        const auto record = m_stub.getReplyPackage(m_key);
        if (!record)
        {
            return {};
        }
        const std::string data(record->data.begin(), record->data.end());
        return m_variant ? data.substr(std::min(data.size(), frame::kSubHeaderSize)) : data;
    }

private:
    // Counts the bytes on the wire and logs them as a server logs its traffic.
    void wire(const char* signature, const std::string& bytes)
    {
        if (bytes.empty())
        {
            return;
        }
        ZorvSpdLog::getLoger()->add16StrLogtoList(ZORV_LOG_DEBUG, signature, __LINE__, bytes);
        m_tally.bytes += bytes.size();
        for (const Piece& piece : cutFrames(bytes, m_variant ? Variant::Always : Variant::Standard))
        {
            m_tally.frames += piece.kind == PieceKind::Unframed ? 0 : 1;
        }
    }

    std::string m_key;
    bool m_variant;
    const DemoOptions& m_options;
    Transcript& m_out;
    ProtoStub m_stub;
    DeviceSimulator m_sim;
    Tally m_tally;
};

std::string randomBytes(size_t size, std::uint32_t seed)
{
    std::mt19937 rng(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes)
    {
        c = static_cast<char>(rng() & 0xFF);
    }
    return bytes;
}

// A file in the temporary directory, removed when done with.
class TempFile
{
public:
    explicit TempFile(const std::string& name)
        : m_path((std::filesystem::temp_directory_path() /
                  ("zorvproto-demo-" + std::to_string(ZORV_GETPID()) + "-" + name))
                     .string())
    {
    }
    ~TempFile()
    {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

void writeFile(const std::string& path, const std::string& bytes)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file)
    {
        throw UsageError("cannot write " + path);
    }
}

// ---- The steps ----

// Reads size bytes at addr. The standard library cuts the read into packets
// itself; the variant reads in one packet per request, so the client cuts the
// transfer into requests of what fits behind the sub-header and numbers them.
std::string readBack(KeyRun& run, em_RequestType type, std::uint32_t addr, size_t size, const std::string& path,
                     bool& allAccepted)
{
    if (!run.variant())
    {
        const Outcome o = run.exchange(type, run.record(false, addr, "", size), path);
        allAccepted = o.ok();
        return run.replyData();
    }
    const size_t perRequest = run.variantChunk();
    const size_t count = (size + perRequest - 1) / perRequest;
    std::string data;
    allAccepted = true;
    run.out().startProgress(run.key(), count);
    size_t hidden = 0;
    for (size_t i = 0; i < count; ++i)
    {
        const size_t chunk = std::min(perRequest, size - i * perRequest);
        const bool shown = i < kShownHead || i + kShownTail >= count;
        if (shown && hidden != 0)
        {
            run.out().line("  ... " + std::to_string(hidden) + (hidden == 1 ? " more request" : " more requests") +
                           ", each reply accepted");
            hidden = 0;
        }
        hidden += shown ? 0 : 1;
        const auto at = static_cast<std::uint32_t>(addr + i * perRequest);
        const Outcome o = run.exchange(type,
                                       run.record(false, at, "", chunk, static_cast<std::uint32_t>(count),
                                                  static_cast<std::uint32_t>(i)),
                                       "", shown ? Show::All : Show::Failures);
        allAccepted = allAccepted && o.ok();
        data += run.replyData();
        run.out().progress(i + 1);
    }
    run.out().endProgress();
    return data;
}

void registerTransfer(KeyRun& run, const DemoOptions& o)
{
    const std::string data = randomBytes(o.size, o.seed);
    run.out().line("register write: " + std::to_string(o.size) + " bytes at " + hex32(kRegisterBase));
    const Outcome written = run.exchange(emRequestWriteRegister, run.record(true, kRegisterBase, data, o.size));
    run.check(written.ok(), "all " + std::to_string(written.messages) + " write replies accepted with ack 0");
    run.check(run.sim().readRegisters(kRegisterBase, o.size) == data, "the device holds the bytes written");

    run.out().line("register read-back: " + std::to_string(o.size) + " bytes at " + hex32(kRegisterBase));
    bool accepted = false;
    const std::string read = readBack(run, emRequestReadRegister, kRegisterBase, o.size, "", accepted);
    run.check(accepted, "every read reply accepted with ack 0");
    run.check(read == data, "the bytes read back equal the bytes written");
}

void fileTransfer(KeyRun& run, const DemoOptions& o)
{
    const TempFile in(run.key() + "-in.bin");
    const TempFile out(run.key() + "-out.bin");
    writeFile(in.path(), randomBytes(o.size, o.seed + 1));
    run.out().line("file write: " + in.path() + " (" + std::to_string(o.size) + " bytes) to " + hex32(kFileBase));
    const Outcome written = run.exchange(emRequestWriteFile, run.record(true, kFileBase, "", 0), in.path());
    run.check(written.ok(), "all " + std::to_string(written.messages) + " write replies accepted with ack 0");

    run.out().line("file read: " + std::to_string(o.size) + " bytes from " + hex32(kFileBase) + " to " + out.path());
    bool accepted = false;
    const std::string read = readBack(run, emRequestReadFile, kFileBase, o.size, out.path(), accepted);
    if (run.variant())
    {
        // The variant's reply analysis writes no file: the server writes what
        // the reply records hold.
        writeFile(out.path(), read);
    }
    run.check(accepted, "every read reply accepted with ack 0");
    std::string sent;
    std::string received;
    try
    {
        sent = sha256OfFile(in.path());
        received = sha256OfFile(out.path());
    }
    catch (const std::exception& e)
    {
        run.out().line(std::string("  ") + e.what());
    }
    run.out().line("  SHA-256 sent     " + sent);
    run.out().line("  SHA-256 received " + received);
    run.check(!sent.empty() && sent == received, "the file read equals the file written (SHA-256)");
}

void pushes(KeyRun& run)
{
    run.out().line("auto reports pushed by the device (isAutoPushThirdPackage)");
    const struct
    {
        unsigned char code;
        bool flag;
        const char* data;
    } cases[] = {{0x10, true, "temperature 41.5 C"}, {0x18, false, "fan 2 stopped"}};
    unsigned char label = 0x40;
    for (const auto& c : cases)
    {
        const std::string pushed = run.sim().pushReport(label++, c.code, 1, 0, c.data);
        run.pushed(pushed);
        run.out().line(wireLine("RX", pushed, true));
        unsigned long long frameLen = 0;
        bool flag = !c.flag;
        std::vector<ST_DeviceAutoReportResponseInfo> reports;
        const em_ProtoAnalyze result = run.stub().isAutoPushThirdPackage(pushed, frameLen, flag, reports);
        run.out().flushLog();
        const bool decoded = result == emProtoSuccess && flag == c.flag && frameLen == pushed.size() &&
                             reports.size() == 1 && reports[0].answer;
        run.check(decoded, "code " + hex8(c.code) + ": result " + std::to_string(static_cast<int>(result)) +
                               ", bFlag " + (flag ? "true" : "false") + ", frameLen " + std::to_string(frameLen));
        if (!decoded)
        {
            continue;
        }
        const std::string& answer = *reports[0].answer;
        run.answered(answer);
        run.out().line(wireLine("TX", answer, true));
        run.check(run.sim().takePushAcknowledgement(pushed, answer), "the device accepts the acknowledgement");
    }
}

void reportStream(KeyRun& run)
{
    run.out().line("a report stream (analyze_DeviceReportData)");
    const std::vector<std::string> texts = {"door open", "door closed", "", "fan 1200 rpm"};
    const unsigned char first = 0x50;
    std::string buffer = run.sim().reportStream(first, texts);
    run.pushed(buffer);
    run.out().line(wireLine("RX", buffer, false));
    std::vector<ST_DeviceAutoReportResponseInfo> reports;
    run.stub().analyze_DeviceReportData(buffer, run.key(), reports);
    run.out().flushLog();
    if (!run.check(reports.size() == texts.size(),
                   std::to_string(reports.size()) + " reports decoded of " + std::to_string(texts.size()) + " sent"))
    {
        return;
    }
    bool data = true;
    bool acknowledged = true;
    for (size_t i = 0; i < texts.size(); ++i)
    {
        const auto& record = reports[i].response;
        data = data && record && std::string(record->data.begin(), record->data.end()) == texts[i];
        if (reports[i].answer)
        {
            run.answered(*reports[i].answer);
            run.out().line(wireLine("TX", *reports[i].answer, false));
        }
        const std::string report = run.sim().report(static_cast<unsigned char>(first + i), texts[i]);
        acknowledged =
            acknowledged && reports[i].answer && run.sim().takeReportAcknowledgement(report, *reports[i].answer);
    }
    run.check(data, "each report's data as the device sent it");
    run.check(acknowledged, "the device accepts every acknowledgement");
}

// One register read with one fault on, then the recovery: the receive buffer
// cleared where the library left it holding bytes, the fault off, the request
// sent again.
void faultPass(KeyRun& run, std::uint32_t seed)
{
    run.out().line("faults, one at a time, on a read of 32 bytes at " + hex32(kRegisterBase));
    const std::string expected = run.sim().readRegisters(kRegisterBase, 32);
    for (size_t i = 0; i < zorv::kFaultKinds; ++i)
    {
        const auto fault = static_cast<Fault>(i);
        Faults faults;
        faults.seed = seed;
        switch (fault)
        {
        case Fault::DroppedReply:
            faults.droppedReply = 1;
            break;
        case Fault::NonZeroAck:
            faults.nonZeroAck = 1;
            break;
        case Fault::WrongLabel:
            faults.wrongLabel = 1;
            break;
        case Fault::BadChecksum:
            faults.badChecksum = 1;
            break;
        case Fault::Truncated:
            faults.truncated = 1;
            break;
        case Fault::Garbage:
            faults.garbage = 1;
            break;
        case Fault::Duplicated:
            faults.duplicated = 1;
            break;
        case Fault::Pieces:
            faults.maxPiece = 12;
            break;
        }
        run.out().line(std::string("fault: ") + zorv::faultName(fault));
        run.sim().setFaults(faults);
        const size_t asked = 32;
        const Outcome faulty =
            run.exchange(emRequestReadRegister, run.record(false, kRegisterBase, "", asked), "", Show::All);
        const int last = faulty.last.empty() ? -1 : faulty.last.back();
        const bool dataRight = run.replyData() == expected;
        if (fault == Fault::Pieces)
        {
            run.check(faulty.ok() && dataRight, "delivered in " + std::to_string(faulty.last.size()) +
                                                    " pieces: the last completes the frame and the data is right");
            continue;
        }
        // A fault must never pass for a good reply with the wrong data.
        const bool silentlyWrong = faulty.ok() && !dataRight;
        std::string seen = faulty.last.empty() ? "no reply" : "result " + std::to_string(last);
        if (faulty.ack != 0)
        {
            seen += ", ack " + std::to_string(faulty.ack);
        }
        if (last == emProtoIncompleteFrame || last == emProtoBadHeader || fault == Fault::Duplicated)
        {
            // 6 keeps a partial frame and 8 a buffer that does not start with
            // the head until cleared; a duplicate leaves its copy behind.
            run.stub().clearRecvDeviceData();
            run.out().line(fault == Fault::Duplicated ? "  clearRecvDeviceData: the copy may stay in the receive buffer"
                                                      : "  clearRecvDeviceData: the receive buffer kept the bytes");
        }
        run.sim().setFaults(Faults{});
        const Outcome again =
            run.exchange(emRequestReadRegister, run.record(false, kRegisterBase, "", asked), "", Show::All);
        run.check(!silentlyWrong && again.ok() && run.replyData() == expected,
                  std::string(zorv::faultName(fault)) + ": " + seen + "; sent again, the read succeeds");
    }
    run.sim().setFaults(Faults{});
}

// ---- Summary ----

std::string tableRow(const std::string& name, const Tally& t)
{
    char text[160];
    const double mib = static_cast<double>(t.bytes) / (1024.0 * 1024.0);
    const double rate = t.seconds > 0 ? mib / t.seconds : 0;
    std::snprintf(text, sizeof text, "%-22s %8llu %8llu %11llu %7llu/%-4llu %9.1f %10.1f", name.c_str(),
                  static_cast<unsigned long long>(t.requests), static_cast<unsigned long long>(t.frames),
                  static_cast<unsigned long long>(t.bytes), static_cast<unsigned long long>(t.passed),
                  static_cast<unsigned long long>(t.checks), t.seconds * 1000, rate);
    return text;
}

void add(Tally& into, const Tally& t)
{
    into.requests += t.requests;
    into.frames += t.frames;
    into.bytes += t.bytes;
    into.checks += t.checks;
    into.passed += t.passed;
    into.seconds += t.seconds;
}

void runDemo(const DemoOptions& o, int& status)
{
    if (o.size == 0 || o.size > kMaxSize)
    {
        throw UsageError("--size must be 1 to " + std::to_string(kMaxSize) + " bytes");
    }
    if (o.max <= frame::kSubHeaderSize || o.max > 0xFFFF - frame::kSubHeaderSize)
    {
        throw UsageError("--max must be 19 to " + std::to_string(0xFFFF - frame::kSubHeaderSize) +
                         " (a variant packet carries its 18-byte sub-header within it)");
    }
    Transcript out(o.quiet);
    applyLogLevel(o.logLevel, o.logFile);
    if (o.logFile.empty())
    {
        // The library's log lines appear in the transcript beside the frames
        // they concern; the frames' own hex lines are the TX and RX lines.
        zorvlog::setCaptureHook([&out](const zorvlog::LogRecord& r) {
            if (r.signature != kSendSignature && r.signature != kReceiveSignature)
            {
                out.logLine(std::string(zorvlog::levelName(r.level)) + " " + r.message);
            }
        });
    }
    std::vector<std::string> keys(std::begin(kKeys), std::end(kKeys));
    if (!o.key.empty())
    {
        keys = {o.key};
    }
    std::vector<std::pair<std::string, Tally>> rows;
    for (const std::string& key : keys)
    {
        for (const bool faults : {false, true})
        {
            KeyRun run(key, o, out);
            out.line("");
            out.line("=== " + key + (faults ? ": faults" : ""));
            const auto start = Clock::now();
            if (faults)
            {
                faultPass(run, o.seed);
            }
            else
            {
                registerTransfer(run, o);
                fileTransfer(run, o);
                pushes(run);
                reportStream(run);
            }
            run.tally().seconds = std::chrono::duration<double>(Clock::now() - start).count();
            rows.emplace_back(key + (faults ? " faults" : ""), run.tally());
        }
    }
    zorvlog::setCaptureHook({});
    out.line("");
    Tally total;
    std::cout << "zorvproto demo: --size " << o.size << " --max " << o.max << " --seed " << o.seed << '\n';
    std::cout << "pass                   requests   frames       bytes  checks          ms      MiB/s\n";
    for (const auto& [name, tally] : rows)
    {
        std::cout << tableRow(name, tally) << '\n';
        add(total, tally);
    }
    std::cout << tableRow("total", total) << '\n';
    const bool passed = total.passed == total.checks;
    std::cout << (passed ? "all " + std::to_string(total.checks) + " checks passed"
                         : std::to_string(total.checks - total.passed) + " of " + std::to_string(total.checks) +
                               " checks FAILED")
              << '\n';
    status = passed ? kExitOk : kExitCheckFailed;
}

}  // namespace

void addDemoCommand(CLI::App& app, int& status)
{
    auto o = std::make_shared<DemoOptions>();
    CLI::App* cmd = app.add_subcommand(
        "demo", "Run the server's side of real transfers: the protocol library against a simulated device, for\n"
                "both protocol keys. A register write read back, a file written and read back (SHA-256),\n"
                "pushed auto reports and a report stream acknowledged, then each of the device's faults with\n"
                "the library's result and the recovery. Prints every exchange (TX to the device, RX from it;\n"
                "long transfers elided) and a summary; exit status 1 if any check fails.");
    cmd->add_option("--size", o->size, "bytes per transfer")->transform(numberUpTo(kMaxSize))->capture_default_str();
    cmd->add_option("--max", o->max, "nHwMaxRecvLen: the most data bytes per packet")
        ->transform(numberUpTo(0xFFFF))
        ->capture_default_str();
    cmd->add_option("--seed", o->seed, "seed of the data and of the faults")
        ->transform(numberUpTo(0xFFFFFFFFu))
        ->capture_default_str();
    cmd->add_option("--key", o->key, "run one protocol key only")->check(CLI::IsMember({kKeys[0], kKeys[1]}));
    cmd->add_flag("--quiet,-q", o->quiet, "print the summary alone");
    addLogLevelOption(*cmd, o->logLevel);
    cmd->add_option("--log-file", o->logFile,
                    "write the log there instead of into the transcript, with every frame as a hex line at "
                    "level debug (read it back with 'zorvproto decode --log')");
    cmd->footer("Examples:\n"
                "  zorvproto demo\n"
                "  zorvproto demo --size 0x800000 --quiet\n"
                "  zorvproto demo --log-level debug --log-file demo.log && zorvproto decode --log demo.log");
    cmd->callback([o, &status] { runDemo(*o, status); });
}

}  // namespace zorvproto
