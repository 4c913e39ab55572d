// Tearing groups down. Command thread only.
#pragma once

#include <stdint.h>

#include "core/acl_rm_types.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Destroys a group in the switch and forgets it and the bind point it was bound to. PARAM_NULL
// without group info; ERROR when the switch refuses, with nothing forgotten; the status of a
// removal that fails.
zv_acl_rm_status_t acl_group_resources_destroy(const bind_point_key *key, const sdk_grp_info *group,
                                               uint32_t group_id);
