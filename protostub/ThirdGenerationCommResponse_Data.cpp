#include "ThirdGenerationCommResponse_Data.h"

namespace INTER_ST
{

ThirdGenerationCommResponse_Data::ThirdGenerationCommResponse_Data() = default;
ThirdGenerationCommResponse_Data::ThirdGenerationCommResponse_Data(const ThirdGenerationCommResponse_Data& other) =
    default;
ThirdGenerationCommResponse_Data::ThirdGenerationCommResponse_Data(ThirdGenerationCommResponse_Data&& other) noexcept =
    default;
ThirdGenerationCommResponse_Data& ThirdGenerationCommResponse_Data::operator=(
    const ThirdGenerationCommResponse_Data& other) = default;
ThirdGenerationCommResponse_Data& ThirdGenerationCommResponse_Data::operator=(
    ThirdGenerationCommResponse_Data&& other) noexcept = default;
ThirdGenerationCommResponse_Data::~ThirdGenerationCommResponse_Data() = default;

}  // namespace INTER_ST
