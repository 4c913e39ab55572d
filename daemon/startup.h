// Building the daemon up, and releasing it again.
//
// Built on the main thread. Released once: by the terminator after a stop signal, or by main when
// start-up failed; daemon/lifecycle.h decides which.
#pragma once

#include "zv_acl_rm/zv_acl_rm_status.h"

// Cache, RPC server, the connector's start hook. SUCCESS, ERROR for the cache, or the RPC server's
// status; what was built before a failure stays for acl_rm_deinit.
zv_acl_rm_status_t acl_rm_init_internal();

// Counter database, cache, SDK handle, network library, log, the connector's stop hook, plug-ins.
// SUCCESS; the status of the first of the first three steps that fails, with everything after it
// left as it is. Nothing is logged once the log is closed.
zv_acl_rm_status_t acl_rm_deinit();
