// sdk_calls.h - the switch calls the commands make, as entries of the call trace.
//
// Each function gives the entry of one call from what goes in, the id that comes back, and the
// switch's status. Of a creating call that failed the id is the one it was given, 0 in these tests.
#ifndef ZV_TESTS_COMMANDS_E2E_SDK_CALLS_H
#define ZV_TESTS_COMMANDS_E2E_SDK_CALLS_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <vector>

#include "zv_acl_rm/zv_acl_rm_records.h"

namespace zv_test {

// Calls by their names.
inline constexpr const char *kGroupSet = "zv_api_acl_group_set";
inline constexpr const char *kPortBind = "zv_api_acl_port_bind_set";
inline constexpr const char *kRifBind = "zv_api_acl_rif_bind_set";
inline constexpr const char *kPbsSet = "zv_api_acl_policy_based_switching_set";
inline constexpr const char *kCounterSet = "zv_api_flow_counter_set";
inline constexpr const char *kRulesSet = "zv_api_acl_rules_set";

nlohmann::json sdk_open(uint32_t status = 0);

// ACL_SET create: the region, the ACL over it, and the memory for one flag per rule.
nlohmann::json region_created(const acl_rm_acl &acl, uint32_t region_id, uint32_t status = 0);
nlohmann::json acl_created(const acl_rm_acl &acl, uint32_t region_id, uint32_t acl_id,
                           uint32_t status = 0);
nlohmann::json memory_taken(uint64_t bytes, uint32_t status = 0);
nlohmann::json memory_freed();

// ACL_SET destroy and edit, ACL_RESIZE.
nlohmann::json acl_destroyed(uint32_t acl_type, uint32_t direction, uint32_t region_id,
                             uint32_t acl_id, uint32_t status = 0);
nlohmann::json region_destroyed(uint32_t key_type, uint32_t action_type, uint32_t size,
                                uint32_t region_id, uint32_t status = 0);
nlohmann::json region_resized(uint32_t key_type, uint32_t action_type, uint32_t new_size,
                              uint32_t region_id, uint32_t status = 0);

// A rule as the switch is to get it: what the client sent at its priority, or, with forward and
// counter words set, as forwarded() and counted() change it.
nlohmann::json sdk_rule(const acl_rm_rule &rule);
nlohmann::json forwarded(nlohmann::json sdk_rule, uint32_t pbs_id);
nlohmann::json counted(nlohmann::json sdk_rule, uint32_t counter_id);
// The word at `at` of a rule's action block.
uint32_t action_word(const nlohmann::json &sdk_rule, size_t at);

nlohmann::json rules_written(uint32_t region_id, const std::vector<nlohmann::json> &rules,
                             uint32_t status = 0);
// By their offsets, which is all that the switch is given.
nlohmann::json rules_deleted(uint32_t region_id, const std::vector<uint32_t> &offsets,
                             uint32_t status = 0);
// Of a call that failed, `rule` and `activity` are null.
nlohmann::json rule_read(uint32_t region_id, uint32_t offset, const nlohmann::json &rule,
                         uint32_t status = 0);
nlohmann::json activity_read(uint32_t cmd, uint32_t region_id, uint32_t offset,
                             const nlohmann::json &activity, uint32_t status = 0);
nlohmann::json block_moved(uint32_t region_id, uint32_t block_start, uint32_t block_size,
                           uint32_t new_start, uint32_t status = 0);
nlohmann::json port_pbs_created(uint32_t log_port, uint32_t pbs_id, uint32_t status = 0);
nlohmann::json port_pbs_deleted(uint32_t log_port, uint32_t pbs_id, uint32_t status = 0);

// A multicast group's PBS entry; of a get, `room` is what it was given and `log_ports` what it
// gave.
nlohmann::json mc_pbs_created(const std::vector<uint32_t> &log_ports, uint32_t pbs_id,
                              uint32_t status = 0);
nlohmann::json mc_pbs_ports_added(uint32_t pbs_id, const std::vector<uint32_t> &log_ports,
                                  uint32_t status = 0);
nlohmann::json mc_pbs_ports_deleted(uint32_t pbs_id, const std::vector<uint32_t> &log_ports,
                                    uint32_t status = 0);
nlohmann::json mc_pbs_deleted(uint32_t pbs_id, uint32_t status = 0);
nlohmann::json mc_pbs_read(uint32_t pbs_id, uint32_t room, const std::vector<uint32_t> &log_ports);

// `given` is what the counter id was before the call that creates it.
nlohmann::json counter_created(uint32_t sdk_type, uint32_t counter_id, uint32_t given = 0,
                               uint32_t status = 0);
nlohmann::json counter_destroyed(uint32_t sdk_type, uint32_t counter_id, uint32_t status = 0);
nlohmann::json counter_read(uint32_t counter_id, uint64_t first, uint64_t second);
nlohmann::json counter_cleared(uint32_t counter_id, uint32_t status = 0);

nlohmann::json group_created(uint32_t direction, uint32_t group_id, uint32_t status = 0);
nlohmann::json group_listed(uint32_t direction, const std::vector<uint32_t> &acl_ids,
                            uint32_t group_id, uint32_t status = 0);
nlohmann::json group_destroyed(uint32_t direction, const std::vector<uint32_t> &acl_ids,
                               uint32_t group_id, uint32_t status = 0);
nlohmann::json port_bound(uint32_t log_port, uint32_t group_id, uint32_t status = 0);
nlohmann::json port_unbound(uint32_t log_port, uint32_t group_id, uint32_t status = 0);
nlohmann::json rif_bound(uint32_t rif, uint32_t group_id, uint32_t status = 0);
nlohmann::json rif_unbound(uint32_t rif, uint32_t group_id, uint32_t status = 0);

// The network library's ports: how many there are, and the list of them into a buffer of `room`
// records. A list is as the trace has it: {{"log_port", n}, {"kind", k}, {"name", "..."}}, ...
nlohmann::json ports_counted(uint32_t num);
nlohmann::json ports_listed(uint32_t room, const nlohmann::json &ports);

}  // namespace zv_test

#endif
