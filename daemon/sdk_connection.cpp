#include "daemon/sdk_connection.h"

#include "daemon/logging.h"

uint32_t is_initialized = 0;
zv_api_handle_t zv_sdk_handle = 0;

zv_acl_rm_status_t acl_rm_connect_to_sdk() {
    const zv_status_t sdk_status = zv_api_open(nullptr, &zv_sdk_handle);
    if (sdk_status != 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "Can't open an handle to the SDK, error: [%u]",
                             sdk_status);
    LOG_LINE(core_log, info, "ACL RM is connected to SDK.\n");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_init(uint64_t /*client_handle*/, uint32_t /*owner*/) {
    if (is_initialized == 1)
        return ZV_ACL_RM_STATUS_SUCCESS;
    if (acl_rm_connect_to_sdk() != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM connect to sdk failure");
    is_initialized = 1;
    return ZV_ACL_RM_STATUS_SUCCESS;
}
