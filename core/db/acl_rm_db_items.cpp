#include "core/db/acl_rm_db_items.h"

#include <cstddef>

#include "daemon/logging.h"

namespace {

cl_qpool_t counter_pool;
cl_qmap_t counter_map;

CounterItem *item_of(cl_map_item_t *map_item) {
    return reinterpret_cast<CounterItem *>(reinterpret_cast<char *>(map_item) -
                                           offsetof(CounterItem, map_item));
}

}  // namespace

cl_status_t create_counter_items(uint32_t items_num) {
    const cl_status_t status = cl_qpool_init(&counter_pool, items_num, items_num, items_num,
                                             sizeof(CounterItem), nullptr, nullptr, nullptr);
    if (status == CL_STATUS_SUCCESS)
        cl_qmap_init(&counter_map);
    return status;
}

zv_acl_rm_status_t __acl_rm_db_counter_find(uint32_t counter_id, CounterItem **counter_item) {
    if (counter_item == nullptr)
        return db_log.fail(ZV_ACL_RM_STATUS_PARAM_NULL, "counter_item is NULL.\n");
    cl_map_item_t *map_item = cl_qmap_get(&counter_map, counter_id);
    *counter_item = map_item == cl_qmap_end(&counter_map) ? nullptr : item_of(map_item);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

CounterItem *take_counter_item(uint32_t counter_id) {
    auto *item = reinterpret_cast<CounterItem *>(cl_qpool_get(&counter_pool));
    if (item == nullptr)
        return nullptr;
    item->counter_id = counter_id;
    cl_qmap_insert(&counter_map, counter_id, &item->map_item);
    return item;
}

void return_counter_item(CounterItem *item) {
    cl_qmap_remove_item(&counter_map, &item->map_item);
    cl_qpool_put(&counter_pool, &item->pool_item);
}

void destroy_counter_items() {
    while (cl_qmap_head(&counter_map) != cl_qmap_end(&counter_map))
        return_counter_item(item_of(cl_qmap_head(&counter_map)));
    cl_qpool_destroy(&counter_pool);
}
