// SPDX-License-Identifier: Apache-2.0
#include "fuzz/netlink_messages.h"

#include <linux/genetlink.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace hardware::velta {
namespace {

constexpr int kMaxDepth = 6;
constexpr size_t kMaxAttrs = 200;

// Whether all of the bytes are attributes.
bool Read(const uint8_t* data, size_t size, int depth, Attrs* attrs) {
    while (size >= NLA_HDRLEN) {
        nlattr header;
        memcpy(&header, data, sizeof(header));
        if (header.nla_len < NLA_HDRLEN || header.nla_len > size || attrs->size() > kMaxAttrs)
            return false;
        Attr attr = {.type = header.nla_type};
        const size_t length = header.nla_len - NLA_HDRLEN;
        if (depth == 0 || length < NLA_HDRLEN ||
            !Read(data + NLA_HDRLEN, length, depth - 1, &attr.nest)) {
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

void Write(const Attrs& attrs, Bytes* out) {
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
        out->resize(begin + NLA_ALIGN(out->size() - begin));
    }
}

// How much of a message lies between its header and its attributes.
size_t FixedSize(uint16_t type) {
    if (type == NLMSG_ERROR) return sizeof(nlmsgerr);
    return type == NLMSG_DONE ? sizeof(int) : GENL_HDRLEN;
}

Message ReadMessage(const nlmsghdr& header, const uint8_t* body, size_t size) {
    Message message = {.header = header};
    const size_t fixed = FixedSize(header.nlmsg_type);
    const bool has_attrs =
        size > fixed && Read(body + fixed, size - fixed, kMaxDepth, &message.attrs);
    if (!has_attrs) message.attrs.clear();
    message.fixed.assign(body, body + (has_attrs ? fixed : size));
    return message;
}

}  // namespace

bool ReadAttrs(const uint8_t* data, size_t size, Attrs* attrs) {
    return Read(data, size, kMaxDepth, attrs);
}

Messages ReadMessages(const Bytes& datagram) {
    Messages messages;
    size_t at = 0;
    while (datagram.size() - at >= NLMSG_HDRLEN) {
        nlmsghdr header;
        memcpy(&header, datagram.data() + at, sizeof(header));
        const size_t left = datagram.size() - at;
        const bool lies = header.nlmsg_len < NLMSG_HDRLEN || header.nlmsg_len > left;
        const size_t size = lies ? left : header.nlmsg_len;
        messages.push_back(
            ReadMessage(header, datagram.data() + at + NLMSG_HDRLEN, size - NLMSG_HDRLEN));
        messages.back().lies_of_length = lies;
        at += std::min<size_t>(NLMSG_ALIGN(size), left);
    }
    return messages;
}

Bytes WriteMessages(const Messages& messages) {
    Bytes out;
    for (const Message& message : messages) {
        const size_t begin = out.size();
        out.resize(begin + NLMSG_HDRLEN);
        out.insert(out.end(), message.fixed.begin(), message.fixed.end());
        Bytes attrs;
        Write(message.attrs, &attrs);
        out.insert(out.end(), attrs.begin(), attrs.end());
        nlmsghdr header = message.header;
        if (!message.lies_of_length) header.nlmsg_len = static_cast<uint32_t>(out.size() - begin);
        memcpy(out.data() + begin, &header, sizeof(header));
        if (&message != &messages.back()) out.resize(NLMSG_ALIGN(out.size()));
    }
    return out;
}

}  // namespace hardware::velta
