// Multicast groups: PBS entries with many ports, owned by clients, that rules can forward to. Their
// id is the switch's PBS id. Command thread only; nothing is undone after a later failure.
#pragma once

#include <stdint.h>

#include "zv_acl_rm/zv_acl_rm_status.h"

// Creates a group and caches it. ENTRY_NOT_FOUND for an unknown handle; NO_RESOURCES when the
// switch has no room; PARAM_EXCEEDS_RANGE for more ports than a record holds; ERROR when the switch
// or the cache refuses.
zv_acl_rm_status_t acl_rm_add_mc_group(uint64_t client_handle, uint32_t *mc_group_id,
                                       uint32_t *log_ports, uint32_t ports_num);

// Add or remove ports in the switch; the cache does not hold them. PARAM_EXCEEDS_RANGE
// for more than a record holds; ERROR.
zv_acl_rm_status_t acl_rm_add_ports_to_mc_group(uint32_t mc_group_id, uint32_t *log_ports,
                                                uint32_t ports_num);
zv_acl_rm_status_t acl_rm_del_ports_from_mc_group(uint32_t mc_group_id, uint32_t *log_ports,
                                                  uint32_t ports_num);

// Deletes a group in the switch, then in the cache. ERROR, ENTRY_NOT_FOUND.
zv_acl_rm_status_t acl_rm_del_mc_group(uint32_t mc_group_id);

// Reads at most *ports_num ports of a group. ENTRY_NOT_FOUND; PARAM_EXCEEDS_RANGE for a room that a
// record does not have; ERROR.
zv_acl_rm_status_t acl_rm_get_mc_group(uint32_t mc_group_id, uint32_t *log_ports,
                                       uint32_t *ports_num);
