// The frame layer shared by both analyzers, in the order a reply travels:
// header and length checks, checksum, package search, response decoding and
// device-report splitting, plus the three operations each analyzer provides
// (request encoding, reply analysis and pushed-report analysis). Each named
// operation logs and leaves the byte work to the frame codec.
#pragma once

#include "protostub/ProtoRecords.h"

#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// How the two analyzers' package checks differ, as data.
struct PackageCheckRules
{
    em_ProtoAnalyze checksumWrong;  // the result for a wrong checksum
    const char* checksumLogLead;    // leads its "msgType[%d], offset valid[%d]." line
    const char* keyMark;            // after both names in "rawDatagramBuf,byteKey,posWanted:%d"
    bool logKeyBytes;               // the head key's bytes follow that line
    bool labelFailsAtOnce;          // a wrong label returns 19 rather than failing the count
};

class ProtoBase
{
public:
    explicit ProtoBase(std::string protoKey);
    virtual ~ProtoBase();
    ProtoBase(const ProtoBase&) = delete;
    ProtoBase& operator=(const ProtoBase&) = delete;

    // Encodes one client request into messages appended to out.
    virtual em_ProtoAnalyze analyze_ClientData(const unsigned long long& nHwMaxRecvLen, const em_RequestType& type,
                                               void* request, std::list<ST_MSGToHardDriver>& out,
                                               const std::string& filePath,
                                               const bool& bIsRegisterAddrSelfIncreasing) = 0;

    // Analyses received bytes against the expected replies; on success
    // returns 0 and sets offset to the number of leading bytes used up.
    virtual em_ProtoAnalyze analyze_DeviceData(const em_RequestType& type, const std::string& protoBuffer,
                                               const ST_MSGToHardDriverMatch& match, int& offset) = 0;

    // Decodes a pushed report frame at offset and acknowledges it.
    virtual em_ProtoAnalyze analyze_DeviceReportPushData(std::vector<ST_DeviceAutoReportResponseInfo>& reports,
                                                         const std::string& buffer, unsigned long long& offset) = 0;

    std::string getProtoKey() const;
    std::shared_ptr<INTER_ST::ThirdGenerationCommResponse_Data> getReplyRecord() const;

    // 9 if the buffer starts 0xAA 0x55, else 8.
    em_ProtoAnalyze checkThridPackageHeaderFlag(const std::string& buffer);
    // 10 shorter than 20 bytes or than its frame, 11 longer, 12 exactly one frame.
    em_ProtoAnalyze checkValidLength(const std::string& buffer);

    // True if the checksum of buffer[offset .. offset+length) is right.
    bool reviseOk(const std::string& buffer, int offset, unsigned long long length);
    // sum = 0x5555 plus every byte of buffer[first .. first+count).
    void calcCheckout(const std::string& buffer, int first, int count, unsigned int& sum);
    unsigned short makeWord(unsigned char high, unsigned char low);

    // Cuts buffer into packages at the head named by match[0] (hex text),
    // accepting a later head only for a frame with the label of match[1] that
    // reaches exactly to the buffer's end. offset receives the first head's
    // position. True when strPackageVec is not empty afterwards.
    bool findPackageList(const std::string& buffer, const std::vector<ST_MSGToHardDriverMatchOne>& match, int& offset,
                         std::vector<std::string>& strPackageVec);
    // Hex text to bytes, two digits at a time; always true.
    bool hexStringToBytes(const std::string& hex, std::string& bytes);

    // Starts a fresh reply record for a request about to be sent.
    void initReplyRecord(const INTER_ST::ThirdGenerationCommRequest_Data* request);
    // Decodes one device frame into record; ack receives frame byte 2.
    void getThirdGenerationCommResponseData(const std::string& frame, unsigned char& ack,
                                            std::shared_ptr<INTER_ST::ThirdGenerationCommResponse_Data> record);
    // Writes the 20-byte acknowledgement of a device report into *answer.
    void getResponseDataFromDeviceReport(const std::string& report, unsigned char ack,
                                         std::shared_ptr<std::string> answer);
    // Decodes one report and builds its acknowledgement into info.
    void getDeviceReportDataToProtoResponse(const std::string& report, unsigned char ack,
                                            ST_DeviceAutoReportResponseInfo& info);

