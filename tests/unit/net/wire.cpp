// SPDX-License-Identifier: Apache-2.0
#include "wire.h"

#include <gtest/gtest.h>

#include <cstring>

namespace hardware::velta {
namespace {

constexpr size_t kMessageHeader = 16;
constexpr size_t kGenericHeader = 4;
constexpr size_t kAttrHeader = 4;

template <typename T>
void Append(Bytes* bytes, T value) {
    const auto* raw = reinterpret_cast<const uint8_t*>(&value);
    bytes->insert(bytes->end(), raw, raw + sizeof(value));
}

template <typename T>
Attr Integer(uint16_t type, T value) {
    Attr attr = {.type = type};
    Append(&attr.payload, value);
    return attr;
}

uint16_t U16At(const Bytes& bytes, size_t offset) {
    uint16_t value = 0;
    memcpy(&value, bytes.data() + offset, sizeof(value));
    return value;
}

// Calls visit(type, payload) with each attribute until it returns false.
void Walk(const Bytes& attrs, const std::function<bool(uint16_t, const Bytes&)>& visit) {
    for (size_t at = 0; at + kAttrHeader <= attrs.size();) {
        const size_t length = U16At(attrs, at);
        ASSERT_GE(length, kAttrHeader);
        ASSERT_LE(at + length, attrs.size());
        const Bytes payload(attrs.begin() + at + kAttrHeader, attrs.begin() + at + length);
        if (!visit(U16At(attrs, at + 2), payload)) return;
        at += (length + 3) / 4 * 4;
    }
}

void Mutate(std::vector<Attr>* level, const std::string& path,
            const std::function<void(const std::string&)>& emit) {
    for (size_t i = 0; i < level->size(); i++) {
        const std::vector<Attr> original = *level;
        const std::string name = path + "/" + std::to_string((*level)[i].type);
        const Bytes content =
            original[i].is_nest ? Encode(original[i].nested, 0xEE) : original[i].payload;
        const auto replace = [&](const Bytes& payload, int length_error, const char* how) {
            (*level)[i] = {original[i].type, payload, {}, false, length_error};
            emit(name + " " + how);
            *level = original;
        };
        level->erase(level->begin() + i);
        emit(name + " absent");
        *level = original;
        if (!content.empty()) {
            replace({content.begin(), content.end() - 1}, 0, "short");
            replace({}, 0, "empty");
            if (content.size() > 1) replace({0xEE}, 0, "one byte");
        }
        replace(content, 1000, "overlong");
        replace(content, -static_cast<int>(content.size()) - 2, "shorter than its header");
        Mutate(&(*level)[i].nested, name, emit);
    }
}

}  // namespace

Attr U8(uint16_t type, uint8_t value) {
    return Integer(type, value);
}
Attr U16(uint16_t type, uint16_t value) {
    return Integer(type, value);
}
Attr U32(uint16_t type, uint32_t value) {
    return Integer(type, value);
}
Attr U64(uint16_t type, uint64_t value) {
    return Integer(type, value);
}
Attr Text(uint16_t type, const std::string& text) {
    return {.type = type, .payload = Bytes(text.c_str(), text.c_str() + text.size() + 1)};
}
Attr Raw(uint16_t type, const Bytes& payload) {
    return {.type = type, .payload = payload};
}
Attr Nest(uint16_t type, const std::vector<Attr>& nested) {
    return {.type = type, .nested = nested, .is_nest = true};
}

Bytes Encode(const std::vector<Attr>& attrs, uint8_t pad) {
    Bytes bytes;
    for (const Attr& attr : attrs) {
        const Bytes content = attr.is_nest ? Encode(attr.nested, pad) : attr.payload;
        Append(&bytes, static_cast<uint16_t>(kAttrHeader + content.size() + attr.length_error));
        Append(&bytes, attr.type);
        bytes.insert(bytes.end(), content.begin(), content.end());
        bytes.resize((bytes.size() + 3) / 4 * 4, pad);
    }
    return bytes;
}

Bytes Encode(const Message& message, uint8_t pad) {
    const Bytes attrs = Encode(message.attrs, pad);
    Bytes bytes;
    Append(&bytes, static_cast<uint32_t>(kMessageHeader + kGenericHeader + attrs.size()));
    Append(&bytes, static_cast<uint16_t>(kFamily));
    Append(&bytes, message.flags);
    Append(&bytes, uint64_t{0});  // Sequence number and port.
    Append(&bytes, static_cast<uint32_t>(message.cmd));
    bytes.insert(bytes.end(), attrs.begin(), attrs.end());
    return bytes;
}

std::string Hex(const Bytes& bytes) {
    std::string text;
    for (size_t i = 0; i < bytes.size(); i++) {
        if (i > 0 && i % 4 == 0) text += ' ';
        for (int digit : {bytes[i] >> 4, bytes[i] & 15}) text += "0123456789abcdef"[digit];
    }
    return text;
}

std::vector<std::string> Tokens(const Bytes& attrs) {
    std::vector<std::string> tokens;
    Walk(attrs, [&tokens](uint16_t type, const Bytes& payload) {
        tokens.push_back(std::to_string(type) + "=" + Hex(payload));
        return true;
    });
    return tokens;
}

Bytes Find(const Bytes& attrs, const std::vector<uint16_t>& path) {
    Bytes current = attrs;
    for (uint16_t wanted : path) {
        Bytes next;
        Walk(current, [&](uint16_t type, const Bytes& payload) {
            if (type == wanted) next = payload;
            return type != wanted;
        });
        current = next;
    }
    return current;
}

NlMsg ToNlMsg(const Bytes& bytes) {
    Bytes copy = bytes;  // libnl reads a header that is aligned.
    return {nlmsg_convert(reinterpret_cast<nlmsghdr*>(copy.data())), nlmsg_free};
}

NlMsg ToNlMsg(const Message& message) {
    return ToNlMsg(Encode(message));
}

void ForEachMalformed(const Message& message,
                      const std::function<void(const Bytes& broken)>& check) {
    const auto play = [&check](const std::string& what, const Bytes& bytes) {
        SCOPED_TRACE(what);
        check(bytes);
    };
    Message broken = message;
    Mutate(&broken.attrs, "attr",
           [&](const std::string& what) { play(what, Encode(broken, 0xEE)); });
    const Bytes whole = Encode(message, 0xEE);
    for (size_t length = kMessageHeader; length < whole.size(); length++) {
        Bytes cut(whole.begin(), whole.begin() + length);
        const auto claimed = static_cast<uint32_t>(length);
        memcpy(cut.data(), &claimed, sizeof(claimed));
        play("cut after " + std::to_string(length) + " bytes", cut);
    }
}

}  // namespace hardware::velta
