// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/logging.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace hardware::velta {

/** Collects what is logged while it lives, as "<severity letter> <tag> <message>" lines. */
class LogCapture {
  public:
    LogCapture()
        : previous_(android::base::SetLogger([this](android::base::LogId /*id*/,
                                                    android::base::LogSeverity severity,
                                                    const char* tag, const char* /*file*/,
                                                    unsigned int /*line*/, const char* message) {
              lines_.push_back(std::string(1, "VDIWEFF"[severity]) + " " +
                               (tag == nullptr ? "" : tag) + " " + message);
          })) {}
    ~LogCapture() { android::base::SetLogger(std::move(previous_)); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /** @return the lines so far. */
    const std::vector<std::string>& lines() const { return lines_; }

    /** @return how many lines are exactly line. */
    size_t Count(const std::string& line) const {
        return static_cast<size_t>(std::count(lines_.begin(), lines_.end(), line));
    }

  private:
    std::vector<std::string> lines_;
    android::base::LogFunction previous_;
};

}  // namespace hardware::velta
