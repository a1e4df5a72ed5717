// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/world/scene_words.h"

#include <android-base/parseint.h>
#include <android-base/stringprintf.h>

#include <charconv>
#include <cmath>

namespace uwbctl {
namespace {

constexpr double kParts = 1e6;

}  // namespace

double Rounded(double value) {
    return std::round(value * kParts) / kParts;
}

const std::string& SceneWords::Take(const char* expected) {
    if (is_empty()) throw WrongWord{words_.back(), std::string("what follows? ") + expected};
    return words_[next_++];
}

bool SceneWords::TakeIf(const char* word) {
    const bool is_it = !is_empty() && Peek() == word;
    if (is_it) next_++;
    return is_it;
}

void SceneWords::End() const {
    if (!is_empty()) throw WrongWord{Peek(), "one word too many"};
}

double SceneWords::Number(double min, double max, const char* what) {
    const std::string& word = Take(what);
    double value = 0;
    const char* begin = word.c_str() + (word.front() == '+' ? 1 : 0);
    const char* end = word.c_str() + word.size();
    const auto [rest, error] = std::from_chars(begin, end, value, std::chars_format::fixed);
    // "inf" and "nan" are numbers to it.
    if (error != std::errc() || rest != end || !std::isfinite(value)) {
        throw WrongWord{word, std::string("not a number (") + what + ")"};
    }
    if (value < min || value > max) {
        throw WrongWord{word,
                        android::base::StringPrintf("%s: from %.10g to %.10g", what, min, max)};
    }
    return Rounded(value);
}

double SceneWords::Amount(double max, const char* what) {
    const double amount = Number(0, max, what);
    const std::string& word = words_[next_ - 1];
    if (amount == 0 && word.find_first_of("123456789") != word.npos) {
        throw WrongWord{word, std::string(what) + ": 0, or 0.000001 at least"};
    }
    return amount;
}

uint64_t SceneWords::Whole(const char* what) {
    const std::string& word = Take(what);
    uint64_t value = 0;
    if (word.front() == '-' || !android::base::ParseUint(word, &value)) {
        throw WrongWord{word, std::string("not a whole number (") + what + ")"};
    }
    return value;
}

Vec3 SceneWords::Place() {
    return Three(Scene::kMaxMetres, "metres");
}

Vec3 SceneWords::Velocity() {
    return Three(Scene::kMaxSpeed, "metres a second");
}

Vec3 SceneWords::Three(double max, const char* what) {
    Vec3 three;
    three.x = Number(-max, max, what);
    three.y = Number(-max, max, what);
    three.z = Number(-max, max, what);
    return three;
}

}  // namespace uwbctl
