// ACL tables: creating them with their regions. Command thread only.
#pragma once

#include <stdint.h>

#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Creates region, ACL and cache entry; statuses as acl_rm_acl_set. After a failure the region, the
// ACL and the count of ACLs made before it stay.
zv_acl_rm_status_t __create_acl(acl_rm_acl *acl, uint32_t owner);
