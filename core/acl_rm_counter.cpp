#include "core/acl_rm_counter.h"

#include "core/acl_rm.h"
#include "core/acl_rm_cache.h"
#include "core/db/acl_rm_db.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"

namespace {

// The database keeps the pair of flags as one number, first flag low.
uint64_t packed_type(const acl_rm_counter_type &type) {
    return uint64_t{type.second} << 32 | type.first;
}

acl_rm_counter_type unpacked_type(uint64_t counter_type) {
    return {static_cast<uint32_t>(counter_type), static_cast<uint32_t>(counter_type >> 32)};
}

// Only the first flag is looked at once the pair has been accepted.
uint32_t sdk_type(uint64_t counter_type) {
    return unpacked_type(counter_type).first != 0 ? 0 : 1;
}

zv_acl_rm_status_t check_type(const acl_rm_counter_type &type) {
    const bool is_one_flag =
        (type.first == 1 && type.second == 0) || (type.first == 0 && type.second == 1);
    if (!is_one_flag)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Counter problem: One and only one counter type is supported in the "
                             "current release.");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t destroy_in_switch(uint32_t counter_id, uint64_t counter_type) {
    uint32_t sdk_counter_id = counter_id;
    const zv_status_t sdk_status = zv_api_flow_counter_set(zv_sdk_handle, ZV_ACCESS_CMD_DESTROY,
                                                           sdk_type(counter_type), &sdk_counter_id);
    return sdk_status == SDK_SUCCESS ? ZV_ACL_RM_STATUS_SUCCESS : ZV_ACL_RM_STATUS_ERROR;
}

zv_acl_rm_status_t create_counter(const acl_rm_counter_type *type, uint32_t *counter_id) {
    if (type == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    zv_acl_rm_status_t status = check_type(*type);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    status = __acl_rm_counter_allocate(packed_type(*type), counter_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status, "Fail to allocate new counter.");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t destroy_counter(uint32_t counter_id) {
    uint32_t is_allocated = 0;
    zv_acl_rm_status_t status = acl_rm_db_counter_is_allocated_counter(counter_id, &is_allocated);
    if (status == ZV_ACL_RM_STATUS_SUCCESS && is_allocated == 0)
        status = ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND;
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status, "Could not find counter id (%u) in Counters DB.", counter_id);
    status = __acl_rm_counter_free_resource(counter_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status, "Fail to clear counter for counter ID (%u).", counter_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t clear_counter(uint32_t counter_id) {
    const zv_status_t sdk_status = zv_api_flow_counter_clear_set(zv_sdk_handle, counter_id);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "Fail to clear counter: [%s].",
                             zv_status_str(sdk_status));
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t __acl_rm_counter_allocate(uint64_t counter_type, uint32_t *counter_id) {
    if (counter_id == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    const zv_status_t sdk_status = zv_api_flow_counter_set(zv_sdk_handle, ZV_ACCESS_CMD_CREATE,
                                                           sdk_type(counter_type), counter_id);
    if (sdk_status != SDK_SUCCESS)
        return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
    const zv_acl_rm_status_t status = acl_rm_db_counter_allocate(counter_type, *counter_id);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    core_log.fail(status, "Fail to allocate new counter ID (%u) in counter DB.\n", *counter_id);
    if (destroy_in_switch(*counter_id, counter_type) != ZV_ACL_RM_STATUS_SUCCESS)
        core_log.fail(ZV_ACL_RM_STATUS_ERROR, "Fail to rollback new counter creation.\n");
    return status;
}

zv_acl_rm_status_t __acl_rm_counter_free_resource(uint32_t counter_id) {
    uint32_t ref_counter = 0;
    zv_acl_rm_status_t status = acl_rm_db_counter_ref_counter_get(counter_id, &ref_counter);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status, "Fail to get reference counter for counter ID (%u).",
                             counter_id);
    if (ref_counter != 0)
        return ZV_ACL_RM_STATUS_SUCCESS;
    uint64_t counter_type = 0;
    status = acl_rm_db_counter_type_get(counter_id, &counter_type);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status, "Fail to get counter type for counter ID (%u).", counter_id);
    status = destroy_in_switch(counter_id, counter_type);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status, "Fail to destroy counter ID (%u).", counter_id);
    status = acl_rm_db_counter_destroy(counter_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status, "Fail to destroy counter ID (%u) in counter DB.", counter_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t __acl_rm_rule_info_get(uint32_t acl_id, uint32_t offset, acl_rule_entry *entry) {
    if (entry == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    rule_key key;
    if (build_key_format(key, acl_id, offset) != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "Fail build key format.");
    acl_rule_entry *cached = nullptr;
    switch (look_up(acl_rule_id_2_region_id_ht, key, &cached)) {
        case Lookup::failed:
            return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
        case Lookup::absent:
            return core_log.fail(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
                                 "Offset (%u) not found in hash table.", offset);
        case Lookup::found:
            break;
    }
    *entry = *cached;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t __acl_rm_counter_rule_delete(uint32_t acl_id, uint32_t offset) {
    acl_rule_entry entry = {};
    zv_acl_rm_status_t status = __acl_rm_rule_info_get(acl_id, offset, &entry);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status, "Fail to get rule info for acl_id (%u) offset (%u).", acl_id,
                             offset);
    const uint32_t counter_id = entry.counter_id;
    if (counter_id == 0)
        return ZV_ACL_RM_STATUS_SUCCESS;
    status = acl_rm_db_counter_ref_counter_update(counter_id, COUNTER_REF_DECREMENT);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status,
                             "Fail to update reference counter for counter ID (%u) in counter DB.",
                             counter_id);
    status = __acl_rm_counter_free_resource(counter_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status, "Fail to clear counter ID (%u) in counter DB.", counter_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t __acl_rm_counter_read(uint32_t counter_id, uint64_t counter_type,
                                         uint64_t *values) {
    if (values == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    const acl_rm_counter_type type = unpacked_type(counter_type);
    const zv_acl_rm_status_t status = check_type(type);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    zv_flow_counter_set_t sdk_values = {};
    const zv_status_t sdk_status =
        zv_api_flow_counter_get(zv_sdk_handle, ZV_ACCESS_CMD_READ, counter_id, &sdk_values);
    if (sdk_status != SDK_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "Fail to get counter: [%s].",
                             zv_status_str(sdk_status));
    // Crosswise, and kept so: clients read the first value for the switch's second and vice versa.
    if (type.first != 0)
        values[0] = sdk_values.second;
    if (type.second != 0)
        values[1] = sdk_values.first;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_counter_set(uint64_t /*client_handle*/, uint32_t cmd,
                                      const acl_rm_counter_type *type, uint32_t *counter_id) {
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    if (counter_id == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    switch (cmd) {
        case ZV_ACL_RM_ACCESS_CMD_CREATE:
            return create_counter(type, counter_id);
        case ZV_ACL_RM_ACCESS_CMD_DESTROY:
            return destroy_counter(*counter_id);
        default:
            return core_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED, "Command (%u) is unsupported.",
                                 cmd);
    }
}

zv_acl_rm_status_t acl_rm_counter_get(uint64_t /*client_handle*/, uint32_t cmd, uint32_t counter_id,
                                      acl_rm_counter_type *type, uint64_t *values) {
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    if (values == nullptr || type == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    uint64_t counter_type = 0;
    zv_acl_rm_status_t status = acl_rm_db_counter_type_get(counter_id, &counter_type);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status, "Could not find counter id (%u) in Counters DB.", counter_id);
    *type = unpacked_type(counter_type);
    switch (cmd) {
        case ZV_ACL_RM_ACCESS_CMD_READ_CLEAR:
            return core_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
                                 "Read & Clear is not supported in the current release.");
        case ZV_ACL_RM_ACCESS_CMD_CLEAR:
            return clear_counter(counter_id);
        case ZV_ACL_RM_ACCESS_CMD_READ:
            status = __acl_rm_counter_read(counter_id, counter_type, values);
            if (status != ZV_ACL_RM_STATUS_SUCCESS)
                return core_log.fail(status, "Fail to read counter.");
            return ZV_ACL_RM_STATUS_SUCCESS;
        default:
            return core_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED, "Command (%u) is unsupported.",
                                 cmd);
    }
}
