// SPDX-License-Identifier: Apache-2.0

// The virtual radio as programs see it, on the virtual device: netlink messages, texts for its
// files, interfaces that come up and go down, sockets that are closed. Its module is one that was
// built for fuzzing and tells which of its code has run. Each input begins with radios at rest, and
// has to leave them so once its sockets are closed.
#include <fcntl.h>
#include <linux/netlink.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "fuzz/kernel_coverage.h"
#include "fuzz/netlink_messages.h"
#include "fuzz/radio_steps.h"

namespace hardware::velta {
namespace {

constexpr unsigned int kRadios = 2;
constexpr unsigned int kSockets = 3;
const std::string kFolder = "/sys/kernel/debug/mcps802154_sim/";
constexpr const char* kFiles[] = {"world",
                                  "paths",
                                  "faults",
                                  "radio0/state",
                                  "radio1/state",
                                  "radio0/calibration",
                                  "radio1/calibration"};

[[noreturn]] void Fail(const std::string& why) {
    fprintf(stderr, "error: %s: %s\n", why.c_str(), strerror(errno));
    abort();
}

class Fd {
  public:
    explicit Fd(int fd = -1) : fd_(fd) {}
    ~Fd() { Close(); }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }
    void Open(int fd) {
        Close();
        fd_ = fd;
    }
    void Close() {
        if (fd_ >= 0) close(std::exchange(fd_, -1));
    }

  private:
    int fd_;
};

std::string ReadInPieces(const std::string& path, size_t piece) {
    const Fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0) Fail(path);
    std::string text, buffer(piece, 0);
    constexpr size_t kEnough = 1 << 16;
    for (;;) {
        const ssize_t count = read(file.get(), buffer.data(), piece);
        if (count <= 0 || text.size() > kEnough) return text;
        text.append(buffer, 0, static_cast<size_t>(count));
    }
}

