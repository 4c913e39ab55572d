// Records that the modules of the ACL resource manager share: what the cache holds, and the work
// record of a rule on its way to the switch.
//
// Cached records lie in the slots of the hash tables' pools, at any address, and are edited there:
// they are packed, with an alignment of 1, so that every access to a member is safe. Nothing takes
// the address of a member that is not packed itself; the switch gets copies. Sizes are the tables'
// value sizes.
#pragma once

#include <stdint.h>

#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_api.h"

constexpr uint32_t MAX_RULES_NUM = 6400;
constexpr uint32_t MAX_ACL_GROUPS_NUM = 128;
constexpr uint32_t MAX_ACLS_NUM_IN_GROUP = 16;
constexpr uint32_t MAX_BIND_POINTS_NUM = 648;
constexpr uint32_t MAX_COUNTERS_NUM = 255;
constexpr uint32_t RULE_KEY_BYTES = 50;

// Statuses of the SDK that the daemon tells apart.
constexpr zv_status_t SDK_SUCCESS = 0;
constexpr zv_status_t SDK_NO_RESOURCES = 5;

// PBS entry types of the SDK.
constexpr uint32_t PBS_ENTRY_TYPE_PORT = 0;
constexpr uint32_t PBS_ENTRY_TYPE_MC_GROUP = 2;

// Forwarding types of a client's rule, and the action kind they turn into.
constexpr uint32_t FORWARDING_TYPE_LOG_PORT = 1;
constexpr uint32_t FORWARDING_TYPE_MC_GROUP = 2;
constexpr uint32_t FORWARDING_ACTION_PBS = 6;

// The switch id of every PBS call: nothing ever sets another.
constexpr uint8_t PBS_SWITCH_ID = 0;

// The decimal text "ACL id_offset", zero-padded; all 50 bytes are the table's key.
using rule_key = char[RULE_KEY_BYTES];

// A 32-bit id as it lies in a table, as key or as value.
struct [[gnu::packed]] PackedId {
    uint32_t value;
};

// A cached rule, under its rule_key.
struct [[gnu::packed]] acl_rule_entry {
    uint32_t region_id;
    uint32_t offset;
    uint32_t counter_id;      // 0: none
    uint32_t pbs_entry_type;  // this and the next two only when the rule forwards
    uint32_t forward_pbs_id;
    uint32_t forward_log_port;  // key of the shared PBS entry; 0 when it forwards to an MC group
    uint32_t reserved0;
    uint32_t is_forwarding;
    uint32_t reserved1[4];
};
static_assert(sizeof(acl_rule_entry) == 48);

constexpr uint32_t BIND_POINT_LOG_PORT = 0;
constexpr uint32_t BIND_POINT_RIF = 1;

// A logical port or router interface: key of the table of bind points.
struct [[gnu::packed]] bind_point_key {
    uint32_t bind_point_type;
    uint32_t port_id;  // of a router interface the low 16 bits
};
static_assert(sizeof(bind_point_key) == 8);

// A cached ACL, under its id.
struct [[gnu::packed]] acl_id_info {
    uint32_t acl_type;
    uint32_t direction;
    uint32_t region_id;
    uint32_t key_type;
    uint32_t action_type;
    uint32_t region_size;  // rules
    uint32_t min_size;
    uint32_t max_size;
    uint32_t *valid_offsets;  // one flag an offset, 1: a rule is there; from cl_malloc, owned
    uint32_t valid_offsets_len;
    bind_point_key acl_bound_ports[MAX_BIND_POINTS_NUM];
    uint32_t acl_bound_ports_num;
    uint32_t acl_id;
    int32_t acl_owner;
    uint32_t bound_to_system;
    uint32_t valid_offsets_allocated;  // flags there is memory for: fewer where a resize wrapped
};
static_assert(sizeof(acl_id_info) == 5248);

// How many offsets have a flag: none once the flags are released.
inline uint32_t usable_offsets(const acl_id_info &info) {
    if (info.valid_offsets == nullptr)
        return 0;
    return info.valid_offsets_len < info.valid_offsets_allocated ? info.valid_offsets_len
                                                                 : info.valid_offsets_allocated;
}

// A cached SDK group of ACLs, under its id.
struct [[gnu::packed]] sdk_grp_info {
    uint32_t acl_id_arr[MAX_ACLS_NUM_IN_GROUP];  // in the order the switch evaluates them
    uint32_t acl_id_arr_len;
    uint32_t direction;  // of every ACL in it
};
static_assert(sizeof(sdk_grp_info) == 72);

// A PBS entry that rules share, under the logical port it forwards to.
struct [[gnu::packed]] forward_pbs_info {
    uint32_t entry_type;
    uint32_t forward_pbs_index;       // the SDK's PBS id
    uint32_t forwading_log_port_num;  // kept in this spelling: the dump prints it
    uint32_t times_consumed;          // cached rules that use it
};
static_assert(sizeof(forward_pbs_info) == 16);

// A multicast group, under its id.
struct [[gnu::packed]] mcg_id_info {
    uint32_t group_id;  // the SDK's PBS id
    uint32_t owner;
};
static_assert(sizeof(mcg_id_info) == 8);

// One rule of a batch on its way to the switch.
struct acl_rm_rule_work {
    uint32_t access_command;
    uint32_t region_id;
    zv_acl_rule_t sdk_rule;
    uint32_t forwarding_action;  // FORWARDING_ACTION_PBS or 0
    uint32_t pbs_id;
    uint32_t forward_log_port;  // 0 for an MC group
    uint32_t pbs_entry_type;
    uint32_t counter_id;
};
