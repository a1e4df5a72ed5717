// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnUwbIface.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "diagnostics/dump_writer.h"
#include "hal/ccc_controller.h"
#include "hal/controller_listener.h"
#include "hal/fira_controller.h"
#include "hal/simple_ranging_controller.h"
#include "net/config_utils.h"
#include "net/interface_tool.h"
#include "net/mcps_utils.h"

namespace hardware::velta {

/**
 * One radio and its network interface: hands out the controllers, and has interface, scheduler and
 * region follow their sessions.
 */
class UwbIface : public ::aidl::hardware::velta::uwb::BnUwbIface, public ControllerListener {
  public:
    using ICccController = ::aidl::hardware::velta::uwb::ICccController;
    using IFiraController = ::aidl::hardware::velta::uwb::IFiraController;
    using ISimpleRangingController = ::aidl::hardware::velta::uwb::ISimpleRangingController;

    /** The calibration that was given to its consumers last, by name. */
    struct Calibration {
        /** As the client said it, but never long. */
        std::string country;
        std::vector<std::string> keys;
        /** Whether each consumer took its keys. */
        bool is_complete = false;
        std::chrono::steady_clock::time_point applied;
    };

    /**
     * Pointers are borrowed and outlive the interface; it becomes the listener of the FiRa and CCC
     * controllers, which must not be null.
     */
    UwbIface(std::string name, uint32_t hw_index, InterfaceTool* interface_tool,
             McpsUtils* mcps_utils, std::shared_ptr<FiraController> fira,
             std::shared_ptr<CccController> ccc,
             std::shared_ptr<SimpleRangingController> simple_ranging);
    /** Withdraws as listener. */
    ~UwbIface() override;

    ndk::ScopedAStatus firaController(std::shared_ptr<IFiraController>* controller) override;
    ndk::ScopedAStatus cccController(std::shared_ptr<ICccController>* controller) override;
    ndk::ScopedAStatus simpleRangingController(
        std::shared_ptr<ISimpleRangingController>* controller) override;

    void OnPreSessionOpen(const McpsRegion& region) override;
    void OnPreSessionStart() override;
    void OnSessionChanged() override;

    /** Raises the SPI threads to real time and puts the scheduler back to "default". */
    void Setup();

    /** Ends the clients' sessions, gives up the FiRa and CCC controllers, takes the interface down.
     */
    void Stop();

    /**
     * Loads the calibration for a country from the files that the property
     * "ro.vendor.uwb.calibration.calibrationpaths" leads to, and gives each key to its consumer.
     *
     * @param country country code, or empty when it is not known.
     * @return the error for the client; consumers before the failing one keep their keys.
     */
    ndk::ScopedAStatus LoadCountryCalibrations(const std::string& country);

    /** @return what LoadCountryCalibrations() has come to last; none before it got that far. */
    const std::optional<Calibration>& calibration() const { return calibration_; }

    /** Takes the CPU affinities of the SPI threads out of config; false when one is bad. */
    bool ConsumeProperties(ConfigUtils& config);

    /** Pins the SPI threads to the configured CPUs. */
    void SetKernelAffinity();

    /** @return line with the placeholder at pos replaced by country. */
    static std::string ReplaceCountry(const std::string& line, const std::string& country,
                                      size_t pos);

    /** Writes the state of the interface and of its controllers. Asks the kernel for little. */
    void Dump(DumpWriter* writer) const;

  private:
    static constexpr int32_t kNoAffinity = -1;

    void StartKernelRealTime();
    bool SetDefaultScheduler();
    void WithdrawAsListener();
    ndk::ScopedAStatus LoadCalibrationLine(const std::string& line, const std::string& country,
                                           ConfigUtils* store);
    ndk::ScopedAStatus ConsumeCalibrations(ConfigUtils* store);

    std::string name_;
    uint32_t hw_index_;
    InterfaceTool* interface_tool_;
    McpsUtils* mcps_utils_;
    std::shared_ptr<FiraController> fira_controller_;
    std::shared_ptr<CccController> ccc_controller_;
    std::shared_ptr<SimpleRangingController> simple_ranging_controller_;
    int32_t spi_affinity_;
    int32_t kt7100_spi_affinity_;
    bool iface_cycled_;
    std::optional<Calibration> calibration_;
};

}  // namespace hardware::velta
