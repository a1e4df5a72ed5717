// SPDX-License-Identifier: Apache-2.0
#include "fuzz/kernel_coverage.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace hardware::velta {
namespace {

// As in sim/radio/tests/coverage.c: how often each block has run, then whether it ever has.
constexpr size_t kBlocks = 1 << 15;
constexpr size_t kPage = 4096;
constexpr const char* kFile = "/sys/kernel/debug/mcps802154_sim/coverage";

// libFuzzer clears what is in this section before each input, and looks at it afterwards.
__attribute__((used, section("__libfuzzer_extra_counters"), aligned(kPage)))
uint8_t counters[kBlocks];

uint8_t* seen = nullptr;

void WriteSeen() {
    const char* path = getenv("FUZZ_BLOCKS");
    FILE* file = path == nullptr ? nullptr : fopen(path, "we");
    if (file == nullptr) return;
    fwrite(seen, 1, kBlocks, file);
    fclose(file);
}

}  // namespace

void MapKernelCoverage() {
    const int fd = open(kFile, O_RDWR | O_CLOEXEC);
    const int access = PROT_READ | PROT_WRITE;
    void* hits = mmap(counters, kBlocks, access, MAP_SHARED | MAP_FIXED, fd, 0);
    void* ever = mmap(nullptr, kBlocks, access, MAP_SHARED, fd, kBlocks);
    if (hits == MAP_FAILED || ever == MAP_FAILED) {
        perror(kFile);
        exit(2);
    }
    close(fd);
    seen = static_cast<uint8_t*>(ever);
    // Loading it has run some, too.
    memset(seen, 0, kBlocks);
    atexit(WriteSeen);
}

}  // namespace hardware::velta
