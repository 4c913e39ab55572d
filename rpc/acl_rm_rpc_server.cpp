#include "rpc/acl_rm_rpc_server.h"

#include "daemon/logging.h"
#include "rpc/acl_rm_rpc_handlers.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

namespace {

// The longest message, framing included; the meaning is the RPC library's.
constexpr uint32_t MAX_MESSAGE_BYTES = 8000;
constexpr uint64_t PRIORITY = 2;

// The library's results all count as one status; its own numbers mean nothing to readers.
zv_acl_rm_status_t folded(uint32_t library_status) {
    return library_status == 0 ? ZV_ACL_RM_STATUS_SUCCESS : ZV_ACL_RM_STATUS_ERROR;
}

}  // namespace

#define COMMAND(name, handler) \
    { ZV_ACL_RM_API_INT_CMD_##name, "ZV_ACL_RM_API_INT_CMD_" #name, handler, PRIORITY }
const zv_rpc_command_t acl_rm_command_id[ACL_RM_COMMANDS_NUM] = {
    COMMAND(OPEN, acl_rm_rpc_open),
    COMMAND(INIT, acl_rm_rpc_init),
    COMMAND(ACL_SET, acl_rm_rpc_acl_set),
    COMMAND(ACL_RESIZE, acl_rm_rpc_acl_resize),
    COMMAND(ACL_RULE_SET, acl_rm_rpc_acl_rule_set),
    COMMAND(ACL_RULE_GET, acl_rm_rpc_acl_rule_get),
    COMMAND(ACL_RULE_MOVE_BLOCK, acl_rm_rpc_acl_rule_move_block),
    COMMAND(ACL_BIND_PORT_SET, acl_rm_rpc_acl_bind_port_set),
    COMMAND(ACL_BIND_RIF_SET, acl_rm_rpc_acl_bind_rif_set),
    COMMAND(COUNTER_SET, acl_rm_rpc_counter_set),
    COMMAND(COUNTER_GET, acl_rm_rpc_counter_get),
    COMMAND(MC_GRP_SET, acl_rm_rpc_mc_grp_set),
    COMMAND(MC_GRP_GET, acl_rm_rpc_mc_grp_get),
    COMMAND(ACL_BIND_SYSTEM_SET, acl_rm_rpc_system_bind_set),
    COMMAND(PORT_SET, acl_rm_rpc_port_set),
    COMMAND(DUMP, acl_rm_rpc_dump),
};
#undef COMMAND

zv_acl_rm_status_t acl_rm_rpc_init_procedure(zv_log_cb_t log_sink) {
    LOG_LINE(rpc_log, info, "start acl_rm_rpc_init_procedure.\n");
    zv_rpc_register_log_function(log_sink);
    LOG_LINE(rpc_log, info, "call to rpc_zv_core_td_init.\n");
    zv_acl_rm_status_t status =
        folded(zv_rpc_core_td_init(ZV_ACL_RM_SOCKET_PATH, MAX_MESSAGE_BYTES));
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return rpc_log.fail(status, "failed to call zv_core_td_init %d", static_cast<int>(status));
    LOG_LINE(rpc_log, info, "call to zv_api_rpc_command_db.\n");
    status = folded(zv_rpc_api_rpc_command_db_init(acl_rm_command_id, ACL_RM_COMMANDS_NUM));
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return rpc_log.fail(status, "failed to call zv_api_rpc_command_db %d",
                            static_cast<int>(status));
    LOG_LINE(rpc_log, info, "finish acl_rm_rpc_init_procedure.\n");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_rpc_start_loop() {
    LOG_LINE(rpc_log, info, "start loop.\n");
    zv_rpc_core_td_start_loop();
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t acl_rm_rpc_deinit() {
    LOG_LINE(rpc_log, info, "call to zv_api_rpc_command_db_deinit.\n");
    const zv_acl_rm_status_t status = folded(zv_rpc_api_rpc_command_db_deinit());
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return rpc_log.fail(status, "failed to call zv_api_rpc_command_db_deinit %d",
                            static_cast<int>(status));
    LOG_LINE(rpc_log, info, "finish acl_rm_rpc_deinit.\n");
    return ZV_ACL_RM_STATUS_SUCCESS;
}
