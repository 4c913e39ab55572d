#include <algorithm>

#include "complib/cl_memory.h"
#include "core/acl_rm.h"
#include "core/acl_rm_cache.h"
#include "core/acl_rm_owner.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"

// Resizing an ACL's region within the bounds of its creation.

namespace {

bool is_within_limits(const acl_id_info &info, uint32_t new_size) {
    return new_size >= info.min_size && (info.max_size == 0 || new_size <= info.max_size);
}

// No rule may lie in the part that is cut off. The counter is 16 bits wide, kept so: where there
// are more offsets than it counts it goes on from 0, and a rule that would stay is in the way too.
// One round is enough, since the next would find the same.
zv_acl_rm_status_t check_cut_off(const acl_id_info &info, uint32_t new_size) {
    const uint32_t flags_num = usable_offsets(info);
    auto offset = static_cast<uint16_t>(new_size);
    for (uint32_t seen = 0; seen <= UINT16_MAX && offset < info.valid_offsets_len; seen++) {
        if (offset < flags_num && info.valid_offsets[offset] != 0)
            return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                                 "Can't reduce ACL table size, offset [%u] is valid in ACL [%u]",
                                 offset, info.acl_id);
        offset++;
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t resize_region(const acl_id_info &info, uint32_t new_size) {
    uint32_t region_id = info.region_id;
    const zv_status_t sdk_status = zv_api_acl_region_set(
        zv_sdk_handle, ZV_ACCESS_CMD_EDIT, info.key_type, info.action_type, new_size, &region_id);
    if (sdk_status == SDK_NO_RESOURCES)
        return core_log.fail(ZV_ACL_RM_STATUS_NO_HW_RESOURCES,
                             "Can't resize ACL table not enough resources");
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "Failed to resize region in SDK , error: %d",
                             static_cast<int>(sdk_status));
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t replace_valid_offsets(acl_id_info *info, uint32_t new_size) {
    // Kept 16 bits wide: it wraps for 16384 rules and more, and offsets past what was allocated
    // then have no flag.
    const auto bytes = static_cast<uint16_t>(new_size * sizeof(uint32_t));
    auto *flags = static_cast<uint32_t *>(cl_malloc(bytes));
    if (flags == nullptr && bytes != 0)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    const uint32_t allocated = bytes / sizeof(uint32_t);
    const uint32_t kept_num = std::min(usable_offsets(*info), allocated);
    std::fill_n(flags, allocated, 0);
    std::copy_n(info->valid_offsets, kept_num, flags);
    release_valid_offsets(info);
    info->valid_offsets = flags;
    info->valid_offsets_len = new_size;
    info->valid_offsets_allocated = allocated;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t resize(acl_id_info *info, uint32_t new_size) {
    if (!is_within_limits(*info, new_size))
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "acl size[%u] exceeds min[%u] / max[%u] limit", new_size,
                             info->min_size, info->max_size);
    if (new_size == info->region_size) {
        LOG_LINE(core_log, info, "requested acl size is equal to region size[%u] - do nothing",
                 new_size);
        return ZV_ACL_RM_STATUS_SUCCESS;
    }
    zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
    if (new_size < info->region_size)
        status = check_cut_off(*info, new_size);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = resize_region(*info, new_size);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    info->region_size = new_size;
    return replace_valid_offsets(info, new_size);
}

}  // namespace

zv_acl_rm_status_t acl_rm_acl_resize(uint64_t client_handle, uint32_t acl_id,
                                     const uint32_t *new_size) {
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    acl_id_info *info = nullptr;
    const zv_acl_rm_status_t status = find_own_acl(__func__, client_handle, acl_id, &info);
    if (info == nullptr)
        return status;
    return resize(info, *new_size);
}
