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

nlohmann::json sdk_open(uint32_t status = 0);

// ACL_SET create: the region, the ACL over it, and the memory for one flag per rule.
nlohmann::json region_created(const acl_rm_acl &acl, uint32_t region_id, uint32_t status = 0);
nlohmann::json acl_created(const acl_rm_acl &acl, uint32_t region_id, uint32_t acl_id,
                           uint32_t status = 0);
nlohmann::json memory_taken(uint64_t bytes, uint32_t status = 0);
nlohmann::json memory_freed();

// A rule as the switch is to get it: what the client sent at its priority, or, with forward and
// counter words set, as forwarded() and counted() change it.
nlohmann::json sdk_rule(const acl_rm_rule &rule);
nlohmann::json forwarded(nlohmann::json sdk_rule, uint32_t pbs_id);
nlohmann::json counted(nlohmann::json sdk_rule, uint32_t counter_id);
// The word at `at` of a rule's action block.
uint32_t action_word(const nlohmann::json &sdk_rule, size_t at);

nlohmann::json rules_written(uint32_t region_id, const std::vector<nlohmann::json> &rules,
                             uint32_t status = 0);
nlohmann::json port_pbs_created(uint32_t log_port, uint32_t pbs_id, uint32_t status = 0);

nlohmann::json group_created(uint32_t direction, uint32_t group_id, uint32_t status = 0);
nlohmann::json group_listed(uint32_t direction, const std::vector<uint32_t> &acl_ids,
                            uint32_t group_id, uint32_t status = 0);
nlohmann::json group_destroyed(uint32_t direction, const std::vector<uint32_t> &acl_ids,
                               uint32_t group_id, uint32_t status = 0);
nlohmann::json port_bound(uint32_t log_port, uint32_t group_id, uint32_t status = 0);

}  // namespace zv_test

#endif
