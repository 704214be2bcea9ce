// zorvproto simulate: the device simulator on the wire. On TCP every client
// gets a DeviceSimulator of its own; on a serial line (a pseudo-terminal the
// command creates, or a device named) the line is one client. Requests are
// answered with the faults asked for, reports pushed on a timer, and the
// acknowledgements that come back checked. One log line per frame on
// standard output; SIGINT or SIGTERM stops it with a summary.
#include "Commands.h"
#include "FrameCutter.h"
#include "HexInput.h"
#include "PcapWriter.h"
#include "TcpServer.h"
#include "Transport.h"
#include "devicesim/DeviceSimulator.h"
#include "protobase/FrameCodec.h"

#include <asio.hpp>

#include <cmath>
#include <csignal>
#include <cstdio>
#include <deque>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>

#if !defined(_WIN32)
#include <fcntl.h>
#include <stdlib.h>
#endif

namespace zorvproto
{

namespace
{

using zorv::DeviceSimulator;
using zorv::Fault;
using zorv::Faults;
using zorv::Stats;
using zorv::wire::Direction;

struct SimulateOptions
{
    std::string listen = "127.0.0.1:" + std::to_string(zorv::wire::kDefaultDevicePort);
    std::string serial;
    bool serialMode = false;
    unsigned int baud = 115200;
    bool variant = false;
    Faults faults;
    unsigned int ackCode = 1;
    double pushInterval = 0;  // seconds
    unsigned int closeAfter = 0;
    std::string pcap;
    std::string portFile;
};

void logLine(const std::string& text)
{
    std::cout << text << '\n' << std::flush;
}

std::string faultList(const std::vector<Fault>& faults)
{
    std::string text;
    for (const Fault f : faults)
    {
        text += std::string(text.empty() ? "" : ", ") + zorv::faultName(f);
    }
    return text;
}

// "#01 read 0x00002000 len 32"
std::string frameText(std::string_view f)
{
    if (f.size() < frame::kOverhead)
    {
        return std::to_string(f.size()) + " bytes";
    }
    const frame::Header h = frame::decodeHeader(f);
    char text[96];
    std::snprintf(text, sizeof text, "#%02x %s 0x%08x len %u", static_cast<unsigned int>(h.label),
                  h.readWriteCode == 0   ? "read"
                  : h.readWriteCode == 1 ? "write"
                                         : "code",
                  static_cast<unsigned int>(frame::dwordAt(f, frame::kRegisterAddr)),
                  static_cast<unsigned int>(h.validLength));
    return text;
}

// What every client's device did, summed when a client goes.
struct Totals
{
    unsigned int clients = 0;
    Stats stats;
    std::uint64_t unexpected = 0;  // AA 55 frames that answer no pending report
};

void add(Stats& into, const Stats& s)
{
    into.requests += s.requests;
    into.replies += s.replies;
    into.pushes += s.pushes;
    into.bytesIn += s.bytesIn;
    into.bytesOut += s.bytesOut;
    into.acknowledgementsAccepted += s.acknowledgementsAccepted;
    into.acknowledgementsRejected += s.acknowledgementsRejected;
    for (size_t i = 0; i < s.faults.size(); ++i)
    {
        into.faults[i] += s.faults[i];
    }
    for (size_t i = 0; i < s.droppedBytes.size(); ++i)
    {
        into.droppedBytes[i] += s.droppedBytes[i];
    }
}

std::string statsText(const Stats& s, std::uint64_t unexpected)
{
    std::string text = std::to_string(s.requests) + " requests, " + std::to_string(s.replies) + " replies, " +
                       std::to_string(s.pushes) + " reports pushed, " + std::to_string(s.acknowledgementsAccepted) +
                       " acknowledgements accepted, " + std::to_string(s.acknowledgementsRejected + unexpected) +
                       " rejected";
    std::string faults;
    for (size_t i = 0; i < zorv::kFaultKinds; ++i)
    {
        if (s.faults[i] != 0)
        {
            faults += std::string(faults.empty() ? "" : ", ") + zorv::faultName(static_cast<Fault>(i)) + " " +
                      std::to_string(s.faults[i]);
        }
    }
    std::uint64_t dropped = 0;
    for (const auto n : s.droppedBytes)
    {
        dropped += n;
    }
    return text + "; faults: " + (faults.empty() ? "none" : faults) + "; " + std::to_string(dropped) + " bytes dropped";
}

// One client's device: its simulator, the reports it pushed and awaits
// acknowledgements for, and its share of the pcap file.
class DeviceHandler final : public zorv::wire::ConnectionHandler
{
public:
    DeviceHandler(const SimulateOptions& o, std::string name, std::uint16_t pcapPort, zorv::wire::PcapWriter* pcap,
                  Totals& totals)
        : m_o(o), m_name(std::move(name)), m_pcapPort(pcapPort), m_pcap(pcap), m_totals(totals),
          m_sim(o.variant ? DeviceSimulator::Flavor::Variant : DeviceSimulator::Flavor::Standard, o.faults)
    {
        ++m_totals.clients;
    }

