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

using Lines = std::vector<std::string>;
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
        *os << (f.found ? "found" : "not found") << ", offset " << f.offset << ", packages "
            << testing::PrintToString(f.packages);
    }
};

// What a package analysis or a driver leaves, starting from offset 10 and a record holding data ee, length 99:
// the result, the offset, the record's data, length and ack, and the log lines.
struct Analysed
{
    int result = 0, offset = 10;
    std::string data;
    unsigned long long length = 99;
    int ack = 0;
    Lines log;
    bool operator==(const Analysed&) const = default;
    friend void PrintTo(const Analysed& a, std::ostream* os)
    {
        *os << "result " << a.result << ", offset " << a.offset << ", data [" << a.data << "], length " << a.length
            << ", ack " << a.ack << ", log " << testing::PrintToString(a.log);
    }
};

struct AnalysisCase
{
    const char* name;
    bool variant = false;
    std::string bytes;
    MatchList match = kReply1;
    unsigned int sendCount = 1;
    Analysed analysed;
};

class PackageSearchTest : public LogCaptureTest
{
protected:
    // The package analysis logs its own lines; of a driver, the warnings are kept.
    template <class Analyzer>
    Analysed analyze(bool driver, const AnalysisCase& c)
    {
        struct Probe : Analyzer
        {
            using Analyzer::m_nSendCount;
        } probe;
        probe.m_nSendCount = c.sendCount;
        const auto r = probe.getReplyRecord();
        r->data = {0xEE};
        r->validDataLength = 99;
        clearLog();
        Analysed a;
        a.result = driver ? probe.analyze_DeviceData(emRequestReadRegister, c.bytes, {"", c.match}, a.offset)
                          : probe.analyzeDeviceData_ByCommonProtocol(c.bytes, c.match, emRequestReadRegister, a.offset);
        a.data = toHex(std::string(r->data.begin(), r->data.end()));
        a.length = r->validDataLength;
        a.ack = r->ack;
        a.log = driver ? lines("", ZORV_LOG_WARN) : lines("ByCommonProtocol");
        return a;
    }

    void check(bool driver, const std::vector<AnalysisCase>& cases)
    {
        for (const AnalysisCase& c : cases)
        {
            SCOPED_TRACE(c.name);
            EXPECT_EQ(c.analysed,
                      c.variant ? analyze<ProtoAnalyze3rd_Orvane>(driver, c) : analyze<ProtoAnalyze3rd>(driver, c));
        }
    }
};

