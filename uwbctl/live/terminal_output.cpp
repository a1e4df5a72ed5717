// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/live/terminal_output.h"

#include <cstdio>
#include <string>

#include "uwbctl/client/measurement.h"
#include "uwbctl/client/output.h"
#include "uwbctl/live/live_table.h"
#include "uwbctl/live/screen.h"
#include "uwbctl/recording/recorder.h"

namespace uwbctl {
namespace {

class PlainOutput : public Output {
  public:
    void Add(const Measurement& measurement) override { puts(ToLine(measurement).c_str()); }
    void EndReport() override { FlushStandardOutput(); }
};

class CsvOutput : public Output {
  public:
    void Begin(const std::string& /*iface*/, const FiraTwrSession& /*session*/) override {
        puts(CsvHeader().c_str());
    }
    void Add(const Measurement& measurement) override { puts(ToCsv(measurement).c_str()); }
    void EndReport() override { FlushStandardOutput(); }
};

}  // namespace

std::unique_ptr<Output> MakeOutput(Format format, Events* events) {
    if (format == Format::kAuto) format = Screen::IsPossible() ? Format::kTable : Format::kPlain;
    switch (format) {
        case Format::kTable:
            return std::make_unique<LiveTable>(events);
        case Format::kJson:
            return MakeJsonOutput();
        case Format::kCsv:
            return std::make_unique<CsvOutput>();
        default:
            return std::make_unique<PlainOutput>();
    }
}

}  // namespace uwbctl
