// ACL groups: how one ACL comes to apply to a port or router interface.
//
// The switch binds ordered groups of up to sixteen ACLs of one direction; clients never see them.
// A bind point without a group gets a new one; in an existing group an ACL stands where its owner's
// priority puts it. Cached group, bind point and the ACL's own list of bind points are kept in step
// with the switch; an edit of a group's list is undone when the switch refuses it. Command thread
// only. Failures leave the bind points handled before them bound.
#pragma once

#include <stdint.h>

#include "core/acl_rm_types.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

extern uint16_t g_acl_group_cnt;  // groups made in the switch and not destroyed, at most 128

// Binds the ACL to every key in turn; a key whose group holds it already is skipped. No keys:
// SUCCESS. ENTRY_NOT_FOUND for an unknown ACL, else as bindNewAcl.
zv_acl_rm_status_t acl_rm_bind_acl(uint32_t acl_id, const bind_point_key *keys,
                                   const uint32_t *keys_num);

// Binds the ACL to one bind point: through a new group, or in the group it has (is_port_bound).
// PARAM_NULL without ACL info, or without the group's info where there is a group; NO_RESOURCES
// when groups or the group's places are used up; NO_HW_RESOURCES when the switch's are; ERROR for
// another direction or a refusal; PARAM_EXCEEDS_RANGE when the ACL's list of bind points is full;
// ENTRY_NOT_FOUND for a group with an ACL that the cache does not know.
zv_acl_rm_status_t bindNewAcl(uint32_t acl_id, uint32_t is_port_bound, uint32_t group_id,
                              acl_id_info *info, sdk_grp_info *group, const bind_point_key *key);

// Inserts the ACL's id behind all ids of equal or higher priority, and stores its index.
// PARAM_NULL; NO_BUFFER_SPACE when the list is full; ENTRY_NOT_FOUND for a listed ACL that the
// cache does not know.
zv_acl_rm_status_t sortAclsByClientPriority(sdk_grp_info *group, const acl_id_info *info,
                                            uint32_t *index);

// Takes the id at that index out of the list again, which the switch refused. A length or an index
// that no list has is only logged.
void restoreAclIds(sdk_grp_info *group, uint32_t index);

// Sends the group's list with a command of the switch's group function; the switch's status.
zv_status_t send_group_list(uint32_t sdk_cmd, uint32_t direction, const sdk_grp_info *group,
                            uint32_t group_id);

// Sends the edited list of an existing group to the switch. NO_HW_RESOURCES or ERROR.
zv_acl_rm_status_t AddNewAclToBoundGroup(uint32_t group_id, const sdk_grp_info *group,
                                         const acl_id_info *info, const bind_point_key *key);

// Makes a group of the ACL's direction that holds only this ACL. ERROR when the switch refuses;
// a group whose list it refuses stays, counted.
zv_acl_rm_status_t createNewAclGroupAndAddAclId(uint32_t *group_id, const acl_id_info *info);

// Finds the group bound to a bind point: *is_bound 1 with *group and *group_id, or 0.
// ERROR when a table is missing.
zv_acl_rm_status_t isPortIDBoundAndGetGroup(const bind_point_key *key, uint32_t *is_bound,
                                            sdk_grp_info **group, uint32_t *group_id);

// Finds the ACL's info, and whether the group (or none) lists it. ENTRY_NOT_FOUND for an unknown
// ACL, ERROR when the table is missing.
zv_acl_rm_status_t isAclBoundAndGetAclInfo(uint32_t acl_id, const bind_point_key *key,
                                           acl_id_info **info, const sdk_grp_info *group,
                                           uint32_t *is_bound);
