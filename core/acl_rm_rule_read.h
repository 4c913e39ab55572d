// Reading rules back from the switch, and moving blocks of them. Command thread only. A read stops
// at its first failing record, with those before it filled; a block moved in the switch stays moved
// when the cache cannot follow.
#pragma once

#include <stdint.h>

#include "core/acl_rm_types.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Fills each record from the switch and from the cache, by the offset that the client asked for.
// ENTRY_NOT_FOUND for an unknown ACL or an offset without a cached rule; ERROR when the switch
// refuses.
zv_acl_rm_status_t __acl_rule_get(uint32_t acl_id, acl_rm_rule *rules, uint16_t rules_num);

// Moves the rules in the switch, then in the cache. ENTRY_NOT_FOUND for an unknown ACL; ERROR when
// the switch refuses; else as __acl_db_modify_offset.
zv_acl_rm_status_t __acl_rule_move_block(uint32_t acl_id, uint32_t block_start, uint32_t block_size,
                                         uint32_t new_start);
