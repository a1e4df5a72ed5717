// SPDX-License-Identifier: Apache-2.0

// Makes a run's JSON from its samples, and a table and a page from the JSON.
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>

#include "bench/common/options.h"
#include "bench/common/run_main.h"
#include "bench/report/result.h"

namespace {

using namespace hardware::velta::bench;
using nlohmann::ordered_json;

ordered_json ReadMeta(const std::vector<std::string>& entries) {
    ordered_json meta = ordered_json::object();
    for (const std::string& entry : entries) {
        const size_t equals = entry.find('=');
        meta[entry.substr(0, equals)] = entry.substr(equals + 1);
    }
    return meta;
}

ordered_json ReadRun(const std::string& path) {
    std::ifstream file(path);
    return ordered_json::parse(file);
}

std::string ReadText(const std::string& path) {
    std::ifstream file(path);
    std::string text(std::istreambuf_iterator<char>(file), {});
    if (!file) throw std::runtime_error(path + " cannot be read");
    return text;
}

void Write(const std::string& path, const std::string& text) {
    std::ofstream file(path);
    file << text;
    if (!file.flush()) throw std::runtime_error(path + " cannot be written");
}

int Run(int argc, char** argv) {
    std::string samples, run_path, before_path, page, notes;
    std::vector<std::string> meta;
    Options options("Tables of benchmark results.");
    options.Require("run", &run_path, "a run's JSON; written when there are --samples");
    options.Add("--samples", &samples, "lines of JSON to make the run from");
    options.Add("--meta", &meta, "NAME=TEXT about the run");
    options.Add("--before", &before_path, "JSON of an earlier run to compare with");
    options.Add("--page", &page, "write the page for the documents here");
    options.Add("--notes", &notes, "what the page says about the goals, as it stands in a file");
    if (const auto status = options.Parse(argc, argv)) return *status;
    if (!samples.empty()) {
        std::ifstream file(samples);
        Write(run_path, RunText(CollectRun(&file, ReadMeta(meta))));
    }
    const Result result = ReadResult(ReadRun(run_path));
    std::cout << TerminalTable(result);
    if (page.empty()) return 0;
    std::optional<Result> before;
    if (!before_path.empty()) before = ReadResult(ReadRun(before_path));
    Write(page, Page(result, before ? &*before : nullptr, notes.empty() ? "" : ReadText(notes)));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    return hardware::velta::bench::RunMain(Run, argc, argv);
}
