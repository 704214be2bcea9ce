// Received bytes cut into packages, the drivers' loop, each analyzer's check, count and copy of a package.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/Throws.h"

#include <tuple>

namespace
{

using MatchList = std::vector<ST_MSGToHardDriverMatchOne>;
const MatchList kReply1 = {{"AA55", 0}, {"1", 3}, {"0", 0}};
using Case = std::tuple<const char*, bool, std::string, MatchList, unsigned int, std::string>;

std::string frame(const std::string& dataHex, unsigned char label = 1, unsigned char code = 0, unsigned char ack = 0,
                  bool sealed = true)
{
    std::string out = makeFrame({0xAA, 0x55, ack, label, 0, 0, 0, 0, 0, 0, code, 0, 0, hexBytes(dataHex), -1});
    out.back() = static_cast<char>(out.back() ^ (sealed ? 0 : 1));
    return out;
}

class PackageSearchTest : public LogCaptureTest
{
protected:
    // Cases (name, variant, bytes, match list, send count, outcome) start from offset 10 and a record holding
    // data ee, length 99. Outcome: result, offset, [record data], length, ack| the package analysis' log lines,
    // or a driver's warnings.
    template <class Analyzer>
    std::string analyze(bool driver, const std::string& bytes, const MatchList& match, unsigned int sendCount)
    {
        struct Probe : Analyzer
        {
            using Analyzer::m_nSendCount;
        } probe;
        probe.m_nSendCount = sendCount;
        const auto r = probe.getReplyRecord();
        r->data = {0xEE};
        r->validDataLength = 99;
        clearLog();
        int at = 10;
        const int result = driver ? probe.analyze_DeviceData(emRequestReadRegister, bytes, {"", match}, at)
                                  : probe.analyzeDeviceData_ByCommonProtocol(bytes, match, emRequestReadRegister, at);
        return std::to_string(result) + ' ' + std::to_string(at) + " [" +
               toHex(std::string(r->data.begin(), r->data.end())) + "] " + std::to_string(r->validDataLength) + ' ' +
               std::to_string(r->ack) + '|' + (driver ? transcript("", ZORV_LOG_WARN) : transcript("ByCommonProtocol"));
    }

    void check(bool driver, const std::vector<Case>& cases)
    {
        for (const auto& [name, variant, bytes, match, sendCount, outcome] : cases)
        {
            SCOPED_TRACE(name);
            EXPECT_EQ(outcome, variant ? analyze<ProtoAnalyze3rd_Orvane>(driver, bytes, match, sendCount)
                                       : analyze<ProtoAnalyze3rd>(driver, bytes, match, sendCount));
        }
    }
};

}  // namespace

TEST_F(PackageSearchTest, FindPackageListCutsAtAcceptedHeads)
{
    const std::string f1 = frame("01 02 03 04"), f1b = frame("05 06"), f2 = frame("07", 2);
    const std::string long128 = frame(toHex(std::string(128, 'x'))),
                      one = "0 findPackageList,bRet:1-strPackageVec.size:1|";
    // In 20 bytes a second head is "none", whose label is byte 2; if it matches, the rest is cut from "none".
    const std::string twoHeads = hexBytes("aa 55 01 01 00 00 00 00 aa 55") + std::string(10, '\0');
    // clang-format off
    const std::tuple<const char*, std::string, MatchList, std::vector<std::string>, int, std::string> cases[] = {
        {"garbage before one reply", hexBytes("00 ff") + f1, kReply1, {f1}, 2, one},
        {"two frames with the expected label", f1 + f1b, kReply1, {f1, f1b}, 0,
         "0 findPackageList,bRet:1-strPackageVec.size:2|"},
        {"a frame with another label is glued on", f1 + f2, kReply1, {f1 + f2}, 0,
         "2 req label = 1, rsp label = 2.|" + one},
        // The length's low byte is read signed here: long128's 80 00 gives FF80.
        {"signed length byte", f1 + long128, kReply1, {f1 + long128}, 0,
         "2 subPackageLen != valiadLen+20 ,subPackageLen:148,valiadLen:65408!|" + one},
        {"one match entry finds nothing", f1, {{"AA55", 0}}, {}, -1, ""},
        {"short buffer with two heads", twoHeads, kReply1, {}, 0, "invalid string position"},
    };
    // clang-format on
    for (const auto& [name, buffer, match, expected, firstHead, logs] : cases)
    {
        SCOPED_TRACE(name);
        clearLog();
        int offset = -1;
        std::vector<std::string> packages;
        bool found = false;
        const std::string thrown = outOfRange(
            [&, &b = buffer, &m = match] { found = ProtoAnalyze3rd().findPackageList(b, m, offset, packages); });
        EXPECT_EQ(!expected.empty(), found);
        EXPECT_EQ(expected, packages);
        EXPECT_EQ(firstHead, offset);
        EXPECT_EQ(logs, transcript("") + thrown);
    }
}

