// Counter database: every flow counter that the daemon has made in the SDK for its clients.
//
// A fixed pool of items and an ordered map from counter id to item, so nothing is allocated after
// start-up. An item is in the map or in the pool, never in both. The database does not call the
// switch, and an operation that fails changes nothing.
//
// Command thread only, and the tear-down once that thread serves no command. Every operation but
// the first needs the initialised flag and returns ERROR without it; "not found" below is
// ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND. Failures are logged by module "ACL_RM_DB".
#pragma once

#include <stdint.h>

#include "zv_acl_rm/zv_acl_rm_status.h"

// Commands of acl_rm_db_counter_ref_counter_update.
constexpr uint32_t COUNTER_REF_INCREMENT = 7;
constexpr uint32_t COUNTER_REF_DECREMENT = 8;

// Makes the pool of items_num items. ERROR when initialised already, NO_RESOURCES when the pool
// cannot be made.
zv_acl_rm_status_t acl_rm_db_counter_init(uint32_t items_num);

// Adds a counter with no references. ERROR when the id is there already, NO_RESOURCES when all
// items are in use.
zv_acl_rm_status_t acl_rm_db_counter_allocate(uint64_t counter_type, uint32_t counter_id);

// Removes a counter, whatever its references. Not found.
zv_acl_rm_status_t acl_rm_db_counter_destroy(uint32_t counter_id);

// Stores the counter's type. PARAM_NULL, not found.
zv_acl_rm_status_t acl_rm_db_counter_type_get(uint32_t counter_id, uint64_t *counter_type_p);

// Stores how many rules refer to the counter. PARAM_NULL, not found.
zv_acl_rm_status_t acl_rm_db_counter_ref_counter_get(uint32_t counter_id, uint32_t *ref_counter_p);

// Adds or drops a reference; dropping from 0 wraps. CMD_UNSUPPORTED, not found.
zv_acl_rm_status_t acl_rm_db_counter_ref_counter_update(uint32_t counter_id, uint32_t command);

// Stores 1 where the counter is known, else 0. PARAM_NULL.
zv_acl_rm_status_t acl_rm_db_counter_is_allocated_counter(uint32_t counter_id,
                                                          uint32_t *is_allocated);

// Returns every item and destroys the pool. The initialised flag stays set: the database of a
// process is never built twice.
zv_acl_rm_status_t acl_rm_db_counter_deinit();
