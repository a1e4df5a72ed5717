// SPDX-License-Identifier: Apache-2.0
#include "conformance/events.h"

#include <android-base/stringprintf.h>

namespace hardware::velta::conformance {

using ::android::base::StringPrintf;

ScopedAStatus FiraEvents::Tell(const char* what, int id, const Addresses& who,
                               const std::string& why) {
    std::string text = StringPrintf("%s %d", what, id);
    for (const UwbAddress& address : who) {
        text += &address == who.data() ? " " : ",";
        for (const uint8_t byte : address.address) text += StringPrintf("%02x", byte);
    }
    return events.Put(text + why);
}

}  // namespace hardware::velta::conformance
