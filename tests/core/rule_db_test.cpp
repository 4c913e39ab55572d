// The layer under the rule commands: cached rules read, added and deleted, ACL records read.
#include "core/acl_rm_rule_db.h"

#include <gtest/gtest.h>

#include <cstring>

#include "daemon/logging.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

// Every field with a value of its own, the reserved ones too.
acl_rule_entry full_entry() {
    return {11, 12, 13, 14, 15, 16, 17, 18, {19, 20, 21, 22}};
}

bool is_same(const acl_rule_entry &a, const acl_rule_entry &b) {
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

// ACL 1 with 16 offsets over region 1; no rules.
class RuleDbTest : public RulesFixture {
  protected:
    void TearDown() override {
        EXPECT_EQ(g_rules_cnt, 0) << "the count is not this layer's";
        RulesFixture::TearDown();
    }
};

// --- reading rules

TEST_F(RuleDbTest, RuleIsCopiedOutWhole) {
    const acl_rule_entry stored = full_entry();
    ASSERT_EQ(__acl_db_rule_add(ACL, REGION, 3, &stored), ZV_ACL_RM_STATUS_SUCCESS);
    acl_rule_entry entry = {};
    EXPECT_EQ(__acl_db_rule_get(ACL, 3, &entry), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(is_same(entry, stored));
    entry.counter_id = 99;
    EXPECT_TRUE(is_same(*cached_rule(ACL, 3), stored)) << "a copy, not the cache's own";
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(RuleDbTest, AbsentRuleIsANormalAnswer) {
    acl_rule_entry entry = full_entry();
    EXPECT_EQ(__acl_db_rule_get(ACL, 3, &entry), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(is_same(entry, full_entry()));
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(RuleDbTest, KeysOfAclAndOffsetAreNotConfused) {
    cache_rule(1, 23);
    acl_rule_entry entry;
    EXPECT_EQ(__acl_db_rule_get(12, 3, &entry), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(__acl_db_rule_get(1, 23, &entry), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(RuleDbTest, LargestNumbersMakeAKeyToo) {
    cache_rule(4294967295u, 4294967295u);
    acl_rule_entry entry;
    EXPECT_EQ(__acl_db_rule_get(4294967295u, 4294967295u, &entry), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(entry.offset, 4294967295u);
}

TEST_F(RuleDbTest, RuleNeedsItsTable) {
    const Missing gone(acl_rule_id_2_region_id_ht);
    acl_rule_entry entry;
    EXPECT_EQ(__acl_db_rule_get(ACL, 3, &entry), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{passed_up(1)});
}

TEST_F(RuleDbTest, MissingPlaceIsFoundBeforeAMissingTable) {
    const Missing rules_gone(acl_rule_id_2_region_id_ht);
    const Missing acls_gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(__acl_db_rule_get(ACL, 3, nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(__acl_db_rule_add(ACL, REGION, 3, nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(__acl_db_acl_info_get(ACL, nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), (Lines{passed_up(3), passed_up(3), passed_up(3)}));
}

// --- adding

TEST_F(RuleDbTest, AddedRuleIsStoredAsItIsAndMarked) {
    const acl_rule_entry stored = full_entry();
    EXPECT_EQ(__acl_db_rule_add(ACL, REGION, 15, &stored), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(is_same(*cached_rule(ACL, 15), stored)) << "region and offset are the entry's own";
    EXPECT_EQ(flag_at(15), 1u);
    EXPECT_EQ(flag_at(14), 0u);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(RuleDbTest, PresentRuleIsNotReplaced) {
    cache_rule(ACL, 3, REGION);
    const acl_rule_entry stored = full_entry();
    EXPECT_EQ(__acl_db_rule_add(ACL, REGION, 3, &stored), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "key already found while trying to insert new key.")}, 1, 1));
    EXPECT_EQ(cached_rule(ACL, 3)->offset, 3u);
    EXPECT_EQ(flag_at(3), 0u);
}

TEST_F(RuleDbTest, AddingNeedsTheRuleTable) {
    const Missing gone(acl_rule_id_2_region_id_ht);
    const acl_rule_entry stored = full_entry();
    EXPECT_EQ(__acl_db_rule_add(ACL, REGION, 3, &stored), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {failure(1, "hash table not initialized")}, 1, 1));
    EXPECT_EQ(flag_at(3), 0u);
}

TEST_F(RuleDbTest, The6401stRuleDoesNotFit) {
    for (uint32_t offset = 0; offset < 6399; offset++)
        cache_rule(NO_ACL, offset);
    const acl_rule_entry stored = full_entry();
    EXPECT_EQ(__acl_db_rule_add(ACL, REGION, 3, &stored), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(__acl_db_rule_add(ACL, REGION, 4, &stored), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {failure(1, "Insert not successful")}, 1, 1));
    EXPECT_EQ(flag_at(4), 0u);
}

TEST_F(RuleDbTest, RuleOfAnotherRegionIsAddedWithoutAMark) {
    const acl_rule_entry stored = full_entry();
    EXPECT_EQ(__acl_db_rule_add(ACL, REGION + 1, 3, &stored), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_NE(cached_rule(ACL, 3), nullptr);
    EXPECT_EQ(flag_at(3), 0u);
}

// What keeps an offset from being marked leaves its rule in the cache.
TEST_F(RuleDbTest, AddedRuleStaysWhereItsMarkIsSetAlready) {
    cached_flags()[3] = 1;
    const acl_rule_entry stored = full_entry();
    EXPECT_EQ(__acl_db_rule_add(ACL, REGION, 3, &stored), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {failure(1, "rule in offset[3] should not be valid")}, 1, 1));
    EXPECT_NE(cached_rule(ACL, 3), nullptr);
}

TEST_F(RuleDbTest, AddedRuleStaysWithoutItsAcl) {
    const acl_rule_entry stored = full_entry();
    EXPECT_EQ(__acl_db_rule_add(NO_ACL, REGION, 3, &stored), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(reports(take_lines(), {failure(5, "acl_id:77 not found in hash table")}, 5, 1));
    EXPECT_NE(cached_rule(NO_ACL, 3), nullptr);
}

TEST_F(RuleDbTest, AddedRuleStaysWithoutTheAclTable) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    const acl_rule_entry stored = full_entry();
    EXPECT_EQ(__acl_db_rule_add(ACL, REGION, 3, &stored), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(
        reports(take_lines(), {failure(1, "acl_id_2_acl_info hash table not initialized")}, 1, 1));
    EXPECT_NE(cached_rule(ACL, 3), nullptr);
}

TEST_F(RuleDbTest, AddedRuleStaysPastTheFlags) {
    const acl_rule_entry stored = full_entry();
    EXPECT_EQ(__acl_db_rule_add(ACL, REGION, 16, &stored), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(4, "rule in offset[16] is past the [16] offsets of acl_id:1")}, 4,
                        1));
    EXPECT_NE(cached_rule(ACL, 16), nullptr);
}

// --- deleting

class RuleDbDeleteTest : public RuleDbTest {
  protected:
    void SetUp() override {
        RuleDbTest::SetUp();
        const acl_rule_entry stored = full_entry();
        ASSERT_EQ(__acl_db_rule_add(ACL, REGION, 3, &stored), ZV_ACL_RM_STATUS_SUCCESS);
    }
};

TEST_F(RuleDbDeleteTest, DeletedRuleLosesItsMark) {
    EXPECT_EQ(__acl_db_rule_delete(ACL, REGION, 3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cached_rule(ACL, 3), nullptr);
    EXPECT_EQ(flag_at(3), 0u);
    EXPECT_EQ(new_calls(), std::vector<std::string>{});
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(RuleDbDeleteTest, AbsentRuleIsReported) {
    EXPECT_EQ(__acl_db_rule_delete(ACL, REGION, 4), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(5, "key not found while trying to remove region from DB")}, 5, 1));
    EXPECT_EQ(flag_at(3), 1u);
}

TEST_F(RuleDbDeleteTest, DeletingNeedsTheRuleTable) {
    const Missing gone(acl_rule_id_2_region_id_ht);
    EXPECT_EQ(__acl_db_rule_delete(ACL, REGION, 3), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {failure(1, "hash table not initialized")}, 1, 1));
    EXPECT_EQ(flag_at(3), 1u);
}

TEST_F(RuleDbDeleteTest, RuleOfAnotherRegionLeavesTheMark) {
    EXPECT_EQ(__acl_db_rule_delete(ACL, REGION + 1, 3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cached_rule(ACL, 3), nullptr);
    EXPECT_EQ(flag_at(3), 1u);
}

TEST_F(RuleDbDeleteTest, RuleIsGoneWhereItsMarkIsNotSet) {
    cached_flags()[3] = 0;
    EXPECT_EQ(__acl_db_rule_delete(ACL, REGION, 3), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {failure(1, "rule in offset[3] should be valid")}, 1, 1));
    EXPECT_EQ(cached_rule(ACL, 3), nullptr);
}

TEST_F(RuleDbDeleteTest, RuleIsGoneWithoutTheAclTable) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(__acl_db_rule_delete(ACL, REGION, 3), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(
        reports(take_lines(), {failure(1, "acl_id_2_acl_info hash table not initialized")}, 1, 1));
    EXPECT_EQ(cached_rule(ACL, 3), nullptr);
}

TEST_F(RuleDbDeleteTest, RuleIsGoneWhereTheFlagsAreReleased) {
    release_valid_offsets(cached_acl(ACL));
    EXPECT_EQ(__acl_db_rule_delete(ACL, REGION, 3), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reports(
        take_lines(), {failure(4, "rule in offset[3] is past the [0] offsets of acl_id:1")}, 4, 1));
    EXPECT_EQ(cached_rule(ACL, 3), nullptr);
}

// --- ACL records

TEST_F(RuleDbTest, AclRecordIsCopiedOutWhole) {
    cached_acl(ACL)->bound_to_system = 1;
    acl_id_info info = {};
    EXPECT_EQ(__acl_db_acl_info_get(ACL, &info), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(std::memcmp(&info, cached_acl(ACL), sizeof(info)), 0);
    EXPECT_EQ(info.valid_offsets_len, 16u);
    info.region_id = 99;
    EXPECT_EQ(cached_acl(ACL)->region_id, REGION);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(RuleDbTest, RegionIsTheAclRecords) {
    uint32_t region_id = 0;
    cached_acl(ACL)->region_id = 12345;
    EXPECT_EQ(__acl_db_region_get(ACL, &region_id), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(region_id, 12345u);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(RuleDbTest, UnknownAclIsNamedByRecordAndRegion) {
    const Line absent = failure(5, "acl id [77] was not found in ACL RM DB");
    acl_id_info info = {};
    EXPECT_EQ(__acl_db_acl_info_get(NO_ACL, &info), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), Lines{absent});
    uint32_t region_id = 5;
    EXPECT_EQ(__acl_db_region_get(NO_ACL, &region_id), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(),
              (Lines{absent, failure(5,
                                     "Failed to retrieve acl info for ACL ID [77] from ACL RM DB, "
                                     "error: 5\n")}));
    EXPECT_EQ(region_id, 5u);
}

TEST_F(RuleDbTest, RecordAndRegionNeedTheAclTable) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    acl_id_info info = {};
    EXPECT_EQ(__acl_db_acl_info_get(ACL, &info), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{passed_up(1)});
    uint32_t region_id = 5;
    EXPECT_EQ(__acl_db_region_get(ACL, &region_id), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{passed_up(1),
                     failure(1,
                             "Failed to retrieve acl info for ACL ID [1] from ACL RM DB, error: "
                             "1\n")}));
    EXPECT_EQ(region_id, 5u);
}

}  // namespace
