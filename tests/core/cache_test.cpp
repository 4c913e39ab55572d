// Rule keys, the guarded insert and remove, and the tables' capacities.
#include <gtest/gtest.h>

#include <cstring>

#include "daemon/logging.h"
#include "tests/core/core_fixture.h"
#include "utils/utils_allocator.h"

namespace {

using namespace zv_unit;

class CacheTest : public CacheFixture {
  protected:
    static std::string key_of(uint32_t acl_id, uint32_t offset) {
        rule_key key;
        memset(key, 'x', sizeof(key));
        EXPECT_EQ(build_key_format(key, acl_id, offset), ZV_ACL_RM_STATUS_SUCCESS);
        return std::string(key, sizeof(key));
    }
    static std::string padded(std::string text) {
        text.resize(RULE_KEY_BYTES, '\0');
        return text;
    }
};

TEST_F(CacheTest, RuleKeyIsDecimalTextPaddedWithZeros) {
    EXPECT_EQ(key_of(7, 12), padded("7_12"));
    EXPECT_EQ(key_of(0, 0), padded("0_0"));
    EXPECT_EQ(key_of(4294967295u, 4294967295u), padded("4294967295_4294967295"));
}

TEST_F(CacheTest, RuleKeyIsToldAtInfoWithItsTrailingBlank) {
    acl_rm_verbosity_level = 4;
    key_of(7, 12);
    EXPECT_EQ(take_lines(), Lines{line(INFO_MASK, "key_format:7_12 ")});
}

TEST_F(CacheTest, RuleKeyNeedsAPlace) {
    EXPECT_EQ(build_key_format(nullptr, 1, 2), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{passed_up(1)});
}

TEST_F(CacheTest, RuleKeysOfTheSameDigitsAreApart) {
    cache_rule(1, 23, 100);
    cache_rule(12, 3, 200);
    EXPECT_EQ(cached_rule(1, 23)->region_id, 100u);
    EXPECT_EQ(cached_rule(12, 3)->region_id, 200u);
    EXPECT_EQ(entries_num(acl_rule_id_2_region_id_ht), 2u);
}

TEST_F(CacheTest, InsertKeepsACopy) {
    const uint32_t key = 7;
    forward_pbs_info info = {1, 2, 3, 4};
    EXPECT_EQ(ht_safe_insert(logical_forward_port_2_forward_pbs_info_ht, &key, &info),
              ZV_ACL_RM_STATUS_SUCCESS);
    info.times_consumed = 99;
    EXPECT_EQ(cached_forwarding(7)->times_consumed, 4u);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(CacheTest, InsertTellsItsSuccessAtDebug) {
    acl_rm_verbosity_level = 5;
    const uint32_t key = 7;
    const forward_pbs_info info = {};
    EXPECT_EQ(ht_safe_insert(logical_forward_port_2_forward_pbs_info_ht, &key, &info),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(has_debug_line(take_lines(), "ht_safe_insert", "Insert successful"));
}

TEST_F(CacheTest, InsertRefusesAKeyThatIsThereAndKeepsItsValue) {
    const uint32_t key = 7;
    cache_forwarding(key, {1, 2, 3, 4});
    const forward_pbs_info other = {5, 6, 7, 8};
    EXPECT_EQ(ht_safe_insert(logical_forward_port_2_forward_pbs_info_ht, &key, &other),
              ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "key already found while trying to insert new key.")});
    EXPECT_EQ(cached_forwarding(7)->times_consumed, 4u);
    EXPECT_EQ(entries_num(logical_forward_port_2_forward_pbs_info_ht), 1u);
}

TEST_F(CacheTest, InsertReportsAMissingTable) {
    const uint32_t key = 7;
    EXPECT_EQ(ht_safe_insert(nullptr, &key, &key), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "hash table not initialized")});
}

TEST_F(CacheTest, RemoveTakesTheKeyOutAndTellsItInTheWordsOfItsFailure) {
    const uint32_t key = 7;
    cache_forwarding(key, {});
    acl_rm_verbosity_level = 5;
    EXPECT_EQ(ht_safe_remove(logical_forward_port_2_forward_pbs_info_ht, &key),
              ZV_ACL_RM_STATUS_SUCCESS);
    const Lines lines = take_lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(is_debug_line(lines[0], "acl_rm.c", "ht_safe_remove", "Remove not successful"))
        << lines[0];
    EXPECT_EQ(cached_forwarding(7), nullptr);
}

TEST_F(CacheTest, RemoveSaysNothingOfItsSuccessBelowDebug) {
    const uint32_t key = 7;
    cache_forwarding(key, {});
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(ht_safe_remove(logical_forward_port_2_forward_pbs_info_ht, &key),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(CacheTest, RemoveReportsAnAbsentKey) {
    const uint32_t key = 7;
    EXPECT_EQ(ht_safe_remove(logical_forward_port_2_forward_pbs_info_ht, &key),
              ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(),
              Lines{failure(5, "key not found while trying to remove region from DB")});
}

TEST_F(CacheTest, RemoveReportsAMissingTable) {
    const uint32_t key = 7;
    EXPECT_EQ(ht_safe_remove(nullptr, &key), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "hash table not initialized")});
}

