// Runs a fuzzer over files and folders of inputs: what it has found once is tried again everywhere, also
// where there is no libFuzzer.
//
//     NAME_replay FILE.. FOLDER..
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);

namespace {

bool replay(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad()) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return false;
    }
    // Of the exact size, so that what reads on is seen.
    const std::vector<uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> paths;
    for (int i = 1; i < argc; i++) {
        if (!std::filesystem::is_directory(argv[i])) {
            paths.emplace_back(argv[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i]))
            if (entry.is_regular_file())
                paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    LLVMFuzzerTestOneInput(nullptr, 0);
    const bool all = std::all_of(paths.begin(), paths.end(), replay);
    std::printf("%zu inputs\n", paths.size());
    return all && !paths.empty() ? 0 : 1;
}
