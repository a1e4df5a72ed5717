// SPDX-License-Identifier: Apache-2.0
#include "fuzz/nl_mutator.h"

#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

namespace hardware::velta {
namespace {

constexpr size_t kHeaders = NLMSG_HDRLEN + GENL_HDRLEN;
constexpr int kMaxDepth = 6;

struct Attr {
    uint16_t type = 0;
    std::vector<uint8_t> value;
    // In place of a value, for what looks like a nest.
    std::vector<Attr> nest;
};
using Attrs = std::vector<Attr>;

// Whether all of the bytes are attributes.
bool Parse(const uint8_t* data, size_t size, int depth, Attrs* attrs) {
    while (size >= NLA_HDRLEN) {
        nlattr header;
        memcpy(&header, data, sizeof(header));
        if (header.nla_len < NLA_HDRLEN || header.nla_len > size || attrs->size() > 200)
            return false;
        Attr attr = {.type = header.nla_type};
        const size_t length = header.nla_len - NLA_HDRLEN;
        if (depth == 0 || length < NLA_HDRLEN ||
            !Parse(data + NLA_HDRLEN, length, depth - 1, &attr.nest)) {
            attr.nest.clear();
            attr.value.assign(data + NLA_HDRLEN, data + header.nla_len);
        }
        attrs->push_back(std::move(attr));
        const size_t step = std::min<size_t>(NLA_ALIGN(header.nla_len), size);
        data += step;
        size -= step;
    }
    return size == 0;
}

void Write(const Attrs& attrs, std::vector<uint8_t>* out) {
    for (const Attr& attr : attrs) {
        const size_t begin = out->size();
        out->resize(begin + NLA_HDRLEN);
        if (attr.nest.empty()) {
            out->insert(out->end(), attr.value.begin(), attr.value.end());
        } else {
            Write(attr.nest, out);
        }
        const nlattr header = {.nla_len = static_cast<uint16_t>(out->size() - begin),
                               .nla_type = attr.type};
        memcpy(out->data() + begin, &header, sizeof(header));
        out->resize(NLA_ALIGN(out->size()));
    }
}

void CollectLists(Attrs* attrs, std::vector<Attrs*>* lists) {
    lists->push_back(attrs);
    for (Attr& attr : *attrs) {
        if (!attr.nest.empty()) CollectLists(&attr.nest, lists);
    }
}

void ChangeValue(Attr* attr) {
    constexpr size_t kRoom = 64;
    if (!attr->nest.empty()) return;
    const size_t size = attr->value.size();
    attr->value.resize(size + kRoom);
    attr->value.resize(LLVMFuzzerMutate(attr->value.data(), size, size + kRoom));
}

void ChangeOne(Attrs* root, std::minstd_rand* random) {
    const auto below = [random](size_t limit) { return (*random)() % limit; };
    std::vector<Attrs*> lists;
    CollectLists(root, &lists);
    Attrs& list = *lists[below(lists.size())];
    if (list.empty() || below(8) == 0) {
        constexpr size_t kSizes[] = {0, 1, 2, 4, 8};
        list.push_back({.type = static_cast<uint16_t>(below(16)),
                        .value = std::vector<uint8_t>(kSizes[below(5)], below(256))});
        return;
    }
    const size_t at = below(list.size());
    switch (below(6)) {
        case 0:
            list.erase(list.begin() + static_cast<ptrdiff_t>(at));
            break;
        case 1:
            list.push_back(Attr(list[at]));
            break;
        case 2:
            list[at].type = static_cast<uint16_t>(below(32) | (below(8) == 0 ? NLA_F_NESTED : 0));
            break;
        case 3:
            list[at] = {.type = list[at].type, .nest = {Attr(list[at])}};
            break;
        default:
            ChangeValue(&list[at]);
    }
}

}  // namespace

size_t MutateNetlinkMessage(uint8_t* data, size_t size, size_t max_size, size_t offset,
                            unsigned int seed) {
    std::minstd_rand random(seed);
    Attrs attrs;
    if (size < offset + kHeaders || random() % 4 == 0 ||
        !Parse(data + offset + kHeaders, size - offset - kHeaders, kMaxDepth, &attrs)) {
        return LLVMFuzzerMutate(data, size, max_size);
    }
    for (size_t changes = 1 + random() % 3; changes > 0; changes--) ChangeOne(&attrs, &random);
    std::vector<uint8_t> out(data, data + offset + kHeaders);
    Write(attrs, &out);
    if (out.size() > max_size) return LLVMFuzzerMutate(data, size, max_size);
    const auto length = static_cast<uint32_t>(out.size() - offset);
    memcpy(out.data() + offset, &length, sizeof(length));
    memcpy(data, out.data(), out.size());
    return out.size();
}

}  // namespace hardware::velta
