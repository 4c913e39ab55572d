#include "core/acl_rm_rule_db.h"

#include "core/acl_rm_cache.h"
#include "core/acl_rm_rule_delete.h"
#include "core/acl_rm_rule_set.h"
#include "daemon/logging.h"

namespace {

// Takes a rule out of cache, counters and forwarding; the switch has moved it away already.
zv_acl_rm_status_t clear_destination(uint32_t acl_id, uint32_t offset) {
    acl_rm_rule rule = {};
    rule.offset = offset;
    const zv_acl_rm_status_t status = acl_rm_delete_rules(acl_id, &rule, 1, 1);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(
            status,
            "Failed to delete rule at offset [%u] from ACL RM DB for ACL ID [%u], error: %d\n",
            offset, acl_id, static_cast<int>(status));
    return ZV_ACL_RM_STATUS_SUCCESS;
}

// Reads a rule that may be absent.
zv_acl_rm_status_t find_rule(uint32_t acl_id, uint32_t offset, acl_rule_entry *entry,
                             bool *is_there) {
    const zv_acl_rm_status_t status = __acl_db_rule_get(acl_id, offset, entry);
    *is_there = status == ZV_ACL_RM_STATUS_SUCCESS;
    if (*is_there || status == ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND)
        return ZV_ACL_RM_STATUS_SUCCESS;
    return core_log.fail(
        status,
        "Failed to retrieve rule at offset [%u] from ACL RM DB for ACL ID [%u], error: %d\n",
        offset, acl_id, static_cast<int>(status));
}

zv_acl_rm_status_t relocate_rule(uint32_t acl_id, uint32_t region_id, uint32_t source,
                                 uint32_t destination, const acl_rule_entry &entry) {
    // Kept: the entry goes over unchanged, so its offset field still names the source.
    zv_acl_rm_status_t status = __acl_db_rule_add(acl_id, region_id, destination, &entry);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(
            status,
            "Failed to insert rule at offset [%u] in ACL RM DB for ACL ID [%u], error: %d\n",
            destination, acl_id, static_cast<int>(status));
    status = __acl_db_rule_delete(acl_id, region_id, source);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(
            status,
            "Failed to delete rule at offset [%u] from ACL RM DB for ACL ID [%u], error: %d\n",
            source, acl_id, static_cast<int>(status));
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t __acl_db_rule_get(uint32_t acl_id, uint32_t offset, acl_rule_entry *entry) {
    if (entry == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    rule_key key;
    const zv_acl_rm_status_t status = build_key_format(key, acl_id, offset);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    acl_rule_entry *cached = nullptr;
    switch (look_up(acl_rule_id_2_region_id_ht, key, &cached)) {
        case Lookup::failed:
            return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
        case Lookup::absent:
            return ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND;
        case Lookup::found:
            break;
    }
    *entry = *cached;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t __acl_db_rule_add(uint32_t acl_id, uint32_t region_id, uint32_t offset,
                                     const acl_rule_entry *entry) {
    if (entry == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    rule_key key;
    zv_acl_rm_status_t status = build_key_format(key, acl_id, offset);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = ht_safe_insert(acl_rule_id_2_region_id_ht, key, entry);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = update_acl_info_with_new_rule(acl_id, region_id, offset);
    return status == ZV_ACL_RM_STATUS_SUCCESS ? status : core_log.pass_up(status);
}

zv_acl_rm_status_t __acl_db_rule_delete(uint32_t acl_id, uint32_t region_id, uint32_t offset) {
    rule_key key;
    zv_acl_rm_status_t status = build_key_format(key, acl_id, offset);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = ht_safe_remove(acl_rule_id_2_region_id_ht, key);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = update_acl_info_with_delete_rules(acl_id, region_id, offset);
    return status == ZV_ACL_RM_STATUS_SUCCESS ? status : core_log.pass_up(status);
}

zv_acl_rm_status_t __acl_db_acl_info_get(uint32_t acl_id, acl_id_info *info) {
    if (info == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    acl_id_info *cached = nullptr;
    switch (look_up(acl_id_2_acl_id_info_table_ht, &acl_id, &cached)) {
        case Lookup::failed:
            return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
        case Lookup::absent:
            return core_log.fail(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
                                 "acl id [%u] was not found in ACL RM DB", acl_id);
        case Lookup::found:
            break;
    }
    *info = *cached;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t __acl_db_region_get(uint32_t acl_id, uint32_t *region_id) {
    acl_id_info info = {};
    const zv_acl_rm_status_t status = __acl_db_acl_info_get(acl_id, &info);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(
            status, "Failed to retrieve acl info for ACL ID [%u] from ACL RM DB, error: %d\n",
            acl_id, static_cast<int>(status));
    *region_id = info.region_id;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t __acl_db_modify_entry_offset(uint32_t acl_id, uint32_t region_id,
                                                uint32_t source, uint32_t destination) {
    acl_rule_entry source_entry;
    acl_rule_entry destination_entry;
    bool has_source = false;
    bool has_destination = false;
    zv_acl_rm_status_t status = find_rule(acl_id, source, &source_entry, &has_source);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        status = find_rule(acl_id, destination, &destination_entry, &has_destination);
    if (status == ZV_ACL_RM_STATUS_SUCCESS && has_destination)
        status = clear_destination(acl_id, destination);
    if (status == ZV_ACL_RM_STATUS_SUCCESS && has_source)
        status = relocate_rule(acl_id, region_id, source, destination, source_entry);
    return status;
}

zv_acl_rm_status_t __acl_db_modify_offset(uint32_t acl_id, uint32_t region_id, uint32_t from,
                                          uint32_t count, uint32_t to) {
    if (from == to)
        return ZV_ACL_RM_STATUS_SUCCESS;
    // Away from the destination first, so that no rule is overwritten before it has moved.
    const bool is_downward = from < to;
    for (uint32_t i = 0; i < count; i++) {
        const uint32_t step = is_downward ? count - 1 - i : i;
        const zv_acl_rm_status_t status =
            __acl_db_modify_entry_offset(acl_id, region_id, from + step, to + step);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return core_log.fail(status, "Failed to modify the offset for entry at offset [%u]\n",
                                 from + step);
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}