    ~DeviceHandler() override
    {
        logLine(m_name + ": " + statsText(m_sim.stats(), m_unexpected));
        add(m_totals.stats, m_sim.stats());
        m_totals.unexpected += m_unexpected;
        if (m_pcap)
        {
            m_pcap->closeConnection(m_pcapPort);
        }
    }

    zorv::wire::HandlerOutput onReceive(const std::string& bytes) override
    {
        record(Direction::ToDevice, bytes);
        m_inbox += bytes;
        zorv::wire::HandlerOutput out;
        while (!m_inbox.empty() && !out.close)
        {
            if (m_sim.idle() && m_inbox.size() >= 2 && m_inbox[0] == '\xAA' && m_inbox[1] == '\x55')
            {
                // An acknowledgement: 20 bytes and its length field.
                if (m_inbox.size() < frame::kOverhead)
                {
                    break;
                }
                const size_t size = frame::kOverhead + frame::decodeHeader(m_inbox).validLength;
                if (m_inbox.size() < size)
                {
                    break;
                }
                acknowledgement(m_inbox.substr(0, size));
                m_inbox.erase(0, size);
                continue;
            }
            // Up to the next head that could open an acknowledgement.
            const size_t next = m_inbox.find("\xAA\x55", 1);
            const std::string chunk = m_inbox.substr(0, next);
            m_inbox.erase(0, chunk.size());
            answer(chunk, out);
        }
        return out;
    }

    zorv::wire::HandlerOutput onPushTimer() override
    {
        static const char* const texts[] = {"temperature 41.5 C", "fan 2 stopped", "door open", "voltage 229 V"};
        const unsigned char label = m_nextPushLabel++;
        const unsigned char code = (m_pushes % 2 == 0) ? 0x10 : 0x18;
        const std::string pushed = m_sim.pushReport(label, code, 1, 0, texts[m_pushes % 4]);
        ++m_pushes;
        m_pending[label] = pushed;
        char text[64];
        std::snprintf(text, sizeof text, "#%02x code 0x%02x len %zu", static_cast<unsigned int>(label),
                      static_cast<unsigned int>(code), pushed.size() - frame::kOverhead);
        logLine(m_name + ": TX " + std::to_string(pushed.size()) + "  push " + text);
        record(Direction::FromDevice, pushed);
        zorv::wire::HandlerOutput out;
        out.bytes = pushed;
        return out;
    }

private:
    void answer(const std::string& chunk, zorv::wire::HandlerOutput& out)
    {
        const Stats before = m_sim.stats();
        if (m_o.closeAfter != 0 && before.requests >= m_o.closeAfter)
        {
            logLine(m_name + ": RX " + std::to_string(chunk.size()) + "  hanging up (--close-after " +
                    std::to_string(m_o.closeAfter) + ")");
            out.close = true;
            return;
        }
        const std::string reply = m_sim.receive(chunk);
        const Stats& after = m_sim.stats();
        const std::uint64_t answered = after.requests - before.requests;
        std::uint64_t dropped = 0;
        for (size_t i = 0; i < after.droppedBytes.size(); ++i)
        {
            dropped += after.droppedBytes[i] - before.droppedBytes[i];
        }
        if (dropped != 0)
        {
            logLine(m_name + ": RX dropped " + std::to_string(dropped) + " bytes that form no request");
        }
        if (answered == 1)
        {
            const std::string faults = faultList(m_sim.lastFaults());
            logLine(m_name + ": RX request " + (reply.size() >= frame::kOverhead ? frameText(reply) : "") + " -> " +
                    (reply.empty() ? "no reply" : "TX " + std::to_string(reply.size())) +
                    (faults.empty() ? "" : "  [" + faults + "]"));
        }
        else if (answered > 1)
        {
            for (const Piece& piece : cutFrames(reply, m_o.variant ? Variant::Always : Variant::Standard))
            {
                logLine(m_name + ": RX request -> TX " + std::to_string(piece.bytes.size()) + " " +
                        frameText(piece.bytes));
            }
        }
        if (!reply.empty())
        {
            for (std::string& piece : m_sim.pieces(reply))
            {
                record(Direction::FromDevice, piece);
                out.pieces.push_back(std::move(piece));
            }
        }
    }

