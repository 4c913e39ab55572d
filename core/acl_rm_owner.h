// Clients, the owners they act as, and who may touch what.
//
// A client opens once with its handle and its owner; from then on its commands are attributed to
// the owner through the handle. Nothing is ever closed: a later OPEN of the same owner replaces the
// handle. Command thread only.
#pragma once

#include <stdint.h>

#include "core/acl_rm_types.h"
#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Handle of the client that last opened as each owner. 0 is not special: a handle of 0 matches the
// first slot that still holds 0.
extern uint64_t acl_rm_clients_handles[ZV_ACL_RM_OWNER_NUM];

// Priority of each owner's ACLs in a group, smaller first; 4 until the owner has opened.
extern uint32_t acl_rm_clients_priority[ZV_ACL_RM_OWNER_NUM];

// Stores the handle and the owner's priority, then connects to the SDK (acl_rm_init, whose failure
// is returned with both stored). PARAM_EXCEEDS_RANGE for an owner above 3, which has no slot for
// its handle.
zv_acl_rm_status_t acl_rm_open_new_client(uint64_t client_handle, uint32_t owner);

// Stores the owner of the handle: the lowest one where several hold it. ENTRY_NOT_FOUND for a
// handle that no owner holds.
zv_acl_rm_status_t __set_owner_acl(uint64_t client_handle, uint32_t *owner);

// SUCCESS when the client owns the ACL; ERROR when another owner does; PARAM_EXCEEDS_RANGE for an
// unknown handle or ACL.
zv_acl_rm_status_t __validate_owner_acl(uint64_t client_handle, uint32_t acl_id);

// The same for a multicast group, except that an OF13 client's handle is never known here.
zv_acl_rm_status_t __validate_owner_mcg(uint64_t client_handle, uint32_t mc_group_id);

// Finds an ACL that the client owns; null otherwise. The texts name the operation that looks.
// Statuses as __validate_owner_acl.
zv_acl_rm_status_t find_own_acl(const char *operation, uint64_t client_handle, uint32_t acl_id,
                                acl_id_info **info);
