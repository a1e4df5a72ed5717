// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <netlink/attr.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hardware::velta {

/** @return the generic netlink command of msg; nothing when msg is too short to have one. */
inline std::optional<int> GenlCommand(nl_msg* msg) {
    nlmsghdr* header = nlmsg_hdr(msg);
    if (genlmsg_valid_hdr(header, 0) == 0) return std::nullopt;
    return genlmsg_hdr(header)->cmd;
}

/** Whether a nest's type carries NLA_F_NESTED; the mcps802154 family is particular about it. */
enum class NestFlag {
    kPlain,
    kNested,
};

/**
 * Opens a nest in msg.
 *
 * @return the nest, to be given to EndNest(), or null when msg is full.
 */
inline nlattr* StartNest(nl_msg* msg, int type, NestFlag flag = NestFlag::kPlain) {
    nlattr* nest = nla_nest_start(msg, type);
    // libnl always sets the flag.
    if (nest != nullptr && flag == NestFlag::kPlain) nest->nla_type = static_cast<uint16_t>(type);
    return nest;
}

/** Closes a nest; one that is closed again takes in all that was written since. */
inline bool EndNest(nl_msg* msg, nlattr* nest) {
    return nla_nest_end(msg, nest) == 0;
}

/**
 * Appends attributes to a message. The first failure sticks: later puts do nothing, and ok() tells
 * at the end.
 */
class AttrWriter {
  public:
    /** An open nest; its destructor closes it. */
    class Nest {
      public:
        Nest(AttrWriter* writer, int type, NestFlag flag)
            : writer_(writer), nest_(writer->ok_ ? StartNest(writer->msg_, type, flag) : nullptr) {
            if (nest_ == nullptr) writer_->ok_ = false;
        }
        ~Nest() {
            if (nest_ != nullptr && writer_->ok_) writer_->ok_ = EndNest(writer_->msg_, nest_);
        }
        Nest(const Nest&) = delete;
        Nest& operator=(const Nest&) = delete;

      private:
        AttrWriter* writer_;
        nlattr* nest_;
    };

    /** @param msg borrowed. */
    explicit AttrWriter(nl_msg* msg) : msg_(msg) {}

    void U8(int type, uint8_t value) { Put(type, &value, sizeof(value)); }
    void U16(int type, uint16_t value) { Put(type, &value, sizeof(value)); }
    void U32(int type, uint32_t value) { Put(type, &value, sizeof(value)); }
    void U64(int type, uint64_t value) { Put(type, &value, sizeof(value)); }
    /** Puts the text with its NUL. */
    void String(int type, const std::string& text) { Put(type, text.c_str(), text.size() + 1); }
    void Bytes(int type, const void* data, size_t size) { Put(type, data, size); }

    /** Opens a nest that lasts as long as the result. */
    [[nodiscard]] Nest OpenNest(int type, NestFlag flag = NestFlag::kPlain) {
        return {this, type, flag};
    }

    bool ok() const { return ok_; }

  private:
    void Put(int type, const void* data, size_t size) {
        if (ok_) ok_ = nla_put(msg_, type, static_cast<int>(size), data) == 0;
    }

    nl_msg* msg_;
    bool ok_ = true;
};

/**
 * Policy of one attribute. A type's own size is its least length, also where libnl sets none, so
 * that nothing reads past a short attribute.
 */
constexpr nla_policy AttrPolicy(int type, uint16_t max_length = 0) {
    nla_policy policy = {};
    policy.type = static_cast<uint16_t>(type);
    policy.maxlen = max_length;
    switch (type) {
        case NLA_U8:
        case NLA_S8:
            policy.minlen = sizeof(uint8_t);
            break;
        case NLA_U16:
        case NLA_S16:
            policy.minlen = sizeof(uint16_t);
            break;
        case NLA_U32:
        case NLA_S32:
            policy.minlen = sizeof(uint32_t);
            break;
        case NLA_U64:
        case NLA_S64:
            policy.minlen = sizeof(uint64_t);
            break;
        default:
            break;
    }
    return policy;
}

