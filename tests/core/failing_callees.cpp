#include "tests/core/failing_callees.h"

#include <cstdio>

#include "core/acl_rm_types.h"
#include "core/db/acl_rm_db_items.h"
#include "utils/ht_zvlib.h"
#include "zv_acl_rm/zv_acl_rm_status.h"
#include "zv_api.h"
#include "zv_net.h"

namespace zv_unit {

namespace {

enum class Act { nothing, fail, lose_entry, empty_step, claim_more };

struct Order {
    Act act = Act::nothing;
    std::string function;
    uint32_t calls_left = 0;
    uint32_t result = 0;
};

Order &order() {
    static auto &the_order = *new Order;
    return the_order;
}

// What is to happen at this call of the function.
Act take(const char *function) {
    Order &ordered = order();
    if (ordered.act == Act::nothing || ordered.function != function || --ordered.calls_left != 0)
        return Act::nothing;
    const Act act = ordered.act;
    ordered.act = Act::nothing;
    return act;
}

}  // namespace

void fail_callee(const std::string &function, uint32_t nth, uint32_t result) {
    order() = {Act::fail, function, nth, result};
}

void lose_entry_at_lookup(uint32_t nth) {
    order() = {Act::lose_entry, "ht_lookup_zvlib", nth, 0};
}

void find_nothing_at_first_step() {
    order() = {Act::empty_step, "ht_iter_get_first_zvlib", 1, 0};
}

void claim_more(const std::string &function, uint32_t nth, uint32_t count) {
    order() = {Act::claim_more, function, nth, count};
}

bool callee_failure_is_pending() {
    return order().act != Act::nothing;
}

}  // namespace zv_unit

using zv_unit::Act;

