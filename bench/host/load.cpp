// SPDX-License-Identifier: Apache-2.0

// A configuration file into a map of strings. The floor reads the file at once and cuts it by hand.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <string_view>

#include "bench/host/task.h"
#include "net/config_utils.h"

namespace hardware::velta::bench {
namespace {

class Load : public Task {
  public:
    explicit Load(int lines) : path_("/tmp/uwb_bench." + std::to_string(getpid()) + ".conf") {
        std::ofstream file(path_);
        for (int i = 0; i < lines; i++) {
            char key[32];
            snprintf(key, sizeof(key), "ant%d_ch%d_k%05d", i % 5, i % 2 == 0 ? 5 : 9, i);
            file << key << " = " << 16000 + i << (i % 4 == 0 ? "   # measured" : "") << "\n";
        }
    }
    ~Load() override { unlink(path_.c_str()); }

  protected:
    std::string path_;
};

class OurLoad : public Load {
  public:
    using Load::Load;
    void Prepare() override { config_.Clear(); }
    void Run() override { config_.Load(path_.c_str()); }
    std::string Result() override {
        std::string text;
        for (const auto& [key, value] : config_) text.append(key).append("=").append(value + "\n");
        return text;
    }

  private:
    ConfigUtils config_;
};

class PlainLoad : public Load {
  public:
    using Load::Load;
    void Prepare() override { entries_.clear(); }
    void Run() override;
    std::string Result() override {
        std::string text;
        for (const auto& [key, value] : entries_) text.append(key).append("=").append(value + "\n");
        return text;
    }

  private:
    static std::string_view Trim(std::string_view text) {
        const size_t from = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
        text.remove_prefix(from);
        return text.substr(0, text.find_last_not_of(" \t\n\v\f\r") + 1);
    }
    void ReadLine(std::string_view line) {
        line = line.substr(0, line.find_first_of(";#"));
        line = line.substr(0, line.find("//"));
        const size_t equals = line.find('=');
        if (equals == line.npos || equals + 1 == line.size()) return;
        entries_.insert_or_assign(std::string(Trim(line.substr(0, equals))),
                                  std::string(Trim(line.substr(equals + 1))));
    }

    std::map<std::string, std::string> entries_;
};

void PlainLoad::Run() {
    const int fd = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info = {};
    fstat(fd, &info);
    std::string text(static_cast<size_t>(info.st_size), '\0');
    const ssize_t size = read(fd, text.data(), text.size());
    close(fd);
    std::string_view rest(text.data(), static_cast<size_t>(std::max<ssize_t>(size, 0)));
    while (!rest.empty()) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        ReadLine(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
}

}  // namespace

std::unique_ptr<Task> NewLoad(int lines) {
    return std::make_unique<OurLoad>(lines);
}

std::unique_ptr<Task> NewPlainLoad(int lines) {
    return std::make_unique<PlainLoad>(lines);
}

}  // namespace hardware::velta::bench
