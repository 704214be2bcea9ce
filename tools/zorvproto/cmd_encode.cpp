// zorvproto encode: the frames of one client request, built by the protocol
// library itself (ProtoStub::analyze_ClientData), printed as hex, annotated or
// raw.
#include "Commands.h"
#include "FrameCutter.h"
#include "FrameText.h"
#include "HexInput.h"
#include "protobase/FrameCodec.h"
#include "protostub/ProtoStub.h"

#include <iostream>
#include <list>
#include <memory>

namespace zorvproto
{

namespace
{

const char* const kStandardKey = "3rd-proto";
const char* const kVariantKey = "3rdOrvane-proto";

struct EncodeOptions
{
    std::string key = kStandardKey;
    std::string op = "read";
    std::uint32_t addr = 0;
    std::uint64_t len = 0;
    std::uint64_t max = 1024;
    bool noIncrement = false;
    unsigned int firstAddr = 0;
    unsigned int secondAddr = 0;
    unsigned int deviceType = 0;
    unsigned int byte7 = 0;
    unsigned int scanBoard = 0;
    unsigned int packetType = 0;
    std::string dataHex;
    std::string dataFile;
    std::uint32_t packetSum = 1;
    std::uint32_t sequence = 0;
    std::string extensionHex;
    bool annotate = false;
    bool binary = false;
    bool full = false;
    std::string logLevel = "warn";
};

em_RequestType requestType(const std::string& op)
{
    if (op == "write")
    {
        return emRequestWriteRegister;
    }
    if (op == "read-file")
    {
        return emRequestReadFile;
    }
    if (op == "write-file")
    {
        return emRequestWriteFile;
    }
    return emRequestReadRegister;
}

void putLittleEndian(std::string& out, size_t at, std::uint32_t value, size_t width)
{
    for (size_t i = 0; i < width; ++i)
    {
        out[at + i] = static_cast<char>((value >> (8 * i)) & 0xFF);
    }
}

// The request record as a server fills it for this request.
INTER_ST::ThirdGenerationCommRequest_Data buildRequest(const EncodeOptions& o, em_RequestType type)
{
    const bool write = type == emRequestWriteRegister || type == emRequestWriteFile;
    const bool variant = o.key == kVariantKey;
    std::string payload;
    if (type == emRequestWriteRegister)
    {
        if (o.dataHex.empty() == o.dataFile.empty())
        {
            throw UsageError("--op write takes its data from exactly one of --data and --data-file");
        }
        payload = o.dataFile.empty() ? parseHex(o.dataHex) : readInput(o.dataFile);
        if (o.len != 0 && o.len != payload.size())
        {
            throw UsageError("--len " + std::to_string(o.len) + " disagrees with the " +
                             std::to_string(payload.size()) + " data bytes given");
        }
    }
    else if (type == emRequestWriteFile)
    {
        if (o.dataFile.empty() || !o.dataHex.empty())
        {
            throw UsageError("--op write-file sends the file named by --data-file (and takes no --data)");
        }
    }
    else if (o.len == 0)
    {
        throw UsageError("--op " + o.op + " needs --len, the number of bytes to read");
    }
    else if (!o.dataHex.empty() || !o.dataFile.empty())
    {
        throw UsageError("--op " + o.op + " takes no data");
    }
    const std::string extension = parseHex(o.extensionHex);
    if (!variant && (!extension.empty() || o.packetSum != 1 || o.sequence != 0))
    {
        throw UsageError("--packet-sum, --sequence and --extension belong to the variant (--key 3rdOrvane-proto)");
    }
    if (extension.size() > 0xFF)
    {
        throw UsageError("--extension holds " + std::to_string(extension.size()) + " bytes, at most 255 fit");
    }

    INTER_ST::ThirdGenerationCommRequest_Data r;
    r.firstAddr = static_cast<unsigned char>(o.firstAddr);
    r.secondAddr = static_cast<unsigned char>(o.secondAddr);
    r.deviceType = static_cast<unsigned char>(o.deviceType);
    r.frameByte7 = static_cast<unsigned char>(o.byte7);
    r.scanBoardAddr = {static_cast<unsigned char>(o.scanBoard & 0xFF), static_cast<unsigned char>(o.scanBoard >> 8)};
    r.readWriteCode = write ? emOperationWrite : emOperationRead;
    r.packetType = static_cast<unsigned char>(o.packetType);
    for (size_t i = 0; i < 4; ++i)
    {
        r.registerAddr.push_back(static_cast<unsigned char>((o.addr >> (8 * i)) & 0xFF));
    }
    std::string data;
    if (variant)
    {
        // The variant's request data opens with its sub-header: the payload
        // length (a read states the bytes it asks for; the library fills it in
        // for writes), the packet sum and sequence number, and the extension
        // length, the extension bytes after it.
        std::string sub(frame::kSubHeaderSize, '\0');
        putLittleEndian(sub, frame::kSubValidLen, static_cast<std::uint32_t>(write ? 0 : o.len & 0xFFFF), 2);
        putLittleEndian(sub, frame::kSubPacketSum, o.packetSum, 4);
        putLittleEndian(sub, frame::kSubSequence, o.sequence, 4);
        sub[frame::kSubLenExp] = static_cast<char>(extension.size());
        data = sub + extension;
    }
    const size_t head = data.size();
    data += payload;
    r.data.assign(data.begin(), data.end());
    r.validLength = write ? data.size() : head + o.len;
    return r;
}

void runEncode(const EncodeOptions& o, int& status)
{
    if (o.annotate && o.binary)
    {
        throw UsageError("--annotate and --binary exclude each other");
    }
    applyLogLevel(o.logLevel);
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
        if (!o.binary && !o.annotate)
        {
            std::cout << toHex(*msg.frame) << '\n';
        }
    }
    if (o.binary)
    {
        std::cout.write(all.data(), static_cast<std::streamsize>(all.size()));
    }
    else if (o.annotate)
    {
        // Annotated as decode prints the same bytes.
        size_t index = 0;
        for (const Piece& piece : cutFrames(all, o.key == kVariantKey ? Variant::Always : Variant::Standard))
        {
            std::cout << describe(piece, ++index, TextOptions{o.full ? 0u : 64u});
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
    cmd->add_option("--key", o->key, "protocol key")
        ->check(CLI::IsMember({kStandardKey, kVariantKey}))
        ->capture_default_str();
    cmd->add_option("--op", o->op, "request kind")
        ->check(CLI::IsMember({"read", "write", "read-file", "write-file"}))
        ->capture_default_str();
    cmd->add_option("--addr", o->addr, "register address, decimal or 0x hex")->transform(numberUpTo(0xFFFFFFFFu));
    cmd->add_option("--len", o->len, "bytes to read (a write's length is its data's)")->transform(numberUpTo(1u << 30));
    cmd->add_option("--max", o->max, "nHwMaxRecvLen: the most data bytes per packet")
        ->transform(numberUpTo(0xFFFFFFFFu))
        ->capture_default_str();
    cmd->add_flag("--no-increment", o->noIncrement, "every packet at the same register address");
    cmd->add_option("--data", o->dataHex, "write data as hex (blanks, colons and 0x allowed)")->group("Write data");
    cmd->add_option("--data-file", o->dataFile, "write data from a file; the file --op write-file sends")
        ->group("Write data");
    const char* header = "Header bytes";
    cmd->add_option("--first-addr", o->firstAddr, "frame byte 4")->transform(numberUpTo(0xFF))->group(header);
    cmd->add_option("--second-addr", o->secondAddr, "frame byte 5")->transform(numberUpTo(0xFF))->group(header);
    cmd->add_option("--device-type", o->deviceType, "frame byte 6")->transform(numberUpTo(0xFF))->group(header);
    cmd->add_option("--byte7", o->byte7, "frame byte 7")->transform(numberUpTo(0xFF))->group(header);
    cmd->add_option("--scan-board", o->scanBoard, "frame bytes 8 and 9, low byte first")
        ->transform(numberUpTo(0xFFFF))
        ->group(header);
    cmd->add_option("--packet-type", o->packetType, "frame byte 11")->transform(numberUpTo(0xFF))->group(header);
    const char* sub = "Variant sub-header (--key 3rdOrvane-proto)";
    cmd->add_option("--packet-sum", o->packetSum, "packets in the transfer")
        ->transform(numberUpTo(0xFFFFFFFFu))
        ->capture_default_str()
        ->group(sub);
    cmd->add_option("--sequence", o->sequence, "this packet's number")
        ->transform(numberUpTo(0xFFFFFFFFu))
        ->capture_default_str()
        ->group(sub);
    cmd->add_option("--extension", o->extensionHex, "extension bytes after the sub-header, as hex")->group(sub);
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
