// SPDX-License-Identifier: Apache-2.0
#include "net/nl_socket.h"

#include <android-base/strings.h>
#include <android-base/unique_fd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/genetlink.h>
#include <netlink/genl/genl.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <chrono>
#include <map>
#include <set>

#include "../log_capture.h"
#include "net/nl_socket_factory.h"
#include "net/unique_nl_msg.h"
#include "wire.h"

namespace hardware::velta {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::StartsWith;

// Holds watches until the test runs them.
class FakeEventLoop : public EventLoop {
  public:
    void PostTask(const std::function<void()>& task) override { task(); }
    bool WatchFileDescriptor(int fd, ReadyMode mode,
                             const std::function<void(int)>& on_ready) override {
        EXPECT_EQ(mode, expected_mode);
        if (accept_watches) watches[fd] = on_ready;
        return accept_watches;
    }
    bool StopWatchFileDescriptor(int fd) override { return watches.erase(fd) > 0; }
    int WatchedFd() { return watches.empty() ? -1 : watches.begin()->first; }
    // One pass of the loop; as in the real one, a callback outlives its removal.
    void Pass() { std::function(watches.at(WatchedFd()))(WatchedFd()); }

    std::map<int, std::function<void(int)>> watches;
    bool accept_watches = true;
    ReadyMode expected_mode = kModeOutput;
};

// Talks to the kernel's own generic netlink family, which answers in every network namespace.
class NlSocketTest : public ::testing::Test {
  protected:
    NlSocketTest() { EXPECT_TRUE(socket_->Setup()); }

    // A request for a family, or for all of them.
    static void Fill(nl_msg* msg, const char* name) {
        genlmsg_put(msg, NL_AUTO_PORT, NL_AUTO_SEQ, GENL_ID_CTRL, 0,
                    name == nullptr ? NLM_F_DUMP : 0, CTRL_CMD_GETFAMILY, 1);
        if (name != nullptr) nla_put_string(msg, CTRL_ATTR_FAMILY_NAME, name);
    }
    bool AwaitResponse(const char* name, int expected_cmd = CTRL_CMD_NEWFAMILY) {
        UniqueNlMsg msg;
        Fill(msg.get(), name);
        return socket_->SendAndAwaitResponse(msg.get(), note_, expected_cmd);
    }
    bool AwaitAck(const char* name, const std::function<int(nl_msg*)>& on_valid) {
        UniqueNlMsg msg;
        Fill(msg.get(), name);
        return socket_->SendAndAwaitAck(msg.get(), on_valid);
    }
    bool Watch() {
        return socket_->WatchNetlinkSocket(socket_, [this](nl_msg* msg) {
            commands_.push_back(genlmsg_hdr(nlmsg_hdr(msg))->cmd);
            if (commands_.size() == 3) socket_.reset();
            return NL_STOP;
        });
    }
    size_t Count(const std::string& line) {
        return log_.Count(line.substr(0, 2) + "velta.uwb.NlSocket " + line.substr(2));
    }
    void ExpectLogged(const std::string& start) {
        EXPECT_THAT(log_.lines(), Contains(StartsWith("W velta.uwb.NlSocket " + start)));
    }
    static void ExpectTimeout(const std::function<bool()>& exchange) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(exchange());
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        EXPECT_GE(elapsed.count(), 0.95);
    }

    FakeEventLoop loop_;
    std::shared_ptr<NlSocket> socket_ = std::make_shared<NlSocket>(&loop_);
    Lines families_;
    const std::function<void(nl_msg*)> note_ = [this](nl_msg* reply) {
        nlattr* name = genlmsg_attrdata(genlmsg_hdr(nlmsg_hdr(reply)), 0);
        EXPECT_EQ(nla_type(name), CTRL_ATTR_FAMILY_NAME);
        families_.push_back(nla_get_string(name));
    };
    std::vector<int> commands_;
    LogCapture log_;
};

TEST_F(NlSocketTest, HandsOverTheReplyOrEveryPartOfADump) {
    EXPECT_EQ(socket_->Resolve("nlctrl"), GENL_ID_CTRL);
    EXPECT_LT(socket_->Resolve("no_such_family"), 0);
    EXPECT_TRUE(AwaitResponse("nlctrl"));
    EXPECT_THAT(families_, ElementsAre("nlctrl"));
    EXPECT_EQ(Count("I SendAndAwaitResponse") + Count("I SendAndAwaitResponse: Read message"), 2u);
    families_.clear();
    socket_ = std::make_shared<NlSocket>(&loop_);  // The acknowledgement is still in the other.
    EXPECT_TRUE(socket_->Setup() && AwaitResponse(nullptr));
    EXPECT_GT(families_.size(), 1u);
    EXPECT_EQ(std::set(families_.begin(), families_.end()).size(), families_.size());
}

