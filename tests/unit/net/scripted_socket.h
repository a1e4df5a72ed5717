// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gmock/gmock.h>

#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "../log_capture.h"
#include "net/ccc_region_utils.h"
#include "net/fira_region_utils.h"
#include "net/ieee_utils.h"
#include "wire.h"

namespace hardware::velta {

/** A factory of sockets that record what is sent on them and answer from a script. */
class ScriptedKernel : public NlSocketFactory {
  public:
    /** What one request meets. */
    struct Answer {
        /** false is an error reply or silence. */
        bool ok = true;
        /** Data messages that come before it. */
        std::vector<Bytes> messages;
    };

    ScriptedKernel() : NlSocketFactory(nullptr) {}
    std::unique_ptr<NlSocket> Create() override;

    /** Answers the next request with these messages. */
    void Reply(const Lines& texts);
    /** Refuses the next request, or does not answer it. */
    void Refuse() { answers.push_back({.ok = false}); }
    /** Plays a notification into the watched socket; false when none is watched. */
    bool Notify(const std::string& text);
    /** Has the watched socket lose some. */
    void LoseNotifications() { std::exchange(on_lost_, nullptr)(); }

    /** Requests as they were handed over. */
    std::vector<Bytes> sent;
    /** What happened to sockets, such as "1 ack", "2 response 9", "2 gone". */
    Lines calls;
    /** One for each request; requests beyond succeed without data. */
    std::deque<Answer> answers;
    /** How often Create() still works. */
    int sockets_left = 1000;
    /** Answer to Resolve(). */
    int family = kFamily;
    bool accept_watches = true;

  private:
    friend class ScriptedSocket;
    int created_ = 0;
    std::weak_ptr<NlSocket> watched_;
    std::function<int(nl_msg*)> handler_;
    std::function<void()> on_lost_;
};

/** All clients of a scripted kernel, and what their callbacks are told. */
class RadioTest : public ::testing::Test, public FiraCallback, public CccRegionCallback {
  protected:
    using FiraRangingData = ::aidl::hardware::velta::uwb::FiraRangingData;
    using FiraTwrMeasurement = ::aidl::hardware::velta::uwb::FiraTwrMeasurement;

    RadioTest();

    /** Notes the fields that are not their initial values; angles and merits in wire units. */
    void OnTwrResult(const FiraRangingData& data,
                     const std::vector<FiraTwrMeasurement>& measurements) override;
    void OnSessionStopped(uint32_t session_id, int reason) override;
    void OnNotificationsLost() override;
    void OnSessionStopped(uint32_t hw_index, Reason reason) override;

    /** Expects one request since the last call. */
    void ExpectSent(const std::string& text);

    ScriptedKernel kernel_;
    McpsUtils mcps_;
    IeeeUtils ieee_;
    FiraRegionUtils fira_;
    CccRegionUtils ccc_;
    Lines events_;
    /** Run by each callback. */
    std::function<void()> on_event_ = [] {};
    LogCapture log_;
};

}  // namespace hardware::velta
