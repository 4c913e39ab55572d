#include "core/acl_rm_forwarding.h"

#include "core/acl_rm_cache.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"

namespace {

void forward_through(uint32_t pbs_id, uint32_t log_port, uint32_t entry_type,
                     acl_rm_rule_work *work) {
    work->forwarding_action = FORWARDING_ACTION_PBS;
    work->pbs_id = pbs_id;
    work->forward_log_port = log_port;
    work->pbs_entry_type = entry_type;
}

zv_acl_rm_status_t create_port_pbs(uint32_t log_port, uint32_t *pbs_id) {
    const zv_acl_pbs_entry_t entry = {PBS_ENTRY_TYPE_PORT, 1, &log_port};
    const zv_status_t sdk_status = zv_api_acl_policy_based_switching_set(
        zv_sdk_handle, ZV_ACCESS_CMD_ADD, PBS_SWITCH_ID, &entry, pbs_id);
    if (sdk_status == SDK_NO_RESOURCES)
        return core_log.fail(ZV_ACL_RM_STATUS_NO_HW_RESOURCES,
                             "Can't initiate forwarding action for the rule, not enough resources");
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Can't initiate forwarding action for the rule");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t forward_to_port(uint32_t log_port, acl_rm_rule_work *work) {
    forward_pbs_info *info = nullptr;
    uint32_t pbs_id = 0;
    zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
    switch (look_up(logical_forward_port_2_forward_pbs_info_ht, &log_port, &info)) {
        case Lookup::failed:
            return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
        case Lookup::absent:
            status = create_port_pbs(log_port, &pbs_id);
            break;
        case Lookup::found:
            pbs_id = info->forward_pbs_index;
            break;
    }
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    forward_through(pbs_id, log_port, PBS_ENTRY_TYPE_PORT, work);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t forward_to_mc_group(uint32_t mc_group_id, acl_rm_rule_work *work) {
    mcg_id_info *info = nullptr;
    switch (look_up(mcg_id_2_mcg_id_info_table_ht, &mc_group_id, &info)) {
        case Lookup::failed:
            return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
        case Lookup::absent:
            return core_log.fail(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, "Failed to find MCG id %u",
                                 mc_group_id);
        case Lookup::found:
            break;
    }
    forward_through(info->group_id, 0, PBS_ENTRY_TYPE_MC_GROUP, work);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t set_forwarding_port_to_rule(acl_rm_rule_work *work, const acl_rm_rule *rule) {
    switch (rule->forwarding.type) {
        case FORWARDING_TYPE_MC_GROUP:
            return forward_to_mc_group(rule->forwarding.mc_group_id, work);
        case FORWARDING_TYPE_LOG_PORT:
            return forward_to_port(rule->forwarding.log_port, work);
        default:
            return ZV_ACL_RM_STATUS_SUCCESS;
    }
}

zv_acl_rm_status_t count_forwarding_user(const acl_rm_rule_work &work) {
    const uint32_t log_port = work.forward_log_port;
    if (log_port == 0)
        return ZV_ACL_RM_STATUS_SUCCESS;
    forward_pbs_info *info = nullptr;
    switch (look_up(logical_forward_port_2_forward_pbs_info_ht, &log_port, &info)) {
        case Lookup::failed:
            return core_log.fail(
                ZV_ACL_RM_STATUS_ERROR,
                "ht_lookup_zvlib on hash table: logical_forward_port_2_forward_pbs_info_ht");
        case Lookup::found:
            info->times_consumed++;
            return ZV_ACL_RM_STATUS_SUCCESS;
        case Lookup::absent:
            break;
    }
    const forward_pbs_info new_info = {PBS_ENTRY_TYPE_PORT, work.pbs_id, log_port, 1};
    const zv_acl_rm_status_t status =
        ht_safe_insert(logical_forward_port_2_forward_pbs_info_ht, &log_port, &new_info);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t release_forwarding_user(uint32_t log_port) {
    forward_pbs_info *info = nullptr;
    switch (look_up(logical_forward_port_2_forward_pbs_info_ht, &log_port, &info)) {
        case Lookup::failed:
            return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
        case Lookup::absent:
            return core_log.fail(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
                                 "forwarding port (pbs):=%u not found", log_port);
        case Lookup::found:
            break;
    }
    info->times_consumed--;
    if (info->times_consumed != 0)
        return ZV_ACL_RM_STATUS_SUCCESS;
    uint32_t stored_log_port = info->forwading_log_port_num;
    uint32_t pbs_id = info->forward_pbs_index;
    const zv_acl_pbs_entry_t entry = {PBS_ENTRY_TYPE_PORT, 1, &stored_log_port};
    const zv_status_t sdk_status = zv_api_acl_policy_based_switching_set(
        zv_sdk_handle, ZV_ACCESS_CMD_DELETE, PBS_SWITCH_ID, &entry, &pbs_id);
    // Kept: the text speaks of the rule, not of the forwarding entry.
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to remove rule from a region in SDK , error: %d\n",
                             static_cast<int>(sdk_status));
    if (ht_delete_zvlib(logical_forward_port_2_forward_pbs_info_ht, &log_port) != 0)
        return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
    return ZV_ACL_RM_STATUS_SUCCESS;
}