TEST_F(CacheTest, RemoveReportsATableThatRefuses) {
    const uint32_t key = 7;
    cache_forwarding(key, {});
    // The pool does not take back an item that it holds for free.
    ht_zvlib_t *table = logical_forward_port_2_forward_pbs_info_ht;
    ASSERT_EQ(utils_allocator_freeIndex(table->pool->allocator, 0), 1);
    EXPECT_EQ(ht_safe_remove(table, &key), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "Remove not successful")});
    EXPECT_NE(cached_forwarding(7), nullptr);
}

// Each capacity: the last entry that fits and the first that does not.
template <class Value>
void expect_capacity(ht_zvlib_t *table, uint32_t capacity) {
    const Value value = {};
    for (uint32_t id = 1; id <= capacity; id++)
        ASSERT_EQ(ht_safe_insert(table, &id, &value), ZV_ACL_RM_STATUS_SUCCESS) << id;
    EXPECT_EQ(take_lines(), Lines{});
    const uint32_t one_more = capacity + 1;
    EXPECT_EQ(ht_safe_insert(table, &one_more, &value), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "Insert not successful")});
    EXPECT_EQ(entries_num(table), capacity);
    const uint32_t first = 1;
    EXPECT_EQ(ht_safe_remove(table, &first), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ht_safe_insert(table, &one_more, &value), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(CacheTest, Holds128Groups) {
    expect_capacity<sdk_grp_info>(sdk_acl_grp_2_sdk_acl_grp_info_table_ht, 128);
}

TEST_F(CacheTest, Holds648Acls) {
    expect_capacity<acl_id_info>(acl_id_2_acl_id_info_table_ht, 648);
}

TEST_F(CacheTest, Holds100ForwardingEntries) {
    expect_capacity<forward_pbs_info>(logical_forward_port_2_forward_pbs_info_ht, 100);
}

TEST_F(CacheTest, Holds6400McGroups) {
    expect_capacity<mcg_id_info>(mcg_id_2_mcg_id_info_table_ht, 6400);
}

TEST_F(CacheTest, Holds6400Rules) {
    const acl_rule_entry entry = {};
    rule_key key;
    for (uint32_t offset = 0; offset < 6400; offset++) {
        build_key_format(key, 1, offset);
        ASSERT_EQ(ht_safe_insert(acl_rule_id_2_region_id_ht, key, &entry),
                  ZV_ACL_RM_STATUS_SUCCESS);
    }
    build_key_format(key, 1, 6400);
    EXPECT_EQ(ht_safe_insert(acl_rule_id_2_region_id_ht, key, &entry), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "Insert not successful")});
    EXPECT_EQ(entries_num(acl_rule_id_2_region_id_ht), 6400u);
}

TEST_F(CacheTest, Holds648BindPointsInOneChain) {
    const uint32_t group_id = 5;
    for (uint32_t i = 0; i < 648; i++) {
        const bind_point_key key = {i % 2, 65537 + i};
        ASSERT_EQ(ht_safe_insert(port_id_2_sdk_acl_group_ht, &key, &group_id),
                  ZV_ACL_RM_STATUS_SUCCESS);
    }
    EXPECT_EQ(port_id_2_sdk_acl_group_ht->bucket_counts[0], 648u);
    EXPECT_EQ(entries_num(port_id_2_sdk_acl_group_ht), 648u);
    const bind_point_key one_more = {0, 1};
    EXPECT_EQ(ht_safe_insert(port_id_2_sdk_acl_group_ht, &one_more, &group_id),
              ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "Insert not successful")});
}

TEST_F(CacheTest, PortAndRouterInterfaceOfOneNumberAreApart) {
    cache_bind_point({0, 9}, 1);
    cache_bind_point({1, 9}, 2);
    EXPECT_EQ(group_at({0, 9}), 1u);
    EXPECT_EQ(group_at({1, 9}), 2u);
}

TEST_F(CacheTest, IntegerKeysSpreadOverTheBuckets) {
    cache_mc_group(1, {});
    cache_mc_group(2, {});
    EXPECT_EQ(mcg_id_2_mcg_id_info_table_ht->bucket_counts[1], 1u);
    EXPECT_EQ(mcg_id_2_mcg_id_info_table_ht->bucket_counts[2], 1u);
}

TEST_F(CacheTest, RuleAddressedByALookUpIsEditedInPlace) {
    cache_rule(1, 2, 3);
    cached_rule(1, 2)->counter_id = 44;
    EXPECT_EQ(cached_rule(1, 2)->counter_id, 44u);
}

}  // namespace
