// ACL tables: creating, destroying and editing them with their regions. Command thread only; no
// failure is undone.
#pragma once

#include <stdint.h>

#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Creates region, ACL and cache entry; statuses as acl_rm_acl_set. After a failure the region, the
// ACL and the count of ACLs made before it stay.
zv_acl_rm_status_t __create_acl(acl_rm_acl *acl, uint32_t owner);

// Deletes the ACL's rules, unbinds it, and destroys ACL and region. Ownership as
// __validate_owner_acl; statuses of acl_rm_delete_rules and acl_rm_unbind_acl; ENTRY_NOT_FOUND;
// ERROR when the switch refuses. After a failure the cache entry stays, with its rules, then its
// flags, gone; a second try goes on from there.
zv_acl_rm_status_t __destroy_acl(uint64_t client_handle, const acl_rm_acl *acl);

// Gives the ACL another direction by destroying and creating it over the same region, which changes
// its id. Rules, groups and bindings that name the old id keep it. Ownership as
// __validate_owner_acl; ENTRY_NOT_FOUND; ERROR when the switch or the cache refuses: the cache has
// forgotten the ACL then.
zv_acl_rm_status_t __edit_acl(uint64_t client_handle, acl_rm_acl *acl);
