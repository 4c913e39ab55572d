#include "core/acl_rm_unbind.h"

#include <cstring>

#include "core/acl_rm_cache.h"
#include "core/acl_rm_group.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"

namespace {

bool is_same_point(const bind_point_key &left, const bind_point_key &right) {
    return left.bind_point_type == right.bind_point_type && left.port_id == right.port_id;
}

bool is_listed(const bind_point_key &key, const bind_point_key *keys, uint32_t keys_num) {
    for (uint32_t i = 0; i < keys_num; i++)
        if (is_same_point(keys[i], key))
            return true;
    return false;
}

zv_acl_rm_status_t send_shortened_list(uint32_t acl_id, uint32_t group_id,
                                       const sdk_grp_info *group) {
    const zv_status_t sdk_status =
        send_group_list(ZV_ACCESS_CMD_SET, group->direction, group, group_id);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to remove ACL [%u] from ACL GROUP:[%u], (error: %d)\n", acl_id,
                             group_id, static_cast<int>(sdk_status));
    LOG_LINE(core_log, info, "Set new ACLs in ACL group[%u] succeeded.\n", group_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t unbind_from_port(uint32_t log_port, uint32_t group_id) {
    const zv_status_t sdk_status =
        zv_api_acl_port_bind_set(zv_sdk_handle, ZV_ACCESS_CMD_UNBIND, log_port, group_id);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(
            ZV_ACL_RM_STATUS_ERROR,
            "Failed to unbind ACL group [%u] from logical port [%x], (error: %d)\n", group_id,
            log_port, static_cast<int>(sdk_status));
    LOG_LINE(core_log, info, "Unbind ACL group[%u] from port[%x] succeeded.\n", group_id, log_port);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t unbind_from_rif(uint16_t rif, uint32_t group_id) {
    const zv_status_t sdk_status =
        zv_api_acl_rif_bind_set(zv_sdk_handle, ZV_ACCESS_CMD_UNBIND, rif, group_id);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to unbind ACL group [%u] from rif [%x], (error: %d)\n",
                             group_id, rif, static_cast<int>(sdk_status));
    LOG_LINE(core_log, info, "Unbind ACL group[%u] from rif[%x] succeeded.\n", group_id, rif);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t unbind_group(const bind_point_key *key, uint32_t group_id) {
    switch (key->bind_point_type) {
        case BIND_POINT_LOG_PORT:
            return unbind_from_port(key->port_id, group_id);
        case BIND_POINT_RIF:
            return unbind_from_rif(static_cast<uint16_t>(key->port_id), group_id);
        default:
            return ZV_ACL_RM_STATUS_SUCCESS;
    }
}

// The ACL leaves one group, and an empty group leaves the switch.
zv_acl_rm_status_t leave_group(uint32_t acl_id, uint32_t group_id, sdk_grp_info *group,
                               const bind_point_key *key) {
    buildNewAclIds(group, acl_id);
    zv_acl_rm_status_t status = send_shortened_list(acl_id, group_id, group);
    if (status != ZV_ACL_RM_STATUS_SUCCESS || group->acl_id_arr_len != 0)
        return status;
    status = unbind_group(key, group_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    status = acl_group_resources_destroy(key, group, group_id);
    return status == ZV_ACL_RM_STATUS_SUCCESS ? status : core_log.pass_up(status);
}

zv_acl_rm_status_t unbind_from_key(uint32_t acl_id, const bind_point_key *key, acl_id_info **info) {
    uint32_t is_port_bound = 0;
    uint32_t group_id = 0;
    sdk_grp_info *group = nullptr;
    zv_acl_rm_status_t status = isPortIDBoundAndGetGroup(key, &is_port_bound, &group, &group_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    uint32_t is_acl_bound = 0;
    status = isAclBoundAndGetAclInfo(acl_id, key, info, group, &is_acl_bound);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    if (is_acl_bound != 0)
        return leave_group(acl_id, group_id, group, key);
    LOG_LINE(core_log, notice, "ACL [%u] already Unbound from port_id [%x].\n", acl_id,
             key->port_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t acl_group_resources_destroy(const bind_point_key *key, const sdk_grp_info *group,
                                               uint32_t group_id) {
    if (group == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    const zv_status_t sdk_status =
        send_group_list(ZV_ACCESS_CMD_DESTROY, group->direction, group, group_id);
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

zv_acl_rm_status_t buildNewAclIds(sdk_grp_info *group, uint32_t acl_id) {
    LOG_LINE(core_log, info, "number of ACLs in group before editing is:[%u].\n",
             group->acl_id_arr_len);
    uint32_t kept_num = 0;
    for (uint32_t i = 0; i < group->acl_id_arr_len; i++)
        if (group->acl_id_arr[i] != acl_id)
            group->acl_id_arr[kept_num++] = group->acl_id_arr[i];
    group->acl_id_arr_len = kept_num;
    LOG_LINE(core_log, info, "number of ACLs in group after editing is:[%u].\n", kept_num);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t buildNewPortIDArr(acl_id_info *info, const bind_point_key *keys,
                                     uint32_t keys_num) {
    if (info == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    LOG_LINE(core_log, info, "number of port IDs to be deleted:=%u.\n", keys_num);
    if (keys_num == 0)
        return ZV_ACL_RM_STATUS_SUCCESS;
    // Collected aside first: the keys may be the very list that is rewritten.
    bind_point_key kept[MAX_BIND_POINTS_NUM] = {};
    uint32_t kept_num = 0;
    for (uint32_t i = 0; i < info->acl_bound_ports_num; i++)
        if (!is_listed(info->acl_bound_ports[i], keys, keys_num))
            kept[kept_num++] = info->acl_bound_ports[i];
    std::memcpy(info->acl_bound_ports, kept, sizeof(kept));
    info->acl_bound_ports_num = kept_num;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_unbind_acl(uint32_t acl_id, const bind_point_key *keys,
                                     uint32_t *keys_num) {
    if (*keys_num == 0)
        return ZV_ACL_RM_STATUS_SUCCESS;
    acl_id_info *info = nullptr;
    for (uint32_t i = 0; i < *keys_num; i++) {
        const zv_acl_rm_status_t status = unbind_from_key(acl_id, &keys[i], &info);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
    }
    const zv_acl_rm_status_t status = buildNewPortIDArr(info, keys, *keys_num);
    return status == ZV_ACL_RM_STATUS_SUCCESS ? status : core_log.pass_up(status);
}
