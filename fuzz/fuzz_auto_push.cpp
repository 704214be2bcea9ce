// Frames a device pushes of its own accord: the facade's classification (and
// the variant's decoding of reports it does there), and the variant's report
// decoding at an offset the input chooses.
//
// Input: the offset (4 bytes) for the direct decoding, then the frame.
#include "FuzzSupport.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "protostub/ProtoStub.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input in(data, size);
    unsigned long long offset = in.dword();
    const std::string buffer = in.rest();
    ProtoStub stub;
    unsigned long long frameLen = 0;
    bool flag = false;
    std::vector<ST_DeviceAutoReportResponseInfo> reports;
    em_ProtoAnalyze code = emProtoSuccess;
    fuzz::survives(nullptr, [&] { code = stub.isAutoPushThirdPackage(buffer, frameLen, flag, reports); });
    FUZZ_CHECK(code == emProtoSuccess || code == emProtoBadHeader || code == emProtoFrameShort ||
               code == emProtoNotAutoPush || code == emProtoFailed);
    FUZZ_CHECK(frameLen <= buffer.size());
    FUZZ_CHECK(reports.size() == (frameLen != 0 ? 1u : 0u));
    for (const ST_DeviceAutoReportResponseInfo& report : reports)
    {
        FUZZ_CHECK(report.response != nullptr && report.answer != nullptr);
        FUZZ_CHECK(report.answer->size() == 38 && fuzz::sealedFrame(*report.answer));
    }

    ProtoAnalyze3rd_Orvane variant;
    reports.clear();
    fuzz::survives(nullptr, [&] {
        FUZZ_CHECK(variant.analyze_DeviceReportPushData(reports, buffer, offset) == emProtoSuccess);
    });
    FUZZ_CHECK(reports.size() == 1 && reports[0].answer != nullptr);
    FUZZ_CHECK(reports[0].answer->size() == 38 && fuzz::sealedFrame(*reports[0].answer));
    return 0;
}
