// The result codes, request kinds and records that pass between the server,
// the facade, the frame layer and the analyzers. The server is compiled
// against these same definitions: member order and types are binary interface.
#pragma once

#include "ThirdGenerationCommRequest_Data.h"
#include "ThirdGenerationCommResponse_Data.h"

#include <memory>
#include <string>
#include <vector>

// Result of every analysis operation. A number may mean different things in
// different operations; callers test the codes of the operation they called.
enum em_ProtoAnalyze : int
{
    emProtoSuccess = 0,
    emProtoNotFound = 1,                // unknown match key, empty analyzer entry; standard: empty match list
    emProtoEmptyInput = 5,              // facade analyze_DeviceData: no new bytes
    emProtoIncompleteFrame = 6,         // facade analyze_DeviceData: wait for more bytes
    emProtoBadReadWriteCode = 7,        // read/write code neither 0 nor 1
    emProtoBadHeader = 8,               // buffer does not start 0xAA 0x55; auto-push: too short
    emProtoHeaderOk = 9,                // buffer starts 0xAA 0x55
    emProtoFrameShort = 10,             // buffer shorter than its frame; variant: checksum wrong
    emProtoFrameLonger = 11,            // buffer holds more than one frame
    emProtoFrameExact = 12,             // buffer is exactly one frame; standard: checksum wrong
    emProtoBadRegisterAddr = 13,        // register address not 4 bytes; write data exhausted
    emProtoUnknownRequest = 15,         // standard: unknown em_RequestType
    emProtoBadLength = 16,              // a length check of a request failed
    emProtoNoPackage = 17,              // no package analysed successfully; no packets built
    emProtoShortMatchList = 18,         // variant: fewer than 2 expected-reply entries
    emProtoLabelMismatch = 19,          // variant: reply label differs
    emProtoUnknownRequestVariant = 20,  // variant: unknown em_RequestType
    emProtoZeroMaxRecvLen = 21,         // nHwMaxRecvLen is 0: no packet size to split by
    emProtoNullRequest = 22,            // the request pointer is null
    emProtoFileOpenFailed = 23,         // file write: the local file cannot be opened
    emProtoFileReadFailed = 24,         // file write: the local file ended or failed while read
    emProtoNotAutoPush = 25,            // not an auto-pushed frame
    emProtoFailed = 255                 // analysis failed; wrong number of matches; bad package code
};

// What a client request asks for.
enum em_RequestType : int
{
    emRequestReadRegister = 0,
    emRequestWriteRegister = 1,
    emRequestReadFile = 2,
    emRequestWriteFile = 3
};

// Frame byte 10: the read/write code, one byte wide like the field it names.
enum em_OperationCodeType : unsigned char
{
    emOperationRead = 0,
    emOperationWrite = 1
};

// One entry of an expected-reply description.
struct ST_MSGToHardDriverMatchOne
{
    std::string key;    // [0]: frame head as hex text; [1]: label as decimal text
    int posWanted = 0;  // [0]: search start; [1] in the variant: the byte that carries the label
};

// The expected-reply description handed to analyze_DeviceData.
struct ST_MSGToHardDriverMatch
{
    std::string protoKey;
    std::vector<ST_MSGToHardDriverMatchOne> matchList;
};

// One device-bound message: the expected replies and the frame to send.
struct ST_MSGToHardDriver : ST_MSGToHardDriverMatch
{
    std::shared_ptr<std::string> frame;
};

// One packet of a request that is split into packets.
struct ST_RegisterAddrAndValid
{
    unsigned int nPacketSequeseNum = 0;  // variant: frame bytes 25 to 28
    int lenHead = 0;                     // variant: leading request data bytes copied into the frame
    unsigned int readLen = 0;            // read: bytes asked of the device
    unsigned int registerAddr = 0;       // frame bytes 12 to 15
    std::string data;                    // write: this packet's data bytes
    unsigned int validLen = 0;           // data bytes carried
};

// One decoded device report with the acknowledgement to send back.
struct ST_DeviceAutoReportResponseInfo
{
    std::shared_ptr<INTER_ST::ThirdGenerationCommResponse_Data> response;
    std::shared_ptr<std::string> answer;
    std::string reserved;  // left empty by this library
    int ack = 0;           // frame byte 2 of the report, or 255 for a report under 20 bytes
};
