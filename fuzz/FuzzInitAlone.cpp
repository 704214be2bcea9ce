// The set-up of the targets that link the frame codec or the decode library
// alone: there is no logger to quiet and no file to write.
#include "FuzzSupport.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    return 0;
}
