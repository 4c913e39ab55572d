// Flow counters: made and destroyed in the switch for clients, shared by rules.
//
// The counter database remembers type and references; a counter goes when a client destroys it
// while no rule refers to it, and with its last rule in any case. Command thread only.
#pragma once

#include <stdint.h>

#include "core/acl_rm_types.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Creates a counter in the switch and in the database. PARAM_NULL; ERROR when the switch refuses;
// the database's status, with the switch's counter destroyed again.
zv_acl_rm_status_t __acl_rm_counter_allocate(uint64_t counter_type, uint32_t *counter_id);

// Destroys a counter that no rule refers to; one that is referred to stays, with SUCCESS.
// ENTRY_NOT_FOUND; ERROR when the switch refuses.
zv_acl_rm_status_t __acl_rm_counter_free_resource(uint32_t counter_id);

// Drops the reference of a cached rule that is being deleted, and the counter with its last.
// ENTRY_NOT_FOUND for an absent rule or counter; ERROR.
zv_acl_rm_status_t __acl_rm_counter_rule_delete(uint32_t acl_id, uint32_t offset);

// Reads a counter's values from the switch. PARAM_NULL; ERROR for a type that is not one flag, or
// when the switch refuses.
zv_acl_rm_status_t __acl_rm_counter_read(uint32_t counter_id, uint64_t counter_type,
                                         uint64_t *values);

// Copies a cached rule out. PARAM_NULL; ENTRY_NOT_FOUND; ERROR.
zv_acl_rm_status_t __acl_rm_rule_info_get(uint32_t acl_id, uint32_t offset, acl_rule_entry *entry);
