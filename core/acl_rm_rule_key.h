// Translation: one client rule into one work record, ready for the switch.
//
// The same for every key type: keys, masks and actions pass untouched, and the key type only
// decides in which call of the switch the rule is written. Command thread only.
#pragma once

#include <stdint.h>

#include "core/acl_rm_types.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Fills work[index] from the rule, whose offset field it writes. PARAM_EXCEEDS_RANGE for another
// key type than expected; ERROR for an occupied offset or a missing table; ENTRY_NOT_FOUND for an
// unknown ACL or MC group; NO_HW_RESOURCES when the switch has no room for a forwarding entry.
zv_acl_rm_status_t acl_rm_set_rule_by_key_type(uint32_t access_command, uint32_t acl_id,
                                               acl_rm_rule *rule, acl_rm_rule_work *work,
                                               uint32_t index, uint32_t expected_key_type);

// SUCCESS when the rule's presence in the cache is as expected, else ERROR.
zv_acl_rm_status_t checkRuleExists(uint32_t acl_id, uint32_t offset, uint32_t must_exist);
