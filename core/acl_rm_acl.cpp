#include "core/acl_rm_acl.h"

#include <cstring>

#include "complib/cl_memory.h"
#include "core/acl_rm.h"
#include "core/acl_rm_cache.h"
#include "core/acl_rm_owner.h"
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
    cl_free(info.valid_offsets);
    return core_log.pass_up(status);
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

zv_acl_rm_status_t acl_rm_acl_set(uint64_t client_handle, uint32_t cmd, acl_rm_acl *acl) {
    LOG_LINE(core_log, info, "%s: ******** CREATE / DESTROY ACL ********\n", __func__);
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    if (cmd != ZV_ACL_RM_ACCESS_CMD_CREATE)
        return core_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
                             "Command unsupported, cmd type is:%u", cmd);
    uint32_t owner = 0;
    zv_acl_rm_status_t status = __set_owner_acl(client_handle, &owner);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    status = __create_acl(acl, owner);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    LOG_LINE(core_log, info, "create ACL successfully.\n");
    return ZV_ACL_RM_STATUS_SUCCESS;
}
