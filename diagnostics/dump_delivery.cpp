// SPDX-License-Identifier: Apache-2.0
#include "diagnostics/dump_delivery.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace hardware::velta {

DumpDelivery::~DumpDelivery() {
    while (!pending_.empty()) End(pending_.begin());
}

bool DumpDelivery::Deliver(int fd, std::string text) {
    Pending pending = {.fd = android::base::unique_fd(fcntl(fd, F_DUPFD_CLOEXEC, 0)),
                       .text = std::move(text)};
    if (pending.fd.get() < 0) return false;
    if (Write(&pending)) return true;
    if (pending_.size() == kMaxPending) End(pending_.begin());
    const int own = pending.fd.get();
    pending_.push_back(std::move(pending));
    event_loop_->WatchFileDescriptor(own, EventLoop::kModeOutput,
                                     [this](int ready) { OnWritable(ready); });
    return true;
}

bool DumpDelivery::Write(Pending* pending) {
    const int fd = pending->fd.get();
    // Shared with the client, and with other dumps into the same pipe: so just for this.
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0 || fcntl(fd, F_SETFL, flags | O_NONBLOCK) < 0) return true;
    const bool is_done = WriteWhatFits(pending);
    fcntl(fd, F_SETFL, flags);
    return is_done;
}

bool DumpDelivery::WriteWhatFits(Pending* pending) {
    while (pending->written < pending->text.size()) {
        const ssize_t count = write(pending->fd.get(), pending->text.data() + pending->written,
                                    pending->text.size() - pending->written);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) return false;
        if (count <= 0) return true;  // Nobody reads it any more.
        pending->written += static_cast<size_t>(count);
    }
    return true;
}

void DumpDelivery::OnWritable(int fd) {
    const auto pending = std::find_if(pending_.begin(), pending_.end(),
                                      [fd](const Pending& it) { return it.fd.get() == fd; });
    if (pending != pending_.end() && Write(&*pending)) End(pending);
}

void DumpDelivery::End(std::list<Pending>::iterator pending) {
    event_loop_->StopWatchFileDescriptor(pending->fd.get());
    pending_.erase(pending);
}

}  // namespace hardware::velta
