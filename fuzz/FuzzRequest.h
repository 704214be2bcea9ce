// Client requests and expected-reply lists taken from fuzzer bytes, and the
// same requests written back as bytes for the seed corpus.
//
// A request reads as: flags (bit 0 variant key, bits 1-2 the kind, bit 3 an
// unknown kind, bit 4 self-increasing addresses, bit 5 a null request, bit 6 a
// key no analyzer has), nHwMaxRecvLen (4 bytes), the six one-byte header
// fields, the scan-board bytes and the register address bytes (each a count
// byte and the bytes), the data (a two-byte count and the bytes), the length
// mode and its value, and the file: a mode byte, a two-byte count and bytes.
#pragma once

#include "FuzzSupport.h"
#include "protostub/ProtoStub.h"

#include <list>
#include <string>
#include <vector>

namespace fuzz
{

// What a file request finds at its path.
enum class FileSetup : uint8_t
{
    File,       // a file holding fileContent
    Missing,    // nothing
    Directory,  // a directory holding a file
    NoParent    // the path lies in a directory that does not exist
};

// How the request's validLength is set.
enum class LengthMode : uint8_t
{
    DataSize,     // the data's size
    DataSizeOff,  // the data's size plus a signed byte
    Raw32,
    Raw64
};

struct ClientRequest
{
    bool variant = false;
    em_RequestType type = emRequestReadRegister;
    bool unknownType = false;
    bool selfIncreasing = false;
    bool nullRequest = false;
    bool unknownKey = false;
    uint32_t maxRecvLen = 0;
    INTER_ST::ThirdGenerationCommRequest_Data request;
    LengthMode lengthMode = LengthMode::DataSize;
    uint64_t lengthValue = 0;  // the offset or the raw value
    FileSetup file = FileSetup::Missing;
    std::string fileContent;

    // Sets request.validLength from the length mode and value.
    void applyLength();
    std::string key() const;
    em_RequestType kind() const;
};

// Requests that would build more packets than this are skipped: a run stays small.
constexpr uint64_t kMaxPackets = 512;
constexpr size_t kMaxData = 4096;

ClientRequest readClientRequest(Input& in);
void writeClientRequest(std::string& out, const ClientRequest& request);

// Sets up the request's file under the scratch directory and has the facade
// build the request; false (nothing built) when it would exceed kMaxPackets.
bool buildClientRequest(ProtoStub& stub, ClientRequest& request, std::list<ST_MSGToHardDriver>& msgs,
                        em_ProtoAnalyze& result);

// A match list: a count byte (up to 5 entries), then per entry a key (count
// byte, up to 8 characters) and posWanted (4 bytes).
std::vector<ST_MSGToHardDriverMatchOne> readMatchList(Input& in);
void writeMatchList(std::string& out, const std::vector<ST_MSGToHardDriverMatchOne>& list);

void putWord(std::string& out, unsigned int value);
void putDword(std::string& out, uint32_t value);

}  // namespace fuzz
