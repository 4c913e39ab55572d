// What the cache holds after rules were written, and after that failed half-way.
#include <gtest/gtest.h>

#include "complib/cl_memory.h"
#include "core/acl_rm.h"
#include "core/acl_rm_rule_set.h"
#include "core/db/acl_rm_db.h"
#include "daemon/logging.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

using Rules = std::vector<acl_rm_rule>;

class RuleCacheTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        acl_id_ = create_acl(16);
        region_id_ = cached_acl(acl_id_)->region_id;
        ASSERT_EQ(acl_rm_db_counter_allocate(0, 33), ZV_ACL_RM_STATUS_SUCCESS);
    }
    zv_acl_rm_status_t write(Rules rules) {
        const auto rules_num = static_cast<uint32_t>(rules.size());
        return acl_rm_acl_rule_set(OPEN_FLOW_HANDLE, 6, acl_id_, rules.data(), &rules_num);
    }
    uint32_t flag_at(uint32_t offset) const { return cached_acl(acl_id_)->valid_offsets[offset]; }
    static uint32_t references(uint32_t counter_id) {
        uint32_t references_num = 0;
        acl_rm_db_counter_ref_counter_get(counter_id, &references_num);
        return references_num;
    }
    static acl_rm_rule forwarding(acl_rm_rule rule, uint32_t type, uint32_t target) {
        rule.forwarding.type = type;
        rule.forwarding.log_port = target;
        rule.forwarding.mc_group_id = target;
        return rule;
    }
    static acl_rm_rule counting(acl_rm_rule rule, uint32_t counter_id) {
        rule.forwarding.counter_id = counter_id;
        return rule;
    }
    // Fields in their order, without the reserved ones.
    std::vector<uint32_t> entry_at(uint32_t offset) const {
        const acl_rule_entry *entry = cached_rule(acl_id_, offset);
        if (entry == nullptr)
            return {};
        EXPECT_EQ(entry->reserved0, 0u);
        for (const uint32_t reserved : entry->reserved1)
            EXPECT_EQ(reserved, 0u);
        return {entry->region_id,      entry->offset,         entry->counter_id,
                entry->pbs_entry_type, entry->forward_pbs_id, entry->forward_log_port,
                entry->is_forwarding};
    }

    uint32_t acl_id_ = 0;
    uint32_t region_id_ = 0;
};

using Fields = std::vector<uint32_t>;

