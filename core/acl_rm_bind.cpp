#include <memory>
#include <new>

#include "core/acl_rm.h"
#include "core/acl_rm_cache.h"
#include "core/acl_rm_group.h"
#include "core/acl_rm_owner.h"
#include "core/acl_rm_unbind.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"

// The bind commands of clients: lists of plain ids become lists of keys, which the group modules
// bind or unbind in their order.

namespace {

using Keys = std::unique_ptr<bind_point_key[]>;

bool is_bind_command(uint32_t cmd) {
    return cmd == ZV_ACL_RM_ACCESS_CMD_BIND || cmd == ZV_ACL_RM_ACCESS_CMD_UNBIND;
}

zv_acl_rm_status_t bind_or_unbind(uint32_t cmd, uint32_t acl_id, const bind_point_key *keys,
                                  uint32_t keys_num) {
    return cmd == ZV_ACL_RM_ACCESS_CMD_BIND ? acl_rm_bind_acl(acl_id, keys, &keys_num)
                                            : acl_rm_unbind_acl(acl_id, keys, &keys_num);
}

// Ids are 32-bit ports or 16-bit router interfaces; a router interface's upper bits are 0.
template <class Id>
Keys build_keys(uint32_t bind_point_type, const Id *ids, uint32_t ids_num) {
    Keys keys(new (std::nothrow) bind_point_key[ids_num]);
    for (uint32_t i = 0; i < ids_num && keys != nullptr; i++)
        keys[i] = {bind_point_type, ids[i]};
    return keys;
}

const char *noun_of(uint32_t bind_point_type) {
    return bind_point_type == BIND_POINT_RIF ? "rifs" : "ports";
}

// What the two commands have in common, from the ownership check on.
template <class Id>
zv_acl_rm_status_t bind_ids(uint64_t client_handle, uint32_t cmd, uint32_t acl_id,
                            uint32_t bind_point_type, const Id *ids, uint32_t ids_num) {
    zv_acl_rm_status_t status = __validate_owner_acl(client_handle, acl_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    if (ids_num > ZV_ACL_RM_PORTS_PER_RECORD)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "Wrong %s number [%u], the record holds [%u]",
                             noun_of(bind_point_type), ids_num, ZV_ACL_RM_PORTS_PER_RECORD);
    const Keys keys = build_keys(bind_point_type, ids, ids_num);
    if (keys == nullptr)
        return core_log.fail(ZV_ACL_RM_STATUS_NO_RESOURCES, "Memory allocation failed");
    status = bind_or_unbind(cmd, acl_id, keys.get(), ids_num);
    return status == ZV_ACL_RM_STATUS_SUCCESS ? status : core_log.pass_up(status);
}

}  // namespace

zv_acl_rm_status_t acl_rm_acl_port_bind_set(uint64_t client_handle, uint32_t cmd, uint32_t acl_id,
                                            const uint32_t *log_ports, const uint32_t *ports_num) {
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    if (!is_bind_command(cmd))
        return core_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
                             "Command unsupported, cmd type is:%u", cmd);
    if (ports_num == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    if (*ports_num == 0)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "Wrong ports number [%u] need to configure more than 0", *ports_num);
    if (log_ports == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    return bind_ids(client_handle, cmd, acl_id, BIND_POINT_LOG_PORT, log_ports, *ports_num);
}

zv_acl_rm_status_t acl_rm_acl_rif_bind_set(uint64_t client_handle, uint32_t cmd, uint32_t acl_id,
                                           const uint16_t *rifs, const uint32_t *rifs_num) {
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    if (!is_bind_command(cmd))
        return core_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
                             "Command unsupported, cmd type is:%u", cmd);
    if (rifs_num == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    if (*rifs_num == 0)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "Wrong rifs number [0] need to configure more than 0");
    if (rifs == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    return bind_ids(client_handle, cmd, acl_id, BIND_POINT_RIF, rifs, *rifs_num);
}
