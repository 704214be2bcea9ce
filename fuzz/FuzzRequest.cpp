#include "FuzzRequest.h"

#include <filesystem>
#include <fstream>
#include <system_error>

namespace fuzz
{

namespace
{
constexpr size_t kMaxListEntries = 5;
constexpr size_t kMaxKeyLength = 8;
}  // namespace

void putWord(std::string& out, unsigned int value)
{
    out += static_cast<char>(value & 0xFF);
    out += static_cast<char>((value >> 8) & 0xFF);
}

void putDword(std::string& out, uint32_t value)
{
    putWord(out, value & 0xFFFF);
    putWord(out, value >> 16);
}

std::string ClientRequest::key() const
{
    if (unknownKey)
    {
        return "3rd-PROTO";
    }
    return variant ? "3rdOrvane-proto" : "3rd-proto";
}

em_RequestType ClientRequest::kind() const
{
    return unknownType ? static_cast<em_RequestType>(4 + static_cast<int>(type)) : type;
}

void ClientRequest::applyLength()
{
    switch (lengthMode)
    {
    case LengthMode::DataSize:
        request.validLength = request.data.size();
        break;
    case LengthMode::DataSizeOff:
        request.validLength = request.data.size() + lengthValue;
        break;
    case LengthMode::Raw32:
    case LengthMode::Raw64:
        request.validLength = lengthValue;
        break;
    }
}

ClientRequest readClientRequest(Input& in)
{
    ClientRequest r;
    const uint8_t flags = in.byte();
    r.variant = (flags & 0x01) != 0;
    r.type = static_cast<em_RequestType>((flags >> 1) & 0x03);
    r.unknownType = (flags & 0x08) != 0;
    r.selfIncreasing = (flags & 0x10) != 0;
    r.nullRequest = (flags & 0x20) != 0;
    r.unknownKey = (flags & 0x40) != 0;
    r.maxRecvLen = in.dword();
    INTER_ST::ThirdGenerationCommRequest_Data& q = r.request;
    q.firstAddr = in.byte();
    q.secondAddr = in.byte();
    q.deviceType = in.byte();
    q.frameByte7 = in.byte();
    q.readWriteCode = in.byte();
    q.packetType = in.byte();
    const std::string scan = in.bytes(in.byte() % 4);
    q.scanBoardAddr.assign(scan.begin(), scan.end());
    const std::string addr = in.bytes(in.byte() % 8);
    q.registerAddr.assign(addr.begin(), addr.end());
    const std::string data = in.bytes(in.word() % (kMaxData + 1));
    q.data.assign(data.begin(), data.end());
    r.lengthMode = static_cast<LengthMode>(in.byte() % 4);
    switch (r.lengthMode)
    {
    case LengthMode::DataSize:
        break;
    case LengthMode::DataSizeOff:
        r.lengthValue = static_cast<uint64_t>(static_cast<int64_t>(static_cast<int8_t>(in.byte())));
        break;
    case LengthMode::Raw32:
        r.lengthValue = in.dword();
        break;
    case LengthMode::Raw64:
        r.lengthValue = in.qword();
        break;
    }
    r.applyLength();
    r.file = static_cast<FileSetup>(in.byte() % 4);
    r.fileContent = in.bytes(in.word() % (kMaxData + 1));
    return r;
}

void writeClientRequest(std::string& out, const ClientRequest& r)
{
    const INTER_ST::ThirdGenerationCommRequest_Data& q = r.request;
    out += static_cast<char>((r.variant ? 0x01 : 0) | (static_cast<int>(r.type) & 3) << 1 | (r.unknownType ? 0x08 : 0) |
                             (r.selfIncreasing ? 0x10 : 0) | (r.nullRequest ? 0x20 : 0) | (r.unknownKey ? 0x40 : 0));
    putDword(out, r.maxRecvLen);
    for (unsigned char b : {q.firstAddr, q.secondAddr, q.deviceType, q.frameByte7, q.readWriteCode, q.packetType})
    {
        out += static_cast<char>(b);
    }
    out += static_cast<char>(q.scanBoardAddr.size());
    out.append(q.scanBoardAddr.begin(), q.scanBoardAddr.end());
    out += static_cast<char>(q.registerAddr.size());
    out.append(q.registerAddr.begin(), q.registerAddr.end());
    putWord(out, static_cast<unsigned int>(q.data.size()));
    out.append(q.data.begin(), q.data.end());
    out += static_cast<char>(r.lengthMode);
    switch (r.lengthMode)
    {
    case LengthMode::DataSize:
        break;
    case LengthMode::DataSizeOff:
        out += static_cast<char>(r.lengthValue);
        break;
    case LengthMode::Raw32:
        putDword(out, static_cast<uint32_t>(r.lengthValue));
        break;
    case LengthMode::Raw64:
        putDword(out, static_cast<uint32_t>(r.lengthValue));
        putDword(out, static_cast<uint32_t>(r.lengthValue >> 32));
        break;
    }
    out += static_cast<char>(r.file);
    putWord(out, static_cast<unsigned int>(r.fileContent.size()));
    out += r.fileContent;
}

namespace
{

// How many packets the request would be cut into, as far as that is bounded
// by something other than the input's own bytes.
uint64_t packetCount(const ClientRequest& r)
{
    const bool read = r.type == emRequestReadRegister || r.type == emRequestReadFile;
    if (r.variant || !read || r.unknownType || r.maxRecvLen == 0)
    {
        return 1;
    }
    const uint64_t length = r.request.validLength;
    return length / r.maxRecvLen + (length % r.maxRecvLen != 0 ? 1 : 0);
}

std::string prepareFile(const ClientRequest& r)
{
    namespace fs = std::filesystem;
    const fs::path dir(scratchDir());
    std::error_code error;
    for (const char* name : {"file", "missing"})
    {
        fs::remove_all(dir / name, error);
    }
    const fs::path path = dir / "file";
    switch (r.file)
    {
    case FileSetup::File:
    {
        std::ofstream(path, std::ios::binary) << r.fileContent;
        break;
    }
    case FileSetup::Missing:
        break;
    case FileSetup::Directory:
        fs::create_directory(path, error);
        std::ofstream(path / "inside", std::ios::binary) << r.fileContent;
        break;
    case FileSetup::NoParent:
        return (dir / "missing" / "file").string();
    }
    return path.string();
}

}  // namespace

bool buildClientRequest(ProtoStub& stub, ClientRequest& r, std::list<ST_MSGToHardDriver>& msgs, em_ProtoAnalyze& result)
{
    if (packetCount(r) > kMaxPackets)
    {
        return false;
    }
    const bool fileRequest = r.type == emRequestReadFile || r.type == emRequestWriteFile;
    const std::string path = fileRequest ? prepareFile(r) : std::string();
    const em_RequestType kind = r.kind();
    const bool selfIncreasing = r.selfIncreasing;
    void* request = r.nullRequest ? nullptr : &r.request;
    survives(nullptr, [&] {
        result = stub.analyze_ClientData(r.maxRecvLen, r.key(), kind, request, msgs, path, selfIncreasing);
    });
    return true;
}

std::vector<ST_MSGToHardDriverMatchOne> readMatchList(Input& in)
{
    std::vector<ST_MSGToHardDriverMatchOne> list(in.byte() % (kMaxListEntries + 1));
    for (ST_MSGToHardDriverMatchOne& one : list)
    {
        one.key = in.bytes(in.byte() % (kMaxKeyLength + 1));
        one.posWanted = static_cast<int>(in.dword());
    }
    return list;
}

void writeMatchList(std::string& out, const std::vector<ST_MSGToHardDriverMatchOne>& list)
{
    out += static_cast<char>(list.size());
    for (const ST_MSGToHardDriverMatchOne& one : list)
    {
        out += static_cast<char>(one.key.size());
        out += one.key;
        putDword(out, static_cast<uint32_t>(one.posWanted));
    }
}

}  // namespace fuzz
