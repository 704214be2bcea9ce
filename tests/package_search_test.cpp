// Received bytes cut into packages, the drivers' loop, each analyzer's check, count and copy of a package.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/SplitRunner.h"
#include "support/Throws.h"

#include <ostream>

namespace
{

using MatchList = std::vector<ST_MSGToHardDriverMatchOne>;
const MatchList kReply1 = {{"AA55", 0}, {"1", 3}, {"0", 0}};

std::string frame(const std::string& dataHex, unsigned char label = 1, unsigned char code = 0, unsigned char ack = 0,
                  bool sealed = true)
{
    std::string out = makeFrame({.ack = ack, .label = label, .readWriteCode = code, .data = hexBytes(dataHex)});
    out.back() = static_cast<char>(out.back() ^ (sealed ? 0 : 1));
    return out;
}

// What findPackageList gives: its result, the first head's position (-1 untouched) and the packages in hex.
struct Found
{
    bool found = false;
    int offset = -1;
    Lines packages;
    bool operator==(const Found&) const = default;
    friend void PrintTo(const Found& f, std::ostream* os)
    {
        *os << "found " << f.found << ", offset " << f.offset << ", packages " << testing::PrintToString(f.packages);
    }
};

using PackageSearchTest = LogCaptureTest;

TEST_F(PackageSearchTest, FindPackageListCutsAtAcceptedHeadsWhateverPrefixHasArrived)
{
    // A later head is accepted only once the bytes end exactly where its frame does; until then, one package
    // runs from the first head to the end.
    struct Cuts
    {
        int firstHead = 0;                 // -1: never found
        size_t second = 0, secondEnd = 0;  // a second package starts here when the bytes end there
    };
    struct Case
    {
        const char* name;
        std::string buffer;
        Cuts cuts;
        Lines log;  // for the whole buffer
        MatchList match = kReply1;
    };
    const std::string f1 = frame("01 02 03 04"), f1b = frame("05 06"), f2 = frame("07", 2);
    const std::string x128 = frame(toHex(std::string(128, 'x'))), one = "0 findPackageList,bRet:1-strPackageVec.size:1";
    const Case cases[] = {
        {"garbage before one reply", hexBytes("00 ff") + f1, {.firstHead = 2}, {one}},
        {"two frames with the label",
         f1 + f1b,
         {.second = 24, .secondEnd = 46},
         {"0 findPackageList,bRet:1-strPackageVec.size:2"}},
        {"a frame with another label is glued on", f1 + f2, {}, {"2 req label = 1, rsp label = 2.", one}},
        // The length's low byte is read signed here: 80 00 gives FF80.
        {"signed length byte",
         f1 + x128,
         {},
         {"2 subPackageLen != valiadLen+20 ,subPackageLen:148,valiadLen:65408!", one}},
        {"a frame with the label that ends before the buffer",
         f1 + f1b + "\x07",
         {.second = 24, .secondEnd = 46},
         {"2 subPackageLen != valiadLen+20 ,subPackageLen:23,valiadLen:2!", one}},
        {"one match entry finds nothing", f1, {.firstHead = -1}, {}, {{"AA55", 0}}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        const auto search = [&c](const std::string& buffer) {
            Found f;
            std::vector<std::string> packages;
            f.found = ProtoAnalyze3rd().findPackageList(buffer, c.match, f.offset, packages);
            for (const std::string& p : packages)
                f.packages.push_back(toHex(p));
            return f;
        };
        const auto expected = [&c, &head = c.cuts.firstHead](size_t fed) {
            const std::string bytes = c.buffer.substr(0, fed);
            if (head < 0 || fed < static_cast<size_t>(head) + 2)
                return Found{};
            if (fed != c.cuts.secondEnd)
                return Found{true, head, {toHex(bytes.substr(head))}};
            return Found{true,
                         head,
                         {toHex(bytes.substr(head, c.cuts.second - head)), toHex(bytes.substr(c.cuts.second))}};
        };
        runSplits(
            c.buffer,
            [&] {
                return [&, bytes = std::string()](const std::string& piece) mutable { return search(bytes += piece); };
            },
            expected);
        clearLog();
        search(c.buffer);
        EXPECT_EQ(c.log, lines());
    }
    // In 20 bytes a second head is "none", whose label is byte 2; if it matches, the rest is cut from "none".
    const std::string twoHeads = hexBytes("aa 55 01 01 00 00 00 00 aa 55") + std::string(10, '\0');
    int offset = -1;
    std::vector<std::string> packages;
    EXPECT_THROW_MSG(ProtoAnalyze3rd().findPackageList(twoHeads, kReply1, offset, packages), std::out_of_range,
                     "invalid string position");
}

// What a package analysis or a driver leaves, starting from offset 10 and a record holding data ee, length 99:
// the result, the offset, the record's data, length and ack, and the log lines.
struct Analysed
{
    int result, offset;
    std::string data;
    unsigned long long length;
    int ack;
    Lines log;
    bool operator==(const Analysed&) const = default;
    friend void PrintTo(const Analysed& a, std::ostream* os)
    {
        *os << "result " << a.result << ", offset " << a.offset << ", data [" << a.data << "], length " << a.length
            << ", ack " << a.ack << ", log " << testing::PrintToString(a.log);
    }
};

Analysed left(int result, int offset, std::string data, unsigned long long length, int ack, Lines log = {})
{
    return {result, offset, std::move(data), length, ack, std::move(log)};
}

struct Input
{
    bool variant = false;
    std::string bytes;
    MatchList match = kReply1;
    unsigned int sendCount = 1;
};

struct Case
{
    const char* name;
    Input input;
    Analysed analysed;
};

// Runs each case on a fresh analyzer: its package analysis, logging under its own signature, or its driver, of
// which the warnings are kept.
template <class Analyzer>
Analysed analyze(bool driver, const Input& in)
{
    struct Probe : Analyzer
    {
        using Analyzer::m_nSendCount;
    } probe;
    probe.m_nSendCount = in.sendCount;
    const auto r = probe.getReplyRecord();
    r->data = {0xEE};
    r->validDataLength = 99;
    int offset = 10;
    const int result =
        driver ? probe.analyze_DeviceData(emRequestReadRegister, in.bytes, {"", in.match}, offset)
               : probe.analyzeDeviceData_ByCommonProtocol(in.bytes, in.match, emRequestReadRegister, offset);
    return {result, offset, toHex(std::string(r->data.begin(), r->data.end())), r->validDataLength, r->ack, {}};
}

class AnalysisTest : public LogCaptureTest
{
protected:
    void check(bool driver, const std::vector<Case>& cases)
    {
        for (const Case& c : cases)
        {
            SCOPED_TRACE(c.name);
            clearLog();
            Analysed a = c.input.variant ? analyze<ProtoAnalyze3rd_Orvane>(driver, c.input)
                                         : analyze<ProtoAnalyze3rd>(driver, c.input);
            a.log = driver ? lines("", ZORV_LOG_WARN) : lines("ByCommonProtocol");
            EXPECT_EQ(c.analysed, a);
        }
    }
};

TEST_F(AnalysisTest, PackagesAreCheckedCountedAndCopiedEachAnalyzersWay)
{
    // Match entries but the last are checked; a package is counted before its code. The variant fails on the
    // label at once, copies any code's data, and sets the length, to this package's, on completion.
    const std::string ok = frame("01 02 03 04"), short5 = makeFrame({.data = hexBytes("01 02"), .validLength = 5});
    const std::string counted = "0 m_nAlreadyRecievedCount: 1", all = "1 all sub package is received !";
    const std::string label1 = "0 label[1], (unsigned char)rawDatagramBuf3[1].", op = "0 operation code[";
    const std::string end = "0 end ! emReadWriteCode[", ends = ", recv count[1], send count[1], ack[0]]";
    const std::vector<Case> cases = {
        {"one entry: only the checksum is checked",
         {.bytes = frame("01 02 03 04", 9, 0, 3), .match = {{"FFFF", 5}}},
         left(0, 34, "ee 01 02 03 04", 5, 3,
              {counted, all, end + "0], validDataLength[4], recv count[1], send count[1], ack[3]]"})},
        {"two entries: the label is not compared",
         {.bytes = ok, .match = {{"AA55", 0}, {"9", 3}}, .sendCount = 2},
         left(0, 34, "ee 01 02 03 04", 5, 0,
              {counted, end + "0], validDataLength[4], recv count[1], send count[2], ack[0]]"})},
        {"three entries: head and label",
         {.bytes = ok, .sendCount = 2},
         left(0, 34, "ee 01 02 03 04", 5, 0,
              {label1, counted, end + "0], validDataLength[4], recv count[1], send count[2], ack[0]]"})},
        {"four entries never pass",
         {.bytes = ok, .match = {{"AA55", 0}, {"1", 3}, {"x", 0}, {"y", 0}}},
         left(255, 10, "ee", 99, 0, {label1, "2 msgType[0], matchCount[2]."})},
        {"checksum wrong: 12",
         {.bytes = frame("01", 1, 0, 6, false)},
         left(12, 10, "ee", 99, 6, {"2 match crc error, msgType[0], offset valid[10]."})},
        {"code 0xff is counted, then rejected as -1",
         {.bytes = frame("", 1, 0xFF)},
         left(7, 30, "ee", 99, 0, {label1, counted, "3 error ReadWrite Type :-1"})},
        {"a write reply leaves no data",
         {.bytes = frame("01 02", 1, 1)},
         left(0, 32, "", 0, 0, {label1, counted, all, end + "1], validDataLength[2]" + ends})},
        {"declared length beyond the data: the copy stops at the checksum",
         {.bytes = short5},
         left(0, 32, "ee 01 02", 3, 0, {label1, counted, all, end + "0], validDataLength[5]" + ends})},
        {"variant: checksum wrong",
         {.variant = true, .bytes = frame("01", 1, 0, 6, false)},
         left(10, 10, "ee", 99, 6, {"2 msgType[0], offset valid[10]."})},
        {"variant: other label",
         {.variant = true, .bytes = ok, .match = {{"AA55", 0}, {"2", 3}, {"0", 0}}},
         left(19, 10, "ee", 99, 0,
              {"0 label[2], (unsigned char)rawDatagramBuf3[1].", "3 label != (unsigned char)rawDatagramBuf[3]"})},
        {"variant: any code",
         {.variant = true, .bytes = frame("01 02 03 04", 1, 2)},
         left(0, 34, "ee 01 02 03 04", 4, 0,
              {label1, op + "2], validDataLength[4], recv count[1], send count[1], ack[0]"})},
        {"variant: not yet complete",
         {.variant = true, .bytes = ok, .sendCount = 2},
         left(0, 34, "ee 01 02 03 04", 99, 0,
              {label1, op + "0], validDataLength[4], recv count[1], send count[2], ack[0]"})},
        {"variant: declared length beyond the data",
         {.variant = true, .bytes = short5},
         left(0, 32, "ee 01 02", 2, 0, {label1, op + "0], validDataLength[5], recv count[1], send count[1], ack[0]"})},
        // Record data bytes 12 and 11, each sign-extended.
        {"variant: argument bytes",
         {.variant = true, .bytes = frame("00 01 02 03 04 05 06 07 08 09 0a 80")},
         left(0, 42, "ee 00 01 02 03 04 05 06 07 08 09 0a 80", 12, 0,
              {label1, "0 \n Arg1:FFFFFF800A\n",
               op + "0], validDataLength[12], recv count[1], send count[1], ack[0]"})},
    };
    check(false, cases);
}

TEST_F(AnalysisTest, DriversCheckTheListAndStopAtTheFirstSuccess)
{
    // A bad frame, then one whose length (24) reaches over a third to the end, so that both later heads pass
    // the search; analysing the third too would add to the offset and the warnings.
    std::string second = frame("01 02 03 04");
    second[16] = 24;
    sealFrame(second);
    const std::string three = frame("", 1, 0, 0, false) + second + frame(""), reply = frame("01 02 03 04");
    const Lines firstFails = {"3 Checkout error!: len:20,ay.size:20",
                              "3 analyzeDeviceData_ByCommonProtocol has error!"};
    const std::vector<Case> cases = {
        {"standard, empty list", {.bytes = reply, .match = {}}, left(1, 10, "ee", 99, 2, {"3 msg match size is 0."})},
        {"standard, one entry: the search needs two",
         {.bytes = reply, .match = {{"AA55", 0}}},
         left(17, 10, "ee", 99, 2)},
        {"standard, second of three candidates", {.bytes = three}, left(0, 24, "ee 01 02 03 04", 5, 0, firstFails)},
        {"variant, one entry", {.variant = true, .bytes = reply, .match = {{"AA55", 0}}}, left(18, 10, "ee", 99, 2)},
        {"variant, second of three candidates",
         {.variant = true, .bytes = three, .match = {{"AA55", 0}, {"1", 3}}},
         left(0, 24, "ee 01 02 03 04", 4, 0, firstFails)},
    };
    check(true, cases);
}

}  // namespace
