#include "core/acl_rm_cache.h"

#include <cstring>

#include <charconv>

#include "complib/cl_memory.h"
#include "core/db/acl_rm_db.h"
#include "daemon/logging.h"

ht_zvlib_t *acl_rule_id_2_region_id_ht;
ht_zvlib_t *sdk_acl_grp_2_sdk_acl_grp_info_table_ht;
ht_zvlib_t *acl_id_2_acl_id_info_table_ht;
ht_zvlib_t *port_id_2_sdk_acl_group_ht;
ht_zvlib_t *logical_forward_port_2_forward_pbs_info_ht;
ht_zvlib_t *mcg_id_2_mcg_id_info_table_ht;

ht_iterator_zvlib_t *acl_rule_id_2_region_id_it;
ht_iterator_zvlib_t *sdk_acl_grp_2_sdk_acl_grp_info_table_it;
ht_iterator_zvlib_t *acl_id_2_acl_id_info_table_it;
ht_iterator_zvlib_t *port_id_2_sdk_acl_group_it;
ht_iterator_zvlib_t *logical_forward_port_2_forward_pbs_info_it;
ht_iterator_zvlib_t *mcg_id_2_mcg_id_info_table_it;

uint16_t g_acl_table_cnt;
uint16_t g_rules_cnt;

