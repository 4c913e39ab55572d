// The one connection to the switch SDK.
//
// Opened by the first OPEN or INIT, not at start-up, and then open for the life of the process.
// Used on the command thread, and by the tear-down once that thread serves no command.
#pragma once

#include <stdint.h>

#include "zv_acl_rm/zv_acl_rm_status.h"
#include "zv_api.h"

extern uint32_t is_initialized;  // 1 once the handle below is open; never cleared
extern zv_api_handle_t zv_sdk_handle;

// Opens the handle. 0, or 1 (ZV_ACL_RM_STATUS_ERROR) when the SDK refuses.
zv_acl_rm_status_t acl_rm_connect_to_sdk();

// Connects unless connected. Neither argument is used. 0, or 1 with is_initialized left at 0, so
// that the next OPEN or INIT tries again.
zv_acl_rm_status_t acl_rm_init(uint64_t client_handle, uint32_t owner);
