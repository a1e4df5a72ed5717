// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/web_server.h"

#include <android-base/file.h>
#include <android-base/unique_fd.h>
#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>

#include "uwbctl/client/client.h"

namespace uwbctl {
namespace {

using ::android::base::unique_fd;
using Json = nlohmann::ordered_json;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char kToken[] = "0123456789abcdef";

// In small pieces and large ones.
size_t AllocatedBytes() {
    return mallinfo2().uordblks + mallinfo2().hblkhd;
}

// A session's place: answers what it was asked.
class FakeBackend : public Backend {
  public:
    Json Command(const std::string& name, const Json& arguments) override {
        commands++;
        last = name;
        if (name == "refuse") throw Failure(kRefused, "the radio does not want to");
        if (name == "usage") arguments.at("missing");
        return {{"name", name}, {"arguments", arguments}};
    }
    Json Forms() const override { return {{"version", "1"}}; }
    std::string Recording() const override { return recording; }

    std::atomic<int> commands = 0;
    std::string last;
    std::string recording;
};

class WebServerTest : public ::testing::Test {
  protected:
    void TearDown() override { log_.Close(); }

    unique_fd Connect(int receive_buffer = 0) const {
        unique_fd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (receive_buffer > 0) {
            setsockopt(fd.get(), SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof(receive_buffer));
        }
        const timeval patience = {.tv_sec = 20, .tv_usec = 0};
        setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(server_.port()));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        return fd;
    }

    static void Send(int fd, const std::string& text) {
        size_t sent = 0;
        while (sent < text.size()) {
            const ssize_t size = send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            if (size <= 0) return;  // The server has had enough.
            sent += static_cast<size_t>(size);
        }
    }

    // What comes until the end, or until enough is there.
    static std::string Receive(int fd, const std::string& enough = "") {
        std::string text;
        char buffer[4096];
        for (;;) {
            const ssize_t size = recv(fd, buffer, sizeof(buffer), 0);
            if (size <= 0) return text;
            text.append(buffer, static_cast<size_t>(size));
            if (!enough.empty() && text.find(enough) != text.npos) return text;
        }
    }

    std::string Host() const { return "127.0.0.1:" + std::to_string(server_.port()); }

    // The server's whole answer to a text; the client says that it has nothing more to say.
    std::string Answer(const std::string& text) const {
        const unique_fd fd = Connect();
        Send(fd.get(), text);
        shutdown(fd.get(), SHUT_WR);
        return Receive(fd.get());
    }

