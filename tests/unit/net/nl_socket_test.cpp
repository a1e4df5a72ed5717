// SPDX-License-Identifier: Apache-2.0
#include "net/nl_socket.h"

#include <android-base/unique_fd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/genetlink.h>
#include <netlink/genl/genl.h>
#include <sys/socket.h>

#include <chrono>
#include <memory>
#include <set>
#include <string>

#include "../log_capture.h"
#include "fake_event_loop.h"
#include "net/nl_socket_factory.h"
#include "net/unique_nl_msg.h"
#include "net_namespace.h"
#include "wire.h"

namespace hardware::velta {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::StartsWith;

constexpr char kTag[] = "velta.uwb.NlSocket ";

// The kernel's own generic netlink family, which answers in every network namespace.
class NlSocketTest : public ::testing::Test {
  protected:
    NlSocketTest() : socket_(std::make_shared<NlSocket>(&loop_)) { EXPECT_TRUE(socket_->Setup()); }

    static void AskForFamily(nl_msg* msg, const char* name) {
        genlmsg_put(msg, NL_AUTO_PORT, NL_AUTO_SEQ, GENL_ID_CTRL, 0,
                    name == nullptr ? NLM_F_DUMP : 0, CTRL_CMD_GETFAMILY, 1);
        if (name != nullptr) nla_put_string(msg, CTRL_ATTR_FAMILY_NAME, name);
    }
    bool AwaitResponse(const char* name, int expected_cmd = CTRL_CMD_NEWFAMILY) {
        UniqueNlMsg msg;
        AskForFamily(msg.get(), name);
        return socket_->SendAndAwaitResponse(
            msg.get(), [this](nl_msg* reply) { NoteFamily(reply); }, expected_cmd);
    }
    bool AwaitAck(const char* name, const std::function<int(nl_msg*)>& on_valid) {
        UniqueNlMsg msg;
        AskForFamily(msg.get(), name);
        return socket_->SendAndAwaitAck(msg.get(), on_valid);
    }
    int NoteFamily(nl_msg* reply) {
        nlattr* name = genlmsg_attrdata(genlmsg_hdr(nlmsg_hdr(reply)), 0);
        EXPECT_EQ(nla_type(name), CTRL_ATTR_FAMILY_NAME);
        families_.push_back(nla_get_string(name));
        return NL_OK;
    }
    bool Watch() {
        return socket_->WatchNetlinkSocket(socket_, [this](nl_msg* msg) {
            commands_.push_back(genlmsg_hdr(nlmsg_hdr(msg))->cmd);
            if (drop_when_notified_) socket_.reset();
            return NL_STOP;
        });
    }
    int WatchedFd() { return loop_.watches.empty() ? -1 : loop_.watches.begin()->first; }

