// zorvproto encode: the frames of one client request, built by the protocol
// library itself (ProtoStub::analyze_ClientData), printed as hex, annotated or
// raw.
#include "Commands.h"
#include "FrameCutter.h"
#include "FrameText.h"
#include "HexInput.h"
#include "Request.h"
#include "protostub/ProtoStub.h"

#include <iostream>
#include <list>
#include <memory>

namespace zorvproto
{

namespace
{

struct EncodeOptions
{
    RequestOptions request;
    bool annotate = false;
    bool binary = false;
    bool full = false;
    std::string logLevel = "warn";
};

void runEncode(const EncodeOptions& e, int& status)
{
    const RequestOptions& o = e.request;
    if (e.annotate && e.binary)
    {
        throw UsageError("--annotate and --binary exclude each other");
    }
    applyLogLevel(e.logLevel);
    const em_RequestType type = requestType(o.op);
    INTER_ST::ThirdGenerationCommRequest_Data request = buildRequest(o, type);
    // A file read names no output file here: the library deletes the file it
    // is given before reading into it, and encode only shows the frames.
    const std::string filePath = type == emRequestWriteFile ? o.dataFile : std::string();
    ProtoStub stub;
    std::list<ST_MSGToHardDriver> msgs;
    const em_ProtoAnalyze result = stub.analyze_ClientData(static_cast<unsigned int>(o.max), o.key, type, &request,
                                                           msgs, filePath, !o.noIncrement);
    if (result != emProtoSuccess)
    {
        throw UsageError("the library rejected the request with result " + std::to_string(static_cast<int>(result)) +
                         " (run with --log-level info to see why)");
    }
    std::string all;
    for (const ST_MSGToHardDriver& msg : msgs)
    {
        all += *msg.frame;
        if (!e.binary && !e.annotate)
        {
            std::cout << toHex(*msg.frame) << '\n';
        }
    }
    if (e.binary)
    {
        std::cout.write(all.data(), static_cast<std::streamsize>(all.size()));
    }
    else if (e.annotate)
    {
        // Annotated as decode prints the same bytes.
        size_t index = 0;
        for (const Piece& piece : cutFrames(all, o.key == kVariantKey ? Variant::Always : Variant::Standard))
        {
            std::cout << describe(piece, ++index, TextOptions{e.full ? 0u : 64u});
        }
    }
    std::cout.flush();
    status = std::cout ? kExitOk : kExitCheckFailed;
}

}  // namespace

void addEncodeCommand(CLI::App& app, int& status)
{
    auto o = std::make_shared<EncodeOptions>();
    CLI::App* cmd =
        app.add_subcommand("encode",
                           "Print the frames the protocol library builds for one client request, one frame per line\n"
                           "as lowercase hex without wrapping (what 'xxd -r -p' reads back).");
    addRequestOptions(*cmd, o->request, true);
    const char* output = "Output";
    cmd->add_flag("--annotate", o->annotate, "every field named, one block per frame")->group(output);
    cmd->add_flag("--binary", o->binary, "the frames' raw bytes")->group(output);
    cmd->add_flag("--full", o->full, "with --annotate: all data bytes, not the first 64")->group(output);
    addLogLevelOption(*cmd, o->logLevel);
    cmd->footer(
        "Examples:\n"
        "  zorvproto encode --op read --addr 0x2000 --len 256\n"
        "  zorvproto encode --op write --addr 0x2000 --data 'de ad be ef' --annotate\n"
        "  zorvproto encode --key 3rdOrvane-proto --op write --data-file fw.bin --max 512 | xxd -r -p > frames.bin");
    cmd->callback([o, &status] { runEncode(*o, status); });
}

}  // namespace zorvproto
