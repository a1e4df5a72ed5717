// SPDX-License-Identifier: Apache-2.0

// Floor of a call that needs no kernel: a polled binder service that does nothing else.
//   uwb_bare_service NAME [log]      with "log" each call writes one line, such as a log has
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "bench/floors/floor_controller.h"
#include "bench/floors/polled_process.h"

namespace hardware::velta::bench {
namespace {

class BareController : public FloorController {
  public:
    explicit BareController(bool logs) : logs_(logs) {}
    Status getSessionCount(int32_t* count) override {
        if (logs_) WriteLine(__func__);
        *count = 0;
        return Status::ok();
    }

  private:
    // What a line of a log holds, formatted by the C library and written at once.
    static void WriteLine(const char* message) {
        timespec now = {};
        clock_gettime(CLOCK_REALTIME, &now);
        tm local = {};
        localtime_r(&now.tv_sec, &local);
        std::array<char, 32> stamp = {};
        strftime(stamp.data(), stamp.size(), "%m-%d %H:%M:%S", &local);
        std::array<char, 256> line = {};
        const int size =
            snprintf(line.data(), line.size(), "%s.%03ld %5d %5d I %s: %s\n", stamp.data(),
                     now.tv_nsec / 1000000, getpid(), gettid(), "velta.uwb.bare", message);
        if (size > 0 && write(STDERR_FILENO, line.data(), static_cast<size_t>(size)) < 0) abort();
    }

    bool logs_;
};

}  // namespace
}  // namespace hardware::velta::bench

int main(int argc, char** argv) {
    using namespace hardware::velta::bench;
    if (argc < 2) return 2;
    const bool logs = argc > 2 && strcmp(argv[2], "log") == 0;
    const auto controller = ndk::SharedRefBase::make<BareController>(logs);
    RunPolled(
        controller->asBinder(), FloorInstance(argv[1]), [] { return -1; }, [] {});
}
