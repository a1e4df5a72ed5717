// SPDX-License-Identifier: Apache-2.0
#include "fuzz/nl_mutator.h"

#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "fuzz/netlink_messages.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

namespace hardware::velta {
namespace {

constexpr size_t kValueGrowth = 64;

void CollectLists(Attrs* attrs, std::vector<Attrs*>* lists) {
    lists->push_back(attrs);
    for (Attr& attr : *attrs) {
        if (!attr.nest.empty()) CollectLists(&attr.nest, lists);
    }
}

// One of the lists of attributes of a message: its own, or a nest's.
Attrs& AnyList(Message* message, Chance* chance) {
    std::vector<Attrs*> lists;
    CollectLists(&message->attrs, &lists);
    return *lists[chance->Below(lists.size())];
}

// Lengths that a check may be wrong about by one.
void ResizeValue(Bytes* value, Chance* chance) {
    constexpr size_t kSizes[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 16, 20, 21};
    value->resize(kSizes[chance->Below(std::size(kSizes))],
                  static_cast<uint8_t>(chance->Below(256)));
}

void ChangeAttr(Message* message, Chance* chance) {
    Attrs& list = AnyList(message, chance);
    if (list.empty() || chance->OneIn(8)) {
        list.push_back({.type = static_cast<uint16_t>(chance->Below(16))});
        ResizeValue(&list.back().value, chance);
        return;
    }
    const size_t at = chance->Below(list.size());
    Attr& attr = list[at];
    switch (chance->Below(8)) {
        case 0:
            list.erase(list.begin() + static_cast<ptrdiff_t>(at));
            return;
        case 1:
            list.push_back(Attr(attr));
            return;
        case 2:
            attr.type = static_cast<uint16_t>(chance->Below(48));
            if (chance->OneIn(4))
                attr.type |= chance->OneIn(2) ? NLA_F_NESTED : NLA_F_NET_BYTEORDER;
            return;
        case 3:
            attr = {.type = attr.type, .nest = {Attr(attr)}};
            return;
        case 4:
            std::swap(attr, list[chance->Below(list.size())]);
            return;
        case 5:
            attr.nest.clear();
            ResizeValue(&attr.value, chance);
            return;
        default:
            if (attr.nest.empty()) MutateBytes(&attr.value, kValueGrowth);
    }
}

// What ends an exchange: an acknowledgement or an error, with or without its reason; the end of a
// list.
Message Ending(Chance* chance) {
    constexpr int32_t kCodes[] = {0,       0,        -EPERM, -ENOENT, -EAGAIN, -EBUSY,     -EINVAL,
                                  -ERANGE, -ENOBUFS, -EINTR, INT_MIN, 1,       -EOPNOTSUPP};
    Message message;
    const int32_t code = kCodes[chance->Below(std::size(kCodes))];
    message.header.nlmsg_type = chance->OneIn(3) ? NLMSG_DONE : NLMSG_ERROR;
    message.fixed.resize(message.header.nlmsg_type == NLMSG_DONE ? sizeof(code) : sizeof(nlmsgerr));
    memcpy(message.fixed.data(), &code, sizeof(code));
    if (message.header.nlmsg_type == NLMSG_DONE) message.header.nlmsg_flags |= NLM_F_MULTI;
    if (chance->OneIn(2)) {
        message.header.nlmsg_flags |= NLM_F_CAPPED | NLM_F_ACK_TLVS;
        message.attrs = {{.type = NLMSGERR_ATTR_MSG, .value = {'n', 'o', 0}},
                         {.type = NLMSGERR_ATTR_OFFS, .value = {20, 0, 0, 0}}};
    }
    return message;
}

void ChangeHeader(Message* message, Chance* chance) {
    constexpr uint16_t kFlags[] = {NLM_F_REQUEST, NLM_F_MULTI,     NLM_F_ACK,   NLM_F_ECHO,
                                   NLM_F_DUMP,    NLM_F_DUMP_INTR, NLM_F_CAPPED};
    constexpr uint16_t kTypes[] = {NLMSG_NOOP,    NLMSG_ERROR,  NLMSG_DONE,
                                   NLMSG_OVERRUN, GENL_ID_CTRL, kFamily};
    nlmsghdr& header = message->header;
    switch (chance->Below(6)) {
        case 0:
            header.nlmsg_type = kTypes[chance->Below(std::size(kTypes))];
            return;
        case 1:
            header.nlmsg_seq ^= 1U << chance->Below(32);
            return;
        case 2:
            message->lies_of_length = !message->lies_of_length;
            header.nlmsg_len += static_cast<uint32_t>(chance->Below(40)) - 20;
            return;
        case 3:  // The command, or a code.
            MutateBytes(&message->fixed, 0);
            return;
        default:
            header.nlmsg_flags ^= kFlags[chance->Below(std::size(kFlags))];
    }
}

void ChangeMessages(Messages* messages, Chance* chance) {
    const size_t at = chance->Below(messages->size());
    const auto place = messages->begin() + static_cast<ptrdiff_t>(at);
    switch (chance->Below(12)) {
        case 0:
            messages->insert(place, Message(*place));
            return;
        case 1:
            if (messages->size() > 1) messages->erase(place);
            return;
        case 2:
            std::swap(*place, (*messages)[chance->Below(messages->size())]);
            return;
        case 3:
            messages->insert(place + 1, Ending(chance));
            return;
        case 4:
        case 5:
            return ChangeHeader(&*place, chance);
        default:
            ChangeAttr(&*place, chance);
    }
}

}  // namespace

bool MutatesBytesOnly() {
    static const bool only = [] {
        const char* mutator = getenv("FUZZ_MUTATOR");
        return mutator != nullptr && std::string_view(mutator) == "bytes";
    }();
    return only;
}

void MutateBytes(Bytes* bytes, size_t growth) {
    const size_t size = bytes->size();
    if (size + growth == 0) return;
    bytes->resize(size + growth);
    bytes->resize(LLVMFuzzerMutate(bytes->data(), size, size + growth));
}

void MutateMessages(Bytes* datagram, Chance* chance) {
    Messages messages = ReadMessages(*datagram);
    if (messages.empty() || chance->OneIn(16)) return MutateBytes(datagram, kValueGrowth);
    for (size_t changes = 1 + chance->Below(3); changes > 0; changes--) {
        ChangeMessages(&messages, chance);
    }
    *datagram = WriteMessages(messages);
}

void GraftMessages(Bytes* datagram, const Bytes& from, Chance* chance) {
    Messages messages = ReadMessages(*datagram);
    Messages others = ReadMessages(from);
    if (messages.empty() || others.empty()) return;
    Message& message = messages[chance->Below(messages.size())];
    Message& other = others[chance->Below(others.size())];
    const Attrs& taken = AnyList(&other, chance);
    if (taken.empty() || chance->OneIn(4)) {
        messages.push_back(other);
    } else {
        AnyList(&message, chance).push_back(taken[chance->Below(taken.size())]);
    }
    *datagram = WriteMessages(messages);
}

}  // namespace hardware::velta
