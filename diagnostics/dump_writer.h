// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace hardware::velta {

/**
 * Writes named values, in sections and lists, either as indented lines for people or as one line of
 * JSON. Control characters and all beyond ASCII become '?': a client's words may be in there.
 */
class DumpWriter {
  public:
    enum class Format { kText, kJson };

    explicit DumpWriter(Format format);

    /** What was opened is closed when this goes out of scope. */
    class Scope {
      public:
        explicit Scope(DumpWriter* writer) : writer_(writer) {}
        ~Scope() { writer_->Close(); }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

      private:
        DumpWriter* writer_;
    };

    /** Opens a section of named values. */
    [[nodiscard]] Scope Section(std::string_view name);
    /** Opens a list, of Item() or Text(). */
    [[nodiscard]] Scope List(std::string_view name);
    /** Opens the next element of a list: named values. */
    [[nodiscard]] Scope Item();

    /** Adds the next element of a list: a text. */
    void Text(std::string_view text);
    void Value(std::string_view name, std::string_view text);
    /** Without it, a pointer to characters would be a truth value. */
    void Value(std::string_view name, const char* text) { Value(name, std::string_view(text)); }
    void Value(std::string_view name, uint64_t number);
    void Value(std::string_view name, int64_t number);
    void Value(std::string_view name, uint32_t number) { Value(name, uint64_t{number}); }
    void Value(std::string_view name, int number) { Value(name, int64_t{number}); }
    void Value(std::string_view name, bool is);
    /** Adds how many seconds ago that was. */
    void Age(std::string_view name, std::chrono::steady_clock::time_point since);

    /** @return all of it; the writer is of no use after that. */
    std::string Finish();

  private:
    struct Level {
        char close;  // Of JSON.
        bool is_empty;
        bool is_item;
    };

    void Begin(std::string_view name);
    void Open(std::string_view name, char open, char close);
    void Close();
    void Put(std::string_view name, std::string_view json, std::string_view text);
    std::string Quoted(std::string_view text) const;

    Format format_;
    std::string out_;
    std::vector<Level> levels_;
};

}  // namespace hardware::velta
