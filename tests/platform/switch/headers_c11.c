/* The public headers compile as C, and their layouts are what other programs are built against. */
#include <stddef.h>

#include "complib/cl_memory.h"
#include "complib/cl_qmap.h"
#include "complib/cl_qpool.h"
#include "complib/cl_thread.h"
#include "complib/cl_types.h"
#include "zv_api.h"
#include "zv_net.h"
#include "zv_rm_resource.h"

_Static_assert(sizeof(zv_acl_region_group_t) == 8, "group");
_Static_assert(sizeof(zv_acl_key_t) == 132, "key");
_Static_assert(sizeof(zv_acl_action_t) == 56, "action");
_Static_assert(offsetof(zv_acl_action_t, counter_id) == 4, "counter id");
_Static_assert(offsetof(zv_acl_action_t, pbs_id) == 8, "PBS id");
_Static_assert(offsetof(zv_acl_action_t, data) == 12, "action data");
_Static_assert(sizeof(zv_acl_rule_t) == 328, "rule");
_Static_assert(offsetof(zv_acl_rule_t, valid) == 4, "valid");
_Static_assert(offsetof(zv_acl_rule_t, key) == 8, "rule key");
_Static_assert(offsetof(zv_acl_rule_t, mask) == 140, "rule mask");
_Static_assert(offsetof(zv_acl_rule_t, action) == 272, "rule action");
_Static_assert(offsetof(zv_acl_pbs_entry_t, ports) == 8, "PBS ports");
_Static_assert(sizeof(zv_flow_counter_set_t) == 16, "counter");
_Static_assert(sizeof(zv_net_port_t) == 32, "port");
_Static_assert(sizeof(rm_resources_t) == 12, "limits");
_Static_assert(ZV_ACCESS_CMD_READ_CLEAR == 32, "commands");

/* Called by the test: takes the address of a symbol of each library from C. */
int headers_are_usable_from_c(void);
int headers_are_usable_from_c(void) {
    return zv_status_str(0) != NULL && cl_status_text[0] != NULL &&
           rm_resource_global.max_rules_per_action == 0 &&
           rm_resource_global_default.acl_table_limit_b == 0;
}
