// SPDX-License-Identifier: Apache-2.0
#include "wire.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace hardware::velta {
namespace {

// Where attributes begin and end.
using Spans = std::vector<std::pair<size_t, size_t>>;

void Append(Bytes* bytes, uint64_t value, size_t size) {
    for (size_t i = 0; i < size; i++) bytes->push_back(static_cast<uint8_t>(value >> i * 8));
}

void Put16(Bytes* bytes, size_t at, size_t value) {
    memcpy(bytes->data() + at, &value, sizeof(uint16_t));
}

uint64_t Number(const char** text) {
    char* end = nullptr;
    const uint64_t value = strtoull(*text, &end, 0);
    *text = end;
    return value;
}

void AppendValue(const char** text, Bytes* bytes) {
    const char form = *(*text)++;
    if (form == '\'') {
        const char* end = strchr(*text, '\'');
        bytes->insert(bytes->end(), *text, end);
        bytes->push_back(0);
        *text = end + 1;
    } else if (form == 'x') {
        for (; isxdigit(**text) != 0; *text += 2) {
            Append(bytes, std::stoul(std::string(*text, 2), nullptr, 16), 1);
        }
    } else {
        Append(bytes, Number(text), form == 'b' ? 1 : form == 'h' ? 2 : form == 'w' ? 4 : 8);
    }
}

void AppendAttrs(const char** text, uint8_t pad, Bytes* bytes, Spans* attrs) {
    for (;;) {
        *text += strspn(*text, " ");
        if (**text == '\0' || *(*text)++ == '}') return;
        --*text;
        const size_t begin = bytes->size();
        uint64_t type = Number(text);
        if (**text == '!') type |= NLA_F_NESTED, ++*text;
        Append(bytes, type << 16, 4);
        if (*(*text)++ == '{') {
            AppendAttrs(text, pad, bytes, attrs);
        } else {
            AppendValue(text, bytes);
        }
        attrs->emplace_back(begin, bytes->size());
        Put16(bytes, begin, bytes->size() - begin);
        bytes->resize(NLA_ALIGN(bytes->size()), pad);
    }
}

// pad fills the gaps between attributes; the kernel and libnl write 0.
Bytes Parse(const char* text, uint8_t pad, Spans* attrs) {
    Bytes bytes;
    const uint64_t command = Number(&text);
    Append(&bytes, 0, 4);
    Append(&bytes, kFamily | (*text == '+' ? NLM_F_DUMP << 16 : 0), 4);
    Append(&bytes, 0, 8);  // Sequence number and port are left to libnl.
    Append(&bytes, command, 4);
    text += strcspn(text, " ");
    AppendAttrs(&text, pad, &bytes, attrs);
    Put16(&bytes, 0, bytes.size());
    return bytes;
}

}  // namespace

Bytes Wire(const std::string& text) {
    Spans attrs;
    return Parse(text.c_str(), 0, &attrs);
}

std::string Hex(const Bytes& bytes) {
    std::string text;
    for (const uint8_t byte : bytes) {
        for (const int digit : {byte >> 4, byte & 15}) text += "0123456789abcdef"[digit];
    }
    return text;
}

NlMsg ToNlMsg(const Bytes& bytes) {
    Bytes copy = bytes;
    return {nlmsg_convert(reinterpret_cast<nlmsghdr*>(copy.data())), nlmsg_free};
}

void ForEachMalformed(const std::string& text, const std::function<void(const Bytes&)>& check) {
    constexpr uint16_t kUnknownType = 99;
    Spans attrs;
    const Bytes whole = Parse(text.c_str(), 0xEE, &attrs);
    for (const auto& [begin, end] : attrs) {
        const auto claim = [&, begin = begin](size_t length, size_t type_at = 0, uint8_t last = 0) {
            SCOPED_TRACE("byte " + std::to_string(begin) + " claims " + std::to_string(length));
            Bytes broken = whole;
            Put16(&broken, begin, length);
            if (last != 0) broken[begin + length] = last;
            if (type_at != 0) Put16(&broken, type_at, kUnknownType);
            check(broken);
        };
        const size_t length = end - begin;
        claim(length, begin + 2);  // Absent.
        claim(length + 1000);
        claim(2);
        if (length > 4) claim(length - 1, 0, 0xEE);  // What is cut off is not the value any more.
        // Empty, or of one byte: the rest becomes an attribute that nobody knows.
        for (const size_t shorter : {4, 8}) {
            if (length < shorter + 4) continue;
            Bytes broken = whole;
            Put16(&broken, begin, shorter == 4 ? 4 : 5);
            Put16(&broken, begin + shorter, length - shorter);
            Put16(&broken, begin + shorter + 2, kUnknownType);
            check(broken);
        }
    }
    for (size_t length = NLMSG_HDRLEN; length < whole.size(); length++) {
        SCOPED_TRACE(length);
        Bytes cut(whole.begin(), whole.begin() + length);
        Put16(&cut, 0, length);
        check(cut);
    }
}

void RunInNetNamespace(const std::function<void()>& body) {
    const pid_t child = fork();
    ASSERT_GE(child, 0) << strerror(errno);
    if (child == 0) {
        const bool ok = unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
        EXPECT_TRUE(ok) << "No user or network namespaces: " << strerror(errno);
        if (ok) body();
        fflush(nullptr);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "the child's failures are above";
}

}  // namespace hardware::velta