TEST_F(PackageSearchTest, PackagesAreCheckedCountedAndCopiedEachAnalyzersWay)
{
    // Match entries but the last are checked; a package is counted before its code. The variant fails on the
    // label at once, copies any code's data, and sets the length, to this package's, on completion.
    const std::string ok = frame("01 02 03 04"), counted = "0 m_nAlreadyRecievedCount: 1|";
    const std::string label1 = "0 label[1], (unsigned char)rawDatagramBuf3[1].|";
    const std::string end = "0 end ! emReadWriteCode[", op = "0 operation code[";
    // clang-format off
    check(false, {
        {"one entry: only the checksum is checked", false, frame("01 02 03 04", 9, 0, 3), {{"FFFF", 5}}, 1,
         "0 34 [ee 01 02 03 04] 5 3|" + counted + "1 all sub package is received !|" + end +
         "0], validDataLength[4], recv count[1], send count[1], ack[3]]|"},
        {"two entries: the label is not compared", false, ok, {{"AA55", 0}, {"9", 3}}, 2, "0 34 [ee 01 02 03 04] 5 0|" +
         counted + end + "0], validDataLength[4], recv count[1], send count[2], ack[0]]|"},
        {"three entries: head and label", false, ok, kReply1, 2, "0 34 [ee 01 02 03 04] 5 0|" + label1 + counted + end +
         "0], validDataLength[4], recv count[1], send count[2], ack[0]]|"},
        {"four entries never pass", false, ok, {{"AA55", 0}, {"1", 3}, {"x", 0}, {"y", 0}}, 1, "255 10 [ee] 99 0|" +
         label1 + "2 msgType[0], matchCount[2].|"},
        {"code 0xff is counted, then rejected as -1", false, frame("", 1, 0xFF), kReply1, 1, "7 30 [ee] 99 0|" +
         label1 + counted + "3 error ReadWrite Type :-1|"},
        {"variant: checksum wrong", true, frame("01", 1, 0, 6, false), kReply1, 1, "10 10 [ee] 99 6|"
         "2 msgType[0], offset valid[10].|"},
        {"variant: other label", true, ok, {{"AA55", 0}, {"2", 3}, {"0", 0}}, 1, "19 10 [ee] 99 0|"
         "0 label[2], (unsigned char)rawDatagramBuf3[1].|3 label != (unsigned char)rawDatagramBuf[3]|"},
        {"variant: any code", true, frame("01 02 03 04", 1, 2), kReply1, 1, "0 34 [ee 01 02 03 04] 4 0|" + label1 + op +
         "2], validDataLength[4], recv count[1], send count[1], ack[0]|"},
        {"variant: not yet complete", true, ok, kReply1, 2, "0 34 [ee 01 02 03 04] 99 0|" + label1 + op +
         "0], validDataLength[4], recv count[1], send count[2], ack[0]|"},
        // Record data bytes 12 and 11, each sign-extended.
        {"variant: argument bytes", true, frame("00 01 02 03 04 05 06 07 08 09 0a 80"), kReply1, 1,
         "0 42 [ee 00 01 02 03 04 05 06 07 08 09 0a 80] 12 0|" + label1 + "0 \n Arg1:FFFFFF800A\n|" + op +
         "0], validDataLength[12], recv count[1], send count[1], ack[0]|"},
    });
    // clang-format on
}

TEST_F(PackageSearchTest, DriversCheckTheListAndStopAtTheFirstSuccess)
{
    // A bad frame, then one whose length (24) reaches over a third to the end, so that both later heads pass
    // the search; analysing the third too would add to the offset and the warnings.
    std::string second = frame("01 02 03 04");
    second[16] = 24;
    sealFrame(second);
    const std::string three = frame("", 1, 0, 0, false) + second + frame(""), reply = frame("01 02 03 04");
    const std::string firstFails =
        "3 Checkout error!: len:20,ay.size:20|3 analyzeDeviceData_ByCommonProtocol has error!|";
    // clang-format off
    check(true, {
        {"standard, empty list", false, reply, {}, 1, "1 10 [ee] 99 2|3 msg match size is 0.|"},
        {"standard, one entry: the search needs two", false, reply, {{"AA55", 0}}, 1, "17 10 [ee] 99 2|"},
        {"standard, second of three candidates", false, three, kReply1, 1, "0 24 [ee 01 02 03 04] 5 0|" + firstFails},
        {"variant, one entry", true, reply, {{"AA55", 0}}, 1, "18 10 [ee] 99 2|"},
        {"variant, second of three candidates", true, three, {{"AA55", 0}, {"1", 3}}, 1,
         "0 24 [ee 01 02 03 04] 4 0|" + firstFails},
    });
    // clang-format on
}
