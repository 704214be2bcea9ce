// One client request as the server fills it in, from command-line options
// that encode and the wire commands (read, write, read-file, write-file)
// share: the protocol key, the address and length, the header bytes, the
// write data and the variant's sub-header.
#pragma once

#include "protostub/ProtoStub.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>

namespace zorvproto
{

extern const char* const kStandardKey;
extern const char* const kVariantKey;

struct RequestOptions
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

    bool variant() const { return key == kVariantKey; }
};

// Declares the request's options on command. withOp adds --op (encode); the
// wire commands take the operation from their own name.
void addRequestOptions(CLI::App& command, RequestOptions& options, bool withOp);

em_RequestType requestType(const std::string& op);

// The request record for options and type. Throws UsageError when the
// options contradict each other.
INTER_ST::ThirdGenerationCommRequest_Data buildRequest(const RequestOptions& options, em_RequestType type);

}  // namespace zorvproto

namespace zorvproto
{

// What is left of a standard write request once its first done data bytes
// were written: the data without them (a file write names its rest in a file
// of its own), the register address moved on by done unless every packet goes
// to the same address. A server issues it when the library fails on a reply
// part of the way through: under the new request's labels the replies differ.
INTER_ST::ThirdGenerationCommRequest_Data writeRemainder(const INTER_ST::ThirdGenerationCommRequest_Data& request,
                                                         size_t done, bool increment);

}  // namespace zorvproto
