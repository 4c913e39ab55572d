// The sixteen command handlers, called by the RPC library on the command thread.
//
// Each checks the record's length, calls one operation of the core with parts of the record, and on
// success points the reply at (a part of) the record, which the operation has filled in place. A
// handler that fails leaves the reply as it was. The core's status goes to the client unchanged.
//
//   body, body_len    the record, writable and aligned to 8 bytes; may be null
//   reply, reply_len  set on success: into the record, or null and 0 where there is no reply
#pragma once

#include <stdint.h>

#include "zv_acl_rm/zv_acl_rm_status.h"

#define ACL_RM_RPC_HANDLER(name) \
    zv_acl_rm_status_t name(uint8_t *body, uint32_t body_len, uint8_t **reply, uint32_t *reply_len)

ACL_RM_RPC_HANDLER(acl_rm_rpc_open);
ACL_RM_RPC_HANDLER(acl_rm_rpc_init);
ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_set);
ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_resize);
ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_rule_set);
ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_rule_get);
ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_rule_move_block);
ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_bind_port_set);
ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_bind_rif_set);
ACL_RM_RPC_HANDLER(acl_rm_rpc_counter_set);
ACL_RM_RPC_HANDLER(acl_rm_rpc_counter_get);
ACL_RM_RPC_HANDLER(acl_rm_rpc_mc_grp_set);
ACL_RM_RPC_HANDLER(acl_rm_rpc_mc_grp_get);
ACL_RM_RPC_HANDLER(acl_rm_rpc_system_bind_set);
ACL_RM_RPC_HANDLER(acl_rm_rpc_port_set);
ACL_RM_RPC_HANDLER(acl_rm_rpc_dump);
