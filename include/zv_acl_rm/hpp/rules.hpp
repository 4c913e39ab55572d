/* Rules to write and rules as they are stored, and what else replies say. Included by
 * zv_acl_rm.hpp. */
#ifndef ZV_ACL_RM_HPP_RULES_HPP
#define ZV_ACL_RM_HPP_RULES_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

#include "zv_acl_rm/hpp/lists.hpp"
#include "zv_acl_rm/hpp/names.hpp"
#include "zv_acl_rm/zv_acl_rm_records.h"

namespace zv_acl_rm {

inline constexpr std::size_t kVerdictAt = 12; /* where the verdict is in a rule's action block */

/* A rule to write: built up by its functions, which may be chained. */
class Rule {
  public:
    /* A rule for this place in the ACL that matches every packet of key type 0 and permits it.
     * Lower offsets match first. */
    explicit Rule(std::uint32_t offset = 0) noexcept {
        record_.priority = offset;
        record_.offset = offset;
        record_.valid = 1;
    }
    explicit Rule(const acl_rm_rule &record) noexcept : record_(record) {}

    /* A packet matches where its key equals `key` in every bit that is set in `mask`. Up to 128
     * bytes each, the rest is 0; of a rule with more nothing is sent (EINVAL). */
    Rule &match(Bytes key, Bytes mask) noexcept {
        fits_ = put(key, record_.key.data) && put(mask, record_.mask.data);
        return *this;
    }
    /* 0 to 3 */
    Rule &key_type(std::uint32_t type) noexcept {
        record_.key.key_type = type;
        record_.mask.key_type = type;
        return *this;
    }
    Rule &verdict(Verdict verdict) noexcept {
        const auto number = static_cast<std::uint32_t>(verdict);
        std::memcpy(record_.action + kVerdictAt, &number, sizeof(number));
        return *this;
    }
    /* Flow counter that counts the packets; it must exist. 0: none. */
    Rule &counter(std::uint32_t counter_id) noexcept {
        record_.forwarding.counter_id = counter_id;
        return *this;
    }
    /* A rule forwards to one of the two: the later call counts. */
    Rule &forward_to_port(std::uint32_t log_port) noexcept {
        return forward({1, log_port, 0, {0, 0}, record_.forwarding.counter_id});
    }
    Rule &forward_to_mc_group(std::uint32_t mc_group_id) noexcept {
        return forward({2, 0, mc_group_id, {0, 0}, record_.forwarding.counter_id});
    }
    /* A rule that is not valid takes its place and matches nothing. */
    Rule &valid(bool valid) noexcept {
        record_.valid = valid ? 1 : 0;
        return *this;
    }

    const acl_rm_rule &record() const noexcept { return record_; }
    /* False after match() with too many bytes. */
    bool fits() const noexcept { return fits_; }

  private:
    Rule &forward(const acl_rm_rule_forwarding &forwarding) noexcept {
        record_.forwarding = forwarding;
        return *this;
    }
    static bool put(Bytes bytes, std::uint8_t (&room)[ZV_ACL_RM_KEY_BYTES]) noexcept {
        if (bytes.size() > sizeof(room)) {
            return false;
        }
        std::memset(room, 0, sizeof(room));
        if (!bytes.empty()) {
            std::memcpy(room, bytes.data(), bytes.size());
        }
        return true;
    }

    acl_rm_rule record_{};
    bool fits_ = true;
};

/* A rule as the switch holds it. */
struct StoredRule {
    std::uint32_t offset = 0;
    bool valid = false;
    std::uint32_t key_type = 0;
    std::array<std::uint8_t, ZV_ACL_RM_KEY_BYTES> key{};
    std::array<std::uint8_t, ZV_ACL_RM_KEY_BYTES> mask{};
    Verdict verdict = Verdict::kPermit;
    std::uint32_t counter_id = 0;                /* 0: none */
    std::optional<bool> active;                  /* whether a packet hit it, where asked */
    std::optional<std::uint32_t> forward_port;   /* logical port it forwards to */
    std::optional<std::uint32_t> forward_mc_pbs; /* the switch's number for its MC group */
    std::array<std::uint8_t, ZV_ACL_RM_ACTION_BYTES> action{};

    StoredRule() = default;
    explicit StoredRule(const acl_rm_rule &record) noexcept
        : offset(record.offset),
          valid(record.valid != 0),
          key_type(record.key.key_type),
          counter_id(record.readout.counter_id) {
        std::memcpy(key.data(), record.key.data, key.size());
        std::memcpy(mask.data(), record.mask.data, mask.size());
        std::memcpy(action.data(), record.action, action.size());
        std::memcpy(&verdict, record.action + kVerdictAt, sizeof(verdict));
        if (record.readout.activity_request != 0) {
            active = record.readout.activity != 0;
        }
        if (record.readout.forwarding_type == 1) {
            forward_port = record.readout.log_port;
        } else if (record.readout.forwarding_type == 2) {
            forward_mc_pbs = record.readout.mc_pbs_id;
        }
    }
};

using StoredRules = List<StoredRule, ZV_ACL_RM_RULES_PER_RECORD>;

/* An ACL that was created: its id and the switch's region that holds its rules. */
struct Acl {
    std::uint32_t acl_id;
    std::uint32_t region_id;
};

/* The switch's own numbers, of an ACL to create. */
struct AclTypes {
    std::uint32_t key_type = 0;
    std::uint32_t action_type = 0;
    std::uint32_t acl_type = 0;
};

struct CounterValue {
    CounterKind kind;
    std::uint64_t value;
};

}  // namespace zv_acl_rm

#endif
