/* client_object.h - the client object and the one path that every command takes through it.
 *
 * A request is prepared (checked, its handle filled in) by its command's row, sent, and its answer
 * is put where the row says. The blocking functions and submit/collect differ only in what lies
 * between: nothing, or other requests.
 */
#ifndef ZV_ACL_RM_CLIENT_OBJECT_H
#define ZV_ACL_RM_CLIENT_OBJECT_H

#include <cstdint>

#include "client/command_rows.h"
#include "zv_acl_rm/zv_acl_rm_client.h"
#include "zv_rpc_client.h"

namespace zv_acl_rm_lib {

/* A request whose answer has not been collected. */
struct Pending {
    uint32_t sequence;
    uint32_t owner; /* of an OPEN */
    const CommandRow *row;
};

}  // namespace zv_acl_rm_lib

struct zv_acl_rm_client {
    zv_rpc_client_t *rpc = nullptr;
    uint64_t handle = 0;
    int timeout_ms = ZV_ACL_RM_DEFAULT_TIMEOUT_MS;
    uint32_t opened_as = 0; /* bit N: the daemon took an OPEN as owner N on this object */
    uint32_t oldest = 0;    /* place of the oldest pending request in the ring */
    uint32_t pending_num = 0;
    zv_acl_rm_lib::Pending pending[ZV_ACL_RM_MAX_IN_FLIGHT] = {};
};

namespace zv_acl_rm_lib {

/* Sends a command's record and waits for the answer. `record` is the caller's: its handle is filled
 * in, and on success the reply lands in it. Returns what every function of the interface does. */
int perform(zv_acl_rm_client_t *client, uint32_t command, void *record, uint32_t record_len,
            zv_acl_rm_status_t *status);

}  // namespace zv_acl_rm_lib

#endif