TEST_F(NlSocketTest, ErrorReplyEndsARequestAndLeavesTheSocketUsable) {
    EXPECT_FALSE(AwaitResponse("no_such_family"));
    EXPECT_FALSE(AwaitAck("no_such_family", {}));
    for (const std::string function : {"SendAndAwaitResponse", "SendAndAwaitAck"}) {
        EXPECT_EQ(Count("W " + function + ": Nl error: -2"), 1u);
        ExpectLogged(function + ": Error reading message: ");
    }
    EXPECT_TRUE(AwaitAck("nlctrl", {}));
    EXPECT_EQ(families_.size(), 0u);
}

TEST_F(NlSocketTest, DataBeforeTheAcknowledgementGoesToTheHandlerIfAny) {
    EXPECT_TRUE(AwaitAck("nlctrl", {}));
    socket_->DisableAutoAck();  // The acknowledgement is asked for even so.
    EXPECT_TRUE(AwaitAck("nlctrl", [this](nl_msg* reply) { return note_(reply), NL_OK; }));
    EXPECT_THAT(families_, ElementsAre("nlctrl"));
    EXPECT_EQ(Count("I SendAndAwaitAck: Received ACK"), 2u);
}

TEST_F(NlSocketTest, ReplyWithoutATakerIsSkippedUntilTheTimeout) {
    ExpectTimeout([this] { return AwaitResponse("nlctrl", 77); });
    EXPECT_EQ(families_.size(), 0u);
    ExpectLogged("SendAndAwaitResponse: Error reading message: ");
    UniqueNlMsg msg;
    Fill(msg.get(), "nlctrl");
    EXPECT_FALSE(socket_->SendAndAwaitResponse(msg.get(), {}, CTRL_CMD_NEWFAMILY));
    const std::string line =
        "I SendAndAwaitResponse: Incorrect received command, got 1 instead of ";
    EXPECT_EQ(Count(line + "77") + Count(line + "1"), 2u);
}

TEST_F(NlSocketTest, WatchIsForOneLiveSocketThatIsSetUp) {
    const auto fresh = std::make_shared<NlSocket>(&loop_);
    EXPECT_FALSE(fresh->IsValid());
    EXPECT_FALSE(fresh->StopWatchNetlinkSocket());
    EXPECT_FALSE(fresh->WatchNetlinkSocket(fresh, {}));
    EXPECT_FALSE(socket_->WatchNetlinkSocket({}, {}));
    loop_.accept_watches = false;
    EXPECT_FALSE(Watch());
    loop_.accept_watches = true;
    EXPECT_TRUE(socket_->IsValid() && Watch());
    loop_.watches.begin()->second = nullptr;
    EXPECT_FALSE(Watch());
    EXPECT_EQ(loop_.watches.begin()->second, nullptr);  // Not registered a second time.
    EXPECT_TRUE(socket_->StopWatchNetlinkSocket());
    EXPECT_FALSE(socket_->StopWatchNetlinkSocket());
    EXPECT_TRUE(Watch());
    const auto queued = loop_.watches.begin()->second;
    socket_.reset();
    EXPECT_EQ(loop_.watches.size(), 0u);
    queued(0);
    EXPECT_EQ(Count("W WatchNetlinkSocket: socket is close"), 1u);
}

class NlSocketNotificationsTest : public NlSocketTest,
                                  public ::testing::WithParamInterface<NotificationMode> {
  protected:
    // The fixture's is in the outer namespace.
    void RenewSocket() {
        if (GetParam() == NotificationMode::kEvent) loop_.expected_mode = EventLoop::kModeInput;
        socket_ = std::make_shared<NlSocket>(&loop_, GetParam());
        ASSERT_TRUE(socket_->Setup());
    }
};
INSTANTIATE_TEST_SUITE_P(Modes, NlSocketNotificationsTest,
                         ::testing::Values(NotificationMode::kPoll, NotificationMode::kEvent));