TEST_F(RuleCacheTest, PlainRuleIsCachedFlaggedAndCounted) {
    ASSERT_EQ(write({rule_at(0), rule_at(15)}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(entry_at(0), (Fields{region_id_, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(entry_at(15), (Fields{region_id_, 15, 0, 0, 0, 0, 0}));
    EXPECT_EQ(flag_at(0), 1u);
    EXPECT_EQ(flag_at(1), 0u);
    EXPECT_EQ(flag_at(15), 1u);
    EXPECT_EQ(g_rules_cnt, 2);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(RuleCacheTest, ForwardingAndCounterAreCached) {
    cache_mc_group(5, {50, 0});
    ASSERT_EQ(write({counting(forwarding(rule_at(0), 1, 65537), 33), forwarding(rule_at(1), 2, 5),
                     forwarding(rule_at(2), 3, 65537)}),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(entry_at(0), (Fields{region_id_, 0, 33, 0, 1, 65537, 1}));
    EXPECT_EQ(entry_at(1), (Fields{region_id_, 1, 0, 2, 50, 0, 1}));
    EXPECT_EQ(entry_at(2), (Fields{region_id_, 2, 0, 0, 0, 0, 0}));
    EXPECT_EQ(references(33), 1u);
    EXPECT_EQ(entries_num(logical_forward_port_2_forward_pbs_info_ht), 1u);
}

TEST_F(RuleCacheTest, RulesOfOneBatchToANewPortShareItsRecordAndKeepTheirOwnEntries) {
    ASSERT_EQ(write({forwarding(rule_at(0), 1, 65537), forwarding(rule_at(1), 1, 65537)}),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(entry_at(0)[4], 1u);
    EXPECT_EQ(entry_at(1)[4], 2u);
    EXPECT_EQ(cached_forwarding(65537)->forward_pbs_index, 1u);
    EXPECT_EQ(cached_forwarding(65537)->times_consumed, 2u);
}

TEST_F(RuleCacheTest, EveryRuleRaisesItsCounter) {
    ASSERT_EQ(write({counting(rule_at(0), 33), counting(rule_at(1), 33)}),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(references(33), 2u);
}

TEST_F(RuleCacheTest, TellsItsStepsAtInfo) {
    acl_rm_verbosity_level = 4;
    ASSERT_EQ(write({rule_at(3)}), ZV_ACL_RM_STATUS_SUCCESS);
    const std::string key = "key_format:" + std::to_string(acl_id_) + "_3 ";
    EXPECT_EQ(take_lines(),
              (Lines{line(INFO_MASK, key), line(INFO_MASK, "Finish to set all rules in sdk.\n"),
                     line(INFO_MASK, "Finish to bind all forwarding port to rules.\n"),
                     line(INFO_MASK, key),
                     line(INFO_MASK,
                          "Insert rule[=3] to acl_id[1], within region[1] pbs entry "
                          "type[0].\n"),
                     line(INFO_MASK, "Finish to update DB for rules and PBS.\n")}));
}

TEST_F(RuleCacheTest, UnknownCounterIsFoundOnlyAfterTheSwitchHasTheRules) {
    EXPECT_EQ(write({counting(rule_at(0), 33), counting(rule_at(1), 44)}),
              ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(
        reports(take_lines(),
                {failure(5, "Could not find counter (44) in counter DB.\n", "ACL_RM_DB"),
                 failure(5, "Fail to update reference counter for counter ID (44) in counter DB.")},
                5, 2));
    EXPECT_EQ(recorded_calls("zv_api_acl_rules_set").size(), 1u);
    EXPECT_EQ(references(33), 1u);
    EXPECT_EQ(cached_rule(acl_id_, 0), nullptr);
    EXPECT_EQ(g_rules_cnt, 0);
}

TEST_F(RuleCacheTest, FullForwardingTableLeavesTheRulesInTheSwitchAlone) {
    for (uint32_t port = 1; port <= 100; port++)
        cache_forwarding(port, {});
    EXPECT_EQ(write({forwarding(rule_at(0), 1, 65537)}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {failure(1, "Insert not successful")}, 1, 3));
    EXPECT_EQ(recorded_calls("zv_api_acl_rules_set").size(), 1u);
    EXPECT_EQ(cached_rule(acl_id_, 0), nullptr);
}

TEST_F(RuleCacheTest, SamePriorityTwiceInABatchIsFoundByTheCache) {
    EXPECT_EQ(write({rule_at(4), rule_at(4)}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "key already found while trying to insert new key.")}, 1, 3));
    EXPECT_EQ(recorded_calls("zv_api_acl_rules_set").at(0)["args"]["count"], 2);
    EXPECT_EQ(g_rules_cnt, 1);
    EXPECT_EQ(flag_at(4), 1u);
}

TEST_F(RuleCacheTest, The6401stRuleRunsIntoTheTablesLimit) {
    for (uint32_t offset = 0; offset < 6399; offset++)
        cache_rule(1000, offset);
    g_rules_cnt = 6399;
    EXPECT_EQ(write({rule_at(0), rule_at(1), rule_at(2)}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {failure(1, "Insert not successful")}, 1, 3));
    EXPECT_NE(cached_rule(acl_id_, 0), nullptr);
    EXPECT_EQ(cached_rule(acl_id_, 1), nullptr);
    EXPECT_EQ(g_rules_cnt, 6400);
    EXPECT_EQ(flag_at(1), 0u);
}

TEST_F(RuleCacheTest, CountOfRulesWrapsAt65536AndTheNextRuleIsTakenAllTheSame) {
    g_rules_cnt = 65535;
    EXPECT_EQ(write({rule_at(0)}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(g_rules_cnt, 0);
    EXPECT_EQ(write({rule_at(1)}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(g_rules_cnt, 1);
    EXPECT_EQ(take_lines(), Lines{});
    EXPECT_NE(cached_rule(acl_id_, 0), nullptr);
    EXPECT_EQ(flag_at(0) + flag_at(1), 2u);
}

TEST_F(RuleCacheTest, OffsetPastTheRegionIsRefusedByTheSwitch) {
    EXPECT_EQ(write({rule_at(15)}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(write({rule_at(16)}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "Failed to add rule to a region in SDK , error: 4\n")}, 1, 2));
}

// A switch that takes more than the daemon has flags for.
TEST_F(RuleCacheTest, OffsetPastTheFlagsIsRefusedAfterTheRuleWasCached) {
    cached_acl(acl_id_)->valid_offsets_len = 8;
    EXPECT_EQ(write({rule_at(7)}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(write({rule_at(8)}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reports(
        take_lines(), {failure(4, "rule in offset[8] is past the [8] offsets of acl_id:1")}, 4, 3));
    EXPECT_EQ(flag_at(8), 0u);
    EXPECT_NE(cached_rule(acl_id_, 8), nullptr);
    EXPECT_EQ(g_rules_cnt, 2);
}

TEST_F(RuleCacheTest, LargestOffsetPastTheFlagsIsRefused) {
    EXPECT_EQ(update_acl_info_with_new_rule(acl_id_, region_id_, 4294967295u),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(),
              Lines{failure(4, "rule in offset[4294967295] is past the [16] offsets of acl_id:1")});
}

TEST_F(RuleCacheTest, ReleasedFlagsAreNotWritten) {
    cl_free(cached_acl(acl_id_)->valid_offsets);
    cached_acl(acl_id_)->valid_offsets = nullptr;
    EXPECT_EQ(write({rule_at(7)}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reports(
        take_lines(), {failure(4, "rule in offset[7] is past the [0] offsets of acl_id:1")}, 4, 3));
}

TEST_F(RuleCacheTest, FlagThatIsSetAlreadyIsAnError) {
    cached_acl(acl_id_)->valid_offsets[3] = 1;
    EXPECT_EQ(update_acl_info_with_new_rule(acl_id_, region_id_, 3), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "rule in offset[3] should not be valid")});
    EXPECT_EQ(flag_at(3), 1u);
}

TEST_F(RuleCacheTest, FlagsOfAnotherRegionAreLeftAlone) {
    EXPECT_EQ(update_acl_info_with_new_rule(acl_id_, region_id_ + 1, 3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(update_acl_info_with_new_rule(acl_id_, region_id_ + 1, 99), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(flag_at(3), 0u);
}

TEST_F(RuleCacheTest, FlagsOfAnUnknownAclAreReported) {
    EXPECT_EQ(update_acl_info_with_new_rule(77, region_id_, 3), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), Lines{failure(5, "acl_id:77 not found in hash table")});
}

TEST_F(RuleCacheTest, FlagsNeedTheAclTable) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(update_acl_info_with_new_rule(acl_id_, region_id_, 3), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "acl_id_2_acl_info hash table not initialized")});
}

}  // namespace
