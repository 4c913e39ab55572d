#include "core/acl_rm_rule_set.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "core/acl_rm.h"
#include "core/acl_rm_cache.h"
#include "core/acl_rm_forwarding.h"
#include "core/acl_rm_owner.h"
#include "core/acl_rm_rule_delete.h"
#include "core/acl_rm_rule_key.h"
#include "core/db/acl_rm_db.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "zv_rm_resource.h"

namespace {

constexpr uint32_t KEY_TYPES_NUM = 4;
// One work array a key type, and a fifth that is never filled (kept: it is written last, empty).
constexpr uint32_t WORK_ARRAYS_NUM = KEY_TYPES_NUM + 1;

// The rules of a batch that share a key type, in a work array of their own.
struct KeyTypeGroup {
    acl_rm_rule_work *work;
    uint32_t rules_num;
};

// The five work arrays, each with room for a whole batch, in one block. Not cleared: a translation
// writes the whole of its record, and most records are never used.
std::unique_ptr<acl_rm_rule_work[]> allocate_work(KeyTypeGroup (&groups)[WORK_ARRAYS_NUM]) {
    const size_t rules_max = rm_resource_global.max_rules_per_action;
    std::unique_ptr<acl_rm_rule_work[]> block(new (std::nothrow)
                                                  acl_rm_rule_work[WORK_ARRAYS_NUM * rules_max]);
    for (uint32_t i = 0; i < WORK_ARRAYS_NUM && block != nullptr; i++)
        groups[i] = {block.get() + i * rules_max, 0};
    return block;
}

zv_acl_rm_status_t translate_rules(uint32_t access_command, uint32_t acl_id, acl_rm_rule *rules,
                                   uint32_t rules_num, KeyTypeGroup (&groups)[WORK_ARRAYS_NUM]) {
    for (uint32_t i = 0; i < rules_num; i++) {
        const uint32_t key_type = rules[i].key.key_type;
        if (key_type >= KEY_TYPES_NUM)
            return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                                 "unsupported rule key type:%u", key_type);
        KeyTypeGroup &group = groups[key_type];
        const zv_acl_rm_status_t status = acl_rm_set_rule_by_key_type(
            access_command, acl_id, &rules[i], group.work, group.rules_num++, key_type);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return core_log.pass_up(status);
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

// Every byte, in parts that the compiler turns into vector moves: of the record as one it makes a
// string instruction, which takes longer to start than to copy 328 bytes.
void copy_sdk_rule(const zv_acl_rule_t &from, zv_acl_rule_t *to) {
    std::memcpy(to, &from, offsetof(zv_acl_rule_t, key));
    to->key = from.key;
    to->mask = from.mask;
    to->action = from.action;
}

void fill_sdk_rule(const acl_rm_rule_work &work, zv_acl_rule_t *rule) {
    copy_sdk_rule(work.sdk_rule, rule);
    if (work.forwarding_action == FORWARDING_ACTION_PBS) {
        rule->action.pbs_id = work.pbs_id;
        rule->action.forward = 1;
    }
    if (work.counter_id != 0)
        rule->action.counter_id = work.counter_id;
}

zv_acl_rm_status_t write_to_switch(const acl_rm_rule_work *work, uint32_t rules_num) {
    const std::unique_ptr<zv_acl_rule_t[]> rules(new (std::nothrow) zv_acl_rule_t[rules_num]);
    if (rules == nullptr)
        return ZV_ACL_RM_STATUS_NO_RESOURCES;
    for (uint32_t i = 0; i < rules_num; i++)
        fill_sdk_rule(work[i], &rules[i]);
    const zv_status_t sdk_status = zv_api_acl_rules_set(zv_sdk_handle, ZV_ACCESS_CMD_SET,
                                                        work[0].region_id, rules.get(), rules_num);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to add rule to a region in SDK , error: %d\n",
                             static_cast<int>(sdk_status));
    LOG_LINE(core_log, info, "Finish to set all rules in sdk.\n");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t count_users(const acl_rm_rule_work *work, uint32_t rules_num) {
    for (uint32_t i = 0; i < rules_num; i++) {
        zv_acl_rm_status_t status = count_forwarding_user(work[i]);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
        const uint32_t counter_id = work[i].counter_id;
        if (counter_id == 0)
            continue;
        status = acl_rm_db_counter_ref_counter_update(counter_id, COUNTER_REF_INCREMENT);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return core_log.fail_or_notify(
                status, "Fail to update reference counter for counter ID (%u) in counter DB.",
                counter_id);
    }
    LOG_LINE(core_log, info, "Finish to bind all forwarding port to rules.\n");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

acl_rule_entry rule_entry_of(const acl_rm_rule_work &work, uint32_t region_id) {
    acl_rule_entry entry = {};
    entry.region_id = region_id;
    entry.offset = work.sdk_rule.offset;
    entry.counter_id = work.counter_id;
    if (work.forwarding_action == FORWARDING_ACTION_PBS) {
        entry.pbs_entry_type = work.pbs_entry_type;
        entry.forward_pbs_id = work.pbs_id;
        entry.forward_log_port = work.forward_log_port;
        entry.is_forwarding = 1;
    }
    return entry;
}

zv_acl_rm_status_t cache_rule(uint32_t acl_id, uint32_t region_id, const acl_rm_rule_work &work) {
    const uint32_t offset = work.sdk_rule.offset;
    const acl_rule_entry entry = rule_entry_of(work, region_id);
    rule_key key;
    zv_acl_rm_status_t status = build_key_format(key, acl_id, offset);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = ht_safe_insert(acl_rule_id_2_region_id_ht, key, &entry);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    g_rules_cnt++;
    status = update_acl_info_with_new_rule(acl_id, region_id, offset);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    LOG_LINE(core_log, info,
             "Insert rule[=%u] to acl_id[%u], within region[%u] pbs entry type[%u].\n", offset,
             acl_id, region_id, work.pbs_entry_type);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t cache_rules(uint32_t acl_id, const acl_rm_rule_work *work, uint32_t rules_num) {
    const uint32_t region_id = work[0].region_id;
    for (uint32_t i = 0; i < rules_num; i++) {
        const zv_acl_rm_status_t status = cache_rule(acl_id, region_id, work[i]);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
    }
    LOG_LINE(core_log, info, "Finish to update DB for rules and PBS.\n");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t find_offset_flag(uint32_t acl_id, uint32_t region_id, uint32_t offset,
                                    uint32_t **flag) {
    *flag = nullptr;
    acl_id_info *info = nullptr;
    const zv_acl_rm_status_t status = find_acl(acl_id, &info);
    if (info == nullptr)
        return status;
    if (info->region_id != region_id)
        return ZV_ACL_RM_STATUS_SUCCESS;
    if (offset >= usable_offsets(*info))
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "rule in offset[%u] is past the [%u] offsets of acl_id:%u", offset,
                             usable_offsets(*info), acl_id);
    *flag = &info->valid_offsets[offset];
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t update_acl_info_with_new_rule(uint32_t acl_id, uint32_t region_id,
                                                 uint32_t offset) {
    uint32_t *flag = nullptr;
    const zv_acl_rm_status_t status = find_offset_flag(acl_id, region_id, offset, &flag);
    if (flag == nullptr)
        return status;
    if (*flag != 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "rule in offset[%u] should not be valid",
                             offset);
    *flag = 1;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t __set_rules(uint32_t access_command, uint32_t acl_id,
                               const acl_rm_rule_work *work, uint32_t rules_num) {
    if (access_command != ZV_ACL_RM_ACCESS_CMD_WRITE)
        return core_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
                             "Command unsupported, cmd type is:%u", access_command);
    if (rules_num == 0)
        return ZV_ACL_RM_STATUS_SUCCESS;
    zv_acl_rm_status_t status = write_to_switch(work, rules_num);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = count_users(work, rules_num);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = cache_rules(acl_id, work, rules_num);
    return status;
}

zv_acl_rm_status_t acl_rm_set_new_rules(uint32_t access_command, uint32_t acl_id,
                                        acl_rm_rule *rules, uint32_t rules_num) {
    KeyTypeGroup groups[WORK_ARRAYS_NUM];
    const auto work = allocate_work(groups);
    if (work == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_NO_RESOURCES);
    // Equality with the count before the batch, kept: a batch that starts below the capacity is
    // accepted and runs into the table's own limit instead.
    if (g_rules_cnt == MAX_RULES_NUM)
        return core_log.fail_or_notify(ZV_ACL_RM_STATUS_NO_RESOURCES,
                                       "Not enough resources to create rules, #rules = [%u]",
                                       g_rules_cnt);
    zv_acl_rm_status_t status = translate_rules(access_command, acl_id, rules, rules_num, groups);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    for (const KeyTypeGroup &group : groups) {
        status = __set_rules(access_command, acl_id, group.work, group.rules_num);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return core_log.pass_up(status);
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_acl_rule_set(uint64_t client_handle, uint32_t cmd, uint32_t acl_id,
                                       acl_rm_rule *rules, const uint32_t *rules_num) {
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    if (cmd != ZV_ACL_RM_ACCESS_CMD_WRITE && cmd != ZV_ACL_RM_ACCESS_CMD_DELETE)
        return core_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
                             "Command unsupported, cmd type is:%u", cmd);
    // The limit is the SDK's record, which others may fill; the array is ours.
    if (*rules_num > rm_resource_global.max_rules_per_action ||
        *rules_num > ZV_ACL_RM_RULES_PER_RECORD)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "To many rules [%u] to configure in one action", *rules_num);
    zv_acl_rm_status_t status = __validate_owner_acl(client_handle, acl_id);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = cmd == ZV_ACL_RM_ACCESS_CMD_DELETE
                     ? acl_rm_delete_rules(acl_id, rules, *rules_num, 0)
                     : acl_rm_set_new_rules(cmd, acl_id, rules, *rules_num);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    return ZV_ACL_RM_STATUS_SUCCESS;
}
