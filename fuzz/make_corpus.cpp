// Writes the seed corpus of every fuzz target: real frames of both protocols
// (requests, replies with one and several packets, pushed reports, report
// streams), each laid out as its target reads its input. Replies are made
// here as a device makes them, from the request frames the library builds.
//
//   zorv_fuzz_make_corpus <directory>    writes <directory>/<target>/<seed>
#include "FuzzRequest.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>

namespace
{

using fuzz::ClientRequest;
using fuzz::FileSetup;
using fuzz::LengthMode;
namespace fs = std::filesystem;

fs::path g_root;

void seed(const char* target, const std::string& name, const std::string& bytes)
{
    const fs::path dir = g_root / target;
    fs::create_directories(dir);
    std::ofstream(dir / name, std::ios::binary) << bytes;
}

std::string bytes(std::initializer_list<int> list)
{
    std::string out;
    for (int b : list)
    {
        out += static_cast<char>(b);
    }
    return out;
}

std::string pattern(size_t count, unsigned int salt)
{
    std::string out(count, '\0');
    for (size_t i = 0; i < count; ++i)
    {
        out[i] = static_cast<char>(i * 131 + salt);
    }
    return out;
}

// 0x5555 plus bytes 2 .. size-3, stored low byte first in the last two bytes.
void seal(std::string& frame)
{
    unsigned int sum = 0x5555;
    for (size_t i = 2; i + 2 < frame.size(); ++i)
    {
        sum += static_cast<unsigned char>(frame[i]);
    }
    frame[frame.size() - 2] = static_cast<char>(sum & 0xFF);
    frame[frame.size() - 1] = static_cast<char>((sum >> 8) & 0xFF);
}

// A frame with the given head, header bytes 2 .. 15 from the header, the data
// and its length, sealed.
std::string frame(int head0, int head1, const std::string& header, const std::string& data)
{
    std::string f = bytes({head0, head1}) + header.substr(0, 14);
    f.resize(16, '\0');
    fuzz::putWord(f, static_cast<unsigned int>(data.size()));
    f += data + "..";
    seal(f);
    return f;
}

// What a device answers: AA 55, ack 0, the request's header echoed with the
// address bytes crossed. A read returns the bytes asked for (the variant
// first echoes the request's data area), a write returns the variant's
// sub-header or nothing.
std::string reply(const std::string& request, bool variant, unsigned char ack = 0)
{
    std::string header = request.substr(2, 14);
    header[0] = static_cast<char>(ack);
    std::swap(header[2], header[3]);
    const bool read = request[10] == 0;
    const size_t asked = static_cast<unsigned char>(request[16]) | static_cast<unsigned char>(request[17]) << 8;
    const std::string area = request.substr(18, request.size() - 20);
    std::string data;
    if (!variant)
    {
        data = read ? pattern(asked, 7) : "";
    }
    else
    {
        data = read ? area + pattern(asked > area.size() ? asked - area.size() : 0, 9) : area.substr(0, 18);
    }
    return frame(0xAA, 0x55, header, data);
}

// An 18-byte sub-header: packet sum, sequence number and extension length.
std::string subHeader(unsigned int sum, unsigned int seq, unsigned char lenExp)
{
    std::string sub(18, '\0');
    for (int i = 0; i < 4; ++i)
    {
        sub[3 + i] = static_cast<char>(sum >> (8 * i));
        sub[7 + i] = static_cast<char>(seq >> (8 * i));
    }
    sub[17] = static_cast<char>(lenExp);
    return sub;
}

ClientRequest request(bool variant, em_RequestType type, uint32_t maxRecvLen, unsigned char code,
                      const std::string& data, LengthMode mode = LengthMode::DataSize, uint64_t length = 0)
{
    ClientRequest r;
    r.variant = variant;
    r.type = type;
    r.selfIncreasing = true;
    r.maxRecvLen = maxRecvLen;
    INTER_ST::ThirdGenerationCommRequest_Data& q = r.request;
    q.firstAddr = 0x01;
    q.secondAddr = 0x02;
    q.deviceType = 0x03;
    q.frameByte7 = 0x04;
    q.readWriteCode = code;
    q.packetType = variant ? 0x32 : 0x00;
    q.scanBoardAddr = {0x05, 0x06};
    q.registerAddr = {0x00, 0x10, 0x00, 0x00};
    q.data.assign(data.begin(), data.end());
    r.lengthMode = mode;
    r.lengthValue = length;
    r.applyLength();
    return r;
}

// The frames the library builds for r.
std::list<ST_MSGToHardDriver> frames(ClientRequest r)
{
    ProtoStub stub;
    std::list<ST_MSGToHardDriver> msgs;
    em_ProtoAnalyze result = emProtoFailed;
    if (!fuzz::buildClientRequest(stub, r, msgs, result) || result != emProtoSuccess)
    {
        std::fprintf(stderr, "seed request not built: %d\n", static_cast<int>(result));
        std::exit(1);
    }
    return msgs;
}

// The request, message index 0, the flags and their extras, then the pieces.
std::string deviceData(const ClientRequest& r, const std::string& flagsAndExtras, const std::string& stream,
                       size_t piece)
{
    std::string out;
    fuzz::writeClientRequest(out, r);
    out += '\0';
    out += flagsAndExtras;
    for (size_t done = 0; done < stream.size(); done += piece)
    {
        const size_t n = std::min(piece, stream.size() - done);
        out += static_cast<char>(n);
        out += stream.substr(done, n);
    }
    return out;
}

std::string replies(const ClientRequest& r, unsigned char ack = 0)
{
    std::string out;
    for (const ST_MSGToHardDriver& msg : frames(r))
    {
        out += reply(*msg.frame, r.variant, ack);
    }
    return out;
}

void clientAndDeviceSeeds()
{
    const std::string sub = subHeader(1, 0, 2) + "xy";
    const std::string subMulti = subHeader(3, 2, 0);
    struct Case
    {
        const char* name;
        ClientRequest r;
    };
    const Case cases[] = {
        {"std-read", request(false, emRequestReadRegister, 1024, 0, "", LengthMode::Raw32, 16)},
        {"std-read-3-packets", request(false, emRequestReadRegister, 16, 0, "", LengthMode::Raw32, 40)},
        {"std-write", request(false, emRequestWriteRegister, 1024, 1, pattern(8, 1))},
        {"std-write-3-packets", request(false, emRequestWriteRegister, 4, 1, pattern(10, 2))},
        {"std-file-read", request(false, emRequestReadFile, 16, 0, "", LengthMode::Raw32, 32)},
        {"std-file-write", request(false, emRequestWriteFile, 8, 1, "")},
        {"var-read", request(true, emRequestReadRegister, 1024, 0, sub, LengthMode::Raw32, 36)},
        {"var-write", request(true, emRequestWriteRegister, 1024, 1, sub + pattern(12, 3))},
        {"var-write-2-packets", request(true, emRequestWriteRegister, 26, 1, subMulti + pattern(12, 4))},
        {"var-file-read", request(true, emRequestReadFile, 1024, 0, sub, LengthMode::Raw32, 28)},
        {"var-file-write", request(true, emRequestWriteFile, 64, 1, sub)},
    };
    for (const Case& c : cases)
    {
        ClientRequest r = c.r;
        if (r.type == emRequestWriteFile)
        {
            r.file = FileSetup::File;
            r.fileContent = pattern(20, 5);
        }
        std::string client;
        fuzz::writeClientRequest(client, r);
        seed("fuzz_client_request", c.name, client);
        const std::string stream = replies(r);
        seed("fuzz_device_data", std::string(c.name) + "-whole", deviceData(r, bytes({0}), stream, 255));
        seed("fuzz_device_data", std::string(c.name) + "-pieces", deviceData(r, bytes({0}), stream, 7));
    }

    // Requests the library rejects, one per check.
    ClientRequest r = request(false, emRequestReadRegister, 1024, 0, "", LengthMode::Raw32, 16);
    std::string out;
    auto rejected = [&out](const char* name, const ClientRequest& bad) {
        out.clear();
        fuzz::writeClientRequest(out, bad);
        seed("fuzz_client_request", name, out);
    };
    ClientRequest bad = r;
    bad.nullRequest = true;
    rejected("reject-null", bad);
    bad = r;
    bad.request.registerAddr.pop_back();
    rejected("reject-address-3-bytes", bad);
    bad = r;
    bad.maxRecvLen = 0;
    rejected("reject-max-recv-0", bad);
    bad = r;
    bad.unknownType = true;
    rejected("reject-unknown-kind", bad);
    bad = r;
    bad.request.readWriteCode = 2;
    rejected("reject-code-2", bad);
    bad = request(true, emRequestReadRegister, 1024, 0, "short", LengthMode::Raw32, 36);
    rejected("reject-var-short-sub-header", bad);
    bad = request(false, emRequestWriteFile, 8, 1, "");
    bad.file = FileSetup::Directory;
    rejected("reject-file-write-directory", bad);
    bad = request(false, emRequestReadFile, 8, 0, "", LengthMode::Raw32, 8);
    bad.file = FileSetup::NoParent;
    rejected("file-read-no-parent", bad);

    // Device data that goes wrong: a wrong header first (8, cleared), then
    // the reply; a reply with a bad checksum; two replies glued in one piece;
    // an own match list of odd entries.
    const ClientRequest read = request(false, emRequestReadRegister, 1024, 0, "", LengthMode::Raw32, 16);
    const std::string good = replies(read);
    seed("fuzz_device_data", "junk-then-reply", deviceData(read, bytes({0}), "junk" + good, 4));
    std::string broken = good;
    broken[20] = static_cast<char>(broken[20] ^ 0x40);
    seed("fuzz_device_data", "bad-checksum-then-reply", deviceData(read, bytes({0}), broken + good, 255));
    const ClientRequest three = request(false, emRequestReadRegister, 16, 0, "", LengthMode::Raw32, 40);
    seed("fuzz_device_data", "replies-glued", deviceData(three, bytes({0}), replies(three), 60));
    std::string list;
    fuzz::writeMatchList(list, {{"AA55", -1}, {"1", -7}, {"1", 3}, {"", 0}});
    seed("fuzz_device_data", "own-match-list", deviceData(read, bytes({1}) + list, good, 255));
    // A 20-byte write reply whose ack equals the label and which holds a
    // second head: the package search throws for it.
    const ClientRequest write = request(false, emRequestWriteRegister, 1024, 1, "ab");
    std::string thrower = frame(0xAA, 0x55, bytes({1, 1, 2, 1, 3, 4, 5, 6, 1, 0, 0xAA, 0x55, 0, 0}), "");
    seed("fuzz_device_data", "second-head-throws", deviceData(write, bytes({0}), thrower, 255));
}

void frameSeeds()
{
    const std::string readReply = frame(0xAA, 0x55, bytes({0, 1, 2, 1, 3, 4, 5, 6, 0, 0}), pattern(24, 1));
    const std::string writeReply = frame(0xAA, 0x55, bytes({0, 1, 2, 1, 3, 4, 5, 6, 1, 0}), "");
    const std::string longReply = frame(0xAA, 0x55, bytes({0, 2, 2, 1, 3, 4, 5, 6, 0, 0}), pattern(300, 2));
    std::string signedLength = frame(0xAA, 0x55, bytes({0, 3, 2, 1, 3, 4, 5, 6, 0, 0}), pattern(0x90, 3));
    const std::string badCode = frame(0xAA, 0x55, bytes({0, 4, 2, 1, 3, 4, 5, 6, 2, 0}), pattern(4, 4));
    const std::string push10 =
        frame(0x55, 0xAA, bytes({0, 7, 10, 11, 12, 13, 14, 15, 0x10, 0x32}), subHeader(1, 0, 0) + pattern(6, 5));
    const std::string push18 =
        frame(0x55, 0xAA, bytes({0, 8, 10, 11, 12, 13, 14, 15, 0x18, 0x32}), subHeader(2, 1, 0) + pattern(9, 6));
    const std::string pushOther = frame(0x55, 0xAA, bytes({0, 9, 10, 11, 12, 13, 14, 15, 0x10, 0x01}), pattern(5, 7));
    const std::string pushShort = frame(0x55, 0xAA, bytes({0, 9, 10, 11, 12, 13, 14, 15, 0x10, 0x32}), pattern(5, 7));

    for (const auto& [name, f] : {std::pair<const char*, std::string>{"read-reply", readReply},
                                  {"write-reply", writeReply},
                                  {"long-reply", longReply},
                                  {"length-byte-0x90", signedLength},
                                  {"push", push10},
                                  {"cut", readReply.substr(0, 15)},
                                  {"two-frames", readReply + writeReply}})
    {
        seed("fuzz_general_package", name, f);
    }

    const std::string zero(4, '\0');
    seed("fuzz_auto_push", "report-code-10", zero + push10);
    seed("fuzz_auto_push", "report-code-18", zero + push18);
    seed("fuzz_auto_push", "not-a-report", zero + pushOther);
    seed("fuzz_auto_push", "report-too-short", zero + pushShort);
    seed("fuzz_auto_push", "report-cut", zero + push10.substr(0, 30));
    seed("fuzz_auto_push", "device-frame", zero + readReply);
    seed("fuzz_auto_push", "offset-5", bytes({5, 0, 0, 0}) + "abcde" + push18);

    seed("fuzz_device_report", "std-one-report", bytes({0}) + push10);
    seed("fuzz_device_report", "var-stream", bytes({1}) + push10 + push18 + pushOther);
    std::string damaged = push18;
    damaged[19] = static_cast<char>(damaged[19] ^ 1);
    seed("fuzz_device_report", "var-junk-and-bad-checksum", bytes({1}) + "junk" + push10 + damaged);
    seed("fuzz_device_report", "unknown-key", bytes({2}) + push10);

    std::string list;
    fuzz::writeMatchList(list, {{"AA55", 0}, {"1", 3}, {"12345", 38}});
    seed("fuzz_package_search", "one-reply", list + readReply);
    seed("fuzz_package_search", "two-replies", list + readReply + frame(0xAA, 0x55, bytes({0, 1}), pattern(3, 1)));
    seed("fuzz_package_search", "junk-before", list + "junk" + writeReply);
    list.clear();
    fuzz::writeMatchList(list, {{"AA55", 0}, {"1", 3}});
    seed("fuzz_package_search", "second-head-throws",
         list + frame(0xAA, 0x55, bytes({1, 1, 2, 1, 3, 4, 5, 6, 1, 0, 0xAA, 0x55, 0, 0}), ""));
    list.clear();
    fuzz::writeMatchList(list, {{"55AA", 0}});
    seed("fuzz_package_search", "report-stream", list + push10 + push18);
    list.clear();
    fuzz::writeMatchList(list, {});
    seed("fuzz_package_search", "empty-list", list + readReply);
    list.clear();
    fuzz::writeMatchList(list, {{"", 0}, {"x", 5000}});
    seed("fuzz_package_search", "empty-head", list + readReply);

    for (const auto& [name, f] : {std::pair<const char*, std::string>{"read-reply", readReply},
                                  {"write-reply", writeReply},
                                  {"long-reply-wraps", longReply},
                                  {"length-byte-0x90", signedLength},
                                  {"code-2", badCode},
                                  {"report", push10},
                                  {"cut", readReply.substr(0, 19)}})
    {
        seed("fuzz_response_decoding", name, bytes({0, 0xFF}) + f);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: %s <corpus directory>\n", argv[0]);
        return 2;
    }
    LLVMFuzzerInitialize(&argc, &argv);
    g_root = argv[1];
    clientAndDeviceSeeds();
    frameSeeds();
    return 0;
}
