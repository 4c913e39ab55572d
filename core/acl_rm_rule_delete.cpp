#include "core/acl_rm_rule_delete.h"

#include <memory>
#include <new>

#include "core/acl_rm_cache.h"
#include "core/acl_rm_counter.h"
#include "core/acl_rm_forwarding.h"
#include "core/acl_rm_rule_set.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "zv_rm_resource.h"

namespace {

// What must be released for a rule once it is gone from the cache.
struct KeptForwarding {
    uint32_t pbs_entry_type;
    uint32_t log_port;
    uint32_t is_forwarding;
};

// The rules of a batch that lie in one region of the switch.
struct RegionGroup {
    uint32_t region_id;  // 0: free
    uint16_t rules_num;
    zv_acl_rule_t sdk_rules[ZV_ACL_RM_RULES_PER_RECORD];  // only the offsets are set
};

struct DeleteBatch {
    std::unique_ptr<KeptForwarding[]> kept;
    std::unique_ptr<RegionGroup[]> groups;
    uint32_t groups_num;  // slots
};

bool allocate(DeleteBatch *batch) {
    batch->groups_num = rm_resource_global.max_rules_per_action;
    batch->kept.reset(new (std::nothrow) KeptForwarding[batch->groups_num]);
    batch->groups.reset(new (std::nothrow) RegionGroup[batch->groups_num]);
    if (batch->kept == nullptr || batch->groups == nullptr)
        return false;
    for (uint32_t i = 0; i < batch->groups_num; i++) {
        batch->groups[i].region_id = 0;
        batch->groups[i].rules_num = 0;
    }
    return true;
}

// A batch has no more rules than there are slots, so a slot is always found.
void add_to_group(DeleteBatch *batch, uint32_t region_id, uint32_t offset) {
    RegionGroup *group = batch->groups.get();
    while (group->region_id != region_id && group->region_id != 0)
        group++;
    group->region_id = region_id;
    zv_acl_rule_t &rule = group->sdk_rules[group->rules_num++];
    rule = {};
    rule.offset = offset;
}

zv_acl_rm_status_t collect(uint32_t acl_id, const acl_rm_rule *rules, uint32_t rules_num,
                           DeleteBatch *batch) {
    for (uint32_t i = 0; i < rules_num; i++) {
        rule_key key;
        const zv_acl_rm_status_t status = build_key_format(key, acl_id, rules[i].offset);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return core_log.pass_up(status);
        acl_rule_entry *entry = nullptr;
        switch (look_up(acl_rule_id_2_region_id_ht, key, &entry)) {
            case Lookup::failed:
                return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
            case Lookup::absent:
                return core_log.fail(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, "key:[%s] not found", key);
            case Lookup::found:
                break;
        }
        batch->kept[i] = {entry->pbs_entry_type, entry->forward_log_port, entry->is_forwarding};
        add_to_group(batch, entry->region_id, rules[i].offset);
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t delete_in_switch(const RegionGroup &group) {
    const zv_status_t sdk_status = zv_api_acl_rules_set(
        zv_sdk_handle, ZV_ACCESS_CMD_DELETE, group.region_id, group.sdk_rules, group.rules_num);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to remove rule from a region in SDK , error: %d\n",
                             static_cast<int>(sdk_status));
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t forget_rule(uint32_t acl_id, uint32_t region_id, uint32_t offset) {
    rule_key key;
    zv_acl_rm_status_t status = __acl_rm_counter_rule_delete(acl_id, offset);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = build_key_format(key, acl_id, offset);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = ht_safe_remove(acl_rule_id_2_region_id_ht, key);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = update_acl_info_with_delete_rules(acl_id, region_id, offset);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    g_rules_cnt--;
    LOG_LINE(core_log, notice, "delete rule[%u] from region[%u].\n", offset, region_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t delete_group(uint32_t acl_id, const RegionGroup &group, bool skip_switch) {
    zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
    if (!skip_switch)
        status = delete_in_switch(group);
    for (uint32_t i = 0; i < group.rules_num && status == ZV_ACL_RM_STATUS_SUCCESS; i++)
        status = forget_rule(acl_id, group.region_id, group.sdk_rules[i].offset);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        LOG_LINE(core_log, notice, "delete [%u] #rules from region[%u].\n", group.rules_num,
                 group.region_id);
    return status;
}

zv_acl_rm_status_t delete_groups(uint32_t acl_id, const DeleteBatch &batch, bool skip_switch) {
    for (uint32_t i = 0; i < batch.groups_num && batch.groups[i].rules_num != 0; i++) {
        const zv_acl_rm_status_t status = delete_group(acl_id, batch.groups[i], skip_switch);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

// MC groups have PBS entries of their own, which their rules do not share.
bool uses_shared_pbs(const KeptForwarding &kept) {
    return kept.is_forwarding != 0 && kept.pbs_entry_type != PBS_ENTRY_TYPE_MC_GROUP;
}

zv_acl_rm_status_t release_forwarding(const DeleteBatch &batch, uint32_t rules_num) {
    for (uint32_t i = 0; i < rules_num; i++) {
        if (!uses_shared_pbs(batch.kept[i]))
            continue;
        const zv_acl_rm_status_t status = release_forwarding_user(batch.kept[i].log_port);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t update_acl_info_with_delete_rules(uint32_t acl_id, uint32_t region_id,
                                                     uint32_t offset) {
    uint32_t *flag = nullptr;
    const zv_acl_rm_status_t status = find_offset_flag(acl_id, region_id, offset, &flag);
    if (flag == nullptr)
        return status;
    if (*flag != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "rule in offset[%u] should be valid", offset);
    *flag = 0;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_delete_rules(uint32_t acl_id, const acl_rm_rule *rules,
                                       uint32_t rules_num, uint32_t skip_switch) {
    DeleteBatch batch;
    if (!allocate(&batch))
        return core_log.pass_up(ZV_ACL_RM_STATUS_NO_BUFFER_SPACE);
    LOG_LINE(core_log, debug, "%s: ******** DELETE ACL RULE ********", __func__);
    // The limit is the SDK's record, which others may fill; the groups have the room of a request.
    if (rules_num > rm_resource_global.max_rules_per_action ||
        rules_num > ZV_ACL_RM_RULES_PER_RECORD)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    zv_acl_rm_status_t status = collect(acl_id, rules, rules_num, &batch);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = delete_groups(acl_id, batch, skip_switch != 0);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = release_forwarding(batch, rules_num);
    return status;
}
