// Runs a fuzz target over files, without libFuzzer: replay FILE_OR_FOLDER...
// So every compiler's build repeats what was found once.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> Files(int argc, char** argv) {
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        if (fs::is_directory(argv[i]))
            std::copy(fs::directory_iterator(argv[i]), fs::directory_iterator(), std::back_inserter(files));
        else
            files.emplace_back(argv[i]);
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<fs::path> files = Files(argc, argv);
    for (const fs::path& path : files) {
        std::ifstream     file(path, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        std::printf("%s, %zu bytes\n", path.c_str(), bytes.size());
        std::fflush(stdout);  // the last one named is the one that failed
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
