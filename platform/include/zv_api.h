/* Switch SDK: regions, ACLs, rules, groups, bindings, policy-based switching, flow counters.
 *
 * Statuses (zv_status_t; zv_status_str names each):
 *   0 success            1 internal error      2 invalid handle     3 null parameter
 *   4 out of range       5 no resources        6 entry not found    7 entry exists
 *   8 in use             9 command unsupported
 * Every function but zv_api_open and zv_status_str can return 2 (the handle is not open), and 1
 * when the host has no memory left; each says what else it returns. Where several apply, the
 * order of checks is: handle, null parameters, command, existence, range, in use, capacity.
 * A call that fails changes nothing, neither in the switch nor at the caller's addresses.
 *
 * Ids start at 1, count up, each kind on its own, and are never given out again. Arguments stay
 * the caller's; the SDK keeps copies. What a pointer that is not null names is there as a whole,
 * also where a command does not look at it: the call trace shows what a command was given. Any
 * thread may call any function; calls are carried out one at a time. Records are naturally aligned
 * and hosts little-endian: the layouts are the ABI.
 */
#ifndef ZV_API_H
#define ZV_API_H

#include <stdint.h>

#include "zv_log.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

typedef uint64_t zv_api_handle_t; /* 0 is never a handle */
typedef uint32_t zv_status_t;

/* What a call is to do, where it can do several things. */
enum {
    ZV_ACCESS_CMD_ADD = 1,
    ZV_ACCESS_CMD_EDIT = 2,
    ZV_ACCESS_CMD_DELETE = 3,
    ZV_ACCESS_CMD_CREATE = 12,
    ZV_ACCESS_CMD_DESTROY = 13,
    ZV_ACCESS_CMD_SET = 15,
    ZV_ACCESS_CMD_GET = 17,
    ZV_ACCESS_CMD_ADD_PORTS = 23,
    ZV_ACCESS_CMD_DELETE_PORTS = 24,
    ZV_ACCESS_CMD_BIND = 25,
    ZV_ACCESS_CMD_UNBIND = 26,
    ZV_ACCESS_CMD_READ = 31,
    ZV_ACCESS_CMD_READ_CLEAR = 32
};

/* What an ACL looks its rules up in. */
typedef struct {
    uint32_t type; /* 0: a single region; there is no other */
    uint32_t region_id;
} zv_acl_region_group_t;

/* Key or mask of a rule, 132 bytes. */
typedef struct {
    uint32_t key_type;
    uint8_t data[128];
} zv_acl_key_t;

/* What a match does, 56 bytes. Of data the software switch reads the first four bytes, its
 * verdict as a 32-bit number: 0 permit, 1 drop, 2 trap to the CPU. */
typedef struct {
    uint32_t forward;    /* not 0: forward to the ports of the PBS entry pbs_id */
    uint32_t counter_id; /* 0: not counted */
    uint32_t pbs_id;
    uint8_t data[44];
} zv_acl_action_t;

/* A rule, 328 bytes. A rule whose valid is 0 takes its offset and matches nothing. */
typedef struct {
    uint32_t offset; /* position in the region, from 0; lower offsets win */
    uint8_t valid;
    zv_acl_key_t key;
    zv_acl_key_t mask;
    zv_acl_action_t action;
} zv_acl_rule_t;

/* A PBS entry: ports that matching packets are sent to. */
typedef struct {
    uint32_t entry_type; /* 0: exactly one port; others: any number */
    uint32_t port_count;
    uint32_t *ports;
} zv_acl_pbs_entry_t;

/* A flow counter's values: packets and bytes. */
typedef struct {
    uint64_t first;
    uint64_t second;
} zv_flow_counter_set_t;

/* Open a handle. log_cb may be null; the software switch logs nothing through it. *handle receives
 * the handle, never 0. Returns 0, 1, or 3. Handles opened side by side see one and the same
 * switch. */
zv_status_t zv_api_open(zv_log_cb_t log_cb, zv_api_handle_t *handle);

/* Close a handle. What was configured through it stays. Returns 0 or 2. */
zv_status_t zv_api_close(zv_api_handle_t handle);

/* A status in words; a static text, also for numbers that are no status. */
const char *zv_status_str(zv_status_t status);

/* Regions. CREATE: *region_id receives the new region's id. EDIT: the region *region_id gets
 * region_size, its rules stay; key_type and action_type are not looked at. DESTROY: the region
 * *region_id goes with its rules; the other arguments are not looked at. A size of 0 is a region
 * without room.
 * Returns also 3 (region_id null), 5 (CREATE: no region left; CREATE, EDIT: the sum of all sizes
 * would exceed the switch's entries), 6, 8 (DESTROY: an ACL uses it; EDIT: a rule lies beyond the
 * new size), 9. */
zv_status_t zv_api_acl_region_set(zv_api_handle_t handle, uint32_t cmd, uint32_t key_type,
                                  uint32_t action_type, uint32_t region_size, uint32_t *region_id);

/* ACLs. CREATE: an ACL of a direction over the group's region; *acl_id receives its id. DESTROY:
 * the ACL *acl_id; the other arguments are not looked at, group may be null.
 * Returns also 3 (acl_id null; CREATE: group null), 4 (CREATE: the group's type), 5, 6 (no such
 * region, no such ACL), 8 (DESTROY: a group holds it), 9. */
