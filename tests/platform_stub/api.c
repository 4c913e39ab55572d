/* Switch SDK of the stub platform: every call succeeds and nothing is kept. Ids are all 1. */
#include "zv_api.h"

#include <string.h>

#include "zv_rm_resource.h"

/* Shared with the daemon, which fills them. */
__attribute__((visibility("default"))) rm_resources_t rm_resource_global;
__attribute__((visibility("default"))) rm_resources_t rm_resource_global_default;

/* What every creating call answers; the caller need not have given a place for it. */
static zv_status_t answer_id(uint32_t *id) {
    if (id != NULL) {
        *id = 1;
    }
    return 0;
}

zv_status_t zv_api_open(zv_log_cb_t log_cb, zv_api_handle_t *handle) {
    (void)log_cb;
    *handle = 1;
    return 0;
}

zv_status_t zv_api_close(zv_api_handle_t handle) {
    (void)handle;
    return 0;
}

const char *zv_status_str(zv_status_t status) {
    (void)status;
    return "stub";
}

/* The parameters of the calls below have no names: none of them is looked at. */
#if defined(__clang__)
#pragma clang diagnostic ignored "-Wc2x-extensions"
#else
#pragma GCC diagnostic ignored "-Wpedantic"
#endif

zv_status_t zv_api_acl_region_set(zv_api_handle_t, uint32_t, uint32_t, uint32_t, uint32_t,
                                  uint32_t *region_id) {
    return answer_id(region_id);
}

zv_status_t zv_api_acl_set(zv_api_handle_t, uint32_t, uint32_t, uint32_t,
                           const zv_acl_region_group_t *, uint32_t *acl_id) {
    return answer_id(acl_id);
}

zv_status_t zv_api_acl_rules_set(zv_api_handle_t, uint32_t, uint32_t, const zv_acl_rule_t *,
                                 uint32_t) {
    return 0;
}

zv_status_t zv_api_acl_rules_get(zv_api_handle_t, uint32_t, uint32_t, zv_acl_rule_t *rules,
                                 uint32_t count) {
    memset(rules, 0, count * sizeof(*rules));
    return 0;
}

zv_status_t zv_api_acl_rule_activity_get(zv_api_handle_t, uint32_t, uint32_t, uint32_t,
                                         uint8_t *activity) {
    *activity = 0;
    return 0;
}

zv_status_t zv_api_acl_rule_block_move_set(zv_api_handle_t, uint32_t, uint32_t, uint32_t,
                                           uint32_t) {
    return 0;
}

zv_status_t zv_api_acl_group_set(zv_api_handle_t, uint32_t, uint32_t, const uint32_t *, uint32_t,
                                 uint32_t *group_id) {
    return answer_id(group_id);
}

zv_status_t zv_api_acl_port_bind_set(zv_api_handle_t, uint32_t, uint32_t, uint32_t) {
    return 0;
}

zv_status_t zv_api_acl_rif_bind_set(zv_api_handle_t, uint32_t, uint16_t, uint32_t) {
    return 0;
}

zv_status_t zv_api_acl_policy_based_switching_set(zv_api_handle_t, uint32_t, uint8_t,
                                                  const zv_acl_pbs_entry_t *, uint32_t *pbs_id) {
    return answer_id(pbs_id);
}

zv_status_t zv_api_acl_policy_based_switching_get(zv_api_handle_t, uint32_t, uint8_t, uint32_t,
                                                  zv_acl_pbs_entry_t *entry) {
    entry->port_count = 0;
    return 0;
}

zv_status_t zv_api_flow_counter_set(zv_api_handle_t, uint32_t, uint32_t, uint32_t *counter_id) {
    return answer_id(counter_id);
}

zv_status_t zv_api_flow_counter_get(zv_api_handle_t, uint32_t, uint32_t,
                                    zv_flow_counter_set_t *values) {
    memset(values, 0, sizeof(*values));
    return 0;
}

zv_status_t zv_api_flow_counter_clear_set(zv_api_handle_t, uint32_t) {
    return 0;
}
