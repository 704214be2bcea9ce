// zorvproto decode: frames read back from hex text, raw bytes or a server's
// log, cut with the frame codec and printed field by field.
#include "Commands.h"
#include "FrameCutter.h"
#include "FrameText.h"
#include "HexInput.h"

#include <iostream>
#include <memory>

namespace zorvproto
{

namespace
{

struct DecodeOptions
{
    std::string input = "-";
    bool binary = false;
    bool log = false;
    bool json = false;
    bool variant = false;
    bool standard = false;
    bool full = false;
};

// The input's byte runs: one for hex or raw bytes, one per hex line of a log.
std::vector<LogRun> byteRuns(const DecodeOptions& o)
{
    const std::string text = readInput(o.input);
    if (o.log)
    {
        return hexRunsFromLog(text);
    }
    return {LogRun{0, o.binary ? text : parseHex(text)}};
}

void runDecode(const DecodeOptions& o, int& status)
{
    if (o.binary && o.log)
    {
        throw UsageError("--binary and --log exclude each other");
    }
    if (o.variant && o.standard)
    {
        throw UsageError("--variant and --standard exclude each other");
    }
    const Variant variant = o.variant ? Variant::Always : o.standard ? Variant::Standard : Variant::Auto;
    const std::vector<LogRun> runs = byteRuns(o);
    size_t index = 0;
    size_t frames = 0;
    size_t bad = 0;
    for (const LogRun& run : runs)
    {
        if (run.line != 0 && !o.json)
        {
            std::cout << "-- log line " << run.line << '\n';
        }
        for (const Piece& piece : cutFrames(run.bytes, variant))
        {
            ++index;
            const bool frame = piece.kind != PieceKind::Truncated && piece.kind != PieceKind::Unframed;
            frames += frame ? 1 : 0;
            bad += !frame || !piece.checksumOk ? 1 : 0;
            if (o.json)
            {
                std::cout << toJson(piece, index, run.line) << '\n';
            }
            else
            {
                std::cout << describe(piece, index, TextOptions{o.full ? 0u : 64u});
            }
        }
    }
    if (!o.json)
    {
        std::cout << frames << (frames == 1 ? " frame" : " frames");
        if (o.log)
        {
            std::cout << " in " << runs.size() << (runs.size() == 1 ? " hex log line" : " hex log lines");
        }
        std::cout << ", " << bad << (bad == 1 ? " piece" : " pieces") << " with a wrong checksum or no whole frame\n";
    }
    std::cout.flush();
    status = bad == 0 && std::cout ? kExitOk : kExitCheckFailed;
}

}  // namespace

void addDecodeCommand(CLI::App& app, int& status)
{
    auto o = std::make_shared<DecodeOptions>();
    CLI::App* cmd =
        app.add_subcommand("decode",
                           "Cut frames out of hex text, raw bytes or a server's log and print every field by name:\n"
                           "the direction (request 55 aa; reply aa 55; push 55 aa with packet type 0x32), the header,\n"
                           "the variant's sub-header, the data and whether the checksum holds. Bytes that form no\n"
                           "frame are shown as such. Exit status 1 when a checksum is wrong or bytes form no frame.");
    cmd->add_option("input", o->input, "file to read, - for standard input")->capture_default_str();
    cmd->add_flag("--binary", o->binary, "the input is raw bytes, not hex text");
    cmd->add_flag("--log", o->log,
                  "the input is a log: decode the hex byte runs the logger's byte-string call wrote, each line "
                  "on its own");
    cmd->add_flag("--json", o->json, "one JSON object per line for each frame or piece");
    cmd->add_flag("--variant", o->variant, "every frame is the variant's (has a sub-header)");
    cmd->add_flag("--standard", o->standard,
                  "no frame is the variant's (default: requests by their checksum, other frames where the "
                  "sub-header's lengths agree with the frame's)");
    cmd->add_flag("--full", o->full, "all data bytes, not the first 64");
    cmd->footer("Hex text may hold blanks, colons, commas, newlines, 0x in front of bytes and # comments.\n"
                "A read request is 20 bytes (38 plus its extension for the variant) whatever its length\n"
                "field asks for; every other frame is 20 bytes plus its length field.\n"
                "Examples:\n"
                "  zorvproto decode frames.txt\n"
                "  echo '55 aa 00 01 00 00 00 00 00 00 00 00 00 20 00 00 00 01 77 55' | zorvproto decode\n"
                "  zorvproto decode --log server.log --json");
    cmd->callback([o, &status] { runDecode(*o, status); });
}

}  // namespace zorvproto