    void acknowledgement(const std::string& ack)
    {
        const unsigned char label = static_cast<unsigned char>(ack[frame::kLabel]);
        const auto pending = m_pending.find(label);
        if (pending == m_pending.end())
        {
            ++m_unexpected;
            logLine(m_name + ": RX " + std::to_string(ack.size()) + "  " + frameText(ack) +
                    " acknowledges no report pushed: rejected");
            return;
        }
        const bool ok = m_sim.takePushAcknowledgement(pending->second, ack);
        char text[32];
        std::snprintf(text, sizeof text, "#%02x", static_cast<unsigned int>(label));
        logLine(m_name + ": RX " + std::to_string(ack.size()) + "  acknowledgement of push " + text +
                (ok ? " accepted" : " REJECTED"));
        m_pending.erase(pending);
    }

    void record(Direction direction, const std::string& bytes)
    {
        if (m_pcap)
        {
            m_pcap->record(direction, bytes, m_pcapPort);
        }
    }

    const SimulateOptions& m_o;
    std::string m_name;
    std::uint16_t m_pcapPort;
    zorv::wire::PcapWriter* m_pcap;
    Totals& m_totals;
    DeviceSimulator m_sim;
    std::string m_inbox;
    std::map<unsigned char, std::string> m_pending;
    unsigned char m_nextPushLabel = 0x80;
    std::uint64_t m_pushes = 0;
    std::uint64_t m_unexpected = 0;
};

// A serial line served with one handler: a read loop, a write queue and the
// push timer on one io_context, stopped by SIGINT or SIGTERM.
template <class Stream>
class LineServer
{
public:
    LineServer(asio::io_context& io, Stream& stream, zorv::wire::ConnectionHandler& handler,
               std::chrono::milliseconds pushInterval)
        : m_io(io), m_stream(stream), m_handler(handler), m_timer(io), m_signals(io, SIGINT, SIGTERM),
          m_pushInterval(pushInterval)
    {
    }

    void run()
    {
        m_signals.async_wait([this](const asio::error_code& ec, int signal) {
            if (!ec)
            {
                logLine(std::string("stopping on ") + (signal == SIGINT ? "SIGINT" : "SIGTERM"));
                stop();
            }
        });
        read();
        arm();
        m_io.run();
    }

private:
    void stop()
    {
        asio::error_code ignored;
        m_timer.cancel();
        m_signals.cancel(ignored);
        m_stream.cancel(ignored);
        m_io.stop();
    }

    void read()
    {
        m_stream.async_read_some(asio::buffer(m_buffer), [this](const asio::error_code& ec, std::size_t n) {
            if (ec == asio::error::operation_aborted)
            {
                return;
            }
            if (ec)
            {
                logLine("serial line lost: " + ec.message());
                stop();
                return;
            }
            queue(m_handler.onReceive(std::string(m_buffer.data(), n)));
            read();
        });
    }

    void arm()
    {
        if (m_pushInterval.count() <= 0)
        {
            return;
        }
        m_timer.expires_after(m_pushInterval);
        m_timer.async_wait([this](const asio::error_code& ec) {
            if (!ec)
            {
                queue(m_handler.onPushTimer());
                arm();
            }
        });
    }

    void queue(zorv::wire::HandlerOutput out)
    {
        const bool idle = m_queue.empty();
        if (!out.bytes.empty())
        {
            m_queue.push_back(std::move(out.bytes));
        }
        for (std::string& piece : out.pieces)
        {
            m_queue.push_back(std::move(piece));
        }
        if (idle && !m_queue.empty())
        {
            write();
        }
    }

    void write()
    {
        asio::async_write(m_stream, asio::buffer(m_queue.front()), [this](const asio::error_code& ec, std::size_t) {
            if (ec)
            {
                if (ec != asio::error::operation_aborted)
                {
                    logLine("serial line lost: " + ec.message());
                    stop();
                }
                return;
            }
            m_queue.pop_front();
            if (!m_queue.empty())
            {
                write();
            }
        });
    }