/** The radio's netlink family and its files. */
class Radio {
  public:
    Radio() : control_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        constexpr uint8_t kFindByName = 3;
        Bytes find = Wire(std::to_string(kFindByName) + " 2='mcps802154'");
        find[4] = NLMSG_MIN_TYPE;  // The family of families.
        find[6] = NLM_F_REQUEST;
        const Messages answer = ReadMessages(Exchange(find));
        if (answer.empty()) Fail("no answer about the family");
        for (const Attr& attr : answer[0].attrs) {
            if (attr.type == 1) memcpy(&family_, attr.value.data(), sizeof(family_));
        }
        if (family_ == 0) Fail("no family of the virtual radio");
    }

    void Take(const Step& step) {
        switch (step.kind % kRadioSteps) {
            case kRequest:
                return Send(step.argument % kSockets, step.bytes);
            case kCloseSocket:
                return sockets_[step.argument % kSockets].Close();
            case kWorldText:
                return WriteText("world", step.bytes);
            case kFaultsText:
                return WriteText("faults", step.bytes);
            case kReadFile:
                ReadInPieces(kFolder + kFiles[step.argument % std::size(kFiles)],
                             1 + static_cast<size_t>(step.argument) * 17);
                return;
            case kSetInterface:
                return SetInterface(step.argument & 1, (step.argument & 2) != 0);
            default:
                return Wait(step.argument);
        }
    }

    /** Everything that an input may have left, and what nobody takes back but by asking. */
    void Rest() {
        for (Fd& socket : sockets_) socket.Close();
        for (unsigned int radio = 0; radio < kRadios; radio++) SetInterface(radio, false);
        for (const char* text : {"clear", "0 report_keys refused\n1 report_keys refused"}) {
            WriteText("faults", Bytes(text, text + strlen(text)));
        }
        const std::string clear = "clear";
        WriteText("world", Bytes(clear.begin(), clear.end()));
        for (unsigned int radio = 0; radio < kRadios; radio++) {
            const std::string number = "1=w" + std::to_string(radio);
            Ask("3 " + number + " 3='default'");
            Ask("8 " + number +
                " 10{1{1='restricted_channels' 2=w0} 1{1='auto_sleep_margin' 2=w20000}}");
        }
        waited_ms_ = 0;
    }

    /** Ends the process when a radio is not as it was. */
    void RequireRest() {
        for (const char* file : {"radio0/state", "radio1/state"}) {
            const std::string state = ReadInPieces(kFolder + file, 4096);
            bool is_at_rest = state.find("scheduler default") != std::string::npos;
            for (const char* sign : {"running", "stopping", "fira_session", "region ",
                                     "interface up", "simple_ranging", "deep_sleep off"}) {
                is_at_rest = is_at_rest && state.find(sign) == std::string::npos;
            }
            errno = 0;
            if (!is_at_rest) Fail("not at rest:\n" + state);
        }
    }

  private:
    static int OpenSocket() {
        const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_GENERIC);
        const sockaddr_nl anybody = {.nl_family = AF_NETLINK};
        if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr*>(&anybody), sizeof(anybody)) != 0) {
            Fail("netlink socket");
        }
        return fd;
    }

    // Reads what is there: the kernel goes on with a list as it is read.
    static Bytes Drain(int fd) {
        Bytes first, buffer(1 << 15);
        constexpr int kEnough = 4096;
        for (int i = 0; i < kEnough; i++) {
            const ssize_t count = recv(fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
            if (count < 0 && errno == ENOBUFS) continue;
            if (count <= 0) break;
            if (first.empty()) first.assign(buffer.begin(), buffer.begin() + count);
        }
        return first;
    }

    static Bytes Exchange(const Bytes& request) {
        const Fd socket(OpenSocket());
        if (send(socket.get(), request.data(), request.size(), 0) < 0) Fail("netlink");
        return Drain(socket.get());
    }

    // A request that has to be done.
    void Ask(const std::string& text) {
        Bytes request = Wire(text);
        memcpy(&request[4], &family_, sizeof(family_));
        request[6] = NLM_F_REQUEST | NLM_F_ACK;
        const Messages answers = ReadMessages(Exchange(request));
        for (const Message& answer : answers) {
            int32_t error = 0;
            if (answer.header.nlmsg_type != NLMSG_ERROR) continue;
            memcpy(&error, answer.fixed.data(), sizeof(error));
            errno = -error;
            if (error != 0) Fail(text);
        }
    }

    // To this family, whatever family they name: the rest of the kernel is not ours.
    void Send(unsigned int number, const Bytes& bytes) {
        Messages messages = ReadMessages(bytes);
        for (Message& message : messages) {
            if (message.header.nlmsg_type >= NLMSG_MIN_TYPE) message.header.nlmsg_type = family_;
        }
        const Bytes datagram = WriteMessages(messages);
        Fd& socket = sockets_[number];
        if (socket.get() < 0) socket.Open(OpenSocket());
        send(socket.get(), datagram.data(), datagram.size(), 0);
        Drain(socket.get());
    }

    static void WriteText(const std::string& file, const Bytes& text) {
        const Fd fd(open((kFolder + file).c_str(), O_WRONLY | O_CLOEXEC));
        if (fd.get() < 0) Fail(file);
        // What it refuses is no failure.
        if (write(fd.get(), text.data(), text.size()) < 0) errno = 0;
    }

    void SetInterface(unsigned int radio, bool up) {
        if (is_up_[radio] == up) return;
        is_up_[radio] = up;
        ifreq request = {};
        snprintf(request.ifr_name, sizeof(request.ifr_name), "wpan%u", radio);
        if (ioctl(control_.get(), SIOCGIFFLAGS, &request) != 0) Fail(request.ifr_name);
        request.ifr_flags =
            static_cast<short>(up ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP);
        if (ioctl(control_.get(), SIOCSIFFLAGS, &request) != 0) Fail(request.ifr_name);
    }

    // Reports take their time, which is not all to go into waiting for them.
    void Wait(unsigned int ms) {
        constexpr unsigned int kMaxMs = 80;
        ms = std::min(ms, kMaxMs - waited_ms_);
        waited_ms_ += ms;
        poll(nullptr, 0, static_cast<int>(ms));
        for (const Fd& socket : sockets_) {
            if (socket.get() >= 0) Drain(socket.get());
        }
    }

    const Fd control_;
    uint16_t family_ = 0;
    std::array<Fd, kSockets> sockets_;
    std::array<bool, kRadios> is_up_ = {};
    unsigned int waited_ms_ = 0;
};

// An input that ends the kernel ends this process, too. In the kernel's log it costs next to
// nothing, and a kernel that panics prints its log (panic_print): "fuzz 0:" begins each, in
// hexadecimal.
void Keep(const uint8_t* data, size_t size) {
    constexpr size_t kLine = 400;
    static const int log = open("/dev/kmsg", O_WRONLY | O_CLOEXEC);
    for (size_t at = 0; at == 0 || at < size; at += kLine) {
        const std::string line = "<7>fuzz " + std::to_string(at / kLine) + ": " +
                                 Hex(Bytes(data + at, data + std::min(at + kLine, size))) + "\n";
        if (write(log, line.data(), line.size()) < 0) Fail("/dev/kmsg");
    }
}

}  // namespace
}  // namespace hardware::velta

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size,
                                          unsigned int seed) {
    using namespace hardware::velta;
    return MutateSteps(data, size, max_size, seed, RadioContents());
}

extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t* data1, size_t size1,
                                            const uint8_t* data2, size_t size2, uint8_t* out,
                                            size_t max_size, unsigned int seed) {
    using namespace hardware::velta;
    return CrossSteps(data1, size1, data2, size2, out, max_size, seed, RadioContents());
}

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    hardware::velta::MapKernelCoverage();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace hardware::velta;
    constexpr size_t kMaxSteps = 48;
    static auto* const radio = new Radio;
    Keep(data, size);
    Steps steps = ReadSteps(data, size);
    if (steps.size() > kMaxSteps) steps.resize(kMaxSteps);
    for (const Step& step : steps) radio->Take(step);
    radio->Rest();
    radio->RequireRest();
    return 0;
}
