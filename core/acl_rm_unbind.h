// Unbinding: taking an ACL out of the groups of its bind points, and tearing empty groups down.
// Command thread only. Failures leave the bind points handled before them unbound.
#pragma once

#include <stdint.h>

#include "core/acl_rm_types.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Takes the ACL out of the group of every key, and the keys off the ACL's list of bind points; a
// key where it is not bound is only noted. The keys may be the ACL's own list. No keys: SUCCESS.
// ENTRY_NOT_FOUND for an unknown ACL; ERROR when the switch refuses, with the cached list shortened
// already; the status of a removal that fails.
zv_acl_rm_status_t acl_rm_unbind_acl(uint32_t acl_id, const bind_point_key *keys,
                                     uint32_t *keys_num);

// Destroys a group in the switch and forgets it and the bind point it was bound to. PARAM_NULL
// without group info; ERROR when the switch refuses, with nothing forgotten; the status of a
// removal that fails.
zv_acl_rm_status_t acl_group_resources_destroy(const bind_point_key *key, const sdk_grp_info *group,
                                               uint32_t group_id);

// Removes every occurrence of the id from the group's list; entries past the new length keep former
// ids.
zv_acl_rm_status_t buildNewAclIds(sdk_grp_info *group, uint32_t acl_id);

// Removes the keys from the ACL's list of bind points, and zeroes the rest of the list. PARAM_NULL.
zv_acl_rm_status_t buildNewPortIDArr(acl_id_info *info, const bind_point_key *keys,
                                     uint32_t keys_num);