    FakeEventLoop loop_;
    std::shared_ptr<NlSocket> socket_;
    std::vector<std::string> families_;
    std::vector<int> commands_;
    bool drop_when_notified_ = false;
    LogCapture log_;
};

std::string Line(char severity, const std::string& text) {
    return severity + std::string(" ") + kTag + text;
}

// Runs one exchange that the kernel leaves without an end and checks that it takes one second.
void ExpectOneSecond(const std::function<void()>& exchange) {
    const auto start = std::chrono::steady_clock::now();
    exchange();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(elapsed.count(), 0.95);
    EXPECT_LT(elapsed.count(), 1.9);
}

TEST_F(NlSocketTest, ResolvesFamilies) {
    EXPECT_EQ(socket_->Resolve("nlctrl"), GENL_ID_CTRL);
    EXPECT_LT(socket_->Resolve("no_such_family"), 0);
}

TEST_F(NlSocketTest, HandsOverTheReplyOnce) {
    EXPECT_TRUE(AwaitResponse("nlctrl"));
    EXPECT_THAT(families_, ElementsAre("nlctrl"));
    EXPECT_THAT(log_.lines(), ElementsAre(Line('I', "SendAndAwaitResponse"),
                                          Line('I', "SendAndAwaitResponse: Read message")));
}

TEST_F(NlSocketTest, HandsOverEveryPartOfADump) {
    EXPECT_TRUE(AwaitResponse(nullptr));
    EXPECT_GT(families_.size(), 1u);
    EXPECT_EQ(std::set(families_.begin(), families_.end()).size(), families_.size());
    EXPECT_THAT(families_, Contains("nlctrl"));
}

TEST_F(NlSocketTest, ErrorReplyEndsARequestAndLeavesTheSocketUsable) {
    EXPECT_FALSE(AwaitResponse("no_such_family"));
    EXPECT_FALSE(AwaitAck("no_such_family", {}));
    EXPECT_THAT(families_, ElementsAre());
    for (const std::string function : {"SendAndAwaitResponse", "SendAndAwaitAck"}) {
        EXPECT_EQ(log_.Count(Line('W', function + ": Nl error: -2")), 1u);
        EXPECT_THAT(log_.lines(),
                    Contains(StartsWith(Line('W', function + ": Error reading message: "))));
    }
    EXPECT_TRUE(AwaitAck("nlctrl", {}));
    EXPECT_THAT(families_, ElementsAre());
}

TEST_F(NlSocketTest, DataBeforeTheAcknowledgementGoesToTheHandlerIfAny) {
    EXPECT_TRUE(AwaitAck("nlctrl", {}));
    EXPECT_TRUE(AwaitAck("nlctrl", [this](nl_msg* reply) { return NoteFamily(reply); }));
    EXPECT_THAT(families_, ElementsAre("nlctrl"));
    EXPECT_EQ(log_.Count(Line('I', "SendAndAwaitAck: Received ACK")), 2u);
}

TEST_F(NlSocketTest, AsksForTheAcknowledgementAlsoWithAutoAckOff) {
    socket_->DisableAutoAck();
    EXPECT_TRUE(AwaitAck("nlctrl", {}));
}

TEST_F(NlSocketTest, ReplyOfAnotherCommandIsSkippedUntilTheTimeout) {
    ExpectOneSecond([this] { EXPECT_FALSE(AwaitResponse("nlctrl", 77)); });
    EXPECT_THAT(families_, ElementsAre());
    EXPECT_EQ(log_.Count(Line('I',
                              "SendAndAwaitResponse: Incorrect received command, got 1 "
                              "instead of 77")),
              1u);
    EXPECT_THAT(log_.lines(),
                Contains(StartsWith(Line('W', "SendAndAwaitResponse: Error reading message: "))));
}

TEST_F(NlSocketTest, EmptyResponseHandlerNeverFinishes) {
    UniqueNlMsg msg;
    AskForFamily(msg.get(), "nlctrl");
    EXPECT_FALSE(socket_->SendAndAwaitResponse(msg.get(), {}, CTRL_CMD_NEWFAMILY));
    EXPECT_EQ(log_.Count(Line('I',
                              "SendAndAwaitResponse: Incorrect received command, got 1 "
                              "instead of 1")),
              1u);
}

TEST_F(NlSocketTest, IsValidOnlyOnceSetUp) {
    NlSocket fresh(&loop_);
    EXPECT_FALSE(fresh.IsValid());
    EXPECT_FALSE(fresh.StopWatchNetlinkSocket());
    EXPECT_TRUE(fresh.Setup());
    EXPECT_TRUE(fresh.IsValid());
}

TEST_F(NlSocketTest, WatchesForOutputOnceAtATime) {
    EXPECT_TRUE(Watch());
    EXPECT_FALSE(Watch());
    EXPECT_EQ(loop_.watch_calls, 1);
    EXPECT_EQ(loop_.watches.at(WatchedFd()).mode, EventLoop::kModeOutput);
    EXPECT_TRUE(socket_->StopWatchNetlinkSocket());
    EXPECT_FALSE(socket_->StopWatchNetlinkSocket());
    EXPECT_TRUE(Watch());
}

TEST_F(NlSocketTest, WatchNeedsALiveSocketWithADescriptor) {
    EXPECT_FALSE(socket_->WatchNetlinkSocket({}, {}));
    const auto fresh = std::make_shared<NlSocket>(&loop_);
    EXPECT_FALSE(fresh->WatchNetlinkSocket(fresh, {}));
    loop_.accept_watches = false;
    EXPECT_FALSE(Watch());
    loop_.accept_watches = true;
    EXPECT_TRUE(Watch());
}

TEST_F(NlSocketTest, DestructionEndsTheWatchAndAQueuedCallbackDoesNothing) {
    ASSERT_TRUE(Watch());
    const auto queued = loop_.watches.begin()->second.on_ready;
    socket_.reset();
    EXPECT_TRUE(loop_.watches.empty());
    queued(0);
    EXPECT_EQ(log_.lines().back(), Line('W', "WatchNetlinkSocket: socket is close"));
}

// A peer socket in a namespace of its own stands for a kernel that says what no family here does.
class PeerTest : public NlSocketTest {
  protected:
    static constexpr uint32_t kPort = 4242;

