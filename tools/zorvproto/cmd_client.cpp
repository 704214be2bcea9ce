// zorvproto read, write, read-file, write-file: the server's side of one
// request against a device on the wire. The protocol library builds the
// frames (ProtoStub::analyze_ClientData); they go out one at a time, and every
// piece that comes back goes to analyze_DeviceData as it arrives.
//
// Recovery, as a server does it: a frame that gets no reply within the
// timeout, or a reply the library rejects, is sent again after the receive
// buffer is cleared, up to --retries times. When the library's package search
// throws (it can for a short reply that holds two heads) the buffer is cleared
// and the whole request issued again, under new labels; that counts as a
// retry too.
#include "Commands.h"
#include "FrameText.h"
#include "HexInput.h"
#include "Request.h"
#include "WireLink.h"
#include "protobase/FrameCodec.h"
#include "protostub/ProtoStub.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <list>
#include <memory>
#include <stdexcept>

#if defined(_WIN32)
#include <process.h>
#define ZORV_GETPID _getpid
#else
#include <unistd.h>
#define ZORV_GETPID getpid
#endif

namespace zorvproto
{

namespace
{

using Clock = std::chrono::steady_clock;
using zorv::wire::WireErrc;
using zorv::wire::WireError;

struct ClientOptions
{
    RequestOptions request;
    LinkOptions link;
    std::string out;
    unsigned int retries = 2;
    std::string logLevel = "warn";
};

std::string hex32(std::uint32_t value)
{
    return hexNumber(value, 8);
}

std::string hex8(unsigned int value)
{
    return hexNumber(value & 0xFF, 2);
}

// "frame 2 of 4 (#02 read 0x00002400 len 1024)"
std::string frameName(const std::string& frameBytes, size_t index, size_t count)
{
    std::string text = "frame " + std::to_string(index) + " of " + std::to_string(count);
    if (frameBytes.size() < frame::kOverhead)
    {
        return text;
    }
    const frame::Header h = frame::decodeHeader(frameBytes);
    char label[8];
    std::snprintf(label, sizeof label, "#%02x", static_cast<unsigned int>(h.label));
    return text + " (" + label + (h.readWriteCode == 0 ? " read " : " write ") +
           hex32(frame::dwordAt(frameBytes, frame::kRegisterAddr)) + " len " + std::to_string(h.validLength) + ")";
}

// A file written under a temporary name beside its place, renamed into place
// by commit(); removed if never committed.
class PendingFile
{
public:
    explicit PendingFile(std::string path)
        : m_path(std::move(path)), m_temp(m_path + ".part-" + std::to_string(ZORV_GETPID()))
    {
    }
    ~PendingFile()
    {
        if (!m_committed)
        {
            std::error_code ignored;
            std::filesystem::remove(m_temp, ignored);
        }
    }
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    const std::string& temp() const { return m_temp; }

    void write(const std::string& bytes) const
    {
        std::ofstream file(m_temp, std::ios::binary | std::ios::trunc);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        file.close();
        if (!file)
        {
            throw CommandFailure(kExitCheckFailed, "cannot write " + m_temp);
        }
    }

    void commit()
    {
        std::error_code ec;
        std::filesystem::rename(m_temp, m_path, ec);
        if (ec)
        {
            throw CommandFailure(kExitCheckFailed, "cannot rename " + m_temp + " to " + m_path + ": " + ec.message());
        }
        m_committed = true;
    }

private:
    std::string m_path;
    std::string m_temp;
    bool m_committed = false;
};

class Client
{
public:
    Client(const ClientOptions& options, em_RequestType type)
        : m_o(options), m_type(type), m_link(options.link, options.request.variant())
    {
    }

