// SPDX-License-Identifier: Apache-2.0
#include "bench/device/guest.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace hardware::velta::bench {
namespace {

constexpr char kRadioFolder[] = "/sys/kernel/debug/mcps802154_sim/";

void Exec(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
    for (const std::string& variable : environment) {
        const size_t equals = variable.find('=');
        setenv(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str(), 1);
    }
    const int fd = open(kProcessLog, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    dup2(fd, STDOUT_FILENO);
    dup2(fd, STDERR_FILENO);
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.data()));
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(127);
}

int OptionOf(int fd, int option) {
    int value = 0;
    socklen_t size = sizeof(value);
    return getsockopt(fd, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

}  // namespace

int64_t NowNs() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

double MicrosecondsSince(int64_t start_ns) {
    return static_cast<double>(NowNs() - start_ns) / 1e3;
}

Process::Process(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& environment)
    : pid_(fork()) {
    if (pid_ == 0) Exec(arguments, environment);
    if (pid_ < 0) throw Failure(std::string("fork: ") + strerror(errno));
}

Process::~Process() {
    Stop(SIGTERM);
}

void Process::Stop(int signal) {
    if (pid_ <= 0) return;
    kill(pid_, signal);
    waitpid(pid_, nullptr, 0);
    pid_ = 0;
}

std::string ReadText(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteText(const std::string& path, const std::string& text) {
    // At once: the radio takes each write() for a text of its own.
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const ssize_t written = write(fd, text.data(), text.size());
    close(fd);
    if (written != static_cast<ssize_t>(text.size())) throw Failure(path + " cannot be written");
}

int64_t CpuTimeNs(pid_t pid) {
    int64_t sum = 0;
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        int64_t running = 0;
        std::istringstream(ReadText(task.path().string() + "/schedstat")) >> running;
        sum += running;
    }
    return sum;
}

double PssKib(pid_t pid) {
    std::istringstream lines(ReadText("/proc/" + std::to_string(pid) + "/smaps_rollup"));
    for (std::string word; lines >> word;) {
        if (word != "Pss:") continue;
        double kib = 0;
        lines >> kib;
        return kib;
    }
    throw Failure("no proportional set size in /proc");
}

int NetlinkReceiveBuffer(pid_t pid) {
    int largest = 0;
    const auto pid_fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd")) {
        const int number = std::stoi(entry.path().filename().string());
        const auto fd = static_cast<int>(syscall(SYS_pidfd_getfd, pid_fd, number, 0));
        if (fd < 0) continue;
        if (OptionOf(fd, SO_DOMAIN) == AF_NETLINK) {
            largest = std::max(largest, OptionOf(fd, SO_RCVBUF));
        }
        close(fd);
    }
    close(pid_fd);
    return largest;
}

void TellRadio(const std::string& file, const std::string& lines) {
    WriteText(kRadioFolder + file, lines + "\n");
}

}  // namespace hardware::velta::bench