    asio::io_context& m_io;
    Stream& m_stream;
    zorv::wire::ConnectionHandler& m_handler;
    asio::steady_timer m_timer;
    asio::signal_set m_signals;
    std::chrono::milliseconds m_pushInterval;
    std::array<char, 64 * 1024> m_buffer{};
    std::deque<std::string> m_queue;
};

void writeReadyFile(const std::string& path, const std::string& text)
{
    if (path.empty())
    {
        return;
    }
    // Written whole under another name and renamed, so that a reader never
    // sees half of it.
    const std::string temp = path + ".tmp";
    {
        std::ofstream file(temp, std::ios::trunc);
        file << text << '\n';
    }
    if (std::rename(temp.c_str(), path.c_str()) != 0)
    {
        throw UsageError("cannot write " + path);
    }
}

void serveSerial(const SimulateOptions& o, std::chrono::milliseconds pushInterval, zorv::wire::PcapWriter* pcap,
                 Totals& totals)
{
    asio::io_context io;
    asio::serial_port line(io);
#if defined(_WIN32)
    if (o.serial.empty())
    {
        throw UsageError("--serial needs a DEVICE here: pseudo-terminals are a POSIX feature");
    }
#else
    // The pseudo-terminal's other end, held open in raw mode for as long as
    // the simulator runs: a client may come and go without the line closing.
    asio::posix::stream_descriptor master(io);
    if (o.serial.empty())
    {
        const int fd = posix_openpt(O_RDWR | O_NOCTTY);
        if (fd < 0 || grantpt(fd) != 0 || unlockpt(fd) != 0 || ptsname(fd) == nullptr)
        {
            throw zorv::wire::WireError(zorv::wire::WireErrc::Failed, "cannot create a pseudo-terminal");
        }
        master.assign(fd);
        const std::string slave = ptsname(fd);
        asio::error_code ec;
        line.open(slave, ec);
        if (ec)
        {
            throw zorv::wire::WireError(zorv::wire::WireErrc::Failed, "cannot open " + slave + ": " + ec.message());
        }
        writeReadyFile(o.portFile, slave);
        logLine("serial device " + slave + " (a pseudo-terminal), " + std::string(o.variant ? "variant" : "standard") +
                " device; stop with Ctrl-C");
        DeviceHandler handler(o, "line", zorv::wire::PcapWriter::kDefaultClientPort, pcap, totals);
        LineServer<asio::posix::stream_descriptor>(io, master, handler, pushInterval).run();
        return;
    }
#endif
    // Opened once as the clients open it, so that a missing device is named alike.
    zorv::wire::makeSerialTransport(o.serial, o.baud)->connect(zorv::wire::Timeout(1000));
    asio::error_code ec;
    line.open(o.serial, ec);
    if (!ec)
    {
        line.set_option(asio::serial_port_base::baud_rate(o.baud), ec);
    }
    if (ec)
    {
        throw zorv::wire::WireError(zorv::wire::WireErrc::Failed, "cannot open " + o.serial + ": " + ec.message());
    }
    writeReadyFile(o.portFile, o.serial);
    logLine("serial device " + o.serial + " at " + std::to_string(o.baud) + " baud, " +
            std::string(o.variant ? "variant" : "standard") + " device; stop with Ctrl-C");
    DeviceHandler handler(o, "line", zorv::wire::PcapWriter::kDefaultClientPort, pcap, totals);
    LineServer<asio::serial_port>(io, line, handler, pushInterval).run();
}

void runSimulate(SimulateOptions o, int& status)
{
    o.faults.ackCode = static_cast<unsigned char>(o.ackCode);
    const std::chrono::milliseconds pushInterval(static_cast<long long>(std::llround(o.pushInterval * 1000)));
    std::unique_ptr<zorv::wire::PcapWriter> pcap;
    if (!o.pcap.empty())
    {
        try
        {
            pcap = std::make_unique<zorv::wire::PcapWriter>(o.pcap);
        }
        catch (const std::runtime_error& e)
        {
            throw UsageError(e.what());
        }
    }
    Totals totals;
    try
    {
        if (o.serialMode)
        {
            serveSerial(o, pushInterval, pcap.get(), totals);
        }
        else
        {
            zorv::wire::HostPort where;
            try
            {
                where = zorv::wire::parseHostPort(o.listen, zorv::wire::kDefaultDevicePort);
            }
            catch (const std::invalid_argument& e)
            {
                throw UsageError(e.what());
            }
            zorv::wire::ServerOptions server;
            server.host = where.host;
            server.port = where.port;
            server.pushInterval = pushInterval;
            server.log = logLine;
            zorv::wire::PcapWriter* recording = pcap.get();
            const SimulateOptions& options = o;
            zorv::wire::TcpServer tcp(server, [&options, recording, &totals](const zorv::wire::ClientInfo& client) {
                return std::make_unique<DeviceHandler>(options, "client " + std::to_string(client.id), client.port,
                                                       recording, totals);
            });
            writeReadyFile(o.portFile, std::to_string(tcp.port()));
            logLine(std::string(o.variant ? "variant" : "standard") + " device, faults seeded with " +
                    std::to_string(o.faults.seed) + "; stop with Ctrl-C");
            tcp.run();
        }
    }
    catch (const zorv::wire::WireError& e)
    {
        throw CommandFailure(kExitWire, e.what());
    }
    if (pcap)
    {
        pcap->close();
    }
    logLine("simulate: stopped; " + std::to_string(totals.clients) +
            (totals.clients == 1 ? " client, " : " clients, ") + statsText(totals.stats, totals.unexpected));
    status = kExitOk;
}

}  // namespace

void addSimulateCommand(CLI::App& app, int& status)
{
    auto o = std::make_shared<SimulateOptions>();
    CLI::App* cmd = app.add_subcommand(
        "simulate",
        "Be a device on the wire: the device simulator on TCP (every client its own device) or on a serial\n"
        "line, answering requests, pushing reports every --push-interval and checking the acknowledgements,\n"
        "with faults switched on by probability and seeded. One log line per frame; Ctrl-C (SIGINT) or\n"
        "SIGTERM stops it with a summary.");
    CLI::Option* listen =
        cmd->add_option("--listen", o->listen, "HOST:PORT to listen on (port 0: any free port)")->capture_default_str();
    CLI::Option* serial =
        cmd->add_option(
               "--serial", o->serial,
               "serve a serial line instead: DEVICE, or without it a new pseudo-terminal whose path is printed")
            ->expected(0, 1);
    serial->excludes(listen);
    cmd->add_option("--baud", o->baud, "serial line speed")->capture_default_str();
    cmd->add_flag("--variant", o->variant, "a variant device (frames with the 18-byte sub-header)");
    cmd->add_option("--push-interval", o->pushInterval, "seconds between pushed reports (0: none)")
        ->check(CLI::Range(0.0, 3600.0))
        ->capture_default_str();
    cmd->add_option("--close-after", o->closeAfter, "hang up on the request after this many (0: never)");
    cmd->add_option("--pcap", o->pcap, "record every client's frames as a pcap file for Wireshark");
    cmd->add_option("--port-file", o->portFile, "write the port listened on (or the serial device) into this file");
    const char* faults = "Faults (probability per reply, 0 to 1)";
    const auto p = [&](const char* name, double& value, const char* help) {
        cmd->add_option(name, value, help)->check(CLI::Range(0.0, 1.0))->group(faults);
    };
    p("--drop", o->faults.droppedReply, "no reply at all");
    p("--nonzero-ack", o->faults.nonZeroAck, "a reply with ack --ack-code, the request not carried out");
    p("--wrong-label", o->faults.wrongLabel, "the label one more than the request's");
    p("--bad-checksum", o->faults.badChecksum, "the checksum one more than the right one");
    p("--truncate", o->faults.truncated, "only the first bytes of the reply");
    p("--garbage", o->faults.garbage, "1 to 16 stray bytes before the reply");
    p("--duplicate", o->faults.duplicated, "the reply twice");
    cmd->add_option("--ack-code", o->ackCode, "the ack of a --nonzero-ack reply")
        ->transform(numberUpTo(0xFF))
        ->capture_default_str()
        ->group(faults);
    cmd->add_option("--max-piece", o->faults.maxPiece, "send replies in pieces of 1 to N bytes (0: whole)")
        ->group(faults);
    cmd->add_option("--seed", o->faults.seed, "seed of the faults and pieces (the same seed, the same faults)")
        ->capture_default_str()
        ->group(faults);
    cmd->footer(std::string("Examples:\n"
                            "  zorvproto simulate\n"
                            "  zorvproto simulate --listen 0.0.0.0:5020 --variant --push-interval 2\n"
                            "  zorvproto simulate --listen 127.0.0.1:0 --port-file port --garbage 0.1 --seed 7\n"
                            "  zorvproto simulate --serial       # prints the pseudo-terminal to connect to\n") +
                kExitStatusText);
    cmd->callback([o, serial, &status] {
        o->serialMode = serial->count() != 0;
        runSimulate(*o, status);
    });
}

}  // namespace zorvproto
