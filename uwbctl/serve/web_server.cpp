// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/web_server.h"

#include <android-base/strings.h>
#include <android-base/unique_fd.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include "uwbctl/client/client.h"
#include "uwbctl/serve/answer.h"
#include "uwbctl/serve/connection.h"
#include "uwbctl/serve/downloads.h"
#include "uwbctl/serve/lane.h"
#include "uwbctl/serve/page_files.h"
#include "uwbctl/serve/request_check.h"
#include "uwbctl/serve/waiting_room.h"

namespace uwbctl {
namespace {

using httplib::Request;
using httplib::Response;
using Json = nlohmann::ordered_json;
using std::chrono::milliseconds;

// Who wants one thing is not in the way of who wants another: each has its threads. Those who look
// on have one each, and there is one more, to refuse others.
constexpr int kMaxStreams = 12;
// Of those, for who may not command.
constexpr int kMaxForeignStreams = 8;
constexpr size_t kStreamThreads = kMaxStreams + 1;
constexpr size_t kPageThreads = 4;
constexpr size_t kCommandThreads = 4;
// Of recordings and reports: who takes one slowly keeps a thread.
constexpr size_t kDownloadThreads = 4;
// Who wait for a thread.
constexpr int kMaxInLine = 64;
constexpr int kMaxDownloadsInLine = 4;

// Between two looks at whether a reader is still there, and between two signs of life to it.
constexpr milliseconds kStreamPause{1000};
constexpr int kPausesPerSign = 5;

constexpr int kRequestsPerConnection = 1000;
// What the kernel holds for a reader that takes nothing.
constexpr int kSendBuffer = 256 << 10;

constexpr char kCommandPath[] = "/command/";
constexpr char kEventsPath[] = "/events";

std::string TypeOf(const std::string& path) {
    if (path.ends_with(".js")) return "text/javascript; charset=utf-8";
    if (path.ends_with(".css")) return "text/css; charset=utf-8";
    if (path.ends_with(".svg")) return "image/svg+xml";
    return "text/html; charset=utf-8";
}

int HttpStatus(ExitStatus status) {
    constexpr int kConflict = 409;
    constexpr int kServerFailed = 500;
    switch (status) {
        case kUsage:
            return kBadRequest;
        case kRefused:
            return kConflict;
        case kNoService:
            return kUnavailable;
        default:
            return kServerFailed;
    }
}

// As the library takes it, to whom a path is an expression.
std::string Exactly(const std::string& path) {
    return android::base::StringReplace(path, ".", "\\.", /*all=*/true);
}

}  // namespace

class WebServer::Impl : private httplib::Server {
  public:
    Impl(const Gate* gate, const EventLog* log, Backend* backend)
        : gate_(gate),
          log_(log),
          backend_(backend),
          files_(backend, &is_stopping_),
          waiting_([this](std::unique_ptr<Connection>* connection) { Serve(connection); }),
          commands_(kCommandThreads, kMaxInLine),
          streams_lane_(kStreamThreads, kMaxInLine),
          downloads_(kDownloadThreads, kMaxDownloadsInLine),
          pages_(kPageThreads, kMaxInLine) {
        AddRoutes();
    }
    ~Impl() override { Stop(); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void Start(const std::string& address, int port);
    void Stop();
    int port() const { return port_; }

  private:
    void AddRoutes();
    void AddHeaders();
    bool process_and_close_socket(socket_t socket) override;
    Lane& LaneOf(const RawHead& head);
    void Serve(std::unique_ptr<Connection>* connection);
    void ServeRequest(std::unique_ptr<Connection> connection);

    void ServeEvents(const Request& request, Response* response);
    void ServeCommand(const Request& request, Response* response);

    const Gate* gate_;
    const EventLog* log_;
    Backend* backend_;
    int port_ = 0;
    socket_t listening_ = -1;
    std::atomic<int> streams_ = 0;
    std::atomic<int> foreign_streams_ = 0;
    std::atomic<bool> is_stopping_ = false;
    Downloads files_;
    // The room's thread fills the lanes until it ends, in Stop(); what they have served goes back
    // to the room, which therefore outlives them.
    WaitingRoom waiting_;
    Lane commands_;
    Lane streams_lane_;
    Lane downloads_;
    Lane pages_;
    std::thread thread_;
};

void WebServer::Impl::AddHeaders() {
    set_default_headers({
        // Nothing but our own files, and nobody may put the page into a frame.
        {"Content-Security-Policy",
         "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
         "img-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
        {"X-Content-Type-Options", "nosniff"},
        {"Referrer-Policy", "no-referrer"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Cross-Origin-Opener-Policy", "same-origin"},
        {"Cache-Control", "no-store"},
    });
}

void WebServer::Impl::AddRoutes() {
    AddHeaders();
    new_task_queue = [] { return new DoneAtOnce; };
    set_payload_max_length(kMaxBody);
    set_tcp_nodelay(true);
    set_socket_options([this](socket_t socket) {
        listening_ = socket;
        const int on = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
        // What is accepted inherits it.
        setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof(kSendBuffer));
    });
    set_pre_routing_handler([this](const Request& request, Response& response) {
        const auto refusal = CheckRequest(*gate_, request);
        if (!refusal) return HandlerResponse::Unhandled;
        Refuse(refusal->status, refusal->reason, &response);
        return HandlerResponse::Handled;
    });
    set_error_handler([](const Request&, Response& response) {
        if (response.body.empty()) {
            Refuse(response.status,
                   response.status == kNotFound ? "there is nothing here" : "not understood",
                   &response);
        }
    });
    set_exception_handler([](const Request&, Response& response, const std::exception_ptr& caught) {
        try {
            std::rethrow_exception(caught);
        } catch (const Failure& failure) {
            Refuse(HttpStatus(failure.status()), failure.what(), &response);
        } catch (const std::exception& exception) {
            Refuse(kBadRequest, ReasonOf(exception), &response);
        }
    });
    for (const PageFile& file : PageFiles()) {
        const std::string name = file.name;
        const std::string path = name == "index.html" ? "/" : "/" + name;
        Get(Exactly(path), [path, content = file.content](const Request&, Response& response) {
            response.set_content(content.data(), content.size(), TypeOf(path));
        });
    }
    Get(kEventsPath,
        [this](const Request& request, Response& response) { ServeEvents(request, &response); });
    Get(Exactly("/forms.json"), [this](const Request& request, Response& response) {
        Json forms = backend_->Forms();
        forms["may_command"] = gate_->HasToken(request.get_header_value("X-Token"));
        Answer(kOk, forms, &response);
    });
    Get(Exactly(Downloads::kRecordingPath),
        [this](const Request&, Response& response) { files_.ServeRecording(&response); });
    Get(Exactly(Downloads::kReportPath), [this](const Request& request, Response& response) {
        files_.ServeReport(request, &response);
    });
    Post("/command/[a-z/]+",
         [this](const Request& request, Response& response) { ServeCommand(request, &response); });
}

void WebServer::Impl::Start(const std::string& address, int port) {
    const bool is_bound =
        port == 0 ? (port_ = bind_to_any_port(address)) > 0 : bind_to_port(address, port_ = port);
    if (!is_bound) {
        // Who cannot listen at all ends: what this one holds goes as well.
        const bool is_ours = httplib::Server().bind_to_any_port(address) > 0;
        throw Failure(kUsage,
                      "cannot listen on " + address +
                          (is_ours ? ", port " + std::to_string(port) + ": is another server there?"
                                   : ": that is no address of this machine"));
    }
    // The library's five would have a sixth browser wait for a second.
    ::listen(listening_, SOMAXCONN);
    thread_ = std::thread([this] { listen_after_bind(); });
    while (!is_running()) std::this_thread::yield();
}

void WebServer::Impl::Stop() {
    if (!thread_.joinable()) return;
    is_stopping_ = true;
    stop();
    thread_.join();
    waiting_.Close();
}

bool WebServer::Impl::process_and_close_socket(socket_t socket) {
    waiting_.Enter(std::make_unique<Connection>(android::base::unique_fd(socket)));
    return true;
}

Lane& WebServer::Impl::LaneOf(const RawHead& head) {
    if (head.method() == "POST") return commands_;
    if (head.path() == kEventsPath) return streams_lane_;
    const bool is_download =
        head.path() == Downloads::kRecordingPath || head.path() == Downloads::kReportPath;
    return is_download ? downloads_ : pages_;
}

// Who finds no room in the line of the downloads is told; others are done sooner than that.
void WebServer::Impl::Serve(std::unique_ptr<Connection>* connection) {
    constexpr std::string_view kBusy =
        "HTTP/1.1 503 Service Unavailable\r\nRetry-After: 1\r\nContent-Length: 0\r\n"
        "Connection: close\r\n\r\n";
    constexpr std::string_view kBad =
        "HTTP/1.1 400 Bad Request\r\nContent-Type: application/json\r\nContent-Length: 26\r\n"
        "Connection: close\r\n\r\n{\"error\":\"not understood\"}";
    const RawHead head = (*connection)->Head();
    if (!head.IsGood()) {
        (*connection)->write(kBad.data(), kBad.size());
        return (*connection)->StopReading();
    }
    Lane& lane = LaneOf(head);
    if (lane.HasRoom()) {
        // A task can be copied, in the library's eyes.
        const auto shared = std::make_shared<std::unique_ptr<Connection>>(std::move(*connection));
        lane.Add([this, shared] { ServeRequest(std::move(*shared)); });
    } else if (&lane == &downloads_) {
        (*connection)->write(kBusy.data(), kBusy.size());
        connection->reset();
    }
}

void WebServer::Impl::ServeRequest(std::unique_ptr<Connection> connection) {
    const bool is_last = connection->requests() + 1 == kRequestsPerConnection;
    bool is_closed = false;
    // What follows the head of a request that was refused, or not understood, is no request.
    bool is_good = false;
    const auto look = [&](Request& request) {
        // Asked a thousand times for one range, the library would make a thousand copies.
        request.headers.erase("Range");
        // Who waits for a word before it sends the body has had it.
        request.headers.erase("Expect");
        request.ranges.clear();
        // For who has much to do: whether to go on. Nobody but the library's client has it set.
        request.progress = [&connection](uint64_t, uint64_t) { return !connection->HasLeft(); };
        is_good = !CheckRequest(*gate_, request);
    };
    if (is_stopping_) return;
    const bool is_served = process_request(*connection, is_last, is_closed, look);
    if (is_served && is_good && !is_closed && !is_last && !connection->has_run_dry()) {
        connection->EndRequest();
    } else {
        connection->StopReading();
    }
    waiting_.Enter(std::move(connection));
}

// Who may command can always look on, whoever else does.
void WebServer::Impl::ServeEvents(const Request& request, Response* response) {
    const bool is_foreign = !gate_->HasToken(request.get_param_value("token"));
    if (is_foreign && ++foreign_streams_ > kMaxForeignStreams) {
        foreign_streams_--;
        return Refuse(kUnavailable, "too many pages look on already", response);
    }
    const auto leave = [this, is_foreign] {
        streams_--;
        if (is_foreign) foreign_streams_--;
    };
    if (++streams_ > kMaxStreams) {
        leave();
        return Refuse(kUnavailable, "too many pages look on already", response);
    }
    const uint64_t first = log_->PlaceAfter(request.get_header_value("Last-Event-ID"));
    response->set_chunked_content_provider(
        "text/event-stream",
        [this, place = first, pauses = 0](size_t, httplib::DataSink& sink) mutable {
            if (is_stopping_ || !sink.is_writable()) return false;
            const auto text = log_->Read(&place, kStreamPause);
            if (!text) return false;
            if (!text->empty()) {
                pauses = 0;
                return sink.write(text->data(), text->size());
            }
            if (++pauses % kPausesPerSign != 0) return true;
            constexpr std::string_view kSign = ": still here\n\n";
            return sink.write(kSign.data(), kSign.size());
        },
        [leave](bool) { leave(); });
}

void WebServer::Impl::ServeCommand(const Request& request, Response* response) {
    const Json arguments = request.body.empty() ? Json::object() : ParseUniqueJson(request.body);
    if (!arguments.is_object()) throw Failure(kUsage, "the arguments are not a JSON object");
    Answer(kOk, backend_->Command(request.path.substr(strlen(kCommandPath)), arguments), response);
}

WebServer::WebServer(const std::string& address, int port, const Gate* gate, const EventLog* log,
                     Backend* backend)
    : impl_(std::make_unique<Impl>(gate, log, backend)) {
    impl_->Start(address, port);
}

WebServer::~WebServer() = default;

int WebServer::port() const {
    return impl_->port();
}

}  // namespace uwbctl
