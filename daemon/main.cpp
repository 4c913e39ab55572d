// The daemon's life on its main thread: parse, log, terminator, signals, cache and RPC server,
// network library, then the RPC loop. A stop signal ends the process from the terminator thread.
#include <stdio.h>

#include <initializer_list>

#include "daemon/cli_settings.h"
#include "daemon/lifecycle.h"
#include "daemon/logging.h"
#include "daemon/startup.h"
#include "daemon/terminator.h"
#include "rpc/acl_rm_rpc_server.h"
#include "zv_net.h"

namespace {

zv_acl_rm_status_t arm_signals() {
    const zv_acl_rm_status_t status = __catch_signals();
    if (status == ZV_ACL_RM_STATUS_NO_HW_RESOURCES)
        return core_log.pass_up(status);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status, "Could not register signal handler");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t build() {
    const zv_acl_rm_status_t status = acl_rm_init_internal();
    return status == ZV_ACL_RM_STATUS_SUCCESS ? status : core_log.pass_up(status);
}

zv_acl_rm_status_t start_network_library() {
    const uint32_t result = zv_net_init(cli_settings.log_cb, cli_settings.verbosity_level, 0);
    if (result == 0)
        return ZV_ACL_RM_STATUS_SUCCESS;
    LOG_LINE(core_log, error, "error %d initializing netlib", static_cast<int>(result));
    return ZV_ACL_RM_STATUS_ERROR;
}

zv_acl_rm_status_t serve() {
    announce_serving();
    const zv_acl_rm_status_t status = acl_rm_rpc_start_loop();
    return status == ZV_ACL_RM_STATUS_SUCCESS ? status : core_log.pass_up(status);
}

zv_acl_rm_status_t run() {
    if (zv_log_init(1, 0, cli_settings.log_cb) != 0) {
        fprintf(stderr, "ACL RM ERROR: Log init failed\n");
        return ZV_ACL_RM_STATUS_ERROR;
    }
    acl_rm_terminator_init();
    for (const auto step : {arm_signals, build, start_network_library, serve}) {
        const zv_acl_rm_status_t status = step();
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

int main(int argc, char *argv[]) {
    parse_command_line(argc, argv, &cli_settings);
    acl_rm_verbosity_level = cli_settings.verbosity_level;
    const zv_acl_rm_status_t status = run();
    begin_teardown_by_main();
    acl_rm_deinit();
    return static_cast<int>(status);
}
