// zorvproto watch: what a device pushes, as the server sees it. Frames that
// open 55 AA go to isAutoPushThirdPackage, and the acknowledgement the library
// builds for a report goes straight back; frames that open AA 55 are
// recognised with isGeneralThirdPackage and shown. Runs until SIGINT or
// SIGTERM, --count reports, or --timeout seconds without a byte.
#include "Commands.h"
#include "FrameCutter.h"
#include "FrameText.h"
#include "HexInput.h"
#include "WireLink.h"
#include "protobase/FrameCodec.h"
#include "protostub/ProtoStub.h"

#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>

namespace zorvproto
{

namespace
{

using Clock = std::chrono::steady_clock;
using zorv::wire::WireErrc;
using zorv::wire::WireError;

volatile std::sig_atomic_t g_stop = 0;

extern "C" void onStopSignal(int)
{
    g_stop = 1;
}

struct WatchOptions
{
    LinkOptions link;
    bool json = false;
    std::uint64_t count = 0;
    std::string logLevel = "warn";
};

class Watcher
{
public:
    explicit Watcher(const WatchOptions& o) : m_o(o), m_link(o.link, true) {}

    void run()
    {
        const zorv::wire::Timeout slice(200);  // how soon a signal is noticed
        const auto idle = std::chrono::duration<double>(m_o.link.timeout);
        auto lastByte = Clock::now();
        while (g_stop == 0 && (m_o.count == 0 || m_reports < m_o.count))
        {
            try
            {
                m_buffer += m_link.receive(slice);
                lastByte = Clock::now();
            }
            catch (const WireError& e)
            {
                if (e.kind() != WireErrc::Timeout)
                {
                    throwWireFailure(e);
                }
                if (idle.count() > 0 && Clock::now() - lastByte > idle)
                {
                    throw CommandFailure(kExitUnanswered, "nothing from " + m_link.peer() + " for " +
                                                              std::to_string(m_link.timeout().count()) + " ms, after " +
                                                              std::to_string(m_reports) + " reports");
                }
                continue;
            }
            take();
        }
        std::cerr << "watch: " << m_reports << (m_reports == 1 ? " report" : " reports") << ", " << m_acknowledged
                  << " acknowledged, " << m_other << " other frames, " << m_dropped << " bytes that form no frame\n";
    }

private:
    // Cuts whole frames off the front of the buffer and handles them.
    void take()
    {
        while (m_buffer.size() >= 2 && (m_o.count == 0 || m_reports < m_o.count))
        {
            const auto b0 = static_cast<unsigned char>(m_buffer[0]);
            const auto b1 = static_cast<unsigned char>(m_buffer[1]);
            if (b0 == 0x55 && b1 == 0xAA)
            {
                if (!pushed())
                {
                    return;
                }
            }
            else if (b0 == 0xAA && b1 == 0x55)
            {
                unsigned long long length = 0;
                if (!ProtoStub::isGeneralThirdPackage(m_buffer, length) || length == 0)
                {
                    if (m_buffer.size() < frameLength())
                    {
                        return;  // the rest of the frame is on its way
                    }
                    length = frameLength();
                }
                show(m_buffer.substr(0, static_cast<size_t>(length)), "device frame", "");
                ++m_other;
                m_buffer.erase(0, static_cast<size_t>(length));
            }
            else
            {
                size_t next = 1;
                while (next + 1 < m_buffer.size() && !((m_buffer[next] == '\x55' && m_buffer[next + 1] == '\xAA') ||
                                                       (m_buffer[next] == '\xAA' && m_buffer[next + 1] == '\x55')))
                {
                    ++next;
                }
                if (next + 1 >= m_buffer.size())
                {
                    next = m_buffer.size() - 1;  // the last byte may open a head
                }
                m_dropped += next;
                m_buffer.erase(0, next);
            }
        }
    }

    // 20 bytes plus the length field, once the header is in.
    size_t frameLength() const
    {
        return m_buffer.size() < frame::kOverhead ? frame::kOverhead + 0xFFFF
                                                  : frame::kOverhead + frame::decodeHeader(m_buffer).validLength;
    }

