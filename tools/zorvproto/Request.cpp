// The request options that encode and the wire commands share, and the
// request record a server fills in from them.
#include "Request.h"

#include "Commands.h"
#include "HexInput.h"
#include "protobase/FrameCodec.h"

namespace zorvproto
{

const char* const kStandardKey = "3rd-proto";
const char* const kVariantKey = "3rdOrvane-proto";

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

namespace
{

void putLittleEndian(std::string& out, size_t at, std::uint32_t value, size_t width)
{
    for (size_t i = 0; i < width; ++i)
    {
        out[at + i] = static_cast<char>((value >> (8 * i)) & 0xFF);
    }
}

}  // namespace

// The request record as a server fills it for this request.
INTER_ST::ThirdGenerationCommRequest_Data buildRequest(const RequestOptions& o, em_RequestType type)
{
    const bool write = type == emRequestWriteRegister || type == emRequestWriteFile;
    const bool variant = o.key == kVariantKey;
    std::string payload;
    if (type == emRequestWriteRegister)
    {
        if (o.dataHex.empty() == o.dataFile.empty())
        {
            throw UsageError("write takes its data from exactly one of --data and --data-file");
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
            throw UsageError("write-file sends the file named by --data-file (and takes no --data)");
        }
    }
    else if (o.len == 0)
    {
        throw UsageError(o.op + " needs --len, the number of bytes to read");
    }
    else if (!o.dataHex.empty() || !o.dataFile.empty())
    {
        throw UsageError(o.op + " takes no data");
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

void addRequestOptions(CLI::App& command, RequestOptions& o, bool withOp)
{
    command.add_option("--key", o.key, "protocol key")
        ->check(CLI::IsMember({kStandardKey, kVariantKey}))
        ->capture_default_str();
    if (withOp)
    {
        command.add_option("--op", o.op, "request kind")
            ->check(CLI::IsMember({"read", "write", "read-file", "write-file"}))
            ->capture_default_str();
    }
    command.add_option("--addr", o.addr, "register address, decimal or 0x hex")->transform(numberUpTo(0xFFFFFFFFu));
    command.add_option("--len", o.len, "bytes to read (a write's length is its data's)")
        ->transform(numberUpTo(1u << 30));
    command.add_option("--max", o.max, "nHwMaxRecvLen: the most data bytes per packet")
        ->transform(numberUpTo(0xFFFFFFFFu))
        ->capture_default_str();
    command.add_flag("--no-increment", o.noIncrement, "every packet at the same register address");
    command.add_option("--data", o.dataHex, "write data as hex (blanks, colons and 0x allowed)")->group("Write data");
    command.add_option("--data-file", o.dataFile, "write data from a file; the file --op write-file sends")
        ->group("Write data");
    const char* header = "Header bytes";
    command.add_option("--first-addr", o.firstAddr, "frame byte 4")->transform(numberUpTo(0xFF))->group(header);
    command.add_option("--second-addr", o.secondAddr, "frame byte 5")->transform(numberUpTo(0xFF))->group(header);
    command.add_option("--device-type", o.deviceType, "frame byte 6")->transform(numberUpTo(0xFF))->group(header);
    command.add_option("--byte7", o.byte7, "frame byte 7")->transform(numberUpTo(0xFF))->group(header);
    command.add_option("--scan-board", o.scanBoard, "frame bytes 8 and 9, low byte first")
        ->transform(numberUpTo(0xFFFF))
        ->group(header);
    command.add_option("--packet-type", o.packetType, "frame byte 11")->transform(numberUpTo(0xFF))->group(header);
    const char* sub = "Variant sub-header (--key 3rdOrvane-proto)";
    command.add_option("--packet-sum", o.packetSum, "packets in the transfer")
        ->transform(numberUpTo(0xFFFFFFFFu))
        ->capture_default_str()
        ->group(sub);
    command.add_option("--sequence", o.sequence, "this packet's number")
        ->transform(numberUpTo(0xFFFFFFFFu))
        ->capture_default_str()
        ->group(sub);
    command.add_option("--extension", o.extensionHex, "extension bytes after the sub-header, as hex")->group(sub);
}

}  // namespace zorvproto

namespace zorvproto
{

INTER_ST::ThirdGenerationCommRequest_Data writeRemainder(const INTER_ST::ThirdGenerationCommRequest_Data& request,
                                                         size_t done, bool increment)
{
    INTER_ST::ThirdGenerationCommRequest_Data rest = request;
    const size_t cut = std::min(done, rest.data.size());
    rest.data.erase(rest.data.begin(), rest.data.begin() + static_cast<std::ptrdiff_t>(cut));
    rest.validLength = rest.data.size();
    if (increment && rest.registerAddr.size() == 4)
    {
        std::uint32_t addr = 0;
        for (size_t i = 0; i < 4; ++i)
        {
            addr |= static_cast<std::uint32_t>(rest.registerAddr[i]) << (8 * i);
        }
        addr += static_cast<std::uint32_t>(done);
        for (size_t i = 0; i < 4; ++i)
        {
            rest.registerAddr[i] = static_cast<unsigned char>((addr >> (8 * i)) & 0xFF);
        }
    }
    return rest;
}

}  // namespace zorvproto
