// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/connection.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <map>

namespace uwbctl {
namespace {

using ::android::base::unique_fd;

TEST(ConnectionTest, SaysGoOnToWhoWaitsForItWhichTakesNoneOfTheRequestsTime) {
    for (const auto& [end, says] : std::map<std::string, bool>{
             {" HTTP/1.1\r\nExpect: 100-continue", true},
             {" HTTP/1.1\r\nExpect: 100-continuexx", false},
             {" HTTP/1.0\r\nExpect: 100-continue", false},
         }) {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        const unique_fd other(ends[0]);
        Connection connection{unique_fd(ends[1])};
        const std::string head = "POST /command/any" + end + "\r\nContent-Length: 2\r\n\r\n";
        ASSERT_EQ(write(other.get(), head.data(), head.size()), static_cast<ssize_t>(head.size()));
        EXPECT_TRUE(connection.Receive());
        EXPECT_EQ(connection.HasOutput(), says) << end;
        const auto deadline = connection.deadline();
        EXPECT_TRUE(connection.Flush());
        EXPECT_EQ(connection.deadline(), deadline) << end;
    }
}

}  // namespace
}  // namespace uwbctl
