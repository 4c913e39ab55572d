#include "tests/commands_e2e/sdk_calls.h"

namespace zv_test {

using nlohmann::json;

namespace {

constexpr uint32_t kSdkAdd = 1;
constexpr uint32_t kSdkCreate = 12;
constexpr uint32_t kSdkDestroy = 13;
constexpr uint32_t kSdkSet = 15;
constexpr uint32_t kSdkBind = 25;

// Where the words that the daemon may write lie in an action block.
constexpr size_t kForwardAt = 0;
constexpr size_t kCounterAt = 4;
constexpr size_t kPbsAt = 8;

json entry(const char *name, json args, uint32_t status, json out) {
    return {{"call", name}, {"args", std::move(args)}, {"status", status}, {"out", std::move(out)}};
}

std::string hex(const uint8_t *bytes, size_t bytes_num) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < bytes_num; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 15];
    }
    return text;
}

json with_word(json rule, size_t at, uint32_t word) {
    const uint8_t bytes[4] = {static_cast<uint8_t>(word), static_cast<uint8_t>(word >> 8),
                              static_cast<uint8_t>(word >> 16), static_cast<uint8_t>(word >> 24)};
    std::string action = rule.at("action");
    action.replace(at * 2, 8, hex(bytes, 4));
    rule["action"] = action;
    return rule;
}

}  // namespace

json sdk_open(uint32_t status) {
    return entry("zv_api_open", json::object(), status, json::object());
}

json region_created(const acl_rm_acl &acl, uint32_t region_id, uint32_t status) {
    return entry("zv_api_acl_region_set",
                 {{"cmd", kSdkCreate},
                  {"key_type", acl.key_type},
                  {"action_type", acl.action_type},
                  {"region_size", acl.min_size}},
                 status, {{"region_id", region_id}});
}

json acl_created(const acl_rm_acl &acl, uint32_t region_id, uint32_t acl_id, uint32_t status) {
    return entry("zv_api_acl_set",
                 {{"cmd", kSdkCreate},
                  {"acl_type", acl.acl_type},
                  {"direction", acl.direction},
                  {"group", {{"type", 0}, {"region_id", region_id}}}},
                 status, {{"acl_id", acl_id}});
}

json memory_taken(uint64_t bytes, uint32_t status) {
    return entry("cl_malloc", {{"size", bytes}}, status, json::object());
}

json memory_freed() {
    return entry("cl_free", json::object(), 0, json::object());
}

json sdk_rule(const acl_rm_rule &rule) {
    return {{"offset", rule.priority},
            {"valid", rule.valid},
            {"key_type", rule.key.key_type},
            {"key", hex(rule.key.data, sizeof(rule.key.data))},
            {"mask_key_type", rule.mask.key_type},
            {"mask", hex(rule.mask.data, sizeof(rule.mask.data))},
            {"action", hex(rule.action, sizeof(rule.action))}};
}

json forwarded(json rule, uint32_t pbs_id) {
    return with_word(with_word(std::move(rule), kForwardAt, 1), kPbsAt, pbs_id);
}

json counted(json rule, uint32_t counter_id) {
    return with_word(std::move(rule), kCounterAt, counter_id);
}

uint32_t action_word(const json &rule, size_t at) {
    const std::string action = rule.at("action");
    uint32_t word = 0;
    for (size_t i = 4; i-- > 0;) {
        word = word << 8 |
               static_cast<uint32_t>(std::stoul(action.substr((at + i) * 2, 2), nullptr, 16));
    }
    return word;
}

json rules_written(uint32_t region_id, const std::vector<json> &rules, uint32_t status) {
    return entry(
        "zv_api_acl_rules_set",
        {{"cmd", kSdkSet}, {"region_id", region_id}, {"rules", rules}, {"count", rules.size()}},
        status, json::object());
}

json port_pbs_created(uint32_t log_port, uint32_t pbs_id, uint32_t status) {
    const json pbs_entry = {{"entry_type", 0}, {"port_count", 1}, {"ports", {log_port}}};
    return entry("zv_api_acl_policy_based_switching_set",
                 {{"cmd", kSdkAdd}, {"switch_id", 0}, {"entry", pbs_entry}}, status,
                 {{"pbs_id", pbs_id}});
}

namespace {

json group_call(uint32_t cmd, uint32_t direction, const std::vector<uint32_t> &acl_ids,
                uint32_t group_id, uint32_t status) {
    return entry("zv_api_acl_group_set",
                 {{"cmd", cmd},
                  {"direction", direction},
                  {"acl_ids", acl_ids},
                  {"count", acl_ids.size()},
                  {"group_id", group_id}},
                 status, {{"group_id", group_id}});
}

}  // namespace

json group_created(uint32_t direction, uint32_t group_id, uint32_t status) {
    return group_call(kSdkCreate, direction, {}, group_id, status);
}

json group_listed(uint32_t direction, const std::vector<uint32_t> &acl_ids, uint32_t group_id,
                  uint32_t status) {
    return group_call(kSdkSet, direction, acl_ids, group_id, status);
}

json group_destroyed(uint32_t direction, const std::vector<uint32_t> &acl_ids, uint32_t group_id,
                     uint32_t status) {
    return group_call(kSdkDestroy, direction, acl_ids, group_id, status);
}

json port_bound(uint32_t log_port, uint32_t group_id, uint32_t status) {
    return entry("zv_api_acl_port_bind_set",
                 {{"cmd", kSdkBind}, {"log_port", log_port}, {"group_id", group_id}}, status,
                 json::object());
}

}  // namespace zv_test
