// SPDX-License-Identifier: Apache-2.0
#include "diagnostics/dump_writer.h"

#include <algorithm>
#include <utility>

namespace hardware::velta {
namespace {

constexpr size_t kIndent = 2;

std::string Printable(std::string_view text) {
    std::string clean(text);
    std::replace_if(
        clean.begin(), clean.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return clean;
}

}  // namespace

DumpWriter::DumpWriter(Format format) : format_(format) {
    levels_.push_back({.close = '}', .is_empty = true, .is_item = false});
    if (format_ == Format::kJson) out_ = "{";
}

// What goes before a value: in JSON commas and names, in text the indentation, or a list's dash.
void DumpWriter::Begin(std::string_view name) {
    Level& level = levels_.back();
    if (format_ == Format::kJson) {
        if (!level.is_empty) out_ += ',';
        if (!name.empty()) out_ += Quoted(name) + ":";
    } else {
        const bool is_after_dash = level.is_item && level.is_empty;
        if (!is_after_dash) out_.append((levels_.size() - 1) * kIndent, ' ');
        if (!name.empty()) out_.append(name).append(":");
    }
    level.is_empty = false;
}

void DumpWriter::Open(std::string_view name, char open, char close) {
    Begin(name);
    if (format_ == Format::kJson) {
        out_ += open;
    } else {
        out_ += name.empty() ? "- " : "\n";
    }
    levels_.push_back({.close = close, .is_empty = true, .is_item = name.empty()});
}

void DumpWriter::Close() {
    const Level level = levels_.back();
    levels_.pop_back();
    if (format_ == Format::kJson) {
        out_ += level.close;
    } else if (level.is_empty && !level.is_item) {
        out_.back() = ' ';  // The line's end behind the name.
        out_ += "none\n";
    }
}

DumpWriter::Scope DumpWriter::Section(std::string_view name) {
    Open(name, '{', '}');
    return Scope(this);
}

DumpWriter::Scope DumpWriter::List(std::string_view name) {
    Open(name, '[', ']');
    return Scope(this);
}

DumpWriter::Scope DumpWriter::Item() {
    Open("", '{', '}');
    return Scope(this);
}

void DumpWriter::Put(std::string_view name, std::string_view json, std::string_view text) {
    Begin(name);
    if (format_ == Format::kJson) {
        out_ += json;
    } else {
        out_ += name.empty() ? "- " : " ";
        out_.append(text).append("\n");
    }
}

void DumpWriter::Text(std::string_view text) {
    Put("", Quoted(text), Printable(text));
}

void DumpWriter::Value(std::string_view name, std::string_view text) {
    Put(name, Quoted(text), Printable(text));
}

void DumpWriter::Value(std::string_view name, uint64_t number) {
    const std::string text = std::to_string(number);
    Put(name, text, text);
}

void DumpWriter::Value(std::string_view name, int64_t number) {
    const std::string text = std::to_string(number);
    Put(name, text, text);
}

void DumpWriter::Value(std::string_view name, bool is) {
    Put(name, is ? "true" : "false", is ? "yes" : "no");
}

void DumpWriter::Age(std::string_view name, std::chrono::steady_clock::time_point since) {
    const auto age = std::chrono::steady_clock::now() - since;
    Value(name, int64_t{std::chrono::duration_cast<std::chrono::seconds>(age).count()});
}

std::string DumpWriter::Quoted(std::string_view text) const {
    std::string quoted = "\"";
    for (const char c : Printable(text)) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

std::string DumpWriter::Finish() {
    if (format_ == Format::kJson) out_ += "}\n";
    return std::move(out_);
}

}  // namespace hardware::velta
