// SHA-256 of a file, for comparing what went to a device with what came back.
#pragma once

#include <string>

namespace zorvproto
{

// The file's SHA-256 as 64 lowercase hex digits; throws std::runtime_error
// when the file cannot be read.
std::string sha256OfFile(const std::string& path);

}  // namespace zorvproto
