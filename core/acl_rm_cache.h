// The daemon's cache: its own picture of everything it has programmed into the switch.
//
// Six chained hash tables of fixed capacity with one iterator each, two counters, and the guarded
// insert and remove that all modules use. Everything belongs to the command thread; nothing locks.
// Because each table has one iterator, a walk must not be nested in another walk of the same table.
//
// A look-up yields the address of the table's own copy of the value: callers edit it in place, and
// it stays valid until the entry is removed. The only memory hanging off a value is
// acl_id_info.valid_offsets, owned by the ACL's entry.
#pragma once

#include <stdint.h>

#include "core/acl_rm_types.h"
#include "utils/ht_zvlib.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// table                                        key             value             capacity
extern ht_zvlib_t *acl_rule_id_2_region_id_ht;                  // rule_key, acl_rule_entry, 6400
extern ht_zvlib_t *sdk_acl_grp_2_sdk_acl_grp_info_table_ht;     // u32 group id, sdk_grp_info, 128
extern ht_zvlib_t *acl_id_2_acl_id_info_table_ht;               // u32 ACL id, acl_id_info, 648
extern ht_zvlib_t *port_id_2_sdk_acl_group_ht;                  // bind_point_key, u32 group id, 648
extern ht_zvlib_t *logical_forward_port_2_forward_pbs_info_ht;  // u32 port, forward_pbs_info, 100
extern ht_zvlib_t *mcg_id_2_mcg_id_info_table_ht;               // u32 group id, mcg_id_info, 6400

extern ht_iterator_zvlib_t *acl_rule_id_2_region_id_it;
extern ht_iterator_zvlib_t *sdk_acl_grp_2_sdk_acl_grp_info_table_it;
extern ht_iterator_zvlib_t *acl_id_2_acl_id_info_table_it;
extern ht_iterator_zvlib_t *port_id_2_sdk_acl_group_it;
extern ht_iterator_zvlib_t *logical_forward_port_2_forward_pbs_info_it;
extern ht_iterator_zvlib_t *mcg_id_2_mcg_id_info_table_it;

extern uint16_t g_acl_table_cnt;  // ACLs that exist in the switch
extern uint16_t g_rules_cnt;      // cached rules

// Creates the tables and the counter database, once, at start-up. SUCCESS; ERROR when a table or
// an iterator cannot be created; the database's status when it cannot. What was built stays.
zv_acl_rm_status_t acl_rm_internal_acl_rm_cache_init();

// Releases the tables with everything in them; the switch is not touched. SUCCESS, or ERROR at the
// first table or iterator that cannot be freed, with the later ones left.
zv_acl_rm_status_t acl_rm_internal_acl_rm_cache_deinit();

// Finds a cached ACL; null otherwise. ENTRY_NOT_FOUND; ERROR when the table is missing.
zv_acl_rm_status_t find_acl(uint32_t acl_id, acl_id_info **info);

// Releases the flags of an ACL's offsets; it then has none.
void release_valid_offsets(acl_id_info *info);

// A rule's priority is its offset. PARAM_NULL without a place for it.
zv_acl_rm_status_t __convert_priority_to_offset(uint32_t *offset, uint32_t priority);

// Writes the key of a rule. SUCCESS; ERROR without a place for it.
zv_acl_rm_status_t build_key_format(char *key, uint32_t acl_id, uint32_t offset);

// Inserts a copy of the value. ERROR when the table is missing, the key present or the table full;
// nothing is changed then.
zv_acl_rm_status_t ht_safe_insert(ht_zvlib_t *table, const void *key, const void *value);

// Removes the key. ERROR when the table is missing or refuses, ENTRY_NOT_FOUND for an absent key.
zv_acl_rm_status_t ht_safe_remove(ht_zvlib_t *table, const void *key);

// The same, bound to their table, with texts that name the id.
zv_acl_rm_status_t ht_acl_id_2_acl_info_insert(uint32_t acl_id, const acl_id_info *info);
zv_acl_rm_status_t ht_acl_id_2_acl_info_remove(uint32_t acl_id);
zv_acl_rm_status_t ht_mcg_id_2_mcg_info_insert(uint32_t mc_group_id, const mcg_id_info *info);
zv_acl_rm_status_t ht_mcg_id_2_mcg_info_remove(uint32_t mc_group_id);

// How a look-up ended; it fails only where the table is missing.
enum class Lookup { failed, absent, found };

// Looks a key up; *value is set only when found.
template <class Value>
Lookup look_up(ht_zvlib_t *table, const void *key, Value **value) {
    void *raw = nullptr;
    uint32_t is_found = 0;
    if (ht_lookup_zvlib(table, key, &raw, &is_found) != 0)
        return Lookup::failed;
    if (is_found == 0)
        return Lookup::absent;
    *value = static_cast<Value *>(raw);
    return Lookup::found;
}

// Walks a table with its iterator and calls visit(const Key *, Value *) for each entry. 0, or 1
// when the iterator fails, which it does only where it is missing.
template <class Key, class Value, class Visit>
int walk_table(ht_iterator_zvlib_t *iterator, Visit visit) {
    void *key = nullptr;
    void *value = nullptr;
    uint32_t is_found = 0;
    int result = ht_iter_get_first_zvlib(iterator, &key, &value, &is_found);
    while (result == 0 && is_found != 0) {
        visit(static_cast<const Key *>(key), static_cast<Value *>(value));
        result = ht_iter_get_next_zvlib(iterator, &key, &value, &is_found);
    }
    return result;
}