// A peer socket in a namespace of its own stands for a kernel that is silent, gone or talkative.
TEST_P(NlSocketNotificationsTest, AreReadOneByOneWhateverElseComes) {
    RunInNetNamespace([this] {
        RenewSocket();
        sockaddr_nl address = {.nl_family = AF_NETLINK, .nl_pid = 4242};
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        UniqueNlMsg request;
        Fill(request.get(), "nlctrl");
        nlmsg_set_dst(request.get(), &address);
        EXPECT_FALSE(socket_->SendAndAwaitAck(request.get(), {}));
        ExpectLogged("SendAndAwaitAck: Error sending netlink message: ");
        EXPECT_FALSE(socket_->SendAndAwaitResponse(request.get(), note_, 1));
        ExpectLogged("SendAndAwaitResponse: Error sending netlink message: ");

        const android::base::unique_fd peer(::socket(AF_NETLINK, SOCK_RAW, NETLINK_GENERIC));
        ASSERT_EQ(bind(peer.get(), generic, sizeof(address)), 0);
        ExpectTimeout([&] { return socket_->SendAndAwaitAck(request.get(), {}); });
        ExpectLogged("SendAndAwaitAck: Error reading message: ");
        nlmsghdr received = {};
        ASSERT_GT(recv(peer.get(), &received, sizeof(received), 0), 0);
        EXPECT_EQ(received.nlmsg_flags, NLM_F_REQUEST | NLM_F_ACK);
        ExpectTimeout([this] { return socket_->ReceiveMessage({}); });
        ExpectLogged("ReceiveMessage: Error reading message: ");

        socket_->DisableAutoAck();
        EXPECT_TRUE(AwaitResponse("nlctrl"));
        EXPECT_TRUE(AwaitAck("nlctrl", [this](nl_msg* reply) { return note_(reply), NL_OK; }));
        families_.clear();
        ASSERT_TRUE(Watch());
        // What the kernel says on its own is stood for by answers that nobody asked for here. The
        // last but one is an error: nothing of the requests before is left to take it.
        sockaddr_nl kernel = {.nl_family = AF_NETLINK};
        for (const char* family : {"nlctrl", "nlctrl", "no_such_family", "nlctrl"}) {
            UniqueNlMsg question;
            Fill(question.get(), family);
            nlmsghdr* header = nlmsg_hdr(question.get());
            header->nlmsg_flags = NLM_F_REQUEST;
            header->nlmsg_pid = 0;
            EXPECT_GT(sendto(loop_.WatchedFd(), header, header->nlmsg_len, 0,
                             reinterpret_cast<sockaddr*>(&kernel), sizeof(kernel)),
                      0);
        }
        loop_.Pass();
        loop_.Pass();
        EXPECT_THAT(commands_, ElementsAre(CTRL_CMD_NEWFAMILY, CTRL_CMD_NEWFAMILY));
        const size_t lines = log_.lines().size();
        loop_.Pass();
        EXPECT_EQ(log_.lines().size(), lines + 1);
        EXPECT_THAT(log_.lines().back(),
                    StartsWith("W velta.uwb.NlSocket ReceiveMessage: Error reading message: "));
        EXPECT_EQ(families_.size(), 0u);
        loop_.Pass();  // The third data message drops the socket.
        EXPECT_EQ(loop_.watches.size(), 0u);
    });
}

TEST_P(NlSocketNotificationsTest, AreBelievedOfTheKernelOnly) {
    RunInNetNamespace([this] {
        RenewSocket();
        ASSERT_TRUE(Watch());
        sockaddr_nl address = {.nl_family = AF_NETLINK, .nl_pid = 4242};
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        const android::base::unique_fd peer(::socket(AF_NETLINK, SOCK_RAW, NETLINK_GENERIC));
        ASSERT_EQ(bind(peer.get(), generic, sizeof(address)), 0);
        socklen_t size = sizeof(address);
        ASSERT_EQ(getsockname(loop_.WatchedFd(), generic, &size), 0);
        Bytes error = Wire("99 1=q0 1=q0");
        error[4] = NLMSG_ERROR;
        for (const Bytes& bytes : {Wire("7"), error}) {
            EXPECT_GT(sendto(peer.get(), bytes.data(), bytes.size(), 0, generic, size), 0);
        }
        // Neither a lie nor its sequence number hurts a request.
        EXPECT_TRUE(AwaitAck("nlctrl", [this](nl_msg* reply) { return note_(reply), NL_OK; }));
        EXPECT_THAT(families_, ElementsAre("nlctrl"));
        EXPECT_GT(sendto(peer.get(), error.data(), error.size(), 0, generic, size), 0);
        loop_.Pass();
        EXPECT_EQ(log_.Count("W velta.uwb Dropped a netlink message that is not the kernel's but "
                             "port 4242's"),
                  3u);
        EXPECT_TRUE(commands_.empty());
    });
}

