// Writing rules: a batch sorted by key type, each group written to the switch in one call, then
// recorded in the cache. Command thread only. Nothing is rolled back: groups written before a
// failure stay, and rules that the switch has may be cached in part only.
#pragma once

#include <stdint.h>

#include "core/acl_rm_types.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Translates and writes a batch of at most max_rules_per_action rules; statuses as
// acl_rm_acl_rule_set.
zv_acl_rm_status_t acl_rm_set_new_rules(uint32_t access_command, uint32_t acl_id,
                                        acl_rm_rule *rules, uint32_t rules_num);

// Writes one key-type group, all of one ACL. CMD_UNSUPPORTED; NO_RESOURCES without memory; ERROR
// when the switch or a table refuses; a counter's or an offset's failure.
zv_acl_rm_status_t __set_rules(uint32_t access_command, uint32_t acl_id,
                               const acl_rm_rule_work *work, uint32_t rules_num);

// Finds the flag of an offset in the ACL's record; null, with SUCCESS, for a record of another
// region. ENTRY_NOT_FOUND for an unknown ACL; ERROR when the table is missing; PARAM_EXCEEDS_RANGE
// for an offset that the record has no flag for.
zv_acl_rm_status_t find_offset_flag(uint32_t acl_id, uint32_t region_id, uint32_t offset,
                                    uint32_t **flag);

// Marks the offset valid in the ACL's record; a record of another region is left alone.
// ENTRY_NOT_FOUND for an unknown ACL; ERROR when the offset is marked already or the table is
// missing; PARAM_EXCEEDS_RANGE for an offset that the record has no flag for.
zv_acl_rm_status_t update_acl_info_with_new_rule(uint32_t acl_id, uint32_t region_id,
                                                 uint32_t offset);
