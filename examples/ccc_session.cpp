// SPDX-License-Identifier: Apache-2.0

// A CCC (digital key) session of two seconds: example_ccc_session [CHANNEL]. Distances go to the
// secure element, not to this client: it sees when the session starts and why it ends.
#include <aidl/hardware/velta/uwb/BnCccControllerCallback.h>
#include <aidl/hardware/velta/uwb/ICccController.h>

#include <chrono>
#include <future>

#include "example.h"

namespace {

using namespace example;

constexpr int kNoSession = 0;  // Session identifiers are not used.
constexpr int64_t kDelayMs = 200;
constexpr std::chrono::seconds kRanging(2);
constexpr std::chrono::seconds kPatience(5);

class Stops : public BnCccControllerCallback {
  public:
    std::promise<int> stopped;

  private:
    ScopedAStatus onSessionStopped(int32_t reason) override {
        stopped.set_value(reason);
        return ScopedAStatus::ok();
    }
};

}  // namespace

int main(int argc, char** argv) {
    const auto channel = static_cast<int32_t>(argc > 1 ? strtol(argv[1], nullptr, 0) : 9);
    Radio radio;
    std::shared_ptr<ICccController> ccc;
    Check("cccController", radio.iface()->cccController(&ccc));
    const auto stops = SharedRefBase::make<Stops>();
    std::future<int> stopped = stops->stopped.get_future();
    Check("setCallback", ccc->setCallback(stops));
    // Switches the radio over and deep sleep off: about 100 ms.
    Check("initSession", ccc->initSession());
    int64_t uwb_time0_ms = 0;
    Check("startSession", ccc->startSession(kNoSession, kDelayMs, channel, &uwb_time0_ms));
    printf("ranging on channel %d, UWB time 0 is %lld ms after the epoch\n", channel,
           static_cast<long long>(uwb_time0_ms));

    const bool gave_up = stopped.wait_for(kRanging) == std::future_status::ready;
    if (!gave_up) {
        Check("stopSession", ccc->stopSession(kNoSession));
        if (stopped.wait_for(kPatience) != std::future_status::ready) {
            fprintf(stderr, "the radio did not confirm the stop\n");
            return EXIT_FAILURE;
        }
    }
    printf("stopped, reason %d\n", stopped.get());
    Check("deinitSession", ccc->deinitSession());
    return gave_up ? EXIT_FAILURE : EXIT_SUCCESS;
}
