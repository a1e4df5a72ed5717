// SPDX-License-Identifier: Apache-2.0

// Writes the inputs that the fuzzers start from: fuzz_seeds FOLDER SCENES makes
// FOLDER/FUZZER/NUMBER; SCENES is the folder of the virtual device's.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "fuzz/parcel_actions.h"
#include "fuzz/radio_seeds.h"
#include "fuzz/scripted_netlink.h"
#include "fuzz/transport_steps.h"
#include "tests/unit/net/wire.h"

namespace {

using namespace hardware::velta;
using Inputs = std::vector<Bytes>;

Bytes Text(uint8_t reader, const std::string& text) {
    Bytes input = {reader};
    input.insert(input.end(), text.begin(), text.end());
    return input;
}

// The message, read by event and by polling.
Inputs Replies() {
    const std::vector<std::pair<uint8_t, std::string>> messages = {
        {0,
         "7 1=w5 8{2='fira' 4=w8 5{1=w42 4{3=q7 4=w1 5{1{1=h1 3=b0 5=x 6=x 7=w1500 "
         "9{1=b3 2=h1 3=b9 4=h2} 10{1=b4 2=h1 3=b9 4=h2} 11=h3 13=b4 12=h5 14=b6} "
         "2{1=h2 3=b0 7=w-1 8{1=b3 2=h1 4=h9}} 3{1=h3 3=b33} 4{1=h4 2=x}}}}}"},
        {0, "7 1=w5 8{2='fira' 4=w8 5{1=w42 4{4=w1 5{1{1=h1 3=b0 7=w1 8{1=b4 2=h1 4=h9}}}}}}"},
        {0, "7 1=w5 8{2='fira' 4=w8 5{1=w42 4{1=b0}}}"},
        {0, "7 1=w5 8{2='fira' 4=w8 5{1=w43 4{1=b1}}}"},
        {0, "7 1=w6 8{2='fira' 4=w2 5{1=w43}}"},
        {1, "7 1=w5 8{2='nfcc_coex' 4=w2 5{2=b1 3=b0}}"},
        {1, "7 1=w5 8{2='nfcc_coex' 4=w2 5{2=b0 3=b1}}"},
        {2, "13 1=w5 12{1=w1 2=w4 3=w1000 4=w-1000 5=w1 6=w1}"},
        {2, "13 1=w5 12{1=w7 3=w0x80000000}"},
        {3, "7 1=w5 8{2='7' 4=w0x108 5{1=w3}}"},
        {4, "2 1=w3 2='phy12' 3='endless'"},
        {5, "2 1=w3 2='phy0'"},
        {6, "9 10{1{1='kt7100_pid' 2=w8} 1{1='x' 2=w9} 1{1='spi_pid' 2=w7}}"},
        {7, "8 10{1{1='bad' 3=w-22} 1{1='good' 3=w0}}"},
        {8, "7 1=w2 3=w9 4='wpan0'"},
        {9, "3 1=w4 24{1=w7 2{0{11=x 12=x} 4!{9=x 5=x} 6{7=x}}}"},
    };
    Inputs inputs;
    for (const auto& [reader, text] : messages) {
        Bytes input = Wire(text);
        input.insert(input.begin(), reader);
        inputs.push_back(input);
        input[0] |= 0x80;
        inputs.push_back(input);
    }
    return inputs;
}

Step Arrives(const Bytes& bytes, uint8_t flags) {
    return {.kind = kDatagram, .argument = flags, .bytes = bytes};
}

// Answered requests, refused ones, lists, notifications, losses; by event and polled.
Inputs Transport() {
    const Bytes ack = Ack().bytes;
    const Bytes refusal = Ack(-22).bytes;
    const Bytes hardware = Wire("2 1=w3 2='phy0'");
    const Bytes list = Answer({"2 1=w3 2='phy0'", "2 1=w4 2='phy1'"}).bytes;
    const Bytes family = Wire("1 1=h29 2='mcps802154'");
    const Bytes report = Wire("7 1=w5 8{2='fira' 4=w8 5{1=w42}}");
    const Step await = {kAwaitAck, 0, {}};
    const Step lost_handler = {kSetLostHandler, 0, {}};
    const Step pass = {kPass, 0, {}};
    const std::vector<Steps> courses = {
        {Arrives(ack, kIsAnswer), await},
        {Arrives(refusal, kIsAnswer), await},
        {Arrives(report, 0), Arrives(ack, kIsAnswer), await},
        {Arrives(hardware, kIsAnswer), {kAwaitResponse, 4, {}}},
        {Arrives(Wire("99"), kIsAnswer), {kAwaitResponse, 5, {}}},
        {Arrives(refusal, kIsAnswer), {kAwaitResponse, 4, {}}},
        {Arrives(list, kIsAnswer), {kAwaitResponse, 5, {}}},
        {Arrives(hardware, kIsAnswer), Arrives(list, kIsAnswer), {kAwaitResponse, 5, {}}},
        {Arrives(family, kIsAnswer), Arrives(ack, kIsAnswer), {kResolve, 0, {}}},
        {{kDisableChecks, 1, {}},
         {kDisableChecks, 0, {}},
         {kWatch, 0, {}},
         lost_handler,
         Arrives(report, 0),
         Arrives(report, kIsStrange),
         Arrives(Wire("99"), 0),
         pass,
         pass,
         pass,
         pass,
         {kReceive, 0, {}},
         {kStopWatch, 0, {}}},
        {{kWatch, 0, {}}, lost_handler, {kReadError, 4, {}}, pass, pass, {kSetup, 0, {}}},
        {Arrives(list, kIsAnswer | kIsCut), {kAwaitResponse, 4, {}}, {kReadError, 0, {}}, await},
    };
    Inputs inputs;
    for (const uint8_t mode : {0, 1}) {
        for (Steps course : courses) {
            course.insert(course.begin(), {kRenew, mode, {}});
            inputs.push_back(WriteSteps(course));
        }
    }
    return inputs;
}

Inputs ConfigFiles() {
    const std::string nul(1, '\0');
    const std::string keys =
        "[HAL]minimum_system_offset_uwbtime0=1\n[HAL]antenna_pair_azimuth=0\n"
        "[HAL]tx_antenna=0\n[CCC]any=1\nauto_sleep_margin=20\n";
    return {
        Text(0, "a = 1\n; c\n# d\n// e\n [HAL]b=01:02:FF // x\nlast=0x7F"),
        Text(0, "key\n=v\nk=\n a b = c d \r\n"),
        Text(1, "0x7FFFFFFFFFFFFFFF"),
        Text(1, "-9223372036854775808"),
        Text(1, "077"),
        Text(1, "01:A2:ff"),
        Text(2, "# c\nro.vendor.uwb.hal.notifications=event\nro.vendor.uwb.hal.log_level = INFO\n"),
        Text(2, "debug.a=1\nno value\n"),
        Text(2, "ro.vendor.uwb.hal.stall_limit_s=3600"),
        Text(3, "FR" + nul + "@all\n\n@cal-<country>\n" + nul + keys + "size=1\n" + nul +
                    "size=2\nbytes=01:02\n[HAL]spi_affinity=1\n[HAL]kt7100_spi_affinity=-5\n"),
        Text(3, "../FR" + nul + "@cal-<country>" + nul + keys + nul + keys),
        Text(3, nul + "@all" + nul + keys + "[HAL]tx_antenna=9\n"),
    };
}

Inputs UwbctlFiles() {
    const std::string session =
        R"({"type":"session","format":"uwbctl-recording","version":1,"time":"t","iface":"wpan0",)"
        R"("session":{"id":42,"rangingBlockDurationMs":200,"blockStridingValue":0}})"
        "\n";
    const auto measurement = [](const std::string& block, const std::string& rest) {
        return R"({"type":"measurement","timestamp_ns":)" + block +
               R"(00000000,"session_id":42,"block":)" + block + R"(,"peer":"0x1234",)" + rest +
               "}\n";
    };
    const std::string good = R"("status":0,"distance_mm":1500,"line_of_sight":true,)"
                             R"("azimuth_rad":0.5,"azimuth_fom":0.9,"elevation_rad":-0.1,)"
                             R"("elevation_fom":1.0)";
    const std::string failed = R"("status":33,"distance_mm":null,"line_of_sight":null,)"
                               R"("azimuth_rad":null,"azimuth_fom":null,"elevation_rad":null,)"
                               R"("elevation_fom":null)";
    return {
        Text(0, session + measurement("1", good) + measurement("2", failed) +
                    R"({"type":"event","event":"controlees_removed","peers":["0x1234"]})" + "\n" +
                    measurement("9", good) + R"({"type":"end","reason":"count","reports":3})"),
        Text(0, session + measurement("3", good) + R"({"type":"weat)"),
        Text(0, session + measurement("2147483647", good) + measurement("1", good)),
        Text(1, R"({"id":7,"deviceAddress":"0x1122","destAddressList":["0x3344"],)"
                R"("vendorId":"01:02","staticStsIV":"01:02:03:04:05:06","channelNumber":9})"),
        Text(1, R"({"deviceType":"CONTROLEE","aoaType":"AZIMUTH","stsConfig":"STATIC"})"),
        Text(2, "id=7"),
        Text(2, "aoaResultRequest=REQUEST"),
        Text(2, "destAddressList=[\"0x1234\"]"),
        Text(3, "0xABCD"),
        Text(3, "12:34"),
        Text(4,
             "model office noise 3\nradio 0 1 2 3\nwall 0 0 1 1 stops\nseed 7\nrate 60 "
             "blocks\nwait\n"
             "path 0x12 once 0 1 2 3 nlos 5 1 2 4 lost\nlos 0x12 0\nmodel 0x12 loss 5\n"),
        Text(4, "walk 9 speed 1 0 0 0 pause 2 1 1 0 # there\ntag 0x1234 1 2 3 0 -1 0\nremove 9\n"),
    };
}

// Choices are taken from the end of an input, bytes from its front; so are they here.
class Script {
  public:
    Script& Choose(const Bytes& choices) {
        choices_.insert(choices_.begin(), choices.rbegin(), choices.rend());
        return *this;
    }
    Script& Put(const Bytes& bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Bytes Input() const {
        Bytes input = bytes_;
        input.insert(input.end(), choices_.begin(), choices_.end());
        return input;
    }

  private:
    Bytes bytes_, choices_;
};

// Polled, then by event.
Inputs Parcels() {
    const std::vector<Bytes> courses = {
        // A session with a report, controlees that come and go, and its end.
        {kFira, 0, 0, kReport, 0, 0, kFiraStep, 0, 2, 3, kFiraStep, 0, 2, 5, kLoop, 0, 0, kFiraStep,
         0,     0, 1, kReport, 1, 0, kFiraStep, 0, 0, 2, kFiraStep, 0, 0, 6},
        // Two sessions, lost reports; callbacks that close.
        {kFira, 0, 0, kFira, 1, 0, kLost, 0, 0, kReport, 2, 1, kOpenOrClose, 0},
        {kFira, 1, 0, kReport, 0, 2, kReport, 2, 3},
        // CCC as a client does it, with calibration, and with a stop by the radio.
        {kCountry, 0, kCccStep, 0, kCccStep, 1, kCccStep, 2, 5, kCccStep, 3, kReport, 4, 0,
         kCccStep, 4, kCccStep, 5},
        {kCccStep, 0, kCccStep, 1, kCccStep, 2, 5, kReport, 5, 0, kCccStep, 2, 5, kLost, 0,
         kOpenOrClose, 1},
        // Simple ranging.
        {kSimpleStep, 0, kSimpleStep, 2, kSimpleStep, 1, kReport, 6, 0, kLost, kSimpleStep, 3,
         kSimpleStep, 4},
        // Clients that die, with a session that runs.
        {kFira, 0, 0, kDeath, 1, kOpenOrClose, 0, kDeath, 0, kOpenOrClose, 0, kFira, 0, 0},
        // A kernel that refuses.
        {kKernel, 0xFF, 0xFF, 1, kFira, 0, 0, kKernel, 0x55, 0x55, 0, kCccStep, 1, kSimpleStep, 2,
         kCountry, 2},
        {kCountry, 0, kFira, 0, 2, kFira, 0, 8, 127, kFiraStep, 0, 3, 4, kFiraStep, 0, 1, 7},
    };
    Inputs inputs;
    for (const uint8_t mode : {0, 1}) {
        for (const Bytes& course : courses) {
            inputs.push_back(Script().Choose({mode}).Choose(course).Input());
            // And then parcels for what there is.
            Script script = Script().Choose({mode}).Choose(course).Choose({kParcels, 48});
            inputs.push_back(script.Put(Bytes(96, 1)).Input());
        }
    }
    return inputs;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: fuzz_seeds FOLDER SCENES\n");
        return 2;
    }
    SilenceLog();
    const std::map<std::string, Inputs> fuzzers = {
        {"netlink_replies", Replies()},  {"netlink_transport", Transport()},
        {"config_files", ConfigFiles()}, {"uwbctl_files", UwbctlFiles()},
        {"parcels", Parcels()},          {"radio", RadioSeeds(argv[2])}};
    for (const auto& [name, inputs] : fuzzers) {
        const std::filesystem::path folder = std::filesystem::path(argv[1]) / name;
        std::filesystem::create_directories(folder);
        int number = 0;
        for (const Bytes& input : inputs) {
            std::ofstream(folder / std::to_string(++number), std::ios::binary)
                .write(reinterpret_cast<const char*>(input.data()),
                       static_cast<std::streamsize>(input.size()));
        }
    }
    return 0;
}