    void Open() {
        socket_ = std::make_shared<NlSocket>(&loop_);  // The fixture's is in the outer namespace.
        ASSERT_TRUE(socket_->Setup());
        peer_.reset(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_GENERIC));
        const sockaddr_nl address = {.nl_family = AF_NETLINK, .nl_pid = kPort};
        ASSERT_EQ(bind(peer_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
                  0);
    }
    void SendToWatched(const Message& message) {
        sockaddr_nl address = {};
        socklen_t size = sizeof(address);
        ASSERT_EQ(getsockname(WatchedFd(), reinterpret_cast<sockaddr*>(&address), &size), 0);
        const Bytes bytes = Encode(message);
        ASSERT_EQ(sendto(peer_.get(), bytes.data(), bytes.size(), 0,
                         reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
                  static_cast<ssize_t>(bytes.size()));
    }

    android::base::unique_fd peer_;
};

TEST_F(PeerTest, SilenceEndsARequestAndAReadAfterOneSecond) {
    RunInNetNamespace([this] {
        Open();
        UniqueNlMsg msg;
        AskForFamily(msg.get(), "nlctrl");
        sockaddr_nl address = {.nl_family = AF_NETLINK, .nl_pid = kPort};
        nlmsg_set_dst(msg.get(), &address);
        ExpectOneSecond([&] { EXPECT_FALSE(socket_->SendAndAwaitAck(msg.get(), {})); });
        EXPECT_THAT(log_.lines().back(),
                    StartsWith(Line('W', "SendAndAwaitAck: Error reading message: ")));
        // What arrived at the peer asks for an acknowledgement.
        nlmsghdr request = {};
        ASSERT_GT(recv(peer_.get(), &request, sizeof(request), 0), 0);
        EXPECT_EQ(request.nlmsg_flags, NLM_F_REQUEST | NLM_F_ACK);

        ExpectOneSecond([this] { EXPECT_FALSE(socket_->ReceiveMessage({})); });
        EXPECT_THAT(log_.lines().back(),
                    StartsWith(Line('W', "ReceiveMessage: Error reading message: ")));
    });
}

TEST_F(PeerTest, UnreachableReceiverIsASendingError) {
    RunInNetNamespace([this] {
        Open();
        for (const std::string function : {"SendAndAwaitAck", "SendAndAwaitResponse"}) {
            UniqueNlMsg msg;
            AskForFamily(msg.get(), "nlctrl");
            sockaddr_nl nobody = {.nl_family = AF_NETLINK, .nl_pid = kPort + 1};
            nlmsg_set_dst(msg.get(), &nobody);
            EXPECT_FALSE(function == "SendAndAwaitAck"
                             ? socket_->SendAndAwaitAck(msg.get(), {})
                             : socket_->SendAndAwaitResponse(msg.get(), {}, 1));
            EXPECT_THAT(log_.lines().back(),
                        StartsWith(Line('W', function + ": Error sending netlink message: ")));
        }
    });
}

TEST_F(PeerTest, EachPassOfTheLoopReadsOneNotification) {
    RunInNetNamespace([this] {
        Open();
        socket_->DisableAutoAck();
        ASSERT_TRUE(Watch());
        SendToWatched({.cmd = 7});
        SendToWatched({.cmd = 13});
        loop_.Ready(WatchedFd());
        EXPECT_THAT(commands_, ElementsAre(7));
        loop_.Ready(WatchedFd());
        EXPECT_THAT(commands_, ElementsAre(7, 13));
    });
}

TEST_F(PeerTest, NotificationMayDropItsOwnSocket) {
    RunInNetNamespace([this] {
        Open();
        socket_->DisableAutoAck();
        ASSERT_TRUE(Watch());
        drop_when_notified_ = true;
        SendToWatched({.cmd = 7});
        loop_.Ready(WatchedFd());
        EXPECT_THAT(commands_, ElementsAre(7));
        EXPECT_TRUE(loop_.watches.empty());
    });
}

TEST(NlSocketFactoryTest, MakesASocketThatIsSetUpForEachRequest) {
    FakeEventLoop loop;
    NlSocketFactory factory(&loop);
    const auto socket = factory.Create();
    ASSERT_NE(socket, nullptr);
    EXPECT_TRUE(socket->IsValid());
    UniqueNlMsg msg;
    genlmsg_put(msg.get(), NL_AUTO_PORT, NL_AUTO_SEQ, GENL_ID_CTRL, 0, NLM_F_DUMP,
                CTRL_CMD_GETFAMILY, 1);
    int replies = 0;
    EXPECT_TRUE(factory.SendAndAwaitResponse(
        msg.get(), [&replies](nl_msg*) { replies++; }, CTRL_CMD_NEWFAMILY));
    EXPECT_GT(replies, 1);
}

TEST(NlSocketFactoryTest, WithoutASocketRequestsFailUnderTheirOwnTags) {
    class Broken : public NlSocketFactory {
      public:
        Broken() : NlSocketFactory(nullptr) {}
        std::unique_ptr<NlSocket> Create() override { return nullptr; }
    } factory;
    LogCapture log;
    EXPECT_FALSE(factory.SendAndAwaitAck(nullptr));
    EXPECT_FALSE(factory.SendAndAwaitResponse(nullptr, {}, 1));
    EXPECT_THAT(log.lines(),
                ElementsAre("E velta.uwb.FiraRegionUtils SendAndAwaitAck: BAD_ALLOC: cannot "
                            "allocate NlSocket",
                            "E velta.uwb.IeeeUtils SendAndAwaitResponse: BAD_ALLOC: cannot "
                            "allocate NlSocket"));
}

TEST(ToShortAddressTest, TakesTwoBytesMostSignificantFirst) {
    const struct {
        std::vector<uint8_t> bytes;
        uint16_t address;
        bool ok;
    } kCases[] = {{{0xAB, 0xCD}, 0xABCD, true},
                  {{0, 1}, 1, true},
                  {{}, 0, false},
                  {{0xAB}, 0, false},
                  {{1, 2, 3, 4, 5, 6, 7, 8}, 0, false}};
    for (const auto& [bytes, address, expected_ok] : kCases) {
        bool ok = !expected_ok;
        EXPECT_EQ(ToShortAddress(bytes, &ok), address);
        EXPECT_EQ(ok, expected_ok);
    }
}

}  // namespace
}  // namespace hardware::velta
