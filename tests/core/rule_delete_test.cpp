// Deleting rules where memory, tables or the cache's own agreement fail, and with the switch left
// out.
#include "core/acl_rm_rule_delete.h"

#include <gtest/gtest.h>

#include "core/acl_rm_forwarding.h"
#include "core/db/acl_rm_db.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "tests/core/core_fixture.h"
#include "zv_rm_resource.h"

namespace {

using namespace zv_unit;

using Names = std::vector<std::string>;
using Offsets = std::vector<uint32_t>;

const char *const RULES_SET = "zv_api_acl_rules_set";
const char *const PBS_SET = "zv_api_acl_policy_based_switching_set";
const char *const COUNTER_SET = "zv_api_flow_counter_set";

Line rule_gone(uint32_t offset, uint32_t region_id) {
    return line(NOTICE_MASK, "delete rule[" + std::to_string(offset) + "] from region[" +
                                 std::to_string(region_id) + "].\n");
}
Line group_gone(uint32_t rules_num, uint32_t region_id) {
    return line(NOTICE_MASK, "delete [" + std::to_string(rules_num) + "] #rules from region[" +
                                 std::to_string(region_id) + "].\n");
}

// ACL 1 with 16 offsets over region 1.
class RuleDeleteTest : public RulesFixture {
  protected:
    static zv_acl_rm_status_t erase(const Offsets &offsets, uint32_t skip_switch = 0) {
        std::vector<acl_rm_rule> rules;
        for (const uint32_t offset : offsets) {
            rules.push_back({});
            rules.back().offset = offset;
        }
        return acl_rm_delete_rules(ACL, rules.data(), static_cast<uint32_t>(rules.size()),
                                   skip_switch);
    }
    // Region and offsets of each deletion that the switch was asked for.
    static std::vector<std::pair<uint32_t, Offsets>> deletions() {
        std::vector<std::pair<uint32_t, Offsets>> list;
        for (const nlohmann::json &call : recorded_calls(RULES_SET)) {
            if (call["args"]["cmd"] != ZV_ACCESS_CMD_DELETE)
                continue;
            Offsets offsets;
            for (const nlohmann::json &rule : call["args"]["rules"])
                offsets.push_back(rule["offset"]);
            list.emplace_back(call["args"]["region_id"], offsets);
        }
        return list;
    }
    // A counter of switch and daemon, without references.
    static uint32_t make_counter() {
        uint32_t counter_id = 0;
        EXPECT_EQ(zv_api_flow_counter_set(zv_sdk_handle, ZV_ACCESS_CMD_CREATE, 0, &counter_id), 0u);
        EXPECT_EQ(acl_rm_db_counter_allocate(1, counter_id), ZV_ACL_RM_STATUS_SUCCESS);
        return counter_id;
    }
};

// --- before anything is deleted

TEST_F(RuleDeleteTest, BothWorkArraysNeedMemory) {
    write({rule_at(3)});
    for (const uint32_t nth : {1u, 2u}) {
        acl_rm_verbosity_level = 5;
        fail_allocation(nth);
        EXPECT_EQ(erase({3}), ZV_ACL_RM_STATUS_NO_BUFFER_SPACE);
        EXPECT_FALSE(allocation_failure_is_pending());
        EXPECT_EQ(take_lines(), Lines{passed_up(8)}) << "not even the line that tells of the start";
    }
    EXPECT_EQ(new_calls(), Names{});
    EXPECT_NE(cached_rule(ACL, 3), nullptr);
    fail_allocation(3);
    EXPECT_EQ(erase({3}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(allocation_failure_is_pending());
    fail_allocation(0);
}

TEST_F(RuleDeleteTest, TellsOfItsStartBeforeItCountsTheRules) {
    acl_rm_verbosity_level = 5;
    rm_resource_global.max_rules_per_action = 0;
    EXPECT_EQ(erase({3}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    const Lines lines = take_lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(is_debug_line(lines[0], "acl_rm.c", "acl_rm_delete_rules",
                              "acl_rm_delete_rules: ******** DELETE ACL RULE ********"));
    EXPECT_EQ(lines[1], passed_up(4));
}

TEST_F(RuleDeleteTest, TakesAsManyRulesAsTheChipDoes) {
    write({rule_at(0), rule_at(1), rule_at(2)});
    rm_resource_global.max_rules_per_action = 2;
    EXPECT_EQ(erase({0, 1, 2}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), Lines{passed_up(4)});
    EXPECT_EQ(g_rules_cnt, 3);
    EXPECT_EQ(erase({0, 1}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(g_rules_cnt, 1);
}

TEST_F(RuleDeleteTest, CountOfRulesWrapsBelow0) {
    write({rule_at(3)});
    g_rules_cnt = 0;
    EXPECT_EQ(erase({3}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(g_rules_cnt, 65535);
    EXPECT_EQ(cached_rule(ACL, 3), nullptr);
}

TEST_F(RuleDeleteTest, TakesNoMoreRulesThanARegionsListHolds) {
    rm_resource_global.max_rules_per_action = 1000;
    const std::vector<acl_rm_rule> rules(21);
    EXPECT_EQ(acl_rm_delete_rules(ACL, rules.data(), 21, 0), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), Lines{passed_up(4)});
}

TEST_F(RuleDeleteTest, OfNoRulesSucceedsWithoutLimitsArraysOrTables) {
    const Missing rules_gone(acl_rule_id_2_region_id_ht);
    rm_resource_global.max_rules_per_action = 0;
    EXPECT_EQ(acl_rm_delete_rules(NO_ACL, nullptr, 0, 0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
    EXPECT_EQ(new_calls(), Names{});
}

TEST_F(RuleDeleteTest, NeedsTheRuleTable) {
    write({rule_at(3)});
    const Missing gone(acl_rule_id_2_region_id_ht);
    EXPECT_EQ(erase({3}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{passed_up(1)});
    EXPECT_EQ(new_calls(), Names{});
    EXPECT_EQ(flag_at(3), 1u);
}

// --- regions

TEST_F(RuleDeleteTest, RulesOfOneRegionGoTogetherInTheOrderOfTheirFirst) {
    ASSERT_EQ(create_acl(32), 2u);
    cache_rule(ACL, 20, 2);
    cache_rule(ACL, 21, 2);
    write({rule_at(5), rule_at(6)});
    g_rules_cnt = 4;
    EXPECT_EQ(erase({21, 5, 20, 6}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(deletions(), (std::vector<std::pair<uint32_t, Offsets>>{{2, {21, 20}}, {1, {5, 6}}}));
    EXPECT_EQ(take_lines(), (Lines{rule_gone(21, 2), rule_gone(20, 2), group_gone(2, 2),
                                   rule_gone(5, 1), rule_gone(6, 1), group_gone(2, 1)}));
    EXPECT_EQ(entries_num(acl_rule_id_2_region_id_ht), 0u);
    EXPECT_EQ(g_rules_cnt, 0);
    EXPECT_EQ(flag_at(5) + flag_at(6), 0u);
}

TEST_F(RuleDeleteTest, RegionsBeforeTheOneThatFailsStayDeleted) {
    cache_rule(ACL, 20, 99);  // which the switch does not have
    write({rule_at(5), rule_at(6)});
    EXPECT_EQ(erase({5, 20, 6}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{rule_gone(5, 1), rule_gone(6, 1), group_gone(2, 1),
                     failure(1, "Failed to remove rule from a region in SDK , error: 6\n")}));
    EXPECT_NE(cached_rule(ACL, 20), nullptr);
    EXPECT_EQ(g_rules_cnt, 0);
}

TEST_F(RuleDeleteTest, TwentyRegionsHaveRoom) {
    Offsets offsets;
    for (uint32_t offset = 0; offset < 20; offset++) {
        cache_rule(ACL, offset, 100 + offset);
        offsets.push_back(offset);
    }
    g_rules_cnt = 20;
    EXPECT_EQ(erase(offsets, 1), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(g_rules_cnt, 0);
    const Lines lines = take_lines();
    ASSERT_EQ(lines.size(), 40u);
    EXPECT_EQ(lines[0], rule_gone(0, 100));
    EXPECT_EQ(lines[39], group_gone(1, 119));
}

// 0 says that a place for a region is free, so a rule of region 0 does not keep the next region out
// of its place.
TEST_F(RuleDeleteTest, RuleOfRegion0GoesWithTheRegionBehindIt) {
    cache_rule(ACL, 4, 0);
    write({rule_at(5)});
    g_rules_cnt = 2;
    EXPECT_EQ(erase({4, 5}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(deletions(), (std::vector<std::pair<uint32_t, Offsets>>{{1, {4, 5}}}));
    EXPECT_TRUE(reports(take_lines(), {failure(1, "rule in offset[4] should be valid")}, 1, 1));
    EXPECT_EQ(cached_rule(ACL, 4), nullptr);
    EXPECT_NE(cached_rule(ACL, 5), nullptr);
}

// --- half-way

TEST_F(RuleDeleteTest, UnknownCounterKeepsItsRuleInTheCache) {
    ASSERT_EQ(acl_rm_db_counter_allocate(1, 44), ZV_ACL_RM_STATUS_SUCCESS);
    write({counting_rule(2, 44), rule_at(3)});
    ASSERT_EQ(acl_rm_db_counter_destroy(44), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(erase({3, 2}), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(reports(
        take_lines(),
        {rule_gone(3, 1), failure(5, "Could not find counter (44) in counter DB.\n", "ACL_RM_DB"),
         failure(5, "Fail to update reference counter for counter ID (44) in counter DB.")},
        5, 1));
    EXPECT_EQ(new_calls(), Names{RULES_SET});
    EXPECT_NE(cached_rule(ACL, 2), nullptr);
    EXPECT_EQ(flag_at(2), 1u);
    EXPECT_EQ(g_rules_cnt, 1);
}

struct Unmarked : RuleDeleteTest, testing::WithParamInterface<uint32_t> {};

// Only a flag of 1 is a mark. The rule is gone by then, but still counted.
TEST_P(Unmarked, OffsetIsAnError) {
    write({rule_at(2), rule_at(3), rule_at(4)});
    cached_flags()[3] = GetParam();
    EXPECT_EQ(erase({2, 3, 4}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {rule_gone(2, 1), failure(1, "rule in offset[3] should be valid")}, 1, 1));
    EXPECT_EQ(flag_at(3), GetParam());
    EXPECT_EQ(cached_rule(ACL, 3), nullptr);
    EXPECT_NE(cached_rule(ACL, 4), nullptr);
    EXPECT_EQ(g_rules_cnt, 2);
}

INSTANTIATE_TEST_SUITE_P(RuleDeleteTest, Unmarked, testing::Values(0u, 2u, 0xffffffffu));

TEST_F(RuleDeleteTest, RuleIsGoneWithoutTheAclTable) {
    write({rule_to_port(2, FORWARD_PORT)});
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(erase({2}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(
        reports(take_lines(), {failure(1, "acl_id_2_acl_info hash table not initialized")}, 1, 1));
    EXPECT_EQ(cached_rule(ACL, 2), nullptr);
    EXPECT_EQ(g_rules_cnt, 1);
    EXPECT_EQ(cached_forwarding(FORWARD_PORT)->times_consumed, 1u);
}

TEST_F(RuleDeleteTest, RuleIsGoneWithoutItsAcl) {
    write({rule_at(2)});
    const uint32_t acl_id = ACL;
    release_valid_offsets(cached_acl(ACL));
    ASSERT_EQ(ht_delete_zvlib(acl_id_2_acl_id_info_table_ht, &acl_id), 0);
    EXPECT_EQ(erase({2}), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(reports(take_lines(), {failure(5, "acl_id:1 not found in hash table")}, 5, 1));
    EXPECT_EQ(cached_rule(ACL, 2), nullptr);
}

TEST_F(RuleDeleteTest, RulesAreGoneWithoutTheForwardingTable) {
    write({rule_to_port(2, FORWARD_PORT), rule_at(3)});
    const Missing gone(logical_forward_port_2_forward_pbs_info_ht);
    EXPECT_EQ(erase({2, 3}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{rule_gone(2, 1), rule_gone(3, 1), group_gone(2, 1), passed_up(1)}));
    EXPECT_EQ(g_rules_cnt, 0);
    EXPECT_EQ(new_calls(), Names{RULES_SET});
}

// --- the switch left out

struct SwitchLeftOut : RuleDeleteTest, testing::WithParamInterface<uint32_t> {};

TEST_P(SwitchLeftOut, CleansCacheCountersAndForwarding) {
    const uint32_t counter = make_counter();
    acl_rm_rule rule = counting_rule(2, counter);
    rule.forwarding.type = FORWARDING_TYPE_LOG_PORT;
    rule.forwarding.log_port = FORWARD_PORT;
    write({rule, rule_at(3), rule_at(4)});
    fail_call(RULES_SET, 1);
    EXPECT_EQ(erase({3, 2}, GetParam()), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), (Lines{rule_gone(3, 1), rule_gone(2, 1), group_gone(2, 1)}));
    EXPECT_EQ(new_calls(), (Names{COUNTER_SET, PBS_SET}));
    EXPECT_EQ(cached_rule(ACL, 2), nullptr);
    EXPECT_EQ(cached_rule(ACL, 3), nullptr);
    EXPECT_EQ(cached_forwarding(FORWARD_PORT), nullptr);
    EXPECT_EQ(flag_at(2) + flag_at(3), 0u);
    EXPECT_EQ(flag_at(4), 1u);
    EXPECT_EQ(g_rules_cnt, 1);
}

INSTANTIATE_TEST_SUITE_P(RuleDeleteTest, SwitchLeftOut, testing::Values(1u, 2u, 0x80000000u));

TEST_F(RuleDeleteTest, AbsentRuleIsRefusedWithTheSwitchLeftOutToo) {
    EXPECT_EQ(erase({3}, 1), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), Lines{failure(5, "key:[1_3] not found")});
}

// --- forwarding users

class ForwardingReleaseTest : public RulesFixture {};

TEST_F(ForwardingReleaseTest, OneOfSeveralUsersIsCountedOut) {
    cache_forwarding(FORWARD_PORT, {0, 80, FORWARD_PORT, 2});
    EXPECT_EQ(release_forwarding_user(FORWARD_PORT), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cached_forwarding(FORWARD_PORT)->times_consumed, 1u);
    EXPECT_EQ(new_calls(), Names{});
    EXPECT_EQ(take_lines(), Lines{});
}

// The switch is told what the entry says, not what it was found under.
TEST_F(ForwardingReleaseTest, LastUserTakesTheStoredEntryWithIt) {
    uint32_t port = FORWARD_PORT + 1;
    const zv_acl_pbs_entry_t entry = {0, 1, &port};
    uint32_t pbs_id = 0;
    ASSERT_EQ(
        zv_api_acl_policy_based_switching_set(zv_sdk_handle, ZV_ACCESS_CMD_ADD, 0, &entry, &pbs_id),
        0u);
    cache_forwarding(FORWARD_PORT, {7, pbs_id, FORWARD_PORT + 1, 1});
    EXPECT_EQ(release_forwarding_user(FORWARD_PORT), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cached_forwarding(FORWARD_PORT), nullptr);
    const nlohmann::json args = recorded_calls(PBS_SET).back()["args"];
    EXPECT_EQ(args,
              (nlohmann::json{
                  {"cmd", 3},
                  {"switch_id", 0},
                  {"entry", {{"entry_type", 0}, {"port_count", 1}, {"ports", {FORWARD_PORT + 1}}}},
                  {"pbs_id", pbs_id}}));
}

// Drift: an entry that nobody used is not deleted by one user too many.
TEST_F(ForwardingReleaseTest, UserTooManyWrapsTheCount) {
    cache_forwarding(FORWARD_PORT, {0, 80, FORWARD_PORT, 0});
    EXPECT_EQ(release_forwarding_user(FORWARD_PORT), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cached_forwarding(FORWARD_PORT)->times_consumed, 4294967295u);
    EXPECT_EQ(new_calls(), Names{});
}

TEST_F(ForwardingReleaseTest, UnknownPortIsNamed) {
    EXPECT_EQ(release_forwarding_user(FORWARD_PORT), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), Lines{failure(5, "forwarding port (pbs):=65537 not found")});
}

TEST_F(ForwardingReleaseTest, NeedsItsTable) {
    const Missing gone(logical_forward_port_2_forward_pbs_info_ht);
    EXPECT_EQ(release_forwarding_user(FORWARD_PORT), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{passed_up(1)});
}

// --- the flag of an offset

class OffsetUnmarkTest : public RulesFixture {
  protected:
    void SetUp() override {
        RulesFixture::SetUp();
        cached_flags()[3] = 1;
    }
};

TEST_F(OffsetUnmarkTest, ClearsTheOneFlag) {
    cached_flags()[2] = cached_flags()[4] = 1;
    EXPECT_EQ(update_acl_info_with_delete_rules(ACL, REGION, 3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ((Offsets{flag_at(2), flag_at(3), flag_at(4)}), (Offsets{1, 0, 1}));
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(OffsetUnmarkTest, LeavesTheFlagsOfAnotherRegionAlone) {
    for (const uint32_t offset : {3u, 5u, 99u})
        EXPECT_EQ(update_acl_info_with_delete_rules(ACL, REGION + 1, offset),
                  ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(flag_at(3), 1u);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(OffsetUnmarkTest, RefusesAnOffsetPastTheFlags) {
    for (const uint32_t offset : {16u, 17u, 4294967295u}) {
        EXPECT_EQ(update_acl_info_with_delete_rules(ACL, REGION, offset),
                  ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        EXPECT_EQ(take_lines(), Lines{failure(4, "rule in offset[" + std::to_string(offset) +
                                                     "] is past the [16] offsets of acl_id:1")});
    }
}

// A resize that wrapped leaves fewer flags than offsets.
TEST_F(OffsetUnmarkTest, RefusesAnOffsetThatThereIsNoMemoryFor) {
    cached_acl(ACL)->valid_offsets_len = 16386;
    cached_acl(ACL)->valid_offsets_allocated = 3;
    EXPECT_EQ(update_acl_info_with_delete_rules(ACL, REGION, 3),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(),
              Lines{failure(4, "rule in offset[3] is past the [3] offsets of acl_id:1")});
    EXPECT_EQ(flag_at(3), 1u);
}

TEST_F(OffsetUnmarkTest, ReportsAnUnknownAcl) {
    EXPECT_EQ(update_acl_info_with_delete_rules(NO_ACL, REGION, 3),
              ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), Lines{failure(5, "acl_id:77 not found in hash table")});
}

TEST_F(OffsetUnmarkTest, NeedsTheAclTable) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(update_acl_info_with_delete_rules(ACL, REGION, 3), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "acl_id_2_acl_info hash table not initialized")});
}

}  // namespace
