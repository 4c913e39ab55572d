#include <memory>
#include <new>

#include "core/acl_rm.h"
#include "core/acl_rm_cache.h"
#include "core/acl_rm_group.h"
#include "core/acl_rm_owner.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"

zv_acl_rm_status_t acl_rm_acl_port_bind_set(uint64_t client_handle, uint32_t cmd, uint32_t acl_id,
                                            const uint32_t *log_ports, const uint32_t *ports_num) {
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    if (cmd != ZV_ACL_RM_ACCESS_CMD_BIND)
        return core_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
                             "Command unsupported, cmd type is:%u", cmd);
    if (ports_num == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    if (*ports_num == 0)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "Wrong ports number [%u] need to configure more than 0", *ports_num);
    if (log_ports == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    zv_acl_rm_status_t status = __validate_owner_acl(client_handle, acl_id);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    if (*ports_num > ZV_ACL_RM_PORTS_PER_RECORD)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "Wrong ports number [%u], the record holds [%u]", *ports_num,
                             ZV_ACL_RM_PORTS_PER_RECORD);
    const std::unique_ptr<bind_point_key[]> keys(new (std::nothrow) bind_point_key[*ports_num]);
    if (keys == nullptr)
        return core_log.fail(ZV_ACL_RM_STATUS_NO_RESOURCES, "Memory allocation failed");
    for (uint32_t i = 0; i < *ports_num; i++)
        keys[i] = {BIND_POINT_LOG_PORT, log_ports[i]};
    status = acl_rm_bind_acl(acl_id, keys.get(), ports_num);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    return ZV_ACL_RM_STATUS_SUCCESS;
}
