// SPDX-License-Identifier: Apache-2.0

// A store of calibration keys into as many netlink messages as it takes. Nobody receives them.
#include <netlink/attr.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "bench/host/task.h"
#include "net/mcps802154.h"
#include "net/mcps_utils.h"

namespace hardware::velta::bench {
namespace {

// Integers, and an array among eight.
std::map<std::string, std::string> NewKeys(int count) {
    std::map<std::string, std::string> keys;
    for (int i = 0; i < count; i++) {
        char key[16];
        snprintf(key, sizeof(key), "ant%d_key%05d", i % 5, i);
        keys[key] = i % 8 == 0 ? "01:02:03:04:05:06:07:08" : std::to_string(16000 + i);
    }
    return keys;
}

class Pack : public Task {
  public:
    explicit Pack(int count) : keys_(NewKeys(count)) {}
    std::string Result() override { return std::to_string(left_) + " keys are left"; }

  protected:
    std::map<std::string, std::string> keys_;
    size_t left_ = 0;
};

class SilentSocket : public NlSocket {
  public:
    SilentSocket() : NlSocket(nullptr) {}
    bool SendAndAwaitResponse(nl_msg* /*msg*/, std::function<void(nl_msg*)> /*on_response*/,
                              int /*expected_cmd*/) override {
        return true;
    }
};

class SilentFactory : public NlSocketFactory {
  public:
    SilentFactory() : NlSocketFactory(nullptr) {}
    std::unique_ptr<NlSocket> Create() override { return std::make_unique<SilentSocket>(); }
};

class OurPack : public Pack {
  public:
    explicit OurPack(int count) : Pack(count), mcps_(&factory_) {}
    void Prepare() override {
        config_.Clear();
        for (const auto& [key, value] : keys_) config_.Set(key, value);
    }
    void Run() override {
        mcps_.ConsumeCalibration(0, config_);
        left_ = static_cast<size_t>(std::distance(config_.begin(), config_.end()));
    }

  private:
    SilentFactory factory_;
    McpsUtils mcps_;
    ConfigUtils config_;
};

class PlainPack : public Pack {
  public:
    using Pack::Pack;
    void Prepare() override { store_ = keys_; }
    void Run() override;

  private:
    static bool PutEntry(nl_msg* msg, const std::string& key, const std::string& text);
    static nl_msg* NewMessage(nlattr** list) {
        nl_msg* msg = nlmsg_alloc_size(static_cast<size_t>(getpagesize()));
        genlmsg_put(msg, 0, 0, GENL_MIN_ID, 0, 0, MCPS802154_CMD_CALIBRATION_SET, 0);
        nla_put_u32(msg, MCPS802154_ATTR_HW, 0);
        *list = nla_nest_start(msg, MCPS802154_ATTR_CALIBRATIONS);
        return msg;
    }

    std::map<std::string, std::string> store_;
};

bool PlainPack::PutEntry(nl_msg* msg, const std::string& key, const std::string& text) {
    char bytes[1024];
    size_t size = 0;
    char* end = nullptr;
    errno = 0;
    const auto number = static_cast<int32_t>(strtol(text.c_str(), &end, 0));
    if (*end == '\0' && errno == 0) {
        memcpy(bytes, &number, size = sizeof(number));
    } else {
        for (const char* at = text.c_str(); size < sizeof(bytes); at = end + 1) {
            bytes[size++] = static_cast<char>(strtol(at, &end, 16));
            if (*end != ':') break;
        }
    }
    nlattr* element = nla_nest_start(msg, MCPS802154_CALIBRATIONS_ELEMENT);
    if (element == nullptr) return false;
    if (nla_put_string(msg, MCPS802154_CALIBRATION_ATTR_KEY, key.c_str()) != 0 ||
        nla_put(msg, MCPS802154_CALIBRATION_ATTR_VALUE, static_cast<int>(size), bytes) != 0) {
        nla_nest_cancel(msg, element);
        return false;
    }
    return nla_nest_end(msg, element) == 0;
}

void PlainPack::Run() {
    nlattr* list = nullptr;
    nl_msg* msg = NewMessage(&list);
    for (const auto& [key, text] : store_) {
        if (PutEntry(msg, key, text)) continue;
        nla_nest_end(msg, list);
        nlmsg_free(msg);
        msg = NewMessage(&list);
        PutEntry(msg, key, text);
    }
    nla_nest_end(msg, list);
    nlmsg_free(msg);
    store_.clear();
    left_ = store_.size();
}

}  // namespace

std::unique_ptr<Task> NewPack(int keys) {
    return std::make_unique<OurPack>(keys);
}

std::unique_ptr<Task> NewPlainPack(int keys) {
    return std::make_unique<PlainPack>(keys);
}

}  // namespace hardware::velta::bench
