/* Limits of the switch chip, as far as the ACL resource manager needs them.
 *
 * Both records are defined by the SDK library (libzv_api) and are zero when the process starts.
 * Their owner is whoever knows the chip: the daemon fills them when a client names the chip type,
 * on the thread that serves requests; the software switch never reads them.
 */
#ifndef ZV_RM_RESOURCE_H
#define ZV_RM_RESOURCE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

typedef struct {
    uint32_t max_rules_per_action; /* most rules one request may carry */
    uint32_t acl_table_limit_a;    /* ACL tables; of the two limits the smaller one counts */
    uint32_t acl_table_limit_b;
} rm_resources_t;

extern rm_resources_t rm_resource_global;         /* the limits in force */
extern rm_resources_t rm_resource_global_default; /* a copy of what was set last */

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