/** Policies of the attributes 0 to kMax; those not named are not checked. */
template <int kMax>
using AttrPolicies = std::array<nla_policy, kMax + 1>;

/** One entry of MakePolicies(). */
struct AttrRule {
    int attr;
    int type;
    uint16_t max_length = 0;
};

/** Builds a policy table from rules. */
template <int kMax, size_t kRules>
constexpr AttrPolicies<kMax> MakePolicies(const AttrRule (&rules)[kRules]) {
    AttrPolicies<kMax> policies = {};
    for (const AttrRule& rule : rules) {
        policies[rule.attr] = AttrPolicy(rule.type, rule.max_length);
    }
    return policies;
}

/**
 * The attributes of a message or nest by type. Getters take only attributes that Has() and whose
 * policy names their type.
 */
template <int kMax>
class AttrTable {
  public:
    /** @return 0 or a negative libnl error; what was read before the error stays readable. */
    int ParseMessage(nl_msg* msg, const AttrPolicies<kMax>& policies) {
        return genlmsg_parse(nlmsg_hdr(msg), 0, attrs_.data(), kMax, policies.data());
    }
    /** As ParseMessage(), for a nest. */
    int ParseNest(nlattr* nest, const AttrPolicies<kMax>& policies) {
        return nla_parse_nested(attrs_.data(), kMax, nest, policies.data());
    }

    bool Has(int attr) const { return attrs_[attr] != nullptr; }
    nlattr* Get(int attr) const { return attrs_[attr]; }
    /** @return all attributes, by type up to kMax; null for those that are absent. */
    nlattr** data() { return attrs_.data(); }
    /** @return the payload's length in bytes. */
    size_t Size(int attr) const { return static_cast<size_t>(nla_len(attrs_[attr])); }

    uint8_t U8(int attr) const { return Read<uint8_t>(attr); }
    uint16_t U16(int attr) const { return Read<uint16_t>(attr); }
    int16_t S16(int attr) const { return Read<int16_t>(attr); }
    uint32_t U32(int attr) const { return Read<uint32_t>(attr); }
    int32_t S32(int attr) const { return Read<int32_t>(attr); }
    uint64_t U64(int attr) const { return Read<uint64_t>(attr); }
    /** For NLA_STRING, whose policy has made sure of the NUL; up to the first one. */
    std::string String(int attr) const { return nla_get_string(attrs_[attr]); }
    /** As String(), but all of it up to the last NUL: for comparisons that take no junk. */
    std::string_view Text(int attr) const {
        return {static_cast<const char*>(nla_data(attrs_[attr])), Size(attr) - 1};
    }

  private:
    template <typename T>
    T Read(int attr) const {
        T value;
        std::memcpy(&value, nla_data(attrs_[attr]), sizeof(value));
        return value;
    }

    std::array<nlattr*, kMax + 1> attrs_ = {};
};

/** The attributes directly inside a nest, in order. */
class NestedAttrs {
  public:
    class Iterator {
      public:
        Iterator(nlattr* attr, int remaining) : attr_(attr), remaining_(remaining) {}
        nlattr* operator*() const { return attr_; }
        Iterator& operator++() {
            attr_ = nla_next(attr_, &remaining_);
            return *this;
        }
        /** Compares with end() only. */
        bool operator!=(const Iterator& /*end*/) const { return nla_ok(attr_, remaining_) != 0; }

      private:
        nlattr* attr_;
        int remaining_;
    };

    explicit NestedAttrs(nlattr* nest) : nest_(nest) {}
    Iterator begin() const { return {static_cast<nlattr*>(nla_data(nest_)), nla_len(nest_)}; }
    Iterator end() const { return {nullptr, 0}; }

  private:
    nlattr* nest_;
};

}  // namespace hardware::velta
