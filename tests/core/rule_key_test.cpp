#include "core/acl_rm_rule_key.h"

#include <gtest/gtest.h>

#include <cstring>

#include "daemon/logging.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

class RuleKeyTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        cache_acl(7);
        cached_acl(7)->region_id = 70;
        memset(work_, 0xee, sizeof(work_));
    }
    zv_acl_rm_status_t translate(acl_rm_rule *rule, uint32_t expected_key_type = 0,
                                 uint32_t acl_id = 7, uint32_t cmd = 6) {
        return acl_rm_set_rule_by_key_type(cmd, acl_id, rule, work_, 1, expected_key_type);
    }
    const acl_rm_rule_work &record() const { return work_[1]; }

    acl_rm_rule_work work_[3];
};

TEST_F(RuleKeyTest, OffsetIsThePriority) {
    uint32_t offset = 9;
    EXPECT_EQ(__convert_priority_to_offset(&offset, 4294967295u), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(offset, 4294967295u);
}

TEST_F(RuleKeyTest, OffsetNeedsAPlace) {
    EXPECT_EQ(__convert_priority_to_offset(nullptr, 1), ZV_ACL_RM_STATUS_PARAM_NULL);
}

TEST_F(RuleKeyTest, CopiesEveryBlockWhole) {
    acl_rm_rule rule = rule_at(12, 3);
    rule.valid = 200;
    rule.mask.key_type = 99;
    for (uint32_t i = 0; i < ZV_ACL_RM_KEY_BYTES; i++) {
        rule.key.data[i] = static_cast<uint8_t>(i);
        rule.mask.data[i] = static_cast<uint8_t>(255 - i);
    }
    for (uint32_t i = 0; i < ZV_ACL_RM_ACTION_BYTES; i++)
        rule.action[i] = static_cast<uint8_t>(100 + i);
    ASSERT_EQ(translate(&rule, 3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(record().sdk_rule.offset, 12u);
    EXPECT_EQ(record().sdk_rule.valid, 200);
    EXPECT_EQ(record().sdk_rule.key.key_type, 3u);
    EXPECT_EQ(record().sdk_rule.mask.key_type, 99u);
    // Nothing of the daemon's memory goes to the switch in the gap behind `valid`.
    constexpr uint8_t ZEROS[3] = {};
    EXPECT_EQ(memcmp(&record().sdk_rule.valid + 1, ZEROS, sizeof(ZEROS)), 0);
    EXPECT_EQ(memcmp(record().sdk_rule.key.data, rule.key.data, ZV_ACL_RM_KEY_BYTES), 0);
    EXPECT_EQ(memcmp(record().sdk_rule.mask.data, rule.mask.data, ZV_ACL_RM_KEY_BYTES), 0);
    EXPECT_EQ(memcmp(&record().sdk_rule.action, rule.action, ZV_ACL_RM_ACTION_BYTES), 0);
}

TEST_F(RuleKeyTest, FillsRegionCommandAndCounterAtItsIndexAlone) {
    acl_rm_rule rule = rule_at(12);
    rule.forwarding.counter_id = 55;
    acl_rm_rule_work untouched;
    memset(&untouched, 0xee, sizeof(untouched));
    ASSERT_EQ(translate(&rule), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(record().region_id, 70u);
    EXPECT_EQ(record().access_command, 6u);
    EXPECT_EQ(record().counter_id, 55u);
    EXPECT_EQ(record().forwarding_action, 0u);
    EXPECT_EQ(record().pbs_id, 0u);
    EXPECT_EQ(record().forward_log_port, 0u);
    EXPECT_EQ(record().pbs_entry_type, 0u);
    EXPECT_EQ(memcmp(&work_[0], &untouched, sizeof(untouched)), 0);
    EXPECT_EQ(memcmp(&work_[2], &untouched, sizeof(untouched)), 0);
}

TEST_F(RuleKeyTest, OffsetThatTheClientSentIsReplaced) {
    acl_rm_rule rule = rule_at(12);
    rule.offset = 99;
    ASSERT_EQ(translate(&rule), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(rule.offset, 12u);
}

TEST_F(RuleKeyTest, TellsStartAndEndAtDebug) {
    acl_rm_verbosity_level = 5;
    acl_rm_rule rule = rule_at(12, 2);
    ASSERT_EQ(translate(&rule, 2), ZV_ACL_RM_STATUS_SUCCESS);
    const Lines lines = take_lines();
    EXPECT_TRUE(has_debug_line(lines, "acl_rm_set_rule_by_key_type",
                               "acl_rm_set_rule_by_key_type: ******** ADD ACL RULE ********"));
    // The number is the key type's.
    EXPECT_TRUE(has_debug_line(lines, "acl_rm_set_rule_by_key_type",
                               "acl_rm_set_rule_by_key_type: ********  ACL 2 RULE ADDED********"));
}

TEST_F(RuleKeyTest, OccupiedOffsetIsRefusedWithTheCommand) {
    cache_rule(7, 12);
    acl_rm_rule rule = rule_at(12);
    rule.offset = 99;
    EXPECT_EQ(translate(&rule), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{failure(1, "key:[7_12] was found while trying to check if it not exists"),
                     failure(1, "override new rule is forbidden for command:[6]")}));
    EXPECT_EQ(rule.offset, 99u);
}

TEST_F(RuleKeyTest, SameOffsetOfAnotherAclIsFree) {
    cache_rule(8, 12);
    acl_rm_rule rule = rule_at(12);
    EXPECT_EQ(translate(&rule), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(RuleKeyTest, OtherCommandsKeepTheOffsetAndDoNotLookAtTheCache) {
    cache_rule(7, 12);
    acl_rm_rule rule = rule_at(12);
    rule.offset = 99;
    EXPECT_EQ(translate(&rule, 0, 7, 3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(rule.offset, 99u);
    EXPECT_EQ(record().sdk_rule.offset, 99u);
    EXPECT_EQ(record().access_command, 3u);
}

TEST_F(RuleKeyTest, MissingRuleTableIsToldAsAnOverride) {
    const Missing gone(acl_rule_id_2_region_id_ht);
    acl_rm_rule rule = rule_at(12);
    EXPECT_EQ(translate(&rule), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{failure(1, "fail to lookup in HT"),
                                   failure(1, "override new rule is forbidden for command:[6]")}));
}

TEST_F(RuleKeyTest, UnknownAclIsReportedAfterItsOffsetIsTested) {
    acl_rm_rule rule = rule_at(12);
    EXPECT_EQ(translate(&rule, 0, 8), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), Lines{failure(5, "acl id:8 not found")});
    EXPECT_EQ(rule.offset, 12u);
    cache_rule(8, 12);
    EXPECT_EQ(translate(&rule, 0, 8), ZV_ACL_RM_STATUS_ERROR);
}

TEST_F(RuleKeyTest, MissingAclTableIsAnError) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    acl_rm_rule rule = rule_at(12);
    EXPECT_EQ(translate(&rule), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{passed_up(1)});
}

TEST_F(RuleKeyTest, KeyTypeMustBeTheGroups) {
    acl_rm_rule rule = rule_at(12, 2);
    EXPECT_EQ(translate(&rule, 3), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(),
              Lines{failure(4, "ACL key is not appropriate, should be [3], but it is:[2]")});
}

TEST_F(RuleKeyTest, KeyTypeOfTheAclIsNotCompared) {
    cached_acl(7)->key_type = 1;
    acl_rm_rule rule = rule_at(12, 2);
    EXPECT_EQ(translate(&rule, 2), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(RuleKeyTest, FailedForwardingIsPassedUp) {
    acl_rm_rule rule = rule_at(12);
    rule.forwarding.type = 2;
    rule.forwarding.mc_group_id = 44;
    EXPECT_EQ(translate(&rule), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), (Lines{failure(5, "Failed to find MCG id 44"), passed_up(5)}));
}

TEST_F(RuleKeyTest, PresenceIsComparedWithTheExpectation) {
    cache_rule(7, 12);
    EXPECT_EQ(checkRuleExists(7, 12, 1), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(checkRuleExists(7, 13, 0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
    EXPECT_EQ(checkRuleExists(7, 13, 1), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(checkRuleExists(7, 12, 0), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{failure(1, "key:[7_13] was not found while trying to check for its existence"),
                     failure(1, "key:[7_12] was found while trying to check if it not exists")}));
}

TEST_F(RuleKeyTest, PresenceNeedsTheTable) {
    const Missing gone(acl_rule_id_2_region_id_ht);
    EXPECT_EQ(checkRuleExists(7, 12, 0), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(checkRuleExists(7, 12, 1), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{failure(1, "fail to lookup in HT"), failure(1, "fail to lookup in HT")}));
}

}  // namespace
