#include "FuzzSupport.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <system_error>

namespace fuzz
{

std::string Input::bytes(size_t count)
{
    const size_t n = count < left() ? count : left();
    std::string out(reinterpret_cast<const char*>(m_data) + m_pos, n);
    m_pos += n;
    return out;
}

void finding(const char* file, int line, const std::string& what)
{
    std::fprintf(stderr, "%s:%d: %s\n", file, line, what.c_str());
    std::fflush(stderr);
    std::abort();
}

namespace
{

class ScratchDir
{
public:
    ScratchDir()
    {
        namespace fs = std::filesystem;
        std::random_device seed;
        std::mt19937_64 name(seed());
        for (int attempt = 0; attempt < 100 && m_path.empty(); ++attempt)
        {
            const fs::path candidate = fs::temp_directory_path() / ("zorv-fuzz-" + std::to_string(name()));
            std::error_code error;
            if (fs::create_directory(candidate, error))
            {
                m_path = candidate.string();
            }
        }
        if (m_path.empty())
        {
            finding(__FILE__, __LINE__, "cannot create a scratch directory");
        }
    }
    ~ScratchDir()
    {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

}  // namespace

const std::string& scratchDir()
{
    static const ScratchDir dir;
    return dir.path();
}

bool sealedFrame(const std::string& frame)
{
    if (frame.size() < 4)
    {
        return false;
    }
    unsigned int sum = 0x5555;
    for (size_t i = 2; i + 2 < frame.size(); ++i)
    {
        sum += static_cast<unsigned char>(frame[i]);
    }
    return static_cast<unsigned char>(frame[frame.size() - 2]) == (sum & 0xFF) &&
           static_cast<unsigned char>(frame[frame.size() - 1]) == ((sum >> 8) & 0xFF);
}

}  // namespace fuzz
