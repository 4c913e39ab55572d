// RPC server: the daemon's end of the socket, and the command table.
//
// Set up once by start-up, before the connector's start hook; the loop then serves one command at
// a time on the main thread. The terminator takes the table away, after which no handler runs.
#pragma once

#include "zv_acl_rm/zv_acl_rm_status.h"
#include "zv_rpc.h"

constexpr uint32_t ACL_RM_COMMANDS_NUM = 16;
extern const zv_rpc_command_t acl_rm_command_id[ACL_RM_COMMANDS_NUM];

// Opens the socket and registers the table; log_sink may be null. SUCCESS or ERROR.
zv_acl_rm_status_t acl_rm_rpc_init_procedure(zv_log_cb_t log_sink);

// Serves until the server cannot go on; does not return when a stop was asked for. SUCCESS.
zv_acl_rm_status_t acl_rm_rpc_start_loop();

// Takes the table away; returns when the handler that runs has ended. SUCCESS or ERROR.
zv_acl_rm_status_t acl_rm_rpc_deinit();
