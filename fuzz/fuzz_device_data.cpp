// Device bytes after a client request, as the server delivers them: the
// input builds a request through the facade, picks the message whose replies
// are awaited (or a match list of its own), then hands over the rest in pieces
// of sizes it chooses. The server's part is played too: a buffer with a wrong
// header (8) is cleared, and after a reply is consumed (0) the next message's
// replies are awaited.
//
// After the request: the message index, a flag byte (bit 0 an own match list
// follows, bit 1 an own request kind byte follows, bit 2 an unknown key), then
// pieces: a size byte (255: all that is left) and that many bytes.
#include "FuzzRequest.h"

#include <iterator>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input in(data, size);
    fuzz::ClientRequest r = fuzz::readClientRequest(in);
    ProtoStub stub;
    std::list<ST_MSGToHardDriver> msgs;
    em_ProtoAnalyze built = emProtoFailed;
    if (!fuzz::buildClientRequest(stub, r, msgs, built))
    {
        return -1;
    }
    size_t index = in.byte();
    const uint8_t flags = in.byte();
    ST_MSGToHardDriverMatch match;
    const bool ownList = (flags & 0x01) != 0;
    if (ownList)
    {
        match.matchList = fuzz::readMatchList(in);
    }
    const em_RequestType type = (flags & 0x02) != 0 ? static_cast<em_RequestType>(in.byte() % 6) : r.kind();
    const std::string key = (flags & 0x04) != 0 ? "3rd-PROTO" : r.key();
    auto await = [&] {
        if (!ownList && !msgs.empty())
        {
            match = *std::next(msgs.begin(), static_cast<std::ptrdiff_t>(index % msgs.size()));
        }
    };
    await();
    while (!in.empty())
    {
        const uint8_t pieceSize = in.byte();
        const std::string piece = pieceSize == 0xFF ? in.rest() : in.bytes(pieceSize);
        em_ProtoAnalyze result = emProtoSuccess;
        // The package search throws for a buffer of one frame or less that
        // holds a second head; the server then starts afresh.
        if (!fuzz::survives("invalid string position",
                            [&] { result = stub.analyze_DeviceData(key, type, piece, match); }))
        {
            stub.clearRecvDeviceData();
            continue;
        }
        switch (result)
        {
        case emProtoSuccess:
            FUZZ_CHECK(stub.getReplyPackage(key) != nullptr);
            ++index;
            await();
            break;
        case emProtoBadHeader:
            stub.clearRecvDeviceData();
            break;
        case emProtoNotFound:
        case emProtoEmptyInput:
        case emProtoIncompleteFrame:
        case emProtoFailed:
            break;
        default:
            fuzz::finding(__FILE__, __LINE__, "undocumented result " + std::to_string(static_cast<int>(result)));
        }
    }
    return 0;
}
