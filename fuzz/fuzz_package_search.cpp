// The package search with a match list the input chooses, and the report
// stream's split without label matching with the same list.
//
// Input: the match list, then the buffer.
#include "FuzzRequest.h"
#include "analyzers/ProtoAnalyze3rd.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input in(data, size);
    const std::vector<ST_MSGToHardDriverMatchOne> match = fuzz::readMatchList(in);
    const std::string buffer = in.rest();
    ProtoAnalyze3rd proto;

    int offset = -2;
    std::vector<std::string> packages;
    bool found = false;
    // A buffer of one frame or less holding a second head can make the
    // search take a substring from "none": that escapes as this exception.
    if (fuzz::survives("invalid string position",
                       [&] { found = proto.findPackageList(buffer, match, offset, packages); }))
    {
        FUZZ_CHECK(found == !packages.empty());
        if (found)
        {
            // The packages cut the buffer from the first head on, in order.
            FUZZ_CHECK(offset >= 0 && static_cast<size_t>(offset) <= buffer.size());
            std::string joined;
            for (const std::string& package : packages)
            {
                joined += package;
            }
            FUZZ_CHECK(joined == buffer.substr(static_cast<size_t>(offset)));
        }
    }

    std::string stream = buffer;
    std::vector<std::string> ok;
    std::vector<std::string> failed;
    const bool split = fuzz::survives("invalid vector<T> subscript",
                                      [&] { proto.upPackageListWithoutLabelMatching(stream, match, ok, failed); });
    FUZZ_CHECK(split != match.empty());
    FUZZ_CHECK(!split || (stream.empty() && ok.size() + failed.size() >= 1));
    return 0;
}
