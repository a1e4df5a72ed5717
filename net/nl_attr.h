// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <netlink/attr.h>
#include <netlink/errno.h>
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
        case NLA_STRING:  // Its NUL.
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

/** @return an attribute's payload. */
inline char* AttrData(nlattr* attr) {
    return reinterpret_cast<char*>(attr) + NLA_HDRLEN;
}

/** @return the payload's length in bytes. */
inline size_t AttrSize(const nlattr* attr) {
    return attr->nla_len - size_t{NLA_HDRLEN};
}

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
 * The attributes of a payload, in order; libnl's own way to walk them takes several calls for each,
 * which is most of the work of taking a report apart.
 */
class Attrs {
  public:
    class Iterator {
      public:
        Iterator(char* at, int remaining) : at_(at), remaining_(remaining) {}
        nlattr* operator*() const { return reinterpret_cast<nlattr*>(at_); }
        Iterator& operator++() {
            const int size = NLA_ALIGN((**this)->nla_len);
            at_ += size;
            remaining_ -= size;
            return *this;
        }
        /** Compares with end() only: false where nothing whole is left. */
        bool operator!=(const Iterator& /*end*/) const {
            return remaining_ >= NLA_HDRLEN && (**this)->nla_len >= NLA_HDRLEN &&
                   (**this)->nla_len <= remaining_;
        }

      private:
        char* at_;
        int remaining_;
    };

    Attrs(void* data, int size) : data_(static_cast<char*>(data)), size_(size) {}
    /** Those directly inside a nest. */
    explicit Attrs(nlattr* nest) : Attrs(AttrData(nest), static_cast<int>(AttrSize(nest))) {}
    Iterator begin() const { return {data_, size_}; }
    Iterator end() const { return {nullptr, 0}; }

  private:
    char* data_;
    int size_;
};

/**
 * The attributes of a message or nest by type. Getters take only attributes that Has() and whose
 * policy names their type.
 */
template <int kMax>
class AttrTable {
  public:
    /** @return 0 or a negative libnl error; what was read before the error stays readable. */
    int ParseMessage(nl_msg* msg, const AttrPolicies<kMax>& policies) {
        nlmsghdr* header = nlmsg_hdr(msg);
        if (genlmsg_valid_hdr(header, 0) == 0) return -NLE_MSG_TOOSHORT;
        constexpr int kHeaders = NLMSG_HDRLEN + GENL_HDRLEN;
        return Parse({reinterpret_cast<char*>(header) + kHeaders,
                      static_cast<int>(header->nlmsg_len) - kHeaders},
                     policies);
    }
    /** As ParseMessage(), for a nest. */
    int ParseNest(nlattr* nest, const AttrPolicies<kMax>& policies) {
        return Parse(Attrs(nest), policies);
    }

    bool Has(int attr) const { return attrs_[attr] != nullptr; }
    nlattr* Get(int attr) const { return attrs_[attr]; }
    /** @return all attributes, by type up to kMax; null for those that are absent. */
    nlattr** data() { return attrs_.data(); }
    /** @return the payload's length in bytes. */
    size_t Size(int attr) const { return AttrSize(attrs_[attr]); }

    uint8_t U8(int attr) const { return Read<uint8_t>(attr); }
    uint16_t U16(int attr) const { return Read<uint16_t>(attr); }
    int16_t S16(int attr) const { return Read<int16_t>(attr); }
    uint32_t U32(int attr) const { return Read<uint32_t>(attr); }
    int32_t S32(int attr) const { return Read<int32_t>(attr); }
    uint64_t U64(int attr) const { return Read<uint64_t>(attr); }
    /** For NLA_STRING, whose policy has made sure of the NUL; up to the first one. */
    std::string String(int attr) const { return AttrData(attrs_[attr]); }
    /** As String(), but all of it up to the last NUL: for comparisons that take no junk. */
    std::string_view Text(int attr) const { return {AttrData(attrs_[attr]), Size(attr) - 1}; }

  private:
    int Parse(Attrs all, const AttrPolicies<kMax>& policies) {
        attrs_ = {};
        for (nlattr* attr : all) {
            const int type = attr->nla_type & NLA_TYPE_MASK;
            if (type > kMax) continue;
            if (const int error = Check(attr, policies[type]); error < 0) return error;
            attrs_[type] = attr;
        }
        return 0;
    }
    static int Check(nlattr* attr, const nla_policy& policy) {
        const size_t size = AttrSize(attr);
        if (size < policy.minlen || (policy.maxlen != 0 && size > policy.maxlen)) {
            return -NLE_RANGE;
        }
        const bool ends = policy.type != NLA_STRING || AttrData(attr)[size - 1] == '\0';
        return ends ? 0 : -NLE_INVAL;
    }

    template <typename T>
    T Read(int attr) const {
        T value;
        std::memcpy(&value, AttrData(attrs_[attr]), sizeof(value));
        return value;
    }

    std::array<nlattr*, kMax + 1> attrs_ = {};
};

}  // namespace hardware::velta
