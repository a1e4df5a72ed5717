// SPDX-License-Identifier: Apache-2.0

// McpsUtils: calibration transfer.
#define LOG_TAG "velta.uwb.McpsUtils"

#include <android-base/logging.h>
#include <unistd.h>

#include "net/mcps802154.h"
#include "net/mcps_utils.h"
#include "net/nl_attr.h"
#include "net/unique_nl_msg.h"

namespace hardware::velta {
namespace {

// What fits into one page-sized message beside its netlink header.
const size_t kMessageLimit = static_cast<size_t>(getpagesize()) - NLMSG_HDRLEN;

// Status of a reply that cannot be parsed; the driver's own are 0 or negative.
constexpr int kStatusBadReply = 5;

// Keys of a SET reply.
constexpr uint16_t kSetKeyMaxLength = 20;

constexpr char kPrefixStart = '[';

constexpr AttrPolicies<MCPS802154_ATTR_MAX> kNoPolicies = {};
constexpr auto kStatusPolicies = MakePolicies<MCPS802154_CALIBRATION_ATTR_MAX>({
    {MCPS802154_CALIBRATION_ATTR_KEY, NLA_STRING, kSetKeyMaxLength},
    {MCPS802154_CALIBRATION_ATTR_STATUS, NLA_S32},
});

bool PutEntry(nl_msg* msg, const std::string& key, const void* value, size_t size) {
    AttrWriter put(msg);
    {
        const auto element = put.OpenNest(MCPS802154_CALIBRATIONS_ELEMENT, NestFlag::kNested);
        put.String(MCPS802154_CALIBRATION_ATTR_KEY, key);
        put.Bytes(MCPS802154_CALIBRATION_ATTR_VALUE, value, size);
    }
    return put.ok();
}

// The driver's verdict on the keys of one request: the last status in the reply counts.
void ReadStatus(nl_msg* msg, int* status) {
    AttrTable<MCPS802154_ATTR_MAX> attrs;
    const int error = attrs.ParseMessage(msg, kNoPolicies);
    if (error < 0) {
        LOG(ERROR) << "Error parsing response for calibration " << error;
        *status = kStatusBadReply;
        return;
    }
    if (!attrs.Has(MCPS802154_ATTR_CALIBRATIONS)) return;
    for (nlattr* element : Attrs(attrs.Get(MCPS802154_ATTR_CALIBRATIONS))) {
        AttrTable<MCPS802154_CALIBRATION_ATTR_MAX> entry;
        if (entry.ParseNest(element, kStatusPolicies) < 0) return;
        if (entry.Has(MCPS802154_CALIBRATION_ATTR_KEY)) {
            LOG(ERROR) << "Error on key " << entry.String(MCPS802154_CALIBRATION_ATTR_KEY);
        }
        if (entry.Has(MCPS802154_CALIBRATION_ATTR_STATUS)) {
            *status = entry.S32(MCPS802154_CALIBRATION_ATTR_STATUS);
        }
    }
}

}  // namespace

// Fills one request after another from a store.
class McpsUtils::CalibrationBatch {
  public:
    explicit CalibrationBatch(ConfigUtils* config) : config_(config), next_(config->begin()) {}

    // Whether every entry has been looked at.
    bool Done() const { return next_ == config_->end(); }

    // Whether an entry was left out that the driver should have had.
    bool skipped() const { return skipped_; }

    // Moves as many entries into msg's open list as fit; false, with a log line, when one cannot
    // be put. *count is the number of entries in the list.
    bool PutCalibrationKeys(nl_msg* msg, size_t* count);

  private:
    enum class Outcome { kPut, kSkipped, kFailed };

    Outcome PutValue(nl_msg* msg, size_t key_size);

    // An empty nest and a 4-byte value around each key.
    static constexpr size_t kOverhead = 12;

    ConfigUtils* config_;
    ConfigUtils::iterator next_;
    bool skipped_ = false;
    size_t used_ = 0;
};

bool McpsUtils::CalibrationBatch::PutCalibrationKeys(nl_msg* msg, size_t* count) {
    used_ = static_cast<size_t>(nlmsg_datalen(nlmsg_hdr(msg)));
    const size_t room = kMessageLimit - used_ - kOverhead;
    *count = 0;
    while (!Done()) {
        const std::string& key = next_->first;
        const auto key_size = static_cast<size_t>(nla_total_size(static_cast<int>(key.size()) + 1));
        if (key_size > room) {
            LOG(ERROR) << "Skip incorrect key " << key;
            skipped_ = true;
            ++next_;
            continue;
        }
        if (key.starts_with(kPrefixStart)) {
            LOG(INFO) << "Skip prefixed key " << key;
            ++next_;
            continue;
        }
        if (used_ + key_size + kOverhead > kMessageLimit) break;  // Full: the next request's.
        switch (PutValue(msg, key_size)) {
            case Outcome::kPut:
                ++*count;
                break;
            case Outcome::kSkipped:
                LOG(WARNING) << "Skip incorrect key " << key;
                skipped_ = true;
                ++next_;
                break;
            case Outcome::kFailed:
                LOG(ERROR) << __func__ << ": Error creating MCPS message";
                return false;
        }
    }
    return true;
}

McpsUtils::CalibrationBatch::Outcome McpsUtils::CalibrationBatch::PutValue(nl_msg* msg,
                                                                           size_t key_size) {
    const auto& [key, text] = *next_;
    long number = 0;
    if (ConfigUtils::ToInt(text, number)) {
        const auto narrowed = static_cast<int32_t>(number);
        if (!PutEntry(msg, key, &narrowed, sizeof(narrowed))) return Outcome::kFailed;
        used_ += key_size + kOverhead;
    } else if (std::vector<char> bytes; ConfigUtils::ToArray(text, bytes)) {
        if (!PutEntry(msg, key, bytes.data(), bytes.size())) return Outcome::kFailed;
        // More than it takes, so that requests with arrays are cut early.
        used_ += key_size + kOverhead * bytes.size();
    } else {
        return Outcome::kSkipped;
    }
    next_ = config_->Erase(next_);
    return Outcome::kPut;
}

bool McpsUtils::ConsumeCalibration(uint32_t hw_index, ConfigUtils& config) {
    const std::unique_ptr<NlSocket> socket = factory_->Create();
    if (socket == nullptr) {
        LOG(ERROR) << __func__ << ": BAD_ALLOC: cannot allocate NlSocket";
        return false;
    }
    int status = 0;
    CalibrationBatch batch(&config);
    while (!batch.Done()) {
        UniqueNlMsg msg;
        if (msg.get() == nullptr ||
            !SetMcpsCommand(msg.get(), hw_index, MCPS802154_CMD_CALIBRATION_SET, 0)) {
            return false;
        }
        AttrWriter put(msg.get());
        size_t count = 0;
        {
            const auto list = put.OpenNest(MCPS802154_ATTR_CALIBRATIONS, NestFlag::kNested);
            if (put.ok() && !batch.PutCalibrationKeys(msg.get(), &count)) return false;
        }
        if (!put.ok()) {
            LOG(ERROR) << __func__ << ": Error creating MCPS message";
            return false;
        }
        if (count == 0) continue;  // Only skipped keys were left.
        if (!socket->SendAndAwaitResponse(
                msg.get(), [&status](nl_msg* reply) { ReadStatus(reply, &status); },
                MCPS802154_CMD_CALIBRATION_SET)) {
            return false;
        }
        if (status != 0) return false;
    }
    return !batch.skipped();
}

}  // namespace hardware::velta
