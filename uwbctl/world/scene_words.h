// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "uwbctl/world/scene.h"

namespace uwbctl {

/** What is wrong with a scene's line; thrown, it ends the line. */
struct WrongWord {
    std::string word;
    std::string why;
};

/** @return a number to a millionth: the virtual radio's arithmetic knows no less. */
double Rounded(double value);

/** The words of one line of a scene, taken one by one; each throws a WrongWord. */
class SceneWords {
  public:
    explicit SceneWords(std::vector<std::string> words) : words_(std::move(words)) {}

    bool is_empty() const { return next_ == words_.size(); }

    /** @return the next word, which has to be there. */
    const std::string& Peek() const { return words_[next_]; }

    /** @param expected what is missing if there is none. */
    const std::string& Take(const char* expected);

    /** Takes the next word if it is this one. */
    bool TakeIf(const char* word);

    /** There may be no word more. */
    void End() const;

    /** @param what such as "metres". */
    double Number(double min, double max, const char* what);

    /** @return a number that is nothing, or more than what would be rounded to nothing. */
    double Amount(double max, const char* what);

    /** @return a whole number of up to 64 bits. */
    uint64_t Whole(const char* what);

    /** X Y Z in metres. */
    Vec3 Place();

    /** VX VY VZ in metres a second. */
    Vec3 Velocity();

  private:
    Vec3 Three(double max, const char* what);

    std::vector<std::string> words_;
    size_t next_ = 0;
};

}  // namespace uwbctl
