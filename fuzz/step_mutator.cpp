// SPDX-License-Identifier: Apache-2.0
#include "fuzz/step_mutator.h"

#include <algorithm>
#include <utility>

#include "fuzz/nl_mutator.h"
#include "fuzz/steps.h"
#include "fuzz/text_mutator.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

namespace hardware::velta {
namespace {

Content ContentOf(const Step& step, const std::vector<Content>& kinds) {
    return kinds[step.kind % kinds.size()];
}

void ChangeContent(Step* step, Chance* chance, const std::vector<Content>& kinds) {
    switch (ContentOf(*step, kinds)) {
        case Content::kMessages:
            return MutateMessages(&step->bytes, chance);
        case Content::kText:
            return MutateText(&step->bytes, chance);
        default:
            step->argument = static_cast<uint8_t>(chance->Below(256));
    }
}

void ChangeSteps(Steps* steps, Chance* chance, const std::vector<Content>& kinds) {
    const size_t at = chance->Below(steps->size());
    const auto place = steps->begin() + static_cast<ptrdiff_t>(at);
    switch (chance->Below(12)) {
        case 0:
            if (steps->size() > 1) steps->erase(place);
            return;
        case 1:
            steps->insert(steps->begin() + static_cast<ptrdiff_t>(chance->Below(steps->size())),
                          Step(*place));
            return;
        case 2:
            std::swap(*place, (*steps)[chance->Below(steps->size())]);
            return;
        case 3:
            steps->insert(place, {.kind = static_cast<uint8_t>(chance->Below(kinds.size())),
                                  .argument = static_cast<uint8_t>(chance->Below(256))});
            return;
        case 4:
            place->argument ^= static_cast<uint8_t>(1U << chance->Below(8));
            return;
        default:
            ChangeContent(&*place, chance, kinds);
    }
}

// Whole steps, as many as have room.
size_t Fit(Steps* steps, uint8_t* out, size_t max_size) {
    Bytes bytes = WriteSteps(*steps);
    while (bytes.size() > max_size) {
        steps->pop_back();
        bytes = WriteSteps(*steps);
    }
    std::copy(bytes.begin(), bytes.end(), out);
    return bytes.size();
}

}  // namespace

size_t MutateSteps(uint8_t* data, size_t size, size_t max_size, unsigned int seed,
                   const std::vector<Content>& kinds) {
    Chance chance(seed);
    Steps steps = ReadSteps(data, size);
    if (MutatesBytesOnly() || steps.empty() || chance.OneIn(16)) {
        return LLVMFuzzerMutate(data, size, max_size);
    }
    for (size_t changes = 1 + chance.Below(3); changes > 0; changes--) {
        ChangeSteps(&steps, &chance, kinds);
    }
    return Fit(&steps, data, max_size);
}

size_t CrossSteps(const uint8_t* data1, size_t size1, const uint8_t* data2, size_t size2,
                  uint8_t* out, size_t max_size, unsigned int seed,
                  const std::vector<Content>& kinds) {
    Chance chance(seed);
    Steps steps = ReadSteps(data1, size1);
    const Steps others = ReadSteps(data2, size2);
    if (MutatesBytesOnly() || steps.empty() || others.empty()) return 0;
    Step& step = steps[chance.Below(steps.size())];
    const Step& other = others[chance.Below(others.size())];
    if (ContentOf(step, kinds) == Content::kMessages &&
        ContentOf(other, kinds) == Content::kMessages && chance.OneIn(2)) {
        GraftMessages(&step.bytes, other.bytes, &chance);
    } else {
        steps.resize(1 + chance.Below(steps.size()));
        steps.insert(steps.end(),
                     others.begin() + static_cast<ptrdiff_t>(chance.Below(others.size())),
                     others.end());
    }
    return Fit(&steps, out, max_size);
}

}  // namespace hardware::velta
