// Rules that are there: deleted, read, moved.
#include <algorithm>
#include <optional>

#include "tests/fire/model/bytes.h"
#include "tests/fire/model/world.h"

namespace zv_model {

using nlohmann::json;

namespace {

constexpr size_t kRulesAt = 16, kRuleLen = 360, kCountAt = 7216;
constexpr uint32_t kRecordRules = 20;

// Places in a rule of the client.
constexpr size_t kOffset = 4, kValid = 8, kKeyType = 12, kKey = 16, kMaskType = 144, kMask = 148,
                 kAction = 280, kActivityRequest = 336, kActivity = 340, kForwardType = 344,
                 kForwardPort = 348, kForwardPbs = 352, kCounter = 356;

json empty_rule(uint32_t offset) {
    static const std::string block(256, '0');
    static const std::string action(112, '0');
    return {{"offset", offset},   {"valid", 0},    {"key_type", 0},   {"key", block},
            {"mask_key_type", 0}, {"mask", block}, {"action", action}};
}

}  // namespace

// `value` is what the flag becomes; it has to be the other one before.
void Service::set_flag(uint32_t acl_id, uint32_t region, uint32_t offset, uint8_t value) {
    Acl *acl = world_.acls.find(acl_id);
    if (acl == nullptr) {
        throw Refusal{kNotFound};
    }
    if (acl->region != region) {
        return;
    }
    if (offset >= acl->flags.size() || offset >= acl->flags_len) {
        throw Refusal{kOutOfRange};
    }
    if (acl->flags[offset] == value) {
        throw Refusal{kError};
    }
    acl->flags[offset] = value;
}

void Service::rule_set() {
    need_connection();
    const uint32_t cmd = word(8);
    const uint32_t count = word(kCountAt);
    if (cmd != 6 && cmd != 3) {
        throw Refusal{kUnsupported};
    }
    if (count > std::min(world_.rules_per_command, kRecordRules)) {
        throw Refusal{kOutOfRange};
    }
    const uint32_t acl = owned_acl(word(12)).id;
    if (cmd == 6) {
        return write_rules(acl, count);
    }
    std::vector<uint32_t> offsets;
    for (uint32_t i = 0; i < count; ++i) {
        offsets.push_back(word(kRulesAt + i * kRuleLen + kOffset));
    }
    delete_rules(acl, offsets, true);
}

void Service::delete_rules(uint32_t acl, const std::vector<uint32_t> &offsets, bool in_switch) {
    if (offsets.size() > world_.rules_per_command) {
        throw Refusal{kOutOfRange};
    }
    std::vector<Rule> rules;
    std::vector<std::pair<uint32_t, std::vector<uint32_t>>> regions;
    for (const uint32_t offset : offsets) {
        const Rule *rule = world_.rules.find(rule_key(acl, offset));
        if (rule == nullptr) {
            throw Refusal{kNotFound};
        }
        rules.push_back(*rule);
        auto region = std::find_if(regions.begin(), regions.end(),
                                   [&](const auto &one) { return one.first == rule->region; });
        if (region == regions.end()) {
            region = regions.insert(region, {rule->region, {}});
        }
        region->second.push_back(offset);
    }
    for (const auto &[region, in_region] : regions) {
        if (in_switch) {
            delete_in_switch(region, in_region);
        }
        for (const uint32_t offset : in_region) {
            const Rule *rule = world_.rules.find(rule_key(acl, offset));
            if (rule == nullptr) {
                throw Refusal{kNotFound};
            }
            drop_counter_user(rule->counter);
            world_.rules.erase(rule_key(acl, offset));
            set_flag(acl, region, offset, 0);
            --world_.rules_num;
        }
    }
    std::for_each(rules.begin(), rules.end(), [&](const Rule &rule) { release_forwarding(rule); });
}

void Service::delete_in_switch(uint32_t region, const std::vector<uint32_t> &offsets) {
    json rules = json::array();
    std::transform(offsets.begin(), offsets.end(), std::back_inserter(rules), empty_rule);
    const json args = {{"cmd", kDelete},
                       {"region_id", region},
                       {"rules", std::move(rules)},
                       {"count", offsets.size()}};
    if (calls_.take("zv_api_acl_rules_set", args).status != 0) {
        throw Refusal{kError};
    }
}

void Service::release_forwarding(const Rule &rule) {
    if (!rule.forwards || rule.pbs_type == 2) {
        return;
    }
    Forwarding *forwarding = world_.forwardings.find(rule.port);
    if (forwarding == nullptr) {
        throw Refusal{kNotFound};
    }
    if (--forwarding->users != 0) {
        return;
    }
    const json ports = json::array({forwarding->port});
    const json args = {{"cmd", kDelete},
                       {"switch_id", 0},
                       {"entry", {{"entry_type", 0}, {"port_count", 1}, {"ports", ports}}},
                       {"pbs_id", forwarding->pbs}};
    if (calls_.take("zv_api_acl_policy_based_switching_set", args).status != 0) {
        throw Refusal{kError};
    }
    world_.forwardings.erase(rule.port);
}

// The record's words after the reserved one name the ACL at 8, not at 12 as in a write.
void Service::rule_get() {
    need_connection();
    const uint32_t count = word(kCountAt);
    if (count > std::min(world_.rules_per_command, kRecordRules)) {
        throw Refusal{kOutOfRange};
    }
    if (count != 0 && word(kRulesAt + kActivityRequest) == 2) {
        owned_acl(word(8));
    }
    const Acl *acl = world_.acls.find(word(8));
    if (acl == nullptr) {
        throw Refusal{kNotFound};
    }
    for (uint32_t i = 0; i < count; ++i) {
        read_rule(*acl, kRulesAt + i * kRuleLen);
    }
}

void Service::read_rule(const Acl &acl, size_t at) {
    const uint32_t offset = word(at + kOffset);
    json args = {{"region_id", acl.region}, {"offset", offset}, {"count", 1}};
    const Call &got = calls_.take("zv_api_acl_rules_get", args);
    if (got.status != 0) {
        throw Refusal{kError};
    }
    if (const uint32_t request = word(at + kActivityRequest); request != 0) {
        const uint32_t cmd = request == 1 ? kRead : kReadClear;
        args = {{"cmd", cmd}, {"region_id", acl.region}, {"offset", offset}};
        const Call &activity = calls_.take("zv_api_acl_rule_activity_get", args);
        if (activity.status != 0) {
            throw Refusal{kError};
        }
        put(record_, at + kActivity, activity.out.at("activity").get<uint8_t>());
    }
    const json &sdk = got.out.at("rules").at(0);
    put(record_, at + kOffset, sdk.at("offset").get<uint32_t>());
    put(record_, at + kValid, sdk.at("valid").get<uint8_t>());
    put(record_, at + kKeyType, sdk.at("key_type").get<uint32_t>());
    put_hex(record_, at + kKey, sdk.at("key").get_ref<const std::string &>());
    put(record_, at + kMaskType, sdk.at("mask_key_type").get<uint32_t>());
    put_hex(record_, at + kMask, sdk.at("mask").get_ref<const std::string &>());
    put_hex(record_, at + kAction, sdk.at("action").get_ref<const std::string &>());

    const Rule *rule = world_.rules.find(rule_key(acl.id, offset));
    if (rule == nullptr) {
        throw Refusal{kNotFound};
    }
    if (rule->forwards) {
        put(record_, at + kForwardType, rule->port == 0 ? 2u : 1u);
        put(record_, at + kForwardPort, rule->port);
        if (rule->port == 0) {
            put(record_, at + kForwardPbs, rule->pbs);
        }
    }
    put(record_, at + kCounter, rule->counter);
}

void Service::rule_move() {
    need_connection();
    const Acl &acl = owned_acl(word(8));
    const uint32_t from = word(12), count = word(16), to = word(20);
    const json args = {
        {"region_id", acl.region}, {"block_start", from}, {"block_size", count}, {"new_start", to}};
    if (calls_.take("zv_api_acl_rule_block_move_set", args).status != 0) {
        throw Refusal{kError};
    }
    if (from == to) {
        return;
    }
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t step = from < to ? count - 1 - i : i;
        move_one(acl, from + step, to + step);
    }
}

void Service::move_one(const Acl &acl, uint32_t from, uint32_t to) {
    const Rule *source = world_.rules.find(rule_key(acl.id, from));
    const std::optional<Rule> moved = source == nullptr ? std::nullopt : std::optional(*source);
    if (world_.rules.find(rule_key(acl.id, to)) != nullptr) {
        delete_rules(acl.id, {to}, false);
    }
    if (!moved) {
        return;
    }
    if (!world_.rules.insert(rule_key(acl.id, to), *moved)) {
        throw Refusal{kError};
    }
    set_flag(acl.id, acl.region, to, 1);
    world_.rules.erase(rule_key(acl.id, from));
    set_flag(acl.id, acl.region, from, 0);
}

}  // namespace zv_model