TEST_F(PackageSearchTest, FindPackageListCutsAtAcceptedHeadsWhateverPrefixHasArrived)
{
    // A later head is accepted only once the bytes end exactly where its frame does: every other prefix gives
    // one package from the first head to its end.
    struct Case
    {
        const char* name;
        std::string buffer;
        MatchList match = kReply1;
        int firstHead = 0;     // -1: never found
        size_t second = 0;     // where a second package starts ...
        size_t secondEnd = 0;  // ... when the bytes end here (0: never)
        Lines log;             // for the whole buffer
    };
    const std::string f1 = frame("01 02 03 04"), f1b = frame("05 06"), f2 = frame("07", 2);
    const std::string long128 = frame(toHex(std::string(128, 'x'))),
                      one = "0 findPackageList,bRet:1-strPackageVec.size:1";
    const Case cases[] = {
        {.name = "garbage before one reply", .buffer = hexBytes("00 ff") + f1, .firstHead = 2, .log = {one}},
        {.name = "two frames with the expected label",
         .buffer = f1 + f1b,
         .second = 24,
         .secondEnd = 46,
         .log = {"0 findPackageList,bRet:1-strPackageVec.size:2"}},
        {.name = "a frame with another label is glued on",
         .buffer = f1 + f2,
         .log = {"2 req label = 1, rsp label = 2.", one}},
        // The length's low byte is read signed here: long128's 80 00 gives FF80.
        {.name = "signed length byte",
         .buffer = f1 + long128,
         .log = {"2 subPackageLen != valiadLen+20 ,subPackageLen:148,valiadLen:65408!", one}},
        {.name = "a later frame with the label that ends before the buffer",
         .buffer = f1 + f1b + "\x07",
         .second = 24,
         .secondEnd = 46,
         .log = {"2 subPackageLen != valiadLen+20 ,subPackageLen:23,valiadLen:2!", one}},
        {.name = "one match entry finds nothing", .buffer = f1, .match = {{"AA55", 0}}, .firstHead = -1},
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
        const auto expected = [&c](size_t fed) {
            const std::string prefix = c.buffer.substr(0, fed);
            if (c.firstHead < 0 || fed < static_cast<size_t>(c.firstHead) + 2)
                return Found{};
            if (fed == c.secondEnd)
                return Found{true,
                             c.firstHead,
                             {toHex(prefix.substr(c.firstHead, c.second - c.firstHead)),
                              toHex(prefix.substr(c.second))}};
            return Found{true, c.firstHead, {toHex(prefix.substr(c.firstHead))}};
        };
        runSplits(
            c.buffer,
            [&search] {
                return [&search, bytes = std::string()](const std::string& piece) mutable {
                    return search(bytes += piece);
                };
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

TEST_F(PackageSearchTest, PackagesAreCheckedCountedAndCopiedEachAnalyzersWay)
{
    // Match entries but the last are checked; a package is counted before its code. The variant fails on the
    // label at once, copies any code's data, and sets the length, to this package's, on completion.
    const std::string ok = frame("01 02 03 04"), counted = "0 m_nAlreadyRecievedCount: 1";
    const std::string label1 = "0 label[1], (unsigned char)rawDatagramBuf3[1].",
                      all = "1 all sub package is received !";
    const std::string end = "0 end ! emReadWriteCode[", op = "0 operation code[";
    const std::string short5 = makeFrame({.data = hexBytes("01 02"), .validLength = 5});
    check(false,
          {
              {.name = "one entry: only the checksum is checked",
               .bytes = frame("01 02 03 04", 9, 0, 3),
               .match = {{"FFFF", 5}},
               .analysed = {0,
                            34,
                            "ee 01 02 03 04",
                            5,
                            3,
                            {counted, all, end + "0], validDataLength[4], recv count[1], send count[1], ack[3]]"}}},
              {.name = "two entries: the label is not compared",
               .bytes = ok,
               .match = {{"AA55", 0}, {"9", 3}},
               .sendCount = 2,
               .analysed = {0,
                            34,
                            "ee 01 02 03 04",
                            5,
                            0,
                            {counted, end + "0], validDataLength[4], recv count[1], send count[2], ack[0]]"}}},
              {.name = "three entries: head and label",
               .bytes = ok,
               .sendCount = 2,
               .analysed = {0,
                            34,
                            "ee 01 02 03 04",
                            5,
                            0,
                            {label1, counted, end + "0], validDataLength[4], recv count[1], send count[2], ack[0]]"}}},
              {.name = "four entries never pass",
               .bytes = ok,
               .match = {{"AA55", 0}, {"1", 3}, {"x", 0}, {"y", 0}},
               .analysed = {255, 10, "ee", 99, 0, {label1, "2 msgType[0], matchCount[2]."}}},
              {.name = "checksum wrong: 12",
               .bytes = frame("01", 1, 0, 6, false),
               .analysed = {12, 10, "ee", 99, 6, {"2 match crc error, msgType[0], offset valid[10]."}}},
              {.name = "code 0xff is counted, then rejected as -1",
               .bytes = frame("", 1, 0xFF),
               .analysed = {7, 30, "ee", 99, 0, {label1, counted, "3 error ReadWrite Type :-1"}}},
              {.name = "a write reply leaves no data",
               .bytes = frame("01 02", 1, 1),
               .analysed = {0,
                            32,
                            "",
                            0,
                            0,
                            {label1, counted, all,
                             end + "1], validDataLength[2], recv count[1], send count[1], ack[0]]"}}},
              {.name = "declared length beyond the data: the copy stops at the checksum",
               .bytes = short5,
               .analysed = {0,
                            32,
                            "ee 01 02",
                            3,
                            0,
                            {label1, counted, all,
                             end + "0], validDataLength[5], recv count[1], send count[1], ack[0]]"}}},
              {.name = "variant: checksum wrong",
               .variant = true,
               .bytes = frame("01", 1, 0, 6, false),
               .analysed = {10, 10, "ee", 99, 6, {"2 msgType[0], offset valid[10]."}}},
              {.name = "variant: other label",
               .variant = true,
               .bytes = ok,
               .match = {{"AA55", 0}, {"2", 3}, {"0", 0}},
               .analysed = {19,
                            10,
                            "ee",
                            99,
                            0,
                            {"0 label[2], (unsigned char)rawDatagramBuf3[1].",
                             "3 label != (unsigned char)rawDatagramBuf[3]"}}},
              {.name = "variant: any code",
               .variant = true,
               .bytes = frame("01 02 03 04", 1, 2),
               .analysed = {0,
                            34,
                            "ee 01 02 03 04",
                            4,
                            0,
                            {label1, op + "2], validDataLength[4], recv count[1], send count[1], ack[0]"}}},
              {.name = "variant: not yet complete",
               .variant = true,
               .bytes = ok,
               .sendCount = 2,
               .analysed = {0,
                            34,
                            "ee 01 02 03 04",
                            99,
                            0,
                            {label1, op + "0], validDataLength[4], recv count[1], send count[2], ack[0]"}}},
              {.name = "variant: declared length beyond the data",
               .variant = true,
               .bytes = short5,
               .analysed = {0,
                            32,
                            "ee 01 02",
                            2,
                            0,
                            {label1, op + "0], validDataLength[5], recv count[1], send count[1], ack[0]"}}},
              // Record data bytes 12 and 11, each sign-extended.
              {.name = "variant: argument bytes",
               .variant = true,
               .bytes = frame("00 01 02 03 04 05 06 07 08 09 0a 80"),
               .analysed = {0,
                            42,
                            "ee 00 01 02 03 04 05 06 07 08 09 0a 80",
                            12,
                            0,
                            {label1, "0 \n Arg1:FFFFFF800A\n",
                             op + "0], validDataLength[12], recv count[1], send count[1], ack[0]"}}},
          });
}

TEST_F(PackageSearchTest, DriversCheckTheListAndStopAtTheFirstSuccess)
{
    // A bad frame, then one whose length (24) reaches over a third to the end, so that both later heads pass
    // the search; analysing the third too would add to the offset and the warnings.
    std::string second = frame("01 02 03 04");
    second[16] = 24;
    sealFrame(second);
    const std::string three = frame("", 1, 0, 0, false) + second + frame(""), reply = frame("01 02 03 04");
    const Lines firstFails = {"3 Checkout error!: len:20,ay.size:20",
                              "3 analyzeDeviceData_ByCommonProtocol has error!"};
    check(true, {
                    {.name = "standard, empty list",
                     .bytes = reply,
                     .match = {},
                     .analysed = {1, 10, "ee", 99, 2, {"3 msg match size is 0."}}},
                    {.name = "standard, one entry: the search needs two",
                     .bytes = reply,
                     .match = {{"AA55", 0}},
                     .analysed = {17, 10, "ee", 99, 2}},
                    {.name = "standard, second of three candidates",
                     .bytes = three,
                     .analysed = {0, 24, "ee 01 02 03 04", 5, 0, firstFails}},
                    {.name = "variant, one entry",
                     .variant = true,
                     .bytes = reply,
                     .match = {{"AA55", 0}},
                     .analysed = {18, 10, "ee", 99, 2}},
                    {.name = "variant, second of three candidates",
                     .variant = true,
                     .bytes = three,
                     .match = {{"AA55", 0}, {"1", 3}},
                     .analysed = {0, 24, "ee 01 02 03 04", 4, 0, firstFails}},
                });
}

}  // namespace