    // Runs one request to the end, retrying as described above, and returns
    // the reply record of its last frame. Throws CommandFailure.
    std::shared_ptr<INTER_ST::ThirdGenerationCommResponse_Data> transfer(
        INTER_ST::ThirdGenerationCommRequest_Data request, const std::string& path)
    {
        const bool write = m_type == emRequestWriteRegister || m_type == emRequestWriteFile;
        std::unique_ptr<PendingFile> rest;  // what is left of a file write
        for (unsigned int inARow = 0;; ++inARow)
        {
            std::list<ST_MSGToHardDriver> msgs;
            INTER_ST::ThirdGenerationCommRequest_Data copy = request;
            const em_ProtoAnalyze built =
                m_stub.analyze_ClientData(static_cast<unsigned int>(m_o.request.max), m_o.request.key, m_type, &copy,
                                          msgs, rest ? rest->temp() : path, !m_o.request.noIncrement);
            if (built != emProtoSuccess || msgs.empty())
            {
                throw UsageError("the library built no frames for the request: result " +
                                 std::to_string(static_cast<int>(built)) + " (run with --log-level info to see why)");
            }
            size_t index = 0;
            std::string threw;
            for (const ST_MSGToHardDriver& msg : msgs)
            {
                threw = exchange(msg, ++index, msgs.size());
                if (!threw.empty())
                {
                    break;
                }
            }
            if (threw.empty())
            {
                return m_stub.getReplyPackage(m_o.request.key);
            }
            if (index > 1)
            {
                inARow = 0;  // the request went further this time
            }
            if (inARow == m_o.retries)
            {
                throw CommandFailure(kExitCheckFailed, "the library threw on the reply to " + threw);
            }
            ++m_retries;
            if (!write || m_o.request.variant())
            {
                std::cerr << "retry: the library threw on the reply to " << threw
                          << "; receive buffer cleared, the request issued again\n";
                continue;
            }
            // The frames before this one were answered: the rest goes under
            // new labels, whose replies differ.
            const size_t done = (index - 1) * static_cast<size_t>(m_o.request.max);
            if (m_type == emRequestWriteFile)
            {
                std::string bytes = readInput(rest ? rest->temp() : path);
                bytes.erase(0, std::min(done, bytes.size()));
                auto next = std::make_unique<PendingFile>(path + ".rest" + std::to_string(m_retries));
                next->write(bytes);
                rest = std::move(next);
            }
            request = writeRemainder(request, done, !m_o.request.noIncrement);
            std::cerr << "retry: the library threw on the reply to " << threw
                      << "; receive buffer cleared, the rest of the request issued again\n";
        }
    }

    size_t frames() const { return m_frames; }
    unsigned int retries() const { return m_retries; }

private:
    enum class Answer
    {
        Accepted,
        Rejected,
        None
    };

    // Sends one frame until the library accepts its reply. Returns "" when it
    // did, or the frame's name when the library threw on its reply.
    std::string exchange(const ST_MSGToHardDriver& msg, size_t index, size_t count)
    {
        const std::string& tx = *msg.frame;
        const std::string name = frameName(tx, index, count);
        std::string problem;
        Answer last = Answer::None;
        for (unsigned int attempt = 0; attempt <= m_o.retries; ++attempt)
        {
            if (attempt != 0)
            {
                ++m_retries;
                std::cerr << "retry: " << problem << "; sending " << name << " again\n";
            }
            m_stub.clearRecvDeviceData();
            std::string received;
            int result = emProtoIncompleteFrame;
            try
            {
                m_link.send(tx);
                ++m_frames;
                const auto deadline = Clock::now() + m_link.timeout();
                while (result == emProtoIncompleteFrame)
                {
                    const auto left = std::chrono::duration_cast<zorv::wire::Timeout>(deadline - Clock::now());
                    if (left.count() <= 0)
                    {
                        throw WireError(WireErrc::Timeout, "");
                    }
                    const std::string piece = m_link.receive(left);
                    received += piece;
                    try
                    {
                        result = m_stub.analyze_DeviceData(m_o.request.key, m_type, piece, msg);
                    }
                    catch (const std::out_of_range&)
                    {
                        m_link.showReceived(received);
                        m_stub.clearRecvDeviceData();
                        return name;
                    }
                }
            }
            catch (const WireError& e)
            {
                m_link.showReceived(received);
                if (e.kind() != WireErrc::Timeout)
                {
                    throwWireFailure(e, name + " unanswered");
                }
                m_stub.clearRecvDeviceData();
                last = Answer::None;
                problem = "no reply to " + name + " within " + std::to_string(m_link.timeout().count()) + " ms" +
                          (received.empty() ? "" : " (" + std::to_string(received.size()) + " bytes of one)");
                continue;
            }
            m_link.showReceived(received);
            if (result == emProtoSuccess)
            {
                const auto record = m_stub.getReplyPackage(m_o.request.key);
                if (record && record->ack != 0)
                {
                    throw CommandFailure(kExitNonZeroAck,
                                         "the device answered " + name + " with ack " + std::to_string(record->ack));
                }
                return {};
            }
            m_stub.clearRecvDeviceData();
            last = Answer::Rejected;
            problem = "the library rejected the reply to " + name + " with result " + std::to_string(result);
        }
        if (last == Answer::None)
        {
            throw CommandFailure(kExitUnanswered, problem + ", sent " + std::to_string(m_o.retries + 1) +
                                                      (m_o.retries == 0 ? " time" : " times") + " to " + m_link.peer());
        }
        throw CommandFailure(kExitCheckFailed, problem + " (after " + std::to_string(m_o.retries) +
                                                   (m_o.retries == 1 ? " retry)" : " retries)"));
    }

