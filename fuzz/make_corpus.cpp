// Writes the seed corpus of every fuzz target: real frames of both protocols
// (requests, replies with one and several packets, pushed reports, report
// streams), each laid out as its target reads its input. Replies, reports and
// the faults of a line come from the device simulator, answering the request
// frames the library builds; a few frames made here by hand probe the length
// field's corners.
//
//   zorv_fuzz_make_corpus <directory>    writes <directory>/<target>/<seed>
#include "FuzzRequest.h"
#include "devicesim/DeviceSimulator.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <vector>

namespace
{

using fuzz::ClientRequest;
using fuzz::FileSetup;
using fuzz::LengthMode;
using Device = zorv::DeviceSimulator;
namespace fs = std::filesystem;

fs::path g_root;

// Writes one seed; blanks in its name become dashes.
void seed(const char* target, std::string name, const std::string& bytes)
{
    std::replace(name.begin(), name.end(), ' ', '-');
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

// The request, message index 0, the flags and their extras, then the pieces
// (each at most 254 bytes: a size byte of 255 takes all that is left).
std::string deviceData(const ClientRequest& r, const std::string& flagsAndExtras,
                       const std::vector<std::string>& pieces)
{
    std::string out;
    fuzz::writeClientRequest(out, r);
    out += '\0';
    out += flagsAndExtras;
    for (const std::string& piece : pieces)
    {
        for (size_t done = 0; done < piece.size(); done += 254)
        {
            const size_t n = std::min<size_t>(254, piece.size() - done);
            out += static_cast<char>(n);
            out += piece.substr(done, n);
        }
    }
    return out;
}

std::vector<std::string> cut(const std::string& stream, size_t piece)
{
    std::vector<std::string> out;
    for (size_t done = 0; done < stream.size(); done += piece)
    {
        out.push_back(stream.substr(done, piece));
    }
    return out;
}

Device::Flavor flavorOf(const ClientRequest& r)
{
    return r.variant ? Device::Flavor::Variant : Device::Flavor::Standard;
}

// The device simulator's answers to the frames the library builds for r.
std::string replies(const ClientRequest& r, const zorv::Faults& faults = {})
{
    Device device(flavorOf(r), faults);
    std::string out;
    for (const ST_MSGToHardDriver& msg : frames(r))
    {
        out += device.answer(*msg.frame);
    }
    return out;
}

// The requests and their answers in the order they cross the line.
std::string exchange(const ClientRequest& r, const zorv::Faults& faults = {})
{
    Device device(flavorOf(r), faults);
    std::string out;
    for (const ST_MSGToHardDriver& msg : frames(r))
    {
        out += *msg.frame + device.answer(*msg.frame);
    }
    return out;
}

// Faults that always fire: one kind, or pieces of 1 to 9 bytes.
zorv::Faults always(zorv::Fault fault)
{
    zorv::Faults f;
    f.seed = 7;
    switch (fault)
    {
    case zorv::Fault::DroppedReply:
        f.droppedReply = 1;
        break;
    case zorv::Fault::NonZeroAck:
        f.nonZeroAck = 1;
        break;
    case zorv::Fault::WrongLabel:
        f.wrongLabel = 1;
        break;
    case zorv::Fault::BadChecksum:
        f.badChecksum = 1;
        break;
    case zorv::Fault::Truncated:
        f.truncated = 1;
        break;
    case zorv::Fault::Garbage:
        f.garbage = 1;
        break;
    case zorv::Fault::Duplicated:
        f.duplicated = 1;
        break;
    case zorv::Fault::Pieces:
        f.maxPiece = 9;
        break;
    }
    return f;
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
        seed("fuzz_device_data", std::string(c.name) + "-whole", deviceData(r, bytes({0}), {stream}));
        seed("fuzz_device_data", std::string(c.name) + "-pieces", deviceData(r, bytes({0}), cut(stream, 7)));
    }

    // Every fault of the line, on a standard read of three packets and a
    // variant write of two.
    for (const ClientRequest& r : {cases[1].r, cases[8].r})
    {
        for (size_t k = 0; k < zorv::kFaultKinds; ++k)
        {
            const auto fault = static_cast<zorv::Fault>(k);
            const zorv::Faults faults = always(fault);
            Device device(flavorOf(r), faults);
            std::string stream;
            for (const ST_MSGToHardDriver& msg : frames(r))
            {
                stream += device.answer(*msg.frame);
            }
            const std::string name = std::string(r.variant ? "var-" : "std-") + "fault-" + zorv::faultName(fault);
            seed("fuzz_device_data", name, deviceData(r, bytes({0}), device.pieces(stream)));
        }
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
    seed("fuzz_device_data", "junk-then-reply", deviceData(read, bytes({0}), cut("junk" + good, 4)));
    std::string broken = good;
    broken[20] = static_cast<char>(broken[20] ^ 0x40);
    seed("fuzz_device_data", "bad-checksum-then-reply", deviceData(read, bytes({0}), {broken + good}));
    const ClientRequest three = request(false, emRequestReadRegister, 16, 0, "", LengthMode::Raw32, 40);
    seed("fuzz_device_data", "replies-glued", deviceData(three, bytes({0}), cut(replies(three), 60)));
    std::string list;
    fuzz::writeMatchList(list, {{"AA55", -1}, {"1", -7}, {"1", 3}, {"", 0}});
    seed("fuzz_device_data", "own-match-list", deviceData(read, bytes({1}) + list, {good}));
    // A 20-byte write reply whose ack equals the label and which holds a
    // second head: the package search throws for it.
    const ClientRequest write = request(false, emRequestWriteRegister, 1024, 1, "ab");
    std::string thrower = frame(0xAA, 0x55, bytes({1, 1, 2, 1, 3, 4, 5, 6, 1, 0, 0xAA, 0x55, 0, 0}), "");
    seed("fuzz_device_data", "second-head-throws", deviceData(write, bytes({0}), {thrower}));
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

// Reports and replies from the simulator for the frame targets.
void simulatorSeeds()
{
    const Device standard(Device::Flavor::Standard);
    const Device var(Device::Flavor::Variant);
    const std::string push10 = var.pushReport(0x21, 0x10, 1, 0, pattern(12, 8));
    const std::string push18 = var.pushReport(0x22, 0x18, 3, 1, pattern(30, 9));
    const std::string stream = standard.reportStream(0x30, {pattern(8, 1), "", pattern(40, 2)});
    // A report whose data holds 55 AA: the stream is split inside it.
    const std::string split = standard.report(0x40, bytes({1, 2, 0x55, 0xAA, 3, 4}));

    const std::string stdRead = replies(request(false, emRequestReadRegister, 1024, 0, "", LengthMode::Raw32, 16));
    const std::string varRead =
        replies(request(true, emRequestReadRegister, 1024, 0, subHeader(1, 0, 2) + "xy", LengthMode::Raw32, 36));

    seed("fuzz_general_package", "sim-std-read-reply", stdRead);
    seed("fuzz_general_package", "sim-var-read-reply", varRead);
    seed("fuzz_auto_push", "sim-push-10", std::string(4, '\0') + push10);
    seed("fuzz_auto_push", "sim-push-18-second-of-3", std::string(4, '\0') + push18 + push10);
    seed("fuzz_device_report", "sim-std-stream", bytes({0}) + stream);
    seed("fuzz_device_report", "sim-std-stream-split", bytes({0}) + split + stream);
    seed("fuzz_device_report", "sim-var-pushes", bytes({1}) + push10 + push18);
    seed("fuzz_device_report", "sim-var-stream", bytes({1}) + var.reportStream(0x50, {pattern(20, 3)}));
    seed("fuzz_response_decoding", "sim-var-read-reply", bytes({0, 0xFF}) + varRead);
    seed("fuzz_response_decoding", "sim-push", bytes({0, 1}) + push18);
    std::string list;
    fuzz::writeMatchList(list, {{"55AA", 0}, {"1", 3}});
    seed("fuzz_package_search", "sim-report-stream-split", list + split + stream);
}

// The codec target's input: ack, count, acceptance bits, head, buffer.
std::string codecInput(unsigned char ack, unsigned int count, uint32_t accept, const std::string& head,
                       const std::string& buffer)
{
    std::string out = bytes({ack, static_cast<int>(count & 0xFF), static_cast<int>(count >> 8)});
    for (int i = 0; i < 4; ++i)
    {
        out += static_cast<char>(accept >> (8 * i));
    }
    return out + static_cast<char>(head.size()) + head + buffer;
}

void codecSeeds()
{
    const Device standard(Device::Flavor::Standard);
    const Device var(Device::Flavor::Variant);
    const std::string devHead = bytes({0xAA, 0x55});
    const std::string srvHead = bytes({0x55, 0xAA});
    const ClientRequest three = request(false, emRequestReadRegister, 16, 0, "", LengthMode::Raw32, 40);
    const ClientRequest long300 = request(false, emRequestReadRegister, 1024, 0, "", LengthMode::Raw32, 300);
    const ClientRequest varWrite = request(true, emRequestWriteRegister, 1024, 1, subHeader(1, 0, 2) + "xy" + "abc");
    const std::string push = var.pushReport(0x21, 0x18, 2, 1, pattern(10, 4));
    const char* target = "fuzz_frame_codec";

    seed(target, "std-replies-all-taken", codecInput(0, 16, 0xFFFFFFFF, devHead, replies(three)));
    seed(target, "std-replies-first-only", codecInput(0, 16, 0, devHead, replies(three)));
    seed(target, "reply-wraps-past-257", codecInput(0, 0x0FFF, 1, devHead, replies(long300)));
    seed(target, "var-write-exchange", codecInput(1, 24, 0xAAAAAAAA, srvHead, exchange(varWrite)));
    seed(target, "push-acknowledged", codecInput(1, 30, 1, srvHead, push));
    seed(target, "report-stream", codecInput(0, 8, 0x5, srvHead, standard.reportStream(1, {"a", "bc", pattern(5, 1)})));
    seed(target, "length-byte-0x90", codecInput(0, 0x90, 0, devHead, frame(0xAA, 0x55, "", pattern(0x90, 3))));
    seed(target, "short-report", codecInput(2, 0, 0, "", push.substr(0, 30)));
    seed(target, "hex-key-text", codecInput(0, 0, 0, "5", "AA55x5G1234567890abcdef"));
}

// Hex as people paste it: bytes two digits each, sep between them.
std::string hex(const std::string& b, const char* sep, bool upper = false, const char* prefix = "")
{
    const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < b.size(); ++i)
    {
        const auto c = static_cast<unsigned char>(b[i]);
        out += (i == 0 ? "" : sep) + std::string(prefix) + digits[c >> 4] + digits[c & 0x0F];
    }
    return out;
}

// A log line as the logger's byte-string call writes it.
std::string logLine(const std::string& signature, int line, const std::string& b)
{
    return "2024-05-01 10:00:00.123 [DEBUG] " + signature + ":" + std::to_string(line) + " " + hex(b, " ", true) + "\n";
}

void decodeSeeds()
{
    const char* target = "fuzz_decode_input";
    const ClientRequest read = request(false, emRequestReadRegister, 1024, 0, "", LengthMode::Raw32, 16);
    const ClientRequest write = request(false, emRequestWriteRegister, 4, 1, pattern(10, 2));
    const ClientRequest varRead =
        request(true, emRequestReadRegister, 1024, 0, subHeader(1, 0, 2) + "xy", LengthMode::Raw32, 36);
    const ClientRequest varWrite = request(true, emRequestWriteRegister, 26, 1, subHeader(3, 2, 0) + pattern(12, 4));
    const Device var(Device::Flavor::Variant);
    const std::string push = var.pushReport(0x21, 0x10, 1, 0, pattern(6, 5));
    std::string ack;
    {
        // The server's answer to the push, as the library builds it.
        ProtoStub stub;
        unsigned long long frameLen = 0;
        bool flag = false;
        std::vector<ST_DeviceAutoReportResponseInfo> reports;
        stub.isAutoPushThirdPackage(push, frameLen, flag, reports);
        if (!reports.empty() && reports.front().answer != nullptr)
        {
            ack = *reports.front().answer;
        }
    }
    // flags: bits 0-1 the form (0 hex, 1 log, 2 binary), bits 2-3 the variant
    // choice (1 standard, 2 variant); then the data bytes shown.
    const auto input = [](int flags, int shown, const std::string& text) { return bytes({flags, shown}) + text; };

    seed(target, "hex-spaced-read", input(0, 64, hex(exchange(read), " ") + "\n"));
    seed(target, "hex-colons-write-all-shown", input(0, 0, hex(exchange(write), ":", true)));
    seed(target, "hex-0x-comments",
         input(0, 16,
               "# a read\n" + hex(*frames(read).front().frame, ", ", false, "0x") + "  # its reply\n0x" +
                   hex(replies(read), "") + "\n"));
    seed(target, "hex-var-exchange-auto", input(0, 64, hex(exchange(varRead) + exchange(varWrite), " ")));
    seed(target, "hex-var-forced", input(8, 64, hex(exchange(varWrite), "\t")));
    seed(target, "hex-var-as-standard", input(4, 64, hex(exchange(varRead), " ")));
    seed(target, "hex-push-and-ack", input(0, 64, hex(push + ack, " ")));
    seed(target, "bad-hex-digit", input(0, 64, "55 aa\n00 0g 12"));
    seed(target, "bad-odd-run", input(0, 64, "55aa 123"));
    seed(target, "bad-bare-0x", input(0, 64, "55 aa 0x"));

    std::string log = "2024-05-01 10:00:00.001 [INFO] server started\n";
    log += logLine("int __cdecl ProtoBase::send(const char *, unsigned __int64)", 212, *frames(read).front().frame);
    log += logLine("void Link::receive(std::string)", 88, replies(read).substr(0, 11));
    log += "2024-05-01 10:00:00.200 [DEBUG] a:1 AA 5\r\n";
    log += logLine("void Link::receive(std::string)", 88, replies(read));
    log += logLine("Link::onPush", 9, push);
    seed(target, "log-lines", input(1, 64, log));

    for (size_t k = 0; k < zorv::kFaultKinds; ++k)
    {
        const auto fault = static_cast<zorv::Fault>(k);
        if (fault == zorv::Fault::Truncated || fault == zorv::Fault::Garbage || fault == zorv::Fault::Duplicated ||
            fault == zorv::Fault::BadChecksum)
        {
            seed(target, std::string("binary-fault-") + zorv::faultName(fault),
                 input(2, 32, exchange(write, always(fault)) + exchange(varWrite, always(fault))));
        }
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
    simulatorSeeds();
    codecSeeds();
    decodeSeeds();
    return 0;
}
