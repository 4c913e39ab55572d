#include "tests/core/core_fixture.h"

#include "core/acl_rm.h"
#include "core/acl_rm_owner.h"
#include "core/db/acl_rm_db.h"
#include "daemon/device_limits.h"
#include "daemon/logging.h"
#include "zv_log.h"

namespace zv_unit {
namespace {

template <class Value>
Value *cached(ht_zvlib_t *table, const void *key) {
    Value *value = nullptr;
    return look_up(table, key, &value) == Lookup::found ? value : nullptr;
}

}  // namespace

void CacheFixture::SetUp() {
    record_calls(dir_.file("trace"));
    capture_log();
    ASSERT_EQ(acl_rm_internal_acl_rm_cache_init(), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(take_lines(), Lines{});
}

void CacheFixture::TearDown() {
    clear_faults();
    acl_rm_db_counter_deinit();
    acl_rm_internal_acl_rm_cache_deinit();
    zv_log_close();
}

void ConnectedFixture::SetUp() {
    CacheFixture::SetUp();
    for (uint32_t owner = 0; owner < ZV_ACL_RM_OWNER_NUM; owner++)
        ASSERT_EQ(acl_rm_open_new_client(OPEN_FLOW_HANDLE + owner, owner),
                  ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(acl_rm_resources_init(3), 0u);
}

uint32_t ConnectedFixture::create_acl(uint32_t size, uint64_t handle, uint32_t direction) {
    acl_rm_acl acl = {};
    acl.direction = direction;
    acl.min_size = size;
    acl.max_size = size;
    EXPECT_EQ(acl_rm_acl_set(handle, ZV_ACL_RM_ACCESS_CMD_CREATE, &acl), ZV_ACL_RM_STATUS_SUCCESS);
    return acl.acl_id;
}

void RulesFixture::SetUp() {
    ConnectedFixture::SetUp();
    ASSERT_EQ(create_acl(16), ACL);
    ASSERT_EQ(cached_acl(ACL)->region_id, REGION);
    write({});
}

void RulesFixture::write(std::vector<acl_rm_rule> rules) {
    const auto rules_num = static_cast<uint32_t>(rules.size());
    ASSERT_EQ(acl_rm_acl_rule_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_WRITE, ACL, rules.data(),
                                  &rules_num),
              ZV_ACL_RM_STATUS_SUCCESS);
    take_lines();
    calls_before_ = switch_call_names().size();
}

uint32_t *RulesFixture::cached_flags() const {
    return cached_acl(ACL)->valid_offsets;
}

std::vector<std::string> RulesFixture::new_calls() const {
    std::vector<std::string> names = switch_call_names();
    names.erase(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(calls_before_));
    return names;
}

void cache_acl(uint32_t acl_id, uint32_t owner, uint32_t direction) {
    acl_id_info info = {};
    info.acl_id = acl_id;
    info.acl_owner = static_cast<int32_t>(owner);
    info.direction = direction;
    ASSERT_EQ(ht_insert_zvlib(acl_id_2_acl_id_info_table_ht, &acl_id, &info), 0);
}

void cache_group(uint32_t group_id, const std::vector<uint32_t> &acl_ids, uint32_t direction) {
    sdk_grp_info info = {};
    for (const uint32_t acl_id : acl_ids)
        info.acl_id_arr[info.acl_id_arr_len++] = acl_id;
    info.direction = direction;
    ASSERT_EQ(ht_insert_zvlib(sdk_acl_grp_2_sdk_acl_grp_info_table_ht, &group_id, &info), 0);
}

void cache_bind_point(const bind_point_key &key, uint32_t group_id) {
    ASSERT_EQ(ht_insert_zvlib(port_id_2_sdk_acl_group_ht, &key, &group_id), 0);
}

void cache_forwarding(uint32_t log_port, const forward_pbs_info &info) {
    ASSERT_EQ(ht_insert_zvlib(logical_forward_port_2_forward_pbs_info_ht, &log_port, &info), 0);
}

void cache_mc_group(uint32_t mc_group_id, const mcg_id_info &info) {
    ASSERT_EQ(ht_insert_zvlib(mcg_id_2_mcg_id_info_table_ht, &mc_group_id, &info), 0);
}

void cache_rule(uint32_t acl_id, uint32_t offset, uint32_t region_id) {
    rule_key key;
    acl_rule_entry entry = {};
    entry.offset = offset;
    entry.region_id = region_id;
    ASSERT_EQ(build_key_format(key, acl_id, offset), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(ht_insert_zvlib(acl_rule_id_2_region_id_ht, key, &entry), 0);
}

acl_id_info *cached_acl(uint32_t acl_id) {
    return cached<acl_id_info>(acl_id_2_acl_id_info_table_ht, &acl_id);
}

sdk_grp_info *cached_group(uint32_t group_id) {
    return cached<sdk_grp_info>(sdk_acl_grp_2_sdk_acl_grp_info_table_ht, &group_id);
}

forward_pbs_info *cached_forwarding(uint32_t log_port) {
    return cached<forward_pbs_info>(logical_forward_port_2_forward_pbs_info_ht, &log_port);
}

acl_rule_entry *cached_rule(uint32_t acl_id, uint32_t offset) {
    rule_key key;
    if (build_key_format(key, acl_id, offset) != ZV_ACL_RM_STATUS_SUCCESS)
        return nullptr;
    return cached<acl_rule_entry>(acl_rule_id_2_region_id_ht, key);
}

uint32_t group_at(const bind_point_key &key) {
    const auto *group_id = cached<PackedId>(port_id_2_sdk_acl_group_ht, &key);
    return group_id == nullptr ? 0 : group_id->value;
}

std::vector<uint32_t> acl_ids_of(uint32_t group_id) {
    std::vector<uint32_t> acl_ids;
    const sdk_grp_info *group = cached_group(group_id);
    for (uint32_t i = 0; group != nullptr && i < group->acl_id_arr_len; i++)
        acl_ids.push_back(group->acl_id_arr[i]);
    return acl_ids;
}

uint32_t entries_num(ht_zvlib_t *table) {
    uint32_t entries = 0;
    for (uint32_t bucket = 0; bucket < table->num_buckets; bucket++)
        entries += table->bucket_counts[bucket];
    return entries;
}

acl_rm_rule rule_at(uint32_t priority, uint32_t key_type) {
    acl_rm_rule rule = {};
    rule.priority = priority;
    rule.key.key_type = key_type;
    return rule;
}

acl_rm_rule rule_to_port(uint32_t priority, uint32_t log_port) {
    acl_rm_rule rule = rule_at(priority);
    rule.forwarding.type = FORWARDING_TYPE_LOG_PORT;
    rule.forwarding.log_port = log_port;
    return rule;
}

acl_rm_rule counting_rule(uint32_t priority, uint32_t counter_id) {
    acl_rm_rule rule = rule_at(priority);
    rule.forwarding.counter_id = counter_id;
    return rule;
}

}  // namespace zv_unit
