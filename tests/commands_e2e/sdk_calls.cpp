#include "tests/commands_e2e/sdk_calls.h"

namespace zv_test {

using nlohmann::json;

namespace {

constexpr uint32_t kSdkAdd = 1;
constexpr uint32_t kSdkEdit = 2;
constexpr uint32_t kSdkDelete = 3;
constexpr uint32_t kSdkCreate = 12;
constexpr uint32_t kSdkDestroy = 13;
constexpr uint32_t kSdkSet = 15;
constexpr uint32_t kSdkGet = 17;
constexpr uint32_t kSdkAddPorts = 23;
constexpr uint32_t kSdkDeletePorts = 24;
constexpr uint32_t kSdkBind = 25;
constexpr uint32_t kSdkUnbind = 26;
constexpr uint32_t kSdkRead = 31;

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

json acl_destroyed(uint32_t acl_type, uint32_t direction, uint32_t region_id, uint32_t acl_id,
                   uint32_t status) {
    return entry("zv_api_acl_set",
                 {{"cmd", kSdkDestroy},
                  {"acl_type", acl_type},
                  {"direction", direction},
                  {"group", {{"type", 0}, {"region_id", region_id}}},
                  {"acl_id", acl_id}},
                 status, {{"acl_id", acl_id}});
}

namespace {

json region_call(uint32_t cmd, uint32_t key_type, uint32_t action_type, uint32_t size,
                 uint32_t region_id, uint32_t status) {
    return entry("zv_api_acl_region_set",
                 {{"cmd", cmd},
                  {"key_type", key_type},
                  {"action_type", action_type},
                  {"region_size", size},
                  {"region_id", region_id}},
                 status, {{"region_id", region_id}});
}

}  // namespace

json region_destroyed(uint32_t key_type, uint32_t action_type, uint32_t size, uint32_t region_id,
                      uint32_t status) {
    return region_call(kSdkDestroy, key_type, action_type, size, region_id, status);
}

json region_resized(uint32_t key_type, uint32_t action_type, uint32_t new_size, uint32_t region_id,
                    uint32_t status) {
    return region_call(kSdkEdit, key_type, action_type, new_size, region_id, status);
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

json rules_deleted(uint32_t region_id, const std::vector<uint32_t> &offsets, uint32_t status) {
    json rules = json::array();
    for (const uint32_t offset : offsets) {
        acl_rm_rule rule = {};
        rule.priority = offset;
        rules.push_back(sdk_rule(rule));
    }
    return entry("zv_api_acl_rules_set",
                 {{"cmd", kSdkDelete},
                  {"region_id", region_id},
                  {"rules", rules},
                  {"count", offsets.size()}},
                 status, json::object());
}

json rule_read(uint32_t region_id, uint32_t offset, const json &rule, uint32_t status) {
    return entry("zv_api_acl_rules_get",
                 {{"region_id", region_id}, {"offset", offset}, {"count", 1}}, status,
                 rule.is_null() ? json::object() : json{{"rules", json::array({rule})}});
}

json activity_read(uint32_t cmd, uint32_t region_id, uint32_t offset, const json &activity,
                   uint32_t status) {
    return entry("zv_api_acl_rule_activity_get",
                 {{"cmd", cmd}, {"region_id", region_id}, {"offset", offset}}, status,
                 activity.is_null() ? json::object() : json{{"activity", activity}});
}

json block_moved(uint32_t region_id, uint32_t block_start, uint32_t block_size, uint32_t new_start,
                 uint32_t status) {
    return entry("zv_api_acl_rule_block_move_set",
                 {{"region_id", region_id},
                  {"block_start", block_start},
                  {"block_size", block_size},
                  {"new_start", new_start}},
                 status, json::object());
}

json port_pbs_created(uint32_t log_port, uint32_t pbs_id, uint32_t status) {
    const json pbs_entry = {{"entry_type", 0}, {"port_count", 1}, {"ports", {log_port}}};
    return entry("zv_api_acl_policy_based_switching_set",
                 {{"cmd", kSdkAdd}, {"switch_id", 0}, {"entry", pbs_entry}}, status,
                 {{"pbs_id", pbs_id}});
}

json port_pbs_deleted(uint32_t log_port, uint32_t pbs_id, uint32_t status) {
    const json pbs_entry = {{"entry_type", 0}, {"port_count", 1}, {"ports", {log_port}}};
    return entry("zv_api_acl_policy_based_switching_set",
                 {{"cmd", kSdkDelete}, {"switch_id", 0}, {"entry", pbs_entry}, {"pbs_id", pbs_id}},
                 status, {{"pbs_id", pbs_id}});
}

namespace {

json mc_pbs_set(uint32_t cmd, const std::vector<uint32_t> &log_ports, uint32_t pbs_id,
                uint32_t status) {
    const json pbs_entry = {
        {"entry_type", 2}, {"port_count", log_ports.size()}, {"ports", log_ports}};
    return entry("zv_api_acl_policy_based_switching_set",
                 {{"cmd", cmd}, {"switch_id", 0}, {"entry", pbs_entry}, {"pbs_id", pbs_id}}, status,
                 {{"pbs_id", pbs_id}});
}

json counter_set(uint32_t cmd, uint32_t sdk_type, uint32_t given, uint32_t counter_id,
                 uint32_t status) {
    return entry("zv_api_flow_counter_set",
                 {{"cmd", cmd}, {"counter_type", sdk_type}, {"counter_id", given}}, status,
                 {{"counter_id", counter_id}});
}

}  // namespace

json mc_pbs_created(const std::vector<uint32_t> &log_ports, uint32_t pbs_id, uint32_t status) {
    return mc_pbs_set(kSdkAdd, log_ports, pbs_id, status);
}

json mc_pbs_ports_added(uint32_t pbs_id, const std::vector<uint32_t> &log_ports, uint32_t status) {
    return mc_pbs_set(kSdkAddPorts, log_ports, pbs_id, status);
}

json mc_pbs_ports_deleted(uint32_t pbs_id, const std::vector<uint32_t> &log_ports,
                          uint32_t status) {
    return mc_pbs_set(kSdkDeletePorts, log_ports, pbs_id, status);
}

json mc_pbs_deleted(uint32_t pbs_id, uint32_t status) {
    return mc_pbs_set(kSdkDelete, {}, pbs_id, status);
}

json mc_pbs_read(uint32_t pbs_id, uint32_t room, const std::vector<uint32_t> &log_ports) {
    const json given = {{"entry_type", 2}, {"port_count", room}, {"ports", json::array()}};
    const json filled = {{"entry_type", 2}, {"port_count", log_ports.size()}, {"ports", log_ports}};
    return entry("zv_api_acl_policy_based_switching_get",
                 {{"cmd", kSdkGet}, {"switch_id", 0}, {"pbs_id", pbs_id}, {"entry", given}}, 0,
                 {{"entry", filled}});
}

json counter_created(uint32_t sdk_type, uint32_t counter_id, uint32_t given, uint32_t status) {
    return counter_set(kSdkCreate, sdk_type, given, counter_id, status);
}

json counter_destroyed(uint32_t sdk_type, uint32_t counter_id, uint32_t status) {
    return counter_set(kSdkDestroy, sdk_type, counter_id, counter_id, status);
}

json counter_read(uint32_t counter_id, uint64_t first, uint64_t second) {
    return entry("zv_api_flow_counter_get", {{"cmd", kSdkRead}, {"counter_id", counter_id}}, 0,
                 {{"values", {first, second}}});
}

json counter_cleared(uint32_t counter_id, uint32_t status) {
    return entry("zv_api_flow_counter_clear_set", {{"counter_id", counter_id}}, status,
                 json::object());
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

namespace {

json bind_call(const char *name, const char *where, uint32_t cmd, uint32_t number,
               uint32_t group_id, uint32_t status) {
    return entry(name, {{"cmd", cmd}, {where, number}, {"group_id", group_id}}, status,
                 json::object());
}

}  // namespace

json port_bound(uint32_t log_port, uint32_t group_id, uint32_t status) {
    return bind_call("zv_api_acl_port_bind_set", "log_port", kSdkBind, log_port, group_id, status);
}

json port_unbound(uint32_t log_port, uint32_t group_id, uint32_t status) {
    return bind_call("zv_api_acl_port_bind_set", "log_port", kSdkUnbind, log_port, group_id,
                     status);
}

json rif_bound(uint32_t rif, uint32_t group_id, uint32_t status) {
    return bind_call("zv_api_acl_rif_bind_set", "rif_id", kSdkBind, rif, group_id, status);
}

json rif_unbound(uint32_t rif, uint32_t group_id, uint32_t status) {
    return bind_call("zv_api_acl_rif_bind_set", "rif_id", kSdkUnbind, rif, group_id, status);
}

json ports_counted(uint32_t num) {
    return entry("zv_net_ports_get_all", {{"selector", 2}, {"buffer", false}, {"count", 0}}, 0,
                 {{"count", num}});
}

json ports_listed(uint32_t room, const json &ports) {
    return entry("zv_net_ports_get_all", {{"selector", 2}, {"buffer", true}, {"count", room}}, 0,
                 {{"count", ports.size()}, {"ports", ports}});
}

}  // namespace zv_test
