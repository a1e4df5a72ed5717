// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/dispatcher.h"

#include <future>
#include <memory>
#include <utility>

#include "uwbctl/client/client.h"

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;
using std::chrono::milliseconds;

// Longer than any call of the service takes.
constexpr milliseconds kPatience{20000};
constexpr milliseconds kSlice{100};

}  // namespace

template <typename Result>
Result Dispatcher::Run(std::function<Result()> task) const {
    // Not in the middle of the end, either.
    const auto packaged = std::make_shared<std::packaged_task<Result()>>([this, task] {
        CheckOpen();
        return task();
    });
    std::future<Result> result = packaged->get_future();
    CheckOpen();
    events_->PostFirst([packaged] { (*packaged)(); });
    for (milliseconds waited{0}; waited < kPatience && !is_closed_; waited += kSlice) {
        if (result.wait_for(kSlice) == std::future_status::ready) return result.get();
    }
    CheckOpen();
    throw Failure(kNoService, "the service does not answer");
}

void Dispatcher::CheckOpen() const {
    if (is_closed_) throw Failure(kNoService, "the server is ending");
}

Json Dispatcher::Command(const std::string& name, const Json& arguments) {
    return Run<Json>([this, name, arguments] { return station_->Command(name, arguments); });
}

std::string Dispatcher::Recording() const {
    return Run<std::string>([this] { return station_->recording(); });
}

}  // namespace uwbctl
