// Runs a fuzzer over files and folders of inputs: what it has found once is tried again everywhere, also
// where there is no libFuzzer. With the C library alone, which MemorySanitizer knows.
//
//     NAME_replay FILE.. FOLDER..
#define _FILE_OFFSET_BITS 64 // folders of file systems of today, where long has 32 bits
#include <dirent.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);

namespace {

int inputs, unread;

void replayFile(const char* path) {
    FILE* const file = std::fopen(path, "rb");
    std::vector<uint8_t> bytes(1 << 20);
    const size_t size = file != nullptr ? std::fread(bytes.data(), 1, bytes.size(), file) : 0;
    const bool good = file != nullptr && std::ferror(file) == 0;
    if (file != nullptr)
        std::fclose(file);
    if (!good) {
        std::fprintf(stderr, "cannot read %s\n", path);
        unread++;
        return;
    }
    const std::vector<uint8_t> input(
        bytes.begin(), // of the exact size, so that what reads on is seen
        bytes.begin() + static_cast<ptrdiff_t>(size));
    LLVMFuzzerTestOneInput(input.data(), input.size());
    inputs++;
}

/// A file, or what is in a folder, in the order of the names.
void replay(const char* path) {
    dirent** entries;
    const int count = scandir(path, &entries, nullptr, alphasort);
    if (count < 0)
        return replayFile(path);
    for (int i = 0; i < count; i++) {
        char below[4096];
        std::snprintf(below, sizeof below, "%s/%s", path, entries[i]->d_name);
        if (entries[i]->d_name[0] != '.')
            replay(below);
        std::free(entries[i]);
    }
    std::free(entries);
}

} // namespace

int main(int argc, char** argv) {
    LLVMFuzzerTestOneInput(nullptr, 0);
    for (int i = 1; i < argc; i++)
        replay(argv[i]);
    std::printf("%d inputs\n", inputs);
    return inputs > 0 && unread == 0 ? 0 : 1;
}
