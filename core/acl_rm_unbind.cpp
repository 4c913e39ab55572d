#include "core/acl_rm_unbind.h"

#include <cstring>

#include "core/acl_rm_cache.h"
#include "core/acl_rm_group.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"

zv_acl_rm_status_t acl_group_resources_destroy(const bind_point_key *key, const sdk_grp_info *group,
                                               uint32_t group_id) {
    if (group == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    uint32_t acl_ids[MAX_ACLS_NUM_IN_GROUP];
    std::memcpy(acl_ids, group->acl_id_arr, sizeof(acl_ids));
    uint32_t sdk_group_id = group_id;
    const zv_status_t sdk_status =
        zv_api_acl_group_set(zv_sdk_handle, ZV_ACCESS_CMD_DESTROY, group->direction, acl_ids,
                             group->acl_id_arr_len, &sdk_group_id);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed deleting ACL group:[%u], (error: %d)\n", group_id,
                             static_cast<int>(sdk_status));
    g_acl_group_cnt--;
    zv_acl_rm_status_t status = ht_safe_remove(sdk_acl_grp_2_sdk_acl_grp_info_table_ht, &group_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    status = ht_safe_remove(port_id_2_sdk_acl_group_ht, key);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    LOG_LINE(core_log, info, "Deletion of ACL group[%u] succeeded.\n", group_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}