// A socket of another kind in the place of netlink's: what it brings has no sender, like the
// kernel's own.
TEST_F(NlSocketTest, ADatagramIsReadMessageByMessage) {
    const auto special = [](uint16_t type, int content, const std::string& text = "0 1=q0 1=q0") {
        Bytes message = Wire(text);
        memcpy(&message[offsetof(nlmsghdr, nlmsg_type)], &type, sizeof(type));
        memcpy(&message[NLMSG_HDRLEN], &content, sizeof(content));
        return message;
    };
    std::map<std::string, Bytes> parts = {
        {"noop", special(NLMSG_NOOP, 0)},       {"done", special(NLMSG_DONE, 0)},
        {"overrun", special(NLMSG_OVERRUN, 0)}, {"ack", special(NLMSG_ERROR, 0)},
        {"refusal", special(NLMSG_ERROR, -95)}, {"short", special(NLMSG_ERROR, 0, "0")},
        {"much", Bytes(kMaxMessageSize)},       {"cut", {20, 0, 0}}};
    loop_.expected_mode = EventLoop::kModeInput;
    // The handler wants no more after 99.
    for (const auto& [sent, expected] :
         std::map<std::string, std::string>{{"7 8 9", "7 8 9 "},
                                            {"noop 7 done 8 ack 9", "7 8 9 "},
                                            {"7 99 8", "7 99 "},
                                            {"99 8", "99 "},
                                            {"7 refusal 8", "7 "},
                                            {"7 short 8", "7 lost"},
                                            {"7 much 8", "lost"},
                                            {"7 overrun 8", "7 lost"},
                                            {"7 cut", "7 "}}) {
        std::string seen;
        socket_ = std::make_shared<NlSocket>(&loop_, NotificationMode::kEvent);
        ASSERT_TRUE(socket_->Setup() && socket_->WatchNetlinkSocket(socket_, [&](nl_msg* msg) {
            const int command = genlmsg_hdr(nlmsg_hdr(msg))->cmd;
            seen += std::to_string(command) + " ";
            return command == 99 ? NL_STOP : NL_OK;
        }));
        socket_->SetLostHandler([&] { seen += "lost"; });
        int pair[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, pair), 0);
        const android::base::unique_fd kernel(pair[0]), end(pair[1]);
        ASSERT_EQ(dup2(end.get(), loop_.WatchedFd()), loop_.WatchedFd());
        Bytes datagram;
        for (const std::string& word : android::base::Split(sent, " ")) {
            const Bytes& part = parts.contains(word) ? parts[word] : parts[word] = Wire(word);
            datagram.insert(datagram.end(), part.begin(), part.end());
        }
        ASSERT_EQ(send(kernel.get(), datagram.data(), datagram.size(), 0), datagram.size());
        for (int i = 0; i < 2; i++) loop_.Pass();  // That nothing is left is no loss.
        EXPECT_EQ(seen, expected) << sent;
    }
}

TEST_F(NlSocketTest, FactoryWithoutASocketFailsUnderItsUsersTags) {
    EXPECT_TRUE(NlSocketFactory(&loop_).Create()->IsValid());
    class Broken : public NlSocketFactory {
      public:
        Broken() : NlSocketFactory(nullptr) {}
        std::unique_ptr<NlSocket> Create() override { return nullptr; }
    } factory;
    EXPECT_FALSE(factory.SendAndAwaitAck(nullptr));
    EXPECT_FALSE(factory.SendAndAwaitResponse(nullptr, {}, 1));
    const std::string text = ": BAD_ALLOC: cannot allocate NlSocket";
    EXPECT_THAT(log_.lines(), ElementsAre("E velta.uwb.FiraRegionUtils SendAndAwaitAck" + text,
                                          "E velta.uwb.IeeeUtils SendAndAwaitResponse" + text));
    RunInNetNamespace([this] {
        const rlimit no_files = {};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &no_files), 0);
        EXPECT_EQ(NlSocketFactory(&loop_).Create(), nullptr);
        EXPECT_EQ(Count("E Setup: Failed to connect to generic netlink"), 1u);
    });
}

TEST(ToShortAddressTest, TakesTwoBytesMostSignificantFirst) {
    for (const size_t size : {0, 1, 2, 3, 8}) {
        bool ok = size != 2;
        EXPECT_EQ(ToShortAddress(Bytes(size, 0xAB), &ok), size == 2 ? 0xABAB : 0);
        EXPECT_EQ(ok, size == 2);
    }
}

}  // namespace
}  // namespace hardware::velta
