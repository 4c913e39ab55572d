#include "core/acl_rm_acl.h"

#include <cstring>

#include "complib/cl_memory.h"
#include "core/acl_rm.h"
#include "core/acl_rm_cache.h"
#include "core/acl_rm_owner.h"
#include "core/acl_rm_rule_delete.h"
#include "core/acl_rm_unbind.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "zv_rm_resource.h"

namespace {

zv_acl_region_group_t single_region(uint32_t region_id) {
    return {0, region_id};
}

// Equality, not order, and limit_b first: kept. A chip without limits (0 - 1) never matches.
bool acl_limit_reached() {
    const uint32_t acls_num = g_acl_table_cnt;
    return acls_num == rm_resource_global.acl_table_limit_b - 1 ||
           acls_num == rm_resource_global.acl_table_limit_a - 1;
}

zv_acl_rm_status_t create_region(acl_rm_acl *acl) {
    uint32_t region_id = acl->region_id;
    const zv_status_t sdk_status =
        zv_api_acl_region_set(zv_sdk_handle, ZV_ACCESS_CMD_CREATE, acl->key_type, acl->action_type,
                              acl->min_size, &region_id);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "failed to create region in SDK error: %u acl_key_type: %u , "
                             "action_type: %u , region_size: %u , region_id: %u\n",
                             sdk_status, acl->key_type, acl->action_type, acl->min_size, region_id);
    LOG_LINE(core_log, info,
             "Created region in SDK , acl_key_type: %u , action_type: %u , region_size: %u , "
             "region_id: %u.\n",
             acl->key_type, acl->action_type, acl->min_size, region_id);
    acl->region_id = region_id;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t create_acl_over_region(acl_rm_acl *acl, uint32_t owner) {
    const zv_acl_region_group_t group = single_region(acl->region_id);
    const zv_status_t sdk_status = zv_api_acl_set(
        zv_sdk_handle, ZV_ACCESS_CMD_CREATE, acl->acl_type, acl->direction, &group, &acl->acl_id);
    // Kept: the region stays allocated in the switch, and uncounted.
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to create ACL in SDK (error: %u) , type: [%u] , direction: "
                             "[%u] , regions : [%u]\n",
                             sdk_status, acl->acl_type, acl->direction, acl->region_id);
    LOG_LINE(core_log, info,
             "Created ACL in SDK , owner:=[%u] type: [%u] , direction: [%u] , region_id : [%u] , "
             "acl id: [%u].\n",
             owner, acl->acl_type, acl->direction, acl->region_id, acl->acl_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

acl_id_info new_acl_info(const acl_rm_acl &acl, uint32_t owner) {
    acl_id_info info = {};
    info.acl_type = acl.acl_type;
    info.direction = acl.direction;
    info.region_id = acl.region_id;
    info.key_type = acl.key_type;
    info.action_type = acl.action_type;
    info.region_size = acl.min_size;
    info.min_size = acl.min_size;
    info.max_size = acl.max_size;
    info.valid_offsets_len = acl.min_size;
    info.acl_id = acl.acl_id;
    info.acl_owner = static_cast<int32_t>(owner);
    return info;
}

// An ACL of size 0 has no flags.
zv_acl_rm_status_t allocate_valid_offsets(acl_id_info *info) {
    if (info->valid_offsets_len == 0)
        return ZV_ACL_RM_STATUS_SUCCESS;
    const size_t bytes = size_t{info->valid_offsets_len} * sizeof(uint32_t);
    void *flags = cl_malloc(bytes);
    if (flags == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    std::memset(flags, 0, bytes);
    info->valid_offsets = static_cast<uint32_t *>(flags);
    info->valid_offsets_allocated = info->valid_offsets_len;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t cache_new_acl(const acl_rm_acl &acl, uint32_t owner) {
    acl_id_info info = new_acl_info(acl, owner);
    zv_acl_rm_status_t status = allocate_valid_offsets(&info);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    status = ht_acl_id_2_acl_info_insert(acl.acl_id, &info);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    // No cache entry owns the flags, so they go; the switch's objects and the count stay.
    release_valid_offsets(&info);
    return core_log.pass_up(status);
}

// Found, and the client's own; null otherwise.
zv_acl_rm_status_t find_acl_of_client(uint64_t client_handle, uint32_t acl_id, acl_id_info **info) {
    const zv_acl_rm_status_t status = __validate_owner_acl(client_handle, acl_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    return find_acl(acl_id, info);
}

// One by one and upward; in the switch they go with the region.
zv_acl_rm_status_t delete_all_rules(uint32_t acl_id, const acl_id_info *info) {
    for (uint32_t offset = 0; offset < usable_offsets(*info); offset++) {
        if (info->valid_offsets[offset] != 1)
            continue;
        acl_rm_rule rule = {};
        rule.offset = offset;
        const zv_acl_rm_status_t status = acl_rm_delete_rules(acl_id, &rule, 1, 1);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t unbind_everywhere(uint32_t acl_id, const acl_id_info *info) {
    uint32_t ports_num = info->acl_bound_ports_num;
    if (ports_num == 0)
        return ZV_ACL_RM_STATUS_SUCCESS;
    return acl_rm_unbind_acl(acl_id, info->acl_bound_ports, &ports_num);
}

zv_acl_rm_status_t destroy_acl_in_switch(uint32_t acl_type, uint32_t direction,
                                         const acl_id_info &info) {
    const zv_acl_region_group_t group = single_region(info.region_id);
    uint32_t acl_id = info.acl_id;
    const zv_status_t sdk_status =
        zv_api_acl_set(zv_sdk_handle, ZV_ACCESS_CMD_DESTROY, acl_type, direction, &group, &acl_id);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to remove ACL in SDK (error: %d) , acl id: [%u]\n",
                             static_cast<int>(sdk_status), info.acl_id);
    LOG_LINE(core_log, info,
             "Destroy ACL in SDK , type: [%u] , direction: [%u] , region : [%u] , acl id: [%u].\n",
             acl_type, direction, info.region_id, info.acl_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t destroy_region(const acl_id_info &info) {
    uint32_t region_id = info.region_id;
    const zv_status_t sdk_status =
        zv_api_acl_region_set(zv_sdk_handle, ZV_ACCESS_CMD_DESTROY, info.key_type, info.action_type,
                              info.region_size, &region_id);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "Failed to delete region in SDK , error: %d",
                             static_cast<int>(sdk_status));
    LOG_LINE(core_log, info,
             "Deleted region in SDK , key type: %u , action type: %u , region size: %u , region "
             "id: %u.\n",
             info.key_type, info.action_type, info.region_size, info.region_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t create_edited_acl(acl_id_info *info) {
    const zv_acl_region_group_t group = single_region(info->region_id);
    uint32_t acl_id = info->acl_id;
    const zv_status_t sdk_status = zv_api_acl_set(zv_sdk_handle, ZV_ACCESS_CMD_CREATE,
                                                  info->acl_type, info->direction, &group, &acl_id);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to create ACL in SDK (error: %u) , type: [%u] , direction: "
                             "[%u] , regions : [%u]\n",
                             sdk_status, info->acl_type, info->direction, info->region_id);
    LOG_LINE(core_log, info,
             "Created ACL in SDK , type: [%u] , direction: [%u] , region_id : [%u] , acl id: "
             "[%u].\n",
             info->acl_type, info->direction, info->region_id, acl_id);
    info->acl_id = acl_id;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

// Rules, groups and bindings that name the old id are not told: kept.
zv_acl_rm_status_t recreate_acl(uint32_t direction, acl_id_info *info) {
    zv_acl_rm_status_t status = destroy_acl_in_switch(info->acl_type, info->direction, *info);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    info->direction = direction;
    status = create_edited_acl(info);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    status = ht_acl_id_2_acl_info_insert(info->acl_id, info);
    return status == ZV_ACL_RM_STATUS_SUCCESS ? status : core_log.pass_up(status);
}

// What the command does, as the log says it; null for a command that is none.
const char *acl_action(uint32_t cmd) {
    switch (cmd) {
        case ZV_ACL_RM_ACCESS_CMD_CREATE:
            return "create";
        case ZV_ACL_RM_ACCESS_CMD_DESTROY:
            return "delete";
        case ZV_ACL_RM_ACCESS_CMD_EDIT:
            return "edit";
        default:
            return nullptr;
    }
}

}  // namespace

zv_acl_rm_status_t __create_acl(acl_rm_acl *acl, uint32_t owner) {
    if (acl->max_size != acl->min_size)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "Wrong acl size min=[%u] != max=[%u], it should be equal!",
                             acl->min_size, acl->max_size);
    if (acl_limit_reached())
        return core_log.fail_or_notify(ZV_ACL_RM_STATUS_NO_RESOURCES,
                                       "Not enough resources to create region");
    zv_acl_rm_status_t status = create_region(acl);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    status = create_acl_over_region(acl, owner);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    g_acl_table_cnt++;
    return cache_new_acl(*acl, owner);
}

zv_acl_rm_status_t __destroy_acl(uint64_t client_handle, const acl_rm_acl *acl) {
    acl_id_info *info = nullptr;
    zv_acl_rm_status_t status = find_acl_of_client(client_handle, acl->acl_id, &info);
    if (info == nullptr)
        return status;
    status = delete_all_rules(acl->acl_id, info);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    release_valid_offsets(info);
    status = unbind_everywhere(acl->acl_id, info);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    // Type and direction are the client's, not the cached ones: kept.
    status = destroy_acl_in_switch(acl->acl_type, acl->direction, *info);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = destroy_region(*info);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    g_acl_table_cnt--;
    status = ht_acl_id_2_acl_info_remove(acl->acl_id);
    return status == ZV_ACL_RM_STATUS_SUCCESS ? status : core_log.pass_up(status);
}

zv_acl_rm_status_t __edit_acl(uint64_t client_handle, acl_rm_acl *acl) {
    acl_id_info *cached = nullptr;
    zv_acl_rm_status_t status = find_acl_of_client(client_handle, acl->acl_id, &cached);
    if (cached == nullptr)
        return status;
    acl_id_info info = *cached;
    status = ht_acl_id_2_acl_info_remove(acl->acl_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    status = recreate_acl(acl->direction, &info);
    if (status != ZV_ACL_RM_STATUS_SUCCESS) {
        // The entry stays removed, and nothing else knows of its flags.
        release_valid_offsets(&info);
        return status;
    }
    acl->acl_id = info.acl_id;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_acl_set(uint64_t client_handle, uint32_t cmd, acl_rm_acl *acl) {
    LOG_LINE(core_log, info, "%s: ******** CREATE / DESTROY ACL ********\n", __func__);
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    const char *action = acl_action(cmd);
    if (action == nullptr)
        return core_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
                             "Command unsupported, cmd type is:%u", cmd);
    uint32_t owner = 0;
    zv_acl_rm_status_t status = __set_owner_acl(client_handle, &owner);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    if (cmd == ZV_ACL_RM_ACCESS_CMD_CREATE)
        status = __create_acl(acl, owner);
    else if (cmd == ZV_ACL_RM_ACCESS_CMD_DESTROY)
        status = __destroy_acl(client_handle, acl);
    else
        status = __edit_acl(client_handle, acl);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    LOG_LINE(core_log, info, "%s ACL successfully.\n", action);
    return ZV_ACL_RM_STATUS_SUCCESS;
}
