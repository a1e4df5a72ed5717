// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "conformance/client_process.h"
#include "conformance/fira_client.h"

namespace hardware::velta::device {

using namespace ::hardware::velta::conformance;
using namespace std::chrono_literals;
using namespace std::string_literals;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

// ---- The device: each of these fails the test when it cannot do it ----

std::string ReadText(const std::string& path);
void WriteText(const std::string& path, const std::string& text);
/** Runs a command; @return what it printed. */
std::string Shell(const std::string& command);

int ServicePid();
/** @return how many descriptors the service has open. */
long ServiceDescriptors();
/** @param properties the file that the service is to read its system properties from. */
void RestartService(const std::string& properties = "", const std::string& signal = "TERM");
/** @return how the service reads notifications in this run: "event" or "poll". */
std::string NotificationsMode();
/** @return what the service has logged since this was asked last, or since the test began. */
std::string NewLog();

// ---- The virtual radio ----

/** Arms faults: lines of the radio's file "faults". */
void Fault(const std::string& lines);
/** Lays the world out from nothing: lines of the radio's file "world". */
void LayOut(const std::string& lines);
void UnloadRadio();
void LoadRadio();

/** @return what is behind key on the first such line of a radio's state; empty for none. */
std::string Radio(int radio, const std::string& key);
/** @return "idle", "running" or "stopping"; "none" for a FiRa session that the radio lacks. */
std::string RadioSession(int radio, uint32_t id);
/** @return parameters and controlees of a FiRa session: "1 1,2 0,controlee 0x1234". */
std::string RadioSessionDetails(int radio, uint32_t id);
/** @return what is not at rest in a radio; empty when all is. */
std::string RadioUnrest(int radio);
/** @return value of a calibration key and " writes N"; empty for an unknown one. */
std::string CalibrationKey(int radio, const std::string& key);

/** Where everything is, and what a radio ought to see of it. */
class World {
  public:
    World();
    struct Sight {
        double distance_mm, azimuth, elevation;
    };
    /** @param thing "tag 0x1234" or "radio 1". */
    Sight See(int radio, const std::string& thing, int64_t when_ns) const;
    int64_t now_ns() const { return now_ns_; }
    // The noise ends at six sigma; the world's file rounds to millimetres.
    double max_distance_error_mm() const { return 6 * noise_mm_ + 2; }
    double max_angle_error() const { return 6 * noise_mm_ * 582e-6 + 2e-3; }

  private:
    std::map<std::string, std::vector<double>> bodies_;
    double noise_mm_ = 0;
    int64_t now_ns_ = 0;
};

/** Expects distance and azimuth to be true within the noise. */
void ExpectTruth(const FiraTwrMeasurement& measurement, int radio, const std::string& thing);

/** @return which of find, call, transfer, add (another name) and take (its name) this process may
 * do. */
std::string Reach();

// ---- Fixtures ----

/** Each test finds a device at rest, and has to leave one. */
class DeviceTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    Hal hal;
};

/** The hardware is open. */
class OpenTest : public DeviceTest {
  protected:
    void SetUp() override {
        DeviceTest::SetUp();
        ASSERT_EQ(hal.Open(), "OK");
    }
};

constexpr char kCalibrations[] = "/tmp/calibration/";
/** What no calibration may lack. */
constexpr char kRequiredKeys[] =
    "[HAL]minimum_system_offset_uwbtime0 = 100\n[HAL]antenna_pair_azimuth = 0\n"
    "[HAL]tx_antenna = 0\n";

/** The service runs with calibration files of the tests' own, in kCalibrations. */
class CalibratedTest : public OpenTest {
  protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    /** Applies a country with these calibration files, one a word; @return what was Said(). */
    std::string Apply(const std::string& country, const std::string& files);
    /** Applies one file with these keys beside the required ones. */
    std::string ApplyKeys(const std::string& keys);
};

}  // namespace hardware::velta::device