    std::string Post(const std::string& headers, const std::string& body,
                     const std::string& path = "/command/any") const {
        return "POST " + path + " HTTP/1.1\r\n" + headers +
               "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }
    std::string GoodHeaders() const {
        return "Host: " + Host() + "\r\nOrigin: http://" + Host() +
               "\r\nContent-Type: application/json\r\nX-Token: " + kToken + "\r\n";
    }

    EventLog log_{"run", 1 << 20};
    FakeBackend backend_;
    Gate gate_{{"127.0.0.1", "localhost"}, kToken};
    WebServer server_{"127.0.0.1", 0, &gate_, &log_, &backend_};
};

TEST_F(WebServerTest, LetsInWhoMayAndNobodyElse) {
    const std::string host = "Host: " + Host() + "\r\n";
    const std::string origin = "Origin: http://" + Host() + "\r\n";
    const std::string json = "Content-Type: application/json\r\n";
    const std::string token = std::string("X-Token: ") + kToken + "\r\n";
    const std::string cross = "Sec-Fetch-Site: cross-site\r\n";
    const std::string visit = "Sec-Fetch-Mode: navigate\r\n";
    const std::string good = GoodHeaders();
    const std::string long_text(200000, 'x');
    const auto get = [](const std::string& path, const std::string& headers) {
        return "GET " + path + " HTTP/1.1\r\n" + headers + "\r\n";
    };
    const struct {
        const char* what;
        std::string request;
        const char* status;
    } kCases[] = {
        {"the page", get("/", host), "200"},
        {"by its other name", get("/", "Host: LOCALHOST:1\r\n"), "200"},
        {"a link elsewhere leads here", get("/", host + cross + visit), "200"},
        {"another site's frame or picture", get("/", host + cross), "403"},
        {"another site reads", get("/forms.json", host + cross + visit), "403"},
        {"another port of this machine reads",
         get("/events", host + "Sec-Fetch-Site: same-site\r\n"), "403"},
        {"another origin reads", get("/events", host + "Origin: http://evil.example\r\n"), "403"},
        {"a name that leads here", get("/", "Host: evil.example\r\n"), "421"},
        {"a name that begins like ours", get("/", "Host: localhost.evil.example\r\n"), "421"},
        {"a name behind our port", get("/", "Host: localhost:1@evil.example\r\n"), "421"},
        {"the same range many times", get("/style.css", host + "Range: bytes=0-,0-,0-\r\n"), "200"},
        {"no name", get("/", ""), "421"},
        {"two names", get("/", host + "Host: evil.example\r\n"), "421"},
        {"no such file", get("/secret", host), "404"},
        {"a path written otherwise", get("/%73tyle.css", host), "404"},
        {"a way out of the folder", get("/../../etc/passwd", host), "404"},
        {"nothing recorded", get("/recording.jsonl", host), "404"},
        {"a command", Post(good, "{}"), "200"},
        {"a command without token", Post(host + origin + json, "{}"), "403"},
        {"with another token", Post(host + origin + json + "X-Token: 0123456789abcdee\r\n", "{}"),
         "403"},
        {"with an empty token", Post(host + origin + json + "X-Token: \r\n", "{}"), "403"},
        {"with a longer token", Post(host + origin + json + "X-Token: " + kToken + "0\r\n", "{}"),
         "403"},
        {"without an origin", Post(host + json + token, "{}"), "403"},
        {"of another origin", Post(host + json + token + "Origin: http://evil.example\r\n", "{}"),
         "403"},
        {"of no origin", Post(host + json + token + "Origin: null\r\n", "{}"), "403"},
        {"of another site", Post(good + cross, "{}"), "403"},
        {"as a form sends it", Post(host + origin + token + "Content-Type: text/plain\r\n", "{}"),
         "415"},
        {"asking before", "OPTIONS /command/any HTTP/1.1\r\n" + good + "\r\n", "405"},
        {"putting", "PUT /command/any HTTP/1.1\r\n" + good + "\r\n", "405"},
        {"broken JSON", Post(good, "{\"a\":"), "400"},
        {"a member twice", Post(good, R"({"a":{"b":{"d":1},"c":1,"b":2}})"), "400"},
        {"no object", Post(good, "[1]"), "400"},
        {"deep JSON", Post(good, std::string(100000, '[')), "400"},
        {"a missing argument", Post(good, "{}", "/command/usage"), "400"},
        {"what the radio refuses", Post(good, "{}", "/command/refuse"), "409"},
        {"a huge body", Post(good, long_text), "413"},
        {"a huge body that is only announced",
         "POST /command/any HTTP/1.1\r\n" + good + "Content-Length: 99999999999\r\n\r\n", "413"},
        {"a length that is none",
         "POST /command/any HTTP/1.1\r\n" + good + "Content-Length: many\r\n\r\n", "400"},
        {"a body without length",
         "POST /command/any HTTP/1.1\r\n" + good + "Transfer-Encoding: chunked\r\n\r\nfffffff\r\n",
         "411"},
        {"a long path", get("/" + std::string(1000, 'a'), host), "414"},
        {"a blank before a colon", get("/", host + "X : a\r\n"), "400"},
        {"a line that goes on", get("/", host + "X: a\r\n b\r\n"), "400"},
        {"an end of text", get("/", host + "X: a" + std::string(1, '\0') + "\r\n"), "400"},
        {"an empty length", get("/", host + "Content-Length: \r\n"), "400"},
        {"no header", get("/", host + "nothing\r\n"), "400"},
        {"another blank before the path", get(" /style.css", host), "400"},
        {"a path that is like ours", get("/forms-json", host), "404"},
        {"no HTTP", "\x16\x03\x01 hello\r\n\r\n", "400"},
    };
    for (const auto& [what, request, status] : kCases) {
        EXPECT_THAT(Answer(request), StartsWith(std::string("HTTP/1.1 ") + status)) << what;
    }
    EXPECT_EQ(backend_.commands, 3) << "commands that were refused were run";
}

// Whoever sends without end is not listened to without end.
TEST_F(WebServerTest, GivesUpOnHeadersWithoutEnd) {
    const std::string line = "X-Filler: " + std::string(1000, 'x') + "\r\n";
    std::string many = "GET / HTTP/1.1\r\n";
    for (int i = 0; i < 2000; i++) many += line;
    for (const std::string& text : {many, "GET /" + std::string(2 << 20, 'x')}) {
        const unique_fd fd = Connect();
        Send(fd.get(), text);
        EXPECT_THAT(Receive(fd.get()), Not(HasSubstr(" 200 ")));
    }
    EXPECT_THAT(Answer("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"), StartsWith("HTTP/1.1 200"));
}

// The body of a request that is refused is no request, nor is one that is longer than it says.
TEST_F(WebServerTest, TakesNoRequestFromABody) {
    const std::string inner = Post(GoodHeaders(), "{}");
    Answer(Post("Host: " + Host() + "\r\nContent-Type: text/plain\r\n", inner));
    const std::string size = std::to_string(inner.size());
    for (const std::string& length : std::vector<std::string>{
             "Content-Length: +" + size, "Content-Length: %39", "Content-Length: \v" + size,
             "Content-Length:", "Content-Length: 0\r\nContent-Length: " + size,
             "Content-Length : " + size, "X: a\nContent-Length: " + size,
             "X: a\r\n Content-Length: " + size, "Content%2DLength: " + size,
             "Transfer-Encoding : chunked"}) {
        Answer("POST /command/usage HTTP/1.1\r\n" + GoodHeaders() + length + "\r\n\r\n" + inner);
        EXPECT_NE(backend_.last, "any") << length;
    }
}

TEST_F(WebServerTest, PassesCommandsOnAndTellsWhatIsWrong) {
    EXPECT_THAT(Answer(Post(GoodHeaders(), R"({"a":[1,"b"]})", "/command/fira/start")),
                HasSubstr(R"({"name":"fira/start","arguments":{"a":[1,"b"]}})"));
    EXPECT_THAT(Answer(Post(GoodHeaders(), "{}", "/command/refuse")),
                HasSubstr(R"({"error":"the radio does not want to"})"));
}

TEST_F(WebServerTest, PageMayLoadNothingFromElsewhere) {
    const std::string answer = Answer("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(answer, AllOf(HasSubstr("Content-Security-Policy: default-src 'none'"),
                              HasSubstr("X-Content-Type-Options: nosniff"),
                              HasSubstr("frame-ancestors 'none'"), Not(HasSubstr(kToken)),
                              Not(HasSubstr("Access-Control"))));
}

TEST_F(WebServerTest, StreamsAndGoesOnAfterABreak) {
    log_.Publish("report", "1");
    log_.Publish("report", "2");
    const unique_fd fd = Connect();
    Send(fd.get(), "GET /events HTTP/1.1\r\nHost: localhost\r\nLast-Event-ID: run-1\r\n\r\n");
    EXPECT_THAT(Receive(fd.get(), "data: 2"),
                AllOf(HasSubstr("text/event-stream"), Not(HasSubstr("data: 1\n"))));
    log_.Publish("report", "3");
    EXPECT_THAT(Receive(fd.get(), "data: 3"), HasSubstr("id: run-3\nevent: report\n"));
}

// Readers that take nothing: others hear everything in time, the server's memory stays.
TEST_F(WebServerTest, ASlowReaderStallsNobodyAndCostsNothing) {
    std::vector<unique_fd> slow;
    for (int i = 0; i < 4; i++) {
        slow.push_back(Connect(/*receive_buffer=*/2048));
        Send(slow.back().get(), "GET /events HTTP/1.1\r\nHost: localhost\r\n\r\n");
    }
    const unique_fd fast = Connect();
    Send(fast.get(), "GET /events HTTP/1.1\r\nHost: localhost\r\n\r\n");
    Receive(fast.get(), "\r\n\r\n");
    const std::string data(2000, 'x');
    const auto round = [&](int from) {
        for (int i = from; i < from + 2000; i++) {
            log_.Publish("report", std::to_string(i) + data);
            const std::string enough = "data: " + std::to_string(i) + "x";
            if (i % 100 == 0) EXPECT_THAT(Receive(fast.get(), enough), HasSubstr(enough));
        }
    };
    round(10000);
    const size_t before = AllocatedBytes();
    const auto start = steady_clock::now();
    round(20000);
    EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_LT(AllocatedBytes(), before + (1 << 20)) << "4 MB more went by";
}

// Those who look on, those who would, and those who send half a request or nothing: who may command
// commands, and looks on.
TEST_F(WebServerTest, ACrowdLeavesRoomForWhoMayCommand) {
    const std::string stream = "GET /events HTTP/1.1\r\nHost: localhost\r\n\r\n";
    std::vector<unique_fd> crowd;
    std::string answer;
    for (int i = 0; i < 9; i++) {
        crowd.push_back(Connect());
        Send(crowd.back().get(), stream);
        answer = Receive(crowd.back().get(), "\r\n\r\n");
    }
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 503"));
    for (int i = 0; i < 200; i++) {
        crowd.push_back(Connect());
        Send(crowd.back().get(), i % 3 == 0 ? "" : stream.substr(0, i % 3 == 1 ? 30 : stream.npos));
    }
    std::string pages;
    for (int i = 0; i < 900; i++) pages += "GET /style.css HTTP/1.1\r\nHost: localhost\r\n\r\n";
    for (int i = 0; i < 100; i++) {
        crowd.push_back(Connect(/*receive_buffer=*/2048));
        send(crowd.back().get(), pages.data(), pages.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    EXPECT_THAT(Answer("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"), StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(Answer(Post(GoodHeaders(), "{}")), StartsWith("HTTP/1.1 200"));
    const unique_fd own = Connect();
    Send(own.get(), std::string("GET /events?token=") + kToken + stream.substr(11));
    EXPECT_THAT(Receive(own.get(), "\r\n\r\n"), StartsWith("HTTP/1.1 200"));
}

// Letter by letter, and several at once.
TEST_F(WebServerTest, TakesRequestsAsTheyArrive) {
    const std::string get = "GET /style.css HTTP/1.1\r\nHost: localhost\r\n\r\n";
    const std::string command = Post(GoodHeaders(), R"({"a":1})");
    const unique_fd fd = Connect();
    for (const char letter : command) Send(fd.get(), {letter});
    EXPECT_THAT(Receive(fd.get(), R"({"a":1}})"), StartsWith("HTTP/1.1 200"));
    Send(fd.get(), get + command + command.substr(0, 40));
    EXPECT_THAT(Receive(fd.get(), R"({"a":1}})"), HasSubstr("text/css"));
    Send(fd.get(), command.substr(40));
    EXPECT_THAT(Receive(fd.get(), R"({"a":1}})"), StartsWith("HTTP/1.1 200"));
    EXPECT_EQ(backend_.commands, 3);
    // Who asks first whether the body is wanted sends it when it is.
    const size_t body = command.find("\r\n\r\n") + 4;
    Send(fd.get(), command.substr(0, body - 2) + "Expect: 100-Continue\r\n\r\n");
    EXPECT_THAT(Receive(fd.get(), "\r\n\r\n"), StartsWith("HTTP/1.1 100"));
    Send(fd.get(), command.substr(body));
    EXPECT_THAT(Receive(fd.get(), R"({"a":1}})"), StartsWith("HTTP/1.1 200"));
}

// Reports take their time: here as long as nobody writes what they are to tell.
TEST_F(WebServerTest, ReportsAreInNobodysWayAndNotMadeForWhoHasLeft) {
    const std::string report = "GET /report.html?/events HTTP/1.1\r\nHost: localhost\r\n\r\n";
    const TemporaryDir folder;
    const std::string file = backend_.recording = std::string(folder.path) + "/walk";
    const auto make_pipe = [&file] {
        unlink(file.c_str());
        return mkfifo(file.c_str(), 0600);
    };
    for (const size_t readers : {3, 14}) {
        ASSERT_EQ(make_pipe(), 0);
        std::vector<unique_fd> crowd(readers);
        for (unique_fd& one : crowd) Send((one = Connect()).get(), report);
        // The first is being made.
        unique_fd recorder(open(file.c_str(), O_WRONLY | O_CLOEXEC));
        const unique_fd fd = Connect();
        Send(fd.get(), "GET /events HTTP/1.1\r\nHost: localhost\r\n\r\n");
        EXPECT_THAT(Receive(fd.get(), "\r\n\r\n"), StartsWith("HTTP/1.1 200"));
        crowd.clear();
        if (readers > 4) return;  // More than find a place.
        ASSERT_EQ(make_pipe(), 0);
        const unique_fd own = Connect();
        Send(own.get(), report);
        recorder.reset();
        recorder.reset(open(file.c_str(), O_WRONLY | O_CLOEXEC));
        recorder.reset();
        EXPECT_THAT(Receive(own.get(), "empty"), HasSubstr("HTTP/1.1 400"));
    }
}

TEST_F(WebServerTest, ARecordingGoesOutPieceByPiece) {
    constexpr size_t kSize = 16 << 20;
    TemporaryFile file;
    android::base::WriteStringToFile(std::string(kSize, 'x'), file.path);
    backend_.recording = file.path;
    const size_t before = AllocatedBytes();
    const unique_fd slow = Connect(/*receive_buffer=*/2048);
    Send(slow.get(), "GET /recording.jsonl HTTP/1.1\r\nHost: localhost\r\n\r\n");
    size_t size = Receive(slow.get(), "\r\n\r\n").size();
    EXPECT_LT(AllocatedBytes(), before + (1 << 20));
    // Gone meanwhile, as when another one begins: who has begun to read it has all of it.
    unlink(file.path);
    shutdown(slow.get(), SHUT_WR);
    size += Receive(slow.get()).size();
    EXPECT_GT(size, kSize);
    EXPECT_LT(size, kSize + 1000);
}

TEST_F(WebServerTest, GivesOutTheRecordingAndItsReport) {
    TemporaryFile file;
    android::base::WriteStringToFile(
        R"({"type":"session","format":"uwbctl-recording","version":1,"time":"2026-01-01T00:00:00Z",)"
        R"("iface":"wpan7","session":{"id":42}})"
        "\n",
        file.path);
    backend_.recording = file.path;
    const std::string host = "Host: localhost\r\n\r\n";
    EXPECT_THAT(Answer("GET /recording.jsonl HTTP/1.1\r\n" + host),
                AllOf(HasSubstr("attachment"), HasSubstr("\"wpan7\"")));
    EXPECT_THAT(Answer("GET /report.html HTTP/1.1\r\n" + host),
                AllOf(HasSubstr("attachment"), HasSubstr("wpan7, session 42")));
}

}  // namespace
}  // namespace uwbctl
