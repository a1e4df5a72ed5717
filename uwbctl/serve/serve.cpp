// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/serve.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "uwbctl/client/client.h"
#include "uwbctl/client/output.h"
#include "uwbctl/client/session.h"
#include "uwbctl/client/text.h"
#include "uwbctl/serve/dispatcher.h"
#include "uwbctl/serve/event_log.h"
#include "uwbctl/serve/gate.h"
#include "uwbctl/serve/station.h"
#include "uwbctl/serve/web_server.h"

namespace uwbctl {
namespace {

using std::chrono::milliseconds;

// Twenty seconds of eight peers at fifty reports a second, minutes of anything slower.
constexpr size_t kWindowBytes = 4 << 20;
constexpr milliseconds kTick{50};

// For recordings, gone with this.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        const char* base = getenv("TMPDIR");
        path_ = std::string(base != nullptr ? base : "/tmp") + "/uwbctl-serve.XXXXXX";
        if (mkdtemp(path_.data()) == nullptr) {
            throw Failure(kCannotWrite, "cannot make " + path_ + ": " + strerror(errno));
        }
    }
    ~TemporaryFolder() { rmdir(path_.c_str()); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

bool IsAnyAddress(const std::string& address) {
    return address == "0.0.0.0" || address == "::";
}

// As it stands in a link.
std::string InLink(const std::string& address) {
    return address.find(':') == address.npos ? address : "[" + address + "]";
}

std::set<std::string> NamesOf(const ServeOptions& options) {
    std::set<std::string> names = {"127.0.0.1", "localhost", "[::1]"};
    if (!IsAnyAddress(options.listen)) names.insert(HostName(InLink(options.listen)));
    if (!options.link.empty()) names.insert(HostName(options.link));
    return names;
}

SessionDefaults DefaultsOf(const ServeOptions& options, EventLog* log) {
    SessionDefaults defaults = {
        .preset = options.preset.empty() ? SessionPresets().front().name : options.preset,
        .iface = options.iface,
        .peers = options.peers};
    MakeSession(defaults.preset);  // Or a Failure.
    ParsePeers(defaults.peers);
    if (!defaults.peers.empty()) return defaults;
    defaults.peers = WorldDesk(log).Tags();
    // A tag may have the address that the radio is to have.
    FiraTwrSession session;
    FillDeviceAddress(&session);
    std::erase(defaults.peers, AddressText(session.deviceAddress));
    return defaults;
}

void TellLink(const ServeOptions& options, int port, const std::string& token) {
    const std::string where =
        options.link.empty() ? InLink(options.listen) + ":" + std::to_string(port) : options.link;
    printf("http://%s/#%s\n", where.c_str(), token.c_str());
    FlushStandardOutput();
    fprintf(stderr, "the page of that link may command; http://%s/ looks on; Ctrl-C ends it\n",
            where.c_str());
}

// What hinders it can be mended from the page.
void StartRanging(const std::vector<std::string>& peers, Station* station) {
    try {
        station->Command("fira/start", {{"members", {{"destAddressList", peers}}}});
    } catch (const Failure& failure) {
        TellUser(failure.what());
    }
}

void RunUntilEnd(Events* events, Station* station) {
    for (;;) {
        const Events::Wake wake = events->Wait(kTick);
        if (wake == Events::Wake::kInterrupted || wake == Events::Wake::kOutputClosed) return;
        station->Tick();
    }
}

}  // namespace

ExitStatus Serve(Events* events, const ServeOptions& options) {
    if (IsAnyAddress(options.listen) && options.link.empty()) {
        throw Failure(kUsage, "--listen " + options.listen +
                                  " wants --link: the host and port by which browsers come");
    }
    const std::string token = MakeToken();
    constexpr size_t kRunLetters = 8;
    EventLog log(MakeToken().substr(0, kRunLetters), kWindowBytes);
    const SessionDefaults defaults = DefaultsOf(options, &log);
    const TemporaryFolder folder;
    Station station(events, &log, defaults, folder.path(), {});
    Dispatcher dispatcher(events, &station);
    const Gate gate(NamesOf(options), token);
    {
        const WebServer server(options.listen, options.port, &gate, &log, &dispatcher);
        TellLink(options, server.port(), token);
        if (options.starts) StartRanging(defaults.peers, &station);
        RunUntilEnd(events, &station);
        dispatcher.Close();
        station.End();  // First of all the radio: connections may take their time.
        log.Close();
    }
    return kDone;
}

}  // namespace uwbctl
