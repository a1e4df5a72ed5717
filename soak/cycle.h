// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/FiraTwrSession.h>
#include <aidl/hardware/velta/uwb/IFiraController.h>
#include <aidl/hardware/velta/uwb/IUwb.h>
#include <aidl/hardware/velta/uwb/IUwbIface.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "soak/census.h"
#include "soak/chance.h"
#include "soak/listener.h"

namespace hardware::velta::soak {

using ::aidl::hardware::velta::uwb::FiraTwrSession;
using ::aidl::hardware::velta::uwb::IFiraController;
using ::aidl::hardware::velta::uwb::IUwb;
using ::aidl::hardware::velta::uwb::IUwbIface;

/** What has been done so far, and what became of it. */
struct Totals {
    uint64_t cycles = 0;
    /** Reports that clients got. */
    uint64_t reports = 0;
    /** Reports and stops that the radio's sockets took. */
    uint64_t given = 0;
    /** Of these: malformed on purpose, and dropped by the service. */
    uint64_t malformed = 0;
    /**
     * Of these: of sessions that were cut off, left in a socket that was closed or overran, or read
     * when nobody ranged any more.
     */
    uint64_t unread = 0;
    /** Reports for which a socket had no room. */
    uint64_t refused = 0;
    uint64_t overflows = 0;
    uint64_t countries = 0;
    uint64_t sessions = 0;
    uint64_t faults = 0;
    uint64_t lost_clients = 0;
    /** How often only closing and opening again helped. */
    uint64_t reopened = 0;
};

/**
 * One client's life: open, a country, sessions of all kinds while the kernel and the radio do by
 * chance what they should not, close. Then the three counts of reports are compared: the radio's,
 * the service's, the client's. bench::Failure when something is not as it has to be.
 */
class Cycle {
  public:
    /**
     * @param chance decides all.
     * @param reports how many are ranged for, at least.
     */
    Cycle(std::shared_ptr<IUwb> uwb, Chance chance, uint64_t reports, Totals* totals);

    void Run();
    /** The client's references to the service's objects. */
    std::vector<std::shared_ptr<IFiraController>> controllers() const;

  private:
    using Status = ::ndk::ScopedAStatus;
    using Operation = std::function<Status()>;
    using Events = std::initializer_list<const char*>;

    struct Ranging {
        int radio = 0;
        FiraTwrSession session;
        std::shared_ptr<IFiraController> controller;
        std::shared_ptr<Listener> listener;
    };

    // cycle.cpp: the stages.
    void LayOutWorld();
    void LoseAClient();
    void Open();
    void ApplyCountry();
    void RunCcc();
    void RunSimpleRanging();
    void ChooseSessions();
    void Connect(Ranging* ranging);
    void SetUp(Ranging* ranging);
    void Start(Ranging* ranging);
    void Range();
    void End();
    bool StopInOrder(Ranging* ranging);
    void ExpectRest();

    // The counts of reports: from a moment at which the radio rests to another.
    void BeginAccount();
    // Notes the counts since then; false as long as they do not tell that nothing is lost.
    bool AllCame();
    void ExpectAllCame();
    // Before the last reports of sessions become nobody's: all earlier ones have come.
    void CutOff();
    // Adds the counts to the totals.
    void Account();

    // Arms a fault of one of these requests; does the operation, which may fail; then without it,
    // unless it has worked. False when it has failed first.
    bool Attempt(const char* what, Events events, const Operation& run);
    // Makes the next one or two such requests fail.
    void ArmRequest(int radio, const std::string& event);
    void Arm(const std::string& line);
    // All from the beginning, without faults.
    void Reopen();
    std::shared_ptr<IUwbIface> Iface(int radio);
    uint64_t ReportsSoFar() const;
    // After every session has stopped, or may have.
    void ExpectStop(Ranging* ranging, int reason);

    // accidents.cpp: what happens while ranging.
    void Accident();
    void Malformed(Ranging* ranging);
    void PartlyMalformed(Ranging* ranging);
    void Withheld(Ranging* ranging);
    void Storm(Ranging* ranging);
    void ChangeControlees(Ranging* ranging);
    void ChangeStride(Ranging* ranging);
    void Restart(Ranging* ranging);
    void RadioStops(Ranging* ranging);
    void InterfaceDown(Ranging* ranging);
    void CountryWhileRanging(Ranging* ranging);
    void StopNeverTold(Ranging* ranging);
    void OddCalls(Ranging* ranging);
    void MoveTag(Ranging* ranging);
    // Waits until the fault that was armed last is used up.
    void AwaitUse();

    std::shared_ptr<IUwb> uwb_;
    Chance chance_;
    const uint64_t wanted_;
    Totals* totals_;
    std::string country_;
    std::vector<Ranging> rangings_;
    RadioCounts radio_before_, radio_;
    ServiceCounts service_before_, service_;
    uint64_t reports_before_ = 0, reports_ = 0;
    uint64_t malformed_ = 0;
    // A session was cut off: its last reports are nobody's.
    bool may_leave_unread_ = false;
};

}  // namespace hardware::velta::soak
