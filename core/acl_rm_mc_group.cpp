#include "core/acl_rm_mc_group.h"

#include <algorithm>

#include "core/acl_rm.h"
#include "core/acl_rm_cache.h"
#include "core/acl_rm_owner.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"

namespace {

zv_acl_pbs_entry_t mc_entry(uint32_t *log_ports, uint32_t ports_num) {
    return {PBS_ENTRY_TYPE_MC_GROUP, ports_num, log_ports};
}

zv_status_t set_in_switch(uint32_t sdk_cmd, uint32_t *mc_group_id, uint32_t *log_ports,
                          uint32_t ports_num) {
    const zv_acl_pbs_entry_t entry = mc_entry(log_ports, ports_num);
    return zv_api_acl_policy_based_switching_set(zv_sdk_handle, sdk_cmd, PBS_SWITCH_ID, &entry,
                                                 mc_group_id);
}

// The switch would read or write past the record.
zv_acl_rm_status_t check_ports_num(uint32_t ports_num) {
    if (ports_num > ZV_ACL_RM_PORTS_PER_RECORD)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "Wrong ports number [%u], the record holds [%u]", ports_num,
                             ZV_ACL_RM_PORTS_PER_RECORD);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t acl_rm_add_mc_group(uint64_t client_handle, uint32_t *mc_group_id,
                                       uint32_t *log_ports, uint32_t ports_num) {
    uint32_t owner = 0;
    zv_acl_rm_status_t status = __set_owner_acl(client_handle, &owner);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    status = check_ports_num(ports_num);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    const zv_status_t sdk_status =
        set_in_switch(ZV_ACCESS_CMD_ADD, mc_group_id, log_ports, ports_num);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail_or_notify(
            sdk_status == SDK_NO_RESOURCES ? ZV_ACL_RM_STATUS_NO_RESOURCES : ZV_ACL_RM_STATUS_ERROR,
            "failed to create MC PBS in SDK error: %u \n", sdk_status);
    const mcg_id_info info = {*mc_group_id, owner};
    status = ht_mcg_id_2_mcg_info_insert(*mc_group_id, &info);
    return status == ZV_ACL_RM_STATUS_SUCCESS ? status : core_log.pass_up(status);
}

zv_acl_rm_status_t acl_rm_add_ports_to_mc_group(uint32_t mc_group_id, uint32_t *log_ports,
                                                uint32_t ports_num) {
    const zv_acl_rm_status_t status = check_ports_num(ports_num);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    const zv_status_t sdk_status =
        set_in_switch(ZV_ACCESS_CMD_ADD_PORTS, &mc_group_id, log_ports, ports_num);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "failed to add ports to MC PBS in SDK error: %u \n", sdk_status);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_del_ports_from_mc_group(uint32_t mc_group_id, uint32_t *log_ports,
                                                  uint32_t ports_num) {
    const zv_acl_rm_status_t status = check_ports_num(ports_num);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    const zv_status_t sdk_status =
        set_in_switch(ZV_ACCESS_CMD_DELETE_PORTS, &mc_group_id, log_ports, ports_num);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "failed to delete ports to MC PBS in SDK error: %u \n", sdk_status);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_del_mc_group(uint32_t mc_group_id) {
    uint32_t pbs_id = mc_group_id;
    const zv_status_t sdk_status = set_in_switch(ZV_ACCESS_CMD_DELETE, &pbs_id, nullptr, 0);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "failed to delete MC PBS in SDK error: %u \n",
                             sdk_status);
    const zv_acl_rm_status_t status = ht_mcg_id_2_mcg_info_remove(mc_group_id);
    return status == ZV_ACL_RM_STATUS_SUCCESS ? status : core_log.pass_up(status);
}

zv_acl_rm_status_t acl_rm_get_mc_group(uint32_t mc_group_id, uint32_t *log_ports,
                                       uint32_t *ports_num) {
    mcg_id_info *info = nullptr;
    switch (look_up(mcg_id_2_mcg_id_info_table_ht, &mc_group_id, &info)) {
        case Lookup::failed:
            return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                                 "mcg_id_2_mcg_id_info_table_ht hash table not initialized");
        case Lookup::absent:
            return core_log.fail(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, "MC group %u not found",
                                 mc_group_id);
        case Lookup::found:
            break;
    }
    const zv_acl_rm_status_t status = check_ports_num(*ports_num);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    zv_acl_pbs_entry_t entry = mc_entry(log_ports, *ports_num);
    const zv_status_t sdk_status = zv_api_acl_policy_based_switching_get(
        zv_sdk_handle, ZV_ACCESS_CMD_GET, PBS_SWITCH_ID, mc_group_id, &entry);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "failed to get MC PBS in SDK error: %u \n",
                             sdk_status);
    *ports_num = std::min(*ports_num, entry.port_count);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_acl_mc_group_set(uint64_t client_handle, uint32_t cmd,
                                           uint32_t *mc_group_id, uint32_t *log_ports,
                                           const uint32_t *ports_num) {
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    if (ports_num == nullptr || log_ports == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
    switch (cmd) {
        case ZV_ACL_RM_ACCESS_CMD_ADD:
            status = acl_rm_add_mc_group(client_handle, mc_group_id, log_ports, *ports_num);
            break;
        case ZV_ACL_RM_ACCESS_CMD_ADD_PORTS:
            status = __validate_owner_mcg(client_handle, *mc_group_id);
            if (status == ZV_ACL_RM_STATUS_SUCCESS)
                status = acl_rm_add_ports_to_mc_group(*mc_group_id, log_ports, *ports_num);
            break;
        case ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS:
            status = __validate_owner_mcg(client_handle, *mc_group_id);
            if (status == ZV_ACL_RM_STATUS_SUCCESS)
                status = acl_rm_del_ports_from_mc_group(*mc_group_id, log_ports, *ports_num);
            break;
        case ZV_ACL_RM_ACCESS_CMD_DELETE:
            status = __validate_owner_mcg(client_handle, *mc_group_id);
            if (status == ZV_ACL_RM_STATUS_SUCCESS)
                status = acl_rm_del_mc_group(*mc_group_id);
            break;
        default:
            return core_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
                                 "Command unsupported, cmd type is:%u", cmd);
    }
    return status == ZV_ACL_RM_STATUS_SUCCESS ? status : core_log.pass_up(status);
}

zv_acl_rm_status_t acl_rm_acl_mc_group_get(uint64_t client_handle, uint32_t mc_group_id,
                                           uint32_t *log_ports, uint32_t *ports_num) {
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    if (ports_num == nullptr || log_ports == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    zv_acl_rm_status_t status = __validate_owner_mcg(client_handle, mc_group_id);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = acl_rm_get_mc_group(mc_group_id, log_ports, ports_num);
    return status == ZV_ACL_RM_STATUS_SUCCESS ? status : core_log.pass_up(status);
}
