// Device report streams: splitting at 55 AA into good and failed packages,
// decoding each into a report, and the 20-byte acknowledgement of a report.
#include "analyzers/ProtoAnalyze3rd.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <stdexcept>

namespace
{
// Reports and their acknowledgements, checksums worked out by hand.
const char* const kR1 = "55 aa 00 07 01 02 03 04 05 06 00 00 10 00 00 00 00 00 81 55";
const char* const kAck1 = "aa 55 00 07 02 01 03 04 05 06 00 00 10 00 00 00 00 00 81 55";
const char* const kR2 = "55 aa 05 20 11 22 33 44 55 66 00 01 10 20 30 40 02 00 ab cd fa 58";
const char* const kAck2 = "aa 55 02 20 22 11 33 44 55 66 00 01 10 20 30 40 00 00 7d 57";
const char* const kBroken = "55 aa 00 09 01 02 03 04 05 06 00 00 10 00 00 00 00 00 00 00";
const char* const kAckBroken = "aa 55 00 09 02 01 03 04 05 06 00 00 10 00 00 00 00 00 83 55";
const char* const kInvalidAck = "aa 55 02 00 fe ff 00 00 00 00 01 00 00 00 00 00 00 00 55 57";
// A device-head frame (AA 55) and its acknowledgement, which happen to match.
const char* const kDeviceFrame = "aa 55 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 56 55";

const char* const kSigAnalyze =
    "void __cdecl ProtoBase::analyze_DeviceReportData(class std::basic_string<char,struct std::char_traits<char>,class "
    "std::allocator<char> > &,class std::vector<struct ST_DeviceAutoReportResponseInfo,class std::allocator<struct "
    "ST_DeviceAutoReportResponseInfo> > &)";
const char* const kSigSplit =
    "void __cdecl ProtoBase::upPackageListWithoutLabelMatching(class std::basic_string<char,struct "
    "std::char_traits<char>,class std::allocator<char> > &,const class std::vector<struct "
    "ST_MSGToHardDriverMatchOne,class std::allocator<struct ST_MSGToHardDriverMatchOne> > &,class std::vector<class "
    "std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> >,class std::allocator<class "
    "std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> > > > &,class std::vector<class "
    "std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> >,class std::allocator<class "
    "std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> > > > &)";

std::string cat(std::initializer_list<const char*> parts)
{
    std::string out;
    for (const char* part : parts)
    {
        out += hexBytes(part);
    }
    return out;
}
} // namespace

class ReportSplittingTest : public LogCaptureTest
{
protected:
    ProtoAnalyze3rd proto;
};

TEST_F(ReportSplittingTest, AcknowledgementCrossesAddressesAndFlagsAnyAck)
{
    struct Case
    {
        const char* name;
        std::string report;
        unsigned char ack;
        const char* expected;
        const char* log;  // the level-3 line, or nullptr
    };
    const Case cases[] = {
        {"ack 0 answers 0", hexBytes(kR1), 0, kAck1, nullptr},
        {"non-zero ack answers 2", hexBytes(kR2), 5, kAck2, nullptr},
        {"ack 255 answers 2", hexBytes(kR2), 255, kAck2, nullptr},
        {"19 bytes get the invalid frame", hexBytes(kR1).substr(0, 19), 0, kInvalidAck,
         " invalid package , size is [19] "},
        {"empty gets the invalid frame", "", 0, kInvalidAck, " invalid package , size is [0] "},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        auto answer = std::make_shared<std::string>("stale");
        proto.getResponseDataFromDeviceReport(c.report, c.ack, answer);
        EXPECT_EQ(c.expected, toHex(*answer));
        EXPECT_EQ(c.log ? 1u : 0u, records().size());
        if (c.log)
        {
            EXPECT_TRUE(logged(ZORV_LOG_WARN, c.log));
        }
    }
}

TEST_F(ReportSplittingTest, EmptyMatchListThrowsVectorSubscriptAndKeepsBuffer)
{
    std::string buffer = hexBytes(kR1);
    std::vector<std::string> ok;
    std::vector<std::string> failed;
    try
    {
        proto.upPackageListWithoutLabelMatching(buffer, {}, ok, failed);
        FAIL() << "no exception";
    }
    catch (const std::out_of_range& e)
    {
        EXPECT_STREQ("invalid vector<T> subscript", e.what());
    }
    EXPECT_EQ(kR1, toHex(buffer));
    EXPECT_TRUE(ok.empty() && failed.empty());
    const std::vector<std::string> expected{
        "-----analyze_DeviceReportData ,upPackageListWithoutLabelMatching start ..."};
    EXPECT_EQ(expected, messages());
}

