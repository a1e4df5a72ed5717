// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/raw_head.h"

#include <android-base/strings.h>

#include <algorithm>
#include <cctype>
#include <charconv>

#include "uwbctl/serve/connection.h"

namespace uwbctl {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

// What is before a mark; text is what follows it, or empty.
std::string_view TakeUntil(std::string_view mark, std::string_view* text) {
    const std::string_view taken = text->substr(0, text->find(mark));
    text->remove_prefix(std::min(taken.size() + mark.size(), text->size()));
    return taken;
}

std::string_view WithoutBlanks(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

bool IsTokenLetter(unsigned char letter) {
    return isalnum(letter) != 0 ||
           std::string_view("!#$%&'*+-.^_`|~").find(static_cast<char>(letter)) !=
               std::string_view::npos;
}

bool IsToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), IsTokenLetter);
}

// Ends of lines that are none, and bytes that end a text for some readers, among others.
bool IsControl(unsigned char letter) {
    return iscntrl(letter) != 0 && letter != '\t';
}

bool IsGoodHeader(std::string_view line) {
    const size_t colon = line.find(':');
    if (colon == line.npos || !IsToken(line.substr(0, colon))) return false;
    const std::string_view value = line.substr(colon + 1);
    return std::none_of(value.begin(), value.end(), IsControl) &&
           !(android::base::EqualsIgnoreCase(line.substr(0, colon), "Content-Length") &&
             WithoutBlanks(value).empty());
}

}  // namespace

RawHead::RawHead(std::string_view text) : text_(text) {
    std::string_view line = TakeUntil(kLineEnd, &text);
    headers_ = text;
    method_ = TakeUntil(" ", &line);
    target_ = TakeUntil(" ", &line);
    version_ = line;
}

bool RawHead::IsGood() const {
    const auto is_visible = [](unsigned char letter) { return letter > ' ' && !IsControl(letter); };
    if (!IsToken(method_) || target_.empty() ||
        !std::all_of(target_.begin(), target_.end(), is_visible) ||
        (version_ != "HTTP/1.1" && version_ != "HTTP/1.0") || !text_.ends_with("\r\n\r\n")) {
        return false;
    }
    for (std::string_view rest = headers_; rest != kLineEnd;) {
        if (!IsGoodHeader(TakeUntil(kLineEnd, &rest))) return false;
    }
    return true;
}

std::string_view RawHead::ValueOf(std::string_view name) const {
    for (std::string_view rest = headers_; !rest.empty();) {
        std::string_view line = TakeUntil(kLineEnd, &rest);
        if (android::base::EqualsIgnoreCase(TakeUntil(":", &line), name)) {
            return WithoutBlanks(line);
        }
    }
    return {};
}

size_t RawHead::BodySize() const {
    const std::string_view value = ValueOf("Content-Length");
    size_t size = 0;
    const auto [end, error] = std::from_chars(value.begin(), value.end(), size);
    return error == std::errc() && size <= kMaxBody ? size : 0;
}

bool RawHead::WaitsForWord() const {
    return HasInterim() && android::base::EqualsIgnoreCase(ValueOf("Expect"), "100-continue");
}

}  // namespace uwbctl
