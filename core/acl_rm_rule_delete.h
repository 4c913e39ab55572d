// Deleting rules: from the switch, the counters, the cache, and the PBS entries that they shared.
//
// Command thread only. Nothing is rolled back: rules handled before a failure stay deleted, but a
// batch that names an absent rule fails before anything has changed.
#pragma once

#include <stdint.h>

#include "core/acl_rm_types.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Deletes rules of one ACL; only the offset of each record is read. skip_switch leaves the rules in
// the switch alone, for callers who have moved or are about to drop them there.
// NO_BUFFER_SPACE without memory; PARAM_EXCEEDS_RANGE for too many rules; ENTRY_NOT_FOUND for an
// offset without a rule, or a forwarding port without its entry; ERROR when the switch or a table
// refuses.
zv_acl_rm_status_t acl_rm_delete_rules(uint32_t acl_id, const acl_rm_rule *rules,
                                       uint32_t rules_num, uint32_t skip_switch);

// Clears the offset's flag in the ACL's record; a record of another region is left alone.
// ENTRY_NOT_FOUND for an unknown ACL; ERROR when the flag is not set or the table is missing;
// PARAM_EXCEEDS_RANGE for an offset that the record has no flag for.
zv_acl_rm_status_t update_acl_info_with_delete_rules(uint32_t acl_id, uint32_t region_id,
                                                     uint32_t offset);
