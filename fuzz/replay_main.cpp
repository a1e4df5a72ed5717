// SPDX-License-Identifier: Apache-2.0

// Stands for libFuzzer where inputs are only played again: files, and all files of folders.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" {
int LLVMFuzzerInitialize(int* argc, char*** argv) __attribute__((weak));
int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
// Mutators are linked but not called.
size_t LLVMFuzzerMutate(uint8_t* /*data*/, size_t size, size_t /*max_size*/) {
    return size;
}
}

namespace {

size_t Replay(const std::filesystem::path& path) {
    size_t count = 0;
    if (std::filesystem::is_directory(path)) {
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            count += Replay(entry.path());
        }
        return count;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open()) {
        fprintf(stderr, "error: cannot read %s\n", path.c_str());
        exit(2);
    }
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    // Said before: a sanitizer's report ends the process.
    fprintf(stderr, "%s\n", path.c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argc, &argv);
    size_t count = 0;
    for (int i = 1; i < argc; i++) count += Replay(argv[i]);
    printf("replayed %zu inputs\n", count);
    return count == 0 ? 2 : 0;
}
