// One device frame decoded into a reply record, and a report decoded and
// acknowledged.
//
// Input: flags (bit 0: no record), the ack the caller passes in, the frame.
#include "FuzzSupport.h"
#include "analyzers/ProtoAnalyze3rd.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input in(data, size);
    const uint8_t flags = in.byte();
    unsigned char ack = in.byte();
    const std::string frame = in.rest();
    ProtoAnalyze3rd proto;

    std::shared_ptr<INTER_ST::ThirdGenerationCommResponse_Data> record;
    if ((flags & 0x01) == 0)
    {
        record = std::make_shared<INTER_ST::ThirdGenerationCommResponse_Data>();
    }
    fuzz::survives(nullptr, [&] { proto.getThirdGenerationCommResponseData(frame, ack, record); });
    if (record != nullptr && frame.size() >= 20)
    {
        const unsigned int length = static_cast<unsigned char>(frame[16]) |
                                    static_cast<unsigned int>(static_cast<unsigned char>(frame[17])) << 8;
        FUZZ_CHECK(ack == static_cast<unsigned char>(frame[2]));
        FUZZ_CHECK(record->data.size() <= length);
        FUZZ_CHECK(record->scanBoardAddr.size() == 2 && record->registerAddr.size() == 4);
    }

    ST_DeviceAutoReportResponseInfo info;
    fuzz::survives(nullptr, [&] { proto.getDeviceReportDataToProtoResponse(frame, ack, info); });
    FUZZ_CHECK(info.response != nullptr && info.answer != nullptr);
    FUZZ_CHECK(info.answer->size() == 20 && fuzz::sealedFrame(*info.answer));
    return 0;
}
