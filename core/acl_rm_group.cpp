#include "core/acl_rm_group.h"

#include <cstring>

#include "core/acl_rm_cache.h"
#include "core/acl_rm_owner.h"
#include "core/acl_rm_unbind.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"

uint16_t g_acl_group_cnt;

// A failure is logged where it happens and once more by each operation of the header that hands it
// on; the helpers below are parts of those operations and do not log it a second time.

namespace {

uint32_t priority_of(const acl_id_info *info) {
    return acl_rm_clients_priority[static_cast<uint32_t>(info->acl_owner)];
}

// The priority of the ACL listed at an index of the group.
zv_acl_rm_status_t listed_priority(const sdk_grp_info *group, uint32_t index, uint32_t *priority) {
    const uint32_t acl_id = group->acl_id_arr[index];
    acl_id_info *info = nullptr;
    if (look_up(acl_id_2_acl_id_info_table_ht, &acl_id, &info) != Lookup::found)
        return core_log.pass_up(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    *priority = priority_of(info);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

void insert_id(sdk_grp_info *group, uint32_t index, uint32_t acl_id) {
    for (uint32_t i = group->acl_id_arr_len; i > index; i--)
        group->acl_id_arr[i] = group->acl_id_arr[i - 1];
    group->acl_id_arr[index] = acl_id;
    group->acl_id_arr_len++;
}

// Where an ACL of this priority goes in a list that is not empty.
zv_acl_rm_status_t find_index(const sdk_grp_info *group, uint32_t priority, uint32_t *index) {
    const uint32_t last = group->acl_id_arr_len - 1;
    for (uint32_t i = 0;; i++) {
        uint32_t here = 0;
        zv_acl_rm_status_t status = listed_priority(group, i, &here);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
        *index = i;
        if (priority < here)
            return ZV_ACL_RM_STATUS_SUCCESS;
        *index = i + 1;
        if (i == last)
            return ZV_ACL_RM_STATUS_SUCCESS;
        uint32_t next = 0;
        status = listed_priority(group, i + 1, &next);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
        if (here < next && priority < next)
            return ZV_ACL_RM_STATUS_SUCCESS;
    }
}

zv_status_t bind_group_in_switch(const bind_point_key *key, uint32_t group_id) {
    switch (key->bind_point_type) {
        case BIND_POINT_LOG_PORT:
            return zv_api_acl_port_bind_set(zv_sdk_handle, ZV_ACCESS_CMD_BIND, key->port_id,
                                            group_id);
        case BIND_POINT_RIF:
            return zv_api_acl_rif_bind_set(zv_sdk_handle, ZV_ACCESS_CMD_BIND,
                                           static_cast<uint16_t>(key->port_id), group_id);
        default:
            return SDK_SUCCESS;
    }
}

zv_acl_rm_status_t cache_new_group(uint32_t group_id, const acl_id_info *info,
                                   const bind_point_key *key) {
    sdk_grp_info group = {};
    group.acl_id_arr[0] = info->acl_id;
    group.acl_id_arr_len = 1;
    group.direction = info->direction;
    zv_acl_rm_status_t status =
        ht_safe_insert(sdk_acl_grp_2_sdk_acl_grp_info_table_ht, &group_id, &group);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    LOG_LINE(core_log, info,
             "insert to hash-table:sdk_acl_grp_2_sdk_acl_grp_info_table_ht new group[%u] with "
             "acl[%u].\n",
             group_id, info->acl_id);
    status = ht_safe_insert(port_id_2_sdk_acl_group_ht, key, &group_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    LOG_LINE(core_log, info,
             "insert to hash-table:port_id_2_sdk_acl_group_ht new port_id[%u] with "
             "acl-group[%u].\n",
             key->port_id, group_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

// The only refusal that takes the new group away again is the one for want of room in the switch.
zv_acl_rm_status_t report_failed_bind(zv_status_t sdk_status, uint32_t group_id,
                                      const bind_point_key *key) {
    // Kept: the group's id stands where the text says ACL.
    if (sdk_status != SDK_NO_RESOURCES)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to bind ACL [%u] to port_id [%u] , (error: %d)", group_id,
                             key->port_id, static_cast<int>(sdk_status));
    sdk_grp_info *group = nullptr;
    look_up(sdk_acl_grp_2_sdk_acl_grp_info_table_ht, &group_id, &group);
    const zv_acl_rm_status_t status = acl_group_resources_destroy(key, group, group_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    return core_log.fail(ZV_ACL_RM_STATUS_NO_HW_RESOURCES,
                         "Not enough resource to bind ACL, the maximum ACL resources are in use");
}

zv_acl_rm_status_t bind_through_new_group(uint32_t acl_id, const acl_id_info *info,
                                          const bind_point_key *key) {
    if (g_acl_group_cnt > MAX_ACL_GROUPS_NUM - 1)
        return core_log.fail(ZV_ACL_RM_STATUS_NO_RESOURCES,
                             "ACL [%u] can't be bound to port_id [%u]. Not enough acl groups",
                             acl_id, key->port_id);
    uint32_t group_id = 0;
    zv_acl_rm_status_t status = createNewAclGroupAndAddAclId(&group_id, info);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    LOG_LINE(core_log, info, "Create new group with ID=[%u].\n", group_id);
    status = cache_new_group(group_id, info, key);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    const zv_status_t sdk_status = bind_group_in_switch(key, group_id);
    if (sdk_status != SDK_SUCCESS)
        return report_failed_bind(sdk_status, group_id, key);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t add_to_group(uint32_t acl_id, uint32_t group_id, const acl_id_info *info,
                                sdk_grp_info *group, const bind_point_key *key) {
    if (info->direction != group->direction)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Can't Bind acl id[%u] to port_id[%u]. the port has different "
                             "direction. port direction:[%u], acl direction[%u]",
                             acl_id, key->port_id, group->direction, info->direction);
    if (group->acl_id_arr_len == MAX_ACLS_NUM_IN_GROUP)
        return core_log.fail(ZV_ACL_RM_STATUS_NO_RESOURCES,
                             "Can't Bind acl id[%u] to port_id[%u]. The Group is full", acl_id,
                             key->port_id);
    uint32_t index = 0;
    zv_acl_rm_status_t status = sortAclsByClientPriority(group, info, &index);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    status = AddNewAclToBoundGroup(group_id, group, info, key);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    restoreAclIds(group, index);
    return core_log.pass_up(status);
}

// The list holds as many bind points as the table of bind points; a longer one is refused here.
zv_acl_rm_status_t append_bound_port(acl_id_info *info, const bind_point_key *key) {
    if (info->acl_bound_ports_num >= MAX_BIND_POINTS_NUM)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "acl id[%u] is bound to [%u] ports, port_id[%u] is not recorded",
                             info->acl_id, info->acl_bound_ports_num, key->port_id);
    info->acl_bound_ports[info->acl_bound_ports_num] = *key;
    info->acl_bound_ports_num++;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t bind_to_key(uint32_t acl_id, const bind_point_key *key) {
    uint32_t is_port_bound = 0;
    uint32_t group_id = 0;
    sdk_grp_info *group = nullptr;
    zv_acl_rm_status_t status = isPortIDBoundAndGetGroup(key, &is_port_bound, &group, &group_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    acl_id_info *info = nullptr;
    uint32_t is_acl_bound = 0;
    status = isAclBoundAndGetAclInfo(acl_id, key, &info, group, &is_acl_bound);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    if (is_acl_bound != 0)
        return ZV_ACL_RM_STATUS_SUCCESS;
    LOG_LINE(core_log, info, "calling bindNewAcl.\n");
    status = bindNewAcl(acl_id, is_port_bound, group_id, info, group, key);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

void restoreAclIds(sdk_grp_info *group, uint32_t index) {
    if (group->acl_id_arr_len > MAX_ACLS_NUM_IN_GROUP) {
        core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                      "sdk_grp_info->acl_id_arr_len = [%u] is out of range", group->acl_id_arr_len);
        return;
    }
    if (index + 1 == group->acl_id_arr_len) {
        group->acl_id_arr[index] = 0;
        group->acl_id_arr_len--;
        return;
    }
    if (index > MAX_ACLS_NUM_IN_GROUP - 2 || index >= group->acl_id_arr_len) {
        core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                      "index_of_new_acl_in_group:=[%u] >= MAX_ACLS_NUM_IN_GROUP-1", index);
        return;
    }
    for (uint32_t i = index; i + 1 < group->acl_id_arr_len; i++)
        group->acl_id_arr[i] = group->acl_id_arr[i + 1];
    group->acl_id_arr_len--;
}

zv_acl_rm_status_t isPortIDBoundAndGetGroup(const bind_point_key *key, uint32_t *is_bound,
                                            sdk_grp_info **group, uint32_t *group_id) {
    *is_bound = 0;
    *group = nullptr;
    PackedId *bound_group_id = nullptr;
    switch (look_up(port_id_2_sdk_acl_group_ht, key, &bound_group_id)) {
        case Lookup::failed:
            return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
        case Lookup::absent:
            LOG_LINE(core_log, info, "No ACL is bound to port_id [%x].\n", key->port_id);
            return ZV_ACL_RM_STATUS_SUCCESS;
        case Lookup::found:
            break;
    }
    *is_bound = 1;
    *group_id = bound_group_id->value;
    if (look_up(sdk_acl_grp_2_sdk_acl_grp_info_table_ht, group_id, group) == Lookup::failed)
        return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
    LOG_LINE(core_log, info, "ACL group [%u] is bound to port_id [%x].\n", *group_id, key->port_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t isAclBoundAndGetAclInfo(uint32_t acl_id, const bind_point_key *key,
                                           acl_id_info **info, const sdk_grp_info *group,
                                           uint32_t *is_bound) {
    *is_bound = 0;
    const uint32_t listed_num = group == nullptr ? 0 : group->acl_id_arr_len;
    for (uint32_t i = 0; i < listed_num && *is_bound == 0; i++)
        *is_bound = group->acl_id_arr[i] == acl_id ? 1 : 0;
    if (*is_bound != 0)
        LOG_LINE(core_log, info, "acl id [%u] is bound in SDK in port_id [%u] within a group.\n",
                 acl_id, key->port_id);
    switch (look_up(acl_id_2_acl_id_info_table_ht, &acl_id, info)) {
        case Lookup::failed:
            return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
        case Lookup::absent:
            return core_log.pass_up(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
        case Lookup::found:
            break;
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t sortAclsByClientPriority(sdk_grp_info *group, const acl_id_info *info,
                                            uint32_t *index) {
    if (group == nullptr || info == nullptr || index == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    if (group->acl_id_arr_len >= MAX_ACLS_NUM_IN_GROUP)
        return core_log.fail(ZV_ACL_RM_STATUS_NO_BUFFER_SPACE,
                             "No more buffer space in ACL ID array of ACL group for ACL %u",
                             info->acl_id);
    *index = 0;
    if (group->acl_id_arr_len > 0) {
        const zv_acl_rm_status_t status = find_index(group, priority_of(info), index);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
    }
    insert_id(group, *index, info->acl_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_status_t send_group_list(uint32_t sdk_cmd, uint32_t direction, const sdk_grp_info *group,
                            uint32_t group_id) {
    uint32_t acl_ids[MAX_ACLS_NUM_IN_GROUP];  // the record's own list may lie at any address
    std::memcpy(acl_ids, group->acl_id_arr, sizeof(acl_ids));
    return zv_api_acl_group_set(zv_sdk_handle, sdk_cmd, direction, acl_ids, group->acl_id_arr_len,
                                &group_id);
}

zv_acl_rm_status_t AddNewAclToBoundGroup(uint32_t group_id, const sdk_grp_info *group,
                                         const acl_id_info *info, const bind_point_key *key) {
    const zv_status_t sdk_status =
        send_group_list(ZV_ACCESS_CMD_SET, info->direction, group, group_id);
    if (sdk_status == SDK_NO_RESOURCES)
        return core_log.fail(ZV_ACL_RM_STATUS_NO_HW_RESOURCES,
                             "Can't Add ACL table to group - not enough resources");
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to add new ACL [%u] to ACL GROUP:[%u], (error: %d)",
                             info->acl_id, group_id, static_cast<int>(sdk_status));
    if (key->bind_point_type == BIND_POINT_LOG_PORT)
        LOG_LINE(core_log, info, "Added new acl [%u] to group [%u] on logical port [%x].\n",
                 info->acl_id, group_id, key->port_id);
    else if (key->bind_point_type == BIND_POINT_RIF)
        LOG_LINE(core_log, info, "Added new acl [%u] to group [%u] on rif [%x].\n", info->acl_id,
                 group_id, static_cast<uint16_t>(key->port_id));
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t createNewAclGroupAndAddAclId(uint32_t *group_id, const acl_id_info *info) {
    zv_status_t sdk_status = zv_api_acl_group_set(zv_sdk_handle, ZV_ACCESS_CMD_CREATE,
                                                  info->direction, nullptr, 0, group_id);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to create new group ACL [%u], (error: %d)\n", info->acl_id,
                             static_cast<int>(sdk_status));
    g_acl_group_cnt++;
    const uint32_t acl_id = info->acl_id;
    sdk_status = zv_api_acl_group_set(zv_sdk_handle, ZV_ACCESS_CMD_SET, info->direction, &acl_id, 1,
                                      group_id);
    // Kept: the group just made is neither destroyed nor uncounted.
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to add new ACL [%u] to ACL GROUP:[%u], (error: %d)\n",
                             info->acl_id, *group_id, static_cast<int>(sdk_status));
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t bindNewAcl(uint32_t acl_id, uint32_t is_port_bound, uint32_t group_id,
                              acl_id_info *info, sdk_grp_info *group, const bind_point_key *key) {
    if (info == nullptr || (is_port_bound != 0 && group == nullptr))
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    const zv_acl_rm_status_t status = is_port_bound == 0
                                          ? bind_through_new_group(acl_id, info, key)
                                          : add_to_group(acl_id, group_id, info, group, key);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    return append_bound_port(info, key);
}

zv_acl_rm_status_t acl_rm_bind_acl(uint32_t acl_id, const bind_point_key *keys,
                                   const uint32_t *keys_num) {
    for (uint32_t i = 0; i < *keys_num; i++) {
        const zv_acl_rm_status_t status = bind_to_key(acl_id, &keys[i]);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}
