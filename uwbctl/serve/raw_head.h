// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

namespace uwbctl {

/**
 * The head of a request as it came, which the library is shown only when it can be understood in
 * one way: by its path a request is given to those who serve it, by its length the next one is
 * found.
 */
class RawHead {
  public:
    /** @param text up to the empty line and with it, or what came in place of a head; borrowed. */
    explicit RawHead(std::string_view text);

    /** @return whether every line of it is as HTTP has it. */
    bool IsGood() const;

    std::string_view method() const { return method_; }
    /** @return the path alone, as it was written. */
    std::string_view path() const { return target_.substr(0, target_.find_first_of("?#")); }

    /** @return how much is said to follow it; 0 for what the server will not read. */
    size_t BodySize() const;

    /** @return whether who sent it understands that an answer is still to come. */
    bool HasInterim() const { return version_ == "HTTP/1.1"; }

    /** @return whether who sent it waits for a word before it sends the body. */
    bool WaitsForWord() const;

  private:
    // The value of a header, empty without that header.
    std::string_view ValueOf(std::string_view name) const;

    std::string_view text_;
    std::string_view method_;
    std::string_view target_;
    std::string_view version_;
    // The lines after the first one.
    std::string_view headers_;
};

}  // namespace uwbctl