    // A frame that opens 55 AA; false when more bytes are needed.
    bool pushed()
    {
        unsigned long long length = 0;
        bool flag = false;
        std::vector<ST_DeviceAutoReportResponseInfo> reports;
        const em_ProtoAnalyze result = m_stub.isAutoPushThirdPackage(m_buffer, length, flag, reports);
        if (result == emProtoBadHeader || result == emProtoFrameShort ||
            (result != emProtoSuccess && m_buffer.size() < frameLength()))
        {
            return false;
        }
        if (result != emProtoSuccess || length == 0 || length > m_buffer.size())
        {
            length = std::min(frameLength(), m_buffer.size());
            show(m_buffer.substr(0, static_cast<size_t>(length)), "not a report",
                 ", \"result\":" + std::to_string(static_cast<int>(result)));
            ++m_other;
            m_buffer.erase(0, static_cast<size_t>(length));
            return true;
        }
        const std::string frameBytes = m_buffer.substr(0, static_cast<size_t>(length));
        m_buffer.erase(0, static_cast<size_t>(length));
        ++m_reports;
        std::string answer;
        if (!reports.empty() && reports.front().answer)
        {
            answer = *reports.front().answer;
            try
            {
                m_link.send(answer);
                ++m_acknowledged;
            }
            catch (const WireError& e)
            {
                throwWireFailure(e, "acknowledging report " + std::to_string(m_reports));
            }
        }
        const auto& record = reports.empty() ? nullptr : reports.front().response;
        std::string data = record ? std::string(record->data.begin(), record->data.end()) : std::string();
        if (data.size() >= frame::kSubHeaderSize)
        {
            data.erase(0, frame::kSubHeaderSize);  // the report's sub-header
        }
        if (m_o.json)
        {
            show(frameBytes, "",
                 ", \"report\":" + std::to_string(m_reports) +
                     ", \"code\":" + std::to_string(static_cast<unsigned char>(frameBytes[frame::kReadWriteCode])) +
                     ", \"flag\":" + (flag ? "true" : "false") + ", \"acknowledgement\":\"" + toHex(answer) + "\"");
        }
        else
        {
            char head[96];
            const frame::Header h = frame::decodeHeader(frameBytes);
            std::snprintf(head, sizeof head, "report %llu: #%02x code 0x%02x (flag %s), %zu data bytes",
                          static_cast<unsigned long long>(m_reports), static_cast<unsigned int>(h.label),
                          static_cast<unsigned int>(h.readWriteCode), flag ? "true" : "false", data.size());
            std::cout << head << (answer.empty() ? ", no acknowledgement" : ", acknowledged") << '\n'
                      << "  data " << toSpacedHex(data) << "  \"" << printable(data) << "\"\n"
                      << std::flush;
        }
        return true;
    }

    static std::string printable(const std::string& data)
    {
        std::string text;
        for (const char c : data)
        {
            text += (c >= 0x20 && c < 0x7F) ? c : '.';
        }
        return text;
    }

    // A frame as a line of text or of JSON with extra fields.
    void show(const std::string& bytes, const std::string& what, const std::string& extra)
    {
        const std::vector<Piece> pieces = cutFrames(bytes, Variant::Auto);
        if (pieces.empty())
        {
            return;
        }
        ++m_index;
        if (m_o.json)
        {
            std::string line = toJson(pieces.front(), m_index, 0);
            line.insert(line.size() - 1, extra);
            std::cout << line << '\n' << std::flush;
        }
        else if (!what.empty())
        {
            std::cout << what << ": " << toSpacedHex(bytes) << '\n' << std::flush;
        }
    }

    const WatchOptions& m_o;
    ProtoStub m_stub;
    Link m_link;
    std::string m_buffer;
    std::uint64_t m_reports = 0;
    std::uint64_t m_acknowledged = 0;
    std::uint64_t m_other = 0;
    std::uint64_t m_dropped = 0;
    size_t m_index = 0;
};

void runWatch(const WatchOptions& o, int& status)
{
    applyLogLevel(o.logLevel);
    g_stop = 0;
    std::signal(SIGINT, onStopSignal);
    std::signal(SIGTERM, onStopSignal);
    Watcher watcher(o);
    watcher.run();
    status = kExitOk;
}

}  // namespace

void addWatchCommand(CLI::App& app, int& status)
{
    auto o = std::make_shared<WatchOptions>();
    o->link.timeout = 0;
    CLI::App* cmd = app.add_subcommand(
        "watch", "Receive what a device pushes: each report decoded by the protocol library and acknowledged with\n"
                 "the acknowledgement the library builds; other frames shown. Until SIGINT, --count reports or\n"
                 "--timeout seconds of silence.");
    addLinkOptions(*cmd, o->link, "give up after this many seconds without a byte (0: never)");
    cmd->add_option("--count", o->count, "stop after this many reports (0: no limit)")->capture_default_str();
    cmd->add_flag("--json", o->json, "one JSON object per frame, with the report's code and acknowledgement");
    addLogLevelOption(*cmd, o->logLevel);
    cmd->footer(std::string("Examples:\n"
                            "  zorvproto watch --connect 127.0.0.1:5020\n"
                            "  zorvproto watch --serial /dev/ttyUSB0 --baud 115200 --json --count 10\n") +
                kExitStatusText);
    cmd->callback([o, &status] { runWatch(*o, status); });
}

}  // namespace zorvproto