TEST_F(ReportSplittingTest, ReportsGoodPackagesFirstThenFailedOnes)
{
    struct Case
    {
        const char* name;
        std::string buffer;
        std::vector<std::pair<const char*, int>> reports;  // acknowledgement, ack byte
    };
    const Case cases[] = {
        {"good, broken, good behind garbage",
         cat({"01 02 03", kR1, kBroken, kR2}),
         {{kAck1, 0}, {kAck2, 5}, {kAckBroken, 0}}},
        {"empty buffer gives one invalid report", "", {{kInvalidAck, 255}}},
        {"no head gives one report", hexBytes("01 02 03"), {{kInvalidAck, 255}}},
        {"one device-head frame is one failed report", hexBytes(kDeviceFrame), {{kDeviceFrame, 0}}},
        // The first frame's checksum ends in 55 and the second starts AA: the
        // split falls there, and the piece is 55 followed by the second frame.
        {"device-head frames split only at a 55 AA pair",
         cat({kDeviceFrame, kDeviceFrame}),
         {{"aa 55 02 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 58 55", 0x55}}},
        {"garbage after a frame makes it fail", cat({kR1, "ee", kR2}), {{kAck2, 5}, {kAck1, 0}}},
        {"a head inside data cuts two short failed pieces",
         hexBytes("55 aa 00 01 00 00 00 00 00 00 00 00 00 00 00 00 02 00 55 aa 57 56"),
         {{kInvalidAck, 255}, {kInvalidAck, 255}}},
        {"a lone head is an invalid report", cat({kR1, "55 aa"}), {{kAck1, 0}, {kInvalidAck, 255}}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::string buffer = c.buffer;
        std::vector<ST_DeviceAutoReportResponseInfo> reports(1);
        proto.analyze_DeviceReportData(buffer, reports);
        EXPECT_TRUE(buffer.empty());
        ASSERT_EQ(c.reports.size() + 1, reports.size());
        EXPECT_EQ(nullptr, reports[0].answer);
        for (size_t i = 0; i < c.reports.size(); ++i)
        {
            const ST_DeviceAutoReportResponseInfo& info = reports[i + 1];
            ASSERT_TRUE(info.answer && info.response);
            EXPECT_EQ(c.reports[i].first, toHex(*info.answer)) << "report " << i;
            EXPECT_EQ(c.reports[i].second, info.ack) << "report " << i;
            EXPECT_TRUE(info.reserved.empty());
        }
    }
}

TEST_F(ReportSplittingTest, DecodesEachReportAndLogsEveryStep)
{
    std::string buffer = cat({"01 02 03", kR1, kBroken, kR2});
    std::vector<ST_DeviceAutoReportResponseInfo> reports;
    proto.analyze_DeviceReportData(buffer, reports);
    ASSERT_EQ(3u, reports.size());
    const INTER_ST::ThirdGenerationCommResponse_Data& r2 = *reports[1].response;
    EXPECT_EQ(0xAA, r2.head[0]);
    EXPECT_EQ(0x55, r2.head[1]);
    EXPECT_EQ(5, r2.ack);
    EXPECT_EQ(0x20, r2.label);
    EXPECT_EQ(0x11, r2.firstAddr);
    EXPECT_EQ(0x22, r2.secondAddr);
    EXPECT_EQ(2u, r2.validDataLength);
    EXPECT_EQ((std::vector<unsigned char>{0xAB, 0xCD}), r2.data);
    EXPECT_EQ(7, reports[0].response->label);
    EXPECT_EQ(9, reports[2].response->label);

    std::vector<std::pair<std::string, std::string>> lines;  // signature, message
    for (const zorvlog::LogRecord& r : records())
    {
        if (r.signature == kSigAnalyze || r.signature == kSigSplit)
        {
            EXPECT_EQ(ZORV_LOG_TRACE, r.level) << r.message;
            lines.emplace_back(r.signature, r.message);
        }
    }
    const std::vector<std::pair<std::string, std::string>> expected{
        {kSigAnalyze, "-----analyze_DeviceReportData ,analyze start ..."},
        {kSigSplit, "-----analyze_DeviceReportData ,upPackageListWithoutLabelMatching start ..."},
        {kSigSplit, "-----analyze_DeviceReportData ,upPackageListWithoutLabelMatching end ..."},
        {kSigAnalyze, "-----analyze_DeviceReportData ,analyze strprotoOKPackageLst[0] ."},
        {kSigAnalyze, "-----analyze_DeviceReportData ,analyze strprotoOKPackageLst[1] ."},
        {kSigAnalyze, "-----analyze_DeviceReportData ,analyze strprotoFailedPackageLst[0] ."},
    };
    EXPECT_EQ(expected, lines);
}