zv_status_t zv_api_acl_set(zv_api_handle_t handle, uint32_t cmd, uint32_t acl_type,
                           uint32_t direction, const zv_acl_region_group_t *group,
                           uint32_t *acl_id);

/* Rules. SET writes count rules at their offsets, over whatever is there (with activity 0; of two
 * rules for one offset the later stays). DELETE empties the rules' offsets and looks at nothing
 * else of the rules; an offset that is empty already is no failure. All rules or none are carried
 * out. rules may be null with count 0. Returns also 3, 4 (an offset outside the region), 6 (no such
 * region), 9. */
zv_status_t zv_api_acl_rules_set(zv_api_handle_t handle, uint32_t cmd, uint32_t region_id,
                                 const zv_acl_rule_t *rules, uint32_t count);

/* Read the count offsets from offset upward into rules. An empty one reads as a record that is
 * zero but for its offset. Returns also 3 (rules null with a count), 4 (beyond the region), 6. */
zv_status_t zv_api_acl_rules_get(zv_api_handle_t handle, uint32_t region_id, uint32_t offset,
                                 zv_acl_rule_t *rules, uint32_t count);

/* Whether the rule at offset matched a packet since it was written or last cleared: *activity
 * receives 0 or 1, 0 for an empty offset. READ leaves it, READ_CLEAR sets it to 0.
 * Returns also 3, 4 (outside the region), 6 (no such region), 9. */
zv_status_t zv_api_acl_rule_activity_get(zv_api_handle_t handle, uint32_t cmd, uint32_t region_id,
                                         uint32_t offset, uint8_t *activity);

/* Move block_size offsets from block_start to new_start, with their activity, as an overlapping
 * memory move: empty offsets of the block empty their destination, and what the block left and
 * does not cover again is empty. Returns also 4 (either side beyond the region), 6. */
zv_status_t zv_api_acl_rule_block_move_set(zv_api_handle_t handle, uint32_t region_id,
                                           uint32_t block_start, uint32_t block_size,
                                           uint32_t new_start);

/* Groups: ordered lists of at most 16 ACLs of one direction. CREATE: a group with that list (often
 * empty); *group_id receives its id. SET: the group *group_id gets that list instead of its own;
 * direction must be the group's. DESTROY: the group *group_id; the other arguments are not looked
 * at. acl_ids may be null with count 0. A list of more than 16 is refused unread, so that this 4
 * comes before the 6 of an absent ACL, though not before the 6 of an absent group.
 * Returns also 3, 4 (a direction differs; more than 16), 5 (no group left), 6 (no such group or
 * ACL), 8 (DESTROY: it is bound), 9. */
zv_status_t zv_api_acl_group_set(zv_api_handle_t handle, uint32_t cmd, uint32_t direction,
                                 const uint32_t *acl_ids, uint32_t count, uint32_t *group_id);

/* Bind a group to a logical port or a router interface, or unbind it. The port or interface need
 * not exist. Returns also 5 (BIND: no binding left), 6 (BIND: no such group; UNBIND: nothing or
 * another group is bound there), 7 (BIND: a group is bound there, this one or another), 9. */
zv_status_t zv_api_acl_port_bind_set(zv_api_handle_t handle, uint32_t cmd, uint32_t log_port,
                                     uint32_t group_id);
zv_status_t zv_api_acl_rif_bind_set(zv_api_handle_t handle, uint32_t cmd, uint16_t rif_id,
                                    uint32_t group_id);

/* PBS entries: a type and a set of ports, in one of 256 virtual switches. ADD: *pbs_id receives
 * the new entry's id. ADD_PORTS, DELETE_PORTS: the entry *pbs_id of that switch_id gains or loses
 * entry's ports; entry_type is not looked at, a port that is there or absent already is no
 * failure. DELETE: the entry goes, whether rules name it or not; entry may be null.
 * Returns also 3 (pbs_id, or a needed entry or its ports null), 4 (an entry of type 0 would not
 * hold exactly one port), 5, 6, 9. */
zv_status_t zv_api_acl_policy_based_switching_set(zv_api_handle_t handle, uint32_t cmd,
                                                  uint8_t switch_id,
                                                  const zv_acl_pbs_entry_t *entry,
                                                  uint32_t *pbs_id);

/* Read an entry (GET): entry comes with the room at ports in port_count; it leaves with the type,
 * the lowest ports as far as they fit, and their number. Returns also 3, 6, 9. */
zv_status_t zv_api_acl_policy_based_switching_get(zv_api_handle_t handle, uint32_t cmd,
                                                  uint8_t switch_id, uint32_t pbs_id,
                                                  zv_acl_pbs_entry_t *entry);

/* Flow counters. CREATE: *counter_id receives the id of a counter at 0. DESTROY: the counter
 * *counter_id goes, whether rules name it or not. Returns also 3, 5, 6, 9. */
zv_status_t zv_api_flow_counter_set(zv_api_handle_t handle, uint32_t cmd, uint32_t counter_type,
                                    uint32_t *counter_id);

/* A counter's values; READ_CLEAR sets them to 0 in the same step. Returns also 3, 6, 9. */
zv_status_t zv_api_flow_counter_get(zv_api_handle_t handle, uint32_t cmd, uint32_t counter_id,
                                    zv_flow_counter_set_t *values);

/* Set a counter's values to 0. Returns also 6. */
zv_status_t zv_api_flow_counter_clear_set(zv_api_handle_t handle, uint32_t counter_id);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
