// SPDX-License-Identifier: Apache-2.0
//
// servicemanager's access policy on Linux without Android's SELinux policy. The permissions of the
// binder device say who may find services; only root and servicemanager's own user may offer any,
// or each of its clients could stand in for the service.

#include "Access.h"

#include <binder/IPCThreadState.h>
#include <unistd.h>

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

bool Access::canAdd(const CallingContext& caller, const std::string&) {
    return caller.uid == 0 || caller.uid == getuid();
}

bool Access::canList(const CallingContext&) {
    return true;
}

}  // namespace android
