// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>

namespace hardware::velta {

/** A file in memory with a path, for what takes paths only. */
class InputFile {
  public:
    explicit InputFile(std::string_view bytes) : fd_(memfd_create("input", MFD_CLOEXEC)) {
        if (fd_ < 0 ||
            write(fd_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
            abort();
        }
    }
    ~InputFile() { close(fd_); }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

  private:
    int fd_;
};

}  // namespace hardware::velta
