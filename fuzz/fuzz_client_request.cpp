// Client requests of every kind, built from the input through the facade. A
// request that is built must come out as well-formed frames that carry the
// request's data whole and in order.
#include "FuzzRequest.h"

#include <cstdlib>

namespace
{

using fuzz::ClientRequest;

unsigned int wordAt(const std::string& f, size_t i)
{
    return static_cast<unsigned char>(f[i]) | static_cast<unsigned int>(static_cast<unsigned char>(f[i + 1])) << 8;
}

void checkFrames(const ClientRequest& r, const std::list<ST_MSGToHardDriver>& msgs)
{
    const size_t overhead = r.variant ? 38 : 20;
    // A variant frame's payload follows the sub-header and its extension.
    const size_t lenExp = r.variant && r.request.data.size() > 17 ? r.request.data[17] : 0;
    const size_t payloadAt = r.variant ? 36 + lenExp : 18;
    // Only a write request carries data. A read request whose record says
    // "write" (code 1) is framed as the write branch frames it, from a packet
    // that the read plan made: its frame carries no payload to check.
    const bool write = r.type == emRequestWriteRegister || r.type == emRequestWriteFile;
    std::string payload;
    for (const ST_MSGToHardDriver& msg : msgs)
    {
        FUZZ_CHECK(msg.frame != nullptr);
        const std::string& f = *msg.frame;
        FUZZ_CHECK(f.size() >= overhead);
        FUZZ_CHECK(static_cast<unsigned char>(f[0]) == 0x55 && static_cast<unsigned char>(f[1]) == 0xAA);
        FUZZ_CHECK(fuzz::sealedFrame(f));
        FUZZ_CHECK(msg.protoKey == r.key());
        FUZZ_CHECK(msg.matchList.size() == (r.variant ? 2u : 3u));
        FUZZ_CHECK(msg.matchList[0].key == "AA55");
        FUZZ_CHECK(std::atoi(msg.matchList[1].key.c_str()) == static_cast<unsigned char>(f[3]));
        if (write && r.request.readWriteCode == 1)
        {
            FUZZ_CHECK(f.size() >= payloadAt + 2);
            // The variant's length field counts the extension twice, by design.
            FUZZ_CHECK(r.variant || wordAt(f, 16) == ((f.size() - 20) & 0xFFFF));
            payload.append(f, payloadAt, f.size() - 2 - payloadAt);
        }
    }
    if (!write || r.request.readWriteCode != 1)
    {
        return;
    }
    std::string expected;
    if (r.type == emRequestWriteFile)
    {
        expected = r.fileContent;
    }
    else
    {
        const size_t lead = r.variant ? 18 + lenExp : 0;
        expected.assign(r.request.data.begin() + static_cast<std::ptrdiff_t>(lead), r.request.data.end());
    }
    FUZZ_CHECK(payload == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input in(data, size);
    ClientRequest r = fuzz::readClientRequest(in);
    ProtoStub stub;
    std::list<ST_MSGToHardDriver> msgs;
    em_ProtoAnalyze result = emProtoFailed;
    if (!fuzz::buildClientRequest(stub, r, msgs, result))
    {
        return -1;
    }
    if (result == emProtoSuccess)
    {
        FUZZ_CHECK(!msgs.empty());
        checkFrames(r, msgs);
        FUZZ_CHECK(stub.getReplyPackage(r.key()) != nullptr);
    }
    return 0;
}
