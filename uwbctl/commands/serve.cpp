// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/serve.h"

#include <android-base/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>

#include "uwbctl/commands/cli.h"
#include "uwbctl/commands/command.h"

namespace uwbctl {
namespace {

// The web server and the libraries that it needs are a program of their own: whoever ranges in a
// terminal does not load them, and only that program needs to be let into the network.
constexpr char kServer[] = "uwbctl-serve";

[[noreturn]] void StartServer(const std::vector<std::string>& words) {
    const std::string path =
        android::base::Dirname(android::base::GetExecutablePath()) + "/" + kServer;
    std::vector<char*> arguments = {const_cast<char*>(path.c_str())};
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    execv(path.c_str(), arguments.data());
    if (errno == ENOENT) {
        throw Failure(kUsage, "the web server is not installed here: there is no " + path);
    }
    throw Failure(kRadioFailed, "cannot start " + path + ": " + strerror(errno));
}

}  // namespace

void AddServe(CommandLine* line, CLI::App* app, ServeFunction serve) {
    constexpr int kMaxPort = std::numeric_limits<uint16_t>::max();
    const auto options = std::make_shared<ServeOptions>();
    CLI::App* command = app->add_subcommand("serve", "Serve a live page of the radio to browsers");
    command->footer(
        "Examples:\n"
        "  uwbctl serve -p 0x1234 -p 0x5678 --start    range, and watch it in a browser\n"
        "  uwbctl serve --port 0                       on a port that is free\n");
    AddIface(command, &options->iface);
    command
        ->add_option("-p,--peer", options->peers,
                     "Short address of a peer to range with; on a virtual radio all tags otherwise")
        ->type_name("ADDRESS");
    AddPreset(command, &options->preset);
    command->add_flag("--start", options->starts, "Begin to range at once");
    command->add_option("--port", options->port, "Port to listen on; 0 for one that is free")
        ->type_name("NUMBER")
        ->check(NumberRange(0, kMaxPort))
        ->capture_default_str();
    command
        ->add_option("--listen", options->listen,
                     "Address to listen on: whoever reaches it may look on")
        ->type_name("ADDRESS")
        ->capture_default_str();
    command
        ->add_option("--link", options->link,
                     "Host and port by which browsers reach it, where ports are forwarded")
        ->type_name("HOST:PORT");
    command->callback([line, options, serve] {
        line->run = [line, options, serve](Events* events) -> ExitStatus {
            if (serve == nullptr) StartServer(line->words);
            return serve(events, *options);
        };
    });
}

}  // namespace uwbctl
