// Cached rules and ACLs as the rule modules read, add, delete and move them.
//
// Reads return copies, owned by the caller; the flags that an ACL's copy points to stay the
// cache's. Command thread only; nothing here rolls back.
#pragma once

#include <stdint.h>

#include "core/acl_rm_types.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Copies a cached rule out. ENTRY_NOT_FOUND is a normal answer and not logged; PARAM_NULL; ERROR
// when the table is missing.
zv_acl_rm_status_t __acl_db_rule_get(uint32_t acl_id, uint32_t offset, acl_rule_entry *entry);

// Caches a rule and marks its offset valid. PARAM_NULL; ERROR for a key that is there already; the
// status of a marking that fails, with the rule left cached.
zv_acl_rm_status_t __acl_db_rule_add(uint32_t acl_id, uint32_t region_id, uint32_t offset,
                                     const acl_rule_entry *entry);

// Removes a cached rule and clears its offset's flag. ENTRY_NOT_FOUND; the status of a clearing
// that fails, with the rule gone.
zv_acl_rm_status_t __acl_db_rule_delete(uint32_t acl_id, uint32_t region_id, uint32_t offset);

// Copies an ACL's record out. PARAM_NULL; ENTRY_NOT_FOUND; ERROR when the table is missing.
zv_acl_rm_status_t __acl_db_acl_info_get(uint32_t acl_id, acl_id_info *info);

// Stores the ACL's region; statuses as __acl_db_acl_info_get.
zv_acl_rm_status_t __acl_db_region_get(uint32_t acl_id, uint32_t *region_id);

// Moves one cached rule; an empty source empties the destination. The moved entry keeps the source
// in its offset field.
zv_acl_rm_status_t __acl_db_modify_entry_offset(uint32_t acl_id, uint32_t region_id,
                                                uint32_t source, uint32_t destination);

// Moves a block of cached rules like an overlapping memory move. The first failure is returned;
// rules moved before it stay moved.
zv_acl_rm_status_t __acl_db_modify_offset(uint32_t acl_id, uint32_t region_id, uint32_t from,
                                          uint32_t count, uint32_t to);
