// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/connection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <map>

#include "uwbctl/client/client.h"
#include "uwbctl/serve/web_server.h"

namespace uwbctl {
namespace {

using ::android::base::unique_fd;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

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

TEST(ConnectionTest, NobodyConnectsWhereTheServerCannotListenWhichItExplains) {
    const auto listen_on = [](const char* address, int port) {
        return WebServer(address, port, nullptr, nullptr, nullptr).port();
    };
    const WebServer server("127.0.0.1", 0, nullptr, nullptr, nullptr);
    EXPECT_THAT([&] { listen_on("127.0.0.1", server.port()); },
                ThrowsMessage<Failure>(HasSubstr("is another server there?")));
    EXPECT_THAT([&] { listen_on("192.0.2.1", 0); },
                ThrowsMessage<Failure>(HasSubstr("no address of this machine")));
}

}  // namespace
}  // namespace uwbctl