    // Splits a stream of device reports at 0x55 0xAA into reports, good
    // checksums first; empties buffer.
    void analyze_DeviceReportData(std::string& buffer, std::vector<ST_DeviceAutoReportResponseInfo>& reports);
    void upPackageListWithoutLabelMatching(std::string& buffer, const std::vector<ST_MSGToHardDriverMatchOne>& match,
                                           std::vector<std::string>& okList, std::vector<std::string>& failedList);

protected:
    // Advances the 8-bit packet label (255 wraps to 0) and returns it.
    unsigned char advancePacketLabel();
    // The start both analyze_OnePackageRequst share: advances the packet label
    // into label, logs the packet and starts frame: its 18 header bytes, with
    // room reserved for the packet's validLen plus overhead bytes. 0, or 22
    // for a null request and 7 for a read/write code other than 0 and 1
    // (logged as "error <codeName>:%d"), frame left empty.
    em_ProtoAnalyze beginRequestFrame(const char* sig, const ST_RegisterAddrAndValid& pkg,
                                      const INTER_ST::ThirdGenerationCommRequest_Data* request, size_t overhead,
                                      const char* codeName, unsigned char& label, std::shared_ptr<std::string>& frame);
    // Decodes a device frame's header into a record: head AA 55, the header
    // bytes, scan-board and register address bytes appended; length and data
    // not. Bytes a short frame lacks read as 0.
    static void copyHeader(std::string_view f, INTER_ST::ThirdGenerationCommResponse_Data& record);
    // Writes the acknowledgement of a report into *answer (nothing for a null
    // answer): the 20-byte form, or the variant's 38-byte one. A report too
    // short for it is logged with sig and gets the invalid-package answer.
    static void writeAcknowledgement(const char* sig, std::string_view report, unsigned char ack, std::string* answer,
                                     bool variantForm);
    // getThirdGenerationCommResponseData and getDeviceReportDataToProtoResponse
    // on a view.
    static void decodeResponse(std::string_view f, unsigned char& ack,
                               INTER_ST::ThirdGenerationCommResponse_Data& record);
    static void decodeReport(std::string_view report, unsigned char ack, ST_DeviceAutoReportResponseInfo& info);
    // upPackageListWithoutLabelMatching on views into buffer, which is left
    // as it is: an unsplit buffer is the one failed piece.
    static void splitReports(std::string_view buffer, std::string_view head, std::vector<std::string_view>& okList,
                             std::vector<std::string_view>& failedList);
    // A request frame's 18 header bytes carrying the request's fields, the
    // label and the register address, with room for length bytes in all.
    static std::shared_ptr<std::string> newRequestFrame(size_t length, unsigned char label,
                                                        const INTER_ST::ThirdGenerationCommRequest_Data& request,
                                                        unsigned int registerAddr);
    // The first two scan-board bytes as a word, first byte low; missing bytes are 0.
    static unsigned int scanBoardWord(const std::vector<unsigned char>& scanBoardAddr);
    // Stores the checksum of a request frame planned as length bytes at
    // length-2 (see frame::sealPlanned); returns the full 32-bit sum.
    static unsigned int storeCheckout(std::string& frame, size_t length);
    // Appends a reply package's data bytes to the reply record: at most the
    // declared length, and never the checksum or past the package. Returns the
    // number appended.
    size_t appendReplyData(std::string_view package, unsigned int validDataLength);
    // The checks both package checks share, in order: the package's ack goes
    // into the reply record first (a rejected package leaves it there, by
    // design), then the checksum, then entries 0 (head key) and 1 (label) of
    // the expected-reply list, never its last entry: one entry always passes,
    // two check the head only, three head and label, four or more can never
    // pass. That asymmetry is required. On success the package is consumed
    // (offset moves past it) and 0 is returned; else the result to return.
    // The entries' keys are those read by readReplyKeys from matchList.
    em_ProtoAnalyze checkReplyPackage(const char* sig, std::string_view package,
                                      const std::vector<ST_MSGToHardDriverMatchOne>& matchList,
                                      const em_RequestType& type, int& offset, const PackageCheckRules& rules);
    // Whether the head key's bytes occur in the package at or after posWanted.
    // A found position is compared as 32 bits against all bits set, "not found".
    static bool headKeyFound(std::string_view package, std::string_view byteKey, int posWanted);
    // Whether package byte 3 equals the label; logs both, and the mismatch,
    // with the caller's signature text.
    static bool labelMatches(const char* sig, std::string_view package, int label);

    // The head key (entry 0, hex text) as bytes and the label (entry 1,
    // decimal text) of an expected-reply list, read once for a whole analysis.
    struct ReplyKeys
    {
        std::string head;
        int label = 0;
        // The text head was read from: every request names the same head, so
        // it is read again only when the text changes.
        std::string headText;
        bool headRead = false;
    };
    void readReplyKeys(const std::vector<ST_MSGToHardDriverMatchOne>& match);
    // findPackageList for the reply analysis: the keys are m_replyKeys (read
    // from match) and the packages go into m_packages as views into buffer.
    bool findPackages(std::string_view buffer, const std::vector<ST_MSGToHardDriverMatchOne>& match, int& offset);
    // The cutting of findPackageList, with the keys read: appends the packages
    // to out and sets offset to the first head's position.
    static void cutPackages(std::string_view buffer, std::string_view head, unsigned char wantedLabel, int& offset,
                            std::vector<std::string_view>& out);
    // reviseOk on a view: the checksum of the whole package.
    static bool checksumOk(std::string_view package);

    std::string m_strProtoKey;
    std::shared_ptr<INTER_ST::ThirdGenerationCommResponse_Data> m_replyRecord;
    unsigned char m_ucPacketLabel = 0;
    // Room the first reply data of a read request makes in the record.
    size_t m_replyReserve = 0;
    ReplyKeys m_replyKeys;
    std::vector<std::string_view> m_packages;
};
