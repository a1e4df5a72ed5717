// SPDX-License-Identifier: Apache-2.0
//
// servicemanager's access policy on a host: everyone may find, add and list. Android's own asks SELinux
// with contexts from a service_contexts file; neither exists on the machines this is for.

#include "Access.h"

#include <binder/IPCThreadState.h>

namespace android {

Access::Access() = default;
Access::~Access() = default;

Access::CallingContext Access::getCallingContext() {
    const IPCThreadState* ipc = IPCThreadState::self();
    const char* sid = ipc->getCallingSid();
    return CallingContext{
            .debugPid = ipc->getCallingPid(),
            .uid = ipc->getCallingUid(),
            .sid = sid != nullptr ? sid : "",
    };
}

bool Access::canFind(const CallingContext&, const std::string&) {
    return true;
}

bool Access::canAdd(const CallingContext&, const std::string&) {
    return true;
}

bool Access::canList(const CallingContext&) {
    return true;
}

}  // namespace android
