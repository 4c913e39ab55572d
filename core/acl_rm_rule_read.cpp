#include "core/acl_rm_rule_read.h"

#include <cstring>

#include "core/acl_rm.h"
#include "core/acl_rm_owner.h"
#include "core/acl_rm_rule_db.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "zv_rm_resource.h"

namespace {

constexpr uint32_t ACTIVITY_NONE = 0;
constexpr uint32_t ACTIVITY_READ = 1;
constexpr uint32_t ACTIVITY_READ_CLEAR = 2;  // and any other number

zv_acl_rm_status_t find_region(uint32_t acl_id, uint32_t *region_id) {
    const zv_acl_rm_status_t status = __acl_db_region_get(acl_id, region_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail_or_notify(status, "Failed to retrieve region ID from ACL RM DB\n");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t read_switch_rule(uint32_t region_id, uint32_t offset, zv_acl_rule_t *sdk_rule) {
    const zv_status_t sdk_status =
        zv_api_acl_rules_get(zv_sdk_handle, region_id, offset, sdk_rule, 1);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to retrieve rules from region [%u] in SDK , error: %d\n",
                             region_id, static_cast<int>(sdk_status));
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t read_activity(uint32_t region_id, uint32_t offset, acl_rm_rule_readout *out) {
    if (out->activity_request == ACTIVITY_NONE)
        return ZV_ACL_RM_STATUS_SUCCESS;
    const uint32_t cmd =
        out->activity_request == ACTIVITY_READ ? ZV_ACCESS_CMD_READ : ZV_ACCESS_CMD_READ_CLEAR;
    uint8_t activity = 0;
    const zv_status_t sdk_status =
        zv_api_acl_rule_activity_get(zv_sdk_handle, cmd, region_id, offset, &activity);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(
            ZV_ACL_RM_STATUS_ERROR,
            "Failed to retrieve rules activity from region [%u] in SDK , error: %d\n", region_id,
            static_cast<int>(sdk_status));
    out->activity = activity;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

void copy_key(const zv_acl_key_t &from, acl_rm_key *to) {
    to->key_type = from.key_type;
    std::memcpy(to->data, from.data, sizeof(to->data));
}

void fill_from_switch(const zv_acl_rule_t &sdk_rule, acl_rm_rule *rule) {
    rule->offset = sdk_rule.offset;
    rule->valid = sdk_rule.valid;
    copy_key(sdk_rule.key, &rule->key);
    copy_key(sdk_rule.mask, &rule->mask);
    std::memcpy(rule->action, &sdk_rule.action, sizeof(rule->action));
}

// What does not forward leaves the forwarding words as the client sent them.
void fill_from_cache(const acl_rule_entry &entry, acl_rm_rule_readout *out) {
    out->counter_id = entry.counter_id;
    if (entry.is_forwarding != 1)
        return;
    out->log_port = entry.forward_log_port;
    out->forwarding_type = FORWARDING_TYPE_LOG_PORT;
    if (entry.forward_log_port != 0)
        return;
    out->forwarding_type = FORWARDING_TYPE_MC_GROUP;
    out->mc_pbs_id = entry.forward_pbs_id;
}

zv_acl_rm_status_t read_rule(uint32_t acl_id, uint32_t region_id, acl_rm_rule *rule) {
    const uint32_t offset = rule->offset;
    zv_acl_rule_t sdk_rule = {};
    zv_acl_rm_status_t status = read_switch_rule(region_id, offset, &sdk_rule);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = read_activity(region_id, offset, &rule->readout);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    fill_from_switch(sdk_rule, rule);
    acl_rule_entry entry;
    status = __acl_db_rule_get(acl_id, offset, &entry);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail_or_notify(
            status,
            "Failed to retrieve rule at offset [%u] from ACL RM DB for ACL ID [%u], error: %d\n",
            offset, acl_id, static_cast<int>(status));
    fill_from_cache(entry, &rule->readout);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t __acl_rule_get(uint32_t acl_id, acl_rm_rule *rules, uint16_t rules_num) {
    uint32_t region_id = 0;
    zv_acl_rm_status_t status = find_region(acl_id, &region_id);
    for (uint32_t i = 0; i < rules_num && status == ZV_ACL_RM_STATUS_SUCCESS; i++)
        status = read_rule(acl_id, region_id, &rules[i]);
    return status;
}

zv_acl_rm_status_t acl_rm_acl_rule_get(uint64_t client_handle, uint32_t acl_id, acl_rm_rule *rules,
                                       uint32_t rules_num) {
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    if (rules_num > rm_resource_global.max_rules_per_action ||
        rules_num > ZV_ACL_RM_RULES_PER_RECORD)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "To many rules [%u] to configure in one action\n", rules_num);
    // Kept: only the first record is asked whether the read changes anything.
    zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
    if (rules_num != 0 && rules[0].readout.activity_request == ACTIVITY_READ_CLEAR)
        status = __validate_owner_acl(client_handle, acl_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    status = __acl_rule_get(acl_id, rules, static_cast<uint16_t>(rules_num));
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail_or_notify(status, "Failed to retrieve rules for acl_id [%u] \n",
                                       acl_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t __acl_rule_move_block(uint32_t acl_id, uint32_t block_start, uint32_t block_size,
                                         uint32_t new_start) {
    uint32_t region_id = 0;
    zv_acl_rm_status_t status = find_region(acl_id, &region_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    const zv_status_t sdk_status = zv_api_acl_rule_block_move_set(
        zv_sdk_handle, region_id, block_start, block_size, new_start);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to move block of rules in region [%u] in SDK , error: %d\n",
                             region_id, static_cast<int>(sdk_status));
    status = __acl_db_modify_offset(acl_id, region_id, block_start, block_size, new_start);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail_or_notify(status, "Failed to update rules new offsets in DB\n");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_acl_rule_move_block(uint64_t client_handle, uint32_t acl_id,
                                              uint32_t block_start, uint32_t block_size,
                                              uint32_t new_start) {
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    zv_acl_rm_status_t status = __validate_owner_acl(client_handle, acl_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    status = __acl_rule_move_block(acl_id, block_start, block_size, new_start);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail_or_notify(status, "Failed in move block operation");
    return ZV_ACL_RM_STATUS_SUCCESS;
}
