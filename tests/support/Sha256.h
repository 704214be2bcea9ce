// SHA-256 in pieces, for comparing big transfers without holding them.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

class Sha256
{
public:
    Sha256();
    void add(std::string_view bytes);
    // The digest as 64 hex digits; the object is spent afterwards.
    std::string hex();

private:
    void block(const unsigned char* p);

    std::array<std::uint32_t, 8> m_state;
    std::array<unsigned char, 64> m_pending{};
    std::size_t m_used = 0;
    std::uint64_t m_bytes = 0;
};
