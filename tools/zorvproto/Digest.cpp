#include "Digest.h"

#include "HexInput.h"

#include <openssl/evp.h>

#include <fstream>
#include <memory>
#include <stdexcept>
#include <vector>

namespace zorvproto
{

std::string sha256OfFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
    {
        throw std::runtime_error("cannot open " + path);
    }
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    if (!ctx || EVP_DigestInit_ex(ctx.get(), EVP_sha256(), nullptr) != 1)
    {
        throw std::runtime_error("SHA-256 is not available");
    }
    std::vector<char> chunk(1 << 16);
    while (file)
    {
        file.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        const auto got = static_cast<size_t>(file.gcount());
        if (got != 0 && EVP_DigestUpdate(ctx.get(), chunk.data(), got) != 1)
        {
            throw std::runtime_error("SHA-256 failed on " + path);
        }
    }
    if (file.bad())
    {
        throw std::runtime_error("cannot read " + path);
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (EVP_DigestFinal_ex(ctx.get(), digest, &size) != 1)
    {
        throw std::runtime_error("SHA-256 failed on " + path);
    }
    return toHex(std::string_view(reinterpret_cast<const char*>(digest), size));
}

}  // namespace zorvproto
