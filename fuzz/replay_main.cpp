// Runs a fuzz target without the fuzzing engine: every file named on the
// command line, and every file in every directory named there, is handed to
// the target once, in name order. Exits 1 if it was given nothing to run.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv)
{
    namespace fs = std::filesystem;
    LLVMFuzzerInitialize(&argc, &argv);
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i)
    {
        const fs::path path(argv[i]);
        if (fs::is_directory(path))
        {
            std::vector<fs::path> files;
            for (const fs::directory_entry& entry : fs::directory_iterator(path))
            {
                if (entry.is_regular_file())
                {
                    files.push_back(entry.path());
                }
            }
            std::sort(files.begin(), files.end());
            inputs.insert(inputs.end(), files.begin(), files.end());
        }
        else if (fs::is_regular_file(path))
        {
            inputs.push_back(path);
        }
        else
        {
            std::fprintf(stderr, "%s: no such file or directory\n", argv[i]);
            return 2;
        }
    }
    for (const fs::path& path : inputs)
    {
        std::ifstream file(path, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        std::printf("%s (%zu bytes)\n", path.string().c_str(), bytes.size());
        std::fflush(stdout);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("replayed %zu inputs\n", inputs.size());
    return inputs.empty() ? 1 : 0;
}
