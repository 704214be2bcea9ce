// Recognition of a whole device frame at the start of a buffer.
#include "FuzzSupport.h"
#include "protostub/ProtoStub.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string buffer(reinterpret_cast<const char*>(data), size);
    unsigned long long frameLen = 0;
    fuzz::survives(nullptr, [&] {
        if (ProtoStub::isGeneralThirdPackage(buffer, frameLen))
        {
            FUZZ_CHECK(frameLen >= 20 && frameLen <= buffer.size());
        }
    });
    return 0;
}
