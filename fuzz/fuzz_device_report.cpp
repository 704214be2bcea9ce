// Streams of device reports split, decoded and acknowledged through the
// facade, under either key or (bit 1 of the first byte) one no analyzer has.
#include "FuzzSupport.h"
#include "protostub/ProtoStub.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input in(data, size);
    const uint8_t flags = in.byte();
    const bool unknownKey = (flags & 0x02) != 0;
    const std::string key = unknownKey ? "3rd-PROTO" : (flags & 0x01) != 0 ? "3rdOrvane-proto" : "3rd-proto";
    std::string buffer = in.rest();
    ProtoStub stub;
    std::vector<ST_DeviceAutoReportResponseInfo> reports;
    const bool returned =
        fuzz::survives("invalid map<K, T> key", [&] { stub.analyze_DeviceReportData(buffer, key, reports); });
    FUZZ_CHECK(returned != unknownKey);
    if (!returned)
    {
        return 0;
    }
    FUZZ_CHECK(buffer.empty() && !reports.empty());
    for (const ST_DeviceAutoReportResponseInfo& report : reports)
    {
        FUZZ_CHECK(report.response != nullptr && report.answer != nullptr);
        FUZZ_CHECK(report.answer->size() == 20 && fuzz::sealedFrame(*report.answer));
    }
    return 0;
}
