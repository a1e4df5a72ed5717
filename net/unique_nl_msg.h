// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/logging.h>
#include <netlink/msg.h>

namespace hardware::velta {

/** Owns one outgoing netlink message; its buffer has libnl's default size, which main sets. */
class UniqueNlMsg {
  public:
    /** Allocates the message; aborts the process when there is no memory. */
    UniqueNlMsg() : msg_(nlmsg_alloc()) {
        if (msg_ == nullptr) [[unlikely]] {
            // The tag is the same whoever the caller is.
            android::base::LogMessage(__FILE__, __LINE__, android::base::FATAL,
                                      "velta.uwb.CccRegionUtils", -1)
                    .stream()
                << "Check failed: msg_ BAD ALLOC IN UniqueNlMsg constructor";
        }
    }
    ~UniqueNlMsg() {
        if (msg_ != nullptr) nlmsg_free(msg_);
    }
    UniqueNlMsg(const UniqueNlMsg&) = delete;
    UniqueNlMsg& operator=(const UniqueNlMsg&) = delete;

    /** @return the message, still owned by this object. */
    nl_msg* get() { return msg_; }

  private:
    nl_msg* msg_;
};

}  // namespace hardware::velta
