// SPDX-License-Identifier: Apache-2.0
#include "net_namespace.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace hardware::velta {

void RunInNetNamespace(const std::function<void()>& body) {
    fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0) << strerror(errno);
    if (child == 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0) {
            body();
        } else {
            ADD_FAILURE() << "unshare(CLONE_NEWUSER | CLONE_NEWNET): " << strerror(errno)
                          << "; allow user namespaces (sysctl user.max_user_namespaces)";
        }
        fflush(nullptr);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "the child's wait status is " << status << ", its failures are above";
}

}  // namespace hardware::velta