// The linker knows functions by their symbols, which name the arguments' types.
#define ZV_CALLEE(type, function, symbol, parameters, arguments) \
    extern "C" type __real_##symbol parameters;                  \
    extern "C" type __wrap_##symbol parameters {                 \
        if (zv_unit::take(#function) == Act::fail)               \
            return static_cast<type>(zv_unit::order().result);   \
        return __real_##symbol arguments;                        \
    }

ZV_CALLEE(zv_acl_rm_status_t, build_key_format, _Z16build_key_formatPcjj,
          (char *key, uint32_t acl_id, uint32_t offset), (key, acl_id, offset))
ZV_CALLEE(zv_acl_rm_status_t, __convert_priority_to_offset, _Z28__convert_priority_to_offsetPjj,
          (uint32_t * offset, uint32_t priority), (offset, priority))
ZV_CALLEE(zv_acl_rm_status_t, __acl_rm_db_counter_find,
          _Z24__acl_rm_db_counter_findjPP11CounterItem, (uint32_t id, CounterItem **item),
          (id, item))
ZV_CALLEE(zv_acl_rm_status_t, acl_rm_db_counter_init, _Z22acl_rm_db_counter_initj,
          (uint32_t items_num), (items_num))
ZV_CALLEE(zv_acl_rm_status_t, acl_rm_db_counter_ref_counter_get,
          _Z33acl_rm_db_counter_ref_counter_getjPj, (uint32_t id, uint32_t *references),
          (id, references))
ZV_CALLEE(zv_acl_rm_status_t, acl_rm_db_counter_type_get, _Z26acl_rm_db_counter_type_getjPm,
          (uint32_t id, uint64_t *type), (id, type))
ZV_CALLEE(zv_acl_rm_status_t, acl_rm_db_counter_ref_counter_update,
          _Z36acl_rm_db_counter_ref_counter_updatejj, (uint32_t id, uint32_t command),
          (id, command))
ZV_CALLEE(zv_acl_rm_status_t, acl_rm_db_counter_destroy, _Z25acl_rm_db_counter_destroyj,
          (uint32_t id), (id))
ZV_CALLEE(zv_acl_rm_status_t, acl_rm_db_counter_is_allocated_counter,
          _Z38acl_rm_db_counter_is_allocated_counterjPj, (uint32_t id, uint32_t *is_allocated),
          (id, is_allocated))
ZV_CALLEE(zv_acl_rm_status_t, ht_acl_id_2_acl_info_remove, _Z27ht_acl_id_2_acl_info_removej,
          (uint32_t acl_id), (acl_id))
ZV_CALLEE(int, ht_insert_zvlib, _Z15ht_insert_zvlibP10ht_zvlib_tPKvS2_,
          (ht_zvlib_t * table, const void *key, const void *value), (table, key, value))
ZV_CALLEE(int, ht_delete_zvlib, _Z15ht_delete_zvlibP10ht_zvlib_tPKv,
          (ht_zvlib_t * table, const void *key), (table, key))
ZV_CALLEE(int, ht_iter_get_next_zvlib, _Z22ht_iter_get_next_zvlibP19ht_iterator_zvlib_tPPvS2_Pj,
          (ht_iterator_zvlib_t * iterator, void **key, void **value, uint32_t *is_found),
          (iterator, key, value, is_found))

extern "C" FILE *__real_fdopen(int fd, const char *mode);
extern "C" FILE *__wrap_fdopen(int fd, const char *mode) {
    return zv_unit::take("fdopen") == Act::fail ? nullptr : __real_fdopen(fd, mode);
}

extern "C" int __real__Z15ht_lookup_zvlibP10ht_zvlib_tPKvPPvPj(ht_zvlib_t *table, const void *key,
                                                               void **value, uint32_t *is_found);
extern "C" int __wrap__Z15ht_lookup_zvlibP10ht_zvlib_tPKvPPvPj(ht_zvlib_t *table, const void *key,
                                                               void **value, uint32_t *is_found) {
    switch (zv_unit::take("ht_lookup_zvlib")) {
        case Act::fail:
            return 1;
        case Act::lose_entry:
            *is_found = 0;
            return 0;
        default:
            return __real__Z15ht_lookup_zvlibP10ht_zvlib_tPKvPPvPj(table, key, value, is_found);
    }
}

extern "C" int __real__Z23ht_iter_get_first_zvlibP19ht_iterator_zvlib_tPPvS2_Pj(
    ht_iterator_zvlib_t *iterator, void **key, void **value, uint32_t *is_found);
extern "C" int __wrap__Z23ht_iter_get_first_zvlibP19ht_iterator_zvlib_tPPvS2_Pj(
    ht_iterator_zvlib_t *iterator, void **key, void **value, uint32_t *is_found) {
    if (zv_unit::take("ht_iter_get_first_zvlib") == Act::empty_step) {
        *is_found = 1;
        return 0;
    }
    return __real__Z23ht_iter_get_first_zvlibP19ht_iterator_zvlib_tPPvS2_Pj(iterator, key, value,
                                                                            is_found);
}

extern "C" uint32_t __real_zv_net_ports_get_all(uint32_t selector, zv_net_port_t *ports,
                                                uint32_t *count);
extern "C" uint32_t __wrap_zv_net_ports_get_all(uint32_t selector, zv_net_port_t *ports,
                                                uint32_t *count) {
    const Act act = zv_unit::take("zv_net_ports_get_all");
    const uint32_t status = __real_zv_net_ports_get_all(selector, ports, count);
    if (act == Act::claim_more)
        *count = zv_unit::order().result;
    return status;
}

extern "C" zv_status_t __real_zv_api_acl_policy_based_switching_get(zv_api_handle_t handle,
                                                                    uint32_t cmd, uint8_t switch_id,
                                                                    uint32_t pbs_id,
                                                                    zv_acl_pbs_entry_t *entry);
extern "C" zv_status_t __wrap_zv_api_acl_policy_based_switching_get(zv_api_handle_t handle,
                                                                    uint32_t cmd, uint8_t switch_id,
                                                                    uint32_t pbs_id,
                                                                    zv_acl_pbs_entry_t *entry) {
    const Act act = zv_unit::take("zv_api_acl_policy_based_switching_get");
    const zv_status_t status =
        __real_zv_api_acl_policy_based_switching_get(handle, cmd, switch_id, pbs_id, entry);
    if (act == Act::claim_more)
        entry->port_count = zv_unit::order().result;
    return status;
}
