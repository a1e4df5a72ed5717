// SPDX-License-Identifier: Apache-2.0
#include "fuzz/text_mutator.h"

#include <iterator>
#include <string>
#include <utility>

namespace hardware::velta {
namespace {

using Words = std::vector<std::string>;

constexpr size_t kWordGrowth = 16;

// Edges of what the numbers of the virtual radio's texts may be.
constexpr const char* kNumbers[] = {"0",
                                    "1",
                                    "-1",
                                    "7",
                                    "63",
                                    "64",
                                    "65",
                                    "255",
                                    "256",
                                    "3600",
                                    "3600.1",
                                    "10000",
                                    "10001",
                                    "50000",
                                    "-50000.1",
                                    "0.000001",
                                    "-0.0000001",
                                    "65535",
                                    "65536",
                                    "262144",
                                    "1000000",
                                    "4294967295",
                                    "4294967296",
                                    "-2147483648",
                                    "0x7fffffff",
                                    "0xffffffff",
                                    "9223372036854775807",
                                    "18446744073709551615",
                                    "1e9",
                                    "*",
                                    "-",
                                    "."};

std::vector<Words> Split(const Bytes& text) {
    std::vector<Words> lines(1);
    std::string word;
    const auto end_word = [&] {
        if (!word.empty()) lines.back().push_back(std::exchange(word, {}));
    };
    for (const uint8_t byte : text) {
        if (byte == ' ' || byte == '\n') {
            end_word();
            if (byte == '\n') lines.emplace_back();
        } else {
            word += static_cast<char>(byte);
        }
    }
    end_word();
    return lines;
}

Bytes Join(const std::vector<Words>& lines) {
    Bytes text;
    for (const Words& words : lines) {
        for (const std::string& word : words) {
            if (&word != &words.front()) text.push_back(' ');
            text.insert(text.end(), word.begin(), word.end());
        }
        if (&words != &lines.back()) text.push_back('\n');
    }
    return text;
}

void ChangeWord(std::string* word) {
    Bytes bytes(word->begin(), word->end());
    MutateBytes(&bytes, kWordGrowth);
    word->assign(bytes.begin(), bytes.end());
}

void ChangeWords(Words* words, const Words& others, Chance* chance) {
    if (words->empty()) words->emplace_back("#");
    const size_t at = chance->Below(words->size());
    const auto place = words->begin() + static_cast<ptrdiff_t>(at);
    switch (chance->Below(7)) {
        case 0:
            words->erase(place);
            return;
        case 1:
            words->insert(place, std::string(*place));
            return;
        case 2:
            if (!others.empty()) *place = others[chance->Below(others.size())];
            return;
        case 3:
        case 4:
            *place = kNumbers[chance->Below(std::size(kNumbers))];
            return;
        case 5:
            std::swap(*place, (*words)[chance->Below(words->size())]);
            return;
        default:
            ChangeWord(&*place);
    }
}

void ChangeLines(std::vector<Words>* lines, Chance* chance) {
    const size_t at = chance->Below(lines->size());
    const auto place = lines->begin() + static_cast<ptrdiff_t>(at);
    const Words others = (*lines)[chance->Below(lines->size())];
    switch (chance->Below(10)) {
        case 0:
            lines->insert(place, Words(*place));
            return;
        case 1:
            if (lines->size() > 1) lines->erase(place);
            return;
        case 2:
            std::swap(*place, (*lines)[chance->Below(lines->size())]);
            return;
        case 3: {  // As many words as there is room for, or more.
            const size_t copies = chance->Below(48);
            for (size_t i = 0; i < copies && !others.empty(); i++) {
                place->push_back(others[i % others.size()]);
            }
            return;
        }
        default:
            ChangeWords(&*place, others, chance);
    }
}

}  // namespace

void MutateText(Bytes* text, Chance* chance) {
    if (text->empty() || chance->OneIn(8)) return MutateBytes(text, kWordGrowth);
    std::vector<Words> lines = Split(*text);
    for (size_t changes = 1 + chance->Below(2); changes > 0; changes--) {
        ChangeLines(&lines, chance);
    }
    *text = Join(lines);
}

}  // namespace hardware::velta
