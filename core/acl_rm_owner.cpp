#include "core/acl_rm_owner.h"

#include "core/acl_rm_cache.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"

uint64_t acl_rm_clients_handles[ZV_ACL_RM_OWNER_NUM];
uint32_t acl_rm_clients_priority[ZV_ACL_RM_OWNER_NUM] = {4, 4, 4, 4};

namespace {

constexpr const char *owner_names[ZV_ACL_RM_OWNER_NUM] = {"open-flow", "tarn-os", "PRA", "OF13"};

void set_priority(uint32_t owner) {
    switch (owner) {
        case ZV_ACL_RM_OWNER_PRA:
            acl_rm_clients_priority[ZV_ACL_RM_OWNER_PRA] = 0;
            break;
        case ZV_ACL_RM_OWNER_OPEN_FLOW:
            acl_rm_clients_priority[ZV_ACL_RM_OWNER_OPEN_FLOW] = 1;
            break;
        case ZV_ACL_RM_OWNER_OF13:
            acl_rm_clients_priority[ZV_ACL_RM_OWNER_OF13] = 3;
            break;
        default:  // kept: whatever else was sent, it is tarn-os that gets its priority
            acl_rm_clients_priority[ZV_ACL_RM_OWNER_TARN_OS] = 2;
            break;
    }
}

// The lowest of the first owners_num owners that holds the handle, or owners_num.
uint32_t find_owner(uint64_t client_handle, uint32_t owners_num) {
    uint32_t owner = 0;
    while (owner < owners_num && acl_rm_clients_handles[owner] != client_handle)
        owner++;
    return owner;
}

// Who acts, as far as the first owners_num owners are concerned.
zv_acl_rm_status_t resolve_owner(uint64_t client_handle, uint32_t owners_num, uint32_t *owner) {
    *owner = find_owner(client_handle, owners_num);
    if (*owner == owners_num)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "Wrong owner of the handle[%lu] toward ACL_RM, trying to control "
                             "another owner resource",
                             client_handle);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

// The cached object acted on; null where there is none.
template <class Info>
zv_acl_rm_status_t find_owned(ht_zvlib_t *table, uint32_t id, Info **info) {
    switch (look_up(table, &id, info)) {
        case Lookup::failed:
            return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
        case Lookup::absent:
            return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        case Lookup::found:
            break;
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t compare_owners(uint32_t requester, uint32_t owner) {
    if (requester != owner)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Wrong owner[%u] trying to control another owner[%u] resource",
                             requester, owner);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t acl_rm_open_new_client(uint64_t client_handle, uint32_t owner) {
    const bool has_slot = owner < ZV_ACL_RM_OWNER_NUM;
    if (has_slot)
        acl_rm_clients_handles[owner] = client_handle;
    set_priority(owner);
    const zv_acl_rm_status_t status = acl_rm_init(client_handle, owner);
    if (status == ZV_ACL_RM_STATUS_SUCCESS && !has_slot)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "owner [%u] is unknown, handle[%lu] is not stored", owner,
                             client_handle);
    return status;
}

zv_acl_rm_status_t __set_owner_acl(uint64_t client_handle, uint32_t *owner) {
    const uint32_t holder = find_owner(client_handle, ZV_ACL_RM_OWNER_NUM);
    if (holder == ZV_ACL_RM_OWNER_NUM)
        return core_log.fail(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
                             "Can't find handle[%lu] in acl_rm_clients_handles", client_handle);
    *owner = holder;
    LOG_LINE(core_log, info, "set %s as owner of acl.\n", owner_names[holder]);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t __validate_owner_acl(uint64_t client_handle, uint32_t acl_id) {
    uint32_t owner = 0;
    zv_acl_rm_status_t status = resolve_owner(client_handle, ZV_ACL_RM_OWNER_NUM, &owner);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    acl_id_info *info = nullptr;
    status = find_owned(acl_id_2_acl_id_info_table_ht, acl_id, &info);
    if (info == nullptr)
        return status;
    return compare_owners(owner, static_cast<uint32_t>(info->acl_owner));
}

zv_acl_rm_status_t __validate_owner_mcg(uint64_t client_handle, uint32_t mc_group_id) {
    // Kept: OF13, the last owner, may create groups but never touch them again.
    uint32_t owner = 0;
    zv_acl_rm_status_t status = resolve_owner(client_handle, ZV_ACL_RM_OWNER_OF13, &owner);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    mcg_id_info *info = nullptr;
    status = find_owned(mcg_id_2_mcg_id_info_table_ht, mc_group_id, &info);
    if (info == nullptr)
        return status;
    return compare_owners(owner, info->owner);
}

zv_acl_rm_status_t find_own_acl(const char *operation, uint64_t client_handle, uint32_t acl_id,
                                acl_id_info **info) {
    const zv_acl_rm_status_t status = __validate_owner_acl(client_handle, acl_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    const int result = 1;  // what a look-up that fails returns
    switch (look_up(acl_id_2_acl_id_info_table_ht, &acl_id, info)) {
        case Lookup::failed:
            return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                                 "error %d returned looking up ACL %u in hash table", result,
                                 acl_id);
        case Lookup::absent:
            return core_log.fail(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
                                 "%s: acl %u not found in hast table", operation, acl_id);
        case Lookup::found:
            break;
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}
