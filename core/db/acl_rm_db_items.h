// The items of the counter database: a fixed pool, and a map from counter id to the items in use.
//
// Command thread only. The database looks at its initialised flag before it comes here.
#pragma once

#include <stdint.h>

#include "complib/cl_qmap.h"
#include "complib/cl_qpool.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

struct CounterItem {
    cl_pool_item_t pool_item;  // first: the pool hands out its address
    cl_map_item_t map_item;
    uint64_t counter_type;
    uint32_t counter_id;
    uint32_t ref_counter;
};

// Makes the pool of items_num items and an empty map; the pool's status.
cl_status_t create_counter_items(uint32_t items_num);

// Stores the item of the id, or null where there is none. PARAM_NULL without a place for it.
zv_acl_rm_status_t __acl_rm_db_counter_find(uint32_t counter_id, CounterItem **counter_item);

// Takes an item out of the pool and enters it into the map; null when all are in use.
CounterItem *take_counter_item(uint32_t counter_id);

// Takes an item out of the map and gives it back to the pool.
void return_counter_item(CounterItem *item);

// Returns every item and destroys the pool.
void destroy_counter_items();
