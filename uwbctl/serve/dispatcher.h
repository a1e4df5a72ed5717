// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>

#include "uwbctl/client/events.h"
#include "uwbctl/serve/backend.h"
#include "uwbctl/serve/station.h"

namespace uwbctl {

/** Brings what the web server's threads want to the station's thread, and its answers back. */
class Dispatcher : public Backend {
  public:
    /** @param events, station borrowed. */
    Dispatcher(Events* events, Station* station) : events_(events), station_(station) {}

    nlohmann::ordered_json Command(const std::string& name,
                                   const nlohmann::ordered_json& arguments) override;
    nlohmann::ordered_json Forms() const override { return station_->Forms(); }
    std::string Recording() const override;

    /** Nobody answers any more: who waits gets a Failure. */
    void Close() { is_closed_ = true; }

  private:
    // Throws a Failure once nobody answers.
    void CheckOpen() const;
    template <typename Result>
    Result Run(std::function<Result()> task) const;

    Events* events_;
    Station* station_;
    std::atomic<bool> is_closed_ = false;
};

}  // namespace uwbctl
