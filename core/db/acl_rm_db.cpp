#include "core/db/acl_rm_db.h"

#include "core/db/acl_rm_db_items.h"
#include "daemon/logging.h"

namespace {

uint32_t is_db_initialized = 0;

const char *complib_status_text(cl_status_t status) {
    return status < sizeof(cl_status_text) / sizeof(cl_status_text[0]) ? cl_status_text[status]
                                                                       : "invalid status code";
}

// The item of an id that must be known; null, with the failure's status, where it is not.
zv_acl_rm_status_t find_known(uint32_t counter_id, CounterItem **item) {
    const zv_acl_rm_status_t status = __acl_rm_db_counter_find(counter_id, item);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return db_log.fail(status, "Failed in __acl_rm_db_counter_find.\n");
    if (*item == nullptr)
        return db_log.fail(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
                           "Could not find counter (%u) in counter DB.\n", counter_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t acl_rm_db_counter_init(uint32_t items_num) {
    if (is_db_initialized != 0)
        return db_log.fail(ZV_ACL_RM_STATUS_ERROR, "Cant init counter DB - already initialize.\n");
    const cl_status_t pool_status = create_counter_items(items_num);
    if (pool_status != CL_STATUS_SUCCESS)
        return db_log.fail(ZV_ACL_RM_STATUS_NO_RESOURCES, "Counter Pool Init Failure (%s).\n",
                           complib_status_text(pool_status));
    LOG_LINE(db_log, info, "Counter Pool Init Success.\n");
    is_db_initialized = 1;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_db_counter_allocate(uint64_t counter_type, uint32_t counter_id) {
    if (is_db_initialized == 0)
        return db_log.fail(ZV_ACL_RM_STATUS_ERROR,
                           "Can't allocate counter - DB not initialized).\n");
    CounterItem *item = nullptr;
    const zv_acl_rm_status_t status = __acl_rm_db_counter_find(counter_id, &item);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return db_log.fail(status, "Failed in __acl_rm_db_counter_find.\n");
    if (item != nullptr)
        return db_log.fail(ZV_ACL_RM_STATUS_ERROR,
                           "Counter id (%u) is already exist in counter DB.\n", counter_id);
    item = take_counter_item(counter_id);
    if (item == nullptr)
        return db_log.fail(ZV_ACL_RM_STATUS_NO_RESOURCES,
                           "Could not find free counter in counter DB.\n");
    item->counter_type = counter_type;
    item->ref_counter = 0;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_db_counter_destroy(uint32_t counter_id) {
    if (is_db_initialized == 0)
        return db_log.fail(ZV_ACL_RM_STATUS_ERROR, "Can't destroy counter - DB not initialized.\n");
    CounterItem *item = nullptr;
    const zv_acl_rm_status_t status = find_known(counter_id, &item);
    if (item == nullptr)
        return status;
    return_counter_item(item);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_db_counter_type_get(uint32_t counter_id, uint64_t *counter_type_p) {
    if (is_db_initialized == 0)
        return db_log.fail(ZV_ACL_RM_STATUS_ERROR,
                           "Can't retrieve counter type - DB not initialized).\n");
    if (counter_type_p == nullptr)
        return db_log.fail(ZV_ACL_RM_STATUS_PARAM_NULL, "counter_type_p is NULL.\n");
    CounterItem *item = nullptr;
    const zv_acl_rm_status_t status = find_known(counter_id, &item);
    if (item == nullptr)
        return status;
    *counter_type_p = item->counter_type;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_db_counter_ref_counter_get(uint32_t counter_id, uint32_t *ref_counter_p) {
    // Kept: the text is the one of reading the type.
    if (is_db_initialized == 0)
        return db_log.fail(ZV_ACL_RM_STATUS_ERROR,
                           "Can't retrieve counter type - DB not initialized).\n");
    if (ref_counter_p == nullptr)
        return db_log.fail(ZV_ACL_RM_STATUS_PARAM_NULL, "ref_counter_p is NULL.\n");
    CounterItem *item = nullptr;
    const zv_acl_rm_status_t status = find_known(counter_id, &item);
    if (item == nullptr)
        return status;
    *ref_counter_p = item->ref_counter;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_db_counter_ref_counter_update(uint32_t counter_id, uint32_t command) {
    if (is_db_initialized == 0)
        return db_log.fail(ZV_ACL_RM_STATUS_ERROR,
                           "Can't update counter's reference counter - DB not initialized).\n");
    CounterItem *item = nullptr;
    const zv_acl_rm_status_t status = find_known(counter_id, &item);
    if (item == nullptr)
        return status;
    switch (command) {
        case COUNTER_REF_INCREMENT:
            item->ref_counter++;
            return ZV_ACL_RM_STATUS_SUCCESS;
        case COUNTER_REF_DECREMENT:
            item->ref_counter--;  // kept: a count of 0 wraps
            return ZV_ACL_RM_STATUS_SUCCESS;
        default:
            return db_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED, "Cmd not supported (%u).\n",
                               command);
    }
}

zv_acl_rm_status_t acl_rm_db_counter_is_allocated_counter(uint32_t counter_id,
                                                          uint32_t *is_allocated) {
    if (is_db_initialized == 0)
        return db_log.fail(ZV_ACL_RM_STATUS_ERROR,
                           "Can't retrieve counter type - DB not initialized).\n");
    if (is_allocated == nullptr)
        return db_log.fail(ZV_ACL_RM_STATUS_PARAM_NULL, "is_allocated is NULL.\n");
    CounterItem *item = nullptr;
    const zv_acl_rm_status_t status = __acl_rm_db_counter_find(counter_id, &item);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return db_log.fail(status, "Failed in __acl_rm_db_counter_find.\n");
    *is_allocated = item != nullptr ? 1 : 0;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_db_counter_deinit() {
    if (is_db_initialized == 0)
        return db_log.fail(ZV_ACL_RM_STATUS_ERROR,
                           "Can't deinit counter DB - DB not initialized).\n");
    destroy_counter_items();
    return ZV_ACL_RM_STATUS_SUCCESS;
}
