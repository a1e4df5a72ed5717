// SPDX-License-Identifier: Apache-2.0

// No LOG_TAG on purpose: the loop's two messages go out under the process's default tag.
#include "looper/looper_backed_event_loop.h"

#include <android-base/logging.h>

#include <optional>

namespace hardware::velta {
namespace {

class WatchFdCallback : public android::LooperCallback {
  public:
    WatchFdCallback(StallGuard* guard, const std::function<void(int)>& on_ready)
        : guard_(guard), on_ready_(on_ready) {}

    int handleEvent(int fd, int /*events*/, void* /*data*/) override {
        const StallGuard::Scope scope(guard_, fd);
        on_ready_(fd);
        return 1;  // Stay registered: only StopWatchFileDescriptor() ends a watch.
    }

  private:
    StallGuard* guard_;
    std::function<void(int)> on_ready_;
};

class EventLoopCallback : public android::MessageHandler {
  public:
    EventLoopCallback(StallGuard* guard, const std::function<void()>& task)
        : guard_(guard), task_(task) {}

    void handleMessage(const android::Message& /*message*/) override {
        const StallGuard::Scope scope(guard_, StallGuard::kTask);
        task_();
    }

  private:
    StallGuard* guard_;
    std::function<void()> task_;
};

std::optional<int> ToLooperEvents(EventLoop::ReadyMode mode) {
    switch (mode) {
        case EventLoop::kModeInput:
            return android::Looper::EVENT_INPUT;
        case EventLoop::kModeOutput:
            return android::Looper::EVENT_OUTPUT;
    }
    return std::nullopt;
}

}  // namespace

LooperBackedEventLoop::LooperBackedEventLoop(std::chrono::seconds stall_limit)
    : looper_(android::Looper::prepare(android::Looper::PREPARE_ALLOW_NON_CALLBACKS)),
      running_(true),
      guard_(stall_limit) {}

void LooperBackedEventLoop::PostTask(const std::function<void()>& task) {
    looper_->sendMessage(android::sp<EventLoopCallback>::make(&guard_, task), android::Message(0));
}

bool LooperBackedEventLoop::WatchFileDescriptor(int fd, ReadyMode mode,
                                                const std::function<void(int)>& on_ready) {
    auto callback = android::sp<WatchFdCallback>::make(&guard_, on_ready);
    const std::optional<int> events = ToLooperEvents(mode);
    if (!events) {
        LOG(ERROR) << "Invalid mode for WatchFileDescriptor().";
        return false;
    }
    // Only 0 is a failure here. -1, an epoll failure, counts as watched on purpose.
    if (looper_->addFd(fd, 0, *events, callback, nullptr) == 0) {
        LOG(ERROR) << "Invalid arguments for Looper::addFd().";
        return false;
    }
    return true;
}

bool LooperBackedEventLoop::StopWatchFileDescriptor(int fd) {
    return looper_->removeFd(fd) == 1;
}

void LooperBackedEventLoop::NoteProgress() {
    guard_.NoteProgress();
}

void LooperBackedEventLoop::Poll() {
    while (running_) looper_->pollOnce(-1);
}

}  // namespace hardware::velta