namespace {

struct CacheTable {
    ht_zvlib_t **table;
    ht_iterator_zvlib_t **iterator;
    uint32_t key_bytes;
    uint32_t value_bytes;
    uint32_t max_entries;
    uint32_t buckets;
    uint32_t hash_kind;
};

// In the order of creation and of release.
constexpr CacheTable cache_tables[] = {
    {&acl_rule_id_2_region_id_ht, &acl_rule_id_2_region_id_it, RULE_KEY_BYTES,
     sizeof(acl_rule_entry), MAX_RULES_NUM, 12800, HT_HASH_STRING_ZVLIB},
    {&sdk_acl_grp_2_sdk_acl_grp_info_table_ht, &sdk_acl_grp_2_sdk_acl_grp_info_table_it, 4,
     sizeof(sdk_grp_info), MAX_ACL_GROUPS_NUM, 256, HT_HASH_INTEGER_ZVLIB},
    {&acl_id_2_acl_id_info_table_ht, &acl_id_2_acl_id_info_table_it, 4, sizeof(acl_id_info), 648,
     1296, HT_HASH_INTEGER_ZVLIB},
    // Kept: an 8-byte key and the integer hash put every bind point into one chain, and the dump
    // lists that chain newest first.
    {&port_id_2_sdk_acl_group_ht, &port_id_2_sdk_acl_group_it, sizeof(bind_point_key), 4,
     MAX_BIND_POINTS_NUM, 1296, HT_HASH_INTEGER_ZVLIB},
    {&logical_forward_port_2_forward_pbs_info_ht, &logical_forward_port_2_forward_pbs_info_it, 4,
     sizeof(forward_pbs_info), 100, 200, HT_HASH_INTEGER_ZVLIB},
    {&mcg_id_2_mcg_id_info_table_ht, &mcg_id_2_mcg_id_info_table_it, 4, sizeof(mcg_id_info), 6400,
     12800, HT_HASH_INTEGER_ZVLIB},
};

enum HtStatus {
    HT_OK,
    HT_TABLE_NOT_CREATED,
    HT_ITERATOR_NOT_CREATED,
    HT_TABLE_NOT_FREED,
    HT_ITERATOR_NOT_FREED
};

constexpr const char *ht_status_text[] = {
    "OK",
    "failed to create hash table.",
    "failed to create iterator for hash table.",
    "failed to free hash table.",
    "failed to free iterator for hash table.",
};

zv_acl_rm_status_t log_ht_failure(HtStatus status) {
    LOG_LINE(core_log, error, "ZV_ACL_RM_ERROR, error: %d, %s\n", static_cast<int>(status),
             ht_status_text[status]);
    return ZV_ACL_RM_STATUS_ERROR;
}

zv_acl_rm_status_t create_table(const CacheTable &row) {
    if (ht_create_zvlib(row.table, row.key_bytes, row.value_bytes, row.max_entries, row.buckets,
                        row.hash_kind) != 0)
        return log_ht_failure(HT_TABLE_NOT_CREATED);
    if (ht_create_iterator_zvlib(*row.table, row.iterator) != 0)
        return log_ht_failure(HT_ITERATOR_NOT_CREATED);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t free_table(const CacheTable &row) {
    if (ht_free_zvlib(row.table) != 0)
        return log_ht_failure(HT_TABLE_NOT_FREED);
    if (ht_free_iterator_zvlib(row.iterator) != 0)
        return log_ht_failure(HT_ITERATOR_NOT_FREED);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t create_counter_db() {
    const zv_acl_rm_status_t status = acl_rm_db_counter_init(MAX_COUNTERS_NUM);
    if (status == ZV_ACL_RM_STATUS_NO_HW_RESOURCES)
        return core_log.pass_up(status);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.fail(status, "ACL RM init counter DB failure.");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t release_all_valid_offsets() {
    void *key = nullptr;
    void *info = nullptr;
    uint32_t is_found = 0;
    if (ht_iter_get_first_zvlib(acl_id_2_acl_id_info_table_it, &key, &info, &is_found) != 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "Failed to get first key of HT: acl_id_2_acl_id_info_table_ht");
    while (is_found != 0) {
        release_valid_offsets(static_cast<acl_id_info *>(info));
        if (ht_iter_get_next_zvlib(acl_id_2_acl_id_info_table_it, &key, &info, &is_found) != 0)
            return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

// Whether a key is there, for operations that do not need the value.
Lookup look_up_key(ht_zvlib_t *table, const void *key) {
    void *value = nullptr;
    return look_up(table, key, &value);
}

// A table whose messages name the id that they are about.
struct NamedTable {
    ht_zvlib_t **table;
    const char *name;        // in the texts about the table
    const char *entry_name;  // in the texts about one entry
};

constexpr NamedTable acl_table = {&acl_id_2_acl_id_info_table_ht, "acl_id_2_acl_info", "acl id"};
constexpr NamedTable mcg_table = {&mcg_id_2_mcg_id_info_table_ht, "mcg_id_2_mcg_info", "mcg id"};

zv_acl_rm_status_t report_missing_table(const NamedTable &row) {
    return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "%s hash table not initialized", row.name);
}

// "acl" also where the group is meant: kept word for word, as everywhere below.
zv_acl_rm_status_t insert_named(const NamedTable &row, uint32_t id, const void *value) {
    switch (look_up_key(*row.table, &id)) {
        case Lookup::failed:
            return report_missing_table(row);
        case Lookup::found:
            return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                                 "%s:%u already found while trying to insert new acl to DB.",
                                 row.entry_name, id);
        case Lookup::absent:
            break;
    }
    if (ht_insert_zvlib(*row.table, &id, value) != 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "Insert not successful");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t remove_named(const NamedTable &row, uint32_t id) {
    if (look_up_key(*row.table, &id) != Lookup::found)
        return core_log.fail(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
                             "%s:%u not found while trying to remove acl from DB", row.entry_name,
                             id);
    if (ht_delete_zvlib(*row.table, &id) != 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "delete not successful");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t acl_rm_internal_acl_rm_cache_init() {
    std::memset(error_msg, 0, sizeof(error_msg));
    for (const CacheTable &row : cache_tables) {
        const zv_acl_rm_status_t status = create_table(row);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
    }
    return create_counter_db();
}

zv_acl_rm_status_t acl_rm_internal_acl_rm_cache_deinit() {
    for (const CacheTable &row : cache_tables) {
        zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
        if (row.table == &acl_id_2_acl_id_info_table_ht)
            status = release_all_valid_offsets();
        if (status == ZV_ACL_RM_STATUS_SUCCESS)
            status = free_table(row);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t find_acl(uint32_t acl_id, acl_id_info **info) {
    switch (look_up(acl_id_2_acl_id_info_table_ht, &acl_id, info)) {
        case Lookup::failed:
            return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                                 "acl_id_2_acl_info hash table not initialized");
        case Lookup::absent:
            return core_log.fail(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
                                 "acl_id:%u not found in hash table", acl_id);
        case Lookup::found:
            break;
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

void release_valid_offsets(acl_id_info *info) {
    if (info->valid_offsets != nullptr)
        cl_free(info->valid_offsets);
    info->valid_offsets = nullptr;
}

zv_acl_rm_status_t __convert_priority_to_offset(uint32_t *offset, uint32_t priority) {
    if (offset == nullptr)
        return ZV_ACL_RM_STATUS_PARAM_NULL;
    *offset = priority;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t build_key_format(char *key, uint32_t acl_id, uint32_t offset) {
    if (key == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
    // Two conversions and a byte, not a format string: a key is made several times a rule.
    std::memset(key, 0, RULE_KEY_BYTES);
    constexpr uint32_t DIGITS = 10;  // of the largest number
    char *separator = std::to_chars(key, key + DIGITS, acl_id).ptr;
    *separator = '_';
    std::to_chars(separator + 1, separator + 1 + DIGITS, offset);
    LOG_LINE(core_log, info, "key_format:%s ", key);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t ht_safe_insert(ht_zvlib_t *table, const void *key, const void *value) {
    if (table == nullptr || key == nullptr)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "hash table not initialized");
    uint32_t is_found = 0;
    if (ht_insert_new_zvlib(table, key, value, &is_found) != 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             is_found != 0 ? "key already found while trying to insert new key."
                                           : "Insert not successful");
    LOG_LINE(core_log, debug, "Insert successful");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t ht_safe_remove(ht_zvlib_t *table, const void *key) {
    switch (look_up_key(table, key)) {
        case Lookup::failed:
            return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "hash table not initialized");
        case Lookup::absent:
            return core_log.fail(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
                                 "key not found while trying to remove region from DB");
        case Lookup::found:
            break;
    }
    if (ht_delete_zvlib(table, key) != 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "Remove not successful");
    // Kept: the text of the success is the failure's. Readers of the log have learned to expect it.
    LOG_LINE(core_log, debug, "Remove not successful");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t ht_acl_id_2_acl_info_insert(uint32_t acl_id, const acl_id_info *info) {
    const zv_acl_rm_status_t status = insert_named(acl_table, acl_id, info);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        LOG_LINE(core_log, debug, "Insert acl id:[%u] to acl_id_2_acl_info hash table.\n", acl_id);
    return status;
}

zv_acl_rm_status_t ht_acl_id_2_acl_info_remove(uint32_t acl_id) {
    const zv_acl_rm_status_t status = remove_named(acl_table, acl_id);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        LOG_LINE(core_log, debug, "Removed acl id:%u from acl_id_2_acl_info hash table.\n", acl_id);
    return status;
}

zv_acl_rm_status_t ht_mcg_id_2_mcg_info_insert(uint32_t mc_group_id, const mcg_id_info *info) {
    const zv_acl_rm_status_t status = insert_named(mcg_table, mc_group_id, info);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        LOG_LINE(core_log, debug, "Insert MC group id:[%u] to mcg_id_2_mcg_info hash table.\n",
                 mc_group_id);
    return status;
}

zv_acl_rm_status_t ht_mcg_id_2_mcg_info_remove(uint32_t mc_group_id) {
    // Only here the missing table is reported before the missing key.
    if (mcg_id_2_mcg_id_info_table_ht == nullptr)
        return report_missing_table(mcg_table);
    const zv_acl_rm_status_t status = remove_named(mcg_table, mc_group_id);
    if (status == ZV_ACL_RM_STATUS_SUCCESS)
        LOG_LINE(core_log, debug, "Removed acl id:%u from acl_id_2_acl_info hash table.\n",
                 mc_group_id);
    return status;
}
