// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

namespace hardware::velta {

/** Removes leading and trailing blanks and the characters 0x09 to 0x0D, in place. */
void trim(std::string* text);

/**
 * A store of key/value settings, read from text files of "key = value" lines.
 *
 * A comment starts at ";", "#" or "//". Blanks around key and value do not count. The last line of
 * a key wins. Lines without a "=" before the comment, or with nothing at all after the "=", are
 * skipped without a word.
 */
class ConfigUtils {
  public:
    using iterator = std::map<std::string, std::string>::iterator;

    ConfigUtils() = default;
    virtual ~ConfigUtils() = default;

    /**
     * Reads a file into the store, over what is there.
     *
     * @return whether the file could be opened.
     */
    virtual bool Load(const char* path);

    /**
     * Writes all entries to a file as "key = value", one straight after the other.
     *
     * @return whether the file could be opened.
     */
    virtual bool Save(const char* path) const;

    virtual void Clear();
    virtual bool IsEmpty() const;

    /** Logs every entry. */
    virtual void Dump() const;

    /** @return the value; empty when there is no such key. */
    virtual std::string GetValue(const std::string& key) const;

    /** As GetValue(), and removes the entry. */
    virtual std::string ConsumeValue(const std::string& key);

    /** Inserts or overwrites; always true. */
    virtual bool Set(const std::string& key, const std::string& value);

    /** @return whether there was such an entry. */
    virtual bool Erase(const std::string& key);

    /** @return the entry after the removed one. */
    virtual iterator Erase(iterator position);

    /** Entries in ascending order of their keys. */
    iterator begin() { return entries_.begin(); }
    iterator end() { return entries_.end(); }

    /**
     * Converts a whole text as strtol or strtoul with base 0 do; for long and unsigned long.
     *
     * @param value written on success only.
     */
    template <typename T>
    static bool ToInt(const std::string& text, T& value);

    /**
     * Converts bytes of two hexadecimal digits each, separated by colons ("01:A2:ff").
     *
     * @param bytes appended to; after a failure the bytes before the bad one stay.
     */
    static bool ToArray(const std::string& text, std::vector<char>& bytes);

  private:
    std::map<std::string, std::string> entries_;
};

template <>
bool ConfigUtils::ToInt<long>(const std::string& text, long& value);
template <>
bool ConfigUtils::ToInt<unsigned long>(const std::string& text, unsigned long& value);

}  // namespace hardware::velta
