// Splitting a stream of device reports into decoded, acknowledged reports.
#include "ProtoBase.h"

#include "log/LogCall.h"
#include "log/LogSignature.h"

#include <stdexcept>

namespace
{
const char* const SIG_analyze_DeviceReportData =
    "void __cdecl ProtoBase::analyze_DeviceReportData(" ZSIG_STRING " &," ZSIG_REPORT_VECTOR " &)";
const char* const SIG_upPackageListWithoutLabelMatching =
    "void __cdecl ProtoBase::upPackageListWithoutLabelMatching(" ZSIG_STRING " &,const " ZSIG_MATCH_VECTOR
    " &," ZSIG_STRING_VECTOR " &," ZSIG_STRING_VECTOR " &)";

// Reports are split at the server head 0x55 0xAA. That is the key the
// devices' report streams are cut at, although the records decoded from them
// carry the device head: required as it stands.
const char* const kReportSplitKey = "55AA";

// The acknowledgement is built from the decoder's ack, which starts at 255 so
// that a report too short to decode is answered as invalid.
constexpr unsigned char kUndecodedAck = 255;
}  // namespace

void ProtoBase::upPackageListWithoutLabelMatching(std::string& buffer,
                                                  const std::vector<ST_MSGToHardDriverMatchOne>& match,
                                                  std::vector<std::string>& okList,
                                                  std::vector<std::string>& failedList)
{
    ZLOG(0, SIG_upPackageListWithoutLabelMatching,
         "-----analyze_DeviceReportData ,upPackageListWithoutLabelMatching start ...");
    if (match.empty())
    {
        throw std::out_of_range("invalid vector<T> subscript");
    }
    std::string head;
    hexStringToBytes(match[0].key, head);
    auto sort = [this, &okList, &failedList](std::string piece) {
        const bool good = reviseOk(piece, 0, piece.size());
        (good ? okList : failedList).push_back(std::move(piece));
    };
    size_t start = 0;
    int prev = -1;
    for (;;)
    {
        const int pos = findFrom(buffer, head, start);
        // An empty head is found again where the last one was: stop there.
        if (pos < 0 || pos == prev)
        {
            break;
        }
        if (prev >= 0)
        {
            sort(buffer.substr(static_cast<size_t>(prev), static_cast<size_t>(pos - prev)));
        }
        prev = pos;
        start = static_cast<size_t>(pos) + head.size();
    }
    if (prev >= 0)
    {
        sort(buffer.substr(static_cast<size_t>(prev)));
    }
    else
    {
        failedList.push_back(buffer);
    }
    buffer.clear();
    ZLOG(0, SIG_upPackageListWithoutLabelMatching,
         "-----analyze_DeviceReportData ,upPackageListWithoutLabelMatching end ...");
}

void ProtoBase::analyze_DeviceReportData(std::string& buffer, std::vector<ST_DeviceAutoReportResponseInfo>& reports)
{
    ZLOG(0, SIG_analyze_DeviceReportData, "-----analyze_DeviceReportData ,analyze start ...");
    const std::vector<ST_MSGToHardDriverMatchOne> match{{kReportSplitKey, 0}};
    std::vector<std::string> okList;
    std::vector<std::string> failedList;
    upPackageListWithoutLabelMatching(buffer, match, okList, failedList);
    reports.reserve(reports.size() + okList.size() + failedList.size());
    for (size_t i = 0; i < okList.size(); ++i)
    {
        ZLOG(0, SIG_analyze_DeviceReportData, "-----analyze_DeviceReportData ,analyze strprotoOKPackageLst[%d] .",
             static_cast<int>(i));
        ST_DeviceAutoReportResponseInfo info;
        getDeviceReportDataToProtoResponse(okList[i], kUndecodedAck, info);
        reports.push_back(std::move(info));
    }
    for (size_t i = 0; i < failedList.size(); ++i)
    {
        ZLOG(0, SIG_analyze_DeviceReportData, "-----analyze_DeviceReportData ,analyze strprotoFailedPackageLst[%d] .",
             static_cast<int>(i));
        ST_DeviceAutoReportResponseInfo info;
        getDeviceReportDataToProtoResponse(failedList[i], kUndecodedAck, info);
        reports.push_back(std::move(info));
    }
}
