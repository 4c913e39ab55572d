#include "daemon/startup.h"

#include <dlfcn.h>

#include <initializer_list>

#include "core/acl_rm_cache.h"
#include "core/db/acl_rm_db.h"
#include "daemon/cli_settings.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "rpc/acl_rm_rpc_server.h"
#include "zv_net.h"

namespace {

zv_acl_rm_status_t release_counter_db() {
    const zv_acl_rm_status_t status = acl_rm_db_counter_deinit();
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status, "ACL RM deinit counter DB failure.");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t release_cache() {
    if (acl_rm_internal_acl_rm_cache_deinit() != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

// The flag stays set: the process is about to end.
zv_acl_rm_status_t close_sdk() {
    if (is_initialized != 1)
        return ZV_ACL_RM_STATUS_SUCCESS;
    if (zv_api_close(zv_sdk_handle) != 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "Failed to close ZV SDK Handle");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

void stop_network_library() {
    const uint32_t result = zv_net_deinit();
    if (result != 0)
        LOG_LINE(core_log, error, "error %d deinitializing netlib", static_cast<int>(result));
}

void unload(void *library) {
    if (library != nullptr)
        dlclose(library);
}

}  // namespace

zv_acl_rm_status_t acl_rm_init_internal() {
    if (acl_rm_internal_acl_rm_cache_init() != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM internal cache init failure");
    LOG_LINE(core_log, info, "calling acl_rm_rpc_init_procedure.\n");
    const zv_acl_rm_status_t status = acl_rm_rpc_init_procedure(cli_settings.log_cb);
    if (status != ZV_ACL_RM_STATUS_SUCCESS) {
        LOG_LINE(core_log, error, "RPC procedure failed.\n");
        return status;
    }
    if (cli_settings.aclrmd_init != nullptr)
        cli_settings.aclrmd_init();
    LOG_LINE(core_log, info, "ACL RM DB init done.\n");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_deinit() {
    for (const auto release : {release_counter_db, release_cache, close_sdk}) {
        const zv_acl_rm_status_t status = release();
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
    }
    stop_network_library();
    zv_log_close();
    // The log is closed before the stop hook runs and before its sink is unloaded.
    if (cli_settings.aclrmd_deinit != nullptr)
        cli_settings.aclrmd_deinit();
    unload(cli_settings.connector_lib_handle);
    unload(cli_settings.logger_lib_handle);
    return ZV_ACL_RM_STATUS_SUCCESS;
}