    const ClientOptions& m_o;
    em_RequestType m_type;
    ProtoStub m_stub;
    Link m_link;
    size_t m_frames = 0;
    unsigned int m_retries = 0;
};

// The reply record's header fields on one line.
std::string recordLine(const INTER_ST::ThirdGenerationCommResponse_Data& r, size_t dataBytes)
{
    const unsigned int scan =
        r.scanBoardAddr.size() == 2 ? static_cast<unsigned int>(r.scanBoardAddr[0] | r.scanBoardAddr[1] << 8) : 0;
    std::uint32_t addr = 0;
    for (size_t i = 0; i < r.registerAddr.size() && i < 4; ++i)
    {
        addr |= static_cast<std::uint32_t>(r.registerAddr[i]) << (8 * i);
    }
    char scanText[8];
    std::snprintf(scanText, sizeof scanText, "0x%04x", scan);
    return "reply: ack " + std::to_string(r.ack) + ", label " + hex8(r.label) + ", first-addr " + hex8(r.firstAddr) +
           ", second-addr " + hex8(r.secondAddr) + ", device-type " + hex8(r.deviceType) + ", byte7 " +
           hex8(r.frameByte7) + ", scan-board " + scanText + ", code " + std::to_string(r.readWriteCode) +
           (r.readWriteCode == 0   ? " (read)"
            : r.readWriteCode == 1 ? " (write)"
                                   : "") +
           ", packet-type " + hex8(r.packetType) + ", register " + hex32(addr) + ", " + std::to_string(dataBytes) +
           " data bytes";
}

// The record's data without the variant's echoed sub-header and extension.
std::string payload(const INTER_ST::ThirdGenerationCommResponse_Data& r, bool variant)
{
    std::string data(r.data.begin(), r.data.end());
    if (variant && data.size() >= frame::kSubHeaderSize)
    {
        const size_t echoed = frame::kSubHeaderSize + static_cast<unsigned char>(data[frame::kSubLenExp]);
        data.erase(0, std::min(data.size(), echoed));
    }
    return data;
}

void printHex(const std::string& data)
{
    constexpr size_t perLine = 32;
    for (size_t at = 0; at < data.size(); at += perLine)
    {
        std::cout << toHex(std::string_view(data).substr(at, perLine)) << '\n';
    }
}

void runClient(const ClientOptions& o, em_RequestType type, int& status)
{
    applyLogLevel(o.logLevel);
    if (o.link.timeout <= 0)
    {
        throw UsageError("--timeout must be more than 0 seconds");
    }
    const bool read = type == emRequestReadRegister || type == emRequestReadFile;
    if (type == emRequestReadFile && o.out.empty())
    {
        throw UsageError("read-file needs --out FILE, the file to read into");
    }
    if (!read && !o.out.empty())
    {
        throw UsageError(o.request.op + " takes no --out");
    }
    const bool variant = o.request.variant();
    const size_t extension = parseHex(o.request.extensionHex).size();
    if (read && variant && o.request.max <= frame::kSubHeaderSize + extension)
    {
        throw UsageError("--max must leave room for data behind the variant's sub-header and extension");
    }
    // Check the options before a connection is opened.
    INTER_ST::ThirdGenerationCommRequest_Data whole = buildRequest(o.request, type);
    std::unique_ptr<PendingFile> out = o.out.empty() ? nullptr : std::make_unique<PendingFile>(o.out);

    Client client(o, type);
    const auto started = Clock::now();
    std::shared_ptr<INTER_ST::ThirdGenerationCommResponse_Data> record;
    std::string data;
    if (read && variant)
    {
        // The variant reads one packet a request: the transfer is cut into
        // requests of what fits behind the sub-header, numbered in it.
        const size_t chunk = static_cast<size_t>(o.request.max) - frame::kSubHeaderSize - extension;
        const size_t count = (o.request.len + chunk - 1) / chunk;
        for (size_t i = 0; i < count; ++i)
        {
            RequestOptions part = o.request;
            part.len = std::min<std::uint64_t>(chunk, o.request.len - i * chunk);
            part.addr = static_cast<std::uint32_t>(o.request.addr + (o.request.noIncrement ? 0 : i * chunk));
            if (count > 1)
            {
                part.packetSum = static_cast<std::uint32_t>(count);
                part.sequence = static_cast<std::uint32_t>(i);
            }
            record = client.transfer(buildRequest(part, type), "");
            data += record ? payload(*record, true) : std::string();
        }
    }
    else
    {
        // The standard library writes a file read itself, into the file named.
        const std::string path = type == emRequestReadFile    ? out->temp()
                                 : type == emRequestWriteFile ? o.request.dataFile
                                                              : std::string();
        record = client.transfer(whole, path);
        data = record ? payload(*record, variant) : std::string();
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - started).count();
    if (!record)
    {
        throw CommandFailure(kExitCheckFailed, "the library kept no reply record");
    }
    if (out)
    {
        if (!(type == emRequestReadFile && !variant))
        {
            out->write(data);
        }
        else
        {
            std::error_code ec;
            const auto size = std::filesystem::file_size(out->temp(), ec);
            if (ec || size != o.request.len)
            {
                throw CommandFailure(kExitCheckFailed, "the file read holds " + std::to_string(ec ? 0 : size) +
                                                           " bytes of " + std::to_string(o.request.len));
            }
        }
        out->commit();
    }
    std::cout << recordLine(*record, data.size()) << '\n';
    if (read && !out)
    {
        printHex(data);
    }
    char timing[64];
    std::snprintf(timing, sizeof timing, " in %.3f s", seconds);
    std::cout << o.request.op << ": " << client.frames() << (client.frames() == 1 ? " frame sent" : " frames sent")
              << ", every reply accepted, " << client.retries() << (client.retries() == 1 ? " retry" : " retries")
              << timing << (out ? ", data in " + o.out : std::string()) << '\n';
    std::cout.flush();
    status = std::cout ? kExitOk : kExitCheckFailed;
}

void addClient(CLI::App& app, int& status, const std::string& op, const std::string& description,
               const std::string& examples)
{
    auto o = std::make_shared<ClientOptions>();
    o->request.op = op;
    CLI::App* cmd = app.add_subcommand(op, description);
    addLinkOptions(*cmd, o->link, "seconds to wait for each reply");
    cmd->add_option("--retries", o->retries, "times a frame is sent again when its reply is missing or rejected")
        ->check(CLI::Range(0u, 100u))
        ->capture_default_str();
    addRequestOptions(*cmd, o->request, false);
    if (op == "read" || op == "read-file")
    {
        cmd->add_option("--out", o->out,
                        "write the data read into FILE (through a temporary file, renamed into place on success)"
                        " instead of printing it as hex");
    }
    addLogLevelOption(*cmd, o->logLevel);
    cmd->footer("Examples:\n" + examples + "\n" + kExitStatusText);
    const em_RequestType type = requestType(op);
    cmd->callback([o, type, &status] { runClient(*o, type, status); });
}

}  // namespace

void addClientCommands(CLI::App& app, int& status)
{
    addClient(app, status, "read",
              "Read registers from a device: the frames the protocol library builds, sent one at a time, each reply\n"
              "checked by the library. Prints the reply record and the data as hex (or writes it to --out).",
              "  zorvproto read --connect 127.0.0.1:5020 --addr 0x2000 --len 64 -v\n"
              "  zorvproto read --serial /dev/ttyUSB0 --baud 115200 --addr 0x2000 --len 4096 --out regs.bin");
    addClient(app, status, "write",
              "Write registers of a device from --data HEX or --data-file, one frame at a time, each reply checked.",
              "  zorvproto write --connect 127.0.0.1:5020 --addr 0x2000 --data 'de ad be ef'\n"
              "  zorvproto write --connect 127.0.0.1:5020 --key 3rdOrvane-proto --addr 0x2000 --data-file blob.bin");
    addClient(app, status, "read-file",
              "Read a file from a device into --out FILE (through a temporary file, renamed into place on success).",
              "  zorvproto read-file --connect 127.0.0.1:5020 --addr 0x40000000 --len 4194304 --out fw.bin");
    addClient(app, status, "write-file",
              "Write the file named by --data-file to a device, one packet at a time, each reply checked.",
              "  zorvproto write-file --connect 127.0.0.1:5020 --addr 0x40000000 --data-file fw.bin --pcap fw.pcap");
}

}  // namespace zorvproto
