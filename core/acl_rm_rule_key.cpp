#include "core/acl_rm_rule_key.h"

#include <cstddef>
#include <cstring>

#include "core/acl_rm_cache.h"
#include "core/acl_rm_forwarding.h"
#include "daemon/logging.h"

namespace {

void copy_key(const acl_rm_key &from, zv_acl_key_t *to) {
    to->key_type = from.key_type;
    std::memcpy(to->data, from.data, sizeof(to->data));
}

// Writes every byte, so that nothing has to be cleared before, and none of the daemon's memory goes
// to the switch in the gap behind `valid`.
void fill_sdk_rule(const acl_rm_rule &rule, zv_acl_rule_t *sdk_rule) {
    static_assert(sizeof(sdk_rule->action) == sizeof(rule.action));
    static_assert(offsetof(zv_acl_rule_t, key) == 8);
    std::memset(sdk_rule, 0, offsetof(zv_acl_rule_t, key));
    sdk_rule->offset = rule.offset;
    sdk_rule->valid = rule.valid;
    copy_key(rule.key, &sdk_rule->key);
    copy_key(rule.mask, &sdk_rule->mask);
    std::memcpy(&sdk_rule->action, rule.action, sizeof(rule.action));
}

// Overriding a rule is never allowed: the client deletes it first. Rules of one batch at the same
// offset all pass, since the cache learns of them only after the switch has them (kept).
zv_acl_rm_status_t choose_offset(uint32_t access_command, uint32_t acl_id, acl_rm_rule *rule) {
    uint32_t offset = 0;
    zv_acl_rm_status_t status = __convert_priority_to_offset(&offset, rule->priority);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail_or_notify(status,
                                       "Failed to convert rule priority to unique offset\n");
    status = checkRuleExists(acl_id, offset, 0);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail_or_notify(status, "override new rule is forbidden for command:[%u]",
                                       access_command);
    rule->offset = offset;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t checkRuleExists(uint32_t acl_id, uint32_t offset, uint32_t must_exist) {
    rule_key key;
    const zv_acl_rm_status_t status = build_key_format(key, acl_id, offset);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    acl_rule_entry *entry = nullptr;
    const Lookup lookup = look_up(acl_rule_id_2_region_id_ht, key, &entry);
    if (lookup == Lookup::failed)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "fail to lookup in HT");
    if (must_exist != 0 && lookup == Lookup::absent)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "key:[%s] was not found while trying to check for its existence", key);
    if (must_exist == 0 && lookup == Lookup::found)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "key:[%s] was found while trying to check if it not exists", key);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_set_rule_by_key_type(uint32_t access_command, uint32_t acl_id,
                                               acl_rm_rule *rule, acl_rm_rule_work *work,
                                               uint32_t index, uint32_t expected_key_type) {
    LOG_LINE(core_log, debug, "%s: ******** ADD ACL RULE ********", __func__);
    zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
    if (access_command == ZV_ACL_RM_ACCESS_CMD_WRITE)
        status = choose_offset(access_command, acl_id, rule);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;

    acl_rm_rule_work &record = work[index];
    fill_sdk_rule(*rule, &record.sdk_rule);
    acl_id_info *info = nullptr;
    switch (look_up(acl_id_2_acl_id_info_table_ht, &acl_id, &info)) {
        case Lookup::failed:
            return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
        case Lookup::absent:
            return core_log.fail(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, "acl id:%u not found", acl_id);
        case Lookup::found:
            break;
    }
    if (rule->key.key_type != expected_key_type)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "ACL key is not appropriate, should be [%d], but it is:[%d]",
                             static_cast<int>(expected_key_type),
                             static_cast<int>(rule->key.key_type));
    record.region_id = info->region_id;
    record.access_command = access_command;
    record.forwarding_action = 0;
    record.pbs_id = 0;
    record.forward_log_port = 0;
    record.pbs_entry_type = 0;
    status = set_forwarding_port_to_rule(&record, rule);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    record.counter_id = rule->forwarding.counter_id;
    LOG_LINE(core_log, debug, "%s: ********  ACL %d RULE ADDED********", __func__,
             static_cast<int>(rule->key.key_type));
    return ZV_ACL_RM_STATUS_SUCCESS;
}
